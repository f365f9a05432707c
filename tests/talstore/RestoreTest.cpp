#include "board/Restore.h"

#include "DatabaseDescription.h"
#include "Support.h"
#include "board/Losses.h"
#include "board/RestoreFindings.h"
#include "board/StoredPaths.h"
#include "board/Value.h"

namespace tal::test {

namespace {

using talstore::Fate;
using talstore::Format;
using talstore::RestoreReport;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A layout in which one region R has one object O with these variables.
std::unique_ptr<host::Database> LayoutOf(const std::string& variables) {
    return host::LoadDatabaseFromText(R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [)" +
                                      variables + "]}]}]}");
}

class Restoring : public testing::Test {
protected:
    void SetLayout(const std::string& variables) { layout_ = LayoutOf(variables); }

    /// "restored R/O/a" for each variable, "ignored PATH" for each item that is lost.
    std::vector<std::string> Restore(Format format, const std::string& bytes) {
        file_ = {"file", bytes, format};
        contents_ = Inspect(file_, layout_.get());
        const talstore::ProviderSession session(talstore::ProviderOf(format), 0, channel_, "file");
        report_ = talstore::Restore(session, file_, contents_, *layout_);
        std::vector<std::string> outcomes;
        for (const talstore::VariableReport& variable : report_.variables) {
            outcomes.push_back(std::string(NameOf(variable.outcome)) + ' ' + variable.variable->Path());
        }
        for (std::size_t i = 0; i < report_.items.size(); ++i) {
            if (report_.items[i].fate == Fate::Ignored) {
                outcomes.push_back("ignored " + std::string(contents_.items[i].path));
            }
        }
        return outcomes;
    }

    static std::string InObject(const std::string& variables) {
        return Document("<region name = \"R\"><object name = \"O\">" + variables + "\n</object>\n</region>\n");
    }

