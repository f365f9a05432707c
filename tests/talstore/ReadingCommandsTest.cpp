/// show, check, diff and layout, run inside the test.

#include "Support.h"
#include "support/Documentation.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Json = nlohmann::json;

// ---- show

class Show : public StorageFiles {};

TEST_F(Show, ListsADocumentWithoutALayout) {
    StoreFile("unit.xml");
    const Ended ended = Talstore({"show", "unit.xml"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(LinesOf(ended.out),
                ElementsAre("PATH        TYPE          SIZE  VALUE", "R/O/u8      U8            1     5",
                            "R/O/u32     U32           4     7", "R/O/flag    BOOL          4     TRUE",
                            "R/O/text    STRING        5     \"north\"", "R/O/list    U16_ARRAY[3]  6     [1, 2, 3]",
                            "R/O/real    DOUBLE        8     1.500000e+00", "R/O/N/deep  S32           4     -4"));
    EXPECT_THAT(ended.err, IsEmpty());
}

TEST_F(Show, ListsASecureFileInHexadecimalWithoutALayout) {
    StoreFile("unit.sbin");
    const Ended ended = Talstore({"show", "unit.sbin"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(LinesOf(ended.out).at(2), "R/O/u32     -     4     07 00 00 00");
}

TEST_F(Show, ListsASecureFileTypedWithALayout) {
    StoreFile("unit.sbin");
    const Ended ended = Talstore({"show", "unit.sbin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(LinesOf(ended.out).at(4), "R/O/text    STRING[16]    16    \"north\"");
}

TEST_F(Show, ListsADocumentTypedWithALayout) {
    StoreFile("unit.xml", {"R/O/u32=4294967295"});
    WriteFile("unit.xml", ReadFile("unit.xml") + "<!-- unchanged -->");
    EXPECT_THAT(LinesOf(Talstore({"show", "unit.xml", "--layout", "layout.json"}).out),
                ElementsAre("PATH        TYPE          SIZE  VALUE", "R/O/u8      U8            1     5",
                            "R/O/u32     U32           4     4294967295", "R/O/flag    BOOL          4     true",
                            "R/O/text    STRING[16]    16    \"north\"", "R/O/list    U16_ARRAY[3]  6     [1, 2, 3]",
                            "R/O/real    DOUBLE        8     1.5", "R/O/N/deep  S32           4     -4"));
}

TEST_F(Show, ListsARawFileWithALayout) {
    StoreFile("unit.bin");
    const Ended ended = Talstore({"show", "unit.bin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(LinesOf(ended.out).back(), "R/Fixed/id  U32           4     9");
}

TEST_F(Show, RefusesARawFileWithoutALayout) {
    StoreFile("unit.bin");
    const Ended ended = Talstore({"show", "unit.bin"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_EQ(
        ended.err,
        "talstore: unit.bin: a raw binary file holds no names and no types: say with --layout how it is laid out\n");
}

TEST_F(Show, RefusesWhatItCannotRecognise) {
    WriteFile("unit", "something");
    const Ended ended = Talstore({"show", "unit"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, HasSubstr("unit: neither an XML document nor a secure binary file"));
}

TEST_F(Show, RecognisesFilesByTheirContent) {
    StoreFile("unit.xml");
    WriteFile("unit.bin", ReadFile("unit.xml"));
    EXPECT_EQ(Talstore({"show", "unit.bin", "--json"}).Json()["format"], "xml");
}

TEST_F(Show, TakesTheFormatThatItIsTold) {
    StoreFile("unit.sbin");
    const Ended ended = Talstore({"show", "unit.sbin", "--format", "binary", "--layout", "layout.json", "--json"});
    EXPECT_EQ(ended.Json()["format"], "binary");
    EXPECT_EQ(ended.Json()["variables"][0]["value"], 0xEF);
}

TEST_F(Show, SaysWhyAFileCannotBeRead) {
    EXPECT_EQ(Talstore({"show", "absent.xml"}).err, "talstore: absent.xml: No such file or directory\n");
    EXPECT_EQ(Talstore({"show", "."}).err, "talstore: .: Is a directory\n");
    EXPECT_EQ(Talstore({"show", "absent.xml"}).status, 2);
}

TEST_F(Show, SaysWhereADescriptionIsWrong) {
    StoreFile("unit.xml");
    WriteFile(
        "wrong.json",
        R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [{"name": "a", "type": "U9"}]}]}]})");
    const Ended ended = Talstore({"show", "unit.xml", "--layout", "wrong.json"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, HasSubstr("wrong.json: regions[0].objects[0].variables[0]: unknown type \"U9\""));
}

TEST_F(Show, QuotesADescriptionWithoutItsControlSequences) {
    StoreFile("unit.xml");
    WriteFile("wrong.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "a", "type": "\u001b[2J"}]}]}]})");
    EXPECT_EQ(Talstore({"show", "unit.xml", "--layout", "wrong.json"}).err,
              "talstore: wrong.json: regions[0].objects[0].variables[0]: unknown type \"\\x1b[2J\"\n");
}

TEST_F(Show, ShowsWhatIsLeftOfADamagedFileAndSaysWhatIsWrong) {
    StoreFile("unit.sbin");
    WriteFile("unit.sbin", ReadFile("unit.sbin").substr(0, 58));
    const Ended ended = Talstore({"show", "unit.sbin"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(LinesOf(ended.out), ElementsAre("PATH    TYPE  SIZE  VALUE", "R/O/u8  -     1     05"));
    EXPECT_THAT(ended.err, StartsWith("talstore: unit.sbin: byte 28: R/O/u32: the file ends inside the record's data"));
}

TEST_F(Show, PrintsJsonOfEachFormat) {
    StoreFile("unit.xml");
    StoreFile("unit.sbin");
    const Json xml = Talstore({"show", "unit.xml", "--json"}).Json();
    EXPECT_EQ(xml["whole"], true);
    EXPECT_EQ(xml["variables"][4], Json::parse(R"({"path": "R/O/list", "place": {"offset": 379, "line": 6, "column": 1},
        "type": "U16_ARRAY", "elements": ["1", "2", "3"], "value": [1, 2, 3]})"));
    EXPECT_EQ(Talstore({"show", "unit.sbin", "--json", "--layout", "layout.json"}).Json()["variables"][1],
              Json::parse(R"({"path": "R/O/u32", "place": {"offset": 28}, "size": 4, "hex": "07 00 00 00",
                              "type": "U32", "value": 7})"));
}

TEST_F(Show, NeverSendsControlSequencesToATerminal) {
    WriteFile("unit.sbin", Record("R/O/\x1B[2J", "x"));
    EXPECT_THAT(Talstore({"show", "unit.sbin"}).out, HasSubstr("R/O/\\x1b[2J"));
}

TEST_F(Show, NeverTurnsTheDirectionOfWhatFollows) {
    // NOLINTNEXTLINE(misc-misleading-bidirectional): that is what the file has
    WriteFile("unit.sbin", Record("R/O/\xE2\x80\xAE"
                                  "cba\xE2\x81\xA6\xD8\x9C\xE2\x82\xAC",
                                  "x"));
    EXPECT_THAT(Talstore({"show", "unit.sbin"}).out, HasSubstr("R/O/\\xe2\\x80\\xae"
                                                               "cba\\xe2\\x81\\xa6\\xd8\\x9c\xE2\x82\xAC"));
}

TEST_F(Show, OfAChannelHasThePathsThatABoardLooksUp) {
    WriteFile("unit.sbin", Record("R/O/Channel.X.v", "x"));
    EXPECT_THAT(Talstore({"show", "unit.sbin", "--channel", "3"}).out, HasSubstr("R/O/Channel.3.v"));
    const Json variable = Talstore({"show", "unit.sbin", "--channel", "3", "--json"}).Json()["variables"][0];
    EXPECT_EQ(variable["path"], "R/O/Channel.3.v");
    EXPECT_EQ(variable["storedPath"], "R/O/Channel.X.v");
    EXPECT_THAT(Talstore({"show", "unit.sbin"}).out, HasSubstr("R/O/Channel.X.v"));
}

TEST_F(Show, NamesEachOfSeveralFiles) {
    StoreFile("a.xml");
    WriteFile("b.sbin", Record("R/O/v", "x"));
    EXPECT_THAT(Talstore({"show", "a.xml", "b.sbin"}).out,
                HasSubstr("b.sbin: secure binary file, 27 bytes, 1 variable\nPATH   TYPE  SIZE  VALUE\n"));
}

TEST_F(Show, OfPathsThatAreNotUtf8IsStillJson) {
    WriteFile("unit.sbin", Record("R/O/\xFF", "x"));
    EXPECT_EQ(Talstore({"show", "unit.sbin", "--json"}).Json()["variables"][0]["path"], "R/O/\xEF\xBF\xBD");
}

// ---- check

class Check : public StorageFiles {
protected:
    /// The codes of the findings of a document with that in its object.
    static std::vector<std::string> CodesOf(const std::string& variables) {
        WriteFile("made.xml",
                  Document("<region name = \"R\"><object name = \"O\">" + variables + "\n</object>\n</region>\n"));
        std::vector<std::string> codes;
        const Json json = Talstore({"check", "made.xml", "--json"}).Json();
        for (const Json& finding : json["findings"]) {
            codes.push_back(finding["code"].get<std::string>() + ' ' + finding.value("path", ""));
        }
        return codes;
    }
};

TEST_F(Check, FindsNothingInWhatTheLibraryStores) {
    for (const std::string name : {"unit.xml", "unit.sbin", "unit.bin"}) {
        StoreFile(name);
        const Ended ended = Talstore({"check", name, "--layout", "layout.json"});
        EXPECT_EQ(ended.status, 0) << ended.out;
        EXPECT_THAT(ended.out, HasSubstr("0 findings"));
    }
}

TEST_F(Check, CountsWhatABoardWouldRestore) {
    StoreFile("unit.xml");
    EXPECT_THAT(Talstore({"check", "unit.xml", "--layout", "layout.json"}).out,
                HasSubstr("a board with layout.json: 7 restored, 1 read-only\n"));
}

TEST_F(Check, PrintsOneFindingPerLineWithItsPlace) {
    std::string file = Record("R/O/v", "x");
    file[16] = 0;
    WriteFile("unit.sbin", file);
    const Ended ended = Talstore({"check", "unit.sbin"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "unit.sbin: secure binary file, 27 bytes, 1 variable, 1 finding\n"
              "warning  byte 16  R/O/v  end marker is 0xBEEFCA00, expected 0xBEEFCAFE; readers ignore it\n");
}

TEST_F(Check, NotesAloneAreFine) {
    WriteFile("unit.xml", Document("<region name = \"R\"><other/></region>"));
    const Ended ended = Talstore({"check", "unit.xml"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, HasSubstr("note"));
}

TEST_F(Check, FindsValuesThatDoNotComeBack) {
    EXPECT_THAT(CodesOf(Variable("a", "U8", "300")), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf(Variable("a", "U32", "4294967295")), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf(Variable("a", "STRING", "")), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf(Variable("a", "STRING", "x&lt;y")), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf(Variable("a", "STRING", "x\ny")), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf(Variable("a", "STRING", std::string(3000, 'x'))), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf(Variable("a", "S16", "no number")), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf(Variable("a", "FLOAT", "no number")), ElementsAre("xml.changed R/O/a"));
    EXPECT_THAT(CodesOf("<variable name = \"a\"><type>U8</type></variable>"), ElementsAre("xml.changed R/O/a"));
}

TEST_F(Check, NamesWhatInterruptsAText) {
    const auto messageFor = [](const std::string& value) {
        WriteFile("made.xml", Document("<region name = \"R\"><object name = \"O\">" + Variable("a", "STRING", value) +
                                       "</object></region>"));
        const std::string message = Talstore({"check", "made.xml", "--json"}).Json()["findings"][0]["message"];
        return message.substr(message.rfind("that holds ") + 11);
    };
    EXPECT_EQ(messageFor("x<!-- y -->z"), "a comment");
    EXPECT_EQ(messageFor("x<?y z?>z"), "a processing instruction");
    EXPECT_EQ(messageFor("x<![CDATA[y]]>z"), "a CDATA section");
    EXPECT_EQ(messageFor("x&#65;z"), "a character reference or entity");
    EXPECT_EQ(messageFor("x&lt;z"), "a character reference or entity");
    EXPECT_EQ(messageFor("\n  x\n"), "a line break, as indentation has it");
}

TEST_F(Check, FindsADocumentThatIsNoneOfStorage) {
    WriteFile("unit.xml", "<svg><g/></svg>");
    const Ended ended = Talstore({"check", "unit.xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("this is no storage document: it has no region"));
}

TEST_F(Check, FindsAFileOfWhichNothingBelongsToTheLayout) {
    WriteFile("unit.sbin", Record("Other/O/v", "x"));
    const Ended ended = Talstore({"check", "unit.sbin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("nothing in it belongs to this layout"));
}

TEST_F(Check, FindsAnEmptyFileOfAnyName) {
    WriteFile("unit", "");
    const Ended ended = Talstore({"check", "unit"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("the file is empty: every variable would take its default"));
}

/// The codes of the findings of a secure file with that text in a STRING of 16 bytes.
std::vector<std::string> CodesOfText(std::string text) {
    text.resize(16, 'x');
    WriteFile("unit.sbin", Record("R/O/text", text));
    std::vector<std::string> codes;
    const Json json = Talstore({"check", "unit.sbin", "--layout", "layout.json", "--json"}).Json();
    for (const Json& finding : json["findings"]) {
        codes.push_back(finding["code"]);
    }
    return codes;
}

TEST_F(Check, FindsAStringWithoutANul) {
    EXPECT_THAT(CodesOfText("no end"), ElementsAre("string.no-nul"));
    EXPECT_THAT(CodesOfText(std::string("end\0", 4)), IsEmpty());
}

TEST_F(Check, FindsAStringThatIsCutInsideACharacter) {
    EXPECT_THAT(CodesOfText(std::string("cut \xE2\x82\0", 7)), ElementsAre("string.cut"));
    EXPECT_THAT(CodesOfText(std::string("cut \xC3\0", 6)), ElementsAre("string.cut"));
    EXPECT_THAT(CodesOfText(std::string("whole \xE2\x82\xAC\0", 10)), IsEmpty());
}

TEST_F(Check, FindsADocumentWhoseTextIsCutInsideACharacter) {
    WriteFile("unit.xml", Document("<region name = \"R\"><object name = \"O\">" + Variable("a", "STRING", "x\xE2\x82") +
                                   "</object></region>"));
    EXPECT_THAT(Talstore({"check", "unit.xml"}).out, HasSubstr("(a character is cut in two: "));
}

TEST_F(Check, FindsElementsThatAnotherArrayTakes) {
    WriteFile(
        "unit.xml",
        Document("<region name = \"R\"><object name = \"O\"><variable name = \"gone\"><type>U16_ARRAY</type><size>3"
                 "</size><array><element>4</element><element>5</element><element>6</element></array></variable>" +
                 Variable("list", "U16_ARRAY", "7") + "</object></region>"));
    const Ended ended = Talstore({"check", "unit.xml", "--layout", "layout.json"});
    EXPECT_THAT(ended.out, HasSubstr("takes those of R/O/gone, which the layout does not have"));
}

/// The messages about a raw image with that in its variable of the type.
std::vector<std::string> UnlikelyValues(const std::string& type, const std::string& bytes) {
    WriteFile("raw.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [{"name": "v", )" +
                              type + "}]}]}]}");
    WriteFile("unit.bin", bytes);
    const Json json = Talstore({"check", "unit.bin", "--layout", "raw.json", "--json"}).Json();
    std::vector<std::string> messages;
    for (const Json& finding : json["findings"]) {
        if (finding["code"] == "binary.unlikely") {
            messages.push_back(finding["message"]);
        }
    }
    return messages;
}

TEST_F(Check, NamesTheValuesOfARawImageThatAreUnlikelyForTheirType) {
    const std::string cause = ": the file may have been written with another layout";
    EXPECT_THAT(UnlikelyValues(R"("type": "BOOL")", LittleEndian(2)), ElementsAre("2 is unlikely for a BOOL" + cause));
    EXPECT_THAT(UnlikelyValues(R"("type": "BOOL_ARRAY", "count": 2)", LittleEndian(1) + LittleEndian(77)),
                ElementsAre("77 is unlikely for a BOOL_ARRAY" + cause));
    EXPECT_THAT(UnlikelyValues(R"("type": "FLOAT")", LittleEndian(0x7F800000)),
                ElementsAre("inf is unlikely for a FLOAT" + cause));
    EXPECT_THAT(UnlikelyValues(R"("type": "FLOAT")", LittleEndian(1)),
                ElementsAre("1e-45 is unlikely for a FLOAT" + cause));
    EXPECT_THAT(UnlikelyValues(R"("type": "DOUBLE_ARRAY", "count": 1)", std::string(7, '\0') + "\x70"),
                ElementsAre(HasSubstr(" is unlikely for a DOUBLE_ARRAY" + cause)));
    EXPECT_THAT(UnlikelyValues(R"("type": "STRING", "count": 4)", "abcd"),
                ElementsAre("a text without an end is unlikely for a STRING" + cause));
    EXPECT_THAT(UnlikelyValues(R"("type": "STRING", "count": 4)", std::string("a\x01\0x", 4)),
                ElementsAre("\"a\\x01\" is unlikely for a STRING" + cause));
}

TEST_F(Check, TakesAnOrdinaryValueOfARawImageForLikely) {
    EXPECT_THAT(UnlikelyValues(R"("type": "BOOL")", LittleEndian(1)), IsEmpty());
    EXPECT_THAT(UnlikelyValues(R"("type": "FLOAT")", LittleEndian(0)), IsEmpty());
    EXPECT_THAT(UnlikelyValues(R"("type": "FLOAT")", LittleEndian(0x3FC00000)), IsEmpty());
    EXPECT_THAT(UnlikelyValues(R"("type": "STRING", "count": 4)", std::string("ab\0x", 4)), IsEmpty());
    EXPECT_THAT(UnlikelyValues(R"("type": "U32")", "\xFF\xFF\xFF\xFF"), IsEmpty());
}

TEST_F(Check, SaysWhereAChannelsPlaceholderIsLookedUp) {
    WriteFile("layout.json", R"({"regions": [{"name": "Rf2", "objects": [{"name": "O", "variables": [
        {"name": "v", "type": "U8"}]}]}]})");
    static_cast<void>(Talstore({"store", "unit.xml", "--layout", "layout.json", "--channel", "2"}));
    EXPECT_THAT(Talstore({"check", "unit.xml", "--layout", "layout.json", "--channel", "2"}).out,
                HasSubstr("stored under a placeholder, looked up as RfX/O/v, while the layout has Rf2/O/v"));
}

TEST_F(Check, FindsNothingWrongWithValuesThatOnlyLookDifferent) {
    EXPECT_THAT(CodesOf(Variable("a", "U8", "005") + Variable("b", "FLOAT", "1.5") + Variable("c", "S8", "-1") +
                        Variable("d", "DOUBLE", "0.123456789012") + Variable("e", "STRING", " spaces ") +
                        Variable("f", "U32", "-1")),
                IsEmpty());
}

TEST_F(Check, FindsEveryRefusedValueAndGoesOnAfterIt) {
    EXPECT_THAT(CodesOf(Variable("a", "BOOL", "true") + Variable("b", "U8", "1") + Variable("c", "BOOL", "") +
                        Variable("d", "U8", "256")),
                ElementsAre("xml.refused R/O/a", "xml.refused R/O/c", "xml.changed R/O/d"));
}

TEST_F(Check, ListsItsFindingsInTheOrderOfTheFile) {
    EXPECT_THAT(CodesOf(Variable("a", "U8", "300") + Variable("b", "U9", "1") + Variable("c", "STRING", "x&lt;y")),
                ElementsAre("xml.changed R/O/a", "xml.unknown-type R/O/b", "xml.changed R/O/c"));
}

TEST_F(Check, ListsWhatAnUpgradeWouldLose) {
    WriteFile("unit.sbin", Record("R/O/u8", "\x05") + Record("R/O/u32", "toolong") + Record("R/O/gone", "x"));
    const Ended ended = Talstore({"check", "unit.sbin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("1 restored, 1 refused, 5 defaulted, 1 read-only, 1 ignored\n"));
    EXPECT_THAT(ended.out, HasSubstr("refused    R/O/u32     7 bytes in the file, 4 in the layout\n"));
    EXPECT_THAT(ended.out, HasSubstr("defaulted  R/O/flag    not in the file\n"));
    EXPECT_THAT(ended.out, HasSubstr("ignored    R/O/gone    not in the layout\n"));
    EXPECT_THAT(ended.out, Not(HasSubstr("restored   R/O/u8")));
    EXPECT_THAT(Talstore({"check", "unit.sbin", "--layout", "layout.json", "--all"}).out,
                HasSubstr("restored   R/O/u8"));
}

TEST_F(Check, PrintsJson) {
    WriteFile("unit.sbin", Record("R/O/u8", "\x05") + Record("R/O/gone", "x") + "\xEF");
    const Json json = Talstore({"check", "unit.sbin", "--layout", "layout.json", "--json"}).Json();
    EXPECT_EQ(json["whole"], false);
    EXPECT_EQ(json["findings"], Json::parse(R"([{"severity": "error", "code": "secure.header-cut",
        "place": {"offset": 58}, "message": "the file ends inside a record header: 1 of 20 bytes"}])"));
    EXPECT_EQ(json["restore"]["result"], 0);
    EXPECT_EQ(json["restore"]["counts"]["restored"], 1);
    EXPECT_EQ(json["restore"]["counts"]["ignored"], 1);
    EXPECT_EQ(json["restore"]["variables"][0],
              Json::parse(R"({"path": "R/O/u8", "outcome": "restored", "place": {"offset": 0}})"));
    EXPECT_EQ(json["restore"]["ignored"][0],
              Json::parse(R"({"path": "R/O/gone", "place": {"offset": 28}, "reason": "not in the layout"})"));
}

TEST_F(Check, SaysWhenTheRetrieveFails) {
    StoreFile("unit.xml");
    WriteFile("unit.xml", ReadFile("unit.xml").substr(0, 200));
    const Ended ended = Talstore({"check", "unit.xml", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("; the retrieve fails: Parse error in file unit.xml at line 3: unclosed token\n"));
    EXPECT_THAT(
        ended.out,
        HasSubstr(": unclosed token\nleft     7 variables  the board gives up before it sets the defaults\nignored  "));
    EXPECT_THAT(Talstore({"check", "unit.xml", "--layout", "layout.json", "--all"}).out,
                HasSubstr("left      R/O/u32     the board gives up before it sets the defaults\n"));
    EXPECT_EQ(Talstore({"check", "unit.xml", "--layout", "layout.json", "--json"}).Json()["restore"]["failure"],
              "Parse error in file unit.xml at line 3: unclosed token");
}

TEST_F(Check, SaysThatTheRetrieveFailsWhateverPathIsAskedFor) {
    const std::string tooDeep =
        "<object name = \"1\"><object name = \"2\"><object name = \"3\"><object name = \"4\">"
        "<object name = \"5\">" +
        Variable("v", "U8", "1") + "</object></object></object></object></object>";
    WriteFile("unit.xml", Document("<region name = \"R\"><object name = \"O\">" + Variable("u8", "U8", "9") + tooDeep +
                                   "</object></region>"));
    const Ended ended = Talstore({"check", "unit.xml", "--layout", "layout.json", "--path", "R/O/u8"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("a board with layout.json: 1 restored; the retrieve fails: "));
}

TEST_F(Check, ListsARecordForAVariableThatHoldsObjectsAsRefused) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "a", "type": "U8"},
        {"name": "n", "type": "OBJECT", "object": {"name": "n", "variables": []}}]}]}]})");
    const std::string ofObjects = Record("R/O/n", std::string(sizeof(void*), 'x'));
    for (const std::string& records : {Record("R/O/a", "x") + ofObjects, ofObjects + Record("R/O/a", "x")}) {
        WriteFile("unit.sbin", records);
        EXPECT_THAT(Talstore({"check", "unit.sbin", "--layout", "layout.json"}).out,
                    HasSubstr("\nrefused  R/O/n  Variable holds objects and has no value (path R/O/n)\n"));
    }
}

// ---- diff

class Diff : public StorageFiles {};

TEST_F(Diff, ShowsTheBytesOfTheRecordItself) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "n", "type": "OBJECT", "object": {"name": "n", "variables": []}}, {"name": "b", "type": "U8"}]}]}]})");
    const std::string before = Record("R/O/n", std::string(sizeof(void*), 'x')) + Record("R/O/zzz", "\x09");
    WriteFile("a.sbin", before + Record("R/O/b", "\x05"));
    WriteFile("b.sbin", before + Record("R/O/b", "\x06"));
    EXPECT_THAT(LinesOf(Talstore({"diff", "a.sbin", "b.sbin", "--layout", "layout.json"}).out),
                ElementsAre("         PATH   A  B", "differs  R/O/b  5  6",
                            "2 the same, 0 only in A, 0 only in B, 1 differs, 0 size differs"));
}

