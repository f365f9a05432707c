/// @file
/// A storage file: what its format is, and what it holds.
#ifndef TALSTORE_STORAGE_FILE_H
#define TALSTORE_STORAGE_FILE_H

#include <optional>
#include <string>
#include <string_view>

#include "ReferenceHost.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

struct StorageFile {
    std::string name;  ///< As the user gave it.
    std::string bytes;
    Format format;
};

/// What the name's ending says: .xml, .sbin, .bin.
[[nodiscard]] std::optional<Format> FormatOfName(std::string_view name);

/// What the bytes say; the name's ending decides where they do not.
[[nodiscard]] std::optional<Format> RecogniseFormat(std::string_view bytes, std::string_view name);

/// @param format     As the user gave it, or to be recognised.
/// @param hasLayout  Whatever is not recognised is taken for a binary file when there is a layout.
/// Throws InputError.
[[nodiscard]] StorageFile LoadStorageFile(const std::string& name, std::optional<Format> format, bool hasLayout);

/// Inspects the file in its own format.
/// @param layout  Needed for binary files only.
[[nodiscard]] StoredContents Inspect(const StorageFile& file, host::Database* layout);

}  // namespace tal::talstore

#endif
