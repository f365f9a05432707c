/// @file
/// The 23 variable types as database descriptions name them.
#ifndef TAL_HOST_TYPE_TABLE_H
#define TAL_HOST_TYPE_TABLE_H

#include <cstdint>
#include <string_view>

#include "Device/DeviceSupport/HostDatabase.h"

namespace tal::host {

struct TypeInfo {
    const char* name;           ///< "U8" to "OBJECT_ARRAY"; code 11 is "S32_ARRAY" here, unlike in XML documents.
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

}  // namespace tal::host

#endif