    std::unique_ptr<host::Database> layout_ = LayoutOf(R"({"name": "a", "type": "U8", "default": 1},
                                                           {"name": "b", "type": "U8", "default": 2})");
    std::uint32_t channel_ = 0;
    talstore::StorageFile file_;
    talstore::StoredContents contents_;
    RestoreReport report_;
};

TEST_F(Restoring, AWholeSecureFileIsClean) {
    EXPECT_THAT(Restore(Format::Secure, Record("R/O/a", "\x05") + Record("R/O/b", "\x06")),
                ElementsAre("restored R/O/a", "restored R/O/b"));
    EXPECT_TRUE(report_.IsClean());
    EXPECT_EQ(layout_->At("R/O/b").Get<std::uint8_t>(), 6);
}

TEST_F(Restoring, ASecureRecordOfAnotherSizeIsRefused) {
    EXPECT_THAT(Restore(Format::Secure, Record("R/O/a", "\x05\x05") + Record("R/O/b", "\x06")),
                ElementsAre("refused R/O/a", "restored R/O/b"));
    EXPECT_EQ(report_.variables[0].reason, "2 bytes in the file, 1 in the layout");
    EXPECT_FALSE(report_.IsClean());
}

TEST_F(Restoring, ASecureRecordThatTheLayoutLacksIsIgnored) {
    EXPECT_THAT(Restore(Format::Secure, Record("R/O/a", "\x05") + Record("R/O/c", "\x06")),
                ElementsAre("restored R/O/a", "defaulted R/O/b", "ignored R/O/c"));
    EXPECT_EQ(report_.variables[1].reason, "not in the file");
    EXPECT_EQ(report_.items[1].reason, "not in the layout");
}

TEST_F(Restoring, ARecordForAVariableThatHoldsObjectsShiftsNoOther) {
    SetLayout(R"({"name": "a", "type": "U8", "default": 1},
                 {"name": "n", "type": "OBJECT", "object": {"name": "n", "variables": []}},
                 {"name": "b", "type": "U8", "default": 2})");
    EXPECT_THAT(Restore(Format::Secure, Record("R/O/a", "\x05") + Record("R/O/n", std::string(sizeof(void*), 'x')) +
                                            Record("R/O/zzz", "x") + Record("R/O/b", "\x06")),
                ElementsAre("restored R/O/a", "restored R/O/b", "ignored R/O/zzz"));
    EXPECT_EQ(report_.items[1].fate, Fate::Refused);
    EXPECT_EQ(report_.items[1].reason, "Variable holds objects and has no value (path R/O/n)");
    EXPECT_EQ(report_.items[3].variable, &layout_->At("R/O/b"));
}

TEST_F(Restoring, ARecordForAVariableThatHoldsObjectsIsLost) {
    SetLayout(
        R"({"name": "a", "type": "U8"}, {"name": "n", "type": "OBJECT", "object": {"name": "n", "variables": []}})");
    static_cast<void>(
        Restore(Format::Secure, Record("R/O/a", "\x05") + Record("R/O/n", std::string(sizeof(void*), 'x'))));
    EXPECT_THAT(report_.LostItems(), ElementsAre(1U));
}

TEST_F(Restoring, TheReasonForABadArrayIsItsFirstFailure) {
    SetLayout(R"({"name": "a", "type": "BOOL_ARRAY", "count": 2})");
    EXPECT_THAT(Restore(Format::Xml, InObject("<variable name = \"a\"><type>BOOL_ARRAY</type><array><element>yes"
                                              "</element><element>TRUE</element></array></variable>")),
                ElementsAre("refused R/O/a"));
    EXPECT_EQ(report_.variables[0].reason, "Variable type is not array");
}

TEST_F(Restoring, OfAPathThatIsStoredTwiceTheLastValueCounts) {
    EXPECT_THAT(Restore(Format::Secure, Record("R/O/a", "\x05") + Record("R/O/b", "\x06") + Record("R/O/a", "\x07")),
                ElementsAre("restored R/O/a", "restored R/O/b"));
    EXPECT_EQ(report_.variables[0].item, 2U);
    EXPECT_EQ(layout_->At("R/O/a").Get<std::uint8_t>(), 7);
}

TEST_F(Restoring, AfterABadStartMarkerVariablesAreLeft) {
    EXPECT_THAT(Restore(Format::Secure, Record("R/O/a", "\x05") + std::string(20, 'x')),
                ElementsAre("restored R/O/a", "left R/O/b"));
    EXPECT_THAT(report_.failure, HasSubstr("Start marker missing"));
    EXPECT_TRUE(QBF_IsFailure(report_.run.result));
}

TEST_F(Restoring, ACutSecureFileDefaultsTheRest) {
    EXPECT_THAT(Restore(Format::Secure, Record("R/O/a", "\x05") + "\xEF"),
                ElementsAre("restored R/O/a", "defaulted R/O/b"));
}

TEST_F(Restoring, APlaceholderNeedsAChannel) {
    SetLayout(R"({"name": "Channel.2.a", "type": "U8"})");
    const std::string file = Record("R/O/Channel.X.a", "\x05");
    EXPECT_THAT(Restore(Format::Secure, file), ElementsAre("defaulted R/O/Channel.2.a", "ignored R/O/Channel.X.a"));
    EXPECT_THAT(report_.items[0].reason, HasSubstr("try --channel"));
    channel_ = 2;
    EXPECT_THAT(Restore(Format::Secure, file), ElementsAre("restored R/O/Channel.2.a"));
    EXPECT_EQ(report_.items[0].BoardPath(), "R/O/Channel.2.a");
}

TEST_F(Restoring, ADocumentsPlaceholderIsReplacedInVariableNamesOnly) {
    SetLayout(R"({"name": "channel.2.a", "type": "U8"})");
    const std::string file = InObject(Variable("channel.X.a", "U8", "5") + Variable("Channel.X.b", "U8", "6"));
    EXPECT_THAT(Restore(Format::Xml, file),
                ElementsAre("defaulted R/O/channel.2.a", "ignored R/O/channel.X.a", "ignored R/O/Channel.X.b"));
    EXPECT_THAT(report_.items[0].reason, HasSubstr("try --channel"));
    EXPECT_EQ(report_.items[1].reason, "not in the layout");
    channel_ = 2;
    EXPECT_THAT(Restore(Format::Xml, file), ElementsAre("restored R/O/channel.2.a", "ignored R/O/Channel.X.b"));
}

TEST_F(Restoring, WithAChannelNobodyIsToldToGiveOne) {
    channel_ = 2;
    EXPECT_THAT(Restore(Format::Xml, Document("<region name = \"R\"><object name = \"channel.X.o\">" +
                                              Variable("a", "U8", "5") + "</object></region>")),
                ElementsAre("defaulted R/O/a", "defaulted R/O/b", "ignored R/channel.X.o/a"));
    EXPECT_EQ(report_.items[0].reason, "not in the layout");
}

TEST_F(Restoring, WhatFollowsANestedObjectIsNotFoundInASecureFile) {
    SetLayout(R"({"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "x", "type": "U8"}]}},
                 {"name": "after", "type": "U8"})");
    const talstore::ProviderSession session(talstore::ProviderOf(Format::Secure), 0, 0, "file");
    EXPECT_THAT(Restore(Format::Secure, session.Store(*layout_).bytes.value()),
                ElementsAre("restored R/O/N/x", "defaulted R/O/after", "ignored R/O/N/after"));
    EXPECT_THAT(report_.variables[1].reason, HasSubstr("stores it as R/O/N/after"));
    EXPECT_THAT(report_.items[1].reason, HasSubstr("stores R/O/after"));
}

