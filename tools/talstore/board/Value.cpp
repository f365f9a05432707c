#include "board/Value.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>

#include "TypeTable.h"
#include "board/ValueElement.h"
#include "common/Text.h"
#include "files/InputError.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;
using tools::Quoted;

namespace {

/// @return the type when its values consist of elements; null for strings, objects and codes that are not defined.
const host::TypeInfo* TypeWithElements(VariableType type) {
    const host::TypeInfo* const info = host::FindType(type);
    const bool hasElements =
        info != nullptr && info->kind != host::TypeKind::String && info->kind != host::TypeKind::Object;
    return hasElements ? info : nullptr;
}

/// @return the type when the bytes are a value of it.
const host::TypeInfo* FittingType(VariableType type, std::string_view bytes) {
    return tools::IsValueOfType(type, bytes) ? host::FindType(type) : nullptr;
}

std::string_view UpToNul(std::string_view text) {
    return text.substr(0, text.find('\0'));
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
nlohmann::json ParseValue(std::string_view text) {
    const std::string_view digits = text.substr(0, 1) == "-" ? text.substr(1) : text;
    if (digits.size() > 2 && (digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X")) {
        std::uint64_t number = 0;
        const char* const last = digits.data() + digits.size();
        const auto [end, error] = std::from_chars(digits.data() + 2, last, number, 16);
        constexpr auto kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
        if (error == std::errc() && end == last && number <= kLargest) {
            return digits.size() == text.size() ? nlohmann::json(number)
                                                : nlohmann::json(-static_cast<std::int64_t>(number));
        }
    }
    if (text == "TRUE" || text == "FALSE") {
        return text == "TRUE";
    }
    nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
    return value.is_discarded() ? nlohmann::json(std::string(text)) : value;
}

bool SetElement(host::Variable& variable, const host::TypeInfo& type, std::size_t index, const nlohmann::json& text) {
    return host::VisitElementType(type, [&](auto value) {
        const bool isValue = ValueElement<decltype(value)>::Parse(text, value);
        if (isValue) {
            variable.Set(value, index);
        }
        return isValue;
    });
}

/// Whether two contents of the same size have the same elements, as a document shows them.
bool HaveSameElements(const host::TypeInfo& type, std::string_view first, std::string_view second) {
    return host::VisitElementType(type, [&](auto zero) {
        using Type = decltype(zero);
        for (std::size_t offset = 0; offset + type.elementSize <= first.size(); offset += type.elementSize) {
            if (!ValueElement<Type>::AreSameInXml(host::ReadElement<Type>(first.data() + offset),
                                                  host::ReadElement<Type>(second.data() + offset))) {
                return false;
            }
        }
        return true;
    });
}

}  // namespace

nlohmann::json ValueJson(VariableType type, std::string_view bytes) {
    const host::TypeInfo* const info = FittingType(type, bytes);
    if (info == nullptr) {
        return nullptr;
    }
    if (info->kind == host::TypeKind::String) {
        return std::string(UpToNul(bytes));
    }
    return host::VisitElementType(*info, [&](auto zero) -> nlohmann::json {
        using Type = decltype(zero);
        if (!info->isArray) {
            return ValueElement<Type>::ToJson(host::ReadElement<Type>(bytes.data()));
        }
        nlohmann::json elements = nlohmann::json::array();
        for (std::size_t offset = 0; offset < bytes.size(); offset += info->elementSize) {
            elements.push_back(ValueElement<Type>::ToJson(host::ReadElement<Type>(bytes.data() + offset)));
        }
        return elements;
    });
}

bool IsValueOfTexts(VariableType type, std::string_view bytes, const TextList& texts) {
    const host::TypeInfo* const info = FittingType(type, bytes);
    if (info == nullptr || (!info->isArray && texts.size() != 1)) {
        return false;
    }
    if (info->kind == host::TypeKind::String) {
        return texts.front() == UpToNul(bytes);
    }
    return host::VisitElementType(*info, [&](auto zero) {
        using Type = decltype(zero);
        const std::size_t compared = std::min(texts.size(), bytes.size() / info->elementSize);
        for (std::size_t i = 0; i < compared; ++i) {
            if (!ValueElement<Type>::IsText(host::ReadElement<Type>(bytes.data() + i * info->elementSize), texts[i])) {
                return false;
            }
        }
        return true;
    });
}

bool IsElementOfTexts(VariableType type, const void* element, std::size_t offset, const TextList& texts) {
    const host::TypeInfo* const info = TypeWithElements(type);
    if (info == nullptr) {
        // What follows a text is filled with NUL.
        const std::string_view text = texts.empty() ? std::string_view() : texts.front();
        return *static_cast<const char*>(element) == (offset < text.size() ? text[offset] : '\0');
    }
    const std::size_t index = offset / info->elementSize;
    return index < texts.size() && host::VisitElementType(*info, [&](auto zero) {
               using Type = decltype(zero);
               return ValueElement<Type>::IsText(host::ReadElement<Type>(element), texts[index]);
           });
}

bool AreSameInXml(VariableType type, std::string_view first, std::string_view second) {
    const host::TypeInfo* const info = TypeWithElements(type);
    if (info == nullptr) {
        return UpToNul(first) == UpToNul(second);
    }
    return first.size() == second.size() && HaveSameElements(*info, first, second);
}

bool IsSameValue(VariableType type, std::string_view first, std::string_view second) {
    const host::TypeInfo* const info = host::FindType(type);
    const bool isReal = info != nullptr && info->kind == host::TypeKind::Real;
    return isReal ? first == second : AreSameInXml(type, first, second);
}

void SetValue(host::Variable& variable, std::string_view text) {
    if (variable.Type() == VARIABLE_TYPE_STRING) {
        SetText(variable, text);
        return;
    }
    const host::TypeInfo* const type = TypeWithElements(variable.Type());
    if (type == nullptr) {
        FailValue(variable, text, "no value");
    }
    const std::string expected =
        host::VisitElementType(*type, [](auto zero) { return ValueElement<decltype(zero)>::Expected(); });
    const nlohmann::json value = ParseValue(text);
    if (!type->isArray) {
        if (!SetElement(variable, *type, 0, value)) {
            FailValue(variable, text, expected);
        }
        return;
    }
    const std::string expectedArray = "[...] with " + Count(variable.ElementCount(), "element") + ", each " + expected;
    if (!value.is_array() || value.size() != variable.ElementCount()) {
        FailValue(variable, text, expectedArray);
    }
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (!SetElement(variable, *type, i, value[i])) {
            FailValue(variable, text, expectedArray);
        }
    }
}

}  // namespace tal::talstore
