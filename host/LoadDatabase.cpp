#include "DatabaseDescription.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <type_traits>
#include <vector>

#include "TypeTable.h"

namespace tal::host {

namespace {

using nlohmann::json;

constexpr std::uint64_t kMaxElementCount = 1048576;
constexpr int kMaxObjectDepth = 64;

[[noreturn]] void Fail(const std::string& place, const std::string& problem) {
    throw DescriptionError((place.empty() ? "description" : place) + ": " + problem);
}

std::string Quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::string ElementPlace(const std::string& place, const char* field, std::size_t index) {
    return (place.empty() ? "" : place + ".") + field + "[" + std::to_string(index) + "]";
}

// ---- Fields of a JSON object -----------------------------------------------------------------------------------

using Keys = std::initializer_list<std::string_view>;

/// @return the first key that is not allowed, or null.
const std::string* FindForeignKey(const json::object_t& object, Keys allowed) {
    for (const auto& [key, value] : object) {
        if (std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
            return &key;
        }
    }
    return nullptr;
}

void RequireObject(const json& value, const std::string& place, Keys allowed) {
    if (!value.is_object()) {
        Fail(place, std::string("must be an object, found ") + value.type_name());
    }
    if (const std::string* const key = FindForeignKey(value.get_ref<const json::object_t&>(), allowed)) {
        Fail(place, "unknown key " + Quoted(*key));
    }
}

/// Of the keys that variables have, only some belong to each type.
void RequireKeysOfType(const json& variable, const std::string& place, Keys allowed) {
    if (const std::string* const key = FindForeignKey(variable.get_ref<const json::object_t&>(), allowed)) {
        Fail(place, Quoted(*key) + " does not belong to type " + variable["type"].get<std::string>());
    }
}

const json& Field(const json& object, const std::string& place, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) {
        Fail(place, "missing field " + Quoted(key));
    }
    return *found;
}

std::string FieldPlace(const std::string& place, const char* key) {
    return place.empty() ? key : place + "." + key;
}

[[noreturn]] void FailType(const std::string& place, const char* expected, const json& found) {
    Fail(place, std::string("must be ") + expected + ", found " + found.type_name());
}

const json& ArrayField(const json& object, const std::string& place, const char* key) {
    const json& array = Field(object, place, key);
    if (!array.is_array()) {
        FailType(FieldPlace(place, key), "an array", array);
    }
    return array;
}

std::string TextFrom(const json& value, const std::string& place) {
    if (!value.is_string()) {
        FailType(place, "a string", value);
    }
    std::string text = value.get<std::string>();
    if (text.find('\0') != std::string::npos) {
        Fail(place, "contains a NUL character");
    }
    return text;
}

std::string NameField(const json& object, const std::string& place) {
    const json& field = Field(object, place, "name");
    std::string name = TextFrom(field, FieldPlace(place, "name"));
    if (name.empty()) {
        Fail(FieldPlace(place, "name"), "is empty");
    }
    return name;
}

/// The names of one set of siblings, which have to differ.
class SiblingNames {
public:
    void Add(const std::string& name, const std::string& place) {
        if (!names_.insert(name).second) {
            Fail(place, "duplicate name " + Quoted(name));
        }
    }

private:
    std::set<std::string> names_;
};

// ---- Values ----------------------------------------------------------------------------------------------------

/// A JSON integer is either unsigned or negative.
bool IsInRange(const json& integer, std::int64_t lowest, std::uint64_t highest) {
    return integer.is_number_unsigned() ? integer.get<std::uint64_t>() <= highest
                                        : integer.get<std::int64_t>() >= lowest;
}

void RequireInteger(const json& value, const std::string& place, std::int64_t lowest, std::uint64_t highest) {
    if (!value.is_number_integer()) {
        FailType(place, "an integer", value);
    }
    if (!IsInRange(value, lowest, highest)) {
        Fail(place,
             value.dump() + " is out of range (" + std::to_string(lowest) + " to " + std::to_string(highest) + ")");
    }
}

template <class T>
T IntegerFrom(const json& value, const std::string& place) {
    RequireInteger(value, place, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    return value.get<T>();
}

std::uint32_t CountField(const json& object, const std::string& place) {
    const json& count = Field(object, place, "count");
    RequireInteger(count, FieldPlace(place, "count"), 0, kMaxElementCount);
    return count.get<std::uint32_t>();
}

bool BoolFrom(const json& value, const std::string& place) {
    if (!value.is_boolean()) {
        FailType(place, "true or false", value);
    }
    return value.get<bool>();
}

struct NamedNumber {
    const char* name;
    double value;
};
constexpr NamedNumber kNamedNumbers[] = {
    {"nan", std::numeric_limits<double>::quiet_NaN()},
    {"inf", std::numeric_limits<double>::infinity()},
    {"-inf", -std::numeric_limits<double>::infinity()},
};

double NumberFrom(const json& value, const std::string& place) {
    if (value.is_number()) {
        return value.get<double>();
    }
    for (const NamedNumber& named : kNamedNumbers) {
        if (value == named.name) {
            return named.value;
        }
    }
    FailType(place, "a number", value);
}

float FloatFrom(const json& value, const std::string& place) {
    const double number = NumberFrom(value, place);
    const auto narrowed = static_cast<float>(number);
    if (std::isfinite(number) && !std::isfinite(narrowed)) {
        Fail(place, value.dump() + " is out of range for single precision");
    }
    return narrowed;
}

// ---- From a description to a database --------------------------------------------------------------------------

template <class Element>
Element ElementFrom(const json& value, const std::string& place) {
    if constexpr (std::is_same_v<Element, bool>) {
        return BoolFrom(value, place);
    } else if constexpr (std::is_same_v<Element, float>) {
        return FloatFrom(value, place);
    } else if constexpr (std::is_same_v<Element, double>) {
        return NumberFrom(value, place);
    } else {
        return IntegerFrom<Element>(value, place);
    }
}

void LoadScalar(Object& object, const std::string& name, const TypeInfo& type, const json& variable,
                const std::string& place) {
    RequireKeysOfType(variable, place, {"name", "type", "default"});
    std::vector<std::uint8_t> bytes(type.elementSize);
    if (const auto value = variable.find("default"); value != variable.end()) {
        VisitElementType(type, [&](auto zero) {
            WriteElement(bytes.data(), ElementFrom<decltype(zero)>(*value, FieldPlace(place, "default")));
        });
    }
    object.Raw(name, type.code, 1, bytes);
}

void LoadArray(Object& object, const std::string& name, const TypeInfo& type, const json& variable,
               const std::string& place) {
    RequireKeysOfType(variable, place, {"name", "type", "count", "default"});
    const std::uint32_t count = CountField(variable, place);
    std::vector<std::uint8_t> bytes(std::size_t{count} * type.elementSize);
    if (variable.contains("default")) {
        const json& defaults = ArrayField(variable, place, "default");
        if (defaults.size() != count) {
            Fail(FieldPlace(place, "default"),
                 "has " + std::to_string(defaults.size()) + " values, but count is " + std::to_string(count));
        }
        VisitElementType(type, [&](auto zero) {
            for (std::size_t i = 0; i < count; ++i) {
                WriteElement(bytes.data() + i * type.elementSize,
                             ElementFrom<decltype(zero)>(defaults[i], ElementPlace(place, "default", i)));
            }
        });
    }
    object.Raw(name, type.code, count, bytes);
}

void LoadString(Object& object, const std::string& name, const json& variable, const std::string& place) {
    RequireKeysOfType(variable, place, {"name", "type", "count", "default"});
    const std::uint32_t capacity = CountField(variable, place);
    const auto value = variable.find("default");
    const std::string text = value == variable.end() ? "" : TextFrom(*value, FieldPlace(place, "default"));
    if (text.size() >= capacity && !text.empty()) {
        Fail(FieldPlace(place, "default"),
             "needs " + std::to_string(text.size() + 1) + " bytes, but count is " + std::to_string(capacity));
    }
    object.String(name, capacity, text);
}

void LoadObject(Object& object, const json& description, const std::string& place, int depth);

/// Checks what the description of an object has in any place, before the object is made.
/// @return its name.
std::string ObjectName(const json& description, const std::string& place, int depth) {
    if (depth > kMaxObjectDepth) {
        Fail(place, "objects are nested more than " + std::to_string(kMaxObjectDepth) + " deep");
    }
    RequireObject(description, place, {"name", "writable", "variables"});
    return NameField(description, place);
}

void LoadNested(Object& object, const std::string& name, const json& variable, const std::string& place, int depth) {
    RequireKeysOfType(variable, place, {"name", "type", "object"});
    const json& description = Field(variable, place, "object");
    const std::string nestedPlace = FieldPlace(place, "object");
    Object& nested = object.AddNested(name, ObjectName(description, nestedPlace, depth));
    LoadObject(nested, description, nestedPlace, depth);
}

void LoadObjectArray(Object& object, const std::string& name, const json& variable, const std::string& place,
                     int depth) {
    RequireKeysOfType(variable, place, {"name", "type", "objects"});
    const json& descriptions = ArrayField(variable, place, "objects");
    object.EmptyObjectArray(name);
    SiblingNames names;
    for (std::size_t i = 0; i < descriptions.size(); ++i) {
        const std::string elementPlace = ElementPlace(place, "objects", i);
        const std::string elementName = ObjectName(descriptions[i], elementPlace, depth);
        names.Add(elementName, elementPlace);
        LoadObject(object.AddToArray(name, elementName), descriptions[i], elementPlace, depth);
    }
}

void LoadVariable(Object& object, const std::string& name, const json& variable, const std::string& place, int depth) {
    const std::string typeName = TextFrom(Field(variable, place, "type"), FieldPlace(place, "type"));
    VariableType code = 0;
    if (!FindTypeByName(typeName, code)) {
        Fail(place, "unknown type " + Quoted(typeName));
    }
    const TypeInfo& type = *FindType(code);
    if (type.kind == TypeKind::String) {
        LoadString(object, name, variable, place);
    } else if (type.kind == TypeKind::Object) {
        (type.isArray ? LoadObjectArray : LoadNested)(object, name, variable, place, depth + 1);
    } else {
        (type.isArray ? LoadArray : LoadScalar)(object, name, type, variable, place);
    }
}

void LoadObject(Object& object, const json& description, const std::string& place, int depth) {
    const auto writable = description.find("writable");
    if (writable != description.end() && !BoolFrom(*writable, FieldPlace(place, "writable"))) {
        object.ReadOnly();
    }
    const json& variables = ArrayField(description, place, "variables");
    SiblingNames names;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const std::string variablePlace = ElementPlace(place, "variables", i);
        RequireObject(variables[i], variablePlace, {"name", "type", "count", "default", "object", "objects"});
        const std::string name = NameField(variables[i], variablePlace);
        names.Add(name, variablePlace);
        LoadVariable(object, name, variables[i], variablePlace, depth);
    }
}

void LoadRegion(Region& region, const json& description, const std::string& place) {
    const json& objects = ArrayField(description, place, "objects");
    SiblingNames names;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const std::string objectPlace = ElementPlace(place, "objects", i);
        const std::string name = ObjectName(objects[i], objectPlace, 1);
        names.Add(name, objectPlace);
        LoadObject(region.AddObject(name), objects[i], objectPlace, 1);
    }
}

