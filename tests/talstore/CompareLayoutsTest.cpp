/// compare-layouts, run inside the test; PredictLossesTest.cpp holds what it says to what happens.

#include "Support.h"

namespace tal::test {

namespace {

using Json = nlohmann::json;

/// A layout with an object R/O of these variables.
std::string WithVariables(const std::string& variables) {
    return R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [)" + variables + "]}]}]}";
}

class CompareLayouts : public testing::Test {
protected:
    CompareLayouts() {
        WriteFile("old.json",
                  WithVariables(R"({"name": "gain", "type": "U16"}, {"name": "site", "type": "STRING", "count": 8},
            {"name": "on", "type": "BOOL"})"));
        WriteFile("new.json", WithVariables(R"({"name": "gain", "type": "U8"}, {"name": "on", "type": "BOOL"},
            {"name": "new", "type": "U8"})"));
    }

    /// Compares old.json with new.json.
    static Ended Compare(std::vector<std::string> options) {
        options.insert(options.begin(), {"compare-layouts", "old.json", "new.json"});
        return Talstore(options);
    }

    TemporaryDirectory directory_;
};

TEST_F(CompareLayouts, ListsTheLossesOfEveryFormat) {
    const Ended ended = Compare({});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "xml: 1 kept, 2 lost, 1 not in the file\n"
              "may be changed  R/O/gain  numbers above 255 become others\n"
              "ignored         R/O/site  not in the layout\n"
              "secure: 1 kept, 2 lost, 1 not in the file\n"
              "refused  R/O/gain  2 bytes in the file, 1 in the layout\n"
              "ignored  R/O/site  not in the layout\n"
              "binary: 0 kept, 4 lost\n"
              "may be changed  R/O/gain  its place holds bytes of R/O/gain\n"
              "may be changed  R/O/on    its place holds bytes of R/O/gain up to R/O/site\n"
              "may be changed  R/O/new   its place holds bytes of R/O/site\n"
              "ignored         R/O/site  not in the layout\n");
    EXPECT_EQ(ended.err, "");
}

TEST_F(CompareLayouts, OfOneFormatListsNoOther) {
    EXPECT_EQ(Compare({"--format", "secure"}).out,
              "secure: 1 kept, 2 lost, 1 not in the file\n"
              "refused  R/O/gain  2 bytes in the file, 1 in the layout\n"
              "ignored  R/O/site  not in the layout\n");
}

TEST_F(CompareLayouts, ThatAreTheSameLosesNothing) {
    const Ended ended = Talstore({"compare-layouts", "old.json", "old.json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "xml: 3 kept, 0 lost\nsecure: 3 kept, 0 lost\nbinary: 3 kept, 0 lost\n");
}

TEST_F(CompareLayouts, SaysThatTheRetrieveFailsThoughNothingIsLost) {
    WriteFile("new.json",
              WithVariables(R"({"name": "gain", "type": "U16"}, {"name": "site", "type": "STRING", "count": 8},
        {"name": "on", "type": "BOOL"}, {"name": "new", "type": "U8"})"));
    const Ended ended = Compare({"--format", "binary", "--junit", "report.xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "binary: 3 kept, 0 lost, 1 not in the file; the retrieve fails\n");
    EXPECT_THAT(ReadFile("report.xml"), testing::HasSubstr("it fails, though no variable is lost"));
    EXPECT_EQ(Compare({"--format", "secure"}).status, 0);
}

TEST_F(CompareLayouts, SaysThatWhatFollowsARefusedTextMayBeLost) {
    WriteFile("new.json", WithVariables(R"({"name": "gain", "type": "U16"}, {"name": "site", "type": "BOOL"},
        {"name": "on", "type": "BOOL"})"));
    const Ended ended = Compare({"--format", "xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "xml: 1 kept, 2 lost; the retrieve may fail\n"
              "may be refused    R/O/site  a text other than TRUE and FALSE is no BOOL\n"
              "may be defaulted  R/O/on    its value is dropped, since an earlier variable failed: R/O/site\n");
}

TEST_F(CompareLayouts, ReadsNamesAsTheChannelHasThem) {
    const auto withRadio = [](const std::string& name) {
        return R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
            {"name": ")" +
               name + R"(", "type": "U16"}]}]}]})";
    };
    WriteFile("old.json", withRadio("Channel.2.gain"));
    WriteFile("new.json", withRadio("Channel.2.gain"));
    EXPECT_EQ(Compare({"--format", "secure", "--channel", "2"}).out, "secure: 1 kept, 0 lost\n");
    WriteFile("new.json", withRadio("Channel.X.gain"));
    EXPECT_EQ(Compare({"--format", "secure", "--channel", "2"}).out,
              "secure: 0 kept, 1 lost, 1 not in the file\nignored  R/O/Channel.2.gain  not in the layout\n");
}

TEST_F(CompareLayouts, SaysWhenNoBoardCanReadTheDocuments) {
    WriteFile("old.json", WithVariables(R"({"name": "a<b", "type": "U16"})"));
    const Ended ended = Compare({"--format", "xml"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "xml: names of the old layout make documents that no board can read\n");
}

constexpr const char* kAcceptedChanges = R"({"accepted": [
    {"variable": "R/O/site", "kind": "ignored", "reason": "nobody needs it"},
    {"variable": "R/O/gain", "kind": "refused", "reason": "set at start"},
    {"variable": "R/O/away", "kind": "ignored", "reason": "gone"}]})";

