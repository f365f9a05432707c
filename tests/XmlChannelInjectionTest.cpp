#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/HostCalls.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class XmlChannelInjection : public XmlFixture {
protected:
    /// @return the path with which the database is asked for the only variable of the document.
    std::string LookedUp(const std::string& region, const std::string& object, const std::string& variable,
                         unsigned long channelInjector) {
        HostCalls host;
        EXPECT_EQ(
            RetrieveFrom(Document(RegionElement(region, ObjectElement(object, Value(variable, "1")))), channelInjector),
            QBFResult{QBF_OK});
        const std::string function = "CDatabase_GetVariableByPath ";
        for (const std::string& call : host.Calls()) {
            if (call.rfind(function, 0) == 0) {
                return call.substr(function.size());
            }
        }
        return "";
    }

    std::string Region(const std::string& name, unsigned long channelInjector) {
        const std::string path = LookedUp(name, "O", "v", channelInjector);
        return path.substr(0, path.find('/'));
    }
    std::string Object(const std::string& name, unsigned long channelInjector) {
        const std::string path = LookedUp("R", name, "v", channelInjector);
        return path.substr(2, path.rfind('/') - 2);
    }
    std::string Variable(const std::string& name, unsigned long channelInjector) {
        return LookedUp("R", "O", name, channelInjector).substr(4);
    }
};

// ---- Without a channel

TEST_F(XmlChannelInjection, WithoutAChannelEveryNameIsTakenAsItStands) {
    EXPECT_EQ(LookedUp("Rf0", "a.Channel0Rf0", "channel.0.channel.X..Channel0Rf0", 0),
              "Rf0/a.Channel0Rf0/channel.0.channel.X..Channel0Rf0");
}

TEST_F(XmlChannelInjection, WithoutAChannelNothingIsTracedAboutIt) {
    EXPECT_EQ(LookedUp("Rf1", "O", "v", 0), "Rf1/O/v");
    EXPECT_THAT(traces_.Lines(), Each(Not(HasSubstr("after channel injection"))));
}

TEST_F(XmlChannelInjection, TheChannelOfOneRetrieveIsForgottenInTheNext) {
    EXPECT_EQ(Region("Rf1", 1), "RfX");
    EXPECT_EQ(Region("Rf1", 0), "Rf1");
}

// ---- Regions

TEST_F(XmlChannelInjection, TheNumberInARegionNameBecomesX) {
    EXPECT_EQ(Region("Rf3", 3), "RfX");
    EXPECT_EQ(Region("HDB_Rf3_end", 3), "HDB_RfX_end");
}

TEST_F(XmlChannelInjection, AnotherNumberInARegionNameStays) {
    EXPECT_EQ(Region("Rf3", 4), "Rf3");
    EXPECT_EQ(Region("rf3RF3R f3", 3), "rf3RF3R f3");
    EXPECT_EQ(Region("RfX", 3), "RfX");
}

TEST_F(XmlChannelInjection, OtherPatternsInARegionNameStay) {
    EXPECT_EQ(Region("a.Channel3.channel.3.b", 3), "a.Channel3.channel.3.b");
}

/// Surprise: `Rf1` is also found in `Rf12`
TEST_F(XmlChannelInjection, TheNumberInARegionNameNeedsNoEnd) {
    EXPECT_EQ(Region("xRf12y", 1), "xRfX2y");
}

TEST_F(XmlChannelInjection, OnlyTheFirstNumberInARegionNameIsReplaced) {
    EXPECT_EQ(Region("Rf3Rf3", 3), "RfXRf3");
}

TEST_F(XmlChannelInjection, ARegionNameThatIsRewrittenIsCutTo39Characters) {
    EXPECT_EQ(Region("Rf3" + std::string(36, 'x'), 3), "RfX" + std::string(36, 'x'));
    EXPECT_EQ(Region("Rf3" + std::string(37, 'x'), 3), "RfX" + std::string(36, 'x'));
    EXPECT_EQ(Region(std::string(100, 'x') + "Rf3", 3), std::string(39, 'x'));
}

TEST_F(XmlChannelInjection, ARegionNameThatIsNotRewrittenIsNotCut) {
    EXPECT_EQ(Region(std::string(100, 'x'), 3), std::string(100, 'x'));
}

// ---- Objects

TEST_F(XmlChannelInjection, TheNumbersInAnObjectNameBecomeX) {
    EXPECT_EQ(Object("a.Channel3", 3), "a.ChannelX");
    EXPECT_EQ(Object("Rf3", 3), "RfX");
    EXPECT_EQ(Object("Rf3.Channel3.b", 3), "RfX.ChannelX.b");
}

TEST_F(XmlChannelInjection, OnlyTheFirstNumberOfEachPatternInAnObjectNameIsReplaced) {
    EXPECT_EQ(Object(".Channel3.Channel3Rf3Rf3", 3), ".ChannelX.Channel3RfXRf3");
}

TEST_F(XmlChannelInjection, OtherPatternsInAnObjectNameStay) {
    EXPECT_EQ(Object("channel.3.b", 3), "channel.3.b");
    EXPECT_EQ(Object("Channel3.channel3", 3), "Channel3.channel3");
    EXPECT_EQ(Object("a.Channel4Rf4", 3), "a.Channel4Rf4");
}