TEST_F(Diff, ShowsTheBytesOfARecordOfAnotherSize) {
    WriteFile("a.sbin", Record("R/O/list", std::string("\1\0\2\0", 4)));
    WriteFile("b.sbin", "");
    EXPECT_THAT(LinesOf(Talstore({"diff", "a.sbin", "b.sbin", "--layout", "layout.json"}).out),
                ElementsAre("           PATH      A            B", "only in A  R/O/list  01 00 02 00  -",
                            "0 the same, 1 only in A, 0 only in B, 0 differs, 0 size differs"));
}

TEST_F(Diff, LeavesOutAVariableThatHoldsObjectsWhateverItsType) {
    WriteFile("a.xml", Document("<region name = \"R\"><object name = \"O\"><variable name = \"ports\"><type>U8</type>"
                                "<array><objectElement></objectElement></array></variable></object></region>"));
    WriteFile("b.xml", Document("<region name = \"R\"></region>"));
    EXPECT_EQ(Talstore({"diff", "a.xml", "b.xml"}).out,
              "0 the same, 0 only in A, 0 only in B, 0 differs, 0 size differs\n");
}

TEST_F(Diff, OfLargeFilesFindsTheOneDifference) {
    std::string variables;
    for (int i = 0; i < 8000; ++i) {
        variables += (i == 0 ? "" : ", ") + std::string(R"({"name": "v)") + std::to_string(i) + R"(", "type": "U32"})";
    }
    WriteFile("layout.json",
              R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [)" + variables + "]}]}]}");
    for (const std::string ending : {".xml", ".sbin", ".bin"}) {
        StoreFile("a" + ending);
        StoreFile("b" + ending, {"R/O/v7999=165"});
        EXPECT_THAT(LinesOf(Talstore({"diff", "a" + ending, "b" + ending, "--layout", "layout.json"}).out),
                    ElementsAre("         PATH       A  B", "differs  R/O/v7999  0  165",
                                "7999 the same, 0 only in A, 0 only in B, 1 differs, 0 size differs"));
    }
}

