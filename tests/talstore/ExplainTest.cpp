/// explain, and the table of result codes, which docs/result-codes.md shows.

#include "Support.h"
#include "commands/ResultCodes.h"
#include "support/Documentation.h"

namespace tal::test {

namespace {

using talstore::ResultCode;
using testing::ElementsAre;

using Json = nlohmann::json;

/// The cell without its marks for code and links.
std::string Plain(std::string cell) {
    for (const std::vector<std::string>& link : Matches(cell, "\\[([^]]*)\\](\\([^)]*\\))")) {
        const std::string whole = '[' + link[0] + ']' + link[1];
        cell.replace(cell.find(whole), whole.size(), link[0]);
    }
    cell.erase(std::remove(cell.begin(), cell.end(), '`'), cell.end());
    return cell;
}

TEST(ResultCodes, AreThoseOfThePageWordByWord) {
    std::vector<Page::Row> expected;
    for (const ResultCode& code : talstore::ResultCodes()) {
        char value[8];
        std::snprintf(value, sizeof value, "0x%04X", code.value);
        expected.push_back({code.name, value, code.from, code.cause, code.lost, code.remedy});
    }
    std::vector<Page::Row> rows =
        Page("docs/result-codes.md").TableAfter("# Result codes: what they mean and what to do");
    for (Page::Row& row : rows) {
        std::transform(row.begin(), row.end(), row.begin(), Plain);
    }
    EXPECT_EQ(rows, expected);
}

TEST(Explain, SaysWhatACodeMeansWhatIsLostAndWhatToDo) {
    const Ended ended = Talstore({"explain", "0x8010"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out,
              "QBF_E_CORRUPT (0x8010), a failure, traced by the secure provider\n"
              "means   A record without its start marker, or with a path length above 510.\n"
              "        Nothing after it was read, nothing was defaulted.\n"
              "lost    Everything from the place of the damage on.\n"
              "do      Replace the file. Default the database if it may hold anything else.\n");
}

/// @return the name of the code that the text is explained as; empty for none.
std::string Explained(const std::string& text) {
    const Ended ended = Talstore({"explain", text, "--json"});
    const Json codes = ended.Json()["codes"];
    EXPECT_EQ(ended.status, codes.empty() ? 1 : 0);
    return codes.empty() ? "" : codes[0]["name"].get<std::string>();
}

TEST(Explain, TakesACodeInAnySpelling) {
    for (const std::string spelling :
         {"0x8000", "0X8000", "0x00008000", "8000", "32768", "QBF_E_FAILED", "qbf_e_failed", "E_FAILED"}) {
        EXPECT_EQ(Explained(spelling), "QBF_E_FAILED") << spelling;
    }
    EXPECT_EQ(Explained("0"), "QBF_OK");
    EXPECT_EQ(Explained("0x800A"), "QBF_E_IO");
    EXPECT_EQ(Explained("800a"), "QBF_E_IO");
    EXPECT_EQ(Explained("0x9999"), "");
    EXPECT_EQ(Explained("E_FRIED"), "");
}

TEST(Explain, FindsTheCodeInALineOfATrace) {
    EXPECT_EQ(Explained("Could not iterate variables, (QBFResult = 8003) QBF_E_NO_NAME"), "QBF_E_NO_NAME");
    EXPECT_EQ(Explained("      code: 800e"), "QBF_E_NOT_FOUND");
    EXPECT_EQ(Explained("0x8011  CSecureBinaryFileStorageProvider_ManageRetrieve  Size differs (8 of 4)"),
              "QBF_E_SIZE_MISMATCH");
    EXPECT_EQ(Explained("the file has 8000 bytes"), "") << "a number alone is no code";
}

TEST(Explain, NamesTheNearestCode) {
    const Ended ended = Talstore({"explain", "QBF_E_CORUPT"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, "talstore: no result code in 'QBF_E_CORUPT'; did you mean 'QBF_E_CORRUPT'?\n");
}

class ExplainInput : public StorageFiles {};

TEST_F(ExplainInput, ExplainsWhatARetrieveSaysEachCodeOnce) {
    StoreFile("unit.sbin");
    WriteFile("bad.sbin", ReadFile("unit.sbin").substr(0, 40));
    WriteFile("script", TALSTORE_COMMAND " retrieve bad.sbin --layout layout.json 2>&1 > printed | " TALSTORE_COMMAND
                                         " explain - --json > explained\n");
    ASSERT_EQ(std::system("bash script"), 0);
    std::vector<std::string> names;
    const Json explained = Json::parse(ReadFile("explained"));
    for (const Json& code : explained["codes"]) {
        names.push_back(code["name"]);
    }
    EXPECT_THAT(names, ElementsAre("QBF_E_IO"));
}

}  // namespace

}  // namespace tal::test
