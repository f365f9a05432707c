/// What is common to all commands, and the program itself.

#include <filesystem>
#include <sstream>

#include "Support.h"
#include "commands/CommandTable.h"
#include "commands/Table.h"
#include "commands/Wrap.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Json = nlohmann::json;

TEST(Usage, HelpListsEveryCommand) {
    const Ended ended = Talstore({"--help"});
    EXPECT_EQ(ended.status, 0);
    for (const std::string& command : talstore::NamesOfCommands()) {
        EXPECT_THAT(ended.out, HasSubstr("\n  " + command + ' '));
    }
    EXPECT_THAT(ended.err, IsEmpty());
    EXPECT_EQ(Talstore({"help"}).out, ended.out);
    EXPECT_EQ(Talstore({"-h"}).out, ended.out);
}

TEST(Usage, EveryCommandHasHelpWithExamples) {
    for (const std::string& command : talstore::NamesOfCommands()) {
        const Ended ended = Talstore({command, "--help"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_THAT(ended.out, HasSubstr("Examples:\n  talstore " + command)) << command;
        EXPECT_THAT(ended.out, HasSubstr("Exit status: 0"));
        EXPECT_EQ(Talstore({"help", command}).out, ended.out);
        EXPECT_EQ(Talstore({command, "-h"}).out, ended.out);
    }
}

TEST(Usage, HelpFitsATerminalOfEightyColumns) {
    for (const std::string& command : talstore::NamesOfCommands()) {
        std::istringstream lines(Talstore({"help", command}).out);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80U) << line;
        }
    }
}

TEST(Usage, HelpTellsUsageArgumentsAndWhatIsRequired) {
    EXPECT_THAT(Talstore({"help", "layout"}).out,
                testing::StartsWith("Usage: talstore layout [OPTIONS] FILE\n"
                                    "\n"
                                    "Make a description from an XML document.\n"
                                    "\n"
                                    "  FILE                    An XML document; - is standard input\n"
                                    "\n"
                                    "Options:\n"
                                    "  --output FILE           The file to write; standard output unless given\n"
                                    "  --string-capacity N     Bytes for a string with its NUL, 256 unless given\n"
                                    "  --defaults              Take the document's values as defaults\n"
                                    "  -h, --help              Print this help\n"));
    EXPECT_THAT(Talstore({"help", "convert"}).out,
                HasSubstr("  --layout DESCRIPTION    The board's database: a JSON description (required)\n"));
}

