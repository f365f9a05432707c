#include "LoadTree.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <optional>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "DatabaseDescription.h"
#include "TypeTable.h"

namespace tal::host {

namespace {

using Value = JsonTree::Value;

constexpr std::uint64_t kMaxElementCount = 1048576;
constexpr int kMaxObjectDepth = 64;

/// Where in the description a value stands; only a refusal puts it into words.
class Place {
public:
    Place() = default;

    // Both last as long as this place does.
    [[nodiscard]] Place Field(const char* name) const { return {this, name, kNoIndex}; }
    [[nodiscard]] Place Element(const char* arrayName, std::size_t index) const { return {this, arrayName, index}; }

    /// "regions[1].name"; empty for the description as a whole.
    [[nodiscard]] std::string Text() const {
        if (parent_ == nullptr) {
            return {};
        }
        const std::string before = parent_->Text();
        return (before.empty() ? "" : before + ".") + name_ +
               (index_ == kNoIndex ? "" : "[" + std::to_string(index_) + "]");
    }

private:
    static constexpr std::size_t kNoIndex = std::numeric_limits<std::size_t>::max();

    Place(const Place* parent, const char* name, std::size_t index) : parent_(parent), name_(name), index_(index) {}

    const Place* parent_ = nullptr;
    const char* name_ = nullptr;
    std::size_t index_ = kNoIndex;
};

[[noreturn]] void Fail(const Place& place, const std::string& problem) {
    const std::string where = place.Text();
    throw DescriptionError((where.empty() ? "description" : where) + ": " + problem);
}

std::string Quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

// ---- Fields of a JSON object -----------------------------------------------------------------------------------

using Keys = std::initializer_list<std::string_view>;

/// @return the first key that is not allowed.
std::optional<std::string_view> FindForeignKey(const Value& object, Keys allowed) {
    Value key = object.First();
    for (std::size_t i = 0; i < object.Size(); ++i, key = key.Next().Next()) {
        if (std::find(allowed.begin(), allowed.end(), key.Text()) == allowed.end()) {
            return key.Text();
        }
    }
    return std::nullopt;
}

[[noreturn]] void FailType(const Place& place, const char* expected, const Value& found) {
    Fail(place, std::string("must be ") + expected + ", found " + found.TypeName());
}

void RequireObject(const Value& value, const Place& place, Keys allowed) {
    if (!value.IsObject()) {
        FailType(place, "an object", value);
    }
    if (const auto key = FindForeignKey(value, allowed)) {
        Fail(place, "unknown key " + Quoted(*key));
    }
}

/// Of the keys that variables have, only some belong to each type.
void RequireKeysOfType(const Value& variable, const TypeInfo& type, const Place& place, Keys allowed) {
    if (const auto key = FindForeignKey(variable, allowed)) {
        Fail(place, Quoted(*key) + " does not belong to type " + type.name);
    }
}

/// @return of a key that is there twice the last value.
std::optional<Value> FindField(const Value& object, std::string_view name) {
    std::optional<Value> found;
    Value key = object.First();
    for (std::size_t i = 0; i < object.Size(); ++i, key = key.Next().Next()) {
        if (key.Text() == name) {
            found = key.Next();
        }
    }
    return found;
}

Value Field(const Value& object, const Place& place, const char* name) {
    const std::optional<Value> field = FindField(object, name);
    if (!field) {
        Fail(place, "missing field " + Quoted(name));
    }
    return *field;
}

Value ArrayField(const Value& object, const Place& place, const char* name) {
    const Value array = Field(object, place, name);
    if (!array.IsArray()) {
        FailType(place.Field(name), "an array", array);
    }
    return array;
}

/// Calls `visit` with each element of the array field `name`, and its place.
template <class Visit>
void ForEachElement(const Value& object, const Place& place, const char* name, const Visit& visit) {
    const Value array = ArrayField(object, place, name);
    Value element = array.First();
    for (std::size_t i = 0; i < array.Size(); ++i, element = element.Next()) {
        visit(element, place.Element(name, i));
    }
}

std::string_view TextFrom(const Value& value, const Place& place) {
    if (!value.IsString()) {
        FailType(place, "a string", value);
    }
    if (value.Text().find('\0') != std::string_view::npos) {
        Fail(place, "contains a NUL character");
    }
    return value.Text();
}

std::string_view TextField(const Value& object, const Place& place, const char* name) {
    return TextFrom(Field(object, place, name), place.Field(name));
}

std::string_view NameField(const Value& object, const Place& place) {
    const std::string_view name = TextField(object, place, "name");
    if (name.empty()) {
        Fail(place.Field("name"), "is empty");
    }
    return name;
}

/// The names of one set of siblings, which have to differ.
class SiblingNames {
public:
    void Add(std::string_view name, const Place& place) {
        if (!names_.insert(name).second) {
            Fail(place, "duplicate name " + Quoted(name));
        }
    }

private:
    std::unordered_set<std::string_view> names_;
};

// ---- Values ----------------------------------------------------------------------------------------------------

bool IsInRange(const Value& integer, std::int64_t lowest, std::uint64_t highest) {
    return integer.IsNegative() ? integer.Negative() >= lowest : integer.Unsigned() <= highest;
}

void RequireInteger(const Value& value, const Place& place, std::int64_t lowest, std::uint64_t highest) {
    if (!value.IsInteger()) {
        FailType(place, "an integer", value);
    }
    if (!IsInRange(value, lowest, highest)) {
        Fail(place, value.NumberText() + " is out of range (" + std::to_string(lowest) + " to " +
                        std::to_string(highest) + ")");
    }
}

template <class T>
T IntegerFrom(const Value& value, const Place& place) {
    RequireInteger(value, place, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    return value.IsNegative() ? static_cast<T>(value.Negative()) : static_cast<T>(value.Unsigned());
}

std::uint32_t CountField(const Value& object, const Place& place) {
    const Value count = Field(object, place, "count");
    RequireInteger(count, place.Field("count"), 0, kMaxElementCount);
    return static_cast<std::uint32_t>(count.Unsigned());
}

bool BoolFrom(const Value& value, const Place& place) {
    if (!value.IsBool()) {
        FailType(place, "true or false", value);
    }
    return value.Bool();
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

double NumberFrom(const Value& value, const Place& place) {
    if (value.IsNumber()) {
        return value.Number();
    }
    for (const NamedNumber& named : kNamedNumbers) {
        if (value.IsString() && value.Text() == named.name) {
            return named.value;
        }
    }
    FailType(place, "a number", value);
}

float FloatFrom(const Value& value, const Place& place) {
    const double number = NumberFrom(value, place);
    const auto narrowed = static_cast<float>(number);
    if (std::isfinite(number) && !std::isfinite(narrowed)) {
        Fail(place, value.NumberText() + " is out of range for single precision");
    }
    return narrowed;
}

template <class Element>
Element ElementFrom(const Value& value, const Place& place) {
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

// ---- From a description to a database --------------------------------------------------------------------------

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
