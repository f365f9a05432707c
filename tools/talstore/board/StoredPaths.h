/// @file
/// Under which paths a format stores the variables of a layout, found out by letting the library store it.
#ifndef TALSTORE_STORED_PATHS_H
#define TALSTORE_STORED_PATHS_H

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ReferenceHost.h"
#include "board/ProviderSession.h"

namespace tal::talstore {

struct StoredPath {
    std::string path;
    const host::Variable* variable;  ///< Of the layout.
};

struct StoredPaths {
    std::vector<StoredPath> inTreeOrder;  ///< Without the variables that the format leaves out.
    /// Where several variables have one path, the first of them.
    std::unordered_map<std::string, const host::Variable*> byPath;
};

/// @param layout  Has its values afterwards; they do not show in paths.
[[nodiscard]] StoredPaths FindStoredPaths(const FormatInfo& format, std::uint32_t channel, host::Database& layout);

/// Remembers them for one layout, of which many files are retrieved.
class KnownPaths {
public:
    /// The result stays until the next call.
    [[nodiscard]] const StoredPaths& Of(const FormatInfo& format, std::uint32_t channel, host::Database& layout);

private:
    std::map<std::pair<Format, std::uint32_t>, StoredPaths> known_;
};

}  // namespace tal::talstore

#endif
