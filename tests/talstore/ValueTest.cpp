#include "board/Value.h"

#include <cmath>
#include <limits>

#include "Support.h"
#include "common/Text.h"
#include "files/InputError.h"

namespace tal::test {

namespace {

using talstore::BytesOf;
using talstore::InputError;
using talstore::IsSameValue;
using talstore::IsValueOfTexts;
using talstore::SetValue;
using talstore::ValueJson;

class Values : public testing::Test {
protected:
    host::Variable& operator[](const std::string& name) { return database_.At("R/O/" + name); }
    std::string TextOf(const std::string& name) { return talstore::ValueText((*this)[name]); }

    /// @return what is wrong with the value.
    std::string Refusal(const std::string& name, std::string_view text) {
        try {
            SetValue((*this)[name], text);
        } catch (const InputError& error) {
            return error.what();
        }
        return "";
    }

    host::Database database_;
    host::Object& object_ = database_.AddRegion("R")
                                .AddObject("O")
                                .U8("u8")
                                .S16("s16")
                                .U32("u32")
                                .Bool("flag")
                                .Char("char")
                                .Float("float")
                                .Double("double")
                                .String("text", 6)
                                .U16Array("list", {1, 2});
};

TEST_F(Values, AreSetFromDecimalAndHexadecimalNumbers) {
    SetValue((*this)["u8"], "255");
    SetValue((*this)["s16"], "-0x10");
    SetValue((*this)["u32"], "0xFFFFFFFF");
    EXPECT_EQ((*this)["u8"].Get<std::uint8_t>(), 255);
    EXPECT_EQ((*this)["s16"].Get<std::int16_t>(), -16);
    EXPECT_EQ((*this)["u32"].Get<std::uint32_t>(), 0xFFFFFFFFU);
}

TEST_F(Values, BeyondTheirTypeAreRefused) {
    EXPECT_EQ(Refusal("u8", "256"), "R/O/u8: \"256\" does not fit U8, which takes 0 to 255");
    EXPECT_EQ(Refusal("u8", "-1"), "R/O/u8: \"-1\" does not fit U8, which takes 0 to 255");
    EXPECT_EQ(Refusal("s16", "32768"), "R/O/s16: \"32768\" does not fit S16, which takes -32768 to 32767");
    EXPECT_EQ(Refusal("u32", "99999999999999999999"),
              "R/O/u32: \"99999999999999999999\" does not fit U32, which takes 0 to 4294967295");
    EXPECT_NE(Refusal("u32", "0xFFFFFFFFFFFFFFFFFF"), "");
    EXPECT_NE(Refusal("u32", "0x10z"), "") << "text after a hexadecimal number";
    EXPECT_NE(Refusal("u8", "1.5"), "");
    EXPECT_NE(Refusal("u8", ""), "");
    EXPECT_NE(Refusal("flag", "1"), "");
}

TEST_F(Values, OfHexadecimalNumbersHaveUpToSixtyThreeBits) {
    SetValue((*this)["double"], "0x7FFFFFFFFFFFFC00");
    EXPECT_EQ((*this)["double"].Get<double>(), 9223372036854774784.0);
    EXPECT_EQ(Refusal("double", "0x8000000000000000"),
              "R/O/double: \"0x8000000000000000\" does not fit DOUBLE, which takes a number, nan, inf or -inf");
}

TEST_F(Values, AreSetFromWords) {
    SetValue((*this)["flag"], "TRUE");
    SetValue((*this)["double"], "-inf");
    SetValue((*this)["float"], "nan");
    EXPECT_TRUE((*this)["flag"].Get<bool>());
    EXPECT_EQ((*this)["double"].Get<double>(), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan((*this)["float"].Get<float>()));
}

TEST_F(Values, OfStringsAreTakenAsTheyStand) {
    SetValue((*this)["text"], "[1]\"");
    EXPECT_EQ((*this)["text"].Text(), "[1]\"");
    EXPECT_EQ(Refusal("text", "sixsix"), "R/O/text: \"sixsix\" does not fit STRING[6], which takes at most 5 bytes");
}

TEST_F(Values, OfArraysHaveExactlyTheirElements) {
    SetValue((*this)["list"], "[7, 8]");
    EXPECT_EQ(TextOf("list"), "[7, 8]");
    EXPECT_EQ(Refusal("list", "[1]"),
              "R/O/list: \"[1]\" does not fit U16_ARRAY[2], which takes [...] with 2 elements, each 0 to 65535");
    EXPECT_NE(Refusal("list", "[1, 65536]"), "");
    EXPECT_NE(Refusal("list", "1"), "");
}

TEST_F(Values, AreJsonOfTheirKind) {
    SetValue((*this)["float"], "0.1");
    SetValue((*this)["double"], "nan");
    SetValue((*this)["text"], "ab");
    const auto json = [&](const char* name) { return ValueJson((*this)[name].Type(), BytesOf((*this)[name])); };
    EXPECT_EQ(json("float").dump(), "0.1") << "not the digits that a double would need";
    EXPECT_EQ(json("double"), "nan");
    EXPECT_EQ(json("text"), "ab");
    EXPECT_EQ(json("flag"), false);
    EXPECT_EQ(json("list"), nlohmann::json({1, 2}));
    EXPECT_TRUE(ValueJson(VARIABLE_TYPE_U32, "abc").is_null()) << "three bytes are no U32";
}

TEST_F(Values, ThatAreInfiniteAreJsonWithTheirSign) {
    SetValue((*this)["float"], "inf");
    SetValue((*this)["double"], "-inf");
    EXPECT_EQ(ValueJson(VARIABLE_TYPE_FLOAT, BytesOf((*this)["float"])), "inf");
    EXPECT_EQ(ValueJson(VARIABLE_TYPE_DOUBLE, BytesOf((*this)["double"])), "-inf");
}

TEST(ValueTexts, OfIntegersAreComparedAsNumbers) {
    EXPECT_TRUE(IsValueOfTexts(VARIABLE_TYPE_U8, "\x05", KeptList({" 5\n"})));
    EXPECT_TRUE(IsValueOfTexts(VARIABLE_TYPE_U8, "\x05", KeptList({"005"})));
    EXPECT_FALSE(IsValueOfTexts(VARIABLE_TYPE_U8, "\x05", KeptList({"261"})));
    EXPECT_FALSE(IsValueOfTexts(VARIABLE_TYPE_U8, "\x05", KeptList({"5x"})));
    EXPECT_FALSE(IsValueOfTexts(VARIABLE_TYPE_U8, std::string_view("\0", 1), KeptList({})));
    EXPECT_FALSE(IsValueOfTexts(VARIABLE_TYPE_U8, std::string_view("\0", 1), KeptList({""})));
}

TEST(ValueTexts, OfLargeUnsignedNumbersMayBeSigned) {
    EXPECT_TRUE(IsValueOfTexts(VARIABLE_TYPE_U32, LittleEndian(0xFFFFFFFF), KeptList({"-1"})));
    EXPECT_TRUE(IsValueOfTexts(VARIABLE_TYPE_U32, LittleEndian(0xFFFFFFFF), KeptList({"4294967295"})));
    EXPECT_FALSE(IsValueOfTexts(VARIABLE_TYPE_U32, LittleEndian(0x7FFFFFFF), KeptList({"4294967295"})));
}

TEST(ValueTexts, OfARealMayBeNoNumber) {
    EXPECT_TRUE(IsValueOfTexts(VARIABLE_TYPE_FLOAT, LittleEndian(0x7FC00000), KeptList({"nan"})));
    EXPECT_FALSE(IsValueOfTexts(VARIABLE_TYPE_FLOAT, LittleEndian(0x7FC00000), KeptList({"0"})));
}

TEST(ValueTexts, OfArraysAreComparedElementByElement) {
    EXPECT_TRUE(IsValueOfTexts(VARIABLE_TYPE_U8_ARRAY, "\x01\x02", KeptList({"1", "2"})));
    EXPECT_FALSE(IsValueOfTexts(VARIABLE_TYPE_U8_ARRAY, "\x01\x02", KeptList({"1", "3"})));
}

TEST(SameValue, OfStringsEndsAtTheirNul) {
    EXPECT_TRUE(IsSameValue(VARIABLE_TYPE_STRING, std::string_view("ab\0x", 4), std::string_view("ab\0\0", 4)));
    EXPECT_FALSE(IsSameValue(VARIABLE_TYPE_STRING, std::string_view("ab\0x", 4), std::string_view("abc\0", 4)));
}

TEST(SameValue, OfBoolsIsTheirTruth) {
    EXPECT_TRUE(IsSameValue(VARIABLE_TYPE_BOOL, LittleEndian(2), LittleEndian(1)));
    EXPECT_FALSE(IsSameValue(VARIABLE_TYPE_BOOL, LittleEndian(0), LittleEndian(1)));
}

TEST(PrintableText, EscapesWhatATerminalWouldObey) {
    EXPECT_EQ(tools::Printable("a\x1B[2J\n\x7F"), "a\\x1b[2J\\n\\x7f");
    EXPECT_EQ(tools::Printable("\xC2\x9B"), "\\xc2\\x9b") << "a control character of eight-bit terminals";
}

TEST(PrintableText, KeepsUtf8AndEscapesWhatIsNone) {
    EXPECT_EQ(tools::Printable("\xC3\xA5"), "\xC3\xA5");
    EXPECT_EQ(tools::Printable("\xC3"), "\\xc3");
    EXPECT_EQ(tools::Printable("\xC0\x80\xED\xA0\x80\xF5"), "\\xc0\\x80\\xed\\xa0\\x80\\xf5");
}

TEST(PrintableText, BetweenQuotesEscapesQuotes) {
    EXPECT_EQ(tools::Quoted("a\"b\\"), "\"a\\\"b\\\\\"");
}

}  // namespace

}  // namespace tal::test
