#include "TypeTable.h"

#include <iterator>

namespace tal::host {

namespace {

constexpr TypeInfo kTypes[] = {
    {"U8", 1, false},
    {"U8_ARRAY", 1, true},
    {"U16", 2, false},
    {"U16_ARRAY", 2, true},
    {"U32", 4, false},
    {"U32_ARRAY", 4, true},
    {"S8", 1, false},
    {"S8_ARRAY", 1, true},
    {"S16", 2, false},
    {"S16_ARRAY", 2, true},
    {"S32", 4, false},
    {"S32_ARRAY", 4, true},
    {"BOOL", 4, false},
    {"BOOL_ARRAY", 4, true},
    {"CHAR", 1, false},
    {"CHAR_ARRAY", 1, true},
    {"STRING", 1, false},
    {"FLOAT", 4, false},
    {"FLOAT_ARRAY", 4, true},
    {"DOUBLE", 8, false},
    {"DOUBLE_ARRAY", 8, true},
    {"OBJECT", sizeof(CStorageObject*), false},
    {"OBJECT_ARRAY", sizeof(CStorageObject*), true},
};
static_assert(std::size(kTypes) == VARIABLE_TYPE_OBJECT_ARRAY + 1);

}  // namespace

const TypeInfo* FindType(VariableType code) {
    return code < std::size(kTypes) ? &kTypes[code] : nullptr;
}

bool FindTypeByName(std::string_view name, VariableType& code) {
    for (VariableType candidate = 0; candidate < std::size(kTypes); ++candidate) {
        if (name == kTypes[candidate].name) {
            code = candidate;
            return true;
        }
    }
    return false;
}

}  // namespace tal::host
