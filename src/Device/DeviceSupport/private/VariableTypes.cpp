#include "Device/DeviceSupport/private/VariableTypes.h"

#include <iterator>

namespace tal {

namespace {

constexpr VariableTypeInfo kVariableTypes[] = {
    {"U8", 1, ElementKind::Unsigned, false},
    {"U8_ARRAY", 1, ElementKind::Unsigned, true},
    {"U16", 2, ElementKind::Unsigned, false},
    {"U16_ARRAY", 2, ElementKind::Unsigned, true},
    {"U32", 4, ElementKind::Unsigned, false},
    {"U32_ARRAY", 4, ElementKind::Unsigned, true},
    {"S8", 1, ElementKind::Signed, false},
    {"S8_ARRAY", 1, ElementKind::Signed, true},
    {"S16", 2, ElementKind::Signed, false},
    {"S16_ARRAY", 2, ElementKind::Signed, true},
    {"S32", 4, ElementKind::Signed, false},
    // The format has no text of its own for this array type.
    {"S32", 4, ElementKind::Signed, true},
    {"BOOL", 4, ElementKind::Bool, false},
    {"BOOL_ARRAY", 4, ElementKind::Bool, true},
    {"CHAR", 1, ElementKind::Char, false},
    {"CHAR_ARRAY", 1, ElementKind::Char, true},
    {"STRING", 0, ElementKind::String, false},
    {"FLOAT", 4, ElementKind::Float, false},
    {"FLOAT_ARRAY", 4, ElementKind::Float, true},
    {"DOUBLE", 8, ElementKind::Float, false},
    {"DOUBLE_ARRAY", 8, ElementKind::Float, true},
    // An object has no variable element, so this text is never written.
    {"OBJECT", 0, ElementKind::Object, false},
    {"OBJECT_ARRAY", 0, ElementKind::Object, true},
};
static_assert(std::size(kVariableTypes) == VARIABLE_TYPE_OBJECT_ARRAY + 1);

}  // namespace

const VariableTypeInfo* FindVariableType(VariableType code) {
    return code < std::size(kVariableTypes) ? &kVariableTypes[code] : nullptr;
}

}  // namespace tal