TEST_F(Diff, TellsOfTheLayoutFirst) {
    WriteFile("bad.json", "{");
    EXPECT_THAT(Talstore({"diff", "none.xml", "none.xml", "--layout", "bad.json"}).err,
                HasSubstr("bad.json: description: not valid JSON"));
    EXPECT_THAT(Talstore({"show", "none.xml", "--layout", "bad.json"}).err,
                HasSubstr("bad.json: description: not valid JSON"));
}

TEST_F(Diff, OfEqualFilesIsEmpty) {
    StoreFile("a.xml");
    StoreFile("b.xml");
    const Ended ended = Talstore({"diff", "a.xml", "b.xml"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "7 the same, 0 only in A, 0 only in B, 0 differs, 0 size differs\n");
}

TEST_F(Diff, ComparesADocumentWithASecureFile) {
    StoreFile("a.xml", {"R/O/real=0.1234567890123"});
    StoreFile("b.sbin", {"R/O/real=0.1234567890123"});
    const Ended ended = Talstore({"diff", "a.xml", "b.sbin"});
    EXPECT_EQ(ended.status, 0) << ended.out;
}

TEST_F(Diff, ShowsBothValuesWithTheTypeThatOneSideKnows) {
    StoreFile("a.xml", {"R/O/u32=1", "R/O/text=east"});
    StoreFile("b.sbin", {"R/O/u32=2", "R/O/text=west"});
    const Ended ended = Talstore({"diff", "a.xml", "b.sbin"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(LinesOf(ended.out), ElementsAre("         PATH      A       B", "differs  R/O/u32   1       2",
                                                "differs  R/O/text  \"east\"  \"west\"",
                                                "5 the same, 0 only in A, 0 only in B, 2 differs, 0 size differs"));
}

TEST_F(Diff, ListsWhatOnlyOneSideHas) {
    WriteFile("a.sbin", Record("R/O/a", "x") + Record("R/O/both", "x") + Record("R/O/size", "x"));
    WriteFile("b.sbin", Record("R/O/both", "x") + Record("R/O/size", "xx") + Record("R/O/b", "x"));
    const Ended ended = Talstore({"diff", "a.sbin", "b.sbin"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(
        LinesOf(ended.out),
        ElementsAre("              PATH      A           B", "only in A     R/O/a     78          -",
                    "size differs  R/O/size  1 byte: 78  2 bytes: 78 78", "only in B     R/O/b     -           78",
                    "1 the same, 1 only in A, 1 only in B, 0 differs, 1 size differs"));
}

TEST_F(Diff, OfSecureFilesIsExact) {
    StoreFile("a.sbin", {"R/O/real=0.1234567890123"});
    StoreFile("b.sbin", {"R/O/real=0.1234567890124"});
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.sbin"}).status, 1);
}

TEST_F(Diff, OfSecureFilesComparesWhatFollowsATextsNul) {
    WriteFile("a.sbin", Record("R/O/text", std::string("north\0west\0\0\0\0\0\0", 16)));
    WriteFile("b.sbin", Record("R/O/text", std::string("north\0east\0\0\0\0\0\0", 16)));
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.sbin", "--layout", "layout.json"}).status, 1);
}

TEST_F(Diff, CountsWhatIsMissingThoughTheFormatStoresIt) {
    StoreFile("a.bin");
    WriteFile("b.sbin", Record("R/O/u8", "\x05"));
    EXPECT_THAT(Talstore({"diff", "a.bin", "b.sbin", "--layout", "layout.json", "--summary"}).out,
                HasSubstr("1 the same, 6 only in A, 0 only in B, 0 differs, 0 size differs, 1 read-only, which"));
}

TEST_F(Diff, CountsARecordThatItsFormatNeverStores) {
    WriteFile("a.sbin", Record("R/Fixed/id", LittleEndian(9)));
    WriteFile("b.sbin", "");
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.sbin", "--layout", "layout.json", "--summary"}).out,
              "0 the same, 1 only in A, 0 only in B, 0 differs, 0 size differs\n");
}

TEST_F(Diff, ComparesRawFilesWithALayout) {
    StoreFile("a.bin");
    StoreFile("b.bin", {"R/Fixed/id=10"});
    const Ended ended = Talstore({"diff", "a.bin", "b.bin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("differs  R/Fixed/id  9  10\n"));
}

TEST_F(Diff, ComparesPathsAsABoardSeesThemWhenAChannelIsGiven) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "Channel.2.v", "type": "U8"}]}]}]})");
    WriteFile("a.sbin", Record("R/O/Channel.X.v", "x"));
    WriteFile("b.sbin", Record("R/O/Channel.2.v", "x"));
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.sbin"}).status, 1);
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.sbin", "--layout", "layout.json", "--channel", "2"}).status, 0);
}