TEST_F(Restoring, WhereAMissingVariableIsStoredIsToldWhateverStandsBeforeIt) {
    SetLayout(R"({"name": "label", "type": "STRING", "count": 8, "default": "a<b"},
                 {"name": "A", "type": "OBJECT_ARRAY", "objects": [{"name": "E", "variables": [
                     {"name": "x", "type": "U8"}]}]},
                 {"name": "channel.2.a", "type": "U8"})");
    channel_ = 2;
    EXPECT_THAT(Restore(Format::Xml, InObject("")),
                ElementsAre("defaulted R/O/label", "defaulted R/O/E/x", "defaulted R/O/channel.2.a"));
    EXPECT_EQ(report_.variables[0].reason, "not in the file");
    EXPECT_EQ(report_.variables[2].reason, "not in the file; it is stored under a placeholder, as R/O/channel.X.a");
}

TEST_F(Restoring, TheStoredPathsOfALayoutAreFoundOutOncePerFormatAndChannel) {
    SetLayout(R"({"name": "Channel.2.a", "type": "U8"}, {"name": "Channel.3.b", "type": "U8", "default": 9})");
    talstore::KnownPaths paths;
    const auto of = [&](std::uint32_t channel) {
        return &paths.Of(talstore::InfoOf(Format::Secure), channel, *layout_);
    };
    const talstore::StoredPaths* const first = of(2);
    EXPECT_EQ(first->inTreeOrder[0].path, "R/O/Channel.X.a");
    EXPECT_EQ(first->inTreeOrder[1].path, "R/O/Channel.3.b");
    EXPECT_EQ(of(2), first);
    EXPECT_EQ(of(3)->inTreeOrder[1].path, "R/O/Channel.X.b");
    EXPECT_EQ(layout_->At("R/O/Channel.3.b").Get<std::uint8_t>(), 9) << "a value is not kept";
}

TEST_F(Restoring, ReadOnlyObjectsAreExpectedToTakeTheirDefaults) {
    layout_ = host::LoadDatabaseFromText(R"({"regions": [{"name": "R", "objects": [
        {"name": "O", "writable": false, "variables": [{"name": "a", "type": "U8"},
            {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "x", "type": "U8"}]}}]}]}]})");
    EXPECT_THAT(Restore(Format::Secure, ""), ElementsAre("read-only R/O/a", "read-only R/O/N/x"));
    EXPECT_TRUE(report_.IsClean());
    EXPECT_THAT(Restore(Format::Binary, ""), ElementsAre("defaulted R/O/a", "defaulted R/O/N/x"));
    EXPECT_FALSE(report_.IsClean()) << "a raw file has them, too";
}

TEST_F(Restoring, AWholeDocumentIsClean) {
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "U8", "5") + Variable("b", "U8", "6"))),
                ElementsAre("restored R/O/a", "restored R/O/b"));
    EXPECT_TRUE(report_.IsClean());
}

