/// @file
/// The description of a database that was made from a document.
#ifndef TALSTORE_DESCRIBE_LAYOUT_H
#define TALSTORE_DESCRIBE_LAYOUT_H

#include <nlohmann/json_fwd.hpp>

#include "ReferenceHost.h"

namespace tal::talstore {

/// @param layout  As DeriveLayout makes it.
/// @param values  What it holds become the defaults; null for a description without defaults.
/// @return a description that host::LoadDatabase understands.
[[nodiscard]] nlohmann::ordered_json DescribeLayout(const host::Database& layout, host::Database* values);

}  // namespace tal::talstore

#endif