TEST_F(Diff, ComparesTextsThatNoBoardTakes) {
    const auto document = [](const std::string& flag) {
        return Document("<region name = \"R\"><object name = \"O\">" + Variable("f", "BOOL", flag) +
                        "</object></region>");
    };
    WriteFile("a.xml", document("yes"));
    WriteFile("b.xml", document("no"));
    EXPECT_EQ(Talstore({"diff", "a.xml", "a.xml"}).status, 0);
    EXPECT_THAT(Talstore({"diff", "a.xml", "b.xml"}).out, HasSubstr("differs  R/O/f  \"yes\"  \"no\"\n"));
}

TEST_F(Diff, FindsAnotherTypeOfTheSameValue) {
    const auto document = [](const std::string& type) {
        return Document("<region name = \"R\"><object name = \"O\">" + Variable("v", type, "1") + "</object></region>");
    };
    WriteFile("a.xml", document("U8"));
    WriteFile("b.xml", document("S8"));
    WriteFile("c.xml", document("U16"));
    EXPECT_EQ(Talstore({"diff", "a.xml", "b.xml", "--json"}).Json()["counts"]["differs"], 1);
    EXPECT_EQ(Talstore({"diff", "a.xml", "c.xml", "--json"}).Json()["counts"]["sizeDiffers"], 1);
}