TEST_F(Restoring, AValueThatDoesNotFitComesBackChanged) {
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "U16", "300") + Variable("b", "U8", "6"))),
                ElementsAre("changed R/O/a", "restored R/O/b"));
    EXPECT_EQ(report_.variables[0].reason, "comes back as 44");
}

TEST_F(Restoring, ALargeUnsignedNumberSaturates) {
    SetLayout(R"({"name": "a", "type": "U32"})");
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "U32", "4294967295"))), ElementsAre("changed R/O/a"));
    EXPECT_EQ(report_.variables[0].reason, "comes back as 2147483647");
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "U32", "-1"))), ElementsAre("restored R/O/a"));
}

TEST_F(Restoring, AnEmptyStringComesBackAsItsType) {
    SetLayout(R"({"name": "a", "type": "STRING", "count": 16})");
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "STRING", ""))), ElementsAre("changed R/O/a"));
    EXPECT_EQ(report_.variables[0].reason, "comes back as \"STRING\"");
}

TEST_F(Restoring, ATextThatIsTooLongComesBackCut) {
    SetLayout(R"({"name": "a", "type": "STRING", "count": 4})");
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "STRING", "north"))), ElementsAre("changed R/O/a"));
    EXPECT_EQ(report_.variables[0].reason, "comes back as \"nor\"");
}

const char* const kThreeElements =
    "\n<variable name = \"a\"><type>U8_ARRAY</type><size>3</size><array><element>1</element>"
    "<element>2</element><element>3</element></array></variable>";

TEST_F(Restoring, AShorterArrayIsRestoredPartly) {
    SetLayout(R"({"name": "a", "type": "U8_ARRAY", "count": 5})");
    EXPECT_THAT(Restore(Format::Xml, InObject(kThreeElements)), ElementsAre("partly R/O/a"));
    EXPECT_EQ(report_.variables[0].reason, "2 of 5 bytes are not in the file and keep what the board held");
}

TEST_F(Restoring, ALongerArrayIsChanged) {
    SetLayout(R"({"name": "a", "type": "U8_ARRAY", "count": 2})");
    EXPECT_THAT(Restore(Format::Xml, InObject(kThreeElements)), ElementsAre("changed R/O/a"));
    EXPECT_EQ(report_.variables[0].reason, "3 elements in the document, 2 in the layout");
}

TEST_F(Restoring, ARealThatLooksLikeNothingWrittenIsRestored) {
    constexpr std::uint32_t kFiller = 0xA5A5A5A5;
    SetLayout(R"({"name": "a", "type": "FLOAT"})");
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "FLOAT", "-2.8735182454018313e-16"))),
                ElementsAre("restored R/O/a"));
    EXPECT_EQ(layout_->At("R/O/a").Get<std::uint32_t>(), kFiller);
}

TEST_F(Restoring, AWrongBoolCostsWhatFollows) {
    SetLayout(R"({"name": "a", "type": "BOOL"}, {"name": "b", "type": "U8"})");
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "BOOL", "true") + Variable("b", "U8", "6"))),
                ElementsAre("refused R/O/a", "defaulted R/O/b"));
    EXPECT_EQ(report_.variables[0].reason, "Wrong BOOL value: true, expected TRUE or FALSE");
    EXPECT_EQ(report_.variables[1].reason, "its value is dropped, since an earlier variable failed: R/O/a");
}

// ---- What becomes of a document's items after the first failure, when nothing is marked any more

constexpr char kBadBool[] = R"({"name": "bad", "type": "BOOL"})";

class AfterAFailure : public Restoring {
protected:
    /// @return the fate of each item of the object that comes after a BOOL that is refused.
    std::vector<Fate> FatesOf(const std::string& layout, const std::string& document) {
        SetLayout(std::string(kBadBool) + ", " + layout);
        static_cast<void>(Restore(Format::Xml, InObject(Variable("bad", "BOOL", "maybe") + document)));
        EXPECT_EQ(report_.items.at(0).fate, Fate::Refused);
        std::vector<Fate> fates;
        for (std::size_t i = 1; i < report_.items.size(); ++i) {
            fates.push_back(report_.items[i].fate);
        }
        return fates;
    }

    static std::string BoolArray(std::string_view name, const std::string& elements) {
        return "<variable name = \"" + std::string(name) + "\"><type>BOOL_ARRAY</type><array>" + elements +
               "</array></variable>";
    }
};

