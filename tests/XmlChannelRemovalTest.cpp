#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>

#include "support/XmlFixture.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string DocumentWithChannels(const std::string& region, const std::string& object, const std::string& variable) {
    return kDocumentStart + ("<region name = \"" + region) + "\"><object name = \"" + object +
           "\">\n<variable name = \"" + variable + "\"><type>U8</type><value>0</value></variable>\n</object>\n" +
           "</region>\n" + kDocumentEnd;
}

class XmlChannelRemoval : public XmlFixture {
protected:
    void Add(const std::string& region, const std::string& object, const std::string& variable) {
        database_.AddRegion(region).AddObject(object).U8(variable);
    }

    std::vector<std::string> StoredLinesWith(unsigned long injector, const std::string& text) {
        Store(0, injector);
        std::vector<std::string> lines;
        for (const std::string& line : traces_.Lines()) {
            if (line.find(text) != std::string::npos) {
                lines.push_back(line);
            }
        }
        return lines;
    }
};

// What becomes of one name.

enum class Kind { Region, Object, Variable };

struct Removal {
    const char* situation;
    Kind kind;
    unsigned long injector;
    std::string name;
    std::string written;
};

void PrintTo(const Removal& removal, std::ostream* out) {
    *out << removal.situation;
}

class XmlChannelRemovals : public XmlChannelRemoval, public testing::WithParamInterface<Removal> {};

TEST_P(XmlChannelRemovals, WriteTheName) {
    const Removal& removal = GetParam();
    const auto nameOf = [&removal](Kind kind, const std::string& name) {
        return removal.kind == kind ? name : std::string("x");
    };
    Add(nameOf(Kind::Region, removal.name), nameOf(Kind::Object, removal.name), nameOf(Kind::Variable, removal.name));

    EXPECT_EQ(StoredDocument(removal.injector),
              DocumentWithChannels(nameOf(Kind::Region, removal.written), nameOf(Kind::Object, removal.written),
                                   nameOf(Kind::Variable, removal.written)));
}

std::string Times(std::size_t count, char character) {
    return std::string(count, character);
}

