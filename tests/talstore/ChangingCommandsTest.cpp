/// set and get, run inside the test.

#include <filesystem>

#include "Support.h"

namespace tal::test {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using Json = nlohmann::json;

// ---- set

class Set : public StorageFiles {
protected:
    static Ended Run(const std::string& file, const std::vector<std::string>& settings,
                     const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"set", file, "--layout", "layout.json"};
        arguments.insert(arguments.end(), settings.begin(), settings.end());
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Talstore(arguments);
    }

    /// Expects that nothing is changed.
    static Ended Refused(const std::string& file, const std::vector<std::string>& settings) {
        const std::string before = ReadFile(file);
        Ended ended = Run(file, settings);
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ReadFile(file), before);
        return ended;
    }
};

/// The text with each of these pieces replaced by the one after it; fails the test when one is missing.
std::string Replaced(std::string text, const std::vector<std::pair<std::string, std::string>>& pieces) {
    for (const auto& [before, after] : pieces) {
        const std::size_t place = text.find(before);
        EXPECT_NE(place, std::string::npos) << before;
        text.replace(place, before.size(), after);
    }
    return text;
}

TEST_F(Set, ChangesSingleValuesOfASecureFileAndNoOtherByte) {
    StoreFile("unit.sbin", {"R/O/real=0.1234567890123"});
    const std::string before = ReadFile("unit.sbin");
    const Ended ended = Run("unit.sbin", {"R/O/u32=258", "R/O/text=a & b"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out,
              "changed  R/O/u32   7 becomes 258\n"
              "changed  R/O/text  \"north\" becomes \"a & b\"\n"
              "unit.sbin: 20 of 245 bytes are written anew\n");
    EXPECT_EQ(ReadFile("unit.sbin"), Replaced(before, {{Record("R/O/u32", LittleEndian(7)),  //
                                                        Record("R/O/u32", LittleEndian(258))},
                                                       {"north", "a & b"}}));
}

TEST_F(Set, ChangesSingleValuesOfARawImageAndNoOtherByte) {
    StoreFile("unit.bin");
    const std::string before = ReadFile("unit.bin");
    EXPECT_EQ(Run("unit.bin", {"R/Fixed/id=77", "R/O/list=[1, 513, 3]"}).status, 0);
    EXPECT_EQ(ReadFile("unit.bin"),
              Replaced(before, {{std::string("\x02\0\x03\0", 4), std::string("\x01\x02\x03\0", 4)},  //
                                {LittleEndian(9), LittleEndian(77)}}));
}

TEST_F(Set, ChangesSingleTextsOfADocumentAndReformatsNoOther) {
    const std::string before =
        Document("\n <!-- made by hand -->\n<region name='R'><object name=\"O\">" + Variable("u8", "U8", " 005 ") +
                 "<variable name = \"real\"><type>DOUBLE</type>\n <value>1.50</value></variable>" +
                 "<variable name = \"list\"><type>U16_ARRAY</type><size>3</size><array><element> 1</element>"
                 "<element>02</element><element>3 </element></array></variable>" +
                 Variable("text", "STRING", "north") + "</object></region>");
    WriteFile("unit.xml", before);
    const Ended ended = Run("unit.xml", {"R/O/u8=9", "R/O/list=[1, 7, 3]", "R/O/text=south pole"});
    EXPECT_EQ(ended.status, 0) << ended.out;
    EXPECT_EQ(ReadFile("unit.xml"), Replaced(before, {{"> 005 <", ">9<"},  //
                                                      {">02<", ">7<"},
                                                      {">north<", ">south pole<"}}));
}

TEST_F(Set, WritesARealWithAsManyDigitsAsItNeeds) {
    StoreFile("unit.xml");
    EXPECT_EQ(Run("unit.xml", {"R/O/real=0.1234567890123"}).status, 0);
    EXPECT_THAT(ReadFile("unit.xml"), HasSubstr("<value>0.1234567890123</value>"));
    EXPECT_EQ(Run("unit.xml", {"R/O/real=0.25"}).status, 0);
    EXPECT_THAT(ReadFile("unit.xml"), HasSubstr("<value>2.500000e-01</value>")) << "as the library writes it";
}

TEST_F(Set, OfTheValueThatIsThereWritesTheSameBytes) {
    for (const std::string name : {"unit.xml", "unit.sbin", "unit.bin"}) {
        StoreFile(name);
        const std::string before = ReadFile(name);
        const Ended ended = Run(name, {"R/O/u8=5", "R/O/text=north", "R/O/list=[1, 2, 3]"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_THAT(ended.out, StartsWith("same  R/O/u8    5\nsame  R/O/text  \"north\"\n"));
        EXPECT_EQ(ReadFile(name), before);
    }
}

TEST_F(Set, EveryTypeInEveryFormatComesBack) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "a", "type": "U8"}, {"name": "b", "type": "U8_ARRAY", "count": 2}, {"name": "c", "type": "U16"},
        {"name": "e", "type": "U32"}, {"name": "f", "type": "U32_ARRAY", "count": 2}, {"name": "g", "type": "S8"},
        {"name": "i", "type": "S16"}, {"name": "k", "type": "S32"}, {"name": "l", "type": "S32_ARRAY", "count": 2},
        {"name": "m", "type": "BOOL"}, {"name": "n", "type": "BOOL_ARRAY", "count": 2}, {"name": "o", "type": "CHAR"},
        {"name": "q", "type": "STRING", "count": 16, "default": "x"}, {"name": "r", "type": "FLOAT"},
        {"name": "s", "type": "FLOAT_ARRAY", "count": 2}, {"name": "u", "type": "DOUBLE_ARRAY", "count": 2}]}]}]})");
    const std::vector<std::pair<std::string, std::string>> values = {{"R/O/a", "255"},
                                                                     {"R/O/b", "[0, 255]"},
                                                                     {"R/O/c", "65535"},
                                                                     {"R/O/e", "4294967295"},
                                                                     {"R/O/f", "[0, 4294967294]"},
                                                                     {"R/O/g", "-128"},
                                                                     {"R/O/i", "-32768"},
                                                                     {"R/O/k", "-2147483648"},
                                                                     {"R/O/l", "[-2147483648, 2147483647]"},
                                                                     {"R/O/m", "true"},
                                                                     {"R/O/n", "[true, false]"},
                                                                     {"R/O/o", "255"},
                                                                     {"R/O/q", "fifteen letters"},
                                                                     {"R/O/r", "0.1"},
                                                                     {"R/O/s", "[3.4028235e+38, 1e-45]"},
                                                                     {"R/O/u", "[1.7976931348623157e+308, 5e-324]"}};
    std::vector<std::string> settings;
    std::string printed;
    for (const auto& [path, value] : values) {
        settings.push_back(std::string(path).append(1, '=').append(value));
        printed.append(value).append(1, '\n');
    }
    for (const std::string name : {"unit.xml", "unit.sbin", "unit.bin"}) {
        StoreFile(name);
        const Ended ended = Run(name, settings);
        EXPECT_EQ(ended.status, 0) << ended.out;
        EXPECT_EQ(Talstore({"get", name, "R", "--layout", "layout.json"}).out, printed) << name;
    }
}

