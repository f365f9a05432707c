/// @file
/// What a description means.
#ifndef TAL_HOST_LOAD_TREE_H
#define TAL_HOST_LOAD_TREE_H

#include <memory>

#include "JsonTree.h"
#include "ReferenceHost.h"

namespace tal::host {

/// Throws DescriptionError with the place in the description and the problem.
[[nodiscard]] std::unique_ptr<Database> LoadTree(const JsonTree& description);

}  // namespace tal::host

#endif
