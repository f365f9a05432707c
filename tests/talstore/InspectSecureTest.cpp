#include "formats/InspectSecure.h"

#include "Support.h"

namespace tal::test {

namespace {

using talstore::InspectSecure;
using talstore::StoredContents;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kData = LittleEndian(16);

TEST(InspectSecure, AnEmptyFileIsWholeAndIsReported) {
    const StoredContents contents = InspectSecure({});
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(contents.items, IsEmpty());
    EXPECT_THAT(Summaries(contents), ElementsAre("warning secure.empty @0"));
}

TEST(InspectSecure, RecordsAreItemsInFileOrder) {
    const std::string file = Record("Config/Radio/Tx/Gain", kData) + Record("R/O/b", "xy");
    const StoredContents contents = InspectSecure(file);
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(Paths(contents), ElementsAre("Config/Radio/Tx/Gain", "R/O/b"));
    EXPECT_EQ(contents.items[0].bytes, kData);
    EXPECT_EQ(contents.items[1].place.offset, 45U);
    EXPECT_EQ(contents.items[1].bytes, "xy");
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST(InspectSecure, ACutHeaderIsReportedWhereItBegins) {
    const StoredContents contents = InspectSecure(Record("R/O/v", kData) + std::string(7, 'x'));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(Summaries(contents), ElementsAre("error secure.header-cut @30"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("7 of 20 bytes"));
}

TEST(InspectSecure, AFileOfOneHeaderEndsInsideItsPath) {
    const StoredContents contents = InspectSecure(Record("R/O/v", kData).substr(0, 20));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(Summaries(contents), ElementsAre("error secure.path-cut @0"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("0 of 6 bytes"));
}

TEST(InspectSecure, ARecordWithoutDataMayEndTheFile) {
    const StoredContents contents = InspectSecure(Record("R/O/v", ""));
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/v"));
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST(InspectSecure, AWrongStartMarkerEndsTheFileAndNamesTheNextOne) {
    std::string damaged = Record("R/O/b", kData);
    damaged[0] = 'x';
    const StoredContents contents = InspectSecure(Record("R/O/a", kData) + damaged + Record("R/O/c", kData));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/a"));
    EXPECT_THAT(Summaries(contents), ElementsAre("error secure.start-marker @30"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("60 bytes from here on are not read"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("another start marker is at byte 60"));
}

TEST(InspectSecure, TheNextStartMarkerMayBeOneByteFurtherOn) {
    const StoredContents contents = InspectSecure(Record("R/O/a", kData) + "x" + Record("R/O/b", kData));
    EXPECT_THAT(Summaries(contents), ElementsAre("error secure.start-marker @30"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("another start marker is at byte 31"));
}

TEST(InspectSecure, APathLengthThatNoReaderTakesEndsTheFile) {
    const StoredContents contents = InspectSecure(Record(std::string(511, 'p'), kData));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(contents.items, IsEmpty());
    EXPECT_THAT(Summaries(contents), ElementsAre("error secure.path-length @8"));
}

TEST(InspectSecure, TheLongestPathMayHaveBeenCut) {
    const std::string path(510, 'p');
    EXPECT_THAT(Summaries(InspectSecure(Record(path, kData))), ElementsAre("warning secure.name-limit @20 " + path));
}

TEST(InspectSecure, TheLongestRegionNameIsNoted) {
    const std::string path = std::string(39, 'r') + "/O/v";
    EXPECT_THAT(Summaries(InspectSecure(Record(path, kData))), ElementsAre("note secure.name-limit @20 " + path));
}

TEST(InspectSecure, ACutPathIsReported) {
    const StoredContents contents = InspectSecure(Record("R/O/v", kData).substr(0, 23));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(Summaries(contents), ElementsAre("error secure.path-cut @0 R/O"));
}

TEST(InspectSecure, CutDataAreReportedWithTheirPath) {
    const StoredContents contents = InspectSecure(Record("R/O/v", kData).substr(0, 28));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(contents.items, IsEmpty());
    EXPECT_THAT(Summaries(contents), ElementsAre("error secure.data-cut @0 R/O/v"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("2 of 4 bytes"));
}

TEST(InspectSecure, ADataSizeBeyondAnyMemoryIsOnlyCutData) {
    std::string file = Record("R/O/v", kData);
    file.replace(12, 4, LittleEndian(0xFFFFFFFF));
    EXPECT_THAT(Summaries(InspectSecure(file)), testing::Contains("error secure.data-cut @0 R/O/v"));
}

TEST(InspectSecure, AWrongLengthFieldIsReportedAndTheRecordStays) {
    std::string file = Record("R/O/v", kData);
    file.replace(4, 4, LittleEndian(30));
    const StoredContents contents = InspectSecure(file);
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/v"));
    EXPECT_THAT(Summaries(contents), ElementsAre("warning secure.length-field @4 R/O/v"));
    EXPECT_EQ(contents.findings[0].message, "the record length is 30, expected 29; readers ignore it");
}

TEST(InspectSecure, AWrongEndMarkerIsReportedAndTheRecordStays) {
    std::string file = Record("R/O/v", kData);
    file.replace(16, 4, LittleEndian(0xBEEFCAFF));
    const StoredContents contents = InspectSecure(file);
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/v"));
    EXPECT_THAT(Summaries(contents), ElementsAre("warning secure.end-marker @16 R/O/v"));
    EXPECT_EQ(contents.findings[0].message, "end marker is 0xBEEFCAFF, expected 0xBEEFCAFE; readers ignore it");
}

TEST(InspectSecure, APathWithoutItsEndHoldsTheByteThere) {
    std::string file = Record("R/O/v", kData);
    file[25] = 'w';
    const StoredContents contents = InspectSecure(file);
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/vw"));
    EXPECT_THAT(Summaries(contents), ElementsAre("warning secure.path-end @25 R/O/vw"));
}

TEST(InspectSecure, APathEndsAtItsFirstNul) {
    const StoredContents contents = InspectSecure(Record(std::string_view("R/O\0/v", 6), kData));
    EXPECT_THAT(Paths(contents), ElementsAre("R/O"));
    EXPECT_THAT(Summaries(contents), ElementsAre("warning secure.path-end @23 R/O"));
}

TEST(InspectSecure, APathThatATerminalWouldObeyIsReported) {
    EXPECT_THAT(Summaries(InspectSecure(Record("R/O/\x1B[2J", kData))),
                ElementsAre("warning secure.path-text @20 R/O/\x1B[2J"));
}

TEST(InspectSecure, ASecondRecordOfAPathNamesTheFirst) {
    const StoredContents contents = InspectSecure(Record("R/O/v", kData) + Record("R/O/v", kData));
    EXPECT_EQ(contents.items.size(), 2U);
    EXPECT_THAT(Summaries(contents), ElementsAre("warning duplicate-path @30 R/O/v"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("at byte 0; the last one counts"));
}

}  // namespace

}  // namespace tal::test