TEST_F(Set, WritesNothingWhenOneOfTheValuesCannotBeChanged) {
    StoreFile("unit.sbin");
    const Ended ended = Refused("unit.sbin", {"R/O/u8=9", "R/Fixed/id=77"});
    EXPECT_EQ(ended.out,
              "refused  R/Fixed/id  in a read-only object, which is never stored\n"
              "unit.sbin: nothing is written\n");
}

TEST_F(Set, RefusesWhatTheFileDoesNotHold) {
    WriteFile("unit.sbin", Record("R/O/u8", "x") + Record("R/O/u32", "x"));
    EXPECT_THAT(Refused("unit.sbin", {"R/O/text=x"}).out, StartsWith("refused  R/O/text  not in the file\n"));
    EXPECT_THAT(Refused("unit.sbin", {"R/O/u32=1"}).out,
                StartsWith("refused  R/O/u32  1 byte in the file, 4 in the layout\n"));
}

TEST_F(Set, RefusesTextsThatADocumentCannotHold) {
    StoreFile("unit.xml");
    EXPECT_THAT(Refused("unit.xml", {"R/O/text=a & b"}).out,
                StartsWith("refused  R/O/text  \"a & b\": a document cannot hold '<' or '&'\n"));
    EXPECT_THAT(Refused("unit.xml", {"R/O/text="}).out,
                StartsWith("refused  R/O/text  \"\" would come back as \"STRING\"\n"));
    EXPECT_THAT(Refused("unit.xml", {"R/O/text=a\nb"}).out,
                StartsWith("refused  R/O/text  \"a\\nb\" would come back as \"b\"\n"));
}

