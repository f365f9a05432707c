#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "support/AllocationFaults.h"
#include "support/HostCalls.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr QBFResult kHostFailure = 0x8003;

class XmlRetrieveStructure : public XmlReaderFixture {
protected:
    [[nodiscard]] int U8At(std::string_view path) { return database_.At(path).Get<std::uint8_t>(); }

    [[nodiscard]] bool WasRetrieved(std::string_view path) { return database_.At(path).Retrieved(); }
};

/// `levels` objects "L1", "L2", ... inside one another, with a variable "v" in each.
std::string NestedObjects(int levels, int level = 1) {
    if (level > levels) {
        return "";
    }
    return ObjectElement("L" + std::to_string(level),
                         Value("v", std::to_string(level)) + NestedObjects(levels, level + 1));
}

// ---- Regions and objects

TEST_F(XmlRetrieveStructure, VariablesAreFoundByRegionObjectAndName) {
    database_.AddRegion("A").AddObject("B").U8("c");
    database_.AddRegion("D").AddObject("E").U8("c");
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("A", ObjectElement("B", Value("c", "1"))) +
                                    RegionElement("D", ObjectElement("E", Value("c", "2"))))),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("A/B/c"), 1);
    EXPECT_EQ(U8At("D/E/c"), 2);
}

TEST_F(XmlRetrieveStructure, SiblingObjectsFollowOneAnother) {
    host::Region& region = database_.AddRegion("A");
    region.AddObject("B").U8("c");
    region.AddObject("D").U8("c");
    EXPECT_EQ(RetrieveFrom(Document(
                  RegionElement("A", ObjectElement("B", Value("c", "1")) + ObjectElement("D", Value("c", "2"))))),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("A/B/c"), 1);
    EXPECT_EQ(U8At("A/D/c"), 2);
}

TEST_F(XmlRetrieveStructure, VariablesAfterANestedObjectBelongToItsParent) {
    object_.U8("a").AddNested("N").U8("b");
    EXPECT_EQ(RetrieveVariables(ObjectElement("N", Value("b", "1")) + Value("a", "2")), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/N/b"), 1);
    EXPECT_EQ(U8At("R/O/a"), 2);
}

TEST_F(XmlRetrieveStructure, ARegionAndAnObjectMayComeBackLater) {
    object_.U8("a").U8("b");
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("R", ObjectElement("O", Value("a", "1"))) + RegionElement("X", "") +
                                    RegionElement("R", ObjectElement("O", Value("b", "2"))))),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
    EXPECT_EQ(U8At("R/O/b"), 2);
}

TEST_F(XmlRetrieveStructure, AVariableDirectlyInARegionHasThePathOfTheRegion) {
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("R", Value("a", "1")))), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_UpdateVariable").front(),
                HasSubstr(": Variable path R/a"));
}

TEST_F(XmlRetrieveStructure, EmptyNamesArePartsOfPathsLikeAnyOthers) {
    database_.AddRegion("").AddObject("").U8("", 3);
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("", ObjectElement("", Value("", "1"))))), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("//"), 1);
}

