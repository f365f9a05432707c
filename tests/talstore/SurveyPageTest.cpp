/// The page for a browser, as text. What a browser makes of it is tested in tests/browser.

#include <filesystem>
#include <functional>
#include <sstream>

#include "Support.h"

namespace tal::test {

namespace {

/// The records of a survey of files that all lose the same variable.
class SurveyedFiles {
public:
    void Add(const std::string& file, const std::vector<std::string>& paths = {"R/O/u8"}) {
        ++count_;
        Put({{"record", "file"},
             {"file", file},
             {"format", "secure"},
             {"size", 0},
             {"channel", 0},
             {"damage", ""},
             {"counts",
              {{"restored", 0},
               {"changed", 0},
               {"partly", 0},
               {"refused", 0},
               {"defaulted", paths.size()},
               {"read-only", 0},
               {"left", 0}}},
             {"losses", paths.size()}});
        for (const std::string& path : paths) {
            Put({{"record", "loss"}, {"file", file}, {"kind", "defaulted"}, {"path", path}, {"reason", "not there"}});
        }
    }

    [[nodiscard]] std::string Records(bool isComplete = true) {
        Put({{"record", "summary"},
             {"layout", "<b>.json"},
             {"digest", "1"},
             {"complete", isComplete},
             {"files", count_}});
        return records_;
    }

private:
    void Put(nlohmann::json record) {
        record["schema"] = "talstore/survey/1";
        records_ += record.dump() + '\n';
    }

    std::string records_;
    std::size_t count_ = 0;
};

class SurveyPages : public StorageFiles {
protected:
    /// Surveys the files with the layout of all of these tests.
    static Ended SurveyIntoPage(std::vector<std::string> arguments, const std::string& page = "page.html") {
        arguments.insert(arguments.begin(), "survey");
        arguments.insert(arguments.end(), {"--layout", "layout.json", "--html", page});
        return Talstore(arguments);
    }

    static std::string PageOf(const std::vector<std::string>& arguments) {
        static_cast<void>(SurveyIntoPage(arguments));
        return ReadFile("page.html");
    }