TEST_F(XmlChannelInjection, AnObjectNameThatIsRewrittenIsCutTo119Characters) {
    EXPECT_EQ(Object("Rf3" + std::string(116, 'x'), 3), "RfX" + std::string(116, 'x'));
    EXPECT_EQ(Object("Rf3" + std::string(117, 'x'), 3), "RfX" + std::string(116, 'x'));
    EXPECT_EQ(Object(".Channel3" + std::string(200, 'x') + "Rf3", 3), ".ChannelX" + std::string(110, 'x'));
    EXPECT_EQ(Object(std::string(300, 'x') + "Rf3", 3), std::string(119, 'x'));
}

TEST_F(XmlChannelInjection, AnObjectNameThatIsNotRewrittenIsNotCut) {
    EXPECT_EQ(Object(std::string(200, 'x'), 3), std::string(200, 'x'));
}

TEST_F(XmlChannelInjection, NestedObjectsAreRewrittenOnEveryLevel) {
    HostCalls host;
    EXPECT_EQ(
        RetrieveFrom(Document(RegionElement("Rf2", ObjectElement("Rf2", ObjectElement("a.Channel2", Value("v", "1"))))),
                     2),
        QBFResult{QBF_OK});
    EXPECT_EQ(host.Count("CDatabase_GetVariableByPath RfX/RfX/a.ChannelX/v"), 1);
}

// ---- Variables

TEST_F(XmlChannelInjection, AVariableGetsTheNumberInItsChannelPart) {
    EXPECT_EQ(Variable("a.channel.X.b", 3), "a.channel.3.b");
}

TEST_F(XmlChannelInjection, AVariableKeepsTheNumberInItsChannelPart) {
    EXPECT_EQ(Variable("a.channel.3.b", 3), "a.channel.3.b");
}

TEST_F(XmlChannelInjection, TheOtherNumbersInAVariableNameBecomeX) {
    EXPECT_EQ(Variable("a.Channel3", 3), "a.ChannelX");
    EXPECT_EQ(Variable("aRf3", 3), "aRfX");
    EXPECT_EQ(Variable("a.channel.3.b.Channel3Rf3", 3), "a.channel.3.b.ChannelXRfX");
    EXPECT_EQ(Variable("a.channel.X.b.ChannelXRfX", 3), "a.channel.3.b.ChannelXRfX");
}

TEST_F(XmlChannelInjection, AnotherNumberInAVariableNameStays) {
    EXPECT_EQ(Variable("channel.4.Channel4Rf4", 3), "channel.4.Channel4Rf4");
    EXPECT_EQ(Variable("channel.33.b", 3), "channel.33.b");
    EXPECT_EQ(Variable("channel.x.b", 3), "channel.x.b");
}

TEST_F(XmlChannelInjection, OnlyTheFirstNumberOfEachPatternInAVariableNameIsReplaced) {
    EXPECT_EQ(Variable(".Channel3.Channel3Rf3Rf3", 3), ".ChannelX.Channel3RfXRf3");
}

// The first channel part is taken away and the first placeholder filled in, which need not be the same one.
TEST_F(XmlChannelInjection, OfTwoChannelPartsTheFirstPlaceholderGetsTheNumber) {
    EXPECT_EQ(Variable("channel.X.channel.3.b", 3), "channel.3.channel.X.b");
    EXPECT_EQ(Variable("channel.3.channel.X.b", 3), "channel.3.channel.X.b");
    EXPECT_EQ(Variable("channel.X.channel.X.b", 3), "channel.3.channel.X.b");
}

TEST_F(XmlChannelInjection, TheLargestChannelNumberIsReplaced) {
    EXPECT_EQ(Region("Rf4294967295", 4294967295UL), "RfX");
    EXPECT_EQ(Object("a.Channel4294967295", 4294967295UL), "a.ChannelX");
    EXPECT_EQ(Variable("channel.X.b", 4294967295UL), "channel.4294967295.b");
}

TEST_F(XmlChannelInjection, AVariableNameThatGrowsIsCutTo119Characters) {
    EXPECT_EQ(Variable("channel.X." + std::string(109, 'x'), 12345), "channel.12345." + std::string(105, 'x'));
    EXPECT_EQ(Variable(std::string(109, 'x') + "channel.X.", 12345), std::string(109, 'x') + "channel.12");
}

TEST_F(XmlChannelInjection, AVariableNameIsCutBeforeItIsLookedThrough) {
    EXPECT_EQ(Variable(std::string(117, 'x') + "Rf3", 3), std::string(117, 'x') + "Rf");
}

TEST_F(XmlChannelInjection, AnObjectArrayIsRewrittenLikeAnyOtherVariable) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.AddToArray("list.ChannelX", "E.ChannelX").U8("x", 9);
    EXPECT_EQ(
        RetrieveFrom(
            Document(RegionElement(
                "R", ObjectElement("O", ObjectArray("list.Channel2", {ObjectElement("E.Channel2", Value("x", "1"))})))),
            2),
        QBFResult{QBF_OK});
    EXPECT_TRUE(database_.At("R/O/list.ChannelX").Retrieved());
    EXPECT_EQ(database_.At("R/O/E.ChannelX/x").Get<std::uint8_t>(), 1);
}