TEST_F(Set, RefusesATextThatADocumentWouldHoldAsAnotherVariable) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "text", "type": "STRING", "count": 128, "default": "north"}]}]}]})");
    StoreFile("unit.xml");
    const std::string text = "a</value></variable><variable name='w'><type>U8</type><value>1";
    EXPECT_THAT(Refused("unit.xml", {"R/O/text=" + text}).out,
                StartsWith("refused  R/O/text  \"" + text + "\": a document cannot hold '<' or '&'\n"));
}

TEST_F(Set, RefusesAnArrayOfAnotherSizeInTheDocument) {
    WriteFile(
        "unit.xml",
        Document("<region name = \"R\"><object name = \"O\"><variable name = \"list\"><type>U16_ARRAY</type><size>4"
                 "</size><array><element>1</element><element>2</element><element>3</element><element>4</element>"
                 "</array></variable></object></region>"));
    EXPECT_THAT(Refused("unit.xml", {"R/O/list=[7, 8, 9]"}).out,
                StartsWith("refused  R/O/list  4 texts in the document, 3 elements in the layout\n"));
}

TEST_F(Set, RefusesElementsThatStandWithinOneAnother) {
    StoreFile("unit.xml");
    const std::string nested =
        Replaced(ReadFile("unit.xml"),
                 {{"<element>1</element><element>2</element>", "<element>1<element>2</element></element>"}});
    WriteFile("unit.xml", nested);
    EXPECT_EQ(Refused("unit.xml", {"R/O/list=[7,8,3]"}).out,
              "refused    one of the texts stands within another\n"
              "unit.xml: nothing is written\n");
}

TEST_F(Set, RefusesAValueWithoutAPlaceInTheDocument) {
    WriteFile("unit.xml",
              Document("<region name = \"R\"><object name = \"O\"><variable name = \"text\"><type>STRING</type><value/>"
                       "</variable></object></region>"));
    EXPECT_THAT(Refused("unit.xml", {"R/O/text=x"}).out,
                StartsWith("refused  R/O/text  0 texts in the document, 1 element in the layout\n"));
}

TEST_F(Set, RefusesAFileThatNoBoardReads) {
    StoreFile("unit.xml");
    WriteFile("unit.xml", ReadFile("unit.xml").substr(0, 300));
    EXPECT_THAT(Refused("unit.xml", {"R/O/u8=9"}).out,
                StartsWith("refused    no board can read the file: Parse error in file unit.xml at line 4: "));
}

TEST_F(Set, ChangesTheLastOfTwoItemsWithOnePath) {
    WriteFile("unit.sbin", Record("R/O/u8", "x") + Record("R/O/u8", "y"));
    EXPECT_EQ(Run("unit.sbin", {"R/O/u8=9"}).status, 0);
    EXPECT_EQ(ReadFile("unit.sbin"), Record("R/O/u8", "x") + Record("R/O/u8", "\x09"));
}

TEST_F(Set, FindsTheRecordOfAChannel) {
    WriteFile("layout.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "Channel.2.v", "type": "U8"}]}]}]})");
    WriteFile("unit.sbin", Record("R/O/Channel.X.v", "x"));
    EXPECT_EQ(Run("unit.sbin", {"R/O/Channel.2.v=9"}, {"--channel", "2"}).status, 0);
    EXPECT_EQ(ReadFile("unit.sbin"), Record("R/O/Channel.X.v", "\x09"));
}