INSTANTIATE_TEST_SUITE_P(
    OfRegions, XmlChannelRemovals,
    testing::Values(Removal{"Plain", Kind::Region, 3, "Rf3", "RfX"},
                    Removal{"AtTheStart", Kind::Region, 3, "Rf3Board", "RfXBoard"},
                    Removal{"InTheMiddle", Kind::Region, 3, "MyRf3Board", "MyRfXBoard"},
                    Removal{"AtTheEnd", Kind::Region, 3, "BoardRf3", "BoardRfX"},
                    Removal{"DoesNotRespectDigitBoundaries", Kind::Region, 1, "xRf12y", "xRfX2y"},
                    Removal{"OfTheFirstOccurrenceOnly", Kind::Region, 3, "Rf3Rf3", "RfXRf3"},
                    Removal{"OfSeveralDigits", Kind::Region, 12, "aRf12b", "aRfXb"},
                    Removal{"NotOfAnotherChannel", Kind::Region, 3, "Rf4", "Rf4"},
                    Removal{"NotOfItsFirstDigitAlone", Kind::Region, 12, "Rf1", "Rf1"},
                    Removal{"IsCaseSensitive", Kind::Region, 3, "rf3RF3", "rf3RF3"},
                    Removal{"NotWithoutAnInjector", Kind::Region, 0, "Rf0", "Rf0"},
                    Removal{"LeavesObjectPatterns", Kind::Region, 3, "a.Channel3b", "a.Channel3b"},
                    Removal{"LeavesVariablePatterns", Kind::Region, 3, "channel.3.b", "channel.3.b"},
                    Removal{"OfTheLargestChannel", Kind::Region, 4294967295, "Rf4294967295", "RfX"},
                    Removal{"WithALeadingZeroDoesNotMatch", Kind::Region, 3, "Rf03", "Rf03"},
                    Removal{"NameWithoutAnInjectorIsCut", Kind::Region, 0, Times(39, 'r') + "CutOff", Times(39, 'r')},
                    Removal{"NameWithAnInjectorIsCut", Kind::Region, 3, Times(39, 'r') + "CutOff", Times(39, 'r')},
                    Removal{"NameOf39CharactersIsKept", Kind::Region, 3, Times(36, 'r') + "Rf3",
                            Times(36, 'r') + "RfX"},
                    Removal{"NameIsCutFirst", Kind::Region, 3, Times(37, 'r') + "Rf3", Times(37, 'r') + "Rf"},
                    Removal{"ShortenedNameGetsNothingBackOfWhatWasCut", Kind::Region, 123,
                            "Rf123" + Times(34, 'r') + "CutOff", "RfX" + Times(34, 'r')},
                    Removal{"OfAnEmptyName", Kind::Region, 3, "", ""}),
    testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    OfObjects, XmlChannelRemovals,
    testing::Values(
        Removal{"UpperCasePattern", Kind::Object, 3, "a.Channel3", "a.ChannelX"},
        Removal{"RadioPattern", Kind::Object, 3, "aRf3b", "aRfXb"},
        Removal{"BothPatterns", Kind::Object, 3, "Rf3.Channel3", "RfX.ChannelX"},
        Removal{"LeavesLowerCasePattern", Kind::Object, 3, "a.channel.3.b", "a.channel.3.b"},
        Removal{"NeedsTheDot", Kind::Object, 3, "Channel3", "Channel3"},
        Removal{"OfTheFirstUpperCasePatternOnly", Kind::Object, 3, ".Channel3.Channel3", ".ChannelX.Channel3"},
        Removal{"OfTheFirstRadioPatternOnly", Kind::Object, 3, "Rf3Rf3", "RfXRf3"},
        Removal{"DoesNotRespectDigitBoundaries", Kind::Object, 1, ".Channel12", ".ChannelX2"},
        Removal{"NotWithoutAnInjector", Kind::Object, 0, ".Channel0Rf0", ".Channel0Rf0"},
        Removal{"OfTheLargestChannel", Kind::Object, 4294967295, ".Channel4294967295", ".ChannelX"},
        Removal{"NameWithoutAnInjectorIsCut", Kind::Object, 0, Times(119, 'o') + "CutOff", Times(119, 'o')},
        Removal{"NameWithAnInjectorIsCut", Kind::Object, 3, Times(119, 'o') + "CutOff", Times(119, 'o')},
        Removal{"NameOf119CharactersIsKept", Kind::Object, 3, Times(110, 'o') + ".Channel3",
                Times(110, 'o') + ".ChannelX"},
        Removal{"NameIsCutFirst", Kind::Object, 3, Times(111, 'o') + ".Channel3", Times(111, 'o') + ".Channel"}),
    testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    OfVariables, XmlChannelRemovals,
    testing::Values(
        Removal{"AllThreePatterns", Kind::Variable, 3, "a.channel.3.b.Channel3Rf3", "a.channel.X.b.ChannelXRfX"},
        Removal{"PatternsThatShareADot", Kind::Variable, 3, "channel.3.Channel3", "channel.X.ChannelX"},
        Removal{"LowerCasePattern", Kind::Variable, 3, "channel.3.gain", "channel.X.gain"},
        Removal{"UpperCasePattern", Kind::Variable, 3, "gain.Channel3", "gain.ChannelX"},
        Removal{"RadioPattern", Kind::Variable, 3, "gainRf3", "gainRfX"},
        Removal{"LowerCasePatternNeedsItsDot", Kind::Variable, 3, "channel.3", "channel.3"},
        Removal{"LowerCasePatternRespectsDigitBoundaries", Kind::Variable, 1, "channel.12.gain", "channel.12.gain"},
        Removal{"OfTheFirstOccurrencesOnly", Kind::Variable, 3, "channel.3.channel.3..Channel3.Channel3Rf3Rf3",
                "channel.X.channel.3..ChannelX.Channel3RfXRf3"},
        Removal{"NotOfOtherChannels", Kind::Variable, 3, "channel.4..Channel4Rf4", "channel.4..Channel4Rf4"},
        Removal{"NotWithoutAnInjector", Kind::Variable, 0, "channel.0..Channel0Rf0", "channel.0..Channel0Rf0"},
        Removal{"OfTheLargestChannel", Kind::Variable, 4294967295, "channel.4294967295.Rf4294967295", "channel.X.RfX"},
        Removal{"OfTheLargestChannelInTheLongestName", Kind::Variable, 4294967295, Times(106, 'v') + "Rf4294967295v",
                Times(106, 'v') + "RfXv"},
        Removal{"NameWithoutAnInjectorIsCut", Kind::Variable, 0, Times(119, 'v') + "CutOff", Times(119, 'v')},
        Removal{"NameWithAnInjectorIsCut", Kind::Variable, 3, Times(119, 'v') + "CutOff", Times(119, 'v')},
        Removal{"NameOf119CharactersIsKept", Kind::Variable, 3, Times(109, 'v') + "channel.3.",
                Times(109, 'v') + "channel.X."},
        Removal{"NameIsCutFirst", Kind::Variable, 3, Times(110, 'v') + "channel.3.", Times(110, 'v') + "channel.3"},
        Removal{"OfAnEmptyName", Kind::Variable, 3, "", ""}),
    testing::PrintToStringParamName());