/// @return "line 3, column 7" of the byte at `offset`, both counted from 1.
std::string LineAndColumn(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineStart = before.rfind('\n') + 1;
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineStart + 1);
}

}  // namespace

std::unique_ptr<Database> LoadDatabase(const nlohmann::json& description) {
    RequireObject(description, "", {"regions"});
    const json& regions = ArrayField(description, "", "regions");
    auto database = std::make_unique<Database>();
    SiblingNames names;
    for (std::size_t i = 0; i < regions.size(); ++i) {
        const std::string place = ElementPlace("", "regions", i);
        RequireObject(regions[i], place, {"name", "objects"});
        const std::string name = NameField(regions[i], place);
        names.Add(name, place);
        LoadRegion(database->AddRegion(name), regions[i], place);
    }
    return database;
}

std::unique_ptr<Database> LoadDatabaseFromText(std::string_view text) {
    json description;
    try {
        description = json::parse(text);
    } catch (const json::parse_error& error) {
        const std::size_t offset = error.byte == 0 ? 0 : error.byte - 1;
        Fail("", "not valid JSON at " + LineAndColumn(text, offset));
    } catch (const json::out_of_range&) {
        Fail("", "a number is too large");
    }
    return LoadDatabase(description);
}

std::unique_ptr<Database> LoadDatabaseFromFile(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    if (!file) {
        Fail(fileName, std::strerror(errno));
    }
    std::string text;
    for (char block[4096]; file.read(block, sizeof block) || file.gcount() > 0;) {
        text.append(block, static_cast<std::size_t>(file.gcount()));
    }
    if (file.bad()) {
        Fail(fileName, std::strerror(errno));
    }
    try {
        return LoadDatabaseFromText(text);
    } catch (const DescriptionError& error) {
        throw DescriptionError(fileName + ": " + error.what());
    }
}

}  // namespace tal::host