    static std::string PageOfRecords(const std::string& records) {
        WriteFile("records", records);
        static_cast<void>(Talstore({"survey", "--merge", "records", "--html", "page.html"}));
        return ReadFile("page.html");
    }
};

using testing::HasSubstr;
using testing::Not;

TEST_F(SurveyPages, BeginWithWhatBecomesOfHowManyUnits) {
    WriteFile("a.sbin", Record("R/O/u32", "\x01\x02"));
    StoreFile("b.sbin");
    const Ended ended = SurveyIntoPage({"a.sbin", "b.sbin", "absent"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, testing::StartsWith("3 files for a board with layout.json: "));
    const std::string page = ReadFile("page.html");
    EXPECT_THAT(page, testing::StartsWith("<!DOCTYPE html>\n<html lang=\"en\">\n"));
    EXPECT_THAT(page, HasSubstr("<title>What boards with layout.json would lose</title>"));
    EXPECT_THAT(page,
                HasSubstr("<dl class=\"facts\">\n"
                          "<div><dt>Files</dt><dd>3</dd></div>\n"
                          "<div class=\"none\"><dt>Lose nothing</dt><dd>1 <small>33.3 %</small></dd></div>\n"
                          "<div class=\"some\"><dt>Lose something</dt><dd>1 <small>33.3 %</small></dd></div>\n"
                          "<div class=\"unreadable\"><dt>Cannot be read</dt><dd>1 <small>33.3 %</small></dd></div>\n"
                          "</dl>\n"));
}

TEST_F(SurveyPages, HaveARowForEachKindOfLoss) {
    WriteFile("a.sbin", Record("R/O/u32", "\x01\x02"));
    WriteFile("b.sbin", Record("R/O/u32", "\x01\x02"));
    StoreFile("c.sbin");
    EXPECT_THAT(
        PageOf({"a.sbin", "b.sbin", "c.sbin"}),
        HasSubstr("<tr><th scope=\"row\" class=\"variable searched\"><code><bdi>R/<wbr>O/<wbr>u32</bdi></code></th>"
                  "<td class=\"kinds searched\"><span class=\"kind refused\">refused</span></td>"
                  "<td class=\"reason searched\">2 bytes in the file, 4 in the layout</td>"
                  "<td class=\"number\" data-label=\"Units\" data-value=\"2\">2</td>"
                  "<td class=\"share\" data-label=\"Share\" data-value=\"0.666667\">66.7 %"
                  "<svg class=\"bar\" aria-hidden=\"true\">"
                  "<rect class=\"part\" x=\"0.000000%\" width=\"66.666667%\" height=\"100%\"></rect></svg></td>"
                  "<td class=\"files\"><details><summary><bdi class=\"name\">a.sbin</bdi> "
                  "<span class=\"more\">and 1 more</span></summary>"
                  "<pre tabindex=\"0\">a.sbin\nb.sbin\n</pre></details></td></tr>\n"));
}

TEST_F(SurveyPages, SayHowOftenAValueDiffers) {
    WriteFile("a.sbin", Record("R/O/u32", "\x01\x02"));
    const std::string page = PageOf({"a.sbin", "--from", "layout.json", "--values"});
    EXPECT_THAT(page, HasSubstr("The units run <code>layout.json</code>; differing are those"));
    EXPECT_THAT(page, HasSubstr("<th scope=\"col\" class=\"number wide\">Differing</th>"));
    EXPECT_THAT(page, HasSubstr("<td class=\"number\" data-label=\"Differing\" data-value=\"0\">0</td>"));
    EXPECT_THAT(PageOf({"a.sbin"}), Not(HasSubstr("Differing</th>")));
}

TEST_F(SurveyPages, TellWhatIsAcceptedApart) {
    WriteFile("a.sbin", Record("R/O/u32", "\x01\x02"));
    WriteFile("accepted.json", R"({"accepted": [
        {"variable": "R/O/u32", "kind": "refused", "reason": "carried <over>"},
        {"variable": "R/gone", "kind": "ignored", "reason": "nobody has it"}]})");
    const std::string page = PageOf({"a.sbin", "--accept", "accepted.json"});
    const std::size_t accepted = page.find("<h2>Accepted losses</h2>");
    ASSERT_NE(accepted, std::string::npos);
    EXPECT_GT(page.find("<td class=\"reason searched\">carried &lt;over></td>"), accepted);
    EXPECT_EQ(page.find("2 bytes in the file"), std::string::npos);
    EXPECT_GT(page.find("<h2>Accepted, but in no unit</h2>"), accepted);
    EXPECT_THAT(page,
                HasSubstr("<code><bdi>R/<wbr>gone</bdi></code></th><td class=\"kinds searched\"><span class=\"kind "
                          "ignored\">ignored</span></td><td class=\"reason\">nobody has it</td></tr>"));
}

TEST_F(SurveyPages, TellWhatIsNotWhole) {
    WriteFile("a.txt", "hello");
    WriteFile("b.txt", "hello");
    WriteFile("cut.sbin", "\xEF");
    const std::string page = PageOf({"a.txt", "b.txt", "cut.sbin"});
    EXPECT_THAT(page,
                HasSubstr("<td class=\"reason\">neither an XML document nor a secure binary file; --format says what "
                          "a raw or a damaged file is</td><td class=\"number\" data-label=\"Files\" "
                          "data-value=\"2\">2</td><td class=\"files\"><details><summary><bdi class=\"name\">a.txt"));
    EXPECT_THAT(
        page, HasSubstr("<span class=\"kind left\">damaged</span></th><td class=\"reason\">not read to the end</td>"));
}

TEST_F(SurveyPages, SayOfABoardThatGivesUpInOneRowWhatItLeaves) {
    WriteFile("cut.xml", Document("").substr(0, 60));
    EXPECT_THAT(PageOf({"cut.xml"}),
                HasSubstr("<details><summary>8 variables</summary><pre tabindex=\"0\">R/Fixed/id\nR/O/N/deep\n"));
}

TEST_F(SurveyPages, SayThatNothingIsLost) {
    StoreFile("a.sbin");
    const std::string page = PageOf({"a.sbin"});
    EXPECT_THAT(page, HasSubstr("<p class=\"note\">No unit loses anything.</p>"));
    EXPECT_THAT(page, Not(HasSubstr("<tbody>")));
}

// ---- What comes from files

TEST_F(SurveyPages, HaveNamesAndPathsAsText) {
    SurveyedFiles files;
    files.Add("</pre>\u202E\u2028\n\x01", {"<img src=x onerror=alert(1)>"});
    files.Add("</script><script>\"&'", {"<img src=x onerror=alert(1)>"});
    const std::string page = PageOfRecords(files.Records());
    EXPECT_THAT(page, HasSubstr("<title>What boards with &lt;b>.json would lose</title>"));
    EXPECT_THAT(page, HasSubstr("<code><bdi>&lt;img src=x onerror=alert(1)></bdi></code>"));
    EXPECT_THAT(page, HasSubstr("<pre tabindex=\"0\">&lt;/pre>\\xe2\\x80\\xae\\xe2\\x80\\xa8\\n\\x01\n"
                                "&lt;/script>&lt;script>&quot;&amp;'\n</pre>"));
    EXPECT_EQ(page.find("<script>"), page.rfind("<script>"));
}

TEST_F(SurveyPages, AreNotMadeOfAnAnswerWithAKindThatIsNone) {
    SurveyedFiles files;
    files.Add("a");
    std::string records = files.Records();
    records.replace(records.find(R"("kind":"defaulted")"), 18, R"("kind":"\" onclick=\"")");
    WriteFile("records", records);
    EXPECT_EQ(Talstore({"survey", "--merge", "records", "--html", "page.html"}).err,
              "talstore: records: line 2: \"\\\" onclick=\\\"\" is no kind of loss\n");
    EXPECT_FALSE(std::filesystem::exists("page.html"));
}

TEST_F(SurveyPages, WithANameThatIsNotUtf8AreUtf8) {
    WriteFile("\xFF.sbin", Record("R/\xFE", "x"));
    const std::string page = PageOf({"\xFF.sbin"});
    EXPECT_THAT(page, HasSubstr("<bdi class=\"name\">\uFFFD.sbin</bdi>"));
    EXPECT_EQ(page.find_first_of("\xFE\xFF"), std::string::npos);
}

TEST_F(SurveyPages, NameNothingOutsideThem) {
    StoreFile("a.sbin");
    const std::string page = PageOf({"a.sbin"});
    EXPECT_THAT(page, HasSubstr("content=\"default-src 'none'; style-src 'sha256-"));
    for (const std::string text : {"http:", "https:", "//cdn", " src=", " href=", "@import", "url(", "{{"}) {
        EXPECT_THAT(page, Not(HasSubstr(text)));
    }
}

// ---- How much there may be

TEST_F(SurveyPages, ListAThousandFilesOfARowAndCountTheOthers) {
    SurveyedFiles files;
    for (int i = 1000; i < 2003; ++i) {
        files.Add("unit" + std::to_string(i));
    }
    const std::string page = PageOfRecords(files.Records());
    EXPECT_THAT(page, HasSubstr("<span class=\"more\">and 1002 more</span>"));
    EXPECT_THAT(page, HasSubstr("\nunit1998\nunit1999\n</pre><p class=\"note\">and 3 more</p></details>"));
    EXPECT_THAT(page, Not(HasSubstr("unit2000\n")));
}

TEST_F(SurveyPages, ListAboutEightMebibytesOfFilesInAll) {
    SurveyedFiles files;
    for (int i = 10; i < 40; ++i) {
        files.Add(std::to_string(i) + std::string(std::size_t{100} << 10U, 'x'), {"R/a", "R/b", "R/c"});
    }
    const std::string page = PageOfRecords(files.Records());
    EXPECT_GT(page.size(), std::size_t{8} << 20U);
    EXPECT_LT(page.size(), std::size_t{9} << 20U);
    EXPECT_THAT(page.substr(page.size() - 200000), HasSubstr("<p class=\"note\">and 3 more</p>"));
}

// ---- The file

TEST_F(SurveyPages, GoToStandardOutputWithTheAnswerBesideThem) {
    StoreFile("a.sbin");
    const Ended ended = SurveyIntoPage({"a.sbin"}, "-");
    EXPECT_THAT(ended.out, testing::StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(ended.out, testing::EndsWith("</html>\n"));
    EXPECT_THAT(ended.err, testing::StartsWith("1 file for a board with layout.json: "));
}

TEST_F(SurveyPages, AreRefusedBeforeTheSurveyWhereTheyCannotBeWritten) {
    std::filesystem::create_directory("folder");
    EXPECT_EQ(SurveyIntoPage({"absent"}, "folder").err, "talstore: folder: Is a directory\n");
    const Ended ended = SurveyIntoPage({"absent"}, "gone/page.html");
    EXPECT_EQ(ended.err, "talstore: gone/page.html: No such file or directory\n");
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.status, 2);
}

TEST_F(SurveyPages, ReplaceAFileInOneStepAndOnlyWhenTheyAreWhole) {
    WriteFile("page.html", "<!DOCTYPE html>old");
    std::filesystem::create_hard_link("page.html", "same");
    std::filesystem::create_directory("empty");
    EXPECT_EQ(SurveyIntoPage({"empty"}).err, "talstore: there is no file to survey\n");
    EXPECT_EQ(ReadFile("page.html"), "<!DOCTYPE html>old");
    StoreFile("a.sbin");
    EXPECT_EQ(SurveyIntoPage({"a.sbin"}).status, 0);
    EXPECT_EQ(ReadFile("same"), "<!DOCTYPE html>old");
    EXPECT_THAT(ReadFile("page.html"), testing::EndsWith("</html>\n"));
    const auto drafts =
        std::count_if(std::filesystem::directory_iterator("."), {}, [](const std::filesystem::directory_entry& entry) {
            return entry.path().filename().string().rfind("page.html.", 0) == 0;
        });
    EXPECT_EQ(drafts, 0);
}

TEST_F(SurveyPages, ThatCannotBeKeptAreAFailure) {
    StoreFile("a.sbin");
    onSync = [](int) { return -1; };
    const Ended ended = SurveyIntoPage({"a.sbin"});
    onSync = nullptr;
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, testing::StartsWith("talstore: page.html: "));
    EXPECT_FALSE(std::filesystem::exists("page.html"));
}

TEST_F(SurveyPages, OfAnIncompleteAnswerSaySo) {
    SurveyedFiles files;
    files.Add("a");
    SurveyedFiles others = files;
    EXPECT_THAT(PageOfRecords(files.Records(false)), HasSubstr("<strong>Incomplete.</strong>"));
    EXPECT_THAT(PageOfRecords(others.Records(true)), Not(HasSubstr("Incomplete.")));
}

}  // namespace

}  // namespace tal::test
