#include "JsonFields.h"

#include <algorithm>

#include "DatabaseDescription.h"

namespace tal::host {

namespace {

using Value = JsonTree::Value;

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

}  // namespace

void Fail(const Place& place, const std::string& problem) {
    const std::string where = place.Text();
    throw DescriptionError((where.empty() ? "description" : where) + ": " + problem);
}

std::string Quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

void FailType(const Place& place, const char* expected, const Value& found) {
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

void RequireKeysOfType(const Value& variable, const TypeInfo& type, const Place& place, Keys allowed) {
    if (const auto key = FindForeignKey(variable, allowed)) {
        Fail(place, Quoted(*key) + " does not belong to type " + type.name);
    }
}

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

}  // namespace tal::host
