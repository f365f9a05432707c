/// @file
/// The whole numbers that values of a type can be.
#ifndef TALSTORE_NUMBER_RANGE_H
#define TALSTORE_NUMBER_RANGE_H

#include <cstdint>
#include <limits>

#include "TypeTable.h"
#include "board/TypeChange.h"

namespace tal::talstore {

struct NumberRange {
    std::int64_t least;
    std::int64_t most;
};

template <class Number>
constexpr NumberRange RangeOf() {
    return {std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max()};
}

/// The whole numbers that an element can be.
[[nodiscard]] NumberRange RangeOfElements(const host::TypeInfo& type);

/// What becomes of numbers where those that are possible are not all kept.
[[nodiscard]] Effects EffectsOutsideOf(NumberRange kept, NumberRange possible);

}  // namespace tal::talstore

#endif
