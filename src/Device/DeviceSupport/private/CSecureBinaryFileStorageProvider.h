/// What the secure provider shows to its tests: its state, and the steps that no operation can bring to every end.
#ifndef TAL_PRIVATE_SECURE_BINARY_FILE_STORAGE_PROVIDER_H
#define TAL_PRIVATE_SECURE_BINARY_FILE_STORAGE_PROVIDER_H

#include <cstddef>
#include <cstdio>
#include <string_view>

#include "Device/DeviceSupport/private/BinaryStorage.h"

namespace tal::secure {

using SecureFiles = LocationFiles<5>;

/// Zero when the library is loaded, never destroyed; the file names stand beside it, since they have defaults.
struct SecureProviderState {
    unsigned long ChannelNumber;
    char RegionPath[40];
    /// Grows as the walk enters objects and is never shortened when it leaves them: paths after a nested object carry
    /// its name, which the files have always had and which the look-up by path has to meet again.
    char ObjectPath[1210];
    /// One for the whole walk, so that an array inside an array's element replaces the outer one's base.
    char SavedArrayBasePath[sizeof ObjectPath];
    /// RegionPath and ObjectPath joined, for all the paths in between two changes of ObjectPath.
    char pathPrefix[sizeof RegionPath + sizeof ObjectPath];
    std::size_t pathPrefixLength;
    char VariablePath[512];
    char pathFromFile[512];
    /// In which a path with a replaced channel is built.
    char scratch[sizeof ObjectPath + 64];
};

extern SecureProviderState state;
extern SecureFiles SecureFileNameTable;

/// Selects the location's file and opens it.
/// @return QBF_OK; QBF_E_INVALID_ARGUMENT for a bad location, or, after the file was selected, for the mode
///         StoreWritable; QBF_E_OPEN_FAILED.
[[nodiscard]] QBFResult OpenFile(StorageLocation location, StorageOpenMode mode, std::FILE** out);

/// Joins RegionPath and ObjectPath into pathPrefix, after either of them has changed.
void BuildPathPrefix();

/// Makes VariablePath "region/objects/variable", cut to what a record may hold, which is traced.
/// @return that path.
std::string_view BuildVariablePath(std::string_view variable);

}  // namespace tal::secure

#endif
