#include "board/Value.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "TypeTable.h"
#include "common/Text.h"
#include "files/InputError.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;
using tools::Quoted;

namespace {

using nlohmann::json;

template <class T>
T Load(const char* element) {
    T value;
    std::memcpy(&value, element, sizeof value);
    return value;
}

/// Of the texts that stand for the very same value the shortest.
template <class Real>
std::string ShortestText(Real value) {
    char text[40];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

template <class Real>
json RealJson(const char* element) {
    const Real value = Load<Real>(element);
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
    return std::strtod(ShortestText(value).c_str(), nullptr);
}

template <class T>
json IntegerJson(const char* element) {
    return Load<T>(element);
}

json BoolJson(const char* element) {
    return Load<std::uint32_t>(element) != 0;
}

// ---- Comparing with the texts of a document

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kSpaces = " \t\r\n";
    const std::size_t start = text.find_first_not_of(kSpaces);
    return start == std::string_view::npos ? std::string_view()
                                           : text.substr(start, text.find_last_not_of(kSpaces) - start + 1);
}

template <class T>
bool IsIntegerText(const char* element, std::string_view text) {
    const std::string_view digits = Trimmed(text);
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return false;
    }
    const T value = Load<T>(element);
    // The writer shows 32-bit values as signed ones, whatever their type.
    return number == std::int64_t{value} || (sizeof(T) == 4 && number == static_cast<std::int32_t>(value));
}

bool IsBoolText(const char* element, std::string_view text) {
    return Trimmed(text) == (Load<std::uint32_t>(element) != 0 ? "TRUE" : "FALSE");
}

float ParseReal(const char* text, char** end, float /*kind*/) {
    return std::strtof(text, end);
}
double ParseReal(const char* text, char** end, double /*kind*/) {
    return std::strtod(text, end);
}

template <class Real>
bool IsRealText(const char* element, std::string_view text) {
    const std::string digits(Trimmed(text));
    char* end = nullptr;
    const Real number = ParseReal(digits.c_str(), &end, Real{});
    const Real value = Load<Real>(element);
    return !digits.empty() && *end == '\0' && (number == value || (std::isnan(number) && std::isnan(value)));
}

// ---- Comparing what the XML writer would write

template <class T>
bool AreEqual(const char* first, const char* second) {
    return std::memcmp(first, second, sizeof(T)) == 0;
}

bool AreEqualBools(const char* first, const char* second) {
    return (Load<std::uint32_t>(first) != 0) == (Load<std::uint32_t>(second) != 0);
}

template <class Real>
bool AreEqualReals(const char* first, const char* second) {
    constexpr int kDigitsAfterThePoint = 6;
    const auto written = [](const char* element) {
        char text[40];
        return std::string(text, std::to_chars(text, text + sizeof text, static_cast<double>(Load<Real>(element)),
                                               std::chars_format::scientific, kDigitsAfterThePoint)
                                     .ptr);
    };
    return written(first) == written(second);
}

// ---- Setting

template <class T>
bool SetInteger(host::Variable& variable, std::size_t index, const json& value) {
    if (!value.is_number_integer()) {
        return false;
    }
    const bool fits = value.is_number_unsigned()
                          ? value.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<T>::max())
                          : value.get<std::int64_t>() >= std::int64_t{std::numeric_limits<T>::min()};
    if (fits) {
        variable.Set(value.get<T>(), index);
    }
    return fits;
}

bool SetBool(host::Variable& variable, std::size_t index, const json& value) {
    if (value.is_boolean()) {
        variable.Set(value.get<bool>(), index);
    }
    return value.is_boolean();
}

template <class Real>
bool SetReal(host::Variable& variable, std::size_t index, const json& value) {
    if (value.is_number()) {
        variable.Set(static_cast<Real>(value.get<double>()), index);
        return true;
    }
    const bool isSpecial = value == "nan" || value == "inf" || value == "-inf";
    if (isSpecial) {
        variable.Set(static_cast<Real>(std::strtod(value.get_ref<const std::string&>().c_str(), nullptr)), index);
    }
    return isSpecial;
}

// ---- The types

struct Conversion {
    json (*toJson)(const char* element);
    bool (*isText)(const char* element, std::string_view text);
    bool (*areSameInXml)(const char* first, const char* second);
    bool (*set)(host::Variable& variable, std::size_t index, const json& value);
    const char* expected;
};

template <class T>
constexpr Conversion IntegerConversion(const char* expected) {
    return {IntegerJson<T>, IsIntegerText<T>, AreEqual<T>, SetInteger<T>, expected};
}

template <class T>
constexpr Conversion RealConversion() {
    return {RealJson<T>, IsRealText<T>, AreEqualReals<T>, SetReal<T>, "a number, nan, inf or -inf"};
}

constexpr Conversion kU8 = IntegerConversion<std::uint8_t>("0 to 255");
constexpr Conversion kU16 = IntegerConversion<std::uint16_t>("0 to 65535");
constexpr Conversion kU32 = IntegerConversion<std::uint32_t>("0 to 4294967295");
constexpr Conversion kS8 = IntegerConversion<std::int8_t>("-128 to 127");
constexpr Conversion kS16 = IntegerConversion<std::int16_t>("-32768 to 32767");
constexpr Conversion kS32 = IntegerConversion<std::int32_t>("-2147483648 to 2147483647");
constexpr Conversion kBool = {BoolJson, IsBoolText, AreEqualBools, SetBool, "true or false"};
constexpr Conversion kFloat = RealConversion<float>();
constexpr Conversion kDouble = RealConversion<double>();

