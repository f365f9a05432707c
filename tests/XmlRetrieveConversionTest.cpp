#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "support/CommaLocale.h"
#include "support/HostCalls.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
std::vector<std::uint8_t> BytesOf(const std::vector<T>& values) {
    std::vector<std::uint8_t> bytes(values.size() * sizeof(T));
    if (!bytes.empty()) {
        std::memcpy(bytes.data(), values.data(), bytes.size());
    }
    return bytes;
}

/// Restores one variable after the other, each on a database of its own.
class XmlConversion : public XmlReaderFixture {
protected:
    /// A variable whose default is all 0x22 and whose content is all 0x11, so that a value that was kept is told from
    /// one that was restored or defaulted.
    host::Variable& NewVariable(VariableType type, std::uint32_t elementCount, std::size_t sizeInBytes) {
        const std::string name = "v" + std::to_string(++variables_);
        object_.Raw(name, type, elementCount, std::vector<std::uint8_t>(sizeInBytes, 0x22));
        host::Variable& variable = At(name);
        std::memset(variable.Content(), 0x11, sizeInBytes);
        return variable;
    }

    /// Retrieves a document with this variable, which has to be restored without a word.
    void Restore(const host::Variable& variable, const std::string& element) {
        traces_.Clear();
        EXPECT_EQ(RetrieveVariables(element), QBFResult{QBF_OK});
        EXPECT_TRUE(variable.Retrieved());
        EXPECT_TRUE(database_.GuardsIntact());
        EXPECT_THAT(traces_.Failures(), IsEmpty());
    }

    template <class T>
    T Scalar(VariableType type, const std::string& text) {
        SCOPED_TRACE(testing::Message() << "type " << type << " from " << text);
        host::Variable& variable = NewVariable(type, 1, sizeof(T));
        Restore(variable, Value(variable.Name(), text));
        return variable.Get<T>();
    }

    template <class T>
    std::vector<T> ArrayOf(std::uint32_t count, VariableType type, const std::vector<std::string>& elements) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        host::Variable& variable = NewVariable(type, count, count * sizeof(T));
        Restore(variable, Array(variable.Name(), elements));
        std::vector<T> values;
        for (std::uint32_t i = 0; i < count; ++i) {
            values.push_back(variable.Get<T>(i));
        }
        return values;
    }

    std::string String(std::uint32_t capacity, const std::string& text) {
        host::Variable& variable = NewVariable(VARIABLE_TYPE_STRING, capacity, capacity);
        Restore(variable, Value(variable.Name(), text));
        const std::vector<std::uint8_t> bytes = variable.Bytes();
        return {bytes.begin(), bytes.end()};
    }

    /// Retrieves a document with this variable, which must not be restored.
    void ExpectDefaulted(const host::Variable& variable, const std::string& element) {
        traces_.Clear();
        EXPECT_EQ(RetrieveVariables(element), QBFResult{QBF_E_FAILED});
        EXPECT_FALSE(variable.Retrieved());
        EXPECT_TRUE(variable.HoldsDefault());
        EXPECT_TRUE(database_.GuardsIntact());
    }

private:
    int variables_ = 0;
};

// ---- Scalars

TEST_F(XmlConversion, EightBitScalarsKeepTheLowByte) {
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_U8, "0"), 0);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_U8, "255"), 255);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_U8, "256"), 0);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_U8, "-1"), 255);
    EXPECT_EQ(Scalar<std::int8_t>(VARIABLE_TYPE_S8, "-128"), -128);
    EXPECT_EQ(Scalar<std::int8_t>(VARIABLE_TYPE_S8, "127"), 127);
    EXPECT_EQ(Scalar<std::int8_t>(VARIABLE_TYPE_S8, "128"), -128);
}

