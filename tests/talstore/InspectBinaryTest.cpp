#include "formats/InspectBinary.h"

#include "DatabaseDescription.h"
#include "Support.h"

namespace tal::test {

namespace {

using talstore::InspectBinary;
using talstore::StoredContents;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kLayoutWithAnEmptyArray[] = R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
    {"name": "number", "type": "U16"},
    {"name": "none", "type": "U8_ARRAY", "count": 0}]}]}]})";

class InspectBinaryFile : public testing::Test {
protected:
    StoredContents Inspect(std::string_view bytes) { return InspectBinary(bytes, *layout_); }

    std::unique_ptr<host::Database> layout_ = host::LoadDatabaseFromText(
        R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
            {"name": "number", "type": "U16"},
            {"name": "flag", "type": "BOOL"},
            {"name": "text", "type": "STRING", "count": 4}]}]}]})");
    const std::string whole_ = std::string("\x05\x00", 2) + LittleEndian(1) + std::string("ab\0\0", 4);
};

TEST_F(InspectBinaryFile, IsCutAlongTheLayout) {
    const StoredContents contents = Inspect(whole_);
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/number", "R/O/flag", "R/O/text"));
    EXPECT_EQ(contents.items[1].place.offset, 2U);
    EXPECT_EQ(contents.items[2].bytes, std::string_view("ab\0\0", 4));
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST_F(InspectBinaryFile, ThatIsTooShortNamesTheVariableInWhichItEnds) {
    const StoredContents contents = Inspect(std::string_view(whole_).substr(0, 8));
    EXPECT_FALSE(contents.isWhole);
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/number", "R/O/flag", "R/O/text"));
    EXPECT_EQ(contents.items[2].bytes, "ab");
    EXPECT_THAT(Summaries(contents), ElementsAre("error binary.cut @6 R/O/text", "error binary.size @8"));
    EXPECT_THAT(contents.findings[0].message, HasSubstr("2 of 4 bytes"));
}

TEST_F(InspectBinaryFile, ThatEndsBetweenVariablesHasOnlyTheWrongSize) {
    const StoredContents contents = Inspect(whole_.substr(0, 6));
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/number", "R/O/flag"));
    EXPECT_THAT(Summaries(contents), ElementsAre("error binary.size @6"));
}

TEST_F(InspectBinaryFile, ThatIsTooLongIsWholeWithAWarning) {
    const StoredContents contents = Inspect(whole_ + "xyz");
    EXPECT_TRUE(contents.isWhole);
    EXPECT_THAT(Summaries(contents), ElementsAre("warning binary.size @10"));
}

TEST_F(InspectBinaryFile, WithAnOddBoolMayBelongToAnotherLayout) {
    std::string file = whole_;
    file[2] = 7;
    EXPECT_THAT(Summaries(Inspect(file)), ElementsAre("warning binary.unlikely @2 R/O/flag"));
}

TEST_F(InspectBinaryFile, WithABoolOfTwoMayBelongToAnotherLayout) {
    std::string file = whole_;
    file[2] = 2;
    EXPECT_THAT(Summaries(Inspect(file)), ElementsAre("warning binary.unlikely @2 R/O/flag"));
}

TEST_F(InspectBinaryFile, ThatIsOneByteTooShortOrTooLongHasTheWrongSize) {
    EXPECT_THAT(Summaries(Inspect(std::string_view(whole_).substr(0, 9))),
                ElementsAre("error binary.cut @6 R/O/text", "error binary.size @9"));
    EXPECT_THAT(Summaries(Inspect(whole_ + "x")), ElementsAre("warning binary.size @10"));
}

TEST_F(InspectBinaryFile, HoldsAnEmptyVariableAtItsEnd) {
    layout_ = host::LoadDatabaseFromText(kLayoutWithAnEmptyArray);
    const StoredContents contents = Inspect(std::string("\x05\x00", 2));
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/number", "R/O/none"));
    EXPECT_THAT(contents.findings, IsEmpty());
}

TEST_F(InspectBinaryFile, DoesNotHoldAnEmptyVariableBehindItsEnd) {
    layout_ = host::LoadDatabaseFromText(kLayoutWithAnEmptyArray);
    const StoredContents contents = Inspect("\x05");
    EXPECT_THAT(Paths(contents), ElementsAre("R/O/number"));
    EXPECT_THAT(Summaries(contents), ElementsAre("error binary.cut @0 R/O/number", "error binary.size @1"));
}

TEST_F(InspectBinaryFile, WithAnEndlessTextMayBelongToAnotherLayout) {
    EXPECT_THAT(Summaries(Inspect(whole_.substr(0, 6) + "abcd")), ElementsAre("warning binary.unlikely @6 R/O/text"));
}

}  // namespace

}  // namespace tal::test
