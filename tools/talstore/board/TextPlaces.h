/// @file
/// Where in an XML document the texts of a variable stand.
#ifndef TALSTORE_TEXT_PLACES_H
#define TALSTORE_TEXT_PLACES_H

#include <cstddef>
#include <map>
#include <set>
#include <string_view>
#include <vector>

namespace tal::talstore {

/// Bytes of a file.
struct Range {
    std::size_t begin;
    std::size_t end;  ///< After the last one.
};

/// @param items  Indices of variable elements, counted from 0 as they begin.
/// @return for each of them what stands between the tags of its value, or of each element of its array. What an empty
///         tag stands for has no place.
[[nodiscard]] std::map<std::size_t, std::vector<Range>> FindTextPlaces(std::string_view document,
                                                                       const std::set<std::size_t>& items);

}  // namespace tal::talstore

#endif
