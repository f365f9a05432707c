/// What every fuzz target needs: a folder for its files, and a way to say that a property does not hold.
#ifndef TAL_FUZZ_BASICS_H
#define TAL_FUZZ_BASICS_H

#include <filesystem>
#include <string_view>

namespace tal::fuzz {

/// Whether kept inputs are replayed, each of which is to be looked at in every way that the target has.
extern bool isReplay;

/// Says what does not hold and aborts, so that the fuzzer keeps the input.
void Require(bool holds, std::string_view what);

/// A folder of its own, in memory where there is such a file system; removed with all that it holds.
class MemoryFolder {
public:
    MemoryFolder();
    ~MemoryFolder();
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace tal::fuzz

#endif