TEST_F(XmlRetrieveStructure, UnknownElementsAreIgnoredAndWhatTheyHoldIsRead) {
    object_.U8("a").U8("b");
    EXPECT_EQ(RetrieveFrom("<other><region name=\"R\"><group><object name=\"O\"><note>text</note>"
                           "<group name=\"x\"><variable name=\"a\"><value>1</value></variable></group>"
                           "<variable name=\"b\"><x><value>2</value></x></variable></object></group></region></other>"),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
    EXPECT_EQ(U8At("R/O/b"), 2);
}

TEST_F(XmlRetrieveStructure, CommentsInstructionsAndMarkedSectionsDoNotDisturb) {
    object_.U8("a").String("s", 8);
    EXPECT_EQ(RetrieveVariables("<!-- <variable name=\"a\"><value>9</value></variable> --><?x y?>" + Value("a", "1") +
                                Value("s", "<![CDATA[<b>]]>")),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
    EXPECT_EQ(At("s").Text(), "<b>");
}

TEST_F(XmlRetrieveStructure, OtherAttributesAreIgnored) {
    object_.U8("a");
    EXPECT_EQ(RetrieveFrom("<storage><region x=\"1\" name=\"R\" y=\"2\"><object Name=\"X\" name=\"O\" nam=\"Y\">"
                           "<variable names=\"Z\" name='a'><value>1</value></variable></object></region></storage>"),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
}

TEST_F(XmlRetrieveStructure, NamesMayBeWrittenWithEntities) {
    database_.AddRegion("<&>").AddObject("\"'").U8("\xC3\xA4");
    EXPECT_EQ(RetrieveFrom("<storage><region name=\"&lt;&amp;&gt;\"><object name=\"&quot;&apos;\">"
                           "<variable name=\"&#xE4;\"><value>1</value></variable></object></region></storage>"),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("<&>/\"'/\xC3\xA4"), 1);
}

TEST_F(XmlRetrieveStructure, ALatin1DocumentIsReadAsUtf8) {
    object_.String("s", 8);
    EXPECT_EQ(
        RetrieveFrom("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><storage><region name=\"R\"><object "
                     "name=\"O\"><variable name=\"s\"><value>\xE4</value></variable></object></region></storage>"),
        QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "\xC3\xA4");
}

// Only a region takes the reader back to the top, not a new document.
TEST_F(XmlRetrieveStructure, ADocumentWithoutARegionGoesOnWhereTheOneBeforeItEnded) {
    object_.U8("a", 9).AddNested("N").U8("b", 9);
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("R", ""))), QBFResult{QBF_OK});
    EXPECT_EQ(RetrieveFrom(ObjectElement("O", Value("a", "1"))), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
    EXPECT_EQ(RetrieveFrom("<storage><region name=\"R\"><object name=\"O\">"), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(RetrieveFrom(ObjectElement("N", Value("b", "2"))), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/N/b"), 2);
}

// ---- Nesting

TEST_F(XmlRetrieveStructure, FiveObjectsInsideOneAnotherAreRestored) {
    host::Object& deepest = database_.AddRegion("A")
                                .AddObject("L1")
                                .U8("v")
                                .AddNested("L2")
                                .U8("v")
                                .AddNested("L3")
                                .U8("v")
                                .AddNested("L4")
                                .U8("v")
                                .AddNested("L5")
                                .U8("v");
    ASSERT_EQ(deepest.Path(), "A/L1/L2/L3/L4/L5");
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("A", NestedObjects(5)))), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("A/L1/v"), 1);
    EXPECT_EQ(U8At("A/L1/L2/L3/L4/v"), 4);
    EXPECT_EQ(U8At("A/L1/L2/L3/L4/L5/v"), 5);
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_F(XmlRetrieveStructure, ASixthObjectInsideIsReportedAndNotRestored) {
    database_.AddRegion("A")
        .AddObject("L1")
        .AddNested("L2")
        .AddNested("L3")
        .AddNested("L4")
        .AddNested("L5")
        .U8("v", 50)
        .AddNested("L6")
        .U8("v", 60);
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("A", NestedObjects(6)))), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(U8At("A/L1/L2/L3/L4/L5/v"), 5);
    EXPECT_EQ(U8At("A/L1/L2/L3/L4/L5/L6/v"), 60);
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre("0x8000 CXmlFileStorageProviderBase_StartElement: Variable v is nested too deep: inside 6 objects, "
                    "at most 5 are supported",
                    "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during variable retrieval",
                    "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieveStructure, ObjectsNestedTooDeepWithoutVariablesAreNoError) {
    EXPECT_EQ(
        RetrieveFrom(Document(RegionElement(
            "A",
            ObjectElement(
                "1", ObjectElement(
                         "2", ObjectElement(
                                  "3", ObjectElement(
                                           "4", ObjectElement("5", ObjectElement("6", ObjectElement("7", "")))))))))),
        QBFResult{QBF_OK});
}

TEST_F(XmlRetrieveStructure, AThousandObjectsInsideOneAnotherAreCountedUpAndDownAgain) {
    object_.U8("a");
    database_.AddRegion("A").AddObject("B").U8("c");
    std::string nested;
    for (int i = 0; i < 1000; ++i) {
        nested += "<object name=\"n\">";
    }
    nested += Value("v", "1");
    for (int i = 0; i < 1000; ++i) {
        nested += "</object>";
    }
    AllocationFaults memory;
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("R", ObjectElement("O", nested + Value("a", "1"))) +
                                    RegionElement("A", ObjectElement("B", Value("c", "2"))))),
              QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("inside 1001 objects, at most 5 are supported"));
    EXPECT_EQ(U8At("R/O/a"), 1);
    EXPECT_EQ(U8At("A/B/c"), 2);
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_TRUE(database_.GuardsIntact());
}