TEST_F(Set, TakesTheLastOfTwoValues) {
    StoreFile("unit.sbin");
    EXPECT_EQ(Run("unit.sbin", {"R/O/u8=8", "R/O/u8=9"}).out,
              "changed  R/O/u8  5 becomes 9\nunit.sbin: 1 of 245 bytes are written anew\n");
}

TEST_F(Set, OfAWrongPathOrValueIsWrongUse) {
    StoreFile("unit.sbin");
    const std::string usage = "usage: talstore set --layout DESCRIPTION [OPTIONS] FILE PATH=VALUE...\n";
    EXPECT_EQ(Run("unit.sbin", {"R/O/u88=1"}).err,
              "talstore: R/O/u88=1: there is no such variable in the layout; did you mean 'R/O/u8'?\n" + usage);
    EXPECT_EQ(Run("unit.sbin", {"R/O/u8"}).err, "talstore: R/O/u8: expected PATH=VALUE\n" + usage);
    EXPECT_EQ(Run("unit.sbin", {"R/O/u8=256"}).err,
              "talstore: R/O/u8: \"256\" does not fit U8, which takes 0 to 255\n");
    EXPECT_EQ(Run("unit.sbin", {"R/O/u8=256"}).status, 2);
    EXPECT_EQ(Run("unit.sbin", {}).err, "talstore: PATH=VALUE is missing\n" + usage);
}

