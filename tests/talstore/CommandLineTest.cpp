/// What is common to all commands, and the program itself.

#include <filesystem>

#include "Support.h"
#include "commands/Table.h"

namespace tal::test {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kCommands[] = {"show", "check", "diff", "convert", "store", "retrieve", "board", "layout"};

TEST(Usage, HelpListsEveryCommand) {
    const Ended ended = Talstore({"--help"});
    EXPECT_EQ(ended.status, 0);
    for (const char* const command : kCommands) {
        EXPECT_THAT(ended.out, HasSubstr(std::string("\n  ") + command + ' '));
    }
    EXPECT_THAT(ended.err, IsEmpty());
}

TEST(Usage, EveryCommandHasHelpWithExamples) {
    for (const char* const command : kCommands) {
        const Ended ended = Talstore({command, "--help"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_THAT(ended.out, HasSubstr(std::string("Examples:\n  talstore ") + command)) << command;
        EXPECT_THAT(ended.out, HasSubstr("Exit status: 0"));
    }
}

TEST(Usage, VersionIsPrinted) {
    const Ended ended = Talstore({"--version"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, testing::StartsWith("talstore "));
}

TEST(Usage, WrongUseIsStatusTwoAndSaysWhat) {
    EXPECT_EQ(Talstore({}).status, 2);
    EXPECT_THAT(Talstore({}).err, HasSubstr("a command is needed"));
    EXPECT_EQ(Talstore({"frobnicate"}).status, 2);
    EXPECT_THAT(Talstore({"frobnicate"}).err, HasSubstr("frobnicate"));
    EXPECT_EQ(Talstore({"show"}).status, 2);
    EXPECT_THAT(Talstore({"show"}).err, HasSubstr("FILE is required"));
    EXPECT_EQ(Talstore({"show", "a", "--frobnicate"}).status, 2);
    EXPECT_EQ(Talstore({"show", "a", "--format", "toml"}).status, 2);
    EXPECT_EQ(Talstore({"show", "a", "--channel", "-1"}).status, 2);
    EXPECT_EQ(Talstore({"show", "a", "--channel", "one"}).status, 2);
    EXPECT_EQ(Talstore({"store", "a", "--layout", "b", "--provider", "toml"}).status, 2);
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

TEST(Tables, EndAtTheTerminalsEdge) {
    talstore::Table table;
    table.Add({"abc", "a text of more than twenty characters"});
    EXPECT_EQ(Printed(table, false, 26), "abc  a text of more than \xE2\x80\xA6\n");
    EXPECT_EQ(Printed(table, false, 42), "abc  a text of more than twenty characters\n");
}

TEST(Tables, GoOnInTheNextLineWhereTooLittleFits) {
    talstore::Table table;
    table.Add({"a long path", "a text of more than twenty characters"});
    EXPECT_EQ(Printed(table, false, 20), "a long path  a text of more than twenty\xE2\x80\xA6\n");
}

TEST(Tables, LimitEveryColumnOnATerminal) {
    talstore::Table table;
    table.Add({std::string(200, 'x'), "y"});
    EXPECT_EQ(Printed(table, false, 500), std::string(119, 'x') + "\xE2\x80\xA6  y\n");
    EXPECT_EQ(Printed(table, false, 0), std::string(200, 'x') + "  y\n");
}

TEST(Tables, HaveColourOnlyWhenAsked) {
    talstore::Table table;
    table.Add({{"bad", talstore::Colour::Red}});
    EXPECT_EQ(Printed(table, true, 0), "\x1B[31mbad\x1B[0m\n");
    EXPECT_EQ(Printed(table, false, 0), "bad\n");
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