TEST_F(XmlConversion, SixteenBitScalarsKeepTheLowBytes) {
    EXPECT_EQ(Scalar<std::uint16_t>(VARIABLE_TYPE_U16, "65535"), 65535);
    EXPECT_EQ(Scalar<std::uint16_t>(VARIABLE_TYPE_U16, "65537"), 1);
    EXPECT_EQ(Scalar<std::uint16_t>(VARIABLE_TYPE_U16, "-1"), 65535);
    EXPECT_EQ(Scalar<std::int16_t>(VARIABLE_TYPE_S16, "-32768"), -32768);
    EXPECT_EQ(Scalar<std::int16_t>(VARIABLE_TYPE_S16, "32768"), -32768);
}

TEST_F(XmlConversion, ThirtyTwoBitScalarsAreExactAsSignedNumbers) {
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_U32, "2147483647"), 2147483647U);
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_U32, "-1"), 4294967295U);
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_U32, "-2147483648"), 2147483648U);
    EXPECT_EQ(Scalar<std::int32_t>(VARIABLE_TYPE_S32, "2147483647"), 2147483647);
    EXPECT_EQ(Scalar<std::int32_t>(VARIABLE_TYPE_S32, "-2147483648"), std::numeric_limits<std::int32_t>::min());
}

/// Surprise: Unsigned 32-bit values from 2147483648 up are written as negative numbers
TEST_F(XmlConversion, ThirtyTwoBitScalarsSaturateAsSignedNumbers) {
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_U32, "2147483648"), 2147483647U);
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_U32, "4294967295"), 2147483647U);
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_U32, "-4294967295"), 2147483648U);
    EXPECT_EQ(Scalar<std::int32_t>(VARIABLE_TYPE_S32, "99999999999999999999"), 2147483647);
}

TEST_F(XmlConversion, SmallScalarsKeepTheLowBytesOfTheSaturatedNumber) {
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_U8, "4294967298"), 0xFF);
    EXPECT_EQ(Scalar<std::int16_t>(VARIABLE_TYPE_S16, "-4294967298"), 0);
}

TEST_F(XmlConversion, IntegerScalarsWithoutANumberAreZero) {
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_U8, "x"), 0);
    EXPECT_EQ(Scalar<std::int16_t>(VARIABLE_TYPE_S16, "x"), 0);
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_U32, "x"), 0U);
}

TEST_F(XmlConversion, BooleansAreOneOrZero) {
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_BOOL, "TRUE"), 1U);
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_BOOL, "FALSE"), 0U);
}

/// Surprise: A truth value comes back as 1
TEST_F(XmlConversion, BooleanTextsAreExact) {
    for (const char* text : {"true", "True", "1", "TRUE ", " TRUE", "TRUEE", "TRU", "FALSE\t", "false"}) {
        SCOPED_TRACE(text);
        host::Variable& variable = NewVariable(VARIABLE_TYPE_BOOL, 1, 4);
        ExpectDefaulted(variable, Value(variable.Name(), text));
        EXPECT_THAT(traces_.Failures(),
                    ElementsAre("0x8000 CXmlFileStorageProviderBase_UpdateVariable: Wrong BOOL value: " +
                                    std::string(text) + ", expected TRUE or FALSE",
                                "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during variable retrieval",
                                "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
    }
}

TEST_F(XmlConversion, CharactersAreTheirCodeAndAtMost255) {
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "65"), 65);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "254"), 254);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "255"), 255);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "256"), 255);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "99999999999"), 255);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "-1"), 255);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "-256"), 255);
    EXPECT_EQ(Scalar<std::uint8_t>(VARIABLE_TYPE_CHAR, "A"), 0);
}

TEST_F(XmlConversion, FloatsAreRead) {
    EXPECT_EQ(Scalar<float>(VARIABLE_TYPE_FLOAT, "1.500000e+00"), 1.5F);
    EXPECT_EQ(Scalar<float>(VARIABLE_TYPE_FLOAT, "-inf"), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(Scalar<float>(VARIABLE_TYPE_FLOAT, "nan")));
}

