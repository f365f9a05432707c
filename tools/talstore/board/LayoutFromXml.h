/// @file
/// A board's database made from what an XML document holds.
#ifndef TALSTORE_LAYOUT_FROM_XML_H
#define TALSTORE_LAYOUT_FROM_XML_H

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "ReferenceHost.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

struct LayoutWishes {
    /// Bytes of every string with its NUL, which a document does not tell; longer texts get as much as they need.
    std::uint32_t stringCapacity = 256;
    /// Indices of items that the database shall not have.
    std::set<std::size_t> leftOut;
};

/// @param findings  Gets what is left out or had to be guessed.
/// @return a database that no description of host::LoadDatabase would be refused for; every default is zero or empty.
[[nodiscard]] std::unique_ptr<host::Database> DeriveLayout(const StoredContents& contents, const LayoutWishes& wishes,
                                                           std::vector<Finding>& findings);

}  // namespace tal::talstore

#endif
