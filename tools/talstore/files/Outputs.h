/// @file
/// The files that a command writes beside its answer: what they may replace, and that they are no input.
#ifndef TALSTORE_OUTPUTS_H
#define TALSTORE_OUTPUTS_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace tal::talstore {

/// What a file is, by its first bytes.
struct FileKind {
    const char* name;
    std::string_view start;
    std::string_view mark = {};  ///< Stands soon after the start.
};
constexpr FileKind kHtmlPage = {"HTML page", "<!DOCTYPE html>"};
constexpr FileKind kSqliteDatabase = {"SQLite database", {"SQLite format 3\0", 16}};
constexpr FileKind kJUnitReport = {"JUnit report", "<?xml", "<testsuites"};

/// Where the next word is a file, a forgotten name makes an input an output. Replaced is what is empty or of the kind.
/// @param others  Names of what is read, too; empty ones do not count. Throws InputError.
void RequireReplaceable(const std::string& name, const FileKind& kind, const std::vector<std::string>& others);

/// Throws InputError for standard output, and for what is there and no regular file.
void RequireRegularFile(const std::string& name);

/// @return whether the names lead to the same regular file, be it there or not. Standard output is none.
[[nodiscard]] bool AreSameFile(const std::string& name, const std::string& other);

/// The regular files that are written while others are read.
class WrittenFiles {
public:
    /// None.
    WrittenFiles() = default;
    /// Standard output and the error stream are among them.
    explicit WrittenFiles(const std::vector<std::string>& names);

    /// By any name.
    [[nodiscard]] bool Hold(const std::string& name) const;

private:
    std::vector<std::pair<dev_t, ino_t>> files_;
};

}  // namespace tal::talstore

#endif
