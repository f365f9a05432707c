/// What is recovered of damaged files.

#include "board/Recover.h"
#include "support/CaseStep.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>

#include "DatabaseDescription.h"
#include "Support.h"
#include "TypeTable.h"
#include "board/Restore.h"
#include "board/TextPlaces.h"
#include "board/Value.h"
#include "formats/InspectXml.h"
#include "formats/Salvage.h"

namespace tal::test {

namespace {

using talstore::Format;
using talstore::RecoveredValue;
using talstore::Recovery;

/// No two of its paths differ in one byte only: nothing could tell them apart in a damaged file.
constexpr const char* kSmallLayout = R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
  {"name": "count", "type": "U16", "default": 258}, {"name": "site", "type": "STRING", "count": 6, "default": "north"},
  {"name": "levels", "type": "U8_ARRAY", "count": 2, "default": [7, 9]},
  {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [
    {"name": "deep", "type": "S32", "default": -4}]}}]}]}]})";

/// A file with the defaults of kSmallLayout, and where in it the values are.
class SmallFile {
public:
    explicit SmallFile(Format format) : session_(talstore::ProviderOf(format), 0, 0, "file") {
        file_ = {"file", session_.Store(*layout_).bytes.value_or(""), format};
        layout_->ResetToDefaults();
        const talstore::StoredContents contents = talstore::Inspect(file_, layout_.get());
        for (std::size_t i = 0; i < contents.items.size(); ++i) {
            const talstore::StoredItem& item = contents.items[i];
            original_[item.path] = layout_->At(item.path).Bytes();
            if (format == Format::Xml) {
                ranges_[item.path] = talstore::FindTextPlaces(file_.bytes, {i})[i];
                texts_[item.path].assign(item.texts.begin(), item.texts.end());
            } else {
                const auto begin = static_cast<std::size_t>(item.bytes.data() - file_.bytes.data());
                ranges_[item.path] = {{begin, begin + item.bytes.size()}};
            }
        }
    }

    [[nodiscard]] const std::string& Bytes() const { return file_.bytes; }

    /// Whether the byte is one of the variable's value.
    [[nodiscard]] bool IsInValue(const std::string& path, std::size_t byte) const {
        const auto& ranges = ranges_.at(path);
        return std::any_of(ranges.begin(), ranges.end(),
                           [&](const talstore::Range& range) { return byte >= range.begin && byte < range.end; });
    }

    /// Whether these are the texts that were stored under the path.
    [[nodiscard]] bool HasTexts(const std::string& path, const std::vector<std::string>& texts) const {
        const auto found = texts_.find(path);
        return found != texts_.end() && found->second == texts;
    }

    [[nodiscard]] bool HasBytes(const std::string& path, std::string_view bytes) const {
        const auto found = original_.find(path);
        return found != original_.end() && std::string(found->second.begin(), found->second.end()) == bytes;
    }

    /// Expects of a damaged file that nothing is shown which was not stored, and whatever a board restores is shown.
    /// @param changed  The byte that is changed; npos for none.
    void ExpectRecovery(const std::string& bytes, std::size_t changed) {
        const talstore::StorageFile damaged = {"file", bytes, file_.format};
        const Recovery recovery = talstore::Recover(session_, damaged, *layout_);
        std::set<std::string> shown;
        for (const RecoveredValue& value : recovery.values) {
            const std::string& path = value.variable->Path();
            shown.insert(path);
            const bool isStored = value.texts.empty() ? HasBytes(path, value.bytes) : HasTexts(path, value.texts);
            EXPECT_TRUE(isStored || (changed != std::string::npos && IsInValue(path, changed)))
                << path << " is shown as something else";
        }
        layout_->ResetToDefaults();
        static_cast<void>(session_.Retrieve(bytes, *layout_));
        for (const host::Variable* const variable : layout_->Variables()) {
            const bool isShown = shown.count(variable->Path()) != 0;
            EXPECT_TRUE(isShown || !variable->Retrieved() || host::HoldsObjects(variable->Type()))
                << variable->Path() << " is restored and not shown";
        }
    }

private:
    std::unique_ptr<host::Database> layout_ = host::LoadDatabaseFromText(kSmallLayout);
    talstore::ProviderSession session_;
    talstore::StorageFile file_;
    std::map<std::string, std::vector<std::uint8_t>> original_;
    std::map<std::string, std::vector<std::string>> texts_;
    std::map<std::string, std::vector<talstore::Range>> ranges_;
};

