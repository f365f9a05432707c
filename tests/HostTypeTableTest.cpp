#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "TypeTable.h"

namespace {

using tal::host::FindType;
using tal::host::FindTypeByName;
using tal::host::HasElementCount;
using tal::host::HoldsObjects;
using tal::host::ReadElement;
using tal::host::TypeInfo;
using tal::host::TypeKind;
using tal::host::VisitElementType;
using tal::host::WriteElement;

struct TypeRow {
    VariableType code;
    const char* name;
    TypeKind kind;
    std::uint32_t elementSize;
    bool isArray;
    const char* element;  ///< "none" where elements are not converted one by one.
};

constexpr TypeRow kRows[] = {
    {0, "U8", TypeKind::Unsigned, 1, false, "unsigned 1"},
    {1, "U8_ARRAY", TypeKind::Unsigned, 1, true, "unsigned 1"},
    {2, "U16", TypeKind::Unsigned, 2, false, "unsigned 2"},
    {3, "U16_ARRAY", TypeKind::Unsigned, 2, true, "unsigned 2"},
    {4, "U32", TypeKind::Unsigned, 4, false, "unsigned 4"},
    {5, "U32_ARRAY", TypeKind::Unsigned, 4, true, "unsigned 4"},
    {6, "S8", TypeKind::Signed, 1, false, "signed 1"},
    {7, "S8_ARRAY", TypeKind::Signed, 1, true, "signed 1"},
    {8, "S16", TypeKind::Signed, 2, false, "signed 2"},
    {9, "S16_ARRAY", TypeKind::Signed, 2, true, "signed 2"},
    {10, "S32", TypeKind::Signed, 4, false, "signed 4"},
    {11, "S32_ARRAY", TypeKind::Signed, 4, true, "signed 4"},
    {12, "BOOL", TypeKind::Bool, 4, false, "bool"},
    {13, "BOOL_ARRAY", TypeKind::Bool, 4, true, "bool"},
    {14, "CHAR", TypeKind::Char, 1, false, "unsigned 1"},
    {15, "CHAR_ARRAY", TypeKind::Char, 1, true, "unsigned 1"},
    {16, "STRING", TypeKind::String, 1, false, "none"},
    {17, "FLOAT", TypeKind::Real, 4, false, "real 4"},
    {18, "FLOAT_ARRAY", TypeKind::Real, 4, true, "real 4"},
    {19, "DOUBLE", TypeKind::Real, 8, false, "real 8"},
    {20, "DOUBLE_ARRAY", TypeKind::Real, 8, true, "real 8"},
    {21, "OBJECT", TypeKind::Object, sizeof(void*), false, "none"},
    {22, "OBJECT_ARRAY", TypeKind::Object, sizeof(void*), true, "none"},
};

void PrintTo(const TypeRow& row, std::ostream* out) {
    *out << row.name;
}

template <class Element>
std::string ElementName(Element /*zero*/) {
    if (std::is_same_v<Element, bool>) {
        return "bool";
    }
    const char* const kind = std::is_floating_point_v<Element> ? "real "
                             : std::is_signed_v<Element>       ? "signed "
                                                               : "unsigned ";
    return kind + std::to_string(sizeof(Element));
}

class HostType : public testing::TestWithParam<TypeRow> {};

TEST_P(HostType, HasItsRow) {
    const TypeInfo* const type = FindType(GetParam().code);

    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->code, GetParam().code);
    EXPECT_STREQ(type->name, GetParam().name);
    EXPECT_EQ(type->kind, GetParam().kind);
    EXPECT_EQ(type->elementSize, GetParam().elementSize);
    EXPECT_EQ(type->isArray, GetParam().isArray);
}

TEST_P(HostType, IsFoundByItsName) {
    VariableType code = 99;

    EXPECT_TRUE(FindTypeByName(GetParam().name, code));
    EXPECT_EQ(code, GetParam().code);
}

TEST_P(HostType, IsVisitedWithTheTypeOfItsElements) {
    const auto visited = [&] {
        return VisitElementType(*FindType(GetParam().code), [](auto zero) { return ElementName(zero); });
    };

    if (std::string("none") == GetParam().element) {
        EXPECT_THROW(visited(), std::invalid_argument);
    } else {
        EXPECT_EQ(visited(), GetParam().element);
    }
}

TEST_P(HostType, HoldsObjectsOnlyIfThatIsItsKind) {
    EXPECT_EQ(HoldsObjects(GetParam().code), GetParam().kind == TypeKind::Object);
}

TEST_P(HostType, HasANumberOfElementsOnlyAsAnArrayOrAString) {
    EXPECT_EQ(HasElementCount(*FindType(GetParam().code)), GetParam().isArray || GetParam().kind == TypeKind::String);
}

INSTANTIATE_TEST_SUITE_P(All, HostType, testing::ValuesIn(kRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(HostTypeTable, CodeBeyondTheLastIsNotDefined) {
    EXPECT_EQ(FindType(23), nullptr);
    EXPECT_EQ(FindType(0xFFFFFFFF), nullptr);
}

TEST(HostTypeTable, UnknownNameLeavesTheCodeAlone) {
    VariableType code = 99;

    EXPECT_FALSE(FindTypeByName("U", code));
    EXPECT_FALSE(FindTypeByName("U8_", code));
    EXPECT_FALSE(FindTypeByName("", code));
    EXPECT_EQ(code, 99U);
}

TEST(HostTypeTable, ElementIsReadWhereverItLies) {
    const std::uint8_t bytes[] = {0xFF, 0x34, 0x12};

    EXPECT_EQ(ReadElement<std::uint16_t>(bytes + 1), 0x1234);
}

TEST(HostTypeTable, ElementIsWrittenWhereverItLies) {
    std::vector<std::uint8_t> bytes(4, 0xFF);

    WriteElement(bytes.data() + 1, std::uint16_t{0x1234});

    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0xFF, 0x34, 0x12, 0xFF}));
}

TEST(HostTypeTable, AnyWordButZeroIsTrue) {
    const std::uint32_t words[] = {0, 1, 0x80000000};

    EXPECT_FALSE(ReadElement<bool>(&words[0]));
    EXPECT_TRUE(ReadElement<bool>(&words[1]));
    EXPECT_TRUE(ReadElement<bool>(&words[2]));
}

TEST(HostTypeTable, TrueIsWrittenAsTheWordOne) {
    std::uint32_t word = 0xFFFFFFFF;

    WriteElement(&word, true);

    EXPECT_EQ(word, 1U);
}

}  // namespace