TEST_F(Diff, CountsTheLastOfSeveralRecords) {
    WriteFile("a.sbin", Record("R/O/v", "x") + Record("R/O/v", "y"));
    WriteFile("b.sbin", Record("R/O/v", "y"));
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.sbin"}).status, 0);
}

TEST_F(Diff, SaysWhenAFileIsDamaged) {
    StoreFile("a.sbin");
    WriteFile("b.sbin", ReadFile("a.sbin") + "tail");
    const Ended ended = Talstore({"diff", "a.sbin", "b.sbin"});
    EXPECT_EQ(ended.status, 1) << "equal, but not whole";
    EXPECT_THAT(ended.err, HasSubstr("talstore: b.sbin: byte"));
}

TEST_F(Diff, SummaryPrintsOnlyTheCounts) {
    WriteFile("a.sbin", Record("R/O/a", "x"));
    WriteFile("b.sbin", "");
    const Ended ended = Talstore({"diff", "a.sbin", "b.sbin", "--summary"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "0 the same, 1 only in A, 0 only in B, 0 differs, 0 size differs\n");
}

TEST_F(Diff, PrintsJson) {
    StoreFile("a.xml", {"R/O/u32=1"});
    StoreFile("b.sbin", {"R/O/u32=2"});
    const Json json = Talstore({"diff", "a.xml", "b.sbin", "--json"}).Json();
    EXPECT_EQ(json["a"], Json::parse(R"({"file": "a.xml", "format": "xml", "whole": true})"));
    EXPECT_EQ(json["counts"],
              Json::parse(R"({"same": 6, "onlyInA": 0, "onlyInB": 0, "differs": 1, "sizeDiffers": 0, "readOnly": 0})"));
    EXPECT_EQ(json["differences"], Json::parse(R"([{"kind": "differs", "path": "R/O/u32", "a": 1, "b": 2}])"));
}

TEST_F(Diff, QuietSaysOnlyWhetherTheyDiffer) {
    StoreFile("a.sbin");
    StoreFile("b.sbin", {"R/O/u8=9"});
    for (const std::string option : {"-q", "--quiet"}) {
        const Ended ended = Talstore({"diff", "a.sbin", "b.sbin", option});
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.out, "a.sbin and b.sbin differ\n");
        EXPECT_EQ(Talstore({"diff", "a.sbin", "a.sbin", option}).out, "");
    }
}

