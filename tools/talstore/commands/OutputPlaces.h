/// @file
/// Where each of many converted files goes.
#ifndef TALSTORE_OUTPUT_PLACES_H
#define TALSTORE_OUTPUT_PLACES_H

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/Console.h"
#include "files/FileSource.h"
#include "formats/Formats.h"

namespace tal::talstore {

/// No two files go to the same place, none out of the folder, and none to one where something is unless that may be
/// replaced.
class OutputPlaces {
public:
    /// @param folder  Empty: every file is replaced.
    /// @param format  None: each file keeps its own.
    OutputPlaces(std::string folder, std::optional<Format> format, bool isForced)
        : folder_(std::move(folder)), format_(format), isForced_(isForced) {}

    [[nodiscard]] bool ReplaceInputs() const { return folder_.empty(); }

    /// Throws InputError.
    [[nodiscard]] std::string Of(const SourceFile& file) const;
    /// Throws InputError when it must not be written there.
    void Reserve(const SourceFile& file);
    /// Throws InputError.
    void Write(const SourceFile& file, std::string_view bytes, const Console& console) const;

private:
    [[nodiscard]] bool MayBeWritten(const std::string& output) const;

    std::string folder_;
    std::optional<Format> format_;
    bool isForced_;
    std::map<std::filesystem::path, std::string> inputs_;  ///< By where they go.
};

/// @return the files without those that an earlier run may have written: the folder to write is in the one that was
///         given, and they are in it.
[[nodiscard]] std::vector<ListedFile> FilesBeside(const std::string& outputFolder, std::vector<ListedFile> files);

}  // namespace tal::talstore

#endif
