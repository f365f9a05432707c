/// The pages of the documentation: what they refer to exists, what they promise is held by tests.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "Device/DeviceSupport/check-host.h"
#include "host/ReferenceHost.h"
#include "support/Documentation.h"
#include "support/EntryPoints.h"
#include "support/FileProviders.h"
#include "support/Files.h"
#include "support/TraceRecorder.h"

namespace tal::test {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> FilesOf(const std::string& folder, const std::string& extension) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(RepositoryRoot() / folder)) {
        if (entry.path().extension() == extension) {
            names.push_back(fs::relative(entry.path(), RepositoryRoot()).string());
        }
    }
    return names;
}

std::vector<std::string> Pages() {
    std::vector<std::string> pages = FilesOf("docs", ".md");
    pages.insert(pages.end(), {"README.md", "CONTRIBUTING.md"});
    return pages;
}

/// "Suite.Name" of every test in the sources.
std::set<std::string> TestsInSources() {
    constexpr const char* kMacro = "TEST(_F|_P)?\\(([A-Za-z0-9]+),[ \n]*([A-Za-z0-9]+)\\)";
    std::set<std::string> tests;
    for (const std::string& source : FilesOf("tests", ".cpp")) {
        for (const std::vector<std::string>& match : Matches(ReadFromRepository(source), kMacro)) {
            tests.insert(match[1] + '.' + match[2]);
        }
    }
    return tests;
}

std::vector<std::string> TestsNamedIn(const std::string& text) {
    return FirstGroups(text, "`([A-Z][A-Za-z0-9]+[.][A-Z][A-Za-z0-9]+)`");
}

TEST(Documentation, EveryLinkLeadsToAFile) {
    for (const std::string& name : Pages()) {
        const fs::path folder = (RepositoryRoot() / name).parent_path();
        for (const std::string& target : FirstGroups(Page(name).Text(), R"([^\[]\]\(([^)#:]+)(#[^)]*)?\))")) {
            EXPECT_TRUE(fs::exists(folder / target)) << name << " links to " << target;
        }
    }
}

TEST(Documentation, EveryTestThatAPageNamesExists) {
    const std::set<std::string> tests = TestsInSources();
    ASSERT_EQ(tests.count("Documentation.EveryTestThatAPageNamesExists"), 1U);
    for (const std::string& name : Pages()) {
        for (const std::string& test : TestsNamedIn(Page(name).Text())) {
            EXPECT_EQ(tests.count(test), 1U) << name << " names " << test;
        }
    }
}

/// Every block of code in a page is a piece of an example, which is compiled and run.
void ExpectExcerpts(const char* pageName, const char* exampleName) {
    const std::string example = ReadFromRepository(exampleName);
    const std::vector<std::string> blocks = Page(pageName).BlocksIn("cpp");
    EXPECT_FALSE(blocks.empty()) << pageName;
    for (const std::string& block : blocks) {
        EXPECT_NE(example.find(block), std::string::npos) << pageName << ": not in " << exampleName << ":\n" << block;
    }
}

TEST(DocumentedCode, OfTheAtomicReplacementStandsInItsExample) {
    ExpectExcerpts("docs/atomic-replacement.md", "examples/atomic-replacement.h");
}

TEST(DocumentedCode, OfAHostStandsInTheExample) {
    ExpectExcerpts("docs/writing-a-host.md", "examples/small-host.cpp");
}

TEST(DocumentedHost, ProvidesEveryFunctionOfTheContract) {
    const std::string page = Page("docs/writing-a-host.md").Text();
    const std::vector<std::string> functions = FirstGroups(
        ReadFromRepository("src/Device/DeviceSupport/HostDatabase.h"), "\n[A-Za-z0-9_]+ (C[A-Za-z]+_[A-Za-z]+)[(]");
    EXPECT_EQ(functions.size(), 20U);
    for (const std::string& function : functions) {
        EXPECT_THAT(page, ::testing::HasSubstr('`' + function + '`'));
    }
}