TEST_F(Diff, TakesAFormatPerSide) {
    StoreFile("a.sbin");
    StoreFile("b.bin");
    WriteFile("b.bin", Record("x", "") + "a raw image that looks like a secure file");
    WriteFile("a.sbin", ReadFile("b.bin"));
    const Json json =
        Talstore({"diff", "a.sbin", "b.bin", "--format-b", "binary", "--layout", "layout.json", "--json"}).Json();
    EXPECT_EQ(json["a"]["format"], "secure");
    EXPECT_EQ(json["b"]["format"], "binary");
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.bin", "--format-a", "binary", "--format", "secure", "--layout",
                        "layout.json", "--json"})
                  .Json()["a"]["format"],
              "binary");
}

TEST_F(Diff, DoesNotCountReadOnlyVariablesThatOneFormatNeverStores) {
    StoreFile("a.bin", {"R/Fixed/id=77"});
    StoreFile("b.sbin");
    const Ended ended = Talstore({"diff", "a.bin", "b.sbin", "--layout", "layout.json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out,
              "7 the same, 0 only in A, 0 only in B, 0 differs, 0 size differs, 1 read-only, which one of the formats "
              "never stores\n");
    EXPECT_THAT(Talstore({"diff", "b.sbin", "a.bin", "--layout", "layout.json"}).out, HasSubstr("1 read-only, which"));
    const Ended all = Talstore({"diff", "a.bin", "b.sbin", "--layout", "layout.json", "--all"});
    EXPECT_EQ(all.status, 1);
    EXPECT_THAT(all.out, HasSubstr("only in A  R/Fixed/id  77  -\n"));
}

TEST_F(Diff, ComparesOnlyThePathsThatAreAskedFor) {
    StoreFile("a.sbin");
    StoreFile("b.sbin", {"R/O/u8=9", "R/O/N/deep=5"});
    const Ended ended = Talstore({"diff", "a.sbin", "b.sbin", "--path", "R/O/N"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "         PATH        A            B\n"
              "differs  R/O/N/deep  fc ff ff ff  05 00 00 00\n"
              "0 the same, 0 only in A, 0 only in B, 1 differs, 0 size differs\n");
    EXPECT_EQ(Talstore({"diff", "a.sbin", "b.sbin", "--path", "R/O/text"}).status, 0);
    const Ended missing = Talstore({"diff", "a.sbin", "b.sbin", "--path", "nix"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "talstore: a.sbin, b.sbin: nix: nothing of this path\n");
}

TEST_F(Diff, ShowsALongRunOfZerosAsItsLength) {
    WriteFile("a.sbin", Record("R/O/a", std::string("x") + std::string(44, '\0') + "y"));
    WriteFile("b.sbin", Record("R/O/a", std::string(8, '\0')));
    EXPECT_THAT(Talstore({"diff", "a.sbin", "b.sbin"}).out,
                HasSubstr("46 bytes: 78 00 x44 79  8 bytes: 00 00 00 00 00 00 00 00\n"));
}

TEST_F(Check, LooksOnlyAtThePathsThatAreAskedFor) {
    WriteFile("unit.sbin", Record("R/O/u8", "\x05") + Record("R/O/u32", "toolong") + Record("R/O/gone", "x"));
    const Ended fine = Talstore({"check", "unit.sbin", "--layout", "layout.json", "--path", "R/O/u8"});
    EXPECT_EQ(fine.status, 0);
    EXPECT_THAT(fine.out, HasSubstr("a board with layout.json: 1 restored\n"));
    const Ended ended = Talstore(
        {"check", "unit.sbin", "--layout", "layout.json", "--path", "R/O/u32", "--path", "R/O/gone", "--path", "nix"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, HasSubstr("a board with layout.json: 1 refused, 1 ignored\n"));
    EXPECT_EQ(ended.err, "talstore: unit.sbin: nix: nothing of this path\n");
}

TEST_F(Check, ShowsTheFindingsOfThePathsThatAreAskedForAndOfTheWholeFile) {
    std::string file = Record("R/O/a", "x") + Record("R/O/b", "x") + "\xEF";
    file[16] = 0;
    file[27 + 16] = 0;
    WriteFile("unit.sbin", file);
    std::vector<std::string> found;
    const Json json = Talstore({"check", "unit.sbin", "--path", "R/O/b", "--json"}).Json();
    for (const Json& finding : json["findings"]) {
        found.push_back(finding["code"].get<std::string>() + ' ' + finding.value("path", ""));
    }
    EXPECT_THAT(found, ElementsAre("secure.end-marker R/O/b", "secure.header-cut "));
}

TEST_F(Check, OfAChannelLooksAtThePathsThatTheBoardLooksUp) {
    WriteFile("unit.sbin", Record("R/O/Channel.X.v", "x") + Record("R/O/Channel.X.w", "x"));
    const Ended ended =
        Talstore({"check", "unit.sbin", "--layout", "layout.json", "--channel", "2", "--path", "R/O/Channel.2.v"});
    EXPECT_THAT(ended.out, HasSubstr("a board with layout.json: 1 ignored\n"));
    EXPECT_EQ(ended.err, "");
}

// ---- layout

class LayoutCommand : public StorageFiles {};

TEST_F(LayoutCommand, MakesADescriptionThatRestoresTheDocument) {
    StoreFile("unit.xml");
    const Ended made = Talstore({"layout", "unit.xml", "--output", "made.json"});
    EXPECT_EQ(made.status, 0);
    EXPECT_THAT(made.out, IsEmpty());
    const Ended checked = Talstore({"check", "unit.xml", "--layout", "made.json"});
    EXPECT_EQ(checked.status, 0);
    EXPECT_THAT(checked.out, HasSubstr("a board with made.json: 7 restored\n"));
}

TEST_F(LayoutCommand, DescribesTypesCountsAndNestedObjects) {
    StoreFile("unit.xml");
    const Ended ended = Talstore({"layout", "unit.xml", "--string-capacity", "32"});
    EXPECT_EQ(ended.Json(), Json::parse(R"({"regions": [{"name": "R", "objects": [
        {"name": "O", "variables": [
          {"name": "u8", "type": "U8"}, {"name": "u32", "type": "U32"}, {"name": "flag", "type": "BOOL"},
          {"name": "text", "type": "STRING", "count": 32}, {"name": "list", "type": "U16_ARRAY", "count": 3},
          {"name": "real", "type": "DOUBLE"},
          {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "deep", "type": "S32"}]}}]},
        {"name": "Fixed", "variables": []}]}]})"));
    EXPECT_THAT(ended.err, HasSubstr("Fixed: the object is empty"));
    EXPECT_THAT(ended.err, HasSubstr("1 string got room for 32 bytes or more"));
}

