/// @file
/// Databases from JSON descriptions, and back. What a description holds stands in one place: in the manual page
/// talstore-layout(5), tools/talstore/talstore-layout.5.
#ifndef TAL_HOST_DATABASE_DESCRIPTION_H
#define TAL_HOST_DATABASE_DESCRIPTION_H

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ReferenceHost.h"

namespace tal::host {

/// what() names the place and the problem: `regions[1].objects[0].variables[3]: unknown type "U9"`.
class DescriptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Each of these throws DescriptionError when the description is not understood in full.
[[nodiscard]] std::unique_ptr<Database> LoadDatabase(const nlohmann::json& description);
[[nodiscard]] std::unique_ptr<Database> LoadDatabase(const nlohmann::ordered_json& description);
[[nodiscard]] std::unique_ptr<Database> LoadDatabaseFromText(std::string_view text);
/// The message begins with the file's name.
[[nodiscard]] std::unique_ptr<Database> LoadDatabaseFromFile(const std::string& fileName);

/// @return a description from which LoadDatabase builds the same tree with the same defaults, except that it tells only
///         whether a BOOL is true, and of a STRING nothing after its NUL. Throws DescriptionError with the path of a
///         variable that no description can express: a type code that is not defined, or a size that does not match
///         type and count.
[[nodiscard]] nlohmann::json DescribeDatabase(const Database& database);

}  // namespace tal::host

#endif
