#include "TypeTable.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace tal::host {

namespace {

constexpr std::uint32_t kPointerSize = sizeof(CStorageObject*);

constexpr TypeInfo kTypes[] = {
    {VARIABLE_TYPE_U8, "U8", TypeKind::Unsigned, 1, false},
    {VARIABLE_TYPE_U8_ARRAY, "U8_ARRAY", TypeKind::Unsigned, 1, true},
    {VARIABLE_TYPE_U16, "U16", TypeKind::Unsigned, 2, false},
    {VARIABLE_TYPE_U16_ARRAY, "U16_ARRAY", TypeKind::Unsigned, 2, true},
    {VARIABLE_TYPE_U32, "U32", TypeKind::Unsigned, 4, false},
    {VARIABLE_TYPE_U32_ARRAY, "U32_ARRAY", TypeKind::Unsigned, 4, true},
    {VARIABLE_TYPE_S8, "S8", TypeKind::Signed, 1, false},
    {VARIABLE_TYPE_S8_ARRAY, "S8_ARRAY", TypeKind::Signed, 1, true},
    {VARIABLE_TYPE_S16, "S16", TypeKind::Signed, 2, false},
    {VARIABLE_TYPE_S16_ARRAY, "S16_ARRAY", TypeKind::Signed, 2, true},
    {VARIABLE_TYPE_S32, "S32", TypeKind::Signed, 4, false},
    {VARIABLE_TYPE_S32_ARRAY, "S32_ARRAY", TypeKind::Signed, 4, true},
    {VARIABLE_TYPE_BOOL, "BOOL", TypeKind::Bool, 4, false},
    {VARIABLE_TYPE_BOOL_ARRAY, "BOOL_ARRAY", TypeKind::Bool, 4, true},
    {VARIABLE_TYPE_CHAR, "CHAR", TypeKind::Char, 1, false},
    {VARIABLE_TYPE_CHAR_ARRAY, "CHAR_ARRAY", TypeKind::Char, 1, true},
    {VARIABLE_TYPE_STRING, "STRING", TypeKind::String, 1, false},
    {VARIABLE_TYPE_FLOAT, "FLOAT", TypeKind::Real, 4, false},
    {VARIABLE_TYPE_FLOAT_ARRAY, "FLOAT_ARRAY", TypeKind::Real, 4, true},
    {VARIABLE_TYPE_DOUBLE, "DOUBLE", TypeKind::Real, 8, false},
    {VARIABLE_TYPE_DOUBLE_ARRAY, "DOUBLE_ARRAY", TypeKind::Real, 8, true},
    {VARIABLE_TYPE_OBJECT, "OBJECT", TypeKind::Object, kPointerSize, false},
    {VARIABLE_TYPE_OBJECT_ARRAY, "OBJECT_ARRAY", TypeKind::Object, kPointerSize, true},
};

constexpr bool EveryTypeStandsAtItsCode() {
    for (VariableType code = 0; code < std::size(kTypes); ++code) {
        if (kTypes[code].code != code) {
            return false;
        }
    }
    return std::size(kTypes) == VARIABLE_TYPE_OBJECT_ARRAY + 1;
}
static_assert(EveryTypeStandsAtItsCode());

/// The names with their lengths: documents are full of them.
constexpr auto kNames = [] {
    std::array<std::string_view, std::size(kTypes)> names = {};
    for (std::size_t i = 0; i < names.size(); ++i) {
        names[i] = kTypes[i].name;
    }
    return names;
}();

}  // namespace

const TypeInfo* FindType(VariableType code) {
    return code < std::size(kTypes) ? &kTypes[code] : nullptr;
}

bool FindTypeByName(std::string_view name, VariableType& code) {
    const auto* const found = std::find(kNames.begin(), kNames.end(), name);
    if (found == kNames.end()) {
        return false;
    }
    code = kTypes[found - kNames.begin()].code;
    return true;
}

}  // namespace tal::host
