#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"

namespace {

using tal::host::Database;
using tal::host::Object;
using tal::host::Variable;

using Content = std::vector<std::uint8_t>;

class HostVariable : public testing::Test {
protected:
    Variable& Added() { return *object_.Variables().back(); }

    void* Address() {
        void* address = nullptr;
        EXPECT_EQ(CVariable_GetContentAddress(Added().Handle(), &address), 0U);
        return address;
    }

    Database database_;
    Object& object_ = database_.AddRegion("R").AddObject("O");
};

struct ContentCase {
    const char* name;
    void (*add)(Object& object);
    VariableType type;
    std::uint32_t elementCount;
    Content content;
};

void PrintTo(const ContentCase& typeCase, std::ostream* out) {
    *out << typeCase.name;
}

class HostVariableOfType : public HostVariable, public testing::WithParamInterface<ContentCase> {};

TEST_P(HostVariableOfType, HasItsCodeItsCountItsSizeAndItsLayout) {
    GetParam().add(object_);

    CVariable* const variable = Added().Handle();
    EXPECT_EQ(CVariable_GetType(variable), GetParam().type);
    EXPECT_EQ(CVariable_GetNoOfElements(variable), GetParam().elementCount);
    EXPECT_EQ(CVariable_GetSizeInBytes(variable), GetParam().content.size());
    const auto* const content = static_cast<const std::uint8_t*>(Address());
    EXPECT_EQ(Content(content, content + GetParam().content.size()), GetParam().content);
    EXPECT_EQ(Added().Bytes(), GetParam().content);
}

TEST_P(HostVariableOfType, HoldsItsDefaultAtFirst) {
    GetParam().add(object_);

    EXPECT_TRUE(Added().HoldsDefault());
    const std::uint8_t* const content = Added().DefaultContent();
    EXPECT_EQ(Content(content, content + Added().SizeInBytes()), GetParam().content);
}

const ContentCase kContentCases[] = {
    {"U8", [](Object& o) { o.U8("v", 200); }, 0, 1, {200}},
    {"U8Array",
     [](Object& o) {
         o.U8Array("v", {1, 2, 255});
     },
     1,
     3,
     {1, 2, 255}},
    {"U16", [](Object& o) { o.U16("v", 0xABCD); }, 2, 1, {0xCD, 0xAB}},
    {"U16Array",
     [](Object& o) {
         o.U16Array("v", {1, 0x0203});
     },
     3,
     2,
     {1, 0, 3, 2}},
    {"U32", [](Object& o) { o.U32("v", 0x89ABCDEF); }, 4, 1, {0xEF, 0xCD, 0xAB, 0x89}},
    {"U32Array",
     [](Object& o) {
         o.U32Array("v", {1, 0x80000000});
     },
     5,
     2,
     {1, 0, 0, 0, 0, 0, 0, 0x80}},
    {"S8", [](Object& o) { o.S8("v", -1); }, 6, 1, {0xFF}},
    {"S8Array",
     [](Object& o) {
         o.S8Array("v", {-128, 127});
     },
     7,
     2,
     {0x80, 0x7F}},
    {"S16", [](Object& o) { o.S16("v", -2); }, 8, 1, {0xFE, 0xFF}},
    {"S16Array",
     [](Object& o) {
         o.S16Array("v", {-32768, 1});
     },
     9,
     2,
     {0, 0x80, 1, 0}},
    {"S32", [](Object& o) { o.S32("v", -3); }, 10, 1, {0xFD, 0xFF, 0xFF, 0xFF}},
    {"S32Array",
     [](Object& o) {
         o.S32Array("v", {-1, 2});
     },
     11,
     2,
     {0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0}},
    {"Bool", [](Object& o) { o.Bool("v", true); }, 12, 1, {1, 0, 0, 0}},
    {"BoolThatIsTwo", [](Object& o) { o.Bool("v", 2); }, 12, 1, {2, 0, 0, 0}},
    {"BoolArray",
     [](Object& o) {
         o.BoolArray("v", {true, false});
     },
     13,
     2,
     {1, 0, 0, 0, 0, 0, 0, 0}},
    {"Char", [](Object& o) { o.Char("v", 'A'); }, 14, 1, {65}},
    {"CharArray",
     [](Object& o) {
         o.CharArray("v", {'A', 0, 255});
     },
     15,
     3,
     {65, 0, 255}},
    {"String", [](Object& o) { o.String("v", 6, "abc"); }, 16, 6, {'a', 'b', 'c', 0, 0, 0}},
    {"StringWithoutCapacity", [](Object& o) { o.String("v", 0); }, 16, 0, {}},
    {"Float", [](Object& o) { o.Float("v", 1.5F); }, 17, 1, {0, 0, 0xC0, 0x3F}},
    {"FloatArray",
     [](Object& o) {
         o.FloatArray("v", {-1.5F, 0});
     },
     18,
     2,
     {0, 0, 0xC0, 0xBF, 0, 0, 0, 0}},
    {"Double", [](Object& o) { o.Double("v", 1.5); }, 19, 1, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}},
    {"DoubleArray", [](Object& o) { o.DoubleArray("v", {1.5}); }, 20, 1, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}},
    {"EmptyArray", [](Object& o) { o.U32Array("v", {}); }, 5, 0, {}},
    {"UndefinedCode",
     [](Object& o) {
         o.Raw("v", 23, 7, {1, 2, 3});
     },
     23,
     7,
     {1, 2, 3}},
};

