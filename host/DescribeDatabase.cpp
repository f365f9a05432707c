#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>

#include "DatabaseDescription.h"
#include "TypeTable.h"

namespace tal::host {

namespace {

using nlohmann::json;

json JsonFromReal(double value) {
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value < 0 ? "-inf" : "inf";
    }
    return value;
}

/// The shortest decimal number that gives the same float, instead of the digits of its exact value.
json JsonFromFloat(float value) {
    if (!std::isfinite(value)) {
        return JsonFromReal(value);
    }
    char text[32] = {};
    std::to_chars(text, text + sizeof text - 1, value);
    return std::strtod(text, nullptr);
}

template <class Element>
json JsonFrom(Element value) {
    if constexpr (std::is_same_v<Element, float>) {
        return JsonFromFloat(value);
    } else if constexpr (std::is_same_v<Element, double>) {
        return JsonFromReal(value);
    } else {
        return value;
    }
}

json DescribeElements(const TypeInfo& type, const std::uint8_t* content, std::size_t count) {
    json elements = json::array();
    VisitElementType(type, [&](auto zero) {
        for (std::size_t i = 0; i < count; ++i) {
            elements.push_back(JsonFrom(ReadElement<decltype(zero)>(content + i * type.elementSize)));
        }
    });
    return elements;
}

[[noreturn]] void Fail(const Variable& variable, const std::string& problem) {
    throw DescriptionError(variable.Path() + ": " + problem);
}

json DescribeObject(const Object& object);

json DescribeObjects(const std::vector<std::unique_ptr<Object>>& objects) {
    json descriptions = json::array();
    for (const auto& object : objects) {
        descriptions.push_back(DescribeObject(*object));
    }
    return descriptions;
}

void DescribeValue(const Variable& variable, const TypeInfo& type, json& description) {
    const std::uint32_t elementCount = variable.ElementCount();
    if (variable.SizeInBytes() != std::uint64_t{elementCount} * type.elementSize ||
        (elementCount != 1 && !HasElementCount(type))) {
        Fail(variable, std::to_string(variable.SizeInBytes()) + " bytes do not match " + std::to_string(elementCount) +
                           " elements of type " + type.name);
    }
    const std::uint8_t* const content = variable.DefaultContent();
    if (HasElementCount(type)) {
        description["count"] = elementCount;
    }
    if (type.kind == TypeKind::String) {
        const char* const text = reinterpret_cast<const char*>(content);
        description["default"] = std::string(text, strnlen(text, variable.SizeInBytes()));
    } else {
        json elements = DescribeElements(type, content, elementCount);
        description["default"] = type.isArray ? std::move(elements) : std::move(elements.front());
    }
}

json DescribeVariable(const Variable& variable) {
    const TypeInfo* const type = FindType(variable.Type());
    if (type == nullptr) {
        Fail(variable, "type code " + std::to_string(variable.Type()) + " is not defined");
    }
    json description = {{"name", variable.Name()}, {"type", type->name}};
    if (type->kind != TypeKind::Object) {
        DescribeValue(variable, *type, description);
    } else if (type->isArray) {
        description["objects"] = DescribeObjects(variable.Objects());
    } else {
        description["object"] = DescribeObject(*variable.Objects().front());
    }
    return description;
}

json DescribeObject(const Object& object) {
    json variables = json::array();
    for (const auto& variable : object.Variables()) {
        variables.push_back(DescribeVariable(*variable));
    }
    return {{"name", object.Name()}, {"writable", object.Writable()}, {"variables", std::move(variables)}};
}

}  // namespace

nlohmann::json DescribeDatabase(const Database& database) {
    json regions = json::array();
    for (const auto& region : database.Regions()) {
        regions.push_back({{"name", region->Name()}, {"objects", DescribeObjects(region->Objects())}});
    }
    return {{"regions", std::move(regions)}};
}

}  // namespace tal::host
