#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <ostream>
#include <random>

#include "host/DatabaseDescription.h"
#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/CommaLocale.h"
#include "support/HostCalls.h"
#include "support/Sweep.h"
#include "support/XmlFixture.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The document of a database whose regions are written as `regions`.
std::string Document(const std::string& regions) {
    return kDocumentStart + regions + kDocumentEnd;
}

/// The document of one region "R" with the object "O" that holds `content`.
std::string DocumentOfObject(const std::string& content) {
    return Document("<region name = \"R\"><object name = \"O\">" + content + "\n</object>\n</region>\n");
}

/// A variable element with the U8 value 1.
std::string One(const std::string& name) {
    return "\n<variable name = \"" + name + "\"><type>U8</type><value>1</value></variable>";
}

std::vector<std::uint8_t> Bytes(std::initializer_list<int> values) {
    std::vector<std::uint8_t> bytes;
    for (const int value : values) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
    return bytes;
}

class XmlStore : public XmlFixture {
protected:
    host::Object& Object() {
        if (database_.Regions().empty()) {
            return database_.AddRegion("R").AddObject("O");
        }
        return *database_.Regions().front()->Objects().front();
    }

    /// Stores, which has to fail the way every store fails.
    /// @return the document all the same.
    std::string DocumentOfFailedStore(unsigned long channelInjector = 0) {
        EXPECT_EQ(Store(0, channelInjector), 0x8000U);
        return ReadFile(kXmlFile);
    }

    /// The traces that are neither the frame of every store nor its progress.
    std::vector<std::string> Problems() {
        std::vector<std::string> problems;
        for (const TraceRecord& record : traces_.Records()) {
            if (record.code != QBF_I_INFO) {
                problems.push_back(ToLine(record));
            }
        }
        return problems;
    }
};

// What stands inside a variable element, type by type.

struct WrittenVariable {
    const char* situation;
    void (*add)(host::Object& object);
    std::string written;
};

void PrintTo(const WrittenVariable& variable, std::ostream* out) {
    *out << variable.situation;
}

class XmlStoreOfVariables : public XmlStore, public testing::WithParamInterface<WrittenVariable> {};

TEST_P(XmlStoreOfVariables, WritesTypeAndValue) {
    GetParam().add(Object());

    EXPECT_EQ(StoredDocument(), DocumentOfObject("\n<variable name = \"v\">" + GetParam().written + "</variable>"));
}

using Added = host::Object&;