/// By type code. Strings are converted as a whole, and objects have no value.
constexpr const Conversion* kConversions[] = {&kU8, &kU8,  &kU16,   &kU16,   &kU32,   &kU32,    &kS8,
                                              &kS8, &kS16, &kS16,   &kS32,   &kS32,   &kBool,   &kBool,
                                              &kU8, &kU8,  nullptr, &kFloat, &kFloat, &kDouble, &kDouble};

const Conversion* FindConversion(VariableType type) {
    return type < std::size(kConversions) ? kConversions[type] : nullptr;
}

/// @return the type when the bytes are a value of it.
const host::TypeInfo* FittingType(VariableType type, std::string_view bytes) {
    return tools::IsValueOfType(type, bytes) ? host::FindType(type) : nullptr;
}

std::string_view UpToNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

/// Compares as many elements as both sides have.
template <class Compare>
bool HaveSameElements(std::string_view first, std::string_view second, std::size_t elementSize, Compare compare) {
    if (first.size() != second.size()) {
        return false;
    }
    for (std::size_t offset = 0; offset + elementSize <= first.size(); offset += elementSize) {
        if (!compare(first.data() + offset, second.data() + offset)) {
            return false;
        }
    }
    return true;
}

[[noreturn]] void FailValue(const host::Variable& variable, std::string_view text, const std::string& expected) {
    throw InputError(Printable(variable.Path()) + ": " + Quoted(text) + " does not fit " + TypeText(variable) +
                     ", which takes " + expected);
}

void SetText(host::Variable& variable, std::string_view text) {
    if (text.find('\0') != std::string_view::npos || text.size() >= std::max(variable.SizeInBytes(), 1U)) {
        FailValue(variable, text, "at most " + std::to_string(std::max(variable.SizeInBytes(), 1U) - 1) + " bytes");
    }
    variable.SetText(text);
}

/// What JSON does not know: hexadecimal numbers, and words without quotes.
json ParseValue(std::string_view text) {
    const std::string_view digits = text.substr(0, 1) == "-" ? text.substr(1) : text;
    if (digits.size() > 2 && (digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X")) {
        std::uint64_t number = 0;
        const char* const last = digits.data() + digits.size();
        const auto [end, error] = std::from_chars(digits.data() + 2, last, number, 16);
        constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (error == std::errc() && end == last && number <= kLargest) {
            return digits.size() == text.size() ? json(number) : json(-static_cast<std::int64_t>(number));
        }
    }
    if (text == "TRUE" || text == "FALSE") {
        return text == "TRUE";
    }
    json value = json::parse(text, nullptr, false);
    return value.is_discarded() ? json(std::string(text)) : value;
}

}  // namespace

json ValueJson(VariableType type, std::string_view bytes) {
    const host::TypeInfo* const info = FittingType(type, bytes);
    if (info == nullptr) {
        return nullptr;
    }
    if (type == VARIABLE_TYPE_STRING) {
        return std::string(UpToNul(bytes));
    }
    const Conversion& conversion = *kConversions[type];
    if (!info->isArray) {
        return conversion.toJson(bytes.data());
    }
    json elements = json::array();
    for (std::size_t offset = 0; offset < bytes.size(); offset += info->elementSize) {
        elements.push_back(conversion.toJson(bytes.data() + offset));
    }
    return elements;
}

bool IsValueOfTexts(VariableType type, std::string_view bytes, const std::vector<std::string>& texts) {
    const host::TypeInfo* const info = FittingType(type, bytes);
    if (info == nullptr) {
        return false;
    }
    if (type == VARIABLE_TYPE_STRING) {
        return texts.size() == 1 && texts.front() == UpToNul(bytes);
    }
    if (!info->isArray && texts.size() != 1) {
        return false;
    }
    const std::size_t compared = std::min(texts.size(), bytes.size() / info->elementSize);
    for (std::size_t i = 0; i < compared; ++i) {
        if (!kConversions[type]->isText(bytes.data() + i * info->elementSize, texts[i])) {
            return false;
        }
    }
    return true;
}

bool AreSameInXml(VariableType type, std::string_view first, std::string_view second) {
    const Conversion* const conversion = FindConversion(type);
    if (conversion == nullptr) {
        return UpToNul(first) == UpToNul(second);
    }
    return HaveSameElements(first, second, host::FindType(type)->elementSize, conversion->areSameInXml);
}

bool IsSameValue(VariableType type, std::string_view first, std::string_view second) {
    const Conversion* const conversion = FindConversion(type);
    const bool isReal = conversion == &kFloat || conversion == &kDouble;
    return isReal ? first == second : AreSameInXml(type, first, second);
}

void SetValue(host::Variable& variable, std::string_view text) {
    if (variable.Type() == VARIABLE_TYPE_STRING) {
        SetText(variable, text);
        return;
    }
    const Conversion* const conversion = FindConversion(variable.Type());
    if (conversion == nullptr) {
        FailValue(variable, text, "no value");
    }
    const json value = ParseValue(text);
    if (!host::FindType(variable.Type())->isArray) {
        if (!conversion->set(variable, 0, value)) {
            FailValue(variable, text, conversion->expected);
        }
        return;
    }
    const std::string expected =
        "[...] with " + Count(variable.ElementCount(), "element") + ", each " + conversion->expected;
    if (!value.is_array() || value.size() != variable.ElementCount()) {
        FailValue(variable, text, expected);
    }
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (!conversion->set(variable, i, value[i])) {
            FailValue(variable, text, expected);
        }
    }
}

}  // namespace tal::talstore