class RecoveredFromAnyDamage : public testing::TestWithParam<Format> {};

/// How a byte is changed: by what, as an exclusive or.
std::vector<int> Changes() {
    if (!IsLongForm()) {
        return {0x01, 0x80};
    }
    std::vector<int> changes(255);
    std::iota(changes.begin(), changes.end(), 1);
    return changes;
}

TEST_P(RecoveredFromAnyDamage, IsWhatWasStored) {
    SmallFile file(GetParam());
    const std::string& bytes = file.Bytes();
    for (std::size_t length = 0; length <= bytes.size(); length += CaseStep()) {
        SCOPED_TRACE("the first " + std::to_string(length) + " bytes");
        file.ExpectRecovery(bytes.substr(0, length), std::string::npos);
    }
    for (std::size_t byte = 0; byte < bytes.size() && !HasFailure(); byte += CaseStep()) {
        for (const int change : Changes()) {
            std::string damaged = bytes;
            damaged[byte] = static_cast<char>(damaged[byte] ^ change);
            SCOPED_TRACE("byte " + std::to_string(byte) + " changed by " + std::to_string(change));
            file.ExpectRecovery(damaged, byte);
        }
        TellProgress(std::string("bytes changed of a file, ") + talstore::NameOf(GetParam()), byte + 1, bytes.size());
    }
}

INSTANTIATE_TEST_SUITE_P(Of, RecoveredFromAnyDamage, testing::Values(Format::Xml, Format::Secure, Format::Binary),
                         [](const auto& format) { return std::string(talstore::NameOf(format.param)); });

TEST(Salvage, OfARecordWithAnyByteOfAnyValueIsWhatWasStored) {
    const SmallFile file(Format::Secure);
    const auto layout = host::LoadDatabaseFromText(kSmallLayout);
    const talstore::SizeOfPath sizeOf = [&](const std::string& path) {
        const host::Variable* const variable = layout->Find(path);
        return variable == nullptr ? std::nullopt : std::optional<std::size_t>(variable->SizeInBytes());
    };
    ASSERT_EQ(talstore::SalvageRecords(file.Bytes(), sizeOf).size(), 4U);
    for (std::size_t byte = 0; byte < file.Bytes().size(); byte += CaseStep()) {
        for (int change = 1; change < 256; ++change) {
            std::string damaged = file.Bytes();
            damaged[byte] = static_cast<char>(damaged[byte] ^ change);
            const auto records = talstore::SalvageRecords(damaged, sizeOf);
            EXPECT_GE(records.size(), 3U) << "byte " << byte << " changed by " << change;
            for (const talstore::SalvagedRecord& record : records) {
                EXPECT_TRUE(file.HasBytes(record.path, record.data) || layout->Find(record.path) == nullptr ||
                            file.IsInValue(record.path, byte))
                    << record.path << ", byte " << byte << " changed by " << change;
            }
        }
    }
}

TEST(Salvage, TakesARecordThatContradictsItselfOnceButNotTwice) {
    const talstore::SizeOfPath sizeOf = [](const std::string& /*path*/) { return std::optional<std::size_t>(2); };
    std::string record = Record("R/O/count", "ab");
    record[4] = static_cast<char>(record[4] ^ 0x01);
    EXPECT_EQ(talstore::SalvageRecords(record, sizeOf).size(), 1U) << "another length";
    record[16] = static_cast<char>(record[16] ^ 0x01);
    EXPECT_EQ(talstore::SalvageRecords(record, sizeOf).size(), 0U) << "another end marker, too";
}