TEST_F(XmlRetrieveStructure, ArraysAndObjectArraysNestedTooDeepAreReportedAndLeaveNothing) {
    std::string nested = Array("x", {"1", "2"}) + ObjectArray("y", {ObjectElement("e", Array("z", {"3"}))});
    for (int i = 6; i > 0; --i) {
        nested = ObjectElement("n", nested);
    }
    AllocationFaults memory;
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("A", nested))), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf(QBF_E_FAILED), ElementsAre(HasSubstr("Variable x is nested too deep: inside 6 objects"),
                                                           HasSubstr("Variable y is nested too deep: inside 6 objects"),
                                                           HasSubstr("Variable z is nested too deep: inside 7 objects"),
                                                           HasSubstr("Error(s) during variable retrieval"),
                                                           HasSubstr("Error when calling ManageRetrieve")));
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlRetrieveStructure, AnObjectArrayOnTheLastLevelIsMarkedUnlessItsMembersAreVariables) {
    host::Object& last =
        database_.AddRegion("A").AddObject("L1").AddNested("L2").AddNested("L3").AddNested("L4").AddNested("L5");
    last.AddToArray("empty", "E");
    last.U8("after", 9);
    std::string nested = ObjectArray("empty", {ObjectElement("E", "")}) + Value("after", "1");
    for (int level = 5; level > 0; --level) {
        nested = ObjectElement("L" + std::to_string(level), nested);
    }
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("A", nested))), QBFResult{QBF_OK});
    EXPECT_TRUE(WasRetrieved("A/L1/L2/L3/L4/L5/empty"));
    EXPECT_EQ(U8At("A/L1/L2/L3/L4/L5/after"), 1);
}

TEST_F(XmlRetrieveStructure, SurplusObjectEndsCannotBeWritten) {
    EXPECT_EQ(RetrieveFrom("<storage><region name=\"R\"></object></region></storage>"), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("mismatched tag"));
}

TEST_F(XmlRetrieveStructure, ARegionInsideAnObjectStartsAtTheTopAgain) {
    database_.AddRegion("A").AddObject("B").U8("c");
    object_.U8("a");
    EXPECT_EQ(RetrieveFrom(Document(RegionElement(
                               "R", ObjectElement("O", RegionElement("A", ObjectElement("B", Value("c", "1")))))) +
                           ""),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("A/B/c"), 1);
}

TEST_F(XmlRetrieveStructure, ObjectEndsAfterARegionInsideAnObjectDoNotGoBelowTheRegion) {
    database_.AddRegion("A").AddObject("B").U8("c");
    const std::string inner = RegionElement("A", "");
    EXPECT_EQ(
        RetrieveFrom(Document(RegionElement("R", ObjectElement("1", ObjectElement("2", ObjectElement("3", inner))) +
                                                     ObjectElement("B", Value("c", "1"))))),
        QBFResult{QBF_OK});
    EXPECT_EQ(U8At("A/B/c"), 1);
    EXPECT_TRUE(database_.GuardsIntact());
}

TEST_F(XmlRetrieveStructure, ObjectsInsideARegionThatIsNestedTooDeepAreRestored) {
    database_.AddRegion("A").AddObject("B").U8("c");
    std::string nested = RegionElement("A", ObjectElement("B", Value("c", "1")));
    for (int i = 0; i < 20; ++i) {
        nested = ObjectElement("n", nested);
    }
    EXPECT_EQ(RetrieveFrom(Document(RegionElement("R", nested))), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("A/B/c"), 1);
}

// ---- Attributes

TEST_F(XmlRetrieveStructure, AnAttributeWhoseValueIsNameIsNoName) {
    object_.U8("a");
    EXPECT_EQ(RetrieveFrom(Document("<region kind=\"name\" name=\"R\"><object kind=\"name\" name=\"O\">"
                                    "<variable kind=\"name\" name=\"a\"><value>7</value></variable>"
                                    "</object></region>")),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 7);
}

// ---- Elements without a name

TEST_F(XmlRetrieveStructure, NothingBeneathARegionWithoutANameIsRestored) {
    object_.U8("a", 9).AddNested("N").U8("b", 8);
    EXPECT_EQ(
        RetrieveFrom(Document(RegionElement("R", "") + "<region>" +
                              ObjectElement("O", Value("a", "1") + ObjectElement("N", Value("b", "2"))) + "</region>")),
        QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 9);
    EXPECT_EQ(U8At("R/O/N/b"), 8);
    EXPECT_THAT(traces_.Failures(), ElementsAre("0x800e CXmlFileStorageProviderBase_GetAttribute: Can't find XML "
                                                "attribute with name name"));
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_StartElement"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_StartElement: Processing region: R"));
}

TEST_F(XmlRetrieveStructure, NothingBeneathAnObjectWithoutANameIsRestored) {
    object_.U8("a", 9).AddNested("N").U8("b", 8);
    database_.AddRegion("S").AddObject("O").U8("a", 7);
    EXPECT_EQ(
        RetrieveFrom(Document(RegionElement("R", ObjectElement("O", "") + "<object>" + Value("a", "1") +
                                                     ObjectElement("N", Value("b", "2")) + "</object>" +
                                                     ObjectElement("O", "<object>" + Value("b", "3") + "</object>")) +
                              RegionElement("S", ObjectElement("O", Value("a", "4"))))),
        QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 9);
    EXPECT_EQ(U8At("R/O/N/b"), 8);
    EXPECT_EQ(U8At("S/O/a"), 4);
    EXPECT_THAT(traces_.Failures(), ElementsAre(HasSubstr("Can't find XML attribute with name name"),
                                                HasSubstr("Can't find XML attribute with name name")));
}

