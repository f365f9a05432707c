/// @file
/// Cuts raw binary files along a layout.
#ifndef TALSTORE_INSPECT_BINARY_H
#define TALSTORE_INSPECT_BINARY_H

#include <string_view>

#include "ReferenceHost.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

/// @param bytes   Any bytes at all. The items refer into them.
/// @param layout  Only its tree is looked at.
/// @return one item per variable that the file reaches; the last one may be cut.
[[nodiscard]] StoredContents InspectBinary(std::string_view bytes, host::Database& layout);

}  // namespace tal::talstore

#endif