// What is renamed, and what is not.

TEST_F(XmlChannelRemoval, PatternsOfAnObjectMayStandInAnyOrder) {
    Add("r", "Rf3.Channel3", "v");
    EXPECT_THAT(StoredLinesWith(3, "Object after"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_StoreObject: Object after channel removal: "
                            "RfX.ChannelX"));
}

TEST_F(XmlChannelRemoval, NestedObjectsAndElementsAreObjectsToo) {
    auto& object = database_.AddRegion("r").AddObject("o");
    object.AddNested("n", "n.Channel3").U8("v");
    object.AddToArray("aRf3", "e.Channel3").U8("vRf3");

    EXPECT_EQ(StoredDocument(3),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"><region name = \"r\">"
              "<object name = \"o\"><object name = \"n.ChannelX\">\n"
              "<variable name = \"v\"><type>U8</type><value>0</value></variable>\n"
              "</object>\n"
              "\n"
              "<variable name = \"aRfX\"><type>OBJECT_ARRAY</type><size>1</size><array><objectElement>"
              "<object name = \"e.ChannelX\">\n"
              "<variable name = \"vRfX\"><type>U8</type><value>0</value></variable>\n"
              "</object>\n"
              "</objectElement></array></variable>\n"
              "</object>\n"
              "</region>\n"
              "</storage>\n");
}

TEST_F(XmlChannelRemoval, ValuesAreLeftAlone) {
    database_.AddRegion("r").AddObject("o").String("v", 64, "Rf3.Channel3channel.3.");
    EXPECT_THAT(StoredDocument(3), HasSubstr("<value>Rf3.Channel3channel.3.</value>"));
}

/// Promise 17
TEST_F(XmlChannelRemoval, NamesOfTheHostAreNotWrittenTo) {
    Add("Rf3", "o.Channel3", "channel.3.Rf3");

    Store(0, 3);

    EXPECT_EQ(database_.Regions()[0]->Name(), "Rf3");
    EXPECT_EQ(database_.Regions()[0]->Objects()[0]->Name(), "o.Channel3");
    EXPECT_EQ(database_.Regions()[0]->Objects()[0]->Variables()[0]->Name(), "channel.3.Rf3");
}

