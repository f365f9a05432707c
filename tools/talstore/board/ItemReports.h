/// @file
/// What becomes of each item of a file that is retrieved, by what the host sees.
#ifndef TALSTORE_ITEM_REPORTS_H
#define TALSTORE_ITEM_REPORTS_H

#include <vector>

#include "board/Restore.h"

namespace tal::talstore {

/// @param run     The retrieve of the file.
/// @param layout  After it.
/// @return one report per item of the contents.
[[nodiscard]] std::vector<ItemReport> ReportsOfItems(const ProviderSession& session, const StoredContents& contents,
                                                     const Run& run, const host::Database& layout);

}  // namespace tal::talstore

#endif