TEST_F(XmlConversion, AFloatWithoutANumberKeepsItsContent) {
    EXPECT_EQ(Scalar<std::uint32_t>(VARIABLE_TYPE_FLOAT, "x"), 0x11111111U);
}

TEST_F(XmlConversion, DoublesAreRead) {
    EXPECT_EQ(Scalar<double>(VARIABLE_TYPE_DOUBLE, "1.234568e+03"), 1234.568);
    EXPECT_EQ(Scalar<double>(VARIABLE_TYPE_DOUBLE, "1e300"), 1e300);
}

TEST_F(XmlConversion, ADoubleWithoutANumberIsZero) {
    EXPECT_EQ(Scalar<double>(VARIABLE_TYPE_DOUBLE, "x"), 0.0);
}

/// Promise 11
TEST_F(XmlConversion, RealsAreReadTheSameWhereTheProcessHasADecimalComma) {
    const CommaLocale comma;
    ASSERT_TRUE(comma.IsActive()) << "localedef could not make a locale with a decimal comma";
    EXPECT_EQ(Scalar<float>(VARIABLE_TYPE_FLOAT, "1.500000e+00"), 1.5F);
    EXPECT_EQ(Scalar<double>(VARIABLE_TYPE_DOUBLE, "2.500000e+00"), 2.5);
    EXPECT_THAT(ArrayOf<float>(1, VARIABLE_TYPE_FLOAT_ARRAY, {"1.500000e+00"}), ElementsAre(1.5F));
    EXPECT_THAT(ArrayOf<double>(1, VARIABLE_TYPE_DOUBLE_ARRAY, {"2.500000e+00"}), ElementsAre(2.5));
}

// ---- Strings

TEST_F(XmlConversion, StringsAreFilledWithZerosAfterTheText) {
    EXPECT_EQ(String(6, "ab"), std::string("ab\0\0\0\0", 6));
}

TEST_F(XmlConversion, StringsAreCutToTheirCapacityAndTerminated) {
    EXPECT_EQ(String(4, "abc"), std::string("abc\0", 4));
    EXPECT_EQ(String(4, "abcd"), std::string("abc\0", 4));
    EXPECT_EQ(String(4, "abcdefghijklmnop"), std::string("abc\0", 4));
    EXPECT_EQ(String(1, "abc"), std::string("\0", 1));
}

TEST_F(XmlConversion, AStringWithoutCapacityIsLeftAloneAndCountsAsRestored) {
    EXPECT_EQ(String(0, "abc"), "");
}

TEST_F(XmlConversion, StringsKeepBlanksAndCharactersThatXmlHasNoOtherUseFor) {
    EXPECT_EQ(String(20, "  a 'b' \"c\" > ;"), std::string("  a 'b' \"c\" > ;\0\0\0\0\0", 20));
    EXPECT_EQ(String(6, "\xC3\xA4\xE2\x82\xAC"), std::string("\xC3\xA4\xE2\x82\xAC\0", 6));
}

/// Surprise: Of a longer string 2046 bytes come back
TEST_F(XmlConversion, ALongStringKeepsTheFirst2046Bytes) {
    const std::string text(2046, 'x');
    EXPECT_EQ(String(2100, text), text + std::string(54, '\0'));
    EXPECT_EQ(String(2100, text + "y"), text + std::string(54, '\0'));
    EXPECT_EQ(String(2100, text + std::string(100000, 'y')), text + std::string(54, '\0'));
}

// ---- Arrays

TEST_F(XmlConversion, EightBitArraysKeepTheLowByteOfEachElement) {
    EXPECT_THAT(ArrayOf<std::uint8_t>(4, VARIABLE_TYPE_U8_ARRAY, {"0", "255", "256", "-1"}),
                ElementsAre(0, 255, 0, 255));
    EXPECT_THAT(ArrayOf<std::int8_t>(3, VARIABLE_TYPE_S8_ARRAY, {"-128", "127", "128"}), ElementsAre(-128, 127, -128));
}