TEST_F(LayoutCommand, TakesTheDocumentsValuesAsDefaults) {
    StoreFile("unit.xml", {"R/O/text=south", "R/O/list=[7, 8, 9]"});
    const Json variables =
        Talstore({"layout", "unit.xml", "--defaults"}).Json()["regions"][0]["objects"][0]["variables"];
    EXPECT_EQ(variables[3]["default"], "south");
    EXPECT_EQ(variables[4]["default"], Json({7, 8, 9}));
    EXPECT_EQ(variables[6]["object"]["variables"][0]["default"], -4);
}

TEST_F(LayoutCommand, DescribesObjectArraysAndTheArrayThatIsTypedAsAScalar) {
    WriteFile("unit.xml",
              Document("<region name = \"R\"><object name = \"O\">"
                       "<variable name = \"A\"><type>OBJECT_ARRAY</type><size>1</size><array><objectElement>"
                       "<object name = \"E\">" +
                       Variable("x", "U8", "1") +
                       "</object></objectElement></array></variable>"
                       "<variable name = \"s\"><type>S32</type><size>2</size><array><element>1</element>"
                       "<element>2</element></array></variable></object></region>"));
    EXPECT_EQ(Talstore({"layout", "unit.xml"}).Json()["regions"][0]["objects"][0]["variables"], Json::parse(R"([
        {"name": "A", "type": "OBJECT_ARRAY", "objects": [{"name": "E", "variables": [{"name": "x", "type": "U8"}]}]},
        {"name": "s", "type": "S32_ARRAY", "count": 2}])"));
}

