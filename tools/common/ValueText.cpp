#include "common/ValueText.h"

#include <charconv>
#include <cstring>

#include "TypeTable.h"
#include "common/Text.h"

namespace tal::tools {

namespace {

template <class Number>
std::string NumberText(Number number) {
    char text[64];
    return {text, std::to_chars(text, std::end(text), number).ptr};
}

template <class Stored>
Stored Load(const char* element) {
    Stored value;
    std::memcpy(&value, element, sizeof value);
    return value;
}

template <class Stored>
std::string ElementOf(const char* element) {
    return NumberText(Load<Stored>(element));
}

std::string BoolOf(const char* element) {
    return Load<std::uint32_t>(element) != 0 ? "true" : "false";
}

using ElementTextFunction = std::string (*)(const char* element);

/// By type code; a scalar and its array show their elements alike.
constexpr ElementTextFunction kElementTexts[] = {ElementOf<std::uint8_t>,
                                                 ElementOf<std::uint8_t>,
                                                 ElementOf<std::uint16_t>,
                                                 ElementOf<std::uint16_t>,
                                                 ElementOf<std::uint32_t>,
                                                 ElementOf<std::uint32_t>,
                                                 ElementOf<std::int8_t>,
                                                 ElementOf<std::int8_t>,
                                                 ElementOf<std::int16_t>,
                                                 ElementOf<std::int16_t>,
                                                 ElementOf<std::int32_t>,
                                                 ElementOf<std::int32_t>,
                                                 BoolOf,
                                                 BoolOf,
                                                 ElementOf<std::uint8_t>,
                                                 ElementOf<std::uint8_t>,
                                                 nullptr,
                                                 ElementOf<float>,
                                                 ElementOf<float>,
                                                 ElementOf<double>,
                                                 ElementOf<double>};
static_assert(std::size(kElementTexts) == VARIABLE_TYPE_OBJECT);

std::string ArrayText(VariableType type, std::string_view bytes, std::size_t elementSize) {
    std::string text;
    for (std::size_t offset = 0; offset < bytes.size(); offset += elementSize) {
        text += (offset == 0 ? "" : ", ") + kElementTexts[type](bytes.data() + offset);
    }
    return '[' + text + ']';
}

}  // namespace

std::string TypeText(const host::Variable& variable) {
    const host::TypeInfo* const type = host::FindType(variable.Type());
    if (type == nullptr) {
        return "type " + NumberText(variable.Type());
    }
    const bool isCounted = type->isArray || variable.Type() == VARIABLE_TYPE_STRING;
    return isCounted ? type->name + ('[' + NumberText(variable.ElementCount())) + ']' : type->name;
}

std::string_view BytesOf(const host::Variable& variable) {
    return host::HoldsObjects(variable.Type())
               ? std::string_view()
               : std::string_view(static_cast<const char*>(variable.Content()), variable.SizeInBytes());
}

bool IsValueOfType(VariableType type, std::string_view bytes) {
    const host::TypeInfo* const info = host::FindType(type);
    if (info == nullptr || host::HoldsObjects(type)) {
        return false;
    }
    const bool mayHaveMoreElements = info->isArray || type == VARIABLE_TYPE_STRING;
    return mayHaveMoreElements ? bytes.size() % info->elementSize == 0 : bytes.size() == info->elementSize;
}

std::string ValueText(VariableType type, std::string_view bytes) {
    if (host::HoldsObjects(type)) {
        return {};
    }
    if (!IsValueOfType(type, bytes)) {
        return HexBytes(bytes);
    }
    if (type == VARIABLE_TYPE_STRING) {
        return Quoted(bytes.substr(0, bytes.find('\0')));
    }
    const host::TypeInfo& info = *host::FindType(type);
    return info.isArray ? ArrayText(type, bytes, info.elementSize) : kElementTexts[type](bytes.data());
}

std::string ValueText(const host::Variable& variable) {
    return ValueText(variable.Type(), BytesOf(variable));
}

std::string Shortened(std::string text, std::size_t width) {
    constexpr std::string_view kMore = "...";
    if (text.size() > width) {
        text.resize(width - kMore.size());
        text += kMore;
    }
    return text;
}

}  // namespace tal::tools