INSTANTIATE_TEST_SUITE_P(
    Integers, XmlStoreOfVariables,
    testing::Values(
        WrittenVariable{"U8Zero", [](Added o) { o.U8("v", 0); }, "<type>U8</type><value>0</value>"},
        WrittenVariable{"U8Largest", [](Added o) { o.U8("v", 255); }, "<type>U8</type><value>255</value>"},
        WrittenVariable{"U8Array",
                        [](Added o) {
                            o.U8Array("v", {0, 127, 128, 255});
                        },
                        "<type>U8_ARRAY</type><size>4</size><array><element>0</element><element>127</element>"
                        "<element>128</element><element>255</element></array>"},
        WrittenVariable{"U16Zero", [](Added o) { o.U16("v", 0); }, "<type>U16</type><value>0</value>"},
        WrittenVariable{"U16Largest", [](Added o) { o.U16("v", 65535); }, "<type>U16</type><value>65535</value>"},
        WrittenVariable{"U16Array",
                        [](Added o) {
                            o.U16Array("v", {0, 256, 32768, 65535});
                        },
                        "<type>U16_ARRAY</type><size>4</size><array><element>0</element><element>256</element>"
                        "<element>32768</element><element>65535</element></array>"},
        WrittenVariable{"U32Zero", [](Added o) { o.U32("v", 0); }, "<type>U32</type><value>0</value>"},
        WrittenVariable{"U32LargestSigned", [](Added o) { o.U32("v", 2147483647); },
                        "<type>U32</type><value>2147483647</value>"},
        WrittenVariable{"U32Upper", [](Added o) { o.U32("v", 0x80000000); },
                        "<type>U32</type><value>-2147483648</value>"},
        WrittenVariable{"U32Largest", [](Added o) { o.U32("v", 4294967295); }, "<type>U32</type><value>-1</value>"},
        WrittenVariable{"U32Array",
                        [](Added o) {
                            o.U32Array("v", {0, 2147483647, 2147483648, 4294967295});
                        },
                        "<type>U32_ARRAY</type><size>4</size><array><element>0</element><element>2147483647</element>"
                        "<element>-2147483648</element><element>-1</element></array>"},
        WrittenVariable{"S8Smallest", [](Added o) { o.S8("v", -128); }, "<type>S8</type><value>-128</value>"},
        WrittenVariable{"S8Largest", [](Added o) { o.S8("v", 127); }, "<type>S8</type><value>127</value>"},
        WrittenVariable{"S8Array",
                        [](Added o) {
                            o.S8Array("v", {-128, -1, 0, 127});
                        },
                        "<type>S8_ARRAY</type><size>4</size><array><element>-128</element><element>-1</element>"
                        "<element>0</element><element>127</element></array>"},
        WrittenVariable{"S16Smallest", [](Added o) { o.S16("v", -32768); }, "<type>S16</type><value>-32768</value>"},
        WrittenVariable{"S16Largest", [](Added o) { o.S16("v", 32767); }, "<type>S16</type><value>32767</value>"},
        WrittenVariable{"S16Array",
                        [](Added o) {
                            o.S16Array("v", {-32768, -1, 0, 32767});
                        },
                        "<type>S16_ARRAY</type><size>4</size><array><element>-32768</element><element>-1</element>"
                        "<element>0</element><element>32767</element></array>"},
        WrittenVariable{"S32Smallest", [](Added o) { o.S32("v", std::numeric_limits<std::int32_t>::min()); },
                        "<type>S32</type><value>-2147483648</value>"},
        WrittenVariable{"S32Largest", [](Added o) { o.S32("v", 2147483647); },
                        "<type>S32</type><value>2147483647</value>"},
        WrittenVariable{"S32ArrayUnderTheTextOfTheScalar",
                        [](Added o) {
                            o.S32Array("v", {-1, 0, 2147483647});
                        },
                        "<type>S32</type><size>3</size><array><element>-1</element><element>0</element>"
                        "<element>2147483647</element></array>"}),
    testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    Booleans, XmlStoreOfVariables,
    testing::Values(WrittenVariable{"Zero", [](Added o) { o.Bool("v", 0); }, "<type>BOOL</type><value>FALSE</value>"},
                    WrittenVariable{"One", [](Added o) { o.Bool("v", 1); }, "<type>BOOL</type><value>TRUE</value>"},
                    WrittenVariable{"Two", [](Added o) { o.Bool("v", 2); }, "<type>BOOL</type><value>TRUE</value>"},
                    WrittenVariable{"HighByteOfTheWord", [](Added o) { o.Bool("v", 0x01000000); },
                                    "<type>BOOL</type><value>TRUE</value>"},
                    WrittenVariable{
                        "ArrayOfWords",
                        [](Added o) {
                            o.BoolArray("v", {0, 1, 2, 0x80000000, 0x100});
                        },
                        "<type>BOOL_ARRAY</type><size>5</size><array><element>FALSE</element><element>TRUE</element>"
                        "<element>TRUE</element><element>TRUE</element><element>TRUE</element></array>"}),
    testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    Characters, XmlStoreOfVariables,
    testing::Values(
        WrittenVariable{"Nul", [](Added o) { o.Char("v", 0); }, "<type>CHAR</type><value>0</value>"},
        WrittenVariable{"LetterAsItsNumber", [](Added o) { o.Char("v", 'A'); }, "<type>CHAR</type><value>65</value>"},
        WrittenVariable{"Largest", [](Added o) { o.Char("v", 255); }, "<type>CHAR</type><value>255</value>"},
        WrittenVariable{"ArrayWithItsNulBytes",
                        [](Added o) {
                            o.CharArray("v", {'A', 0, 128, 255, 0});
                        },
                        "<type>CHAR_ARRAY</type><size>5</size><array><element>65</element><element>0</element>"
                        "<element>128</element><element>255</element><element>0</element></array>"}),
    testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    Strings, XmlStoreOfVariables,
    testing::Values(
        WrittenVariable{"Empty", [](Added o) { o.String("v", 8, ""); }, "<type>STRING</type><value></value>"},
        WrittenVariable{"Plain", [](Added o) { o.String("v", 8, "x"); }, "<type>STRING</type><value>x</value>"},
        WrittenVariable{"AsLongAsItsCapacity", [](Added o) { o.String("v", 6, "north"); },
                        "<type>STRING</type><value>north</value>"},
        WrittenVariable{"UpToItsNul",
                        [](Added o) {
                            o.Raw("v", 16, 6, Bytes({'a', 'b', 0, 'c', 'd', 0}));
                        },
                        "<type>STRING</type><value>ab</value>"},
        WrittenVariable{"WhateverItsElementCount",
                        [](Added o) {
                            o.Raw("v", 16, 0, Bytes({'a', 'b', 0}));
                        },
                        "<type>STRING</type><value>ab</value>"},
        WrittenVariable{"WithMarkupUnescaped", [](Added o) { o.String("v", 32, "a<b&c\"d'e>f"); },
                        "<type>STRING</type><value>a<b&c\"d'e>f</value>"},
        WrittenVariable{"WithBytesBeyondAscii", [](Added o) { o.String("v", 8, "\xC3\xA9\xFF"); },
                        "<type>STRING</type><value>\xC3\xA9\xFF</value>"},
        WrittenVariable{"WithWhiteSpaceAsItStands", [](Added o) { o.String("v", 16, " a\n\tb\r "); },
                        "<type>STRING</type><value> a\n\tb\r </value>"},
        WrittenVariable{"WithPercentSigns", [](Added o) { o.String("v", 16, "%s%n%d%%"); },
                        "<type>STRING</type><value>%s%n%d%%</value>"}),
    testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    Reals, XmlStoreOfVariables,
    testing::Values(
        WrittenVariable{"FloatZero", [](Added o) { o.Float("v", 0); }, "<type>FLOAT</type><value>0.000000e+00</value>"},
        WrittenVariable{"FloatNegativeZero", [](Added o) { o.Float("v", -0.0F); },
                        "<type>FLOAT</type><value>-0.000000e+00</value>"},
        WrittenVariable{"FloatPlain", [](Added o) { o.Float("v", 1.5F); },
                        "<type>FLOAT</type><value>1.500000e+00</value>"},
        WrittenVariable{"FloatNegative", [](Added o) { o.Float("v", -1.5F); },
                        "<type>FLOAT</type><value>-1.500000e+00</value>"},
        WrittenVariable{"FloatLargest", [](Added o) { o.Float("v", FLT_MAX); },
                        "<type>FLOAT</type><value>3.402823e+38</value>"},
        WrittenVariable{"FloatSmallestNormal", [](Added o) { o.Float("v", FLT_MIN); },
                        "<type>FLOAT</type><value>1.175494e-38</value>"},
        WrittenVariable{"FloatSmallest", [](Added o) { o.Float("v", std::numeric_limits<float>::denorm_min()); },
                        "<type>FLOAT</type><value>1.401298e-45</value>"},
        WrittenVariable{"FloatInfinity", [](Added o) { o.Float("v", std::numeric_limits<float>::infinity()); },
                        "<type>FLOAT</type><value>inf</value>"},
        WrittenVariable{"FloatNegativeInfinity", [](Added o) { o.Float("v", -std::numeric_limits<float>::infinity()); },
                        "<type>FLOAT</type><value>-inf</value>"},
        WrittenVariable{"FloatNotANumber",
                        [](Added o) {
                            o.Raw("v", 17, 1, Bytes({0, 0, 0xC0, 0x7F}));
                        },
                        "<type>FLOAT</type><value>nan</value>"},
        WrittenVariable{"FloatNegativeNotANumber",
                        [](Added o) {
                            o.Raw("v", 17, 1, Bytes({0, 0, 0xC0, 0xFF}));
                        },
                        "<type>FLOAT</type><value>-nan</value>"},
        WrittenVariable{"FloatArray",
                        [](Added o) {
                            o.FloatArray("v", {0.25F, -3.0F, 1e10F});
                        },
                        "<type>FLOAT_ARRAY</type><size>3</size><array><element>2.500000e-01</element>"
                        "<element>-3.000000e+00</element><element>1.000000e+10</element></array>"},
        WrittenVariable{"DoubleTenth", [](Added o) { o.Double("v", 0.1); },
                        "<type>DOUBLE</type><value>1.000000e-01</value>"},
        WrittenVariable{"DoubleOfSevenDigits", [](Added o) { o.Double("v", 1234.56789); },
                        "<type>DOUBLE</type><value>1.234568e+03</value>"},
        WrittenVariable{"DoubleRoundedToTheNextPowerOfTen", [](Added o) { o.Double("v", 9.9999999); },
                        "<type>DOUBLE</type><value>1.000000e+01</value>"},
        WrittenVariable{"DoubleTieRoundedToTheEvenDigit", [](Added o) { o.Double("v", 1234566.5); },
                        "<type>DOUBLE</type><value>1.234566e+06</value>"},
        WrittenVariable{"DoubleOfThreeExponentDigits", [](Added o) { o.Double("v", 1e100); },
                        "<type>DOUBLE</type><value>1.000000e+100</value>"},
        WrittenVariable{"DoubleLargest", [](Added o) { o.Double("v", DBL_MAX); },
                        "<type>DOUBLE</type><value>1.797693e+308</value>"},
        WrittenVariable{"DoubleSmallest", [](Added o) { o.Double("v", std::numeric_limits<double>::denorm_min()); },
                        "<type>DOUBLE</type><value>4.940656e-324</value>"},
        WrittenVariable{"DoubleNegativeInfinity",
                        [](Added o) { o.Double("v", -std::numeric_limits<double>::infinity()); },
                        "<type>DOUBLE</type><value>-inf</value>"},
        WrittenVariable{"DoubleNotANumber",
                        [](Added o) {
                            o.Raw("v", 19, 1, Bytes({0, 0, 0, 0, 0, 0, 0xF8, 0x7F}));
                        },
                        "<type>DOUBLE</type><value>nan</value>"},
        WrittenVariable{"DoubleArray",
                        [](Added o) {
                            o.DoubleArray("v", {0.1, -1e-300});
                        },
                        "<type>DOUBLE_ARRAY</type><size>2</size><array><element>1.000000e-01</element>"
                        "<element>-1.000000e-300</element></array>"}),
    testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    Counts, XmlStoreOfVariables,
    testing::Values(WrittenVariable{"ArrayOfOne", [](Added o) { o.U16Array("v", {7}); },
                                    "<type>U16_ARRAY</type><size>1</size><array><element>7</element></array>"},
                    WrittenVariable{
                        "ArrayAsLongAsItsElementCount",
                        [](Added o) {
                            o.Raw("v", 1, 2, Bytes({1, 2, 3}));
                        },
                        "<type>U8_ARRAY</type><size>2</size><array><element>1</element><element>2</element></array>"},
                    WrittenVariable{"ScalarWhateverItsElementCount", [](Added o) { o.Raw("v", 0, 0, Bytes({5})); },
                                    "<type>U8</type><value>5</value>"},
                    WrittenVariable{"EmptyU8Array", [](Added o) { o.U8Array("v", {}); },
                                    "<type>U8_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyU16Array", [](Added o) { o.U16Array("v", {}); },
                                    "<type>U16_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyU32Array", [](Added o) { o.U32Array("v", {}); },
                                    "<type>U32_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyS8Array", [](Added o) { o.S8Array("v", {}); },
                                    "<type>S8_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyS16Array", [](Added o) { o.S16Array("v", {}); },
                                    "<type>S16_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyS32Array", [](Added o) { o.S32Array("v", {}); },
                                    "<type>S32</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyBoolArray", [](Added o) { o.BoolArray("v", {}); },
                                    "<type>BOOL_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyCharArray", [](Added o) { o.CharArray("v", {}); },
                                    "<type>CHAR_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyFloatArray", [](Added o) { o.FloatArray("v", {}); },
                                    "<type>FLOAT_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyDoubleArray", [](Added o) { o.DoubleArray("v", {}); },
                                    "<type>DOUBLE_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"EmptyObjectArray", [](Added o) { o.EmptyObjectArray("v"); },
                                    "<type>OBJECT_ARRAY</type><size>0</size><array></array>"},
                    WrittenVariable{"FirstUndefinedType",
                                    [](Added o) {
                                        o.Raw("v", 23, 1, Bytes({1, 2, 3, 4}));
                                    },
                                    ""},
                    WrittenVariable{"LastUndefinedType",
                                    [](Added o) {
                                        o.Raw("v", 0xFFFFFFFF, 1, Bytes({1, 2, 3, 4}));
                                    },
                                    ""}),
    testing::PrintToStringParamName());

