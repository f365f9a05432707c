/// What fits into a terminal, and what becomes of the rest: golden outputs at three widths.

#include <algorithm>

#include "Support.h"

namespace tal::test {

namespace {

constexpr char kWideLayout[] = R"({"regions": [{"name": "CalibrationOfReceiver", "objects": [
  {"name": "TemperatureCompensation.Channel1", "variables": [
    {"name": "Gain",  "type": "U16",       "default": 16},
    {"name": "Label", "type": "STRING",    "count": 64, "default": "rack 4, position 17, upper left, from the door"},
    {"name": "Table", "type": "U32_ARRAY", "count": 24, "default": [2110, 2140, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,
                                                                    14, 15, 16, 17, 18, 19, 20, 21, 22, 23]}]},
  {"name": "O", "variables": [{"name": "v", "type": "U8", "default": 1}]}]}]})";

class Terminal : public TemporaryDirectory, public testing::TestWithParam<std::size_t> {
protected:
    Terminal() {
        std::string other = kWideLayout;
        other.replace(other.find("\"U16\""), 5, "\"U32\"");
        WriteFile("board.json", kWideLayout);
        WriteFile("other.json", other);
        const std::string object = "CalibrationOfReceiver/TemperatureCompensation.Channel1/";
        const std::string table =
            "[2110, 2140, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, ";
        static_cast<void>(Talstore({"store", "a.sbin", "--layout", "board.json"}));
        static_cast<void>(
            Talstore({"store", "b.sbin", "--layout", "other.json", "--set", object + "Label=rack 5", "--set",
                      object + "Table=" + table + "24]", "--set", "CalibrationOfReceiver/O/v=2"}));
        std::string bad = ReadFile("a.sbin");
        bad[bad.find("Label")] = '\x1B';
        bad[0] = 'x';
        WriteFile("bad.sbin", bad);
        WriteFile("a.xml", Document("<region name = \"CalibrationOfReceiver\"><object name = \"O\">" +
                                    Variable("v", "U8", "300") + "</object></region>"));
    }

    /// A session at a terminal: each command with what it prints.
    static std::string Session() {
        std::string session;
        for (const std::vector<std::string>& command : {std::vector<std::string>{"show", "b.sbin"},
                                                        {"show", "b.sbin", "--layout", "other.json"},
                                                        {"check", "bad.sbin"},
                                                        {"check", "a.xml"},
                                                        {"check", "b.sbin", "--layout", "board.json"},
                                                        {"retrieve", "b.sbin", "--layout", "board.json"},
                                                        {"diff", "a.sbin", "b.sbin", "--layout", "board.json"},
                                                        {"convert", "b.sbin", "b.xml", "--layout", "board.json"}}) {
            session += "$ talstore";
            for (const std::string& word : command) {
                session += ' ' + word;
            }
            session += '\n' + Talstore(command, GetParam()).out;
        }
        return session;
    }
};

TEST_P(Terminal, ShowsASessionInItsWidth) {
    EXPECT_EQ(Session(),
              ReadFile(TAL_REPOSITORY "/tests/talstore/golden/session-" + std::to_string(GetParam()) + ".txt"));
}

TEST_P(Terminal, NeverShortensAMessage) {
    const std::string whole = Talstore({"check", "bad.sbin", "a.xml"}).out;
    std::string shown = Talstore({"check", "bad.sbin", "a.xml"}, GetParam()).out;
    const auto withoutBlanks = [](std::string text) {
        text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\n'; }), text.end());
        return text;
    };
    EXPECT_EQ(withoutBlanks(shown), withoutBlanks(whole));
}

INSTANTIATE_TEST_SUITE_P(Of, Terminal, testing::Values(80U, 100U, 120U),
                         [](const auto& instance) { return std::to_string(instance.param) + "Columns"; });

}  // namespace

}  // namespace tal::test
