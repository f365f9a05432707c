/// What the tests of the documentation read out of its pages.
#ifndef TAL_TEST_DOCUMENTATION_H
#define TAL_TEST_DOCUMENTATION_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tal::test {

/// One page of the documentation, or any other Markdown file of the repository.
class Page {
public:
    /// @param name  From the root of the repository: "docs/formats.md". Fails the test when there is no such file.
    explicit Page(const std::string& name);

    [[nodiscard]] const std::string& Text() const { return text_; }

    /// @return the lines between the fences of the first code block after the line `heading`; fails the test when
    ///         there is none.
    [[nodiscard]] std::string BlockAfter(std::string_view heading) const;

    /// @return every code block whose fence says that it is in `language`.
    [[nodiscard]] std::vector<std::string> BlocksIn(std::string_view language) const;

    using Row = std::vector<std::string>;
    /// @return the rows of the first table after the line `heading`, without its header, the cells without the blanks
    ///         and back quotes around them; fails the test when there are none.
    [[nodiscard]] std::vector<Row> TableAfter(std::string_view heading) const;

private:
    [[nodiscard]] std::vector<std::string> LinesAfter(std::string_view heading) const;

    std::string name_;
    std::string text_;
};

[[nodiscard]] std::filesystem::path RepositoryRoot();

/// @return the file of the repository; `name` counts from its root.
[[nodiscard]] std::string ReadFromRepository(const std::string& name);

/// @return the lines of the text, without their ends.
[[nodiscard]] std::vector<std::string> LinesOf(const std::string& text);

/// @return what the groups of the POSIX extended `pattern` match, for each match in `text`; empty for a group that
///         takes no part in it.
[[nodiscard]] std::vector<std::vector<std::string>> Matches(const std::string& text, const char* pattern);

/// @return what the first group matches.
[[nodiscard]] std::vector<std::string> FirstGroups(const std::string& text, const char* pattern);

/// @return the bytes that hexadecimal pairs like "EF BE" name.
[[nodiscard]] std::string BytesOfHex(const std::string& pairs);

}  // namespace tal::test

#endif
