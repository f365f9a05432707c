/// @file
/// Many files, one after another, also those in archives.
#ifndef TALSTORE_FILE_SOURCE_H
#define TALSTORE_FILE_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/Archive.h"
#include "files/FileList.h"

namespace tal::talstore {

/// A file on its way to the process that reads it.
struct SourceFile {
    std::string name;
    std::string inside;                     ///< Its name in the folder or the archive that was given.
    std::string archive = {};               ///< Empty when it is in none.
    std::string problem = {};               ///< Why there is nothing to read.
    std::optional<std::string> bytes = {};  ///< None: whoever wants them reads them.
};

/// For another process.
[[nodiscard]] std::string Packed(const SourceFile& file);
[[nodiscard]] SourceFile UnpackedFile(std::string_view bytes);

/// Hands out one file after another, and those in archives in their place.
class FileSource {
public:
    explicit FileSource(std::vector<ListedFile> files);

    [[nodiscard]] std::optional<SourceFile> Next();

    /// @return none where archives hold nobody knows how many.
    [[nodiscard]] std::optional<std::uint64_t> Total() const {
        return hasArchives_ ? std::nullopt : std::optional<std::uint64_t>(files_.size());
    }

private:
    /// @return the archive itself when it cannot be opened.
    [[nodiscard]] std::optional<SourceFile> Open(const ListedFile& file);
    /// @return none after the last one. The archive is closed then.
    [[nodiscard]] std::optional<SourceFile> NextMember();

    std::vector<ListedFile> files_;
    std::size_t count_ = 0;  ///< Of the files that were handed out, or opened as archives.
    bool hasArchives_ = false;
    std::optional<Archive> archive_;
    bool isEmpty_ = false;  ///< Whether nothing of the archive has been handed out.
};

/// Without the name, which an InputError begins with.
[[nodiscard]] std::string ProblemOf(const std::string& name, const std::string& what);

}  // namespace tal::talstore

#endif