TEST_F(XmlRetrieveStructure, AVariableWithoutANameIsSkippedAndItsSiblingsAreRestored) {
    object_.U8("a", 9).U8("b", 8);
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Value("a", "1") + "<variable><value>2</value></variable>" + Value("b", "3")),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
    EXPECT_EQ(U8At("R/O/b"), 3);
    EXPECT_EQ(host.Count("CDatabase_GetVariableByPath"), 2);
    EXPECT_THAT(traces_.Failures(), ElementsAre("0x800e CXmlFileStorageProviderBase_GetAttribute: Can't find XML "
                                                "attribute with name name"));
}

TEST_F(XmlRetrieveStructure, AnArrayWithoutANameLeavesNothing) {
    object_.U8Array("b", {8, 8});
    AllocationFaults memory;
    EXPECT_EQ(RetrieveVariables("<variable><array><element>1</element><element>2</element></array></variable>" +
                                Array("b", {"3"})),
              QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(3, 8));
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlRetrieveStructure, TheNamesOfTheRootAndOfOtherElementsAreNotNeeded) {
    object_.U8("a");
    EXPECT_EQ(RetrieveFrom("<storage><region name=\"R\"><object name=\"O\"><variable name=\"a\"><type>U8</type>"
                           "<value>1</value></variable></object></region></storage>"),
              QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

// ---- Object arrays

TEST_F(XmlRetrieveStructure, MembersOfTheObjectsOfAnArrayAreRestoredByTheirPaths) {
    object_.AddToArray("list", "E0").U8("x", 9);
    object_.AddToArray("list", "E1").U8("x", 9);
    EXPECT_EQ(RetrieveVariables(
                  ObjectArray("list", {ObjectElement("E0", Value("x", "1")), ObjectElement("E1", Value("x", "2"))})),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/E0/x"), 1);
    EXPECT_EQ(U8At("R/O/E1/x"), 2);
}

TEST_F(XmlRetrieveStructure, TheObjectArrayItselfIsMarkedRetrieved) {
    object_.AddToArray("list", "E0").U8("x", 9);
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {ObjectElement("E0", Value("x", "1"))})), QBFResult{QBF_OK});
    EXPECT_TRUE(WasRetrieved("R/O/list"));
    EXPECT_EQ(traces_.LinesOf("CXmlFileStorageProviderBase_UpdateVariable").back(),
              "0x820 CXmlFileStorageProviderBase_UpdateVariable: Variable path R/O/list");
}

TEST_F(XmlRetrieveStructure, AnObjectArrayWithoutObjectsIsMarkedRetrieved) {
    object_.EmptyObjectArray("list");
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {})), QBFResult{QBF_OK});
    EXPECT_TRUE(WasRetrieved("R/O/list"));
}

TEST_F(XmlRetrieveStructure, VariablesAfterAnObjectArrayAreRestored) {
    object_.AddToArray("list", "E0").U8("x", 9);
    object_.U8("after", 9).AddNested("N").U8("b", 9);
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {ObjectElement("E0", Value("x", "1"))}) + Value("after", "2") +
                                ObjectElement("N", Value("b", "3"))),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/after"), 2);
    EXPECT_EQ(U8At("R/O/N/b"), 3);
}

TEST_F(XmlRetrieveStructure, AVariableOfTheParentIsNotTakenForAMemberOfTheSameName) {
    object_.U8("x", 9);
    object_.AddToArray("list", "E0").U8("x", 9);
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {ObjectElement("E0", Value("x", "1"))})), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/E0/x"), 1);
    EXPECT_EQ(U8At("R/O/x"), 9);
    EXPECT_FALSE(WasRetrieved("R/O/x"));
    EXPECT_EQ(host.Count("CDatabase_GetVariableByPath R/O/x"), 0);
}

TEST_F(XmlRetrieveStructure, AVariableDirectlyInAnObjectElementIsIgnored) {
    object_.U8("x", 9).EmptyObjectArray("list");
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {Value("x", "1"), Array("x", {"1", "2"})})), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/x"), 9);
    EXPECT_TRUE(WasRetrieved("R/O/list"));
    EXPECT_EQ(host.Count("CDatabase_GetVariableByPath"), 1);
}

TEST_F(XmlRetrieveStructure, AVariableAfterTheObjectOfAnObjectElementIsIgnored) {
    object_.U8("x", 9);
    object_.AddToArray("list", "E0").U8("x", 9);
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {ObjectElement("E0", Value("x", "1")) + Value("x", "2")})),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/E0/x"), 1);
    EXPECT_EQ(U8At("R/O/x"), 9);
}