TEST_F(XmlConversion, SixteenBitArraysKeepTheLowBytesOfEachElement) {
    EXPECT_THAT(ArrayOf<std::uint16_t>(3, VARIABLE_TYPE_U16_ARRAY, {"65535", "65537", "-1"}),
                ElementsAre(65535, 1, 65535));
    EXPECT_THAT(ArrayOf<std::int16_t>(2, VARIABLE_TYPE_S16_ARRAY, {"-32768", "32768"}), ElementsAre(-32768, -32768));
}

/// Surprise: Unsigned 32-bit values from 2147483648 up are written as negative numbers
TEST_F(XmlConversion, UnsignedThirtyTwoBitArraysAreExactWhereTheScalarSaturates) {
    EXPECT_THAT(ArrayOf<std::uint32_t>(5, VARIABLE_TYPE_U32_ARRAY,
                                       {"4294967295", "2147483648", "-1", "-2147483648", "4294967296"}),
                ElementsAre(4294967295U, 2147483648U, 4294967295U, 2147483648U, 4294967295U));
}

TEST_F(XmlConversion, UnsignedThirtyTwoBitElementsWithoutANumberKeepTheirContent) {
    EXPECT_THAT(ArrayOf<std::uint32_t>(3, VARIABLE_TYPE_U32_ARRAY, {"1", "x", "3"}), ElementsAre(1U, 0x11111111U, 3U));
}

TEST_F(XmlConversion, SignedThirtyTwoBitArraysSaturate) {
    EXPECT_THAT(ArrayOf<std::int32_t>(4, VARIABLE_TYPE_S32_ARRAY, {"-5", "4294967295", "-4294967296", "x"}),
                ElementsAre(-5, 2147483647, std::numeric_limits<std::int32_t>::min(), 0));
}

TEST_F(XmlConversion, BooleanArraysAreOnesAndZeros) {
    EXPECT_THAT(ArrayOf<std::uint32_t>(2, VARIABLE_TYPE_BOOL_ARRAY, {"TRUE", "FALSE"}), ElementsAre(1U, 0U));
}

TEST_F(XmlConversion, BooleanElementsAreTheFirstWordOfTheText) {
    EXPECT_THAT(ArrayOf<std::uint32_t>(3, VARIABLE_TYPE_BOOL_ARRAY, {" TRUE", "FALSE ", "\t TRUE no"}),
                ElementsAre(1U, 0U, 1U));
}

