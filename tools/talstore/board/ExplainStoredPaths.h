/// @file
/// What is stored under another path than it is looked up with.
#ifndef TALSTORE_EXPLAIN_STORED_PATHS_H
#define TALSTORE_EXPLAIN_STORED_PATHS_H

#include "board/Restore.h"

namespace tal::talstore {

/// Says so in the reasons of the variables and items that are not found.
/// @param layout  Of the report's variables.
/// @param paths   Of the layout; null for a file that is the only one.
void ExplainStoredPaths(RestoreReport& report, const ProviderSession& session, const StoredContents& contents,
                        host::Database& layout, KnownPaths* paths);

}  // namespace tal::talstore

#endif