TEST(DocumentedHost, ListsEveryRuleOfTheChecker) {
    const std::string page = Page("docs/writing-a-host.md").Text();
    for (const detail::HostRuleRow& row : detail::kHostRules) {
        EXPECT_THAT(page, ::testing::HasSubstr(std::string("| `") + row.name + "` | " + row.text + " |"));
    }
}

TEST(DocumentedHost, HasTheEncodedSymbolsThatTheLibraryLooksFor) {
    const std::string imports = ReadFromRepository("tests/ExportsTest.cpp");
    const std::vector<std::string> symbols = FirstGroups(Page("docs/writing-a-host.md").Text(), "`(_Z[A-Za-z0-9_]+)`");
    EXPECT_EQ(symbols.size(), 5U);
    for (const std::string& symbol : symbols) {
        EXPECT_THAT(imports, ::testing::HasSubstr('"' + symbol + '"'));
    }
}

/// The provider of each column of the table of locations, and how its trace begins to name the file.
struct FileColumn {
    QBFResult (*getInterface)(IStorageProvider**);
    const char* announcement;
};

constexpr FileColumn kFileColumns[] = {{CXmlFileStorageProvider_GetInterface, "Reading XML file "},
                                       {CReadOnlyXmlFileStorageProvider_GetInterface, "Reading XML file "},
                                       {CBinaryFileStorageProvider_GetInterface, "Could not open file "},
                                       {CSecureBinaryFileStorageProvider_GetInterface, "Could not open file "}};

/// What the cell of the table should say: the file that a retrieve looks for.
std::string FileOf(const FileColumn& column, StorageLocation location) {
    CXmlFileStorageProviderBase_SetStorageFilenames("", "", "", "", "", "", "", "", "", "");
    const TemporaryDirectory directory;
    host::Database database;
    IStorageProvider* provider = nullptr;
    column.getInterface(&provider);
    provider->Initialize(location);
    const TraceRecorder traces;
    EXPECT_EQ(provider->RetrieveAll(location, database.Handle(), 0), QBFResult{QBF_E_FAILED});
    for (const TraceRecord& record : traces.Records()) {
        const std::size_t at = record.message.find(column.announcement);
        if (at != std::string::npos) {
            const std::string name = record.message.substr(at + std::strlen(column.announcement));
            const std::string file = name.substr(0, name.find(" ("));
            return file.empty() ? "none" : file;
        }
        if (record.code == QBF_E_INVALID_ARGUMENT) {
            return "–";
        }
    }
    return "no trace of a file";
}

TEST(DocumentedHost, HasTheFilesOfTheTableOfLocations) {
    const std::vector<Page::Row> rows = Page("docs/writing-a-host.md").TableAfter("## Locations and their files");
    ASSERT_EQ(rows.size(), 12U);
    for (StorageLocation location = 0; location < rows.size(); ++location) {
        const Page::Row& row = rows[location];
        ASSERT_EQ(row.size(), 1 + std::size(kFileColumns));
        EXPECT_EQ(row[0], std::to_string(location));
        for (std::size_t column = 0; column < std::size(kFileColumns); ++column) {
            EXPECT_EQ(row[1 + column], FileOf(kFileColumns[column], location)) << location << " column " << column;
        }
    }
}

/// The enumerators that a public header gives to result codes, with their values as they stand there.
void AddCodesOf(const char* header, std::map<std::string, std::string>& codes) {
    const std::string text = ReadFromRepository(std::string("src/Device/DeviceSupport/") + header);
    for (const std::vector<std::string>& match : Matches(text, "(QBF_[A-Z0-9_]+) = (0x[0-9A-F]+)")) {
        codes[match[0]] = match[1];
    }
}

TEST(DocumentedResultCodes, AreExactlyThoseOfThePublicHeaders) {
    std::map<std::string, std::string> codes;
    AddCodesOf("DeviceSupport.h", codes);
    AddCodesOf("HostDatabase.h", codes);
    EXPECT_EQ(codes["QBF_E_SIZE_MISMATCH"], "0x8011");

    std::map<std::string, std::string> documented;
    for (const Page::Row& row :
         Page("docs/result-codes.md").TableAfter("# Result codes: what they mean and what to do")) {
        ASSERT_EQ(row.size(), 6U);
        EXPECT_TRUE(documented.emplace(row[0], row[1]).second) << row[0];
    }
    EXPECT_EQ(documented, codes);
}

