/// Man page, docs/talstore.md, help and completion tell the same; the page shows what is printed.

#include <set>
#include <sstream>

#include "DatabaseDescription.h"
#include "Support.h"
#include "TypeTable.h"
#include "commands/CommandTable.h"
#include "support/Documentation.h"

namespace tal::test {

namespace {

using talstore::CommandInfo;
using talstore::OptionInfo;

/// Calls `visit` for each command that people call.
void ForEachCommand(const std::function<void(const CommandInfo& command)>& visit) {
    for (const CommandInfo& command : talstore::Commands()) {
        if (command.isShown) {
            visit(command);
        }
    }
}

/// With every hyphen as the minus sign that can be searched for.
std::string InRoff(const std::string& text) {
    std::string roff;
    for (const char character : text) {
        roff += character == '-' ? "\\-" : std::string(1, character);
    }
    return roff;
}

/// @return the lines of the section of the man page, without its heading.
std::string SectionOf(const std::string& page, const std::string& heading) {
    const std::size_t start = page.find(".SH " + heading + '\n');
    EXPECT_NE(start, std::string::npos) << heading;
    const std::size_t end = page.find("\n.SH ", start);
    return page.substr(start + heading.size() + 5, end - start - heading.size() - 4);
}

class ManPage : public testing::Test {
protected:
    std::string page_ = ReadFile(TALSTORE_SOURCES "/talstore.1");
};

TEST_F(ManPage, HasTheUsageOfEveryCommandAndNoOther) {
    std::string expected;
    ForEachCommand([&](const CommandInfo& command) {
        const std::string start = std::string("talstore ") + command.name;
        const std::string rest = UsageOf(command).substr(start.size());
        expected += (expected.empty() ? "" : ".br\n") + (".B " + start) + '\n' +
                    (rest.empty() ? "" : ".I \"" + InRoff(rest.substr(1)) + "\"\n");
    });
    EXPECT_EQ(SectionOf(page_, "SYNOPSIS"), expected);
}

/// @return what the paragraph's last line lists; empty when it lists none.
std::string OptionsIn(const std::string& paragraph) {
    const std::vector<std::string> listed = FirstGroups(paragraph + '\n', "Options: (.*)\\.\n");
    return listed.empty() ? "" : listed.front();
}

TEST_F(ManPage, TellsOfEveryCommandWhatTheHelpTellsAndItsOptions) {
    const std::string section = SectionOf(page_, "COMMANDS");
    ForEachCommand([&](const CommandInfo& command) {
        std::string options;
        for (const OptionInfo& option : command.options) {
            options += (options.empty() ? "" : ", ") + InRoff(option.name);
        }
        const std::string start = std::string(".TP\n.B ") + command.name + "\n" + InRoff(command.summary) + ".\n";
        EXPECT_THAT(section, testing::HasSubstr(start));
        const std::size_t begin = section.find(start);
        const std::string paragraph = section.substr(std::min(begin, section.size()));
        EXPECT_EQ(OptionsIn(paragraph.substr(0, paragraph.find("\n.TP"))), options) << command.name;
    });
}

TEST_F(ManPage, ExplainsEveryOptionAndNoOther) {
    std::set<std::string> expected = {".BR \\-h \", \" \\-\\-help", ".B \\-\\-version"};
    ForEachCommand([&](const CommandInfo& command) {
        for (const OptionInfo& option : command.options) {
            const std::string name = InRoff(option.name);
            if (option.shortName != nullptr) {
                expected.insert(".BR " + InRoff(option.shortName) + " \", \" " + name);
                continue;
            }
            expected.insert(option.argument == nullptr ? ".B " + name
                                                       : ".BI " + name + " \" " + InRoff(option.argument) + '"');
        }
    });
    std::set<std::string> found;
    const std::vector<std::string> lines = LinesOf(SectionOf(page_, "OPTIONS"));
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        if (lines[i] == ".TP") {
            found.insert(lines[i + 1]);
        }
    }
    EXPECT_EQ(found, expected);
}

TEST(TalstorePage, ListsEveryCommandAsTheHelpDoes) {
    std::vector<Page::Row> expected;
    ForEachCommand([&](const CommandInfo& command) { expected.push_back({command.name, command.summary}); });
    EXPECT_EQ(Page("docs/talstore.md").TableAfter("## The commands"), expected);
}

TEST(TalstorePage, NamesNoOptionThatIsNone) {
    std::set<std::string> known = {"--help", "--version"};
    ForEachCommand([&](const CommandInfo& command) {
        for (const OptionInfo& option : command.options) {
            known.insert(option.name);
        }
    });
    for (const std::string& option : FirstGroups(Page("docs/talstore.md").Text(), "(--[a-z][a-z-]*)")) {
        EXPECT_EQ(known.count(option), 1U) << option;
    }
}

// ---- Completion

/// @return what the shell offers for the last of the words, "FILES" for the names of files.
std::vector<std::string> Offered(const std::string& words) {
    const std::string script =
        "talstore() { " TALSTORE_COMMAND " \"$@\"; }\ncompopt() { :; }\nsource " TALSTORE_SOURCES
        "/talstore.bash\nCOMP_WORDS=(talstore " +
        words +
        ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_talstore talstore \"${COMP_WORDS[COMP_CWORD]}\" x\n"
        "printf '%s\\n' \"${COMPREPLY[@]}\" > offered\n";
    WriteFile("script", script);
    EXPECT_EQ(std::system("bash script"), 0);
    return LinesOf(ReadFile("offered"));
}

class Completion : public StorageFiles {};

TEST_F(Completion, OffersTheOptionsOfEachCommand) {
    ForEachCommand([&](const CommandInfo& command) {
        EXPECT_EQ(Offered(std::string(command.name) + " --"), NamesOfOptions(command)) << command.name;
    });
}

TEST_F(Completion, OffersTheCommands) {
    EXPECT_THAT(Offered("sh"), testing::ElementsAre("show"));
    EXPECT_EQ(Offered("help ''"), talstore::NamesOfCommands());
    EXPECT_EQ(Offered("''"), talstore::NamesOfCommands());
}

TEST_F(Completion, OffersTheWordsThatAnOptionTakes) {
    EXPECT_THAT(Offered("show x --format ''"), testing::ElementsAre("xml", "secure", "binary"));
    EXPECT_THAT(Offered("show --format = se"), testing::ElementsAre("secure"));
    EXPECT_THAT(Offered("store --provider b"), testing::ElementsAre("binary", "board"));
}

TEST_F(Completion, OffersFilesWhereAFileIsNamed) {
    WriteFile("other.xml", "");
    EXPECT_THAT(Offered("show lay"), testing::ElementsAre("layout.json"));
    EXPECT_THAT(Offered("show other.xml --layout lay"), testing::ElementsAre("layout.json"));
    EXPECT_THAT(Offered("convert other.xml oth"), testing::ElementsAre("other.xml"));
}

TEST_F(Completion, OffersThePathsOfTheLayoutPartByPart) {
    EXPECT_THAT(Offered("get unit.bin --layout layout.json ''"), testing::ElementsAre("R/"));
    EXPECT_THAT(Offered("get unit.bin --layout layout.json R/"), testing::ElementsAre("R/Fixed/", "R/O/"));
    EXPECT_THAT(Offered("get unit.bin --layout layout.json R/O/u"), testing::ElementsAre("R/O/u32", "R/O/u8"));
    EXPECT_THAT(Offered("show unit.bin --layout layout.json --path R/O/N"), testing::ElementsAre("R/O/N/"));
    EXPECT_THAT(Offered("set unit.bin --layout layout.json R/O/u"), testing::ElementsAre("R/O/u32=", "R/O/u8="));
    EXPECT_THAT(Offered("store unit.bin --layout layout.json --set R/F"), testing::ElementsAre("R/Fixed/"));
}

TEST_F(Completion, OffersThePathsOfTheFileWithoutALayout) {
    WriteFile("unit.sbin", Record("R/O/gone", "x"));
    EXPECT_THAT(Offered("get unit.sbin R/O/"), testing::ElementsAre("R/O/gone"));
    EXPECT_THAT(Offered("get absent.sbin R/O/"), testing::ElementsAre(""));
    EXPECT_THAT(Offered("set unit.sbin R/O/gone = 4"), testing::ElementsAre(""));
}

TEST_F(Completion, OffersTheNamesOfResultCodes) {
    EXPECT_THAT(Offered("explain QBF_E_NO"),
                testing::ElementsAre("QBF_E_NO_NAME", "QBF_E_NOT_FOUND", "QBF_E_NO_STORAGE_FILE"));
}

TEST_F(Completion, OffersNothingForANumber) {
    EXPECT_THAT(Offered("show x --channel ''"), testing::ElementsAre(""));
}

/// A shell script that runs what follows each "$ " of the text, and prints that line before.
std::string ScriptOf(const std::string& session) {
    std::string script =
        "talstore() { " TALSTORE_COMMAND " \"$@\"; }\nexport -f talstore\nexport SHELL=/bin/bash\nstatus=0\n";
    for (const std::string& line : LinesOf(session)) {
        if (line.substr(0, 2) == "$ ") {
            script += "cat <<'END'\n" + line + "\nEND\n(exit $status)\n" + line.substr(2) + "\nstatus=$?\n";
        }
    }
    return script;
}

/// Runs what the page shows with the descriptions of docs/talstore.md.
void ExpectThatThePagePrints(const Page& page) {
    const TemporaryDirectory directory;
    const std::vector<std::string> descriptions = Page("docs/talstore.md").BlocksIn("json");
    ASSERT_EQ(descriptions.size(), 2U);
    WriteFile("old.json", descriptions[0]);
    WriteFile("new.json", descriptions[1]);
    std::string session;
    for (const std::string& block : page.BlocksIn("console")) {
        session += block;
    }
    WriteFile("script", ScriptOf(session));
    ASSERT_EQ(std::system("bash script > printed 2>&1"), 0);
    EXPECT_EQ(ReadFile("printed"), session);
}

TEST(TalstorePage, ShowsWhatItsCommandsPrint) {
    ExpectThatThePagePrints(Page("docs/talstore.md"));
}

TEST(JobsPage, ShowsWhatItsCommandsPrint) {
    ExpectThatThePagePrints(Page("docs/jobs.md"));
}

TEST(FleetPage, ShowsWhatItsCommandsPrint) {
    ExpectThatThePagePrints(Page("docs/fleet.md"));
}

TEST(JobsPage, HasTwentyJobsEachWithItsCommands) {
    const Page page("docs/jobs.md");
    const std::vector<std::string> numbers = FirstGroups(page.Text(), "\n## ([0-9]+)\\. ");
    ASSERT_EQ(numbers.size(), 20U);
    EXPECT_EQ(numbers.back(), "20");
    EXPECT_EQ(page.BlocksIn("console").size(), 20U);
}

// ---- The description of a database

TEST(LayoutPage, ShowsADescriptionThatIsUnderstood) {
    const std::string page = ReadFile(TALSTORE_SOURCES "/talstore-layout.5");
    const std::size_t start = page.find(".EX\n") + 4;
    const auto database = host::LoadDatabaseFromText(page.substr(start, page.find(".EE") - start));
    EXPECT_EQ(database->At("Config/Radio/Gain").Get<std::uint32_t>(), 16U);
    EXPECT_EQ(database->At("Config/Radio/Label").Text(), "north");
}

TEST(LayoutPage, NamesEveryTypeAndNoOther) {
    std::set<std::string> expected;
    for (VariableType code = 0; const host::TypeInfo* const type = host::FindType(code); ++code) {
        expected.insert(type->name);
    }
    std::set<std::string> found;
    std::istringstream lines(SectionOf(ReadFile(TALSTORE_SOURCES "/talstore-layout.5"), "TYPES"));
    for (std::string line; std::getline(lines, line);) {
        if (line.substr(0, 3) == ".B " || line.substr(0, 4) == ".BR ") {
            for (const std::string& type : FirstGroups(line.substr(3), "([A-Z][A-Z0-9_]+)")) {
                found.insert(type);
            }
        }
    }
    found.erase("count");
    EXPECT_EQ(found, expected);
}

}  // namespace

}  // namespace tal::test