TEST_F(XmlRetrieveStructure, ArraysOfMembersAreRestoredAndDoNotEndTheOuterOne) {
    object_.U8("x", 9);
    host::Object& element = object_.AddToArray("list", "E0");
    element.U8Array("y", {9, 9}).U8("x", 9);
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {ObjectElement("E0", Array("y", {"1", "2"}) + Value("x", "3")),
                                                     Array("x", {"4"}) + Value("x", "5")})),
              QBFResult{QBF_OK});
    EXPECT_THAT(At("E0/y").Bytes(), ElementsAre(1, 2));
    EXPECT_EQ(U8At("R/O/E0/x"), 3);
    EXPECT_EQ(U8At("R/O/x"), 9);
    EXPECT_TRUE(WasRetrieved("R/O/list"));
}

TEST_F(XmlRetrieveStructure, ObjectArraysInsideObjectArraysAreMarkedAndRestored) {
    host::Object& outer = object_.AddToArray("list", "E0");
    outer.AddToArray("list", "F0").U8("x", 9);
    outer.AddToArray("list", "F1").U8("x", 9);
    outer.U8("after", 9);
    object_.U8("after", 9);
    EXPECT_EQ(RetrieveVariables(
                  ObjectArray("list", {ObjectElement("E0", ObjectArray("list", {ObjectElement("F0", Value("x", "1")),
                                                                                ObjectElement("F1", Value("x", "2"))}) +
                                                               Value("after", "3"))}) +
                  Value("after", "4")),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/E0/F0/x"), 1);
    EXPECT_EQ(U8At("R/O/E0/F1/x"), 2);
    EXPECT_EQ(U8At("R/O/E0/after"), 3);
    EXPECT_EQ(U8At("R/O/after"), 4);
    EXPECT_TRUE(WasRetrieved("R/O/list"));
    EXPECT_TRUE(WasRetrieved("R/O/E0/list"));
}

TEST_F(XmlRetrieveStructure, NestedObjectsOfMembersAreRestored) {
    object_.AddToArray("list", "E0").AddNested("N").U8("x", 9);
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {ObjectElement("E0", ObjectElement("N", Value("x", "1")))})),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/E0/N/x"), 1);
}