std::vector<std::string> SourcesIn(const std::string& folder) {
    std::vector<std::string> sources = FilesOf(folder, ".cpp");
    const std::vector<std::string> headers = FilesOf(folder, ".h");
    sources.insert(sources.end(), headers.begin(), headers.end());
    EXPECT_FALSE(sources.empty()) << folder;
    return sources;
}

TEST(DocumentedArchitecture, NamesEverySourceOfTheLibrary) {
    const std::string page = Page("docs/architecture.md").Text();
    for (const std::string& source : SourcesIn("src/Device/DeviceSupport/private")) {
        EXPECT_THAT(page, ::testing::HasSubstr('`' + fs::path(source).stem().string() + '`'));
    }
}

TEST(DocumentedArchitecture, DependenciesRunOneWay) {
    constexpr const char* kIncluded = R"re(#include "([^"]+)")re";
    for (const std::string& source : SourcesIn("src")) {
        for (const std::string& included : FirstGroups(ReadFromRepository(source), kIncluded)) {
            EXPECT_EQ(included.find("Device/DeviceSupport/"), 0U) << source << " includes " << included;
        }
    }
    for (const std::string& source : SourcesIn("host")) {
        for (const std::string& included : FirstGroups(ReadFromRepository(source), kIncluded)) {
            const bool isOwn = fs::exists(RepositoryRoot() / "host" / included);
            const bool isPublic = fs::path(included).parent_path() == "Device/DeviceSupport";
            EXPECT_TRUE(isOwn || isPublic) << source << " includes " << included;
        }
    }
}

/// The rooms of talstore: each uses itself and those before it.
constexpr const char* kRooms[] = {"files", "formats", "board", "commands"};

/// @return the number of the room that the path leads into, or that of none.
std::size_t RoomOf(const std::string& path) {
    const std::string folder = fs::path(path).parent_path().string();
    return static_cast<std::size_t>(std::find(std::begin(kRooms), std::end(kRooms), folder) - std::begin(kRooms));
}

TEST(DocumentedArchitecture, TheRoomsOfTalstoreUseThoseBeforeThemAlone) {
    const std::string page = Page("docs/architecture.md").Text();
    for (std::size_t room = 0; room < std::size(kRooms); ++room) {
        EXPECT_THAT(page, ::testing::HasSubstr("| `" + std::string(kRooms[room]) + "/` |"));
        for (const std::string& source : SourcesIn(std::string("tools/talstore/") + kRooms[room])) {
            for (const std::string& included : FirstGroups(ReadFromRepository(source), R"re(#include "([^"]+)")re")) {
                const bool isInAnEarlierRoom = RoomOf(included) <= room;
                const bool isOutside = fs::exists(RepositoryRoot() / "host" / included) ||
                                       fs::exists(RepositoryRoot() / "src" / included) ||
                                       fs::exists(RepositoryRoot() / "platform" / included) ||
                                       fs::exists(RepositoryRoot() / "tools" / included);
                EXPECT_TRUE(isInAnEarlierRoom || isOutside) << source << " includes " << included;
            }
        }
    }
}

/// Under an emulator the process has a thread or two of the emulator's own, which stay.
std::ptrdiff_t ThreadCount() {
    return std::distance(fs::directory_iterator("/proc/self/task"), {});
}

/// Promise 21
TEST(DocumentedPromises, NoOperationStartsAThread) {
    const TemporaryDirectory directory;
    host::Database database;
    database.AddRegion("R").AddObject("O").U8("a", 1);
    const std::ptrdiff_t before = ThreadCount();
    for (const EntryPoint& entryPoint : kEntryPoints) {
        IStorageProvider* provider = nullptr;
        entryPoint.getInterface(&provider);
        provider->Initialize(0);
        EXPECT_EQ(provider->StoreAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        EXPECT_EQ(provider->RetrieveAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        EXPECT_EQ(ThreadCount(), before);
    }
}

}  // namespace

}  // namespace tal::test