TEST_F(Set, KeepsLinkAndPermissions) {
    StoreFile("unit.sbin");
    std::filesystem::permissions("unit.sbin", std::filesystem::perms::owner_all);
    std::filesystem::create_symlink("unit.sbin", "link.sbin");
    EXPECT_EQ(Run("link.sbin", {"R/O/u8=9"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink("link.sbin"));
    EXPECT_EQ(std::filesystem::status("unit.sbin").permissions(), std::filesystem::perms::owner_all);
}

TEST_F(Set, PrintsJson) {
    StoreFile("unit.xml");
    const Json json = Run("unit.xml", {"R/O/u8=9", "R/O/list=[4, 5, 6]"}, {"--json"}).Json();
    EXPECT_EQ(json, Json::parse(R"({"schema": "talstore/set/1", "file": "unit.xml", "format": "xml", "written": true,
        "changes": [{"path": "R/O/u8", "before": 5, "after": 9},
                    {"path": "R/O/list", "before": [1, 2, 3], "after": [4, 5, 6]}], "refused": []})"));
    const Json refused = Run("unit.xml", {"R/Fixed/id=1"}, {"--json"}).Json();
    EXPECT_EQ(refused["written"], false);
    EXPECT_EQ(refused["refused"][0]["path"], "R/Fixed/id");
}

TEST_F(Set, ToStandardOutputWritesTheFileAlone) {
    StoreFile("unit.sbin");
    EXPECT_EQ(TalstoreProcess("set - --layout layout.json R/O/u8=9 < unit.sbin").status, 0);
    EXPECT_EQ(ReadFile("process.out"), Replaced(ReadFile("unit.sbin"), {{Record("R/O/u8", "\x05"),  //
                                                                         Record("R/O/u8", "\x09")}}));
    EXPECT_THAT(ReadFile("process.err"), HasSubstr("changed  R/O/u8  5 becomes 9\n"));
}

// ---- get

class Get : public StorageFiles {};

TEST_F(Get, PrintsBareValues) {
    for (const std::string name : {"unit.xml", "unit.sbin", "unit.bin"}) {
        StoreFile(name, {"R/O/text=two words"});
        const Ended ended =
            Talstore({"get", name, "R/O/text", "R/O/list", "R/O/flag", "R/O/real", "--layout", "layout.json"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.out, "true\ntwo words\n[1, 2, 3]\n1.5\n") << "in the order of the file";
        EXPECT_THAT(ended.err, IsEmpty());
    }
}

TEST_F(Get, NeedsNoLayoutForADocument) {
    StoreFile("unit.xml");
    EXPECT_EQ(Talstore({"get", "unit.xml", "R/O/real"}).out, "1.5\n");
}

TEST_F(Get, OfASecureFileWithoutALayoutPrintsItsBytes) {
    StoreFile("unit.sbin");
    EXPECT_EQ(Talstore({"get", "unit.sbin", "R/O/u32"}).out, "07 00 00 00\n");
}

TEST_F(Get, TakesAnObjectForAllThatIsInIt) {
    StoreFile("unit.sbin");
    EXPECT_EQ(Talstore({"get", "unit.sbin", "R/O/N", "--layout", "layout.json"}).out, "-4\n");
    EXPECT_EQ(Talstore({"get", "unit.sbin", "R/O/N/", "--layout", "layout.json"}).out, "-4\n");
    EXPECT_EQ(Talstore({"get", "unit.sbin", "*/N", "--layout", "layout.json"}).out, "-4\n");
    EXPECT_EQ(Talstore({"get", "unit.sbin", "*/u*", "--layout", "layout.json"}).out, "5\n7\n");
}

TEST_F(Get, SaysWhatTheFileDoesNotHold) {
    StoreFile("unit.xml");
    const Ended ended = Talstore({"get", "unit.xml", "R/O/u8", "R/O/u", "R/O/gone"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "5\n");
    EXPECT_EQ(ended.err,
              "talstore: unit.xml: R/O/u: nothing of this path\n"
              "talstore: unit.xml: R/O/gone: nothing of this path\n");
}

TEST_F(Get, TakesTheLastOfTwoItemsWithOnePath) {
    WriteFile("unit.sbin", Record("R/O/u8", "x") + Record("R/O/u8", "y"));
    EXPECT_EQ(Talstore({"get", "unit.sbin", "R/O/u8"}).out, "79\n");
}

TEST_F(Get, TakesANameForItselfBeforeItTakesItForAGlob) {
    WriteFile("unit.sbin", Record("R/O/v[1]", "x") + Record("R/O/v1", "y"));
    EXPECT_EQ(
        Talstore({"get", "unit.sbin", "R/O/v[1]", "--json"}).Json()["values"],
        Json::parse(R"([{"path": "R/O/v[1]", "value": {"hex": "78"}}, {"path": "R/O/v1", "value": {"hex": "79"}}])"));
}

TEST_F(Get, NeverSendsControlSequencesToATerminal) {
    constexpr std::size_t kTerminal = 80;
    StoreFile("unit.sbin", {"R/O/text=a\x1B[2J"});
    const std::vector<std::string> command = {"get", "unit.sbin", "R/O/text", "--layout", "layout.json"};
    EXPECT_EQ(Talstore(command, kTerminal).out, "a\\x1b[2J\n");
    EXPECT_EQ(Talstore(command).out, "a\x1B[2J\n") << "a script gets the text as it is";
}

TEST_F(Get, LeavesOutVariablesThatHoldObjects) {
    WriteFile("unit.xml",
              Document("<region name = \"R\"><object name = \"O\"><variable name = \"A\">"
                       "<type>OBJECT_ARRAY</type><size>1</size><array><objectElement><object name = \"E\">" +
                       Variable("x", "U8", "1") + "</object></objectElement></array></variable></object></region>"));
    EXPECT_EQ(Talstore({"get", "unit.xml", "R"}).out, "1\n");
}

TEST_F(Get, PrintsJson) {
    StoreFile("unit.sbin");
    EXPECT_EQ(Talstore({"get", "unit.sbin", "R/O/list", "nix", "--layout", "layout.json", "--json"}).Json(),
              Json::parse(R"({"schema": "talstore/get/1", "file": "unit.sbin", "format": "secure",
                              "values": [{"path": "R/O/list", "value": [1, 2, 3]}], "notFound": ["nix"]})"));
}

// ---- show --path

TEST_F(Get, AndShowTakeTheSamePatterns) {
    StoreFile("unit.sbin");
    const Ended ended = Talstore({"show", "unit.sbin", "--path", "R/O/N", "--path", "*flag"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out,
              "PATH        TYPE  SIZE  VALUE\n"
              "R/O/flag    -     4     01 00 00 00\n"
              "R/O/N/deep  -     4     fc ff ff ff\n");
    const Ended missing = Talstore({"show", "unit.sbin", "--path", "nix"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "talstore: unit.sbin: nix: nothing of this path\n");
}

}  // namespace

}  // namespace tal::test
