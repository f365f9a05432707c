/// Pages whose statements are held to the sources: a whole host, the board, recipes, releases.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>

#include "support/BoardVariables.h"
#include "support/Documentation.h"

namespace tal::test {

namespace {

using ::testing::HasSubstr;

std::vector<std::string> LinesWithText(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

TEST(DocumentedCode, OfAHostIsTheWholeExample) {
    std::string typed;
    for (const std::string& block : Page("docs/writing-a-host.md").BlocksIn("cpp")) {
        typed += block;
    }
    EXPECT_EQ(LinesWithText(typed), LinesWithText(ReadFromRepository("examples/small-host.cpp")));
}

TEST(DocumentedBoard, HasTheFourteenVariablesInTheirOrder) {
    const std::vector<Page::Row> rows = Page("docs/board.md").TableAfter("## The fourteen board variables");
    ASSERT_EQ(rows.size(), kBoardRows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i][0], kBoardRows[i].Path());
        EXPECT_EQ(rows[i][1], kBoardRows[i].text == nullptr ? "U32" : "STRING") << rows[i][0];
        if (kBoardRows[i].text != nullptr) {
            EXPECT_EQ(rows[i][2], '"' + std::string(kBoardRows[i].text) + '"') << rows[i][0];
        }
    }
}

TEST(DocumentedBoard, HasTheSevenNamesThatTheLibraryAsksFor) {
    const std::string imports = ReadFromRepository("tests/ExportsTest.cpp");
    const std::vector<Page::Row> rows = Page("docs/board.md").TableAfter("## The seven names of the board's libraries");
    EXPECT_EQ(rows.size(), 7U);
    for (const Page::Row& row : rows) {
        EXPECT_THAT(imports, HasSubstr('"' + row[0] + '"'));
    }
}

TEST(DocumentedRecipes, CoverWhatTheLibraryAloneInstalls) {
    const std::string page = Page("docs/recipes.md").Text();
    for (const std::string& line : LinesWithText(ReadFromRepository("tests/packaging/library-alone.txt"))) {
        const std::filesystem::path file = line.substr(2);
        if (line.find("StandIns") != std::string::npos || line.find("standins") != std::string::npos ||
            file.filename() == "libbrqtrace.so" || file.filename() == "libcorebsp.so") {
            continue;  // Only where the board's own libraries are not found.
        }
        if (file.parent_path() == "lib/cmake/TalDeviceSupport") {
            EXPECT_THAT(page, HasSubstr("${libdir}/cmake/TalDeviceSupport ")) << line;
        } else if (file.extension() == ".h") {
            EXPECT_THAT(page, HasSubstr("${includedir}" + file.string().substr(7))) << line;
        } else if (file.extension() == ".pc") {
            EXPECT_THAT(page, HasSubstr("${libdir}" + file.string().substr(3))) << line;
        } else {
            EXPECT_THAT(page, HasSubstr("`usr/" + file.string() + '`')) << line;
        }
    }
}

std::string ProjectVersion() {
    return FirstGroups(ReadFromRepository("CMakeLists.txt"), "project\\(TalDeviceSupport VERSION ([0-9.]+)").at(0);
}

TEST(DocumentedReleases, ThePackagesHaveTheVersionOfTheProject) {
    EXPECT_THAT(ReadFromRepository("debian/changelog"),
                ::testing::StartsWith("libtaldevicesupport (" + ProjectVersion() + ") "));
}

TEST(DocumentedReleases, TheRecipesHaveTheVersionOfTheProject) {
    const std::string page = Page("docs/recipes.md").Text();
    EXPECT_THAT(page, HasSubstr("libtaldevicesupport_" + ProjectVersion() + ".bb"));
    EXPECT_THAT(page, HasSubstr("LIBTALDEVICESUPPORT_VERSION = " + ProjectVersion() + "\n"));
    EXPECT_THAT(page, HasSubstr("libTalDeviceSupport.so." + ProjectVersion() + '`'));
}

TEST(DocumentedReleases, TheDiaryOfTheInterfaceHasTheExportedNames) {
    const std::vector<std::string> exported =
        FirstGroups(ReadFromRepository("cmake/TalDeviceSupport.map"), "\n    ([A-Z][A-Za-z0-9_]+);");
    const std::vector<std::string> written =
        FirstGroups(ReadFromRepository("debian/libtaldevicesupport1.symbols"), "\n ([A-Z][A-Za-z0-9_]+)@Base ");
    EXPECT_FALSE(exported.empty());
    EXPECT_THAT(written, ::testing::UnorderedElementsAreArray(exported));
}

TEST(Documentation, LeadsFromTheStartToEveryPage) {
    const std::string start = Page("README.md").Text();
    for (const auto& entry : std::filesystem::directory_iterator(RepositoryRoot() / "docs")) {
        const std::string name = entry.path().filename().string();
        EXPECT_THAT(start, HasSubstr("(docs/" + name + ')'));
    }
}

}  // namespace

}  // namespace tal::test
