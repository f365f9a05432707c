/// @file
/// What a damaged file holds beyond the place where a board stops, or skips more than the damage.
#ifndef TALSTORE_SALVAGE_H
#define TALSTORE_SALVAGE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tal::talstore {

/// A record of a secure file of which at most one field of the header, the NUL of the path or what follows contradicts
/// the rest.
struct SalvagedRecord {
    std::size_t offset;
    std::string path;
    std::string_view data;  ///< In the file's bytes.
};

/// @return the size of what is stored under the path; none when nothing is.
using SizeOfPath = std::function<std::optional<std::size_t>(const std::string& path)>;

/// @param bytes   Any bytes at all.
/// @param sizeOf  A record whose header contradicts itself is taken only when it has that size.
/// @return the records in the order of the file, also those with paths of which nothing is known.
[[nodiscard]] std::vector<SalvagedRecord> SalvageRecords(std::string_view bytes, const SizeOfPath& sizeOf);

/// @param damaged  Any bytes at all, less than 2 GiB.
/// @return the document without the variables that cannot be parsed, closed where it is cut; empty when nothing of it
///         can be parsed. Throws std::bad_alloc.
[[nodiscard]] std::string SalvageDocument(std::string_view damaged);

}  // namespace tal::talstore

#endif
