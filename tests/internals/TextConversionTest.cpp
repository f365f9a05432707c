#include "Device/DeviceSupport/private/TextConversion.h"

#include <gtest/gtest.h>
#include <locale.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "support/CommaLocale.h"

namespace tal::test {

namespace {

constexpr float kFloatInfinity = std::numeric_limits<float>::infinity();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// What ScanUnsigned leaves in a destination that held 77.
std::uint32_t ScannedUnsigned(const char* text) {
    std::uint32_t value = 77;
    EXPECT_TRUE(ScanUnsigned(text, value)) << text;
    return value;
}

float ScannedFloat(const char* text) {
    float value = 77;
    EXPECT_TRUE(ScanFloat(text, value)) << text;
    return value;
}

void ExpectNoUnsigned(const char* text) {
    std::uint32_t value = 77;
    EXPECT_FALSE(ScanUnsigned(text, value)) << text;
    EXPECT_EQ(value, 77U) << text;
}

void ExpectNoFloat(const char* text) {
    float value = 77;
    EXPECT_FALSE(ScanFloat(text, value)) << text;
    EXPECT_EQ(value, 77.0F) << text;
}

// ---- Signed

TEST(ParseSigned, DecimalNumbersWithAndWithoutSignAreRead) {
    EXPECT_EQ(ParseSigned("0"), 0);
    EXPECT_EQ(ParseSigned("7"), 7);
    EXPECT_EQ(ParseSigned("+7"), 7);
    EXPECT_EQ(ParseSigned("-7"), -7);
    EXPECT_EQ(ParseSigned("-0"), 0);
    EXPECT_EQ(ParseSigned("1234567890"), 1234567890);
}

TEST(ParseSigned, BothEndsOf32BitsAreExact) {
    EXPECT_EQ(ParseSigned("2147483647"), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(ParseSigned("-2147483648"), std::numeric_limits<std::int32_t>::min());
}

TEST(ParseSigned, NumbersBeyond32BitsSaturate) {
    EXPECT_EQ(ParseSigned("2147483648"), 2147483647);
    EXPECT_EQ(ParseSigned("4294967295"), 2147483647);
    EXPECT_EQ(ParseSigned("4294967296"), 2147483647);
    EXPECT_EQ(ParseSigned("-2147483649"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(ParseSigned("-4294967296"), std::numeric_limits<std::int32_t>::min());
}

TEST(ParseSigned, NumbersBeyond64BitsSaturateAsWell) {
    const std::string digits(500, '9');
    EXPECT_EQ(ParseSigned("9223372036854775808"), 2147483647);
    EXPECT_EQ(ParseSigned("18446744073709551616"), 2147483647);
    EXPECT_EQ(ParseSigned(digits.c_str()), 2147483647);
    EXPECT_EQ(ParseSigned(("-" + digits).c_str()), std::numeric_limits<std::int32_t>::min());
}

TEST(ParseSigned, LeadingZerosAreNoOctalPrefixAndNoLimit) {
    EXPECT_EQ(ParseSigned("010"), 10);
    EXPECT_EQ(ParseSigned((std::string(500, '0') + "42").c_str()), 42);
}

TEST(ParseSigned, EverySpaceCharacterBeforeTheNumberIsSkipped) {
    EXPECT_EQ(ParseSigned(" \t\n\v\f\r42"), 42);
    EXPECT_EQ(ParseSigned("\n -42"), -42);
}

TEST(ParseSigned, WhateverFollowsTheNumberIsIgnored) {
    EXPECT_EQ(ParseSigned("42 "), 42);
    EXPECT_EQ(ParseSigned("42abc"), 42);
    EXPECT_EQ(ParseSigned("42.9"), 42);
    EXPECT_EQ(ParseSigned("42-1"), 42);
    EXPECT_EQ(ParseSigned("0x1F"), 0);
}

TEST(ParseSigned, TextWithoutANumberIsZero) {
    for (const char* text : {"", " ", "-", "+", "abc", "--5", "+-5", "- 5", "TRUE", "/5", ":5", "\xC2\xA0 5"}) {
        EXPECT_EQ(ParseSigned(text), 0) << text;
    }
}

// ---- Unsigned

TEST(ScanUnsigned, DecimalNumbersUpTo32BitsAreExact) {
    EXPECT_EQ(ScannedUnsigned("0"), 0U);
    EXPECT_EQ(ScannedUnsigned("+7"), 7U);
    EXPECT_EQ(ScannedUnsigned("2147483648"), 2147483648U);
    EXPECT_EQ(ScannedUnsigned("4294967295"), 4294967295U);
}

TEST(ScanUnsigned, NumbersBeyond32BitsSaturate) {
    EXPECT_EQ(ScannedUnsigned("4294967296"), 4294967295U);
    EXPECT_EQ(ScannedUnsigned("18446744073709551616"), 4294967295U);
    EXPECT_EQ(ScannedUnsigned(std::string(500, '9').c_str()), 4294967295U);
}

TEST(ScanUnsigned, NegativeNumbersWrapAround) {
    EXPECT_EQ(ScannedUnsigned("-1"), 4294967295U);
    EXPECT_EQ(ScannedUnsigned("-2147483648"), 2147483648U);
    EXPECT_EQ(ScannedUnsigned("-4294967295"), 1U);
}

TEST(ScanUnsigned, NegativeNumbersBeyond32BitsSaturateLikePositiveOnes) {
    EXPECT_EQ(ScannedUnsigned("-4294967296"), 4294967295U);
    EXPECT_EQ(ScannedUnsigned(("-" + std::string(500, '9')).c_str()), 4294967295U);
}

TEST(ScanUnsigned, SpacesBeforeAndTextAfterTheNumberAreIgnored) {
    EXPECT_EQ(ScannedUnsigned(" \t\n\v\f\r42"), 42U);
    EXPECT_EQ(ScannedUnsigned("42abc"), 42U);
    EXPECT_EQ(ScannedUnsigned("0x1F"), 0U);
    EXPECT_EQ(ScannedUnsigned("010"), 10U);
}

TEST(ScanUnsigned, TextWithoutANumberLeavesTheDestinationAsItIs) {
    for (const char* text : {"", " ", "-", "+", "abc", "--5", "+-5", "- 5", "TRUE"}) {
        ExpectNoUnsigned(text);
    }
}

// ---- Single precision

TEST(ScanFloat, FixedAndScientificNotationAreRead) {
    EXPECT_EQ(ScannedFloat("1.500000e+00"), 1.5F);
    EXPECT_EQ(ScannedFloat("-2.5"), -2.5F);
    EXPECT_EQ(ScannedFloat("+3"), 3.0F);
    EXPECT_EQ(ScannedFloat(".5"), 0.5F);
    EXPECT_EQ(ScannedFloat("5."), 5.0F);
    EXPECT_EQ(ScannedFloat("1E-2"), 0.01F);
}

TEST(ScanFloat, ANegativeZeroKeepsItsSign) {
    EXPECT_TRUE(std::signbit(ScannedFloat("-0.000000e+00")));
}

TEST(ScanFloat, HexadecimalNumbersAreRead) {
    EXPECT_EQ(ScannedFloat("0x1.8p1"), 3.0F);
    EXPECT_EQ(ScannedFloat("-0X10"), -16.0F);
}

TEST(ScanFloat, AnExponentThatIsNotFinishedIsIgnored) {
    EXPECT_EQ(ScannedFloat("1.5e"), 1.5F);
    EXPECT_EQ(ScannedFloat("1.5e+"), 1.5F);
    EXPECT_EQ(ScannedFloat("1.5ex"), 1.5F);
}

TEST(ScanFloat, InfinitiesAndNotANumberAreRead) {
    EXPECT_EQ(ScannedFloat("inf"), kFloatInfinity);
    EXPECT_EQ(ScannedFloat("-INF"), -kFloatInfinity);
    EXPECT_EQ(ScannedFloat("infinity"), kFloatInfinity);
    EXPECT_TRUE(std::isnan(ScannedFloat("nan")));
    EXPECT_TRUE(std::isnan(ScannedFloat("-nan")));
}

TEST(ScanFloat, NumbersBeyondTheRangeBecomeInfiniteOrZero) {
    EXPECT_EQ(ScannedFloat("1e39"), kFloatInfinity);
    EXPECT_EQ(ScannedFloat("-1e99999"), -kFloatInfinity);
    EXPECT_EQ(ScannedFloat("1e-99999"), 0.0F);
}

TEST(ScanFloat, TheSmallestNumbersAreRead) {
    EXPECT_EQ(ScannedFloat("1.401298e-45"), std::numeric_limits<float>::denorm_min());
    EXPECT_EQ(ScannedFloat("3.402823e+38"), 3.402823e+38F);
}

TEST(ScanFloat, SpacesBeforeAndTextAfterTheNumberAreIgnored) {
    EXPECT_EQ(ScannedFloat(" \t\n\v\f\r2.5"), 2.5F);
    EXPECT_EQ(ScannedFloat("2.5 3.5"), 2.5F);
    EXPECT_EQ(ScannedFloat("2,5"), 2.0F);
}

TEST(ScanFloat, TextWithoutANumberLeavesTheDestinationAsItIs) {
    for (const char* text : {"", " ", "-", ".", "+.", "e5", "abc", "TRUE", "--1", "- 1"}) {
        ExpectNoFloat(text);
    }
}

TEST(ScanFloat, PrefixesThatAreNotANumberLeaveTheDestinationAsItIs) {
    for (const char* text : {"0x", "-0x", "0xg", "in", "infi", "na", "n"}) {
        ExpectNoFloat(text);
    }
}

// ---- Double precision

TEST(ParseDouble, FixedAndScientificNotationAreRead) {
    EXPECT_EQ(ParseDouble("1.500000e+00"), 1.5);
    EXPECT_EQ(ParseDouble("-2.5"), -2.5);
    EXPECT_EQ(ParseDouble(".5"), 0.5);
    EXPECT_EQ(ParseDouble("0.1"), 0.1);
    EXPECT_EQ(ParseDouble("1.797693134862315708e+308"), std::numeric_limits<double>::max());
}

TEST(ParseDouble, HexadecimalNumbersAreRead) {
    EXPECT_EQ(ParseDouble("0x1.8p1"), 3.0);
    EXPECT_EQ(ParseDouble("0x"), 0.0);
}

TEST(ParseDouble, AnExponentThatIsNotFinishedIsIgnored) {
    EXPECT_EQ(ParseDouble("1.5e"), 1.5);
    EXPECT_EQ(ParseDouble("1.5e-"), 1.5);
}

TEST(ParseDouble, InfinitiesAndNotANumberAreRead) {
    EXPECT_EQ(ParseDouble("inf"), kInfinity);
    EXPECT_EQ(ParseDouble("-infinity"), -kInfinity);
    EXPECT_EQ(ParseDouble("infix"), kInfinity);
    EXPECT_TRUE(std::isnan(ParseDouble("nan")));
}

TEST(ParseDouble, NumbersBeyondTheRangeBecomeInfiniteOrZero) {
    EXPECT_EQ(ParseDouble("1e309"), kInfinity);
    EXPECT_EQ(ParseDouble("-1e99999"), -kInfinity);
    EXPECT_EQ(ParseDouble("1e-99999"), 0.0);
    EXPECT_EQ(ParseDouble("4.940656e-324"), std::numeric_limits<double>::denorm_min());
}

TEST(ParseDouble, SpacesBeforeAndTextAfterTheNumberAreIgnored) {
    EXPECT_EQ(ParseDouble(" \t\n\v\f\r2.5"), 2.5);
    EXPECT_EQ(ParseDouble("2.5 3.5"), 2.5);
    EXPECT_EQ(ParseDouble("2,5"), 2.0);
}

TEST(ParseDouble, TextWithoutANumberIsZero) {
    for (const char* text : {"", " ", "-", ".", "e5", "abc", "in", "- 1"}) {
        EXPECT_EQ(ParseDouble(text), 0.0) << text;
    }
}

// ---- What the process's settings must not change

class TextConversionWithDecimalComma : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(comma_.IsActive()) << "localedef could not make a locale with a decimal comma";
        ASSERT_EQ(std::strtod("2,5", nullptr), 2.5);
    }

    CommaLocale comma_;
};

TEST_F(TextConversionWithDecimalComma, ThePointStaysTheDecimalSeparator) {
    EXPECT_EQ(ScannedFloat("2.5"), 2.5F);
    EXPECT_EQ(ParseDouble("2.5"), 2.5);
}

TEST_F(TextConversionWithDecimalComma, TheCommaEndsTheNumber) {
    EXPECT_EQ(ScannedFloat("2,5"), 2.0F);
    EXPECT_EQ(ParseDouble("2,5"), 2.0);
}

TEST_F(TextConversionWithDecimalComma, TheProcessKeepsItsLocale) {
    EXPECT_EQ(ScannedFloat("2.5"), 2.5F);
    EXPECT_EQ(ParseDouble("2.5"), 2.5);
    EXPECT_EQ(std::strtod("2,5", nullptr), 2.5);
}

TEST(TextConversion, TheThreadKeepsItsLocale) {
    const locale_t own = duplocale(LC_GLOBAL_LOCALE);
    const locale_t before = uselocale(own);
    EXPECT_EQ(ScannedFloat("2.5"), 2.5F);
    EXPECT_EQ(ParseDouble("2.5"), 2.5);
    EXPECT_EQ(uselocale(before), own);
    freelocale(own);
}

}  // namespace

}  // namespace tal::test
