/// What the file-backed providers share about their storage files.
#ifndef TAL_PRIVATE_STORAGE_FILE_H
#define TAL_PRIVATE_STORAGE_FILE_H

namespace tal {

/// What a storage file is opened for. Every mode other than StoreWritable and Retrieve means writing.
enum class StorageOpenMode : unsigned { Store = 0, StoreWritable = 1, Retrieve = 2 };

/// A file-name slot: at most 79 characters, always terminated.
using FileName = char[80];

/// The printf argument for the "%d" of a storage location.
[[nodiscard]] constexpr int PrintableLocation(unsigned long location) {
    return static_cast<int>(location);
}

}  // namespace tal

#endif
