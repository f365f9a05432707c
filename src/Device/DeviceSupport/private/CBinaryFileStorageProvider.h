/// What the binary provider shows to its tests.
#ifndef TAL_PRIVATE_BINARY_FILE_STORAGE_PROVIDER_H
#define TAL_PRIVATE_BINARY_FILE_STORAGE_PROVIDER_H

#include <cstdio>

#include "Device/DeviceSupport/private/StorageFile.h"

namespace tal::binary {

/// Moves the bytes of the object's variables, and of the objects in it, between the database and the file.
/// @return QBF_OK, or QBF_E_FAILED when anything failed, which has been traced. In a mode that neither stores nor
///         retrieves the first plain variable ends the object with QBF_E_BAD_TYPE, untraced.
[[nodiscard]] QBFResult ProcessObject(CStorageObject* object, StorageOpenMode mode, std::FILE* file);

}  // namespace tal::binary

#endif
