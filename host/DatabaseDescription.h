/// @file
/// Databases from JSON descriptions, and back.
///
///     {"regions": [{"name": "Config", "objects": [
///       {"name": "Radio", "writable": true, "variables": [
///         {"name": "Gain",   "type": "U32",       "default": 16},
///         {"name": "Table",  "type": "U16_ARRAY", "count": 4, "default": [1, 2, 3, 4]},
///         {"name": "Label",  "type": "STRING",    "count": 32, "default": "north"},
///         {"name": "Tx",     "type": "OBJECT",       "object": {"name": "Tx", "variables": []}},
///         {"name": "Lanes",  "type": "OBJECT_ARRAY", "objects": [{"name": "Lane0", "variables": []}]}]}]}]}
///
/// "writable" is true and "default" is zero, false or empty where it is absent; everything else is required and nothing
/// else is allowed. "count" is the number of elements, of a STRING its capacity in bytes with the NUL. A BOOL is true
/// or false, a CHAR the number of its character, a FLOAT or DOUBLE a number or one of "nan", "inf", "-inf". Siblings
/// have different names. Objects are nested at most 64 deep, and a variable has at most 1048576 elements.
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