TEST_F(XmlConversion, ABooleanElementThatIsNeitherFailsTheArray) {
    for (const char* text : {"true", "TRUEE", "1", " "}) {
        SCOPED_TRACE(text);
        host::Variable& variable = NewVariable(VARIABLE_TYPE_BOOL_ARRAY, 3, 12);
        ExpectDefaulted(variable, Array(variable.Name(), {"TRUE", text, "FALSE"}));
        EXPECT_THAT(traces_.Failures(),
                    ElementsAre("0x800b CXmlFileStorageProviderBase_UpdateArray: Variable type is not array",
                                "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Failed to retrieve array",
                                "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during variable retrieval",
                                "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
    }
}

TEST_F(XmlConversion, ElementsBeforeABooleanThatIsNeitherAreWrittenAndTheOnesAfterItAreNot) {
    host::Variable& variable = NewVariable(VARIABLE_TYPE_BOOL_ARRAY, 3, 12);
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(RetrieveVariables(Array(variable.Name(), {"TRUE", "no", "FALSE"})), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(variable.Bytes(), BytesOf<std::uint32_t>({1, 0x11111111, 0x11111111}));
}

TEST_F(XmlConversion, ABooleanElementBeyondTheCountIsNotLookedAt) {
    EXPECT_THAT(ArrayOf<std::uint32_t>(1, VARIABLE_TYPE_BOOL_ARRAY, {"TRUE", "no"}), ElementsAre(1U));
}

TEST_F(XmlConversion, CharacterArraysAreCodesAndAtMost255) {
    EXPECT_THAT(ArrayOf<std::uint8_t>(5, VARIABLE_TYPE_CHAR_ARRAY, {"0", "65", "254", "256", "-1"}),
                ElementsAre(0, 65, 254, 255, 255));
}

TEST_F(XmlConversion, CharacterElementsWithoutANumberKeepTheirContent) {
    EXPECT_THAT(ArrayOf<std::uint8_t>(2, VARIABLE_TYPE_CHAR_ARRAY, {"A", "66"}), ElementsAre(0x11, 66));
}

TEST_F(XmlConversion, FloatArraysKeepTheContentOfElementsWithoutANumber) {
    EXPECT_THAT(ArrayOf<float>(2, VARIABLE_TYPE_FLOAT_ARRAY, {"1.500000e+00", "-2.5"}), ElementsAre(1.5F, -2.5F));
    EXPECT_THAT(ArrayOf<std::uint32_t>(2, VARIABLE_TYPE_FLOAT_ARRAY, {"0", "x"}), ElementsAre(0U, 0x11111111U));
}

TEST_F(XmlConversion, DoubleArraysAreZeroWhereThereIsNoNumber) {
    EXPECT_THAT(ArrayOf<double>(3, VARIABLE_TYPE_DOUBLE_ARRAY, {"1.5", "x", "-2.5e-3"}),
                ElementsAre(1.5, 0.0, -2.5e-3));
}

TEST_F(XmlConversion, SurplusElementsAreSkipped) {
    EXPECT_THAT(ArrayOf<std::uint16_t>(2, VARIABLE_TYPE_U16_ARRAY, {"1", "2", "3", "4"}), ElementsAre(1, 2));
}

/// Surprise: An array with too few elements keeps what was in memory for the rest
TEST_F(XmlConversion, MissingElementsKeepTheirContent) {
    EXPECT_THAT(ArrayOf<std::uint16_t>(3, VARIABLE_TYPE_U16_ARRAY, {"1"}), ElementsAre(1, 0x1111, 0x1111));
}

TEST_F(XmlConversion, AnArrayOfNoElementsTakesNone) {
    EXPECT_THAT(ArrayOf<std::uint16_t>(0, VARIABLE_TYPE_U16_ARRAY, {"1", "2"}), IsEmpty());
}

// ---- Types without a conversion

TEST_F(XmlConversion, AnObjectIsNoVariableOfADocument) {
    object_.AddNested("N").U8("a", 1);
    EXPECT_EQ(RetrieveVariables(Value("N", "1")), QBFResult{QBF_E_FAILED});
    EXPECT_FALSE(At("N").Retrieved());
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x800b CXmlFileStorageProviderBase_UpdateVariable: Unsupported variable type: 21",
                            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during variable retrieval",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

/// Surprise: A type code that is not defined does not fail the store
TEST_F(XmlConversion, TypeCodesThatAreNotDefinedAreNotRestored) {
    for (const VariableType type : {VariableType{23}, VariableType{255}, VariableType{0x7FFFFFFF}}) {
        host::Variable& variable = NewVariable(type, 1, 4);
        ExpectDefaulted(variable, Value(variable.Name(), "1"));
        EXPECT_EQ(
            traces_.Failures().front(),
            "0x800b CXmlFileStorageProviderBase_UpdateVariable: Unsupported variable type: " + std::to_string(type));
    }
}

TEST_F(XmlConversion, TheTypeAndSizeThatTheDocumentNamesDoNotMatter) {
    host::Variable& scalar = NewVariable(VARIABLE_TYPE_U8, 1, 1);
    Restore(scalar, "<variable name = \"v1\"><type>STRING</type><size>99</size><value>5</value></variable>");
    EXPECT_EQ(scalar.Get<std::uint8_t>(), 5);
    host::Variable& array = NewVariable(VARIABLE_TYPE_S32_ARRAY, 2, 8);
    Restore(array,
            "<variable name = \"v2\"><type>S32</type><size>1</size><array><element>6</element><element>7</element>"
            "</array></variable>");
    EXPECT_EQ(array.Bytes(), BytesOf<std::int32_t>({6, 7}));
}

TEST_F(XmlConversion, AValueInPlaceOfAnArrayLeavesTheContentAndCountsAsRestored) {
    host::Variable& variable = NewVariable(VARIABLE_TYPE_U8_ARRAY, 2, 2);
    Restore(variable, Value(variable.Name(), "5"));
    EXPECT_EQ(variable.Bytes(), BytesOf<std::uint8_t>({0x11, 0x11}));
}

TEST_F(XmlConversion, AnArrayInPlaceOfAValueIsAnEmptyText) {
    host::Variable& number = NewVariable(VARIABLE_TYPE_U8, 1, 1);
    Restore(number, Array(number.Name(), {"5"}));
    EXPECT_EQ(number.Get<std::uint8_t>(), 0);
    host::Variable& text = NewVariable(VARIABLE_TYPE_STRING, 4, 4);
    Restore(text, Array(text.Name(), {"5"}));
    EXPECT_EQ(text.Text(), "");
}

// ---- Which text is a value

TEST_F(XmlConversion, AnEmptyValueTakesTheTextThatCameLast) {
    object_.String("s", 8, "default");
    EXPECT_EQ(RetrieveVariables("<variable name = \"s\"><type>U8</type><value></value></variable>"), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "U8");
}

TEST_F(XmlConversion, AnEmptyValueTakesTheLineBreakBeforeIt) {
    object_.String("s", 8, "default");
    EXPECT_EQ(RetrieveVariables("<variable name = \"s\"><type>U8</type>\n<value/></variable>"), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "\n");
}

TEST_F(XmlConversion, AnEmptyElementTakesTheTextThatCameLast) {
    object_.U8Array("a", {0, 0});
    EXPECT_EQ(RetrieveVariables("<variable name = \"a\"><array><element>7</element><element/></array></variable>"),
              QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Bytes(), BytesOf<std::uint8_t>({7, 7}));
}

TEST_F(XmlConversion, AValueOfSeveralLinesKeepsTheLastOne) {
    object_.String("s", 8, "default");
    EXPECT_EQ(RetrieveVariables(Value("s", "one\ntwo")), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "two");
}

/// Surprise: A text with a line break comes back as its last line
TEST_F(XmlConversion, AValueWithAnEntityKeepsWhatFollowsIt) {
    object_.String("s", 8, "default").String("t", 8, "default");
    EXPECT_EQ(RetrieveVariables(Value("s", "a&amp;b") + Value("t", "x&lt;")), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "b");
    EXPECT_EQ(At("t").Text(), "<");
}

TEST_F(XmlConversion, AVariableWithoutAValueIsAnEmptyText) {
    object_.String("s", 8, "default").U32("n", 5);
    EXPECT_EQ(RetrieveVariables(Value("x", "17") + VariableElement("s", "") + VariableElement("n", "")),
              QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "");
    EXPECT_EQ(At("n").Get<std::uint32_t>(), 0U);
}

TEST_F(XmlConversion, OfTwoValuesTheLastOneCounts) {
    object_.U8("a");
    EXPECT_EQ(RetrieveVariables(VariableElement("a", "<value>1</value><value>2</value>")), QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Get<std::uint8_t>(), 2);
}

TEST_F(XmlConversion, ElementNamesAreCaseSensitive) {
    object_.U8("a", 9);
    EXPECT_EQ(RetrieveVariables(VariableElement("a", "<value>1</value><Value>2</Value><VALUE>3</VALUE>")),
              QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Get<std::uint8_t>(), 1);
}

}  // namespace

}  // namespace tal::test
