/// @file
/// Paths of variables: the names of region, objects and variable, joined by '/'.
#ifndef TALSTORE_PATHS_H
#define TALSTORE_PATHS_H

#include <string>

namespace tal::talstore {

/// Whether the path is that of the place, or of something in that region or object.
[[nodiscard]] inline bool IsAtOrIn(const std::string& path, const std::string& place) {
    return path.compare(0, place.size(), place) == 0 && (path.size() == place.size() || path[place.size()] == '/');
}

}  // namespace tal::talstore

#endif
