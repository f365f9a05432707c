/// @file
/// The values of a description's variables. Whatever does not fit throws a DescriptionError with its place.
#ifndef TAL_HOST_JSON_VALUES_H
#define TAL_HOST_JSON_VALUES_H

#include <cstdint>
#include <limits>
#include <type_traits>

#include "JsonFields.h"
#include "JsonTree.h"

namespace tal::host {

void RequireInteger(const JsonTree::Value& value, const Place& place, std::int64_t lowest, std::uint64_t highest);
[[nodiscard]] bool BoolFrom(const JsonTree::Value& value, const Place& place);
/// A number, or "nan", "inf" or "-inf".
[[nodiscard]] double NumberFrom(const JsonTree::Value& value, const Place& place);
[[nodiscard]] float FloatFrom(const JsonTree::Value& value, const Place& place);

template <class T>
[[nodiscard]] T IntegerFrom(const JsonTree::Value& value, const Place& place) {
    RequireInteger(value, place, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    return value.IsNegative() ? static_cast<T>(value.Negative()) : static_cast<T>(value.Unsigned());
}

/// @tparam Element  The type that TypeTable.h has for it.
template <class Element>
[[nodiscard]] Element ElementFrom(const JsonTree::Value& value, const Place& place) {
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

}  // namespace tal::host

#endif