TEST_F(XmlRetrieveStructure, MembersOfAnObjectArrayThatIsNotRegisteredAreStillFoundByTheirPaths) {
    object_.AddNested("E0").U8("x", 9);
    EXPECT_EQ(RetrieveVariables(ObjectArray("gone", {ObjectElement("E0", Value("x", "1"))})), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/E0/x"), 1);
}

TEST_F(XmlRetrieveStructure, AFailedMemberKeepsTheArrayAndWhatFollowsFromBeingMarked) {
    object_.AddToArray("list", "E0").Bool("x", 9);
    object_.U8("after", 9);
    EXPECT_EQ(RetrieveVariables(ObjectArray("list", {ObjectElement("E0", Value("x", "no"))}) + Value("after", "1")),
              QBFResult{QBF_E_FAILED});
    EXPECT_FALSE(WasRetrieved("R/O/list"));
    EXPECT_EQ(U8At("R/O/after"), 9);
}

TEST_F(XmlRetrieveStructure, AnObjectDirectlyInAVariableDoesNotLendItTheNameOfItsMember) {
    object_.U8("x", 9).U8("outer", 9).U8("after", 9);
    object_.AddNested("E0").U8("x", 9);
    EXPECT_EQ(RetrieveVariables(VariableElement("outer", ObjectElement("E0", Value("x", "1"))) + Value("after", "2")),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/E0/x"), 1);
    EXPECT_EQ(U8At("R/O/x"), 9);
    EXPECT_EQ(U8At("R/O/after"), 2);
}

TEST_F(XmlRetrieveStructure, ARegionInsideAnObjectArrayDoesNotDisturbWhatFollows) {
    database_.AddRegion("A").AddObject("B").U8("c", 9);
    object_.U8("a", 9);
    EXPECT_EQ(
        RetrieveFrom(Document(RegionElement("R", ObjectElement("O", ObjectArray("list", {RegionElement("A", "")}))) +
                              RegionElement("A", ObjectElement("B", Value("c", "1"))) +
                              RegionElement("R", ObjectElement("O", Value("a", "2"))))),
        QBFResult{QBF_OK});
    EXPECT_EQ(U8At("A/B/c"), 1);
    EXPECT_EQ(U8At("R/O/a"), 2);
}

// ---- Arrays and the host's list

/// Surprise: An array with too few elements keeps what was in memory for the rest
TEST_F(XmlRetrieveStructure, AnArrayWithoutElementsIsRetrievedAndKeepsItsContent) {
    object_.U8Array("b", {1, 2});
    At("b").Set<std::uint8_t>(7, 0);
    EXPECT_EQ(RetrieveVariables(Array("b", {})), QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(7, 2));
    EXPECT_TRUE(At("b").Retrieved());
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_UpdateArray"), IsEmpty());
}

TEST_F(XmlRetrieveStructure, AHostMayCallAnArrayWithoutElementsNameless) {
    object_.U8Array("b", {1, 2});
    At("b").Set<std::uint8_t>(7, 0);
    HostCalls host;
    host.Override("CList_StartIterationFromHead", 1, QBF_E_NO_NAME);
    EXPECT_EQ(RetrieveVariables(Array("b", {})), QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(7, 2));
    EXPECT_TRUE(At("b").Retrieved());
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_UpdateArray"),
                ElementsAre("0x1000 CXmlFileStorageProviderBase_UpdateArray: Array is empty"));
}

TEST_F(XmlRetrieveStructure, AListThatCannotBeIteratedFailsTheArray) {
    object_.U8Array("b", {1, 2});
    AllocationFaults memory;
    HostCalls host;
    host.Fail("CList_StartIterationFromHead", 1, kHostFailure);
    EXPECT_EQ(RetrieveVariables(Array("b", {"3", "4"})), QBFResult{QBF_E_FAILED});
    EXPECT_TRUE(At("b").HoldsDefault());
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate array element list",
                            "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Failed to retrieve array",
                            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during variable retrieval",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieveStructure, AListThatFailsInTheMiddleFailsTheArray) {
    object_.U8Array("b", {1, 2, 3});
    for (const QBFResult code : {kHostFailure, QBFResult{QBF_E_NO_NAME}}) {
        traces_.Clear();
        AllocationFaults memory;
        HostCalls host;
        host.Fail("CList_GetNext", 2, code);
        EXPECT_EQ(RetrieveVariables(Array("b", {"4", "5", "6"})), QBFResult{QBF_E_FAILED});
        EXPECT_TRUE(At("b").HoldsDefault());
        EXPECT_EQ(memory.LiveAllocations(), 0);
        EXPECT_EQ(traces_.Failures().front(),
                  "0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate array element list");
    }
}

TEST_F(XmlRetrieveStructure, AListThatHandsOutNoTextFailsTheArray) {
    object_.U8Array("b", {1, 2, 3});
    HostCalls host;
    host.Fail("CList_GetNext", 2, QBF_OK);
    EXPECT_EQ(RetrieveVariables(Array("b", {"4", "5", "6"})), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(traces_.Failures().front(),
              "0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate array element list");
}

TEST_F(XmlRetrieveStructure, AnElementThatTheListRefusesIsReportedAndLeftOut) {
    object_.U8Array("b", {1, 2, 3});
    AllocationFaults memory;
    HostCalls host;
    host.Fail("CList_PushTail", 2, kHostFailure);
    EXPECT_EQ(RetrieveVariables(Array("b", {"4", "5", "6"})), QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(4, 6, 3));
    EXPECT_TRUE(At("b").Retrieved());
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : 5"));
}

TEST_F(XmlRetrieveStructure, AnElementThatTheListRefusesAndKeepsAllTheSameIsStillThere) {
    object_.U8Array("b", {1, 2, 3});
    HostCalls host;
    host.Override("CList_PushTail", 2, kHostFailure);
    EXPECT_EQ(RetrieveVariables(Array("b", {"4", "5", "6"})), QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(4, 5, 6));
}

TEST_F(XmlRetrieveStructure, TheListIsReleasedUntilTheHostSaysThatItEnds) {
    object_.U8Array("b", {1, 2});
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Array("b", {"3", "4"})), QBFResult{QBF_OK});
    EXPECT_EQ(host.Count("CList_GetNext"), 4) << "two to read, two to release";
    EXPECT_EQ(host.Count("CList_Destruct"), 1);
}

TEST_F(XmlRetrieveStructure, ANamelessListEndsTheReleaseLikeAnEmptyOne) {
    object_.U8("a");
    HostCalls host;
    host.OverrideAll("CList_StartIterationFromHead", QBF_E_NO_NAME);
    EXPECT_EQ(RetrieveVariables(Value("a", "1")), QBFResult{QBF_OK});
    EXPECT_EQ(host.Count("CList_StartIterationFromHead"), 1);
    EXPECT_EQ(host.Count("CList_Destruct"), 1);
}