INSTANTIATE_TEST_SUITE_P(, HostVariableOfType, testing::ValuesIn(kContentCases),
                         [](const auto& testInfo) { return testInfo.param.name; });

TEST_F(HostVariable, HandsOutItsName) {
    object_.U8("Gain");
    char* name = nullptr;

    EXPECT_EQ(CVariable_GetName(Added().Handle(), &name), 0U);

    EXPECT_STREQ(name, "Gain");
}

TEST_F(HostVariable, ContentIsAlignedForItsType) {
    for (int i = 1; i < 9; ++i) {
        object_.Raw("odd", 1, 1, Content(static_cast<std::size_t>(i)));
        object_.Double("even");
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Address()) % alignof(double), 0U);
    }
}

TEST_F(HostVariable, ContentAddressOfAnObjectIsTheObjectItself) {
    Object& nested = object_.AddNested("N");

    EXPECT_EQ(CVariable_GetType(Added().Handle()), 21U);
    EXPECT_EQ(Address(), nested.Handle());
}

TEST_F(HostVariable, ContentOfAnObjectArrayIsOnePointerPerObject) {
    Object& first = object_.AddToArray("A", "E0");
    Object& second = object_.AddToArray("A", "E1");

    EXPECT_EQ(CVariable_GetType(Added().Handle()), 22U);
    EXPECT_EQ(CVariable_GetNoOfElements(Added().Handle()), 2U);
    EXPECT_EQ(CVariable_GetSizeInBytes(Added().Handle()), 2 * sizeof(CStorageObject*));
    auto* const* const pointers = static_cast<CStorageObject* const*>(Address());
    EXPECT_EQ(pointers[0], first.Handle());
    EXPECT_EQ(pointers[1], second.Handle());
}

TEST_F(HostVariable, ObjectArrayWithoutObjectsHasAnAddressAndNoElements) {
    object_.EmptyObjectArray("A");

    EXPECT_EQ(CVariable_GetNoOfElements(Added().Handle()), 0U);
    EXPECT_EQ(CVariable_GetSizeInBytes(Added().Handle()), 0U);
    EXPECT_NE(Address(), nullptr);
}

TEST_F(HostVariable, EmptyObjectArrayTakesItsFirstElement) {
    object_.EmptyObjectArray("A");

    object_.AddToArray("A", "E");

    EXPECT_EQ(object_.Variables().size(), 1U);
    EXPECT_EQ(Added().ElementCount(), 1U);
}

TEST_F(HostVariable, ArrayNamedLikeAPlainVariableIsAddedBesideIt) {
    object_.U8("a", 5);

    object_.AddToArray("a", "E");

    EXPECT_EQ(object_.Variables().size(), 2U);
    EXPECT_EQ(database_.At("R/O/a").Get<std::uint8_t>(), 5);
}

TEST_F(HostVariable, NestedObjectHasItsOwnFlag) {
    object_.AddNested("N").ReadOnly();

    void* const nested = Address();
    EXPECT_EQ(CStorageObject_IsWritable(static_cast<CStorageObject*>(nested)), 0);
    EXPECT_NE(CStorageObject_IsWritable(object_.Handle()), 0);
}

TEST_F(HostVariable, ElementIsChangedWithoutTheDefault) {
    object_.U16Array("a", {1, 2, 3});

    Added().Set<std::uint16_t>(500, 1);

    EXPECT_EQ(Added().Get<std::uint16_t>(0), 1);
    EXPECT_EQ(Added().Get<std::uint16_t>(1), 500);
    EXPECT_EQ(Added().Get<std::uint16_t>(2), 3);
    EXPECT_FALSE(Added().HoldsDefault());
    Added().SetToDefault();
    EXPECT_EQ(Added().Get<std::uint16_t>(1), 2);
}

TEST_F(HostVariable, BoolIsAWord) {
    object_.BoolArray("b", {2, 0});

    EXPECT_TRUE(Added().Get<bool>(0));
    EXPECT_FALSE(Added().Get<bool>(1));
    Added().Set(true, 1);
    EXPECT_EQ(Added().Get<std::uint32_t>(1), 1U);
}