TEST_F(XmlChannelRemoval, DocumentsOfTwoChannelsDifferOnlyWhereTheirPatternsAre) {
    Add("rRf1Rf2", "o.Channel2", "v");

    EXPECT_EQ(StoredDocument(1), DocumentWithChannels("rRfXRf2", "o.Channel2", "v"));
    EXPECT_EQ(StoredDocument(2), DocumentWithChannels("rRf1RfX", "o.ChannelX", "v"));
}

TEST_F(XmlChannelRemoval, InjectorIsThatOfTheCallAlone) {
    Add("Rf1", "o", "v");
    Store(0, 1);

    EXPECT_EQ(StoredDocument(0), DocumentWithChannels("Rf1", "o", "v"));
}

// Traces.

TEST_F(XmlChannelRemoval, EveryNameIsTracedAfterIt) {
    Add("Rf3", "o.Channel3", "channel.3.v");
    EXPECT_THAT(StoredLinesWith(3, "after channel removal"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageStore: Region after channel removal: RfX",
                            "0x800 CXmlFileStorageProviderBase_StoreObject: Object after channel removal: o.ChannelX",
                            "0x800 CXmlFileStorageProviderBase_StoreObject: Variable after channel removal: "
                            "channel.X.v"));
}

TEST_F(XmlChannelRemoval, NamesWithoutAPatternAreTracedToo) {
    Add("r", "o", "v");
    EXPECT_THAT(StoredLinesWith(3, "after channel removal"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageStore: Region after channel removal: r",
                            "0x800 CXmlFileStorageProviderBase_StoreObject: Object after channel removal: o",
                            "0x800 CXmlFileStorageProviderBase_StoreObject: Variable after channel removal: v"));
}

TEST_F(XmlChannelRemoval, NothingIsTracedWithoutAnInjector) {
    Add("Rf0", "o.Channel0", "channel.0.v");
    EXPECT_THAT(StoredLinesWith(0, "after channel removal"), IsEmpty());
}

TEST_F(XmlChannelRemoval, RegionIsTracedWithItsNewNameAndTheInjector) {
    Add("Rf3", "o", "v");
    EXPECT_THAT(StoredLinesWith(3, "Processing region"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageStore: "
                            "Processing region: RfX for channel injector = 3"));
}

TEST_F(XmlChannelRemoval, RegionIsTracedWithoutAnInjectorToo) {
    Add("Rf3", "o", "v");
    EXPECT_THAT(StoredLinesWith(0, "Processing region"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageStore: "
                            "Processing region: Rf3 for channel injector = 0"));
}

// A record shows the channel signed, as the board's 32-bit words do; the pattern has it unsigned.

TEST_F(XmlChannelRemoval, LargestChannelIsTracedAsMinusOne) {
    Add("Rf4294967295", "o", "v");

    Store(0, 4294967295);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_ManageStore"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageStore: "
                            "Enter: CXmlFileStorageProviderBase_ManageStore for location id (0) and channel injector "
                            "(-1)",
                            "0x800 CXmlFileStorageProviderBase_ManageStore: Region after channel removal: RfX",
                            "0x800 CXmlFileStorageProviderBase_ManageStore: "
                            "Processing region: RfX for channel injector = -1"));
}

TEST_F(XmlChannelRemoval, LargestSignedChannelIsTracedAsItIs) {
    Add("r", "o", "v");
    EXPECT_THAT(StoredLinesWith(2147483647, "Processing region"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageStore: "
                            "Processing region: r for channel injector = 2147483647"));
}

TEST_F(XmlChannelRemoval, ChannelBeyondTheSignedOnesIsTracedAsANegativeOne) {
    Add("Rf2147483648", "o", "v");
    EXPECT_THAT(StoredLinesWith(2147483648, "Processing region"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageStore: "
                            "Processing region: RfX for channel injector = -2147483648"));
}

}  // namespace

}  // namespace tal::test