/// What means something in a document, and a few of what does not.
constexpr std::string_view kCharacters = {"<>&\"'/=!?-[] \n\tx19RNO\0\x80\xC3\xFF", 25};

TEST(Salvage, OfADocumentWithAnyByteReplacedIsWhatWasStored) {
    const SmallFile file(Format::Xml);
    const auto layout = host::LoadDatabaseFromText(kSmallLayout);
    for (std::size_t byte = 0; byte < file.Bytes().size(); byte += CaseStep()) {
        for (const char character : kCharacters) {
            std::string damaged = file.Bytes();
            damaged[byte] = character;
            const talstore::StoredContents contents = talstore::InspectXml(talstore::SalvageDocument(damaged));
            for (const std::size_t index : contents.handedOn) {
                const talstore::StoredItem& item = contents.items[index];
                const std::string path = item.path;
                EXPECT_TRUE(item.texts.empty() || layout->Find(path) == nullptr || file.IsInValue(path, byte) ||
                            file.HasTexts(path, {item.texts.begin(), item.texts.end()}))
                    << path << ", byte " << byte << " replaced by " << static_cast<int>(character);
            }
        }
    }
}

TEST(Salvage, LeavesOutEveryBrokenVariableOfALargeDocument) {
    constexpr int kPairs = 5000;
    std::string variables;
    std::string whole;
    for (int i = 0; i < kPairs; ++i) {
        const std::string number = std::to_string(i);
        whole += Variable("v" + number, "U32", number) + "\n";
        variables += Variable("v" + number, "U32", number) + Variable("b" + number, "STRING", "a & b");
    }
    const std::string start = "<region name = \"R\"><object name = \"O\">";
    const std::string end = "\n</object></region>";
    EXPECT_EQ(talstore::SalvageDocument(Document(start + variables + end)), Document(start + whole + end));
}

TEST(Salvage, LeavesOutEveryBrokenVariableAfterALongComment) {
    constexpr int kBroken = 5000;
    constexpr std::size_t kMebibyte = 1048576;
    std::string variables;
    for (int i = 0; i < kBroken; ++i) {
        variables += Variable("b" + std::to_string(i), "STRING", "a & b");
    }
    const std::string start = "<?xml version=\"1.0\"?><!--" + std::string(kMebibyte, 'x') +
                              "--><storage><region name = \"R\"><object name = \"O\">";
    const std::string last = Variable("last", "STRING", "x") + "</object></region></storage>";
    const std::string mended = talstore::SalvageDocument(start + variables + last);
    EXPECT_EQ(mended.substr(0, start.size()), start);
    EXPECT_EQ(mended.substr(mended.size() - last.size()), last);
    EXPECT_EQ(mended.find("a & b"), std::string::npos);
}

TEST(Salvage, LeavesOutVariablesOfWhichNoneHasAnEnd) {
    constexpr int kBroken = 20000;
    const std::string start = "<?xml version=\"1.0\"?><storage><region name = \"R\"><object name = \"O\">";
    std::string document = start;
    for (int i = 0; i < kBroken; ++i) {
        document += "<variable name=\"a\"><&";
    }
    EXPECT_EQ(talstore::SalvageDocument(document), start + "</object></region></storage>");
}

TEST(Salvage, OfADocumentInAnotherEncodingReadsTheRestInIt) {
    const std::string start =
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><storage><region name = \"R\"><object name = \"O\">";
    const std::string end = "</object></region></storage>";
    const std::string after = Variable("after", "STRING", "caf\xE9");
    EXPECT_EQ(talstore::SalvageDocument(start + Variable("broken", "STRING", "a & b") + after + end),
              start + "\n" + after + end);
}

// ---- What is found after the damage

class Recovering : public testing::Test {
protected:
    Recovering() {
        WriteFile("small.json", kSmallLayout);
        for (const std::string name : {"unit.xml", "unit.sbin", "unit.bin"}) {
            EXPECT_EQ(Talstore({"store", name, "--layout", "small.json"}).status, 0);
        }
    }

