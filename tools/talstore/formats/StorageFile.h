/// @file
/// A storage file: its bytes and its format.
#ifndef TALSTORE_STORAGE_FILE_H
#define TALSTORE_STORAGE_FILE_H

#include <optional>
#include <string>
#include <string_view>

#include "ReferenceHost.h"
#include "formats/Formats.h"

namespace tal::talstore {

struct StorageFile {
    std::string name;  ///< As the user gave it.
    std::string bytes;
    Format format;
};

/// Of a file that is to be retrieved: as RecogniseFormat, and an empty one is taken for a secure file, since nothing
/// can be restored from it whatever it is called.
[[nodiscard]] std::optional<Format> FormatToRetrieve(std::string_view bytes, std::string_view name);

/// @param format     As the user gave it, or to be recognised.
/// @param hasLayout  Whatever is not recognised is taken for a binary file when there is a layout.
/// Throws InputError.
[[nodiscard]] StorageFile LoadStorageFile(const std::string& name, std::optional<Format> format, bool hasLayout);

/// Inspects the file in its own format.
/// @param layout  Needed for binary files only.
[[nodiscard]] StoredContents Inspect(const StorageFile& file, host::Database* layout);

}  // namespace tal::talstore

#endif
