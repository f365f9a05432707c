#include "Device/DeviceSupport/private/VariableTypes.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using tal::ElementKind;
using tal::FindVariableType;
using tal::VariableTypeInfo;

struct Row {
    VariableType code;
    const char* text;
    unsigned width;
    ElementKind kind;
    bool isArray;
};

constexpr Row kRows[] = {
    {0, "U8", 1, ElementKind::Unsigned, false},         {1, "U8_ARRAY", 1, ElementKind::Unsigned, true},
    {2, "U16", 2, ElementKind::Unsigned, false},        {3, "U16_ARRAY", 2, ElementKind::Unsigned, true},
    {4, "U32", 4, ElementKind::Unsigned, false},        {5, "U32_ARRAY", 4, ElementKind::Unsigned, true},
    {6, "S8", 1, ElementKind::Signed, false},           {7, "S8_ARRAY", 1, ElementKind::Signed, true},
    {8, "S16", 2, ElementKind::Signed, false},          {9, "S16_ARRAY", 2, ElementKind::Signed, true},
    {10, "S32", 4, ElementKind::Signed, false},         {11, "S32", 4, ElementKind::Signed, true},
    {12, "BOOL", 4, ElementKind::Bool, false},          {13, "BOOL_ARRAY", 4, ElementKind::Bool, true},
    {14, "CHAR", 1, ElementKind::Char, false},          {15, "CHAR_ARRAY", 1, ElementKind::Char, true},
    {16, "STRING", 0, ElementKind::String, false},      {17, "FLOAT", 4, ElementKind::Float, false},
    {18, "FLOAT_ARRAY", 4, ElementKind::Float, true},   {19, "DOUBLE", 8, ElementKind::Float, false},
    {20, "DOUBLE_ARRAY", 8, ElementKind::Float, true},  {21, "OBJECT", 0, ElementKind::Object, false},
    {22, "OBJECT_ARRAY", 0, ElementKind::Object, true},
};

class VariableTypeTable : public testing::TestWithParam<Row> {};

TEST_P(VariableTypeTable, EveryCodeHasItsTextWidthAndKind) {
    const Row& row = GetParam();
    const VariableTypeInfo* const type = FindVariableType(row.code);
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->text, row.text);
    EXPECT_EQ(type->width, row.width);
    EXPECT_EQ(type->kind, row.kind);
    EXPECT_EQ(type->isArray, row.isArray);
}

INSTANTIATE_TEST_SUITE_P(VariableTypes, VariableTypeTable, testing::ValuesIn(kRows),
                         [](const testing::TestParamInfo<Row>& row) {
                             return "Code" + std::to_string(row.param.code);
                         });

TEST(VariableTypes, CodesAbove22AreNotDefined) {
    for (const VariableType code : {23U, 24U, 255U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(FindVariableType(code), nullptr) << code;
    }
}

}  // namespace
