/// @file
/// Reads secure binary files without a database.
#ifndef TALSTORE_INSPECT_SECURE_H
#define TALSTORE_INSPECT_SECURE_H

#include <string_view>

#include "formats/StoredContents.h"

namespace tal::talstore {

constexpr std::string_view kSecureStartMarker = "\xEF\xBE\xAD\xDE";

/// @param bytes  Any bytes at all. The items refer into them.
[[nodiscard]] StoredContents InspectSecure(std::string_view bytes);

}  // namespace tal::talstore

#endif
