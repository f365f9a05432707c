#include "formats/InspectXml.h"

#include "DatabaseDescription.h"
#include "Support.h"
#include "board/ProviderSession.h"

namespace tal::test {

namespace {

using talstore::InspectXml;
using talstore::StoredContents;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// The paths that are looked up.
std::vector<std::string> PathsOf(const StoredContents& contents) {
    std::vector<std::string> paths;
    for (const std::size_t index : contents.handedOn) {
        paths.push_back(contents.items[index].path);
    }
    return paths;
}

std::string InObject(std::string_view body) {
    return Document("<region name = \"R\"><object name = \"O\">" + std::string(body) + "\n</object>\n</region>\n");
}

/// Where the library looks up the document's variables.
std::vector<std::string> PathsOfReader(const std::string& document) {
    const talstore::ProviderSession session(*talstore::FindProvider("xml"), 0, 0, "document.xml");
    const auto database = host::LoadDatabaseFromText(kLayout);
    std::vector<std::string> paths;
    const talstore::Seen seen = session.Retrieve(document, *database).seen;
    auto unregistered = seen.unregisteredPaths.begin();
    for (const talstore::LookUp& lookUp : seen.lookUps) {
        paths.push_back(lookUp.variable == nullptr ? *unregistered++ : lookUp.variable->Path());
    }
    return paths;
}

TEST(InspectXml, ALargeDocumentIsReadAsAWhole) {
    constexpr std::size_t kVariables = 10000;
    constexpr std::size_t kLongText = 300000;
    std::string variables;
    for (std::size_t i = 0; i < kVariables; ++i) {
        variables += Variable("v" + std::to_string(i), "U32", std::to_string(i));
    }
    const std::string document = InObject(variables + Variable("long", "STRING", std::string(kLongText, 'x')));
    const StoredContents contents = InspectXml(document);
    ASSERT_EQ(contents.items.size(), kVariables + 1);
    std::size_t name = 0;
    for (std::size_t i = 0; i < kVariables; ++i) {
        EXPECT_THAT(contents.items[i].texts, ElementsAre(std::to_string(i)));
        name = document.find("\"v" + std::to_string(i) + "\"", name);
        EXPECT_EQ(name, contents.items[i].place.offset + std::string("<variable name = ").size());
    }
    EXPECT_THAT(contents.items.back().texts, ElementsAre(std::string(kLongText, 'x')));
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST(InspectXml, AnErrorAtTheEndOfALargeDocumentHasItsPlace) {
    const std::string text(300000, '\n');
    const StoredContents contents = InspectXml("<storage>" + text + "</other>");
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(Summaries(contents), ElementsAre("error xml.syntax @300001:3"));
}

TEST(InspectXml, AVariableThatIsCutOffHasItsTexts) {
    const StoredContents contents =
        InspectXml("<storage><region name = \"R\"><object name = \"O\"><variable name = \"a\"><value>5</value><");
    EXPECT_THAT(contents.items.at(0).texts, ElementsAre("5"));
}

TEST(InspectXml, VariablesHaveTheirPathTypeAndText) {
    const StoredContents contents = InspectXml(InObject(Variable("a", "U8", "5")));
    ASSERT_EQ(contents.items.size(), 1U);
    EXPECT_EQ(contents.items[0].path, "R/O/a");
    EXPECT_EQ(contents.items[0].type, "U8");
    EXPECT_THAT(contents.items[0].texts, ElementsAre("5"));
    EXPECT_EQ(contents.items[0].place.line, 2U);
    EXPECT_EQ(contents.items[0].place.column, 1U);
    EXPECT_EQ(contents.items[0].place.offset, 100U);
    EXPECT_TRUE(contents.items[0].isHandedOn);
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST(InspectXml, ArraysHaveOneTextPerElement) {
    const StoredContents contents =
        InspectXml(InObject("\n<variable name = \"a\"><type>U8_ARRAY</type><size>2</size>"
                            "<array><element>1</element><element>2</element></array></variable>"));
    EXPECT_THAT(contents.items.at(0).texts, ElementsAre("1", "2"));
    EXPECT_TRUE(contents.items[0].isArray);
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST(InspectXml, MembersOfObjectArraysHaveThePathOfTheirElement) {
    const StoredContents contents = InspectXml(InObject(
        "\n<variable name = \"A\"><type>OBJECT_ARRAY</type><size>1</size><array><objectElement>"
        "<object name = \"E0\">" +
        Variable("v", "U8", "1") + "\n</object>\n</objectElement></array></variable>" + Variable("after", "U8", "2")));
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/A", "R/O/E0/v", "R/O/after"));
    EXPECT_TRUE(contents.items[0].holdsObjects);
    EXPECT_EQ(contents.items[0].type, "OBJECT_ARRAY");
    EXPECT_EQ(contents.nodes.back().array, 0U);
    EXPECT_THAT(contents.handedOn, ElementsAre(1, 0, 2)) << "the reader handles an array at its end";
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST(InspectXml, ADocumentIsReadUpToItsFirstError) {
    const StoredContents contents = InspectXml(InObject(Variable("a", "U8", "5") + Variable("b", "STRING", "x & y")));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(Summaries(contents), ElementsAre("error xml.syntax @3:51"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("not well-formed"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("'<', '&'"));
    EXPECT_TRUE(contents.items.at(0).isHandedOn);
}

TEST(InspectXml, AnEmptyFileIsNoDocument) {
    EXPECT_THAT(Summaries(InspectXml({})), ElementsAre("error xml.syntax @1:1"));
}

TEST(InspectXml, NothingInsideANamelessObjectIsHandedOn) {
    const StoredContents contents =
        InspectXml(Document("<region name = \"R\"><object>" + Variable("a", "U8", "5") + "</object></region>"));
    EXPECT_THAT(contents.handedOn, IsEmpty());
    EXPECT_THAT(Summaries(contents), ElementsAre("error xml.no-name @1:81"));
}

TEST(InspectXml, ANamelessVariableIsReported) {
    const StoredContents contents = InspectXml(InObject("<variable><type>U8</type><value>1</value></variable>"));
    EXPECT_THAT(contents.handedOn, IsEmpty());
    EXPECT_THAT(Summaries(contents), ElementsAre(testing::StartsWith("error xml.no-name @")));
}

std::string Repeated(const std::string& text, int times) {
    std::string repeated;
    for (int i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

std::string Nested(int objects) {
    return Document("<region name = \"R\">" + Repeated("<object name = \"o\">", objects) + Variable("v", "U8", "1") +
                    Repeated("</object>", objects) + "</region>");
}

TEST(InspectXml, FiveObjectsRoundAVariableAreFine) {
    const StoredContents contents = InspectXml(Nested(5));
    EXPECT_THAT(contents.findings, IsEmpty());
    EXPECT_THAT(Paths(contents), ElementsAre("R/o/o/o/o/o/v"));
    EXPECT_EQ(contents.handedOn.size(), 1U);
}

TEST(InspectXml, SixObjectsRoundAVariableAreTooMany) {
    const StoredContents contents = InspectXml(Nested(6));
    EXPECT_THAT(Summaries(contents), ElementsAre("error xml.too-deep @2:1 R/o/o/o/o/o/v"));
    EXPECT_THAT(contents.handedOn, IsEmpty());
}

TEST(InspectXml, AnyDepthIsRead) {
    const StoredContents contents = InspectXml(Nested(20000));
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(Summaries(contents), ElementsAre("error xml.too-deep @2:1 R/o/o/o/o/o/v"));
}

TEST(InspectXml, NamesAtTheirLimitMayHaveBeenCut) {
    const std::string region(39, 'r');
    const std::string object(119, 'o');
    const std::string variable(119, 'v');
    const StoredContents contents = InspectXml(Document("<region name = \"" + region + "\"><object name = \"" + object +
                                                        "\">" + Variable(variable, "U8", "1") + "</object></region>"));
    EXPECT_THAT(
        Summaries(contents),
        ElementsAre("warning xml.name-limit @1:62 " + region, "warning xml.name-limit @1:119 " + region + '/' + object,
                    "warning xml.name-limit @2:1 " + region + '/' + object + '/' + variable));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("it may have been cut"));
}

TEST(InspectXml, ANameBeyondItsLimitIsLookedUpCut) {
    const StoredContents contents = InspectXml(InObject(Variable(std::string(130, 'v'), "U8", "1")));
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/" + std::string(119, 'v')));
    EXPECT_THAT(contents.findings.at(0).message, HasSubstr("has 130 characters, the most that are stored are 119"));
}

TEST(InspectXml, NamesJustBelowTheirLimitAreFine) {
    const StoredContents contents = InspectXml(
        Document("<region name = \"" + std::string(38, 'r') + "\"><object name = \"" + std::string(118, 'o') + "\">" +
                 Variable(std::string(118, 'v'), "U8", "1") + "</object></region>"));
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST(InspectXml, ASecondVariableOfAPathNamesTheFirst) {
    const StoredContents contents = InspectXml(InObject(Variable("a", "U8", "1") + Variable("a", "U8", "2")));
    EXPECT_THAT(Summaries(contents), ElementsAre("warning duplicate-path @3:1 R/O/a"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("in line 2, column 1; the last one counts"));
}

TEST(InspectXml, TheFirstOfSeveralInterruptionsIsNamed) {
    const StoredContents contents = InspectXml(InObject(Variable("a", "STRING", "x<!-- y -->z&#65;<![CDATA[w]]>")));
    EXPECT_STREQ(contents.items.at(0).interruption, "a comment");
}

TEST(InspectXml, AVariableWithoutTypeIsReported) {
    EXPECT_THAT(Summaries(InspectXml(InObject("\n<variable name = \"a\"></variable>"))),
                ElementsAre("warning xml.no-type @2:1 R/O/a"));
}

TEST(InspectXml, AnUnknownTypeIsReported) {
    EXPECT_THAT(Summaries(InspectXml(InObject(Variable("a", "U9", "1")))),
                ElementsAre("warning xml.unknown-type @2:1 R/O/a"));
}

TEST(InspectXml, ASizeThatIsNotTheNumberOfElementsIsReported) {
    const StoredContents contents =
        InspectXml(InObject("\n<variable name = \"a\"><type>U8_ARRAY</type><size>3</size>"
                            "<array><element>1</element></array></variable>"));
    EXPECT_THAT(Summaries(contents), ElementsAre("warning xml.element-count @2:1 R/O/a"));
}

TEST(InspectXml, EachUnknownElementIsNotedOnce) {
    EXPECT_THAT(Summaries(InspectXml(InObject("<extra/><extra/><other/>"))),
                ElementsAre("note xml.unknown-element @1:100", "note xml.unknown-element @1:116"));
}

TEST(InspectXml, AVariableRightInAnObjectElementIsReported) {
    const StoredContents contents =
        InspectXml(InObject("\n<variable name = \"A\"><type>OBJECT_ARRAY</type><size>1</size><array><objectElement>" +
                            Variable("v", "U8", "1") + "</objectElement></array></variable>"));
    EXPECT_THAT(Summaries(contents), ElementsAre("warning xml.stray-variable @3:1 R/O/v"));
    EXPECT_THAT(contents.handedOn, ElementsAre(0));
}

TEST(InspectXml, AnObjectRightInAVariableLeavesTheVariableItsName) {
    const StoredContents contents =
        InspectXml(InObject("\n<variable name = \"A\"><type>U8</type><object name = \"N\">" + Variable("v", "U8", "1") +
                            "</object></variable>"));
    EXPECT_THAT(Summaries(contents), IsEmpty());
    EXPECT_THAT(PathsOf(contents), ElementsAre("R/O/N/v", "R/O/A"));
}

/// A variable inside so many others.
std::string VariableInside(std::size_t count) {
    std::string document;
    for (std::size_t i = 0; i < count; ++i) {
        document += "<variable name = \"outer\"><type>U8</type>";
    }
    document += Variable("v", "U8", "1");
    for (std::size_t i = 0; i < count; ++i) {
        document += "</variable>";
    }
    return InObject(document);
}

TEST(InspectXml, EightVariablesAroundAVariableAreFine) {
    EXPECT_THAT(Summaries(InspectXml(VariableInside(8))), Not(Contains(HasSubstr("xml.too-deep"))));
    EXPECT_EQ(PathsOf(InspectXml(VariableInside(8))), PathsOfReader(VariableInside(8)));
}

TEST(InspectXml, NineVariablesAroundAVariableAreTooMany) {
    EXPECT_THAT(Summaries(InspectXml(VariableInside(9))), Contains("error xml.too-deep @2:1 R/O/v"));
    EXPECT_EQ(PathsOf(InspectXml(VariableInside(9))), PathsOfReader(VariableInside(9)));
}

TEST(InspectXml, AnEmptyNameIsAName) {
    const std::string document = InObject(Variable("", "U8", "1"));
    EXPECT_THAT(PathsOf(InspectXml(document)), ElementsAre("R/O/"));
    EXPECT_THAT(PathsOfReader(document), ElementsAre("R/O/"));
}

TEST(InspectXml, AnObjectThatEndsAfterARegionInItLeavesTheRegion) {
    const std::string document =
        Document("<region name = \"R\"><object name = \"O\"><region name = \"S\"></region></object>" +
                 Variable("a", "U8", "1") + "<object name = \"P\">" + Variable("b", "U8", "1") + "</object></region>");
    EXPECT_THAT(PathsOf(InspectXml(document)), ElementsAre("S/a", "S/P/b"));
    EXPECT_THAT(PathsOfReader(document), ElementsAre("S/a", "S/P/b"));
}

// ---- It looks up what the reader looks up

/// The paths that the library's reader looks up.
std::vector<std::string> PathsHandedOn(const std::string& document) {
    return PathsOf(InspectXml(document));
}

const std::string kManyElements = Document(
    "<region name = \"R\"><object name = \"O\">" + Variable("a", "U8", "1") +
    "\n<variable name = \"A\"><type>OBJECT_ARRAY</type><size>2</size><array>"
    "<objectElement><object name = \"E0\">" +
    Variable("v", "U8", "1") + "</object></objectElement><objectElement><object name = \"E1\">" +
    Variable("v", "U8", "1") + "</object></objectElement></array></variable>" + Variable("b", "U8", "1") +
    "<object name = \"N\">" + Variable("c", "U8", "1") + "</object>" + Variable("d", "U8", "1") +
    "</object></region><region name = \"S\"><object name = \"P\">" + Variable("e", "U8", "1") + "</object></region>");

TEST(InspectXml, HandsOnWhatTheReaderLooksUp) {
    EXPECT_THAT(PathsHandedOn(kManyElements),
                ElementsAre("R/O/a", "R/O/E0/v", "R/O/E1/v", "R/O/A", "R/O/b", "R/O/N/c", "R/O/d", "S/P/e"));
    EXPECT_EQ(PathsHandedOn(kManyElements), PathsOfReader(kManyElements));
}

/// Replaces the `index`-th element of one kind by one of another kind, tag by tag.
std::string WithElementReplaced(const std::string& document, std::string_view from, std::string_view to) {
    std::string replaced = document;
    for (const std::string start : {"<", "</"}) {
        const std::string before = start + std::string(from);
        const std::string after = start + std::string(to);
        for (std::size_t at = replaced.find(before); at != std::string::npos;
             at = replaced.find(before, at + after.size())) {
            const char next = replaced[at + before.size()];
            if (next == '>' || next == ' ') {
                replaced.replace(at, before.size(), after);
            }
        }
    }
    return replaced;
}

TEST(InspectXml, HandsOnWhatTheReaderLooksUpInDocumentsThatNobodyWrites) {
    constexpr const char* kElements[] = {"region", "object", "variable", "array", "objectElement", "value", "other"};
    for (const char* const from : kElements) {
        for (const char* const to : kElements) {
            const std::string document = WithElementReplaced(kManyElements, from, to);
            EXPECT_EQ(PathsHandedOn(document), PathsOfReader(document)) << from << " as " << to;
        }
    }
}

TEST(InspectXml, HandsOnWhatTheReaderLooksUpBeforeAnyError) {
    for (std::size_t length = 0; length < kManyElements.size(); length += 3) {
        const std::string document = kManyElements.substr(0, length);
        ASSERT_EQ(PathsHandedOn(document), PathsOfReader(document)) << "cut to " << length;
    }
}

}  // namespace

}  // namespace tal::test
