#include "JsonValues.h"

#include <cmath>
#include <string>

namespace tal::host {

namespace {

using Value = JsonTree::Value;

bool IsInRange(const Value& integer, std::int64_t lowest, std::uint64_t highest) {
    return integer.IsNegative() ? integer.Negative() >= lowest : integer.Unsigned() <= highest;
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

}  // namespace

void RequireInteger(const Value& value, const Place& place, std::int64_t lowest, std::uint64_t highest) {
    if (!value.IsInteger()) {
        FailType(place, "an integer", value);
    }
    if (!IsInRange(value, lowest, highest)) {
        Fail(place, value.NumberText() + " is out of range (" + std::to_string(lowest) + " to " +
                        std::to_string(highest) + ")");
    }
}

bool BoolFrom(const Value& value, const Place& place) {
    if (!value.IsBool()) {
        FailType(place, "true or false", value);
    }
    return value.Bool();
}

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

}  // namespace tal::host
