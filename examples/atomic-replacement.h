/// @file
/// Stores a location so that its file is at any time either the old one or the new one, whole.
/// docs/atomic-replacement.md tells how it works; copy this file into a host that needs it.
#ifndef TAL_EXAMPLES_ATOMIC_REPLACEMENT_H
#define TAL_EXAMPLES_ATOMIC_REPLACEMENT_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"

namespace example {

/// A location of a provider whose file is replaced.
struct ReplacedLocation {
    IStorageProvider* provider;  ///< Initialised already: Initialize would undo the names.
    StorageLocation location;
    std::string fileName;
    void (*useFile)(const char* fileName);  ///< Names the location's file and leaves the other locations' names.
    std::string ending;                     ///< What a whole file ends with; empty for the binary formats.
};

inline void UseXmlCalibrationFile(const char* fileName) {
    CXmlFileStorageProviderBase_SetStorageFilenames(fileName, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                    nullptr, nullptr, nullptr);
}

// These two take no null: whatever is not to change has to be named again.
inline void UseBinaryCalibrationFile(const char* fileName) {
    CBinaryFileStorageProvider_SetStorageFilenames(fileName, "hardware.bin", "applications.bin");
}

inline void UseSecureCalibrationFile(const char* fileName) {
    CSecureBinaryFileStorageProvider_SetStorageFilenames(fileName, "hardware.sbin", "applications.sbin");
}

class Descriptor {
public:
    Descriptor(const std::string& name, int flags) : descriptor_(open(name.c_str(), flags | O_CLOEXEC, 0644)) {}
    ~Descriptor() {
        if (IsOpen()) {
            close(descriptor_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] bool Sync() const { return IsOpen() && fsync(descriptor_) == 0; }

    [[nodiscard]] bool EndsWith(const std::string& ending) const {
        struct stat status = {};
        std::string end(ending.size(), '\0');
        const auto size = static_cast<off_t>(end.size());
        return fstat(descriptor_, &status) == 0 && status.st_size >= size &&
               pread(descriptor_, end.data(), end.size(), status.st_size - size) == static_cast<ssize_t>(end.size()) &&
               end == ending;
    }

private:
    int descriptor_;
};

inline std::string DirectoryOf(const std::string& fileName) {
    const std::size_t slash = fileName.rfind('/');
    return slash == std::string::npos ? "." : fileName.substr(0, slash + 1);
}

/// Writes a new file beside the old one and sees whether it is whole and on the medium.
inline bool StoreBeside(const ReplacedLocation& replaced, const std::string& temporary, CDatabase* database) {
    // Opened before the store: errors that the library's own sync has met, and passed over, are still reported here.
    const Descriptor file(temporary, O_RDWR | O_CREAT);
    if (!file.IsOpen()) {
        return false;
    }
    replaced.useFile(temporary.c_str());
    const QBFResult stored = replaced.provider->StoreAll(replaced.location, database, 0);
    replaced.useFile(replaced.fileName.c_str());
    return !QBF_IsFailure(stored) && file.EndsWith(replaced.ending) && file.Sync();
}

/// @return true when the new file is in place and on the medium; otherwise the old one still is, or, if nothing but the
///         last two syncs failed, one of the two.
inline bool StoreAtomically(const ReplacedLocation& replaced, CDatabase* database) {
    constexpr std::size_t kLongestFileName = 79;  // A longer one would be cut, in silence, and be another file.
    const std::string temporary = replaced.fileName + ".new";
    if (temporary.size() > kLongestFileName) {
        return false;
    }
    if (!StoreBeside(replaced, temporary, database) || rename(temporary.c_str(), replaced.fileName.c_str()) != 0) {
        unlink(temporary.c_str());
        return false;
    }
    // On FAT, what the directory tells about a file is written with the file.
    return Descriptor(replaced.fileName, O_RDONLY).Sync() &&
           Descriptor(DirectoryOf(replaced.fileName), O_RDONLY | O_DIRECTORY).Sync();
}

}  // namespace example

#endif
