/// The tables of a built shared library.
#ifndef TAL_TEST_SHARED_LIBRARY_H
#define TAL_TEST_SHARED_LIBRARY_H

#include <link.h>

#include <string>
#include <vector>

namespace tal::test {

/// The file of the library that the tests run with.
std::string TestedLibrary();

/// A shared library of this machine's own word size, read from its file.
class SharedLibrary {
public:
    /// Fails the test when the file cannot be read.
    explicit SharedLibrary(const std::string& path);

    /// A symbol that no other file sees.
    struct LocalSymbol {
        std::string source;  ///< Without its folder; empty for what the linker has made local.
        std::string name;
    };

    std::vector<std::string> exported;   // Sorted.
    std::vector<std::string> undefined;  // Sorted.
    std::vector<std::string> needed;
    std::vector<LocalSymbol> locals;  // Empty when the library has been stripped.
    bool bindsItsOwnSymbols = false;

private:
    template <class T>
    [[nodiscard]] T Read(std::size_t offset) const;
    [[nodiscard]] ElfW(Shdr) SectionAt(std::size_t index) const;
    /// The text at `offset` in the string table that belongs to `section`.
    [[nodiscard]] std::string TextOf(const ElfW(Shdr) & section, std::size_t offset) const;

    void ReadDynamicSymbols(const ElfW(Shdr) & section);
    void ReadLocalSymbols(const ElfW(Shdr) & section);
    void ReadDependencies(const ElfW(Shdr) & section);

    std::string bytes_;
};

}  // namespace tal::test

#endif
