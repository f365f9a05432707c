/// The variable type codes in one table: text, element width and kind.
#ifndef TAL_PRIVATE_VARIABLE_TYPES_H
#define TAL_PRIVATE_VARIABLE_TYPES_H

#include <cstdint>
#include <string_view>

#include "Device/DeviceSupport/HostDatabase.h"

namespace tal {

/// How one element of a variable is represented.
enum class ElementKind : std::uint8_t { Unsigned, Signed, Bool, Char, String, Float, Object };

struct VariableTypeInfo {
    std::string_view text;  ///< As written into XML documents.
    std::uint8_t width;     ///< Bytes of one element; 0 for strings and objects.
    ElementKind kind;
    bool isArray;
};

/// @return the row of the code, or null for a code that is not defined.
[[nodiscard]] const VariableTypeInfo* FindVariableType(VariableType code);

}  // namespace tal

#endif