TEST(Usage, VersionIsPrinted) {
    const Ended ended = Talstore({"--version"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, testing::StartsWith("talstore "));
}

/// @return what the tool says about wrong use.
std::string Refusal(const std::vector<std::string>& arguments) {
    const Ended ended = Talstore(arguments);
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    return ended.err;
}

TEST(Usage, OfAnUnknownCommandNamesTheNearest) {
    const std::string usage = "usage: talstore COMMAND [OPTIONS] [FILE...]\n";
    EXPECT_EQ(Refusal({}), "talstore: a command is needed\n" + usage);
    EXPECT_EQ(Refusal({"sho"}), "talstore: unknown command 'sho'; did you mean 'show'?\n" + usage);
    EXPECT_EQ(Refusal({"frobnicate"}), "talstore: unknown command 'frobnicate'\n" + usage);
    EXPECT_EQ(Refusal({"--frobnicate"}), "talstore: unknown option '--frobnicate'\n" + usage);
    EXPECT_THAT(Refusal({"help", "chek"}), HasSubstr("unknown command 'chek'; did you mean 'check'?\n"));
}

TEST(Usage, OfAnUnknownOptionNamesTheNearest) {
    const std::string usage = "usage: talstore show [OPTIONS] FILE...\n";
    EXPECT_EQ(Refusal({"show", "a", "--fromat", "xml"}),
              "talstore: unknown option '--fromat'; did you mean '--format'?\n" + usage);
    EXPECT_EQ(Refusal({"show", "--fromat=xml"}),
              "talstore: unknown option '--fromat'; did you mean '--format'?\n" + usage);
    EXPECT_EQ(Refusal({"show", "a", "--frobnicate"}), "talstore: unknown option '--frobnicate'\n" + usage);
    EXPECT_EQ(Refusal({"show", "a", "-x"}), "talstore: unknown option '-x'\n" + usage);
}

TEST(Usage, ThatIsWrongSaysWhat) {
    const std::string usage = "usage: talstore show [OPTIONS] FILE...\n";
    EXPECT_EQ(Refusal({"show"}), "talstore: FILE is missing\n" + usage);
    EXPECT_EQ(Refusal({"show", "a", "--layout"}), "talstore: --layout needs its DESCRIPTION\n" + usage);
    EXPECT_EQ(Refusal({"show", "a", "--format", "toml"}),
              "talstore: --format: 'toml' is none of xml, secure and binary\n" + usage);
    EXPECT_EQ(Refusal({"show", "a", "--format", "secur"}),
              "talstore: --format: 'secur' is none of xml, secure and binary; did you mean 'secure'?\n" + usage);
    for (const std::string number : {"one", "-1", "4294967296", "", "1x"}) {
        EXPECT_THAT(Refusal({"show", "a", "--channel", number}),
                    HasSubstr(": --channel: '" + number + "' is no number from 0 to 4294967295\n"));
    }
    EXPECT_EQ(Refusal({"layout", "a", "--string-capacity", "0"}),
              "talstore: --string-capacity: '0' is no number from 1 to 1048576\n"
              "usage: talstore layout [OPTIONS] FILE\n");
    EXPECT_EQ(Refusal({"diff", "a", "b", "c"}),
              "talstore: 'c' is one word too many\nusage: talstore diff [OPTIONS] A B\n");
    EXPECT_EQ(Refusal({"convert", "a", "b"}),
              "talstore: --layout is missing\nusage: talstore convert --layout DESCRIPTION [OPTIONS] [PATH...]\n");
}

TEST(Usage, TakesNoNumberButDigitsOfARange) {
    for (const std::string number : {"+1", " 1", "99999999999999999999"}) {
        EXPECT_EQ(Refusal({"show", "a", "--channel", number}),
                  "talstore: --channel: '" + number +
                      "' is no number from 0 to 4294967295\nusage: talstore show [OPTIONS] FILE...\n");
    }
}

TEST(Usage, TakesTheLeastAndTheMostOfANumber) {
    for (const std::string number : {"1", "1048576"}) {
        EXPECT_EQ(Talstore({"layout", "absent.xml", "--string-capacity", number}).err,
                  "talstore: absent.xml: No such file or directory\n");
    }
}

TEST(Usage, TakesAnArgumentBehindAnEqualsSign) {
    EXPECT_EQ(Talstore({"show", "absent.xml", "--format=xml"}).err,
              "talstore: absent.xml: No such file or directory\n");
}

TEST(Usage, ThatIsWrongNeverSendsControlSequencesToATerminal) {
    EXPECT_EQ(Refusal({"\x1B[2J"}),
              "talstore: unknown command '\\x1b[2J'\nusage: talstore COMMAND [OPTIONS] [FILE...]\n");
    EXPECT_EQ(Refusal({"show", "\x1B[2J"}), "talstore: \\x1b[2J: No such file or directory\n");
}

TEST(Usage, TakesWhateverFollowsTwoHyphensForAFile) {
    EXPECT_EQ(Talstore({"show", "--", "--json"}).err, "talstore: --json: No such file or directory\n");
}

// ---- Tables

std::string Printed(const talstore::Table& table, bool hasColour, std::size_t width) {
    std::ostringstream out;
    table.Print({out, out, hasColour, width});
    return out.str();
}

TEST(Tables, AlignColumnsByCharacters) {
    talstore::Table table({"A", "B"});
    table.Add({"\xC3\xA5\xC3\xA5", "x"});
    table.Add({"a", "y"});
    EXPECT_EQ(Printed(table, false, 0), "A   B\n\xC3\xA5\xC3\xA5  x\na   y\n");
}

TEST(Tables, EndValuesAtTheTerminalsEdge) {
    talstore::Table table;
    table.Add({"abc", talstore::ValueCell("a text of more than twenty characters")});
    EXPECT_EQ(Printed(table, false, 26), "abc  a text of more than \xE2\x80\xA6\n");
    EXPECT_EQ(Printed(table, false, 42), "abc  a text of more than twenty characters\n");
    EXPECT_EQ(Printed(table, false, 0), "abc  a text of more than twenty characters\n");
}

TEST(Tables, ShowAValueInTheNextLineWhereTooLittleOfItFits) {
    talstore::Table table;
    table.Add({"a long path", talstore::ValueCell("a text of more than twenty characters")});
    EXPECT_EQ(Printed(table, false, 30), "a long path\n    a text of more than twent\xE2\x80\xA6\n");
}

TEST(Tables, ShowAMessageThatDoesNotFitBelowAndWhole) {
    talstore::Table table;
    table.Add({"path", talstore::MessageCell("a message of more than thirty-six characters")});
    EXPECT_EQ(Printed(table, false, 50), "path  a message of more than thirty-six characters\n");
    EXPECT_EQ(Printed(table, false, 40), "path\n    a message of more than thirty-six\n    characters\n");
}

TEST(Tables, NarrowValuesBetweenOtherColumns) {
    talstore::Table table({"PATH", "VALUE", "STATE"});
    table.Add({"a/b", talstore::ValueCell(std::string(60, 'x')), "restored"});
    EXPECT_EQ(Printed(table, false, 40),
              "PATH  VALUE\n    STATE\na/b   " + std::string(31, 'x') + "\xE2\x80\xA6  restored\n");
}

TEST(Tables, GivePathsThatAreTooLongALineOfTheirOwn) {
    talstore::Table table({"PATH", "VALUE", "STATE"});
    table.Add({std::string(50, 'p'), talstore::ValueCell("1"), "restored"});
    EXPECT_EQ(Printed(table, false, 40), "PATH\n    VALUE  STATE\n" + std::string(50, 'p') + "\n    1      restored\n");
}

TEST(Tables, HaveColourOnlyWhenAsked) {
    talstore::Table table;
    table.Add({{"bad", talstore::Colour::Red}});
    EXPECT_EQ(Printed(table, true, 0), "\x1B[31mbad\x1B[0m\n");
    EXPECT_EQ(Printed(table, false, 0), "bad\n");
}

TEST(Tables, HaveNoSequencesAroundWhatHasNoColour) {
    talstore::Table table;
    table.Add({"plain"});
    EXPECT_EQ(Printed(table, true, 0), "plain\n");
}

TEST(Tables, EndAValueAtTheEdgeWhereTwentyColumnsOfItFit) {
    talstore::Table table;
    table.Add({"abc", talstore::ValueCell("a text of more than twenty characters")});
    EXPECT_EQ(Printed(table, false, 25), "abc  a text of more than\xE2\x80\xA6\n");
    EXPECT_EQ(Printed(table, false, 24), "abc\n    a text of more than\xE2\x80\xA6\n");
}

TEST(WrappedText, FillsItsWidthAndNoMore) {
    EXPECT_THAT(talstore::Wrapped("a b c d", 5), ElementsAre("a b c", "d"));
}

TEST(WrappedText, LeavesAWordThatIsLongerThanTheWidthWhole) {
    EXPECT_THAT(talstore::Wrapped("abcdef gh", 4), ElementsAre("abcdef", "gh"));
}

TEST(WrappedText, KeepsItsLineBreaks) {
    EXPECT_THAT(talstore::Wrapped("a b\nc", 80), ElementsAre("a b", "c"));
}

// ---- The program

class Program : public StorageFiles {};

TEST_F(Program, StoresChecksAndShows) {
    EXPECT_EQ(TalstoreProcess("store unit.xml --layout layout.json").status, 0);
    EXPECT_EQ(TalstoreProcess("check unit.xml --layout layout.json").status, 0);
    const Ended shown = TalstoreProcess("show unit.xml");
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.out, HasSubstr("R/O/text    STRING        5     \"north\"\n"));
    EXPECT_THAT(shown.err, IsEmpty()) << "the library's trace stays inside";
}