TEST_F(XmlStore, RealsAreWrittenAsPrintfShowsThem) {
    std::mt19937_64 bits(1);
    std::vector<double> values(2000);
    std::string elements;
    for (double& value : values) {
        const std::uint64_t pattern = bits();
        std::memcpy(&value, &pattern, sizeof value);
        char text[32];
        std::snprintf(text, sizeof text, "%e", value);
        elements += "<element>" + std::string(text) + "</element>";
    }
    Object().DoubleArray("v", values);

    EXPECT_EQ(StoredDocument(), DocumentOfObject("\n<variable name = \"v\"><type>DOUBLE_ARRAY</type><size>2000</size>"
                                                 "<array>" +
                                                 elements + "</array></variable>"));
}

/// Promise 11
TEST_F(XmlStore, RealsHaveAPointWhateverTheLocale) {
    Object().Float("v", 1.5F).DoubleArray("w", {1234.5});
    const CommaLocale comma;
    ASSERT_TRUE(comma.IsActive());

    EXPECT_EQ(StoredDocument(),
              DocumentOfObject("\n<variable name = \"v\"><type>FLOAT</type><value>1.500000e+00</value></variable>"
                               "\n<variable name = \"w\"><type>DOUBLE_ARRAY</type><size>1</size><array>"
                               "<element>1.234500e+03</element></array></variable>"));
}

TEST_F(XmlStore, LargeCountsAreNotGroupedWhateverTheLocale) {
    Object().U8Array("v", std::vector<std::uint8_t>(1234, 0));
    const CommaLocale comma;
    ASSERT_TRUE(comma.IsActive());

    EXPECT_THAT(StoredDocument(), HasSubstr("<size>1234</size>"));
}

// The document's layout.

