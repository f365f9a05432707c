/// The table of formats is what the library accepts.
#include "formats/Formats.h"

#include <filesystem>

#include "Support.h"
#include "board/ProviderSession.h"
#include "formats/StorageFile.h"

namespace tal::test {

namespace {

using talstore::Format;
using talstore::FormatInfo;

class FormatTable : public StorageFiles {
protected:
    static bool Accepts(const char* command, const FormatInfo& format, int location) {
        const std::string name = std::string("unit") + format.ending;
        std::filesystem::remove("made" + name);
        const std::string file = command == std::string("store") ? "made" + name : name;
        return Talstore({command, file, "--layout", "layout.json", "--location", std::to_string(location)}).status == 0;
    }
};

TEST_F(FormatTable, HasItsRowsInTheOrderOfTheFormats) {
    for (const FormatInfo& format : talstore::Formats()) {
        EXPECT_EQ(&InfoOf(format.format), &format);
    }
}

TEST_F(FormatTable, NamesTheLocationsThatTheProviderAccepts) {
    constexpr int kMoreThanAnyLocation = 14;
    for (const FormatInfo& format : talstore::Formats()) {
        StoreFile(std::string("unit") + format.ending);
        for (int number = 0; number < kMoreThanAnyLocation; ++number) {
            const auto location = std::find_if(format.locations.begin(), format.locations.end(),
                                               [&](const talstore::Location& candidate) {
                                                   return candidate.number == static_cast<StorageLocation>(number);
                                               });
            const bool isThere = location != format.locations.end();
            EXPECT_EQ(Accepts("retrieve", format, number), isThere) << format.name << ' ' << number;
            EXPECT_EQ(Accepts("store", format, number), isThere && location->isWritable)
                << format.name << ' ' << number;
        }
    }
}

TEST_F(FormatTable, SaysWhetherReadOnlyObjectsAreStored) {
    for (const FormatInfo& format : talstore::Formats()) {
        const std::string name = std::string("unit") + format.ending;
        StoreFile(name);
        const Ended ended = Talstore({"retrieve", name, "--layout", "layout.json", "--json"});
        EXPECT_EQ(ended.Json()["counts"]["read-only"], format.storesReadOnlyObjects ? 0 : 1) << format.name;
    }
}

TEST_F(FormatTable, TellsLocationsInWords) {
    EXPECT_EQ(LocationsText(InfoOf(Format::Xml)), "locations 0 and 3 to 11, of which 7, 8 and 11 are read-only");
    EXPECT_EQ(LocationsText(InfoOf(Format::Secure)), "locations 0 to 3 and 6");
    EXPECT_EQ(LocationsText(InfoOf(Format::Binary)), "locations 0, 3 and 6");
}

TEST_F(FormatTable, NamesEachOfThreeLocationsInARow) {
    FormatInfo format = InfoOf(Format::Binary);
    format.locations = {{0}, {1}, {2}, {6}};
    EXPECT_EQ(LocationsText(format), "locations 0, 1, 2 and 6");
}

TEST_F(FormatTable, IsWhatTheHelpTheManPageAndTheCompletionName) {
    const std::string help = Talstore({"store", "--help"}).out;
    const std::string page = ReadFile(TALSTORE_SOURCES "/talstore.1");
    std::string offered = "words\n";
    for (const FormatInfo& format : talstore::Formats()) {
        EXPECT_THAT(help, testing::HasSubstr(std::string(format.name) + ": " + format.summary));
        EXPECT_THAT(page, testing::HasSubstr(format.ending)) << format.name;
        offered += std::string(format.name) + '\n';
    }
    EXPECT_EQ(Talstore({"complete", "--", "show", "--format", ""}).out, offered);
}

TEST_F(FormatTable, RecognisesByTheContentBeforeTheName) {
    using talstore::RecogniseFormat;
    EXPECT_EQ(RecogniseFormat("\xEF\xBE\xAD\xDE", "unit.xml"), Format::Secure);
    EXPECT_EQ(RecogniseFormat("\xEF\xBE\xAD", "unit.xml"), Format::Xml);
    EXPECT_EQ(RecogniseFormat(" \n<?xml", "unit.bin"), Format::Xml);
    EXPECT_EQ(RecogniseFormat("\xEF\xBB\xBF<storage>", "unit"), Format::Xml);
    EXPECT_EQ(RecogniseFormat("<!-- -->", "unit"), Format::Xml);
    EXPECT_EQ(RecogniseFormat("<!DOCTYPE", "unit"), Format::Xml);
    EXPECT_EQ(RecogniseFormat("x", "unit.sbin"), Format::Secure);
    EXPECT_EQ(RecogniseFormat("x", "unit.bin"), Format::Binary);
    EXPECT_EQ(RecogniseFormat("x", "unit.txt"), std::nullopt);
}

TEST_F(FormatTable, TakesAnEmptyFileOfAnyNameForASecureOne) {
    WriteFile("unit", "");
    EXPECT_EQ(talstore::LoadStorageFile("unit", std::nullopt, false).format, Format::Secure);
}

}  // namespace

}  // namespace tal::test
