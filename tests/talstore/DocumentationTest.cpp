/// The man page and the completion know every option of every command; docs/talstore.md shows what is printed.

#include <set>
#include <sstream>

#include "Support.h"
#include "support/Documentation.h"

namespace tal::test {

namespace {

constexpr const char* kCommands[] = {"show", "check", "diff", "convert", "store", "retrieve", "board", "layout"};

std::set<std::string> OptionsOf(const std::string& command) {
    const std::string help = Talstore({command, "--help"}).out;
    std::istringstream lines(help.substr(0, help.find("Examples:")));
    std::set<std::string> found;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t start = line.find("--");
        const std::string before = line.substr(0, start);
        if (start != std::string::npos && (before == "  " || before == "  -h,")) {
            found.insert(line.substr(start, line.find(' ', start) - start));
        }
    }
    return found;
}

/// With every hyphen as the minus sign that can be searched for.
std::string InRoff(const std::string& option) {
    std::string text;
    for (const char character : option) {
        text += character == '-' ? "\\-" : std::string(1, character);
    }
    return text;
}

TEST(ManPage, KnowsEveryOptionOfEveryCommand) {
    const std::string page = ReadFile(TALSTORE_SOURCES "/talstore.1");
    for (const char* const command : kCommands) {
        EXPECT_THAT(page, testing::HasSubstr(std::string(".B talstore ") + command + '\n'));
        for (const std::string& option : OptionsOf(command)) {
            EXPECT_THAT(page, testing::HasSubstr(InRoff(option))) << command;
        }
    }
}

TEST(Completion, OffersTheOptionsOfEachCommand) {
    const TemporaryDirectory directory;
    for (const char* const command : kCommands) {
        const std::string script = "source " TALSTORE_SOURCES "/talstore.bash\nCOMP_WORDS=(talstore " +
                                   std::string(command) + " --)\nCOMP_CWORD=2\n_talstore talstore -- " + command +
                                   "\nprintf '%s\\n' \"${COMPREPLY[@]}\" > offered\n";
        WriteFile("script", script);
        ASSERT_EQ(std::system("bash script"), 0);
        std::istringstream offered(ReadFile("offered"));
        const std::set<std::string> options{std::istream_iterator<std::string>(offered), {}};
        EXPECT_EQ(options, OptionsOf(command)) << command;
    }
}

TEST(Completion, OffersTheCommands) {
    const TemporaryDirectory directory;
    WriteFile("script", "source " TALSTORE_SOURCES
                        "/talstore.bash\nCOMP_WORDS=(talstore sh)\nCOMP_CWORD=1\n_talstore talstore sh talstore\n"
                        "printf '%s\\n' \"${COMPREPLY[@]}\" > offered\n");
    ASSERT_EQ(std::system("bash script"), 0);
    EXPECT_EQ(ReadFile("offered"), "show\n");
}

/// A shell script that runs what follows each "$ " of the text, and prints that line before.
std::string ScriptOf(const std::string& session) {
    std::string script = "talstore() { " TALSTORE_COMMAND " \"$@\"; }\nstatus=0\n";
    for (const std::string& line : LinesOf(session)) {
        if (line.substr(0, 2) == "$ ") {
            script += "cat <<'END'\n" + line + "\nEND\n(exit $status)\n" + line.substr(2) + "\nstatus=$?\n";
        }
    }
    return script;
}

TEST(TalstorePage, ShowsWhatItsCommandsPrint) {
    const TemporaryDirectory directory;
    const Page page("docs/talstore.md");
    const std::vector<std::string> descriptions = page.BlocksIn("json");
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

}  // namespace

}  // namespace tal::test