TEST_F(HostVariable, ElementBeyondTheContentIsRefused) {
    object_.U16Array("a", {1, 2, 3});

    EXPECT_THROW(static_cast<void>(Added().Get<std::uint16_t>(3)), std::out_of_range);
    EXPECT_THROW(Added().Set<std::uint16_t>(1, 3), std::out_of_range);
    EXPECT_THROW(static_cast<void>(Added().Get<std::uint64_t>()), std::out_of_range);
    EXPECT_THROW(static_cast<void>(Added().Get<std::uint16_t>(std::numeric_limits<std::size_t>::max())),
                 std::out_of_range);
    EXPECT_TRUE(database_.GuardsIntact());
}

TEST_F(HostVariable, ObjectVariableHasNoValueToRead) {
    object_.AddNested("N");

    EXPECT_THROW(static_cast<void>(Added().Get<std::uint8_t>()), std::out_of_range);
    EXPECT_THROW(static_cast<void>(Added().Text()), std::out_of_range);
    EXPECT_THROW(static_cast<void>(Added().Bytes()), std::out_of_range);
    EXPECT_THROW(Added().SetText("x"), std::out_of_range);
    EXPECT_TRUE(Added().HoldsDefault());
}

TEST_F(HostVariable, TextIsFollowedByZeroBytes) {
    object_.String("s", 6, "abcde");

    Added().SetText("xy");

    EXPECT_EQ(Added().Text(), "xy");
    EXPECT_EQ(Added().Bytes(), (Content{'x', 'y', 0, 0, 0, 0}));
}

TEST_F(HostVariable, TextThatLeavesNoRoomForItsNulIsRefused) {
    object_.String("s", 3, "ab");

    EXPECT_THROW(Added().SetText("abc"), std::length_error);
    EXPECT_THROW(object_.String("t", 3, "abc"), std::length_error);
    EXPECT_EQ(Added().Text(), "ab");
}

TEST_F(HostVariable, StringWithoutCapacityTakesNoCharacter) {
    object_.String("s", 0);

    EXPECT_EQ(Added().Text(), "");
    Added().SetText("");
    EXPECT_THROW(Added().SetText("a"), std::length_error);
}

TEST_F(HostVariable, TextWithoutNulEndsWithTheContent) {
    object_.Raw("s", 16, 3, {'a', 'b', 'c'});

    EXPECT_EQ(Added().Text(), "abc");
}

TEST_F(HostVariable, BytesCannotStandForObjects) {
    EXPECT_THROW(object_.Raw("v", 21, 1, {0}), std::invalid_argument);
    EXPECT_THROW(object_.Raw("v", 22, 1, {0}), std::invalid_argument);
    EXPECT_TRUE(object_.Variables().empty());
}

TEST_F(HostVariable, EveryByteOfTheContentMayBeWritten) {
    object_.String("s", 20).U8("a").U8Array("b", {}).U32("c");

    for (Variable* variable : database_.Variables()) {
        std::memset(variable->Content(), 0xFF, variable->SizeInBytes());
    }

    EXPECT_TRUE(database_.GuardsIntact());
}

TEST_F(HostVariable, ByteWrittenUpToSixteenBeforeTheContentIsNoticed) {
    object_.U32("a");
    auto* const content = static_cast<std::uint8_t*>(Address());

    for (int distance = 1; distance <= 16; ++distance) {
        std::uint8_t& guard = content[-distance];
        guard = static_cast<std::uint8_t>(guard + 1);
        EXPECT_FALSE(database_.GuardsIntact()) << distance;
        guard = static_cast<std::uint8_t>(guard - 1);
        EXPECT_TRUE(database_.GuardsIntact()) << distance;
    }
}

TEST_F(HostVariable, ByteWrittenUpToSixteenAfterTheContentIsNoticed) {
    object_.Raw("a", 0, 1, {1, 2, 3});
    auto* const content = static_cast<std::uint8_t*>(Address());

    for (int distance = 0; distance < 16; ++distance) {
        std::uint8_t& guard = content[3 + distance];
        guard = static_cast<std::uint8_t>(guard + 1);
        EXPECT_FALSE(database_.GuardsIntact()) << distance;
        guard = static_cast<std::uint8_t>(guard - 1);
        EXPECT_TRUE(database_.GuardsIntact()) << distance;
    }
}

TEST_F(HostVariable, NullVariableFails) {
    char* name = nullptr;
    void* address = nullptr;

    EXPECT_EQ(CVariable_GetName(nullptr, &name), 0x8002U);
    EXPECT_EQ(CVariable_GetType(nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(CVariable_GetNoOfElements(nullptr), 0U);
    EXPECT_EQ(CVariable_GetSizeInBytes(nullptr), 0U);
    EXPECT_EQ(CVariable_GetContentAddress(nullptr, &address), 0x8002U);
    EXPECT_EQ(CVariable_SetRetrieved(nullptr, 1), 0x8002U);
}

TEST_F(HostVariable, NullOutParameterFails) {
    object_.U8("a");

    EXPECT_EQ(CVariable_GetName(Added().Handle(), nullptr), 0x8002U);
    EXPECT_EQ(CVariable_GetContentAddress(Added().Handle(), nullptr), 0x8002U);
}

}  // namespace