constexpr char kTwoFlags[] = R"({"name": "flags", "type": "BOOL_ARRAY", "count": 2})";

TEST_F(AfterAFailure, ABoolOfAnotherTextIsRefused) {
    EXPECT_THAT(FatesOf(R"({"name": "a", "type": "BOOL", "default": true})", Variable("a", "BOOL", "true")),
                ElementsAre(Fate::Refused));
    EXPECT_EQ(report_.items[1].reason, "Wrong BOOL value: true, expected TRUE or FALSE");
}

TEST_F(AfterAFailure, ABoolThatFitsIsDropped) {
    EXPECT_THAT(FatesOf(R"({"name": "a", "type": "BOOL", "default": true})", Variable("a", "BOOL", "TRUE")),
                ElementsAre(Fate::Dropped));
    EXPECT_EQ(report_.items[1].reason, "");
}

TEST_F(AfterAFailure, ABoolIsDroppedAndRefusedByWhatEachOfItsItemsHolds) {
    EXPECT_THAT(FatesOf(R"({"name": "a", "type": "BOOL"})",
                        Variable("a", "BOOL", "TRUE") + Variable("a", "BOOL", "true") + Variable("a", "BOOL", "TRUE")),
                ElementsAre(Fate::Dropped, Fate::Refused, Fate::Dropped));
}

TEST_F(AfterAFailure, ATextForAnObjectIsRefused) {
    EXPECT_THAT(FatesOf(R"({"name": "n", "type": "OBJECT", "object": {"name": "n", "variables": []}})",
                        Variable("n", "OBJECT", "1")),
                ElementsAre(Fate::Refused));
    EXPECT_EQ(report_.items[1].reason, "Unsupported variable type: 21");
}

TEST_F(AfterAFailure, AnObjectArrayIsDropped) {
    EXPECT_THAT(FatesOf(R"({"name": "n", "type": "OBJECT_ARRAY", "objects": []})",
                        "<variable name = \"n\"><type>OBJECT_ARRAY</type></variable>"),
                ElementsAre(Fate::Dropped));
}

TEST_F(AfterAFailure, ANumberIsDroppedWhateverItsText) {
    EXPECT_THAT(FatesOf(R"({"name": "a", "type": "U8"})", Variable("a", "U8", "many")), ElementsAre(Fate::Dropped));
}

TEST_F(AfterAFailure, ABoolArrayIsRefusedForAnyOfItsElements) {
    EXPECT_THAT(FatesOf(kTwoFlags, BoolArray("flags", "<element>TRUE</element><element>true</element>")),
                ElementsAre(Fate::Refused));
}

TEST_F(AfterAFailure, ABoolArrayWithFewerElementsIsDropped) {
    EXPECT_THAT(FatesOf(kTwoFlags, BoolArray("flags", "<element>TRUE</element>")), ElementsAre(Fate::Dropped));
}

TEST_F(AfterAFailure, ABoolArrayWithMoreElementsIsDropped) {
    EXPECT_THAT(
        FatesOf(kTwoFlags, BoolArray("flags", "<element>TRUE</element><element>TRUE</element><element>true</element>")),
        ElementsAre(Fate::Dropped));
}

TEST_F(AfterAFailure, ABoolArrayIsRefusedForAForeignElement) {
    EXPECT_THAT(
        FatesOf(kTwoFlags, BoolArray("unknown", "<element>true</element>") + Variable("flags", "BOOL_ARRAY", "")),
        ElementsAre(Fate::Ignored, Fate::Refused));
}

TEST_F(AfterAFailure, ABoolArrayDoesNotTakeElementsThatAnotherVariableHasTaken) {
    EXPECT_THAT(FatesOf(std::string(R"({"name": "other", "type": "U8"}, )") + kTwoFlags,
                        BoolArray("unknown", "<element>true</element>") + Variable("other", "U8", "1") +
                            Variable("flags", "BOOL_ARRAY", "")),
                ElementsAre(Fate::Ignored, Fate::Dropped, Fate::Dropped));
}