TEST_F(LayoutCommand, SaysWhatItLeavesOut) {
    WriteFile("unit.xml", Document("<region name = \"R\"><object name = \"O\">" + Variable("a", "U8", "1") +
                                   Variable("a", "U8", "1") + Variable("b", "U9", "1") +
                                   "</object></region><region name = \"R\"></region>"));
    const Ended ended = Talstore({"layout", "unit.xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.err, HasSubstr("unit.xml: 3:1: a: left out: a second variable of this name"));
    EXPECT_THAT(ended.err, HasSubstr("unit.xml: 4:1: R/O/b: left out: its type is \"U9\""));
    EXPECT_THAT(ended.err, HasSubstr("R: left out: a second region of this name"));
}

TEST_F(LayoutCommand, RefusesASecureFile) {
    StoreFile("unit.sbin");
    const Ended ended = Talstore({"layout", "unit.sbin"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(ended.err, HasSubstr("unit.sbin: a secure binary file holds no types"));
}

TEST_F(LayoutCommand, LeavesOutTheRestOfACharacterThatTheReaderCuts) {
    const std::string longest(2045, 'x');
    WriteFile("unit.xml", Document("<region name = \"R\"><object name = \"O\">" +
                                   Variable("a", "STRING", longest + "\u00E9") + "</object></region>"));
    const Ended ended = Talstore({"layout", "unit.xml", "--defaults"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.Json()["regions"][0]["objects"][0]["variables"][0]["default"], longest);
}

TEST_F(LayoutCommand, OfADamagedDocumentDescribesWhatIsBeforeTheDamage) {
    StoreFile("unit.xml");
    WriteFile("unit.xml", ReadFile("unit.xml").substr(0, 250));
    const Ended ended = Talstore({"layout", "unit.xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.Json()["regions"][0]["objects"][0]["variables"].size(), testing::Gt(0U));
    EXPECT_THAT(ended.err, HasSubstr("not well-formed XML"));
}

}  // namespace

}  // namespace tal::test