TEST_F(XmlRetrieveStructure, ANamelessItemEndsTheRelease) {
    object_.U8Array("b", {1, 2, 3});
    AllocationFaults memory;
    HostCalls host;
    host.Fail("CList_GetNext", 4, QBF_E_NO_NAME);
    EXPECT_EQ(RetrieveVariables(Array("b", {"4", "5", "6"})), QBFResult{QBF_OK});
    EXPECT_EQ(host.Count("CList_GetNext"), 4);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlRetrieveStructure, AFailureInTheMiddleOfTheReleaseDoesNotEndIt) {
    object_.U8Array("b", {1, 2, 3});
    AllocationFaults memory;
    HostCalls host;
    host.Fail("CList_GetNext", 5, kHostFailure);
    EXPECT_EQ(RetrieveVariables(Array("b", {"4", "5", "6"})), QBFResult{QBF_OK});
    EXPECT_EQ(host.Count("CList_GetNext"), 7) << "three to read, three to release, one that failed";
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlRetrieveStructure, AListThatKeepsFailingCannotHangTheRelease) {
    object_.U8Array("b", {1, 2, 3}).U8("a", 9);
    for (const char* function : {"CList_StartIterationFromHead", "CList_GetNext"}) {
        SCOPED_TRACE(function);
        AllocationFaults memory;
        HostCalls host;
        host.FailAll(function, kHostFailure);
        EXPECT_EQ(RetrieveVariables(Array("b", {"4", "5", "6"}) + Value("a", "1")), QBFResult{QBF_E_FAILED});
        EXPECT_LT(host.Count(function), 100);
        EXPECT_EQ(memory.LiveAllocations(), 0);
        EXPECT_EQ(host.Count("CList_Destruct"), 2);
    }
}

TEST_F(XmlRetrieveStructure, AListThatNeverEndsCannotHangTheRelease) {
    object_.U8("a", 9);
    HostCalls host;
    host.OverrideAll("CList_StartIterationFromHead", QBF_OK);
    host.OverrideAll("CList_GetNext", QBF_OK);
    EXPECT_EQ(RetrieveVariables(Value("a", "1")), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
    EXPECT_LT(host.Count("CList_GetNext"), 100);
}

TEST_F(XmlRetrieveStructure, TheListIsConstructedAnewForEveryArray) {
    object_.U8Array("b", {0}).U8Array("c", {0});
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Array("b", {"1"}) + Array("c", {"2"})), QBFResult{QBF_OK});
    EXPECT_EQ(host.Count("CList_Construct"), 2);
    EXPECT_EQ(U8At("R/O/b"), 1);
    EXPECT_EQ(U8At("R/O/c"), 2);
}

TEST_F(XmlRetrieveStructure, ElementsOfAnUnregisteredArrayDoNotReachTheNextOne) {
    object_.U8Array("b", {9, 9, 9});
    AllocationFaults memory;
    EXPECT_EQ(RetrieveVariables(Array("gone", {"1", "2", "3"}) + Array("b", {"4"})), QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(4, 9, 9));
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlRetrieveStructure, ElementsOfAnUnregisteredArrayAreReleasedAtTheEndOfTheRetrieve) {
    AllocationFaults memory;
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Array("gone", {"1", "2", "3"})), QBFResult{QBF_OK});
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(host.Count("CList_Destruct"), 1);
}

TEST_F(XmlRetrieveStructure, ElementsOfADocumentThatBreaksOffAreReleased) {
    object_.U8Array("b", {9, 9});
    AllocationFaults memory;
    EXPECT_EQ(RetrieveFrom("<storage><region name=\"R\"><object name=\"O\"><variable name=\"b\"><array>"
                           "<element>1</element>"),
              QBFResult{QBF_E_FAILED});
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(RetrieveVariables(Array("b", {"4"})), QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(4, 9));
}

TEST_F(XmlRetrieveStructure, ElementsOutsideAnArrayGoIntoAListOfTheirOwn) {
    object_.U8("a").U8Array("b", {9, 9});
    AllocationFaults memory;
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Value("a", "1") + VariableElement("b", "<element>5</element><element>6</element>")),
              QBFResult{QBF_OK});
    EXPECT_THAT(At("b").Bytes(), ElementsAre(5, 6));
    EXPECT_EQ(memory.LiveAllocations(), 0);
    // A host need not be able to append to a list that has been destructed.
    const auto push = std::find(host.Calls().begin(), host.Calls().end(), "CList_PushTail");
    EXPECT_EQ(*(push - 1), "CList_Construct");
    EXPECT_EQ(host.Count("CList_Construct"), 1);
}

TEST_F(XmlRetrieveStructure, ARetrieveWithoutArraysConstructsNoList) {
    object_.U8("a").String("s", 4);
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Value("a", "1") + Value("s", "x")), QBFResult{QBF_OK});
    EXPECT_THAT(host.Calls(), Each(Not(HasSubstr("CList_Construct"))));
}

TEST_F(XmlRetrieveStructure, InitializeConstructsTheListAndClearsTheErrors) {
    HostCalls host;
    EXPECT_EQ(provider_->Initialize(99), QBFResult{QBF_OK});
    EXPECT_THAT(host.Calls(), ElementsAre("CList_Construct"));
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CXmlFileStorageProviderBase_Initialize: "
                                             "CXmlFileStorageProviderBase: Initializing..."));
}

