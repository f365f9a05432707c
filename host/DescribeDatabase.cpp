#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>

#include "DatabaseDescription.h"
#include "TypeTable.h"

namespace tal::host {

namespace {

using nlohmann::json;

json JsonFrom(double value) {
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
        return JsonFrom(value);
    }
    char text[32] = {};
    std::to_chars(text, text + sizeof text - 1, value);
    return std::strtod(text, nullptr);
}

json JsonFromWord(std::uint32_t word) {
    return word != 0;
}

template <class T>
json JsonFromInteger(T value) {
    return value;
}

template <class T, json (*Describe)(T)>
json DescribeElement(const std::uint8_t* element) {
    T value;
    std::memcpy(&value, element, sizeof value);
    return Describe(value);
}

using DescribeOne = json (*)(const std::uint8_t* element);

/// By type code, up to the two types that hold objects; strings are described as a whole.
constexpr DescribeOne kDescribeElement[] = {
    DescribeElement<std::uint8_t, JsonFromInteger>,
    DescribeElement<std::uint8_t, JsonFromInteger>,
    DescribeElement<std::uint16_t, JsonFromInteger>,
    DescribeElement<std::uint16_t, JsonFromInteger>,
    DescribeElement<std::uint32_t, JsonFromInteger>,
    DescribeElement<std::uint32_t, JsonFromInteger>,
    DescribeElement<std::int8_t, JsonFromInteger>,
    DescribeElement<std::int8_t, JsonFromInteger>,
    DescribeElement<std::int16_t, JsonFromInteger>,
    DescribeElement<std::int16_t, JsonFromInteger>,
    DescribeElement<std::int32_t, JsonFromInteger>,
    DescribeElement<std::int32_t, JsonFromInteger>,
    DescribeElement<std::uint32_t, JsonFromWord>,
    DescribeElement<std::uint32_t, JsonFromWord>,
    DescribeElement<std::uint8_t, JsonFromInteger>,
    DescribeElement<std::uint8_t, JsonFromInteger>,
    nullptr,
    DescribeElement<float, JsonFromFloat>,
    DescribeElement<float, JsonFromFloat>,
    DescribeElement<double, JsonFrom>,
    DescribeElement<double, JsonFrom>,
};
static_assert(std::size(kDescribeElement) == VARIABLE_TYPE_OBJECT);

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
    const std::uint64_t elementCount = variable.ElementCount();
    const bool hasCount = type.isArray || variable.Type() == VARIABLE_TYPE_STRING;
    if (variable.SizeInBytes() != elementCount * type.elementSize || (elementCount != 1 && !hasCount)) {
        Fail(variable, std::to_string(variable.SizeInBytes()) + " bytes do not match " + std::to_string(elementCount) +
                           " elements of type " + type.name);
    }
    const std::uint8_t* const content = variable.DefaultContent();
    if (hasCount) {
        description["count"] = elementCount;
    }
    if (variable.Type() == VARIABLE_TYPE_STRING) {
        const char* const text = reinterpret_cast<const char*>(content);
        description["default"] = std::string(text, strnlen(text, variable.SizeInBytes()));
    } else if (type.isArray) {
        json& elements = description["default"] = json::array();
        for (std::size_t i = 0; i < elementCount; ++i) {
            elements.push_back(kDescribeElement[variable.Type()](content + i * type.elementSize));
        }
    } else {
        description["default"] = kDescribeElement[variable.Type()](content);
    }
}

json DescribeVariable(const Variable& variable) {
    const TypeInfo* const type = FindType(variable.Type());
    if (type == nullptr) {
        Fail(variable, "type code " + std::to_string(variable.Type()) + " is not defined");
    }
    json description = {{"name", variable.Name()}, {"type", type->name}};
    if (variable.Type() == VARIABLE_TYPE_OBJECT) {
        description["object"] = DescribeObject(*variable.Objects().front());
    } else if (variable.Type() == VARIABLE_TYPE_OBJECT_ARRAY) {
        description["objects"] = DescribeObjects(variable.Objects());
    } else {
        DescribeValue(variable, *type, description);
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
