/// What the file-backed providers share about their storage files.
#ifndef TAL_PRIVATE_STORAGE_FILE_H
#define TAL_PRIVATE_STORAGE_FILE_H

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>

#include "Device/DeviceSupport/private/Tracing.h"

// Bytes of the buffer that each file provider has for its open file; the build may choose others.
#ifndef TAL_STREAM_BUFFER_SIZE
#define TAL_STREAM_BUFFER_SIZE 8192
#endif

namespace tal {

/// What a storage file is opened for. Every mode other than StoreWritable and Retrieve means writing.
enum class StorageOpenMode : unsigned { Store = 0, StoreWritable = 1, Retrieve = 2 };

/// A file-name slot: at most 79 characters, always terminated.
using FileName = char[80];

/// Between a provider and its open file, of which it has one at a time.
using StreamBuffer = char[TAL_STREAM_BUFFER_SIZE];
static_assert(sizeof(StreamBuffer) >= 256, "the writers put pieces of up to 256 bytes into the buffer");

/// The stream uses `buffer` until it is closed.
/// @return the stream, or null; `errno` is that of the failure.
[[nodiscard]] inline std::FILE* OpenStream(const char* fileName, const char* mode, StreamBuffer& buffer) {
    std::FILE* const file = std::fopen(fileName, mode);
    if (file != nullptr) {
        // A stream that does not take this buffer gets one of the C library's.
        static_cast<void>(std::setvbuf(file, buffer, _IOFBF, sizeof buffer));
    }
    return file;
}

/// The stream hands on every piece as it comes: whoever uses it has large ones.
/// @return the stream, or null; `errno` is that of the failure.
[[nodiscard]] inline std::FILE* OpenUnbufferedStream(const char* fileName, const char* mode) {
    std::FILE* const file = std::fopen(fileName, mode);
    if (file != nullptr) {
        static_cast<void>(std::setvbuf(file, nullptr, _IONBF, 0));
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

/// Closes the file; it is gone also after a failure.
/// @return QBF_OK, or QBF_E_FAILED, traced.
template <class Traces>
QBFResult CloseNamedFile(std::FILE* file, StorageLocation location) {
    if (std::fclose(file) != 0) {
        DS_TRACE(Traces, kCloseFile, QBF_E_FAILED,
                 "Could not close storage file for storage location %d (errno is: %d)", PrintableLocation(location),
                 errno);
        return QBF_E_FAILED;
    }
    return QBF_OK;
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