    /// Recovers from the file after one text of it has been replaced by another.
    static Ended Recover(const std::string& name, const std::string& from, const std::string& to,
                         const std::vector<std::string>& options = {}) {
        std::string bytes = ReadFile(name);
        const std::size_t place = bytes.find(from);
        EXPECT_NE(place, std::string::npos);
        WriteFile(name, bytes.replace(place, from.size(), to));
        std::vector<std::string> arguments = {"recover", name, "--layout", "small.json"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Talstore(arguments);
    }

    TemporaryDirectory directory_;
};

TEST_F(Recovering, FromAWholeFileShowsWhatABoardRestores) {
    const Ended ended = Recover("unit.sbin", "", "");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out,
              "unit.sbin: secure binary file, 135 bytes: 4 variables found, 0 of which a board does not restore, 0 not "
              "found\n"
              "R/O/count   U16          258\n"
              "R/O/site    STRING[6]    \"north\"\n"
              "R/O/levels  U8_ARRAY[2]  [7, 9]\n"
              "R/O/N/deep  S32          -4\n");
}

TEST_F(Recovering, FindsTheRecordsAfterABadStartMarker) {
    const Ended ended = Recover("unit.sbin", "\xEF\xBE\xAD\xDE", "\xEF\xBE\xAD\xDD");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out,
              "unit.sbin: secure binary file, 135 bytes: 4 variables found, 4 of which a board does not restore, 0 not "
              "found\n"
              "R/O/count   U16          258      a board does not restore this\n"
              "R/O/site    STRING[6]    \"north\"  a board does not restore this\n"
              "R/O/levels  U8_ARRAY[2]  [7, 9]   a board does not restore this\n"
              "R/O/N/deep  S32          -4       a board does not restore this\n");
}

TEST_F(Recovering, ShowsTheValueThatABoardReadsFromTheWrongPlace) {
    // The path length is one too small, so that the board takes the NUL for the first byte of the data.
    const Ended ended = Recover("unit.sbin", LittleEndian(9) + LittleEndian(2), LittleEndian(8) + LittleEndian(2));
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, testing::HasSubstr("R/O/count   U16          258      a board restores 512\n"));
}

TEST_F(Recovering, TellsARecordWhosePathIsInNoLayout) {
    const Ended ended = Recover("unit.sbin", "R/O/site", "R/O/sitf");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, testing::HasSubstr("R/O/site    STRING[6]    -       not found\n"
                                              "R/O/sitf    -            -       not in the layout: its path may be "
                                              "damaged\n"));
}

TEST_F(Recovering, ClosesACutDocument) {
    const std::string document = ReadFile("unit.xml");
    WriteFile("unit.xml", document.substr(0, document.find("<element>9")));
    const Ended ended = Recover("unit.xml", "", "");
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.out, testing::HasSubstr("2 variables found, 0 of which a board does not restore, 2 not found\n"
                                              "R/O/count   U16          258\n"
                                              "R/O/site    STRING[6]    \"north\"\n"
                                              "R/O/levels  U8_ARRAY[2]  -        not found\n"));
}

TEST_F(Recovering, FindsWhatFollowsABrokenVariableOfADocument) {
    for (const auto& [from, to] :
         std::map<std::string, std::string>{{"<value>north", "<valve>north"},
                                            {"north</value>", "north<&value>"},
                                            {"north</value></variable>", "north</value></varjable>"},
                                            {"<variable name = \"site\"", "<varbable name = \"site\""},
                                            {"<variable name = \"site\"", "xvariable name = \"site\""}}) {
        WriteFile("unit.xml", "");
        ASSERT_EQ(Talstore({"store", "unit.xml", "--force", "--layout", "small.json"}).status, 0);
        EXPECT_THAT(Recover("unit.xml", from, to).out,
                    testing::HasSubstr("R/O/count   U16          258\n"
                                       "R/O/levels  U8_ARRAY[2]  [7, 9]  a board does not restore this\n"
                                       "R/O/N/deep  S32          -4      a board does not restore this\n"
                                       "R/O/site    STRING[6]    -       not found\n"))
            << from << " replaced by " << to;
    }
}