TEST_F(CompareLayouts, CountsAcceptedLossesApartAndTellsEntriesThatMatchNothing) {
    WriteFile("accepted.json", kAcceptedChanges);
    const Ended ended = Compare({"--format", "secure", "--accept", "accepted.json"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out,
              "secure: 1 kept, 0 lost, 2 lost as accepted, 1 not in the file\n"
              "refused  R/O/gain  2 bytes in the file, 1 in the layout; accepted: set at start\n"
              "ignored  R/O/site  not in the layout; accepted: nobody needs it\n");
    EXPECT_EQ(ended.err, "talstore: accepted.json: R/O/away, ignored: nothing is lost like this any more\n");
}

TEST_F(CompareLayouts, FailWhenALossOfAnotherKindIsAccepted) {
    WriteFile("accepted.json", kAcceptedChanges);
    EXPECT_EQ(Compare({"--format", "xml", "--accept", "accepted.json"}).status, 1);
}

TEST_F(CompareLayouts, AnswerInJson) {
    WriteFile("accepted.json", kAcceptedChanges);
    const Json answer = Compare({"--format", "xml", "--accept", "accepted.json", "--json"}).Json();
    EXPECT_EQ(answer, Json::parse(R"({
        "schema": "talstore/compare-layouts/1", "old": "old.json", "new": "new.json", "channel": 0,
        "formats": [{"format": "xml", "readable": true, "fails": "no",
            "counts": {"kept": 1, "lost": 1, "accepted": 1, "notInFile": 1},
            "losses": [
                {"path": "R/O/gain", "kind": "changed", "certain": false, "reason": "numbers above 255 become others"},
                {"path": "R/O/site", "kind": "ignored", "certain": true, "reason": "not in the layout",
                    "accepted": "nobody needs it"}]}],
        "unmatched": [
            {"variable": "R/O/gain", "kind": "refused", "reason": "set at start"},
            {"variable": "R/O/away", "kind": "ignored", "reason": "gone"}]})"));
}

TEST_F(CompareLayouts, AnswerInJUnitXml) {
    WriteFile("accepted.json", kAcceptedChanges);
    const Ended ended = Compare({"--format", "xml", "--accept", "accepted.json", "--junit", "junit.xml"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ReadFile("junit.xml"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<testsuites>\n"
              "  <testsuite name=\"xml\" tests=\"3\" failures=\"1\" errors=\"0\" skipped=\"1\">\n"
              "    <testcase classname=\"xml\" name=\"R/O/on\"/>\n"
              "    <testcase classname=\"xml\" name=\"R/O/gain\">\n"
              "      <failure message=\"may be changed: numbers above 255 become others\"/>\n"
              "    </testcase>\n"
              "    <testcase classname=\"xml\" name=\"R/O/site\">\n"
              "      <skipped message=\"ignored: not in the layout; accepted: nobody needs it\"/>\n"
              "    </testcase>\n"
              "  </testsuite>\n"
              "</testsuites>\n");
}

TEST_F(CompareLayouts, ReplaceAJUnitReportAndNoOtherFile) {
    const std::vector<std::pair<std::string, std::string>> others = {{"unit.sbin", Record("R/O/gain", "x")},
                                                                     {"unit.xml", Document("")}};
    for (const auto& [name, bytes] : others) {
        WriteFile(name, bytes);
        const Ended ended = Compare({"--junit", name});
        EXPECT_EQ(ended.status, 2) << name;
        EXPECT_EQ(ended.err, "talstore: " + name + ": is not replaced, for it is no JUnit report\n");
        EXPECT_EQ(ended.out, "") << name;
        EXPECT_EQ(ReadFile(name), bytes);
    }
    EXPECT_EQ(Compare({"--junit", "junit.xml"}).status, 1);
    EXPECT_EQ(Compare({"--junit", "junit.xml"}).status, 1);
}

TEST_F(CompareLayouts, DoNotReplaceWhatTheyRead) {
    WriteFile("accepted.json", R"({"accepted": []})");
    for (const std::string read : {"old.json", "./new.json", "accepted.json"}) {
        const std::string before = ReadFile(read);
        EXPECT_EQ(Compare({"--accept", "accepted.json", "--junit", read}).err,
                  "talstore: " + read + ": is not replaced, for it is read, too\n");
        EXPECT_EQ(ReadFile(read), before);
    }
}

TEST_F(CompareLayouts, EscapeNamesInJUnitXml) {
    WriteFile("old.json", WithVariables(R"({"name": "a<\"&>\u0001", "type": "U16"})"));
    ASSERT_EQ(Compare({"--format", "secure", "--junit", "-"}).status, 1);
    EXPECT_THAT(Compare({"--format", "secure", "--junit", "-"}).out,
                testing::HasSubstr(R"(name="R/O/a&lt;&quot;&amp;>\x01">)"));
}

TEST_F(CompareLayouts, RefuseADescriptionThatIsNone) {
    WriteFile("new.json", "{}");
    EXPECT_EQ(Compare({}).status, 2);
}

}  // namespace

}  // namespace tal::test