TEST_F(XmlRetrieveStructure, ManyElementsAreHeldAndReleased) {
    constexpr std::uint32_t kCount = 10000;
    object_.U32Array("b", std::vector<std::uint32_t>(kCount, 0));
    std::vector<std::string> elements;
    for (std::uint32_t i = 0; i < kCount; ++i) {
        elements.push_back(std::to_string(i));
    }
    AllocationFaults memory;
    EXPECT_EQ(RetrieveVariables(Array("b", elements)), QBFResult{QBF_OK});
    EXPECT_EQ(At("b").Get<std::uint32_t>(0), 0U);
    EXPECT_EQ(At("b").Get<std::uint32_t>(kCount - 1), kCount - 1);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

// ---- Variables inside variables, which no store writes

std::string Inside(const std::string& name, const std::string& inner, const std::string& value) {
    return "<variable name=\"" + name + "\">" + inner + "<value>" + value + "</value></variable>";
}

TEST_F(XmlRetrieveStructure, AVariableAroundAnotherOneGetsItsOwnValue) {
    object_.U8("outer", 9).U8("inner", 8);
    EXPECT_EQ(RetrieveVariables(Inside("outer", Value("inner", "1"), "2")), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/inner"), 1);
    EXPECT_EQ(U8At("R/O/outer"), 2);
}

TEST_F(XmlRetrieveStructure, AVariableAroundAnObjectGetsItsOwnValue) {
    object_.U8("outer", 9).AddNested("N").U8("inner", 8);
    EXPECT_EQ(RetrieveVariables(Inside("outer", ObjectElement("N", Value("inner", "1")), "2")), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/N/inner"), 1);
    EXPECT_EQ(U8At("R/O/outer"), 2);
}

TEST_F(XmlRetrieveStructure, AVariableAroundAnObjectWithoutVariablesGetsItsOwnValue) {
    object_.U8("outer", 9);
    EXPECT_EQ(RetrieveVariables(Inside("outer", ObjectElement("N", ""), "2")), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/outer"), 2);
}

TEST_F(XmlRetrieveStructure, AVariableAroundOneWithoutANameGetsItsOwnValue) {
    object_.U8("outer", 9);
    EXPECT_EQ(RetrieveVariables(Inside("outer", "<variable><value>1</value></variable>", "2")), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/outer"), 2);
}

TEST_F(XmlRetrieveStructure, AVariableWithoutANameAroundAnotherOneIsSkipped) {
    object_.U8("inner", 8);
    EXPECT_EQ(RetrieveVariables("<variable>" + Value("inner", "1") + "<value>2</value></variable>"), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/inner"), 1);
}

TEST_F(XmlRetrieveStructure, AnArrayAroundAVariableGetsItsOwnElements) {
    object_.U8Array("outer", {9, 9}).U8("inner", 8);
    EXPECT_EQ(RetrieveVariables("<variable name=\"outer\">" + Value("inner", "1") +
                                "<array><element>2</element><element>3</element></array></variable>"),
              QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/inner"), 1);
    EXPECT_EQ(database_.At("R/O/outer").Get<std::uint8_t>(1), 3);
}

/// The variables v1 to v<count>, each inside the one before it and with its number as its value.
std::string VariablesInsideOneAnother(int count) {
    std::string nested = Value("v" + std::to_string(count), std::to_string(count));
    for (int i = count - 1; i >= 1; --i) {
        nested = Inside("v" + std::to_string(i), nested, std::to_string(i));
    }
    return nested;
}

TEST_F(XmlRetrieveStructure, NineVariablesInsideOneAnotherAreRestored) {
    object_.U8("v1", 77).U8("v9", 77);
    EXPECT_EQ(RetrieveVariables(VariablesInsideOneAnother(9)), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/v9"), 9);
    EXPECT_EQ(U8At("R/O/v1"), 1);
}

TEST_F(XmlRetrieveStructure, TheTenthVariableInsideOneAnotherIsReportedAndNotRestored) {
    object_.U8("v1", 77).U8("v9", 77).U8("v10", 77);
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(RetrieveVariables(VariablesInsideOneAnother(10)), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(traces_.Failures().front(),
              "0x8000 CXmlFileStorageProviderBase_StartElement: Variable v10 is nested too deep: inside 9 variables, "
              "at most 8 are supported");
    EXPECT_EQ(U8At("R/O/v10"), 77);
    EXPECT_EQ(U8At("R/O/v9"), 9);
    EXPECT_EQ(U8At("R/O/v1"), 1);
}

TEST_F(XmlRetrieveStructure, VariablesThatAParseErrorLeftOpenAreAroundNoneOfTheNextDocument) {
    object_.U8("a", 9);
    std::string opened;
    for (int i = 0; i < 20; ++i) {
        opened += "<variable name=\"v\">";
    }
    EXPECT_EQ(RetrieveVariables(opened), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(RetrieveVariables(Value("a", "1")), QBFResult{QBF_OK});
    EXPECT_EQ(U8At("R/O/a"), 1);
}

}  // namespace

}  // namespace tal::test
