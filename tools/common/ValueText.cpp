#include "common/ValueText.h"

#include <charconv>
#include <type_traits>

#include "TypeTable.h"
#include "common/Text.h"

namespace tal::tools {

namespace {

template <class Number>
std::string NumberText(Number number) {
    char text[64];
    return {text, std::to_chars(text, std::end(text), number).ptr};
}

/// A scalar and an array show their elements alike.
std::string ElementText(const host::TypeInfo& type, const char* element) {
    return host::VisitElementType(type, [&](auto zero) {
        const auto value = host::ReadElement<decltype(zero)>(element);
        if constexpr (std::is_same_v<decltype(zero), bool>) {
            return std::string(value ? "true" : "false");
        } else {
            return NumberText(value);
        }
    });
}

std::string ArrayText(const host::TypeInfo& type, std::string_view bytes) {
    std::string text;
    for (std::size_t offset = 0; offset < bytes.size(); offset += type.elementSize) {
        text += (offset == 0 ? "" : ", ") + ElementText(type, bytes.data() + offset);
    }
    return '[' + text + ']';
}

}  // namespace

std::string TypeText(const host::Variable& variable) {
    const host::TypeInfo* const type = host::FindType(variable.Type());
    if (type == nullptr) {
        return "type " + NumberText(variable.Type());
    }
    return host::HasElementCount(*type) ? type->name + ('[' + NumberText(variable.ElementCount())) + ']' : type->name;
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
    return host::HasElementCount(*info) ? bytes.size() % info->elementSize == 0 : bytes.size() == info->elementSize;
}

std::string ValueText(VariableType type, std::string_view bytes) {
    if (host::HoldsObjects(type)) {
        return {};
    }
    if (!IsValueOfType(type, bytes)) {
        return HexBytes(bytes);
    }
    const host::TypeInfo& info = *host::FindType(type);
    if (info.kind == host::TypeKind::String) {
        return Quoted(bytes.substr(0, bytes.find('\0')));
    }
    return info.isArray ? ArrayText(info, bytes) : ElementText(info, bytes.data());
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
