/// @file
/// A database description made from what an XML document holds.
#ifndef TALSTORE_LAYOUT_FROM_XML_H
#define TALSTORE_LAYOUT_FROM_XML_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <vector>

#include "ReferenceHost.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

struct LayoutWishes {
    /// Bytes of every string with its NUL, which a document does not tell; longer texts get as much as they need.
    std::uint32_t stringCapacity = 256;
    /// Indices of items that the description shall not have.
    std::set<std::size_t> leftOut;
    /// Its values become the description's defaults; null for a description without defaults.
    host::Database* values = nullptr;
};

/// @param findings  Gets what the description leaves out or had to guess.
/// @return a description that host::LoadDatabase understands.
[[nodiscard]] nlohmann::ordered_json DeriveLayout(const StoredContents& contents, const LayoutWishes& wishes,
                                                  std::vector<Finding>& findings);

}  // namespace tal::talstore

#endif