TEST_F(Program, EndsWithTheStatusOfTheCommand) {
    StoreFile("a.sbin");
    StoreFile("b.sbin", {"R/O/u8=9"});
    EXPECT_EQ(TalstoreProcess("diff a.sbin b.sbin").status, 1);
    EXPECT_EQ(TalstoreProcess("diff a.sbin absent.sbin").status, 2);
    EXPECT_EQ(TalstoreProcess("--help").status, 0);
}

TEST_F(Program, ReadsStandardInput) {
    StoreFile("unit.sbin");
    EXPECT_EQ(TalstoreProcess("show - < unit.sbin").out, TalstoreProcess("show unit.sbin").out);
}

TEST_F(Program, SaysWhenItsOutputIsLost) {
    ASSERT_TRUE(IsDevice("/dev/full"));
    StoreFile("unit.sbin");
    EXPECT_EQ(TalstoreProcess("show unit.sbin > /dev/full 2> /dev/null; echo $?").out, "2\n");
}

/// Stores more than a pipe holds.
void StoreLongFile(const std::string& name) {
    Json variables = Json::array();
    for (int i = 0; i < 5000; ++i) {
        variables.push_back({{"name", "v" + std::to_string(i)}, {"type", "U32"}});
    }
    const Json object = {{"name", "O"}, {"variables", variables}};
    WriteFile("long.json", Json({{"regions", {{{"name", "R"}, {"objects", {object}}}}}}).dump());
    ASSERT_EQ(Talstore({"store", name, "--layout", "long.json"}).status, 0);
}

