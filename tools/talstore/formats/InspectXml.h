/// @file
/// Reads XML storage documents without a database.
#ifndef TALSTORE_INSPECT_XML_H
#define TALSTORE_INSPECT_XML_H

#include <cstddef>
#include <string_view>

#include "formats/StoredContents.h"

namespace tal::talstore {

constexpr std::size_t kLongestXmlRegionName = 39;
constexpr std::size_t kLongestXmlName = 119;    ///< Of objects and variables.
constexpr std::size_t kDeepestXmlObject = 5;    ///< Objects around a variable that is restored.
constexpr std::size_t kMostOuterVariables = 8;  ///< Variables around it.

/// @param document  Any bytes at all, less than 2 GiB.
/// @return what the document holds up to its first syntax error, if it has one. Throws std::bad_alloc.
[[nodiscard]] StoredContents InspectXml(std::string_view document);

}  // namespace tal::talstore

#endif
