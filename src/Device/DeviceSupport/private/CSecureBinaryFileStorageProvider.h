/// What the secure provider shows to its tests.
#ifndef TAL_PRIVATE_SECURE_BINARY_FILE_STORAGE_PROVIDER_H
#define TAL_PRIVATE_SECURE_BINARY_FILE_STORAGE_PROVIDER_H

#include <cstdio>

#include "Device/DeviceSupport/private/BinaryStorage.h"

namespace tal::secure {

using SecureFiles = LocationFiles<5>;

extern SecureFiles SecureFileNameTable;

/// Selects the location's file and opens it.
/// @return QBF_OK; QBF_E_INVALID_ARGUMENT for a bad location, or, after the file was selected, for the mode
///         StoreWritable; QBF_E_OPEN_FAILED.
[[nodiscard]] QBFResult OpenFile(StorageLocation location, StorageOpenMode mode, std::FILE** out);

}  // namespace tal::secure

#endif