TEST_F(Program, EndsQuietlyWhenItsReaderLeaves) {
    StoreLongFile("long.sbin");
    WriteFile("script", "set -o pipefail\n" TALSTORE_COMMAND
                        " show long.sbin 2> said | head -n 1 > first\necho \"${PIPESTATUS[0]}\" > status\n");
    ASSERT_EQ(std::system("bash script"), 0);
    EXPECT_EQ(ReadFile("first"), "PATH       TYPE  SIZE  VALUE\n");
    EXPECT_EQ(ReadFile("status"), "141\n") << "as any program that SIGPIPE ends";
    EXPECT_EQ(ReadFile("said"), "");
}

TEST_F(Program, WhoseReaderLeavesTidiesUp) {
    StoreLongFile("long.sbin");
    std::filesystem::create_directory("temporary");
    WriteFile("script", "export TMPDIR=$PWD/temporary\n" TALSTORE_COMMAND
                        " check long.sbin --layout long.json --all | head -n 1 > first\n");
    ASSERT_EQ(std::system("bash script"), 0);
    EXPECT_EQ(ReadFile("first"), "long.sbin: secure binary file, 168890 bytes, 5000 variables, 0 findings\n");
    EXPECT_TRUE(std::filesystem::is_empty("temporary"));
}

TEST_F(Program, UsesNoColourInAFile) {
    StoreFile("unit.xml");
    EXPECT_THAT(TalstoreProcess("retrieve unit.xml --layout layout.json").out, Not(HasSubstr("\x1B")));
}

TEST_F(Program, LeavesNoTemporaryFiles) {
    StoreFile("unit.xml");
    std::filesystem::create_directory("temporary");
    static_cast<void>(TalstoreProcess("--version"));
    setenv("TMPDIR", std::filesystem::absolute("temporary").c_str(), 1);
    const Ended ended = TalstoreProcess("check unit.xml --layout layout.json");
    unsetenv("TMPDIR");
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(std::filesystem::is_empty("temporary"));
}

}  // namespace

}  // namespace tal::test
