#include "board/DescribeLayout.h"

#include <nlohmann/json.hpp>

#include "TypeTable.h"
#include "board/Value.h"

namespace tal::talstore {

namespace {

using nlohmann::ordered_json;

ordered_json DescribeObject(const host::Object& object, host::Database* values);

ordered_json DescribeObjects(const std::vector<std::unique_ptr<host::Object>>& objects, host::Database* values) {
    ordered_json descriptions = ordered_json::array();
    for (const auto& object : objects) {
        descriptions.push_back(DescribeObject(*object, values));
    }
    return descriptions;
}

ordered_json DescribeVariable(const host::Variable& variable, host::Database* values) {
    const host::TypeInfo& type = *host::FindType(variable.Type());
    ordered_json description = {{"name", variable.Name()}, {"type", type.name}};
    if (type.kind == host::TypeKind::Object) {
        description[type.isArray ? "objects" : "object"] = type.isArray
                                                               ? DescribeObjects(variable.Objects(), values)
                                                               : DescribeObject(*variable.Objects().front(), values);
        return description;
    }
    if (host::HasElementCount(type)) {
        description["count"] = variable.ElementCount();
    }
    const host::Variable* const value = values == nullptr ? nullptr : values->Find(variable.Path());
    if (value != nullptr && value->Type() == type.code) {
        description["default"] = ValueJson(type.code, BytesOf(*value));
    }
    return description;
}

ordered_json DescribeObject(const host::Object& object, host::Database* values) {
    ordered_json variables = ordered_json::array();
    for (const auto& variable : object.Variables()) {
        variables.push_back(DescribeVariable(*variable, values));
    }
    return {{"name", object.Name()}, {"variables", std::move(variables)}};
}

}  // namespace

ordered_json DescribeLayout(const host::Database& layout, host::Database* values) {
    ordered_json regions = ordered_json::array();
    for (const auto& region : layout.Regions()) {
        regions.push_back({{"name", region->Name()}, {"objects", DescribeObjects(region->Objects(), values)}});
    }
    return {{"regions", std::move(regions)}};
}

}  // namespace tal::talstore
