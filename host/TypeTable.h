/// @file
/// The 23 variable types: how database descriptions name them, and what their values are made of.
#ifndef TAL_HOST_TYPE_TABLE_H
#define TAL_HOST_TYPE_TABLE_H

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include "Device/DeviceSupport/HostDatabase.h"

namespace tal::host {

/// What one element is; its width is TypeInfo::elementSize.
enum class TypeKind : std::uint8_t {
    Unsigned,
    Signed,
    Bool,    ///< A 32-bit word; any but zero is true.
    Char,    ///< One byte, of which everybody shows the number.
    String,  ///< Bytes up to a NUL. The element count is the capacity with the NUL.
    Real,
    Object,  ///< Holds objects instead of a value.
};

struct TypeInfo {
    VariableType code;
    const char* name;  ///< "U8" to "OBJECT_ARRAY"; code 11 is "S32_ARRAY" here, unlike in XML documents.
    TypeKind kind;
    std::uint32_t elementSize;  ///< Bytes of one element; of objects the pointer to one.
    bool isArray;
};

/// @return the row of the code, or null for a code that is not defined.
[[nodiscard]] const TypeInfo* FindType(VariableType code);

/// Sets `code` to the type of that name.
/// @return whether there is one.
[[nodiscard]] bool FindTypeByName(std::string_view name, VariableType& code);

/// @return whether variables of this type hold objects instead of a value.
[[nodiscard]] constexpr bool HoldsObjects(VariableType code) {
    return code == VARIABLE_TYPE_OBJECT || code == VARIABLE_TYPE_OBJECT_ARRAY;
}

/// @return whether every variable of the type has its own number of elements; all others have one.
[[nodiscard]] constexpr bool HasElementCount(const TypeInfo& type) {
    return type.isArray || type.kind == TypeKind::String;
}

// An element is a C++ value of the type std::uint8_t to std::int32_t, float or double; a BOOL is a bool, and a CHAR a
// std::uint8_t.

/// How an element lies in memory.
template <class Element>
using StoredElement = std::conditional_t<std::is_same_v<Element, bool>, std::uint32_t, Element>;

/// @param address  of the element, aligned or not.
template <class Element>
[[nodiscard]] Element ReadElement(const void* address) {
    StoredElement<Element> stored;
    std::memcpy(&stored, address, sizeof stored);
    return static_cast<Element>(stored);
}

template <class Element>
void WriteElement(void* address, Element value) {
    const StoredElement<Element> stored = value;
    std::memcpy(address, &stored, sizeof stored);
}

/// Calls `visit` with a zero of the C++ type of the elements, and returns what it returns:
///
///     VisitElementType(type, [&](auto zero) { Print(ReadElement<decltype(zero)>(address)); });
///
/// Throws std::invalid_argument for a string or an object, which have no elements to convert one by one.
template <class Visit>
decltype(auto) VisitElementType(const TypeInfo& type, const Visit& visit) {
    switch (type.kind) {
        case TypeKind::Unsigned:
            return type.elementSize == 1   ? visit(std::uint8_t{})
                   : type.elementSize == 2 ? visit(std::uint16_t{})
                                           : visit(std::uint32_t{});
        case TypeKind::Signed:
            return type.elementSize == 1   ? visit(std::int8_t{})
                   : type.elementSize == 2 ? visit(std::int16_t{})
                                           : visit(std::int32_t{});
        case TypeKind::Bool:
            return visit(bool{});
        case TypeKind::Char:
            return visit(std::uint8_t{});
        case TypeKind::Real:
            return type.elementSize == sizeof(float) ? visit(float{}) : visit(double{});
        case TypeKind::String:
        case TypeKind::Object:
            break;
    }
    throw std::invalid_argument(std::string(type.name) + " has no elements to convert one by one");
}

}  // namespace tal::host

#endif
