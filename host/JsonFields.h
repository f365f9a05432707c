/// @file
/// The fields of a description's JSON objects. Whatever does not fit throws a DescriptionError with its place.
#ifndef TAL_HOST_JSON_FIELDS_H
#define TAL_HOST_JSON_FIELDS_H

#include <cstddef>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "JsonTree.h"
#include "TypeTable.h"

namespace tal::host {

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

[[noreturn]] void Fail(const Place& place, const std::string& problem);
[[noreturn]] void FailType(const Place& place, const char* expected, const JsonTree::Value& found);

[[nodiscard]] std::string Quoted(std::string_view text);

using Keys = std::initializer_list<std::string_view>;

void RequireObject(const JsonTree::Value& value, const Place& place, Keys allowed);

/// Of the keys that variables have, only some belong to each type.
void RequireKeysOfType(const JsonTree::Value& variable, const TypeInfo& type, const Place& place, Keys allowed);

/// @return of a key that is there twice the last value.
[[nodiscard]] std::optional<JsonTree::Value> FindField(const JsonTree::Value& object, std::string_view name);

[[nodiscard]] JsonTree::Value Field(const JsonTree::Value& object, const Place& place, const char* name);
[[nodiscard]] JsonTree::Value ArrayField(const JsonTree::Value& object, const Place& place, const char* name);
[[nodiscard]] std::string_view TextField(const JsonTree::Value& object, const Place& place, const char* name);
/// The text of the field "name", which is not empty.
[[nodiscard]] std::string_view NameField(const JsonTree::Value& object, const Place& place);

/// A text without NUL.
[[nodiscard]] std::string_view TextFrom(const JsonTree::Value& value, const Place& place);

/// Calls `visit` with each element of the array field `name`, and its place.
template <class Visit>
void ForEachElement(const JsonTree::Value& object, const Place& place, const char* name, const Visit& visit) {
    const JsonTree::Value array = ArrayField(object, place, name);
    JsonTree::Value element = array.First();
    for (std::size_t i = 0; i < array.Size(); ++i, element = element.Next()) {
        visit(element, place.Element(name, i));
    }
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

}  // namespace tal::host

#endif