TEST_F(XmlStore, DatabaseWithoutRegionsIsTheFrameAlone) {
    EXPECT_EQ(StoredDocument(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"></storage>\n");
}

TEST_F(XmlStore, RegionWithoutObjectsIsItsTagsAndALineFeed) {
    database_.AddRegion("R");
    EXPECT_EQ(StoredDocument(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\">"
              "<region name = \"R\"></region>\n"
              "</storage>\n");
}

TEST_F(XmlStore, ObjectWithoutVariablesIsItsTagsAroundALineFeed) {
    Object();
    EXPECT_EQ(StoredDocument(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\">"
              "<region name = \"R\"><object name = \"O\">\n"
              "</object>\n"
              "</region>\n"
              "</storage>\n");
}

TEST_F(XmlStore, NestedObjectStandsInPlaceOfItsVariable) {
    Object().U8("a", 5).AddNested("N").String("s", 8, "x");
    EXPECT_EQ(StoredDocument(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"><region name = \"R\">"
              "<object name = \"O\">\n"
              "<variable name = \"a\"><type>U8</type><value>5</value></variable><object name = \"N\">\n"
              "<variable name = \"s\"><type>STRING</type><value>x</value></variable>\n"
              "</object>\n"
              "\n"
              "</object>\n"
              "</region>\n"
              "</storage>\n");
}

TEST_F(XmlStore, NestedObjectIsWrittenUnderItsOwnNameAndNotThatOfItsVariable) {
    Object().AddNested("variable", "object");
    EXPECT_EQ(StoredDocument(), DocumentOfObject("<object name = \"object\">\n</object>\n"));
}

TEST_F(XmlStore, SecondObjectBeginsRightAfterTheFirst) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("O").U8("a", 1);
    region.AddObject("P").U8("b", 1);
    EXPECT_EQ(StoredDocument(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"><region name = \"R\">"
              "<object name = \"O\">\n"
              "<variable name = \"a\"><type>U8</type><value>1</value></variable>\n"
              "</object>\n"
              "<object name = \"P\">\n"
              "<variable name = \"b\"><type>U8</type><value>1</value></variable>\n"
              "</object>\n"
              "</region>\n"
              "</storage>\n");
}

TEST_F(XmlStore, SecondRegionBeginsOnALineOfItsOwn) {
    database_.AddRegion("R").AddObject("O");
    database_.AddRegion("S");
    EXPECT_EQ(StoredDocument(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\">"
              "<region name = \"R\"><object name = \"O\">\n"
              "</object>\n"
              "</region>\n"
              "<region name = \"S\"></region>\n"
              "</storage>\n");
}

TEST_F(XmlStore, RegionsObjectsAndVariablesKeepTheirOrder) {
    host::Region& later = database_.AddRegion("Z");
    later.AddObject("Y").U8("x", 1).U8("a", 1);
    later.AddObject("B").U8("c", 1);
    database_.AddRegion("A").AddObject("D");
    EXPECT_EQ(StoredDocument(), Document("<region name = \"Z\"><object name = \"Y\">" + One("x") + One("a") +
                                         "\n</object>\n<object name = \"B\">" + One("c") +
                                         "\n</object>\n</region>\n<region name = \"A\"><object name = \"D\">"
                                         "\n</object>\n</region>\n"));
}

TEST_F(XmlStore, VariableAfterANestedObjectLeavesAnEmptyLine) {
    Object().AddNested("N");
    Object().U8("a", 1);
    EXPECT_EQ(StoredDocument(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"><region name = \"R\">"
              "<object name = \"O\"><object name = \"N\">\n"
              "</object>\n"
              "\n"
              "<variable name = \"a\"><type>U8</type><value>1</value></variable>\n"
              "</object>\n"
              "</region>\n"
              "</storage>\n");
}

TEST_F(XmlStore, ElementsOfAnObjectArrayStandInObjectElements) {
    Object().AddToArray("v", "A").U8("a", 1);
    Object().AddToArray("v", "B").U8("b", 1);
    EXPECT_EQ(StoredDocument(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"><region name = \"R\">"
              "<object name = \"O\">\n"
              "<variable name = \"v\"><type>OBJECT_ARRAY</type><size>2</size><array><objectElement>"
              "<object name = \"A\">\n"
              "<variable name = \"a\"><type>U8</type><value>1</value></variable>\n"
              "</object>\n"
              "</objectElement><objectElement><object name = \"B\">\n"
              "<variable name = \"b\"><type>U8</type><value>1</value></variable>\n"
              "</object>\n"
              "</objectElement></array></variable>\n"
              "</object>\n"
              "</region>\n"
              "</storage>\n");
}

TEST_F(XmlStore, ObjectArrayWithinAnElementIsWrittenInIt) {
    Object().AddToArray("v", "A").AddToArray("w", "B").U8("b", 1);
    EXPECT_EQ(StoredDocument(),
              DocumentOfObject("\n<variable name = \"v\"><type>OBJECT_ARRAY</type><size>1</size><array><objectElement>"
                               "<object name = \"A\">\n<variable name = \"w\"><type>OBJECT_ARRAY</type><size>1</size>"
                               "<array><objectElement><object name = \"B\">" +
                               One("b") +
                               "\n</object>\n</objectElement></array></variable>\n</object>\n</objectElement></array>"
                               "</variable>"));
}

TEST_F(XmlStore, VariableAfterAnObjectArrayIsWrittenUnderItsOwnName) {
    Object().AddToArray("v", "A").U8("member", 1);
    Object().U8("after", 1);
    EXPECT_THAT(StoredDocument(), HasSubstr("</objectElement></array></variable>" + One("after") + "\n</object>\n"));
}

TEST_F(XmlStore, NamesAreWrittenUnescaped) {
    database_.AddRegion("r<&\"").AddObject("o<&\"").U8("v<&\"", 1);
    EXPECT_EQ(StoredDocument(), Document("<region name = \"r<&\"\"><object name = \"o<&\"\">" + One("v<&\"") +
                                         "\n</object>\n</region>\n"));
}

TEST_F(XmlStore, EmptyNamesAreWritten) {
    database_.AddRegion("").AddObject("").U8("", 1);
    EXPECT_EQ(StoredDocument(),
              Document("<region name = \"\"><object name = \"\">" + One("") + "\n</object>\n</region>\n"));
}

TEST_F(XmlStore, RegionNameOf45CharactersIsCutTo39) {
    database_.AddRegion("123456789-123456789-123456789-123456789-12345");
    EXPECT_EQ(StoredDocument(), Document("<region name = \"123456789-123456789-123456789-123456789\"></region>\n"));
}

TEST_F(XmlStore, ObjectAndVariableNamesAreCutTo119) {
    database_.AddRegion("R").AddObject(std::string(119, 'o') + "p").U8(std::string(119, 'v') + "w", 1);
    EXPECT_EQ(StoredDocument(), Document("<region name = \"R\"><object name = \"" + std::string(119, 'o') + "\">" +
                                         One(std::string(119, 'v')) + "\n</object>\n</region>\n"));
}

/// Surprise: Read-only objects are kept in three ways
TEST_F(XmlStore, ReadOnlyObjectIsWrittenWithoutItsVariables) {
    Object().ReadOnly().U8("a", 1).AddNested("N");
    EXPECT_EQ(StoredDocument(), DocumentOfObject(""));
}

TEST_F(XmlStore, ReadOnlyNestedObjectIsWrittenWithoutItsVariables) {
    Object().AddNested("N").ReadOnly().U8("a", 1);
    Object().U8("b", 1);
    EXPECT_EQ(StoredDocument(), DocumentOfObject("<object name = \"N\">\n</object>\n" + One("b")));
}

TEST_F(XmlStore, ReadOnlyElementIsWrittenWithoutItsVariables) {
    Object().AddToArray("v", "A").ReadOnly().U8("a", 1);
    EXPECT_EQ(StoredDocument(),
              DocumentOfObject("\n<variable name = \"v\"><type>OBJECT_ARRAY</type><size>1</size><array><objectElement>"
                               "<object name = \"A\">\n</object>\n</objectElement></array></variable>"));
}

TEST_F(XmlStore, ObjectIsWritableByAnyWordButZero) {
    Object().U8("a", 1);
    HostCalls host;
    host.Fail("CStorageObject_IsWritable", 1, 0x100);
    EXPECT_EQ(StoredDocument(), DocumentOfObject(One("a")));
}

TEST_F(XmlStore, DeepNestingIsWrittenToItsEnd) {
    constexpr int kDepth = 300;
    std::string starts;
    std::string ends;
    host::Object* object = &Object();
    for (int level = 0; level < kDepth; ++level) {
        object = &object->AddNested("N");
        starts += "<object name = \"N\">";
        ends += "\n</object>\n";
    }
    object->U8("a", 1);

    EXPECT_EQ(StoredDocument(), DocumentOfObject(starts + One("a") + ends));
}

TEST_F(XmlStore, StringLongerThanTheOutputBufferIsWrittenWhole) {
    std::string text;
    while (text.size() < 100000) {
        text += std::to_string(text.size()) + ' ';
    }
    Object().String("v", static_cast<std::uint32_t>(text.size() + 1), text);

    EXPECT_EQ(StoredDocument(),
              DocumentOfObject("\n<variable name = \"v\"><type>STRING</type><value>" + text + "</value></variable>"));
}

TEST_F(XmlStore, EveryLengthRoundTheOutputBufferIsWrittenWhole) {
    constexpr std::uint32_t kBuffer = TAL_STREAM_BUFFER_SIZE;
    const std::string start = "\n<variable name = \"v\"><type>STRING</type><value>";
    const auto whole = static_cast<std::uint32_t>(DocumentOfObject(start + "</value></variable>").size());
    Object().String("v", kBuffer);
    for (std::uint32_t length = kBuffer - whole - 2; length <= kBuffer - whole + 80; ++length) {
        std::string text(length, 'a');
        text.back() = 'z';
        database_.At("R/O/v").SetText(text);
        ASSERT_EQ(StoredDocument(), DocumentOfObject(start + text + "</value></variable>")) << length;
    }
}

TEST_F(XmlStore, LargeDatabaseIsWrittenWhole) {
    std::string regions;
    for (int r = 0; r < 10; ++r) {
        const std::string region = "Region" + std::to_string(r);
        host::Region& added = database_.AddRegion(region);
        regions += "<region name = \"" + region + "\">";
        for (int o = 0; o < 10; ++o) {
            const std::string name = "Object" + std::to_string(o);
            host::Object& object = added.AddObject(name);
            regions += "<object name = \"" + name + "\">";
            for (int v = 0; v < 20; ++v) {
                const std::string variable = "Variable" + std::to_string(r * 1000 + o * 100 + v);
                object.U8(variable, 1);
                regions += One(variable);
            }
            regions += "\n</object>\n";
        }
        regions += "</region>\n";
    }

    EXPECT_EQ(StoredDocument(), Document(regions));
}

TEST_F(XmlStore, SecondStoreOfTheSameDatabaseGivesTheSameBytes) {
    Object().U8("a", 1).AddNested("N").Float("f", 2);
    const std::string first = StoredDocument();
    EXPECT_EQ(StoredDocument(), first);
}

/// Promise 17
TEST_F(XmlStore, StoreLeavesTheDatabaseAlone) {
    Object().U8("a", 1).String("s", 8, "text");
    database_.At("R/O/a").SetRetrieved(true);

    Store(0, 3);

    EXPECT_EQ(database_.At("R/O/a").Get<std::uint8_t>(), 1);
    EXPECT_TRUE(database_.At("R/O/a").Retrieved());
    EXPECT_FALSE(database_.At("R/O/s").Retrieved());
    EXPECT_TRUE(database_.GuardsIntact());
}

/// Promise 18
TEST_F(XmlStore, StoreAllocatesNothing) {
    Object().U8("a", 1).Double("d", 0.1).String("s", 8, "text").AddNested("N");
    const AllocationFaults memory;

    Store(0, 3);

    EXPECT_EQ(memory.Allocations(), 0);
}

// The example.

/// Promise 11
TEST_F(XmlStore, RadioUnitIsWrittenAsItsGoldenFile) {
    const auto radioUnit = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");

    EXPECT_EQ(provider_->StoreAll(0, radioUnit->Handle(), 0), 0U);

    EXPECT_EQ(DifferenceOfFiles(kXmlFile, TAL_TEST_DATA "/radio-unit.xml"), "");
}

TEST_F(XmlStore, RadioUnitOfChannelOneIsWrittenAsItsGoldenFile) {
    const auto radioUnit = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");

    EXPECT_EQ(provider_->StoreAll(0, radioUnit->Handle(), 1), 0U);

    EXPECT_EQ(DifferenceOfFiles(kXmlFile, TAL_TEST_DATA "/radio-unit-channel-1.xml"), "");
}

// What is traced.

TEST_F(XmlStore, WholeStoreIsTracedStepByStep) {
    database_.AddRegion("Rf3").AddObject("O.Channel3").U8("channel.3.a", 1).AddNested("v", "Nrf3");
    Object().AddToArray("w", "E");
    database_.AddRegion("S");

    EXPECT_EQ(Store(3, 3), 0U);

    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(
            "0x800 CXmlFileStorageProviderBase_StoreAll: CXmlFileStorageProviderBase: Storing all...",
            "0x800 CXmlFileStorageProviderBase_ManageStore: Enter: CXmlFileStorageProviderBase_ManageStore for "
            "location "
            "id (3) and channel injector (3)",
            "0x800 CXmlFileStorageProviderBase_OpenFile: XML file slot1.xml opened for writing (for storage location "
            "3)",
            "0x800 CXmlFileStorageProviderBase_ManageStore: Region after channel removal: RfX",
            "0x800 CXmlFileStorageProviderBase_ManageStore: Processing region: RfX for channel injector = 3",
            "0x800 CXmlFileStorageProviderBase_StoreObject: Object after channel removal: O.ChannelX",
            "0x800 CXmlFileStorageProviderBase_StoreObject: Variable after channel removal: channel.X.a",
            "0x800 CXmlFileStorageProviderBase_StoreObject: Variable after channel removal: v",
            "0x800 CXmlFileStorageProviderBase_StoreObject: New nested object",
            "0x800 CXmlFileStorageProviderBase_StoreObject: Object after channel removal: Nrf3",
            "0x800 CXmlFileStorageProviderBase_StoreObject: Variable after channel removal: w",
            "0x800 CXmlFileStorageProviderBase_StoreObject: Object after channel removal: E",
            "0x800 CXmlFileStorageProviderBase_ManageStore: Region after channel removal: S",
            "0x800 CXmlFileStorageProviderBase_ManageStore: Processing region: S for channel injector = 3",
            "0x800 CXmlFileStorageProviderBase_CloseFile: fsync started for XML file, storage location 3",
            "0x800 CXmlFileStorageProviderBase_CloseFile: fsync completed for XML file, storage location 3",
            "0x800 CXmlFileStorageProviderBase_CloseFile: XML file closed for storage location 3",
            "0x800 CXmlFileStorageProviderBase_CloseFile: Failed to fsync file directory for storage location 3, could "
            "not open directory"));
}

TEST_F(XmlStore, StoreWithoutAnInjectorIsTracedWithoutTheNames) {
    Object().U8("a", 1).AddNested("N");

    EXPECT_EQ(Store(0, 0), 0U);

    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(
            "0x800 CXmlFileStorageProviderBase_StoreAll: CXmlFileStorageProviderBase: Storing all...",
            "0x800 CXmlFileStorageProviderBase_ManageStore: Enter: CXmlFileStorageProviderBase_ManageStore for "
            "location "
            "id (0) and channel injector (0)",
            "0x800 CXmlFileStorageProviderBase_OpenFile: XML file slot0.xml opened for writing (for storage location "
            "0)",
            "0x800 CXmlFileStorageProviderBase_ManageStore: Processing region: R for channel injector = 0",
            "0x800 CXmlFileStorageProviderBase_StoreObject: New nested object",
            "0x800 CXmlFileStorageProviderBase_CloseFile: fsync started for XML file, storage location 0",
            "0x800 CXmlFileStorageProviderBase_CloseFile: fsync completed for XML file, storage location 0",
            "0x800 CXmlFileStorageProviderBase_CloseFile: XML file closed for storage location 0",
            "0x800 CXmlFileStorageProviderBase_CloseFile: Failed to fsync file directory for storage location 0, could "
            "not open directory"));
}

TEST_F(XmlStore, EveryRecordNamesTheSourceFileOfTheProvider) {
    Object().U8("a", 1);
    Store(0, 3);
    for (const TraceRecord& record : traces_.Records()) {
        EXPECT_EQ(record.sourcePath, "src/Device/DeviceSupport/private/CXmlFileStorageProviderBase") << record.message;
    }
}

TEST_F(XmlStore, LocationIsTracedAsASigned32BitNumber) {
    Store(4294967295, 0);
    EXPECT_EQ(traces_.Lines()[1],
              "0x800 CXmlFileStorageProviderBase_ManageStore: Enter: CXmlFileStorageProviderBase_ManageStore for "
              "location id (-1) and channel injector (0)");
}

TEST_F(XmlStore, NothingIsTracedAboveTheThresholdAndTheStoreIsTheSame) {
    Object().U8("a", 1).Raw("b", 23, 1, Bytes({0}));
    traces_.SetThreshold(-1);

    EXPECT_EQ(StoredDocument(3), DocumentOfObject(One("a") + "\n<variable name = \"b\"></variable>"));

    EXPECT_THAT(traces_.Records(), IsEmpty());
}

// What is asked of the host.

TEST_F(XmlStore, VariablesOfAReadOnlyObjectAreNotAskedFor) {
    Object().ReadOnly().U8("a", 1);
    const HostCalls host;
    Store();
    EXPECT_THAT(host.Calls(),
                ElementsAre("CStorageRegion_GetName", "CStorageObject_GetName", "CStorageObject_IsWritable"));
}

TEST_F(XmlStore, NextVariableOfAnEmptyObjectIsNotAskedFor) {
    Object();
    const HostCalls host;
    Store();
    EXPECT_THAT(host.Calls(), ElementsAre("CStorageRegion_GetName", "CStorageObject_GetName",
                                          "CStorageObject_IsWritable", "CStorageObject_GetVariableIterator"));
}

TEST_F(XmlStore, OnlyVariableOfAnObjectIsAskedForOnce) {
    Object().U8("a", 1);
    const HostCalls host;
    Store();
    EXPECT_EQ(host.Count("CStorageObject_GetNextVariable"), 1);
}

TEST_F(XmlStore, RetrievalFunctionsAreNotAskedForAnything) {
    Object().U8("a", 1).U8Array("b", {1, 2});
    const HostCalls host;

    Store(0, 3);

    EXPECT_THAT(host.Calls(), Not(testing::Contains(testing::AnyOf(
                                  testing::StartsWith("CDatabase_"), testing::StartsWith("CList_"),
                                  testing::StartsWith("CVariable_SetRetrieved"), "CVariable_GetSizeInBytes"))));
}

// What the host cannot tell.

TEST_F(XmlStore, RegionWithoutANameEndsTheRegions) {
    database_.AddRegion("R").AddObject("O").U8("a", 1);
    database_.AddRegion("S").AddObject("P");
    database_.AddRegion("T");
    HostCalls host;
    host.Fail("CStorageRegion_GetName", 2, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject(One("a")));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_ManageStore: Could not get region name"));
}

TEST_F(XmlStore, FirstRegionWithoutANameLeavesTheFrame) {
    database_.AddRegion("R");
    HostCalls host;
    host.Fail("CStorageRegion_GetName", 1, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\">"
              "</storage>\n");
}

TEST_F(XmlStore, ObjectWithoutANameIsSkippedWithItsTags) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("N").U8("n", 1);
    region.AddObject("O").U8("a", 1);
    HostCalls host;
    host.Fail("CStorageObject_GetName", 1, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject(One("a")));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get object name",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, FailureOfAnObjectOutlivesTheRegionsAfterIt) {
    database_.AddRegion("R").AddObject("O");
    database_.AddRegion("S").AddObject("P");
    HostCalls host;
    host.Fail("CStorageObject_GetName", 1, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), Document("<region name = \"R\"></region>\n<region name = \"S\">"
                                                "<object name = \"P\">\n</object>\n</region>\n"));
}

TEST_F(XmlStore, RecordOfAFailedObjectHasTheCodeOfTheOpenAndItsCodeLine) {
    Object();
    HostCalls host;
    host.Fail("CStorageObject_GetName", 1, 0x8003);

    Store();

    for (const TraceRecord& record : traces_.Records()) {
        if (record.message == "Failed to store object") {
            EXPECT_EQ(record.codeLine, "      code: 0\n");
            return;
        }
    }
    FAIL() << "no such record";
}

TEST_F(XmlStore, ObjectWhoseIterationCannotStartStaysOpen) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("N").U8("n", 1);
    region.AddObject("O").U8("a", 1);
    HostCalls host;
    host.Fail("CStorageObject_GetVariableIterator", 1, 0x8abc);

    EXPECT_EQ(DocumentOfFailedStore(), Document("<region name = \"R\"><object name = \"N\"><object name = \"O\">" +
                                                One("a") + "\n</object>\n</region>\n"));

    EXPECT_THAT(Problems(), ElementsAre("0x8000 CXmlFileStorageProviderBase_StoreObject: "
                                        "Could not iterate variables, (QBFResult = 8abc)",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, VariableWithoutANameIsSkipped) {
    Object().U8("a", 1).U8("b", 1).U8("c", 1);
    HostCalls host;
    host.Fail("CVariable_GetName", 2, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject(One("a") + One("c")));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, NestedObjectWithoutContentIsSkipped) {
    Object().AddNested("N").U8("n", 1);
    Object().U8("a", 1);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject(One("a")));

    EXPECT_THAT(Problems(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_StoreObject: CVariable_GetContentAddress() failed",
                            "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, NestedObjectAtANullAddressIsSkipped) {
    Object().AddNested("N").U8("n", 1);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject(""));

    EXPECT_THAT(Problems(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_StoreObject: CVariable_GetContentAddress() failed",
                            "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, NestedObjectThatFailsFailsItsObjectAtTheEnd) {
    Object().AddNested("N").U8("n", 1).U8("o", 1);
    Object().U8("a", 1);
    HostCalls host;
    host.Fail("CVariable_GetName", 2, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(),
              DocumentOfObject("<object name = \"N\">" + One("o") + "\n</object>\n" + One("a")));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name",
                                        "0x8000 CXmlFileStorageProviderBase_StoreObject: Failed to store nested object",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, NestedObjectWithoutANameIsSkippedWithItsTags) {
    Object().AddNested("N").U8("n", 1);
    Object().U8("a", 1);
    HostCalls host;
    host.Fail("CStorageObject_GetName", 2, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject(One("a")));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get object name",
                                        "0x8000 CXmlFileStorageProviderBase_StoreObject: Failed to store nested object",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, NestedObjectWhoseIterationCannotStartStaysOpenInItsObject) {
    Object().AddNested("N").U8("n", 1);
    Object().U8("a", 1);
    HostCalls host;
    host.Fail("CStorageObject_GetVariableIterator", 2, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject("<object name = \"N\">" + One("a")));

    EXPECT_THAT(Problems(), ElementsAre("0x8000 CXmlFileStorageProviderBase_StoreObject: "
                                        "Could not iterate variables, (QBFResult = 8003)",
                                        "0x8000 CXmlFileStorageProviderBase_StoreObject: Failed to store nested object",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

/// Surprise: A variable without content leaves its object open in the document
TEST_F(XmlStore, VariableWithoutContentAbandonsItsObjectWithOpenTags) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("N").U8("a", 1).U8("b", 1).U8("c", 1);
    region.AddObject("O").U8("d", 1);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 2, 0x8abc);

    EXPECT_EQ(DocumentOfFailedStore(),
              Document("<region name = \"R\"><object name = \"N\">" + One("a") +
                       "\n<variable name = \"b\"><object name = \"O\">" + One("d") + "\n</object>\n</region>\n"));

    EXPECT_THAT(Problems(),
                ElementsAre("0x8abc CXmlFileStorageProviderBase_WriteVariable: Could not get content address",
                            "0x8000 CXmlFileStorageProviderBase_StoreObject: Could not write variable type",
                            "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, NestedObjectThatIsAbandonedDoesNotAbandonItsObject) {
    Object().AddNested("N").U8("n", 1).U8("o", 1);
    Object().U8("a", 1);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 2, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject("<object name = \"N\">\n<variable name = \"n\">" + One("a")));

    EXPECT_THAT(Problems(),
                ElementsAre("0x8003 CXmlFileStorageProviderBase_WriteVariable: Could not get content address",
                            "0x8000 CXmlFileStorageProviderBase_StoreObject: Could not write variable type",
                            "0x8000 CXmlFileStorageProviderBase_StoreObject: Failed to store nested object",
                            "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, ObjectIsAbandonedAlsoWhenAVariableBeforeHadNoName) {
    Object().U8("a", 1).U8("b", 1).U8("c", 1);
    HostCalls host;
    host.Fail("CVariable_GetName", 1, 0x8003);
    host.Fail("CVariable_GetContentAddress", 1, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(),
              Document("<region name = \"R\"><object name = \"O\">\n<variable name = \"b\"></region>\n"));
}

TEST_F(XmlStore, VariableAtANullAddressAbandonsItsObject) {
    Object().String("s", 8, "text");
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);

    EXPECT_EQ(DocumentOfFailedStore(),
              Document("<region name = \"R\"><object name = \"O\">\n<variable name = \"s\"></region>\n"));

    EXPECT_THAT(Problems(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_WriteVariable: Could not get content address",
                            "0x8000 CXmlFileStorageProviderBase_StoreObject: Could not write variable type",
                            "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, EmptyArrayNeedsNoContent) {
    Object().U32Array("v", {}).U8("a", 1);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);

    EXPECT_EQ(StoredDocument(), DocumentOfObject("\n<variable name = \"v\"><type>U32_ARRAY</type><size>0</size><array>"
                                                 "</array></variable>" +
                                                 One("a")));
}

TEST_F(XmlStore, EmptyObjectArrayNeedsNoContent) {
    Object().EmptyObjectArray("v");
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);

    EXPECT_EQ(StoredDocument(), DocumentOfObject("\n<variable name = \"v\"><type>OBJECT_ARRAY</type><size>0</size>"
                                                 "<array></array></variable>"));
}

TEST_F(XmlStore, EmptyArrayWhoseContentIsUnavailableAbandonsItsObjectLikeAnyOther) {
    Object().U32Array("v", {});
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(),
              Document("<region name = \"R\"><object name = \"O\">\n<variable name = \"v\"></region>\n"));
}

/// Surprise: A type code that is not defined does not fail the store
TEST_F(XmlStore, UndefinedTypeIsReportedAndNotAFailure) {
    Object().Raw("v", 23, 1, Bytes({0})).U8("a", 1);

    EXPECT_EQ(StoredDocument(), DocumentOfObject("\n<variable name = \"v\"></variable>" + One("a")));

    EXPECT_THAT(Problems(),
                ElementsAre("0x800b CXmlFileStorageProviderBase_WriteVariable: Unsupported variable type: 23"));
}

TEST_F(XmlStore, UndefinedTypeNeedsNoContent) {
    Object().Raw("v", 23, 1, Bytes({0}));
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);

    EXPECT_EQ(StoredDocument(), DocumentOfObject("\n<variable name = \"v\"></variable>"));
}

TEST_F(XmlStore, LargestUndefinedTypeIsTracedAsMinusOne) {
    Object().Raw("v", 0xFFFFFFFF, 1, Bytes({0}));

    Store();

    EXPECT_THAT(Problems(),
                ElementsAre("0x800b CXmlFileStorageProviderBase_WriteVariable: Unsupported variable type: -1"));
}

TEST_F(XmlStore, UndefinedTypeWhoseContentIsUnavailableAbandonsItsObjectLikeAnyOther) {
    Object().Raw("v", 23, 1, Bytes({0}));
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, 0x8003);

    Store();

    EXPECT_THAT(Problems(),
                ElementsAre("0x8003 CXmlFileStorageProviderBase_WriteVariable: Could not get content address",
                            "0x8000 CXmlFileStorageProviderBase_StoreObject: Could not write variable type",
                            "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, ElementWithoutANameLeavesItsObjectElementEmpty) {
    Object().AddToArray("v", "A").U8("a", 1);
    Object().AddToArray("v", "B").U8("b", 1);
    HostCalls host;
    host.Fail("CStorageObject_GetName", 2, 0x8003);

    EXPECT_EQ(StoredDocument(),
              DocumentOfObject("\n<variable name = \"v\"><type>OBJECT_ARRAY</type><size>2</size><array>"
                               "<objectElement></objectElement><objectElement><object name = \"B\">" +
                               One("b") + "\n</object>\n</objectElement></array></variable>"));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get object name"));
}

/// Surprise: A variable without content leaves its object open in the document
TEST_F(XmlStore, ElementThatIsAbandonedNeitherStopsTheArrayNorFailsItsParent) {
    Object().AddToArray("v", "A").U8("a", 1);
    Object().AddToArray("v", "B").U8("b", 1);
    Object().U8("c", 1);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 2, 0x8003);

    EXPECT_EQ(StoredDocument(),
              DocumentOfObject("\n<variable name = \"v\"><type>OBJECT_ARRAY</type><size>2</size><array><objectElement>"
                               "<object name = \"A\">\n<variable name = \"a\"></objectElement><objectElement>"
                               "<object name = \"B\">" +
                               One("b") + "\n</object>\n</objectElement></array></variable>" + One("c")));

    EXPECT_THAT(Problems(),
                ElementsAre("0x8003 CXmlFileStorageProviderBase_WriteVariable: Could not get content address",
                            "0x8000 CXmlFileStorageProviderBase_StoreObject: Could not write variable type"));
}

TEST_F(XmlStore, ElementWithAFailedVariableDoesNotFailItsParent) {
    Object().AddToArray("v", "A").U8("a", 1).U8("b", 1);
    HostCalls host;
    host.Fail("CVariable_GetName", 2, 0x8003);

    EXPECT_EQ(StoredDocument(),
              DocumentOfObject("\n<variable name = \"v\"><type>OBJECT_ARRAY</type><size>1</size><array><objectElement>"
                               "<object name = \"A\">" +
                               One("b") + "\n</object>\n</objectElement></array></variable>"));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name"));
}

// An iteration step that fails.

TEST_F(XmlStore, VariableThatComesWithAFailedStepIsWrittenAndEndsTheObject) {
    Object().U8("a", 1).U8("b", 1).U8("c", 1);
    HostCalls host;
    host.Override("CStorageObject_GetNextVariable", 2, 0x8003);

    EXPECT_EQ(StoredDocument(), DocumentOfObject(One("a") + One("b")));

    EXPECT_THAT(Problems(), IsEmpty());
}

TEST_F(XmlStore, FailedStepWithoutAVariableIsReportedAsAVariableWithoutAName) {
    Object().U8("a", 1).U8("b", 1).U8("c", 1);
    HostCalls host;
    host.Fail("CStorageObject_GetNextVariable", 2, 0x8003);

    EXPECT_EQ(DocumentOfFailedStore(), DocumentOfObject(One("a")));

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object"));
}

TEST_F(XmlStore, FailedStepWithoutAVariableAsksForNoName) {
    Object().U8("a", 1).U8("b", 1);
    HostCalls host;
    host.Fail("CStorageObject_GetNextVariable", 2, 0x8003);

    Store();

    EXPECT_EQ(host.Count("CVariable_GetName"), 1);
}

TEST_F(XmlStore, WarningsOfTheHostAreNoFailures) {
    Object().U8("a", 1).U8("b", 1).AddNested("N").U8("n", 1);
    HostCalls host;
    host.OverrideAll("CStorageRegion_GetName", 0x7FFF);
    host.OverrideAll("CStorageObject_GetName", 0x7FFF);
    host.OverrideAll("CStorageObject_GetVariableIterator", 0x7FFF);
    host.Override("CStorageObject_GetNextVariable", 1, 0x7FFF);
    host.OverrideAll("CVariable_GetName", 0x7FFF);
    host.OverrideAll("CVariable_GetContentAddress", 0x7FFF);

    EXPECT_EQ(StoredDocument(),
              DocumentOfObject(One("a") + One("b") + "<object name = \"N\">" + One("n") + "\n</object>\n"));

    EXPECT_THAT(Problems(), IsEmpty());
}

// Files.

TEST_F(XmlStore, FileThatCannotBeClosedIsReportedAfterAFailedObject) {
    Object().U8("a", 1);
    HostCalls host;
    host.Fail("CVariable_GetName", 1, 0x8003);
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);

    EXPECT_EQ(Store(), 0x8000U);

    EXPECT_THAT(Problems(), ElementsAre("0x8004 CXmlFileStorageProviderBase_StoreObject: Could not get variable name",
                                        "0 CXmlFileStorageProviderBase_ManageStore: Failed to store object",
                                        "0x8000 CXmlFileStorageProviderBase_CloseFile: "
                                        "Could not close storage file for storage location 0 (errno is: 5)",
                                        "0x8000 CXmlFileStorageProviderBase_ManageStore: Could not close storage "
                                        "file"));
}

TEST_F(XmlStore, FailedStoreIsFlushedSyncedAndClosedLikeAnyOther) {
    Object();
    HostCalls host;
    host.Fail("CStorageRegion_GetName", 1, 0x8003);
    const CLibraryFaults files;

    Store();

    EXPECT_THAT(files.Calls(), ElementsAre("fopen slot0.xml w+", "fwrite 72", "fflush", "fsync", "fclose", "fopen  r"));
    EXPECT_EQ(files.OpenStreams(), 0);
}

const std::string kWholeBuffer = "fwrite " + std::to_string(TAL_STREAM_BUFFER_SIZE);

TEST_F(XmlStore, DocumentLargerThanTheOutputBufferIsWrittenInPieces) {
    Object().String("v", TAL_STREAM_BUFFER_SIZE + 1, std::string(TAL_STREAM_BUFFER_SIZE, 'a'));
    const CLibraryFaults files;

    Store();

    EXPECT_THAT(files.Calls(),
                ElementsAre("fopen slot0.xml w+", kWholeBuffer, "fwrite 198", "fflush", "fsync", "fclose", "fopen  r"));
}

TEST_F(XmlStore, DocumentAsLongAsTheOutputBufferIsWrittenInOnePiece) {
    constexpr std::uint32_t kBuffer = TAL_STREAM_BUFFER_SIZE;
    Object().String("v", kBuffer);
    const std::string filling(kBuffer - StoredDocument().size(), 'a');
    database_.At("R/O/v").SetText(filling);
    const CLibraryFaults files;

    Store();

    EXPECT_THAT(files.Calls(),
                ElementsAre("fopen slot0.xml w+", kWholeBuffer, "fflush", "fsync", "fclose", "fopen  r"));
}

// Sweeps.

class XmlStoreFaults : public XmlStore {
protected:
    XmlStoreFaults() {
        Object().U8("a", 1).U16Array("b", {1, 2}).String("c", 8, "text").AddNested("N").Double("d", 0.5);
        database_.AddRegion("S").AddObject("P").ReadOnly();
        clean_ = StoredDocument(1);
    }

    std::string clean_;
};

TEST_F(XmlStoreFaults, EveryHostFailureFailsTheStoreAndTheNextOneIsWhole) {
    SweepFaults([this](int nth) {
        bool fired = false;
        {
            HostCalls host;
            host.Fail(nth, 0x8003);
            const QBFResult result = Store(0, 1);
            fired = host.Fired();
            EXPECT_EQ(result, fired ? 0x8000U : 0U) << host.FiredAt();
        }
        EXPECT_EQ(StoredDocument(1), clean_);
        return fired;
    });
}

TEST_F(XmlStoreFaults, OnlyOpeningAndClosingTheFileFailTheStoreAndTheNextOneIsWhole) {
    const int faults = SweepFaults([this](int nth) {
        bool fired = false;
        {
            CLibraryFaults files;
            files.Fail(nth, EIO);
            const QBFResult result = Store(0, 1);
            fired = files.Fired();
            // Of the two that are opened, the second is the directory.
            const bool isReported = files.FunctionName() == "fclose" || (files.FunctionName() == "fopen" && nth == 1);
            EXPECT_EQ(result, isReported ? 0x8000U : 0U) << files.FunctionName();
            EXPECT_EQ(files.OpenStreams(), 0);
        }
        EXPECT_EQ(StoredDocument(1), clean_);
        return fired;
    });
    EXPECT_EQ(faults, 6);
}

}  // namespace

}  // namespace tal::test
