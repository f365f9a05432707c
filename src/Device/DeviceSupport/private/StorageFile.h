/// What the file-backed providers share about their storage files.
#ifndef TAL_PRIVATE_STORAGE_FILE_H
#define TAL_PRIVATE_STORAGE_FILE_H

#include <unistd.h>

#include <cstddef>
#include <cstdio>

#include "Device/DeviceSupport/private/Tracing.h"

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
[[nodiscard]] constexpr int PrintableLocation(StorageLocation location) {
    return static_cast<int>(location);
}

/// Pushes what was flushed to the medium, as far as the medium offers that. `Traces` are the names of the provider:
/// `kSync`, the operation that syncs, and `kFileKind`, what it calls its files.
template <class Traces>
void SyncFile(std::FILE* file, StorageLocation location) {
    DS_TRACE(Traces, kSync, QBF_I_INFO, "fsync started for %s, storage location %d", Traces::kFileKind,
             PrintableLocation(location));
    fsync(fileno(file));
    DS_TRACE(Traces, kSync, QBF_I_INFO, "fsync completed for %s, storage location %d", Traces::kFileKind,
             PrintableLocation(location));
}

/// Attempts to sync the directory of a file that has been closed, and reports at `notOpened` that it did not open. Its
/// name is the empty string, so that this is what happens wherever an empty name opens nothing.
template <class Traces>
void SyncDirectory(StorageLocation location, QBFResult notOpened) {
    constexpr char kDirectoryName[] = "";
    std::FILE* const directory = std::fopen(kDirectoryName, "r");
    if (directory == nullptr) {
        DS_TRACE(Traces, kSync, notOpened,
                 "Failed to fsync file directory for storage location %d, could not open directory",
                 PrintableLocation(location));
        return;
    }
    std::fflush(directory);
    DS_TRACE(Traces, kSync, QBF_I_INFO, "Directory fsync started for %s, storage location %d", Traces::kFileKind,
             PrintableLocation(location));
    fsync(fileno(directory));
    DS_TRACE(Traces, kSync, QBF_I_INFO, "Directory fsync completed for %s, storage location %d", Traces::kFileKind,
             PrintableLocation(location));
    std::fclose(directory);
}

}  // namespace tal

#endif
