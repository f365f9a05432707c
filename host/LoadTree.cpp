#include "LoadTree.h"

#include <string>
#include <string_view>
#include <vector>

#include "JsonFields.h"
#include "JsonValues.h"
#include "TypeTable.h"

namespace tal::host {

namespace {

using Value = JsonTree::Value;

constexpr std::uint64_t kMaxElementCount = 1048576;
constexpr int kMaxObjectDepth = 64;

std::uint32_t CountField(const Value& object, const Place& place) {
    const Value count = Field(object, place, "count");
    RequireInteger(count, place.Field("count"), 0, kMaxElementCount);
    return static_cast<std::uint32_t>(count.Unsigned());
}

void LoadScalar(Object& object, const std::string& name, const TypeInfo& type, const Value& variable,
                const Place& place) {
    RequireKeysOfType(variable, type, place, {"name", "type", "default"});
    std::vector<std::uint8_t> bytes(type.elementSize);
    if (const auto value = FindField(variable, "default")) {
        VisitElementType(type, [&](auto zero) {
            WriteElement(bytes.data(), ElementFrom<decltype(zero)>(*value, place.Field("default")));
        });
    }
    object.Raw(name, type.code, 1, bytes);
}

void LoadArray(Object& object, const std::string& name, const TypeInfo& type, const Value& variable,
               const Place& place) {
    RequireKeysOfType(variable, type, place, {"name", "type", "count", "default"});
    const std::uint32_t count = CountField(variable, place);
    std::vector<std::uint8_t> bytes(std::size_t{count} * type.elementSize);
    if (FindField(variable, "default")) {
        const std::size_t valueCount = ArrayField(variable, place, "default").Size();
        if (valueCount != count) {
            Fail(place.Field("default"),
                 "has " + std::to_string(valueCount) + " values, but count is " + std::to_string(count));
        }
        VisitElementType(type, [&](auto zero) {
            std::uint8_t* element = bytes.data();
            ForEachElement(variable, place, "default", [&](const Value& value, const Place& valuePlace) {
                WriteElement(element, ElementFrom<decltype(zero)>(value, valuePlace));
                element += type.elementSize;
            });
        });
    }
    object.Raw(name, type.code, count, bytes);
}

void LoadString(Object& object, const std::string& name, const TypeInfo& type, const Value& variable,
                const Place& place) {
    RequireKeysOfType(variable, type, place, {"name", "type", "count", "default"});
    const std::uint32_t capacity = CountField(variable, place);
    const auto value = FindField(variable, "default");
    const std::string_view text = value ? TextFrom(*value, place.Field("default")) : "";
    if (text.size() >= capacity && !text.empty()) {
        Fail(place.Field("default"),
             "needs " + std::to_string(text.size() + 1) + " bytes, but count is " + std::to_string(capacity));
    }
    object.String(name, capacity, text);
}

void LoadObject(Object& object, const Value& description, const Place& place, int depth);

/// Checks what the description of an object has in any place, before the object is made.
/// @return its name.
std::string_view ObjectName(const Value& description, const Place& place, int depth) {
    if (depth > kMaxObjectDepth) {
        Fail(place, "objects are nested more than " + std::to_string(kMaxObjectDepth) + " deep");
    }
    RequireObject(description, place, {"name", "writable", "variables"});
    return NameField(description, place);
}

void LoadNested(Object& object, const std::string& name, const TypeInfo& type, const Value& variable,
                const Place& place, int depth) {
    RequireKeysOfType(variable, type, place, {"name", "type", "object"});
    const Value description = Field(variable, place, "object");
    const Place nestedPlace = place.Field("object");
    const std::string nestedName(ObjectName(description, nestedPlace, depth));
    LoadObject(object.AddNested(name, nestedName), description, nestedPlace, depth);
}

void LoadObjectArray(Object& object, const std::string& name, const TypeInfo& type, const Value& variable,
                     const Place& place, int depth) {
    RequireKeysOfType(variable, type, place, {"name", "type", "objects"});
    object.EmptyObjectArray(name);
    SiblingNames names;
    ForEachElement(variable, place, "objects", [&](const Value& description, const Place& elementPlace) {
        const std::string_view elementName = ObjectName(description, elementPlace, depth);
        names.Add(elementName, elementPlace);
        LoadObject(object.AddToArray(name, std::string(elementName)), description, elementPlace, depth);
    });
}

const TypeInfo& TypeField(const Value& variable, const Place& place) {
    const std::string_view name = TextField(variable, place, "type");
    VariableType code = 0;
    if (!FindTypeByName(name, code)) {
        Fail(place, "unknown type " + Quoted(name));
    }
    return *FindType(code);
}

void LoadVariable(Object& object, const std::string& name, const Value& variable, const Place& place, int depth) {
    const TypeInfo& type = TypeField(variable, place);
    if (type.kind == TypeKind::String) {
        LoadString(object, name, type, variable, place);
    } else if (type.kind == TypeKind::Object) {
        (type.isArray ? LoadObjectArray : LoadNested)(object, name, type, variable, place, depth + 1);
    } else {
        (type.isArray ? LoadArray : LoadScalar)(object, name, type, variable, place);
    }
}

void LoadObject(Object& object, const Value& description, const Place& place, int depth) {
    const auto writable = FindField(description, "writable");
    if (writable && !BoolFrom(*writable, place.Field("writable"))) {
        object.ReadOnly();
    }
    SiblingNames names;
    ForEachElement(description, place, "variables", [&](const Value& variable, const Place& variablePlace) {
        RequireObject(variable, variablePlace, {"name", "type", "count", "default", "object", "objects"});
        const std::string_view name = NameField(variable, variablePlace);
        names.Add(name, variablePlace);
        LoadVariable(object, std::string(name), variable, variablePlace, depth);
    });
}

void LoadRegion(Region& region, const Value& description, const Place& place) {
    SiblingNames names;
    ForEachElement(description, place, "objects", [&](const Value& object, const Place& objectPlace) {
        const std::string_view name = ObjectName(object, objectPlace, 1);
        names.Add(name, objectPlace);
        LoadObject(region.AddObject(std::string(name)), object, objectPlace, 1);
    });
}

}  // namespace

std::unique_ptr<Database> LoadTree(const JsonTree& description) {
    const Place top;
    RequireObject(description.Root(), top, {"regions"});
    auto database = std::make_unique<Database>();
    SiblingNames names;
    ForEachElement(description.Root(), top, "regions", [&](const Value& region, const Place& place) {
        RequireObject(region, place, {"name", "objects"});
        const std::string_view name = NameField(region, place);
        names.Add(name, place);
        LoadRegion(database->AddRegion(std::string(name)), region, place);
    });
    return database;
}

}  // namespace tal::host
