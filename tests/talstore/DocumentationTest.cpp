/// The man page and the completion know every option of every command.

#include <regex>
#include <set>

#include "Support.h"

namespace tal::test {

namespace {

constexpr const char* kCommands[] = {"show", "check", "diff", "convert", "store", "retrieve", "board", "layout"};

std::set<std::string> OptionsOf(const std::string& command) {
    const std::string help = Talstore({command, "--help"}).out;
    const std::string options = help.substr(0, help.find("Examples:"));
    const std::regex pattern("\n  (?:-h,)?(--[a-z-]+)");
    std::set<std::string> found;
    for (std::sregex_iterator match(options.begin(), options.end(), pattern), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

TEST(ManPage, KnowsEveryOptionOfEveryCommand) {
    const std::string page = ReadFile(TALSTORE_SOURCES "/talstore.1");
    for (const char* const command : kCommands) {
        EXPECT_THAT(page, testing::HasSubstr(std::string(".B talstore ") + command + '\n'));
        for (const std::string& option : OptionsOf(command)) {
            const std::string inRoff = std::regex_replace(option, std::regex("-"), "\\-");
            EXPECT_THAT(page, testing::HasSubstr(inRoff)) << command;
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

}  // namespace

}  // namespace tal::test
