/// What the file-backed providers share about their storage files.
#ifndef TAL_PRIVATE_STORAGE_FILE_H
#define TAL_PRIVATE_STORAGE_FILE_H

#include <cstddef>
#include <cstdio>

namespace tal {

/// What a storage file is opened for. Every mode other than StoreWritable and Retrieve means writing.
enum class StorageOpenMode : unsigned { Store = 0, StoreWritable = 1, Retrieve = 2 };

/// A file-name slot: at most 79 characters, always terminated.
using FileName = char[80];

/// Between a provider and its open file, of which it has one at a time. Larger than the C library's, because a store
/// spends much of its time in the calls that hand the buffer to the kernel.
using StreamBuffer = char[std::size_t{16} * 1024];

/// The stream uses `buffer` until it is closed.
/// @return the stream, or null; `errno` is that of the failure.
template <std::size_t Size>
[[nodiscard]] std::FILE* OpenStream(const char* fileName, const char* mode, char (&buffer)[Size]) {
    std::FILE* const file = std::fopen(fileName, mode);
    if (file != nullptr) {
        // A stream that does not take this buffer gets one of the C library's.
        static_cast<void>(std::setvbuf(file, buffer, _IOFBF, sizeof buffer));
    }
    return file;
}

/// The printf argument for the "%d" of a storage location.
[[nodiscard]] constexpr int PrintableLocation(unsigned long location) {
    return static_cast<int>(location);
}

}  // namespace tal

#endif