TEST_F(AfterAFailure, AFormerFailureLeavesTheValueOfABoolAsItWas) {
    SetLayout(std::string(R"({"name": "a", "type": "BOOL"}, )") + kBadBool);
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "BOOL", "TRUE") + Variable("bad", "BOOL", "maybe") +
                                              Variable("a", "BOOL", "maybe"))),
                ElementsAre("changed R/O/a", "refused R/O/bad"));
    EXPECT_EQ(layout_->At("R/O/a").Get<std::uint32_t>(), 1U);
}

TEST_F(Restoring, WhatIsNestedTooDeepIsTheFailureThatDropsWhatFollows) {
    std::string variables = Variable("a", "U8", "5");
    for (int i = 0; i < 10; ++i) {
        variables += "<variable name = \"v\">";
    }
    for (int i = 0; i < 10; ++i) {
        variables += "</variable>";
    }
    EXPECT_THAT(Restore(Format::Xml, InObject(variables + Variable("b", "U8", "6"))),
                testing::Contains("restored R/O/a").Times(1));
    EXPECT_EQ(report_.items.back().fate, Fate::Dropped);
    EXPECT_EQ(report_.variables[1].reason,
              "its value is dropped, since an earlier variable failed: one that is not in the file's list");
}

TEST_F(Restoring, AfterASyntaxErrorVariablesAreLeft) {
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "U8", "5") + "<")),
                ElementsAre("restored R/O/a", "left R/O/b"));
    EXPECT_THAT(report_.failure, HasSubstr("Parse error in file"));
    EXPECT_EQ(layout_->At("R/O/b").Get<std::uint8_t>(), 2);
}

TEST_F(Restoring, ADocumentsVariableThatTheLayoutLacksIsIgnored) {
    EXPECT_THAT(Restore(Format::Xml, InObject(Variable("a", "U8", "5") + Variable("c", "U8", "6"))),
                ElementsAre("restored R/O/a", "defaulted R/O/b", "ignored R/O/c"));
}

TEST_F(Restoring, AShortRawFileDefaultsTheRest) {
    SetLayout(R"({"name": "a", "type": "U8"}, {"name": "b", "type": "U16"}, {"name": "c", "type": "U8"})");
    EXPECT_THAT(Restore(Format::Binary, "\x05\x06"),
                ElementsAre("restored R/O/a", "defaulted R/O/b", "defaulted R/O/c"));
    EXPECT_EQ(report_.variables[1].reason, "the file ends inside it");
    EXPECT_EQ(report_.variables[2].reason, "not in the file");
}

TEST_F(Restoring, StartsFromTheLayoutsDefaultsEachTime) {
    static_cast<void>(Restore(Format::Secure, Record("R/O/a", "\x05") + Record("R/O/b", "\x06")));
    EXPECT_THAT(Restore(Format::Secure, ""), ElementsAre("defaulted R/O/a", "defaulted R/O/b"));
    EXPECT_EQ(layout_->At("R/O/a").Get<std::uint8_t>(), 1);
}

TEST(ProviderSession, StoresNothingOfWhatItHasRetrieved) {
    const auto layout = LayoutOf(R"({"name": "a", "type": "U8"})");
    const talstore::ProviderSession session(*talstore::FindProvider("xml-read-only"), 0, 0, "file");
    static_cast<void>(session.Retrieve(Document(""), *layout));
    EXPECT_EQ(session.Store(*layout).bytes, std::nullopt);
}

// ---- What is found in the restored values, and what is lost

TEST_F(Restoring, OfALayoutWithoutStoredVariablesMissesNone) {
    layout_ = host::LoadDatabaseFromText(R"({"regions": [{"name": "R", "objects": [
        {"name": "O", "writable": false, "variables": [{"name": "a", "type": "U8"}]}]}]})");
    static_cast<void>(Restore(Format::Secure, Record("Other/O/a", "x")));
    EXPECT_FALSE(FindNothingRestored(contents_, report_).has_value());
}

constexpr char kArrayAfterANumber[] =
    R"({"name": "number", "type": "U8"}, {"name": "list", "type": "U16_ARRAY", "count": 3})";
const char* const kUnregisteredArray =
    "\n<variable name = \"gone\"><type>U16_ARRAY</type><size>3</size><array><element>4</element>"
    "<element>5</element><element>6</element></array></variable>";

