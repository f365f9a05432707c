/// @file
/// What is done with one element of a value: of the integers in general, and of booleans and reals apart.
#ifndef TALSTORE_VALUE_ELEMENT_H
#define TALSTORE_VALUE_ELEMENT_H

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tal::talstore {

inline std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kSpaces = " \t\r\n";
    const std::size_t start = text.find_first_not_of(kSpaces);
    return start == std::string_view::npos ? std::string_view()
                                           : text.substr(start, text.find_last_not_of(kSpaces) - start + 1);
}

template <class T>
struct ValueElement {
    static nlohmann::json ToJson(T value) { return value; }

    static bool IsText(T value, std::string_view text) {
        const std::string_view digits = Trimmed(text);
        std::int64_t number = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (error != std::errc() || end != digits.data() + digits.size()) {
            return false;
        }
        // The writer shows 32-bit values as signed ones, whatever their type.
        return number == std::int64_t{value} || number == static_cast<std::int32_t>(value);
    }

    static bool AreSameInXml(T first, T second) { return first == second; }

    static bool Parse(const nlohmann::json& text, T& value) {
        if (!text.is_number_integer()) {
            return false;
        }
        const bool fits = text.is_number_unsigned()
                              ? text.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<T>::max())
                              : text.get<std::int64_t>() >= std::int64_t{std::numeric_limits<T>::min()};
        value = fits ? text.get<T>() : T{};
        return fits;
    }

    static std::string Expected() {
        return std::to_string(std::numeric_limits<T>::min()) + " to " + std::to_string(std::numeric_limits<T>::max());
    }
};

template <>
struct ValueElement<bool> {
    static nlohmann::json ToJson(bool value) { return value; }
    static bool IsText(bool value, std::string_view text) { return Trimmed(text) == (value ? "TRUE" : "FALSE"); }
    static bool AreSameInXml(bool first, bool second) { return first == second; }
    static bool Parse(const nlohmann::json& text, bool& value) {
        value = text == true;
        return text.is_boolean();
    }
    static std::string Expected() { return "true or false"; }
};

inline float ParseReal(const char* text, char** end, float /*kind*/) {
    return std::strtof(text, end);
}
inline double ParseReal(const char* text, char** end, double /*kind*/) {
    return std::strtod(text, end);
}

template <class Real>
struct RealValueElement {
    static nlohmann::json ToJson(Real value) {
        if (std::isnan(value)) {
            return "nan";
        }
        if (std::isinf(value)) {
            return value > 0 ? "inf" : "-inf";
        }
        // Of the texts that stand for the very same value the shortest.
        char text[40];
        *std::to_chars(text, std::end(text), value).ptr = '\0';
        return std::strtod(text, nullptr);
    }

    static bool IsText(Real value, std::string_view text) {
        const std::string digits(Trimmed(text));
        char* end = nullptr;
        const Real number = ParseReal(digits.c_str(), &end, Real{});
        return !digits.empty() && *end == '\0' && (number == value || (std::isnan(number) && std::isnan(value)));
    }

    static bool AreSameInXml(Real first, Real second) { return Written(first) == Written(second); }

    static bool Parse(const nlohmann::json& text, Real& value) {
        if (text.is_number()) {
            value = static_cast<Real>(text.get<double>());
            return true;
        }
        const bool isSpecial = text == "nan" || text == "inf" || text == "-inf";
        if (isSpecial) {
            value = static_cast<Real>(std::strtod(text.get_ref<const std::string&>().c_str(), nullptr));
        }
        return isSpecial;
    }

    static std::string Expected() { return "a number, nan, inf or -inf"; }

private:
    static std::string Written(Real value) {
        constexpr int kDigitsAfterThePoint = 6;
        char text[40];
        return {text, std::to_chars(text, std::end(text), static_cast<double>(value), std::chars_format::scientific,
                                    kDigitsAfterThePoint)
                          .ptr};
    }
};

template <>
struct ValueElement<float> : RealValueElement<float> {};
template <>
struct ValueElement<double> : RealValueElement<double> {};

}  // namespace tal::talstore

#endif