// ---- Traces

TEST_F(XmlChannelInjection, EveryRewritingIsTraced) {
    EXPECT_EQ(LookedUp("Rf2", "a.Channel2", "channel.X.b", 2), "RfX/a.ChannelX/channel.2.b");
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(
            "0x800 CXmlFileStorageProviderBase_RetrieveAll: XmlFileStorageProviderBase: Retrieving all...",
            "0x800 CXmlFileStorageProviderBase_OpenFile: <<<<  Reading XML file slot0.xml (for storage location 0)",
            "0x800 CXmlFileStorageProviderBase_StartElement: Region after channel injection: RfX",
            "0x800 CXmlFileStorageProviderBase_StartElement: Processing region: RfX",
            "0x800 CXmlFileStorageProviderBase_StartElement: Object after channel injection: a.ChannelX",
            "0x800 CXmlFileStorageProviderBase_StartElement: Processing object: a.ChannelX with path RfX",
            "0x820 CXmlFileStorageProviderBase_StartElement: Processing variable: channel.X.b with path RfX/a.ChannelX",
            "0x820 CXmlFileStorageProviderBase_UpdateVariable: Variable after channel injection: channel.2.b",
            "0x820 CXmlFileStorageProviderBase_UpdateVariable: Variable path RfX/a.ChannelX/channel.2.b",
            "0x820 CXmlFileStorageProviderBase_UpdateVariable:     File slot0.xml contains variable that is not "
            "registered (RfX/a.ChannelX/channel.2.b)",
            "0x800 CXmlFileStorageProviderBase_ManageRetrieve: XML file closed for storage location 0"));
}

TEST_F(XmlChannelInjection, NamesThatStayAreTracedAsWell) {
    EXPECT_EQ(LookedUp("R", "O", "v", 2), "R/O/v");
    EXPECT_THAT(traces_.Lines(), testing::IsSupersetOf({HasSubstr("Region after channel injection: R"),
                                                        HasSubstr("Object after channel injection: O"),
                                                        HasSubstr("Variable after channel injection: v")}));
}

TEST_F(XmlChannelInjection, ElementsWithoutANameAreNotRewritten) {
    EXPECT_EQ(
        RetrieveFrom("<storage><region><object><variable><value>1</value></variable></object></region></storage>", 2),
        QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Lines(), Each(Not(HasSubstr("after channel injection"))));
}

// ---- Against the writer

TEST_F(XmlChannelInjection, ADocumentOfOneChannelIsRestoredIntoTheDatabaseOfAnother) {
    host::Object& object = database_.AddRegion("RfX").AddObject("Path.ChannelX");
    object.U8("gain.channel.5.dB", 1).U8("RfX", 2);
    EXPECT_EQ(
        RetrieveFrom(Document(RegionElement(
                         "RfX", ObjectElement("Path.ChannelX", Value("gain.channel.X.dB", "7") + Value("RfX", "8")))),
                     5),
        QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("RfX/Path.ChannelX/gain.channel.5.dB").Get<std::uint8_t>(), 7);
    EXPECT_EQ(database_.At("RfX/Path.ChannelX/RfX").Get<std::uint8_t>(), 8);
}

/// Surprise: With a channel injector, names with `Rf`n or `.Channel`n are stored with an X
TEST_F(XmlChannelInjection, WhatIsStoredForAChannelComesBackWhereTheDatabaseCarriesThePlaceholders) {
    host::Object& object = database_.AddRegion("RfX").AddObject("O.ChannelX");
    object.U8("a.channel.2.b.ChannelX", 7).AddNested("RfX").U32("c", 8);
    EXPECT_EQ(Store(0, 2), QBFResult{QBF_OK});
    const std::string document = ReadFile(kXmlFile);
    EXPECT_THAT(document, HasSubstr("\"a.channel.X.b.ChannelX\""));
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(0, 2), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("RfX/O.ChannelX/a.channel.2.b.ChannelX").Get<std::uint8_t>(), 7);
    EXPECT_EQ(database_.At("RfX/O.ChannelX/RfX/c").Get<std::uint32_t>(), 8U);
    EXPECT_TRUE(database_.At("RfX/O.ChannelX/a.channel.2.b.ChannelX").Retrieved());
}

/// Surprise: With a channel injector, names with `Rf`n or `.Channel`n are stored with an X
TEST_F(XmlChannelInjection, WhatIsStoredWithNumbersInRegionsIsNotFoundAgain) {
    database_.AddRegion("Rf2").AddObject("O").U8("a", 7);
    EXPECT_EQ(Store(0, 2), QBFResult{QBF_OK});
    EXPECT_EQ(Retrieve(0, 2), QBFResult{QBF_OK});
    EXPECT_FALSE(database_.At("Rf2/O/a").Retrieved());
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

}  // namespace

}  // namespace tal::test