TEST_F(Restoring, ElementsOfAnUnregisteredArrayGoToTheNextOneWithoutAny) {
    SetLayout(kArrayAfterANumber);
    static_cast<void>(Restore(Format::Xml, InObject(kUnregisteredArray + Variable("list", "U16_ARRAY", "7"))));
    const std::vector<talstore::Finding> findings = FindInValues(contents_, report_);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].message,
              "it has no elements of its own and takes those of R/O/gone, which the layout does not have");
    EXPECT_EQ(layout_->At("R/O/list").Get<std::uint16_t>(2), 6);
}

TEST_F(Restoring, ElementsOfAnUnregisteredArrayStayNoLongerThanToTheNextRegisteredVariable) {
    SetLayout(kArrayAfterANumber);
    static_cast<void>(Restore(Format::Xml, InObject(kUnregisteredArray + Variable("number", "U8", "1") +
                                                    Variable("list", "U16_ARRAY", "7"))));
    EXPECT_THAT(FindInValues(contents_, report_), IsEmpty());
    EXPECT_NE(layout_->At("R/O/list").Get<std::uint16_t>(2), 6);
}

TEST_F(Restoring, AnUnregisteredArrayOfObjectsHasNoElementsToTake) {
    SetLayout(kArrayAfterANumber);
    static_cast<void>(Restore(
        Format::Xml, InObject("\n<variable name = \"gone\"><type>OBJECT_ARRAY</type><size>1</size><array>"
                              "<objectElement><object name = \"E\"></object></objectElement></array></variable>" +
                              Variable("list", "U16_ARRAY", "7"))));
    EXPECT_THAT(FindInValues(contents_, report_), IsEmpty());
}

TEST_F(Restoring, OfADocumentThatCannotBeParsedLosesWhatIsLeft) {
    static_cast<void>(Restore(Format::Xml, InObject(Variable("a", "U8", "5") + "<")));
    const std::vector<talstore::Loss> losses = LossesOfReading(contents_, report_, true);
    ASSERT_EQ(losses.size(), 1U);
    EXPECT_EQ(losses[0].kind, std::string("left"));
    EXPECT_EQ(losses[0].path, "R/O/b");
}

TEST(RestoringItemsAlone, EndsForItemsAndContentsAsRestoringDoes) {
    const char* const variables = R"({"name": "a", "type": "U8", "default": 5},
        {"name": "s", "type": "STRING", "count": 8, "default": "longer"},
        {"name": "b", "type": "BOOL", "default": true}, {"name": "c", "type": "U8", "default": 7})";
    const talstore::StorageFile file = {
        "file",
        Document("<region name = \"R\"><object name = \"O\">" + Variable("a", "U8", "1") +
                 Variable("s", "STRING", "x") + Variable("gone", "U8", "2") + Variable("b", "BOOL", "perhaps") +
                 Variable("c", "U8", "3") + "</object></region>"),
        Format::Xml};
    const talstore::StoredContents contents = Inspect(file, nullptr);
    const talstore::ProviderSession session(talstore::ProviderOf(Format::Xml), 0, 0, "file");
    const auto whole = LayoutOf(variables);
    const auto alone = LayoutOf(variables);
    const RestoreReport expected = talstore::Restore(session, file, contents, *whole);

    const RestoreReport report = talstore::RestoreItems(session, file, contents, *alone);

    ASSERT_EQ(report.items.size(), 5U);
    const Fate fates[] = {Fate::Taken, Fate::Taken, Fate::Ignored, Fate::Refused, Fate::Dropped};
    for (std::size_t i = 0; i < report.items.size(); ++i) {
        EXPECT_EQ(report.items[i].fate, fates[i]) << i;
        EXPECT_EQ(report.items[i].reason, expected.items[i].reason) << i;
    }
    for (const char* const path : {"R/O/a", "R/O/s", "R/O/b", "R/O/c"}) {
        EXPECT_EQ(talstore::BytesOf(alone->At(path)), talstore::BytesOf(whole->At(path))) << path;
        EXPECT_EQ(alone->At(path).Retrieved(), whole->At(path).Retrieved()) << path;
    }
}

}  // namespace

}  // namespace tal::test
