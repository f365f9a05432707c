/// @file
/// A storage file: its bytes and its format.
#ifndef TALSTORE_STORAGE_FILE_H
#define TALSTORE_STORAGE_FILE_H

#include <optional>
#include <string>

#include "ReferenceHost.h"
#include "formats/Formats.h"

namespace tal::talstore {

struct StorageFile {
    std::string name;  ///< As the user gave it.
    std::string bytes;
    Format format;
};

/// @param format     As the user gave it, or to be recognised.
/// @param hasLayout  Whatever is not recognised is taken for a binary file when there is a layout.
/// Throws InputError.
[[nodiscard]] StorageFile LoadStorageFile(const std::string& name, std::optional<Format> format, bool hasLayout);

/// Inspects the file in its own format.
/// @param layout  Needed for binary files only.
[[nodiscard]] StoredContents Inspect(const StorageFile& file, host::Database* layout);

}  // namespace tal::talstore

#endif