TEST_F(Recovering, ReadsADocumentWithABrokenDeclaration) {
    EXPECT_THAT(Recover("unit.xml", "UTF-8", "VTF-8").out, testing::HasSubstr("4 variables found, 4 of which"));
}

TEST_F(Recovering, FindsNothingInWhatIsNoDocument) {
    WriteFile("unit.xml", "<<<");
    EXPECT_THAT(Recover("unit.xml", "", "", {"--format", "xml"}).out, testing::HasSubstr(": 0 variables found, "));
}

TEST_F(Recovering, ShowsWhatIsDroppedAfterAFailedVariable) {
    WriteFile("small.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "on", "type": "BOOL"}, {"name": "count", "type": "U16"}]}]}]})");
    ASSERT_EQ(Talstore({"store", "unit.xml", "--force", "--layout", "small.json"}).status, 0);
    EXPECT_THAT(Recover("unit.xml", "FALSE", "FALSF").out,
                testing::HasSubstr("R/O/on     BOOL  FALSF  a board does not restore this\n"
                                   "R/O/count  U16   0      a board does not restore this\n"));
}

TEST_F(Recovering, FindsWhatASecureFileStoresWhereNoBoardFindsIt) {
    WriteFile("small.json", R"({"regions": [{"name": "R", "objects": [{"name": "O", "variables": [
        {"name": "N", "type": "OBJECT", "object": {"name": "N", "variables": [{"name": "deep", "type": "U8"}]}},
        {"name": "after", "type": "U8", "default": 5}]}]}]})");
    EXPECT_EQ(Talstore({"store", "unit.sbin", "--force", "--layout", "small.json"}).status, 1);
    EXPECT_THAT(Recover("unit.sbin", "", "").out,
                testing::HasSubstr("R/O/after   U8  5  a board does not restore this\n"));
}

TEST_F(Recovering, AnswersInJson) {
    const Ended ended =
        Recover("unit.sbin", LittleEndian(9) + LittleEndian(2), LittleEndian(8) + LittleEndian(2), {"--json"});
    EXPECT_EQ(ended.Json(), nlohmann::json::parse(R"({
        "schema": "talstore/recover/1", "file": "unit.sbin", "format": "secure", "size": 135, "found": [
            {"path": "R/O/count", "type": "U16", "restored": false, "value": 258, "board": 512},
            {"path": "R/O/site", "type": "STRING[6]", "restored": false, "value": "north"},
            {"path": "R/O/levels", "type": "U8_ARRAY[2]", "restored": false, "value": [7, 9]},
            {"path": "R/O/N/deep", "type": "S32", "restored": false, "value": -4}],
        "missing": [], "unknown": []})"));
}

TEST_F(Recovering, AnswersInJsonWhatADocumentHasAndWhatIsMissing) {
    const nlohmann::json answer = Recover("unit.xml", "<value>north", "<valve>north", {"--json"}).Json();
    EXPECT_EQ(answer["found"][1],
              nlohmann::json::parse(
                  R"({"path": "R/O/levels", "type": "U8_ARRAY[2]", "restored": false, "texts": ["7", "9"]})"));
    EXPECT_EQ(answer["missing"], nlohmann::json::parse(R"(["R/O/site"])"));
}

TEST_F(Recovering, RefusesWhatNothingRecognisesUnlessTheFormatIsGiven) {
    WriteFile("notes.txt", ReadFile("unit.bin"));
    const Ended ended = Talstore({"recover", "notes.txt", "--layout", "small.json"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err,
              "talstore: notes.txt: neither an XML document nor a secure binary file; --format says what a raw or a "
              "damaged file is\n");
    EXPECT_EQ(Talstore({"recover", "notes.txt", "--layout", "small.json", "--format", "binary"}).out.substr(0, 9),
              "notes.txt");
}

}  // namespace

}  // namespace tal::test
