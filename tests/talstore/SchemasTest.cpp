/// Every JSON answer follows the schema of its command, and the schemas are those of the commands.

#include <filesystem>

#include "Support.h"

namespace tal::test {

namespace {

class Schemas : public StorageFiles {
protected:
    /// Keeps the answer for the validator.
    void Ask(const std::vector<std::string>& arguments) {
        std::vector<std::string> asked = arguments;
        asked.emplace_back("--json");
        const Ended ended = Talstore(asked);
        ASSERT_LE(ended.status, 1) << ended.err;
        const nlohmann::json answer = ended.Json();
        EXPECT_EQ(answer["schema"], "talstore/" + arguments[0] + "/1");
        answers_ += answer.dump() + '\n';
        ++count_;
    }

    std::string answers_;
    int count_ = 0;
};

TEST_F(Schemas, DescribeEveryAnswer) {
    StoreFile("unit.xml");
    StoreFile("unit.sbin");
    StoreFile("unit.bin", {"R/Fixed/id=77", "R/O/real=nan"});
    WriteFile("damaged.sbin", Record("R/O/u32", "x") + Record("R/gone", "x") + "\xEF");
    WriteFile("damaged.xml",
              Document("<region name = \"R\"><object name = \"O\">" + Variable("u8", "U8", "300") +
                       Variable("flag", "BOOL", "yes") + Variable("odd", "U9", "<!-- x -->1") + "</object></region>"));
    WriteFile("broken.xml", ReadFile("unit.xml").substr(0, 200));
    WriteFile("other.xml", "<svg/>");
    for (const std::string name :
         {"unit.xml", "unit.sbin", "damaged.sbin", "damaged.xml", "broken.xml", "other.xml", "unit.bin"}) {
        for (const std::string command : {"show", "check"}) {
            if (name != "unit.bin") {
                Ask({command, name});
            }
            Ask({command, name, "--layout", "layout.json", "--channel", "3"});
        }
        Ask({"retrieve", name, "--layout", "layout.json", "--trace"});
        Ask({"diff", name, "unit.bin", "--layout", "layout.json"});
        Ask({"convert", name, "to.xml", "--force", "--layout", "layout.json"});
        Ask({"get", name, "R", "other", "--layout", "layout.json"});
        Ask({"set", name, "R/O/u8=9", "R/O/text=a & b", "--layout", "layout.json"});
    }
    Ask({"get", "unit.sbin", "R/O"});
    Ask({"get", "damaged.xml", "R/O"});
    Ask({"diff", "unit.xml", "damaged.xml"});
    Ask({"diff", "unit.sbin", "damaged.sbin", "--summary"});
    Ask({"store", "to.xml", "--force", "--layout", "layout.json", "--set", "R/O/text=", "--trace"});
    Ask({"store", "to.xml", "--force", "--layout", "layout.json", "--location", "7"});
    Ask({"store", "to.xml", "--force", "--layout", "layout.json", "--provider", "xml-read-only"});
    Ask({"retrieve", "--provider", "dummy", "--layout", "layout.json"});
    WriteFile("other.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "u32", "type": "FLOAT"}, {"name": "new", "type": "U8"}]}]}]})");
    WriteFile("accepted.json", R"({"accepted": [{"variable": "R/O", "kind": "ignored", "reason": "old"},
        {"variable": "R/P", "kind": "left", "reason": "older", "format": "xml"}]})");
    Ask({"compare-layouts", "layout.json", "other.json", "--accept", "accepted.json"});
    for (const std::string name : {"damaged.sbin", "damaged.xml", "broken.xml", "unit.bin"}) {
        Ask({"recover", name, "--layout", "layout.json"});
    }
    Ask({"board"});
    Ask({"explain", "0x8010"});
    Ask({"explain", "nothing"});
    Ask({"board", "--layout", "layout.json", "--variant", "0x100", "--trace"});
    WriteFile("answers", answers_);
    ASSERT_EQ(std::system("python3 " TAL_REPOSITORY "/tests/talstore/validate.py " TALSTORE_SOURCES
                          "/schemas < answers > validated"),
              0);
    EXPECT_EQ(ReadFile("validated"), std::to_string(count_) + " answers, 13 schemas\n");
}

TEST_F(Schemas, RefuseAnAnswerWithAnotherKeyOrWithoutOne) {
    const auto verdictOn = [](nlohmann::json answer) {
        WriteFile("answers", answer.dump() + '\n');
        return std::system("python3 " TAL_REPOSITORY "/tests/talstore/validate.py " TALSTORE_SOURCES
                           "/schemas < answers > validated 2> refused");
    };
    nlohmann::json answer = Talstore({"board", "--json"}).Json();
    EXPECT_EQ(verdictOn(answer), 0);
    answer["other"] = 1;
    EXPECT_NE(verdictOn(answer), 0);
    answer.erase("other");
    answer.erase("result");
    EXPECT_NE(verdictOn(answer), 0);
}

TEST_F(Schemas, OfSeveralFilesStandInOneLineEach) {
    StoreFile("a.xml");
    StoreFile("b.sbin");
    for (const std::string command : {"show", "check"}) {
        const Ended ended = Talstore({command, "a.xml", "absent.xml", "b.sbin", "--json"});
        EXPECT_EQ(ended.status, 2);
        EXPECT_EQ(ended.err, "talstore: absent.xml: No such file or directory\n");
        std::istringstream lines(ended.out);
        std::vector<std::string> names;
        for (std::string line; std::getline(lines, line);) {
            names.push_back(nlohmann::json::parse(line)["file"]);
        }
        EXPECT_THAT(names, testing::ElementsAre("a.xml", "b.sbin"));
    }
}

}  // namespace

}  // namespace tal::test
