/// docs/formats.md: its dumps are what the providers write and read, its tables say what they do with a value.

#include "host/ReferenceHost.h"
#include "support/BinaryFixture.h"
#include "support/Documentation.h"
#include "support/FileProviders.h"
#include "support/SecureRecords.h"

namespace tal::test {

namespace {

constexpr const char* kPage = "docs/formats.md";
constexpr const char* kFile = "file";

/// The database of the page.
void BuildExample(host::Database& database) {
    host::Region& region = database.AddRegion("Cfg");
    host::Object& radio = region.AddObject("Rf");
    radio.U16("Gain", 258).Bool("On", 1);
    radio.AddNested("Tx").String("Name", 4, "ab");
    region.AddObject("Id").ReadOnly().U8("Rev", 7);
}

/// Reads a dump of the page: on each line an offset, bytes, and behind two blanks what they mean.
std::string BytesOfDump(const std::string& dump) {
    std::string bytes;
    for (const std::string& line : LinesOf(dump)) {
        const std::size_t bytesAt = line.find_first_not_of(' ', line.find(' '));
        EXPECT_EQ(std::stoul(line.substr(0, line.find(' '))), bytes.size()) << line;
        bytes += BytesOfHex(line.substr(bytesAt, line.find("  ", bytesAt) - bytesAt));
    }
    return bytes;
}

class DocumentedFormats : public ::testing::Test {
protected:
    void Use(const FileProvider& provider) { provider_ = provider.Prepare(kFile); }

    std::string StoredBytes(host::Database& database) {
        EXPECT_EQ(provider_->StoreAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        return ReadFile(kFile);
    }

    void RetrieveFrom(host::Database& database, const std::string& bytes) {
        WriteFile(kFile, bytes);
        database.SetAllToZero();
        EXPECT_EQ(provider_->RetrieveAll(0, database.Handle(), 0), QBFResult{QBF_OK});
    }

    /// What the page says of the example, and whether the read-only object came from the file or from its default.
    void ExpectExample(const std::string& dump, bool holdsReadOnlyObject) {
        host::Database database;
        BuildExample(database);
        EXPECT_EQ(StoredBytes(database), dump);

        RetrieveFrom(database, dump);
        EXPECT_EQ(database.At("Cfg/Rf/Gain").Get<std::uint16_t>(), 258);
        EXPECT_TRUE(database.At("Cfg/Rf/On").Get<bool>());
        EXPECT_EQ(database.At("Cfg/Rf/Tx/Name").Text(), "ab");
        EXPECT_EQ(database.At("Cfg/Id/Rev").Get<std::uint8_t>(), 7);
        EXPECT_EQ(database.At("Cfg/Id/Rev").Retrieved(), holdsReadOnlyObject);
    }

    TemporaryDirectory directory_;
    Page page_{kPage};
    IStorageProvider* provider_ = nullptr;
};

TEST_F(DocumentedFormats, TheXmlDumpIsWhatIsWrittenAndRead) {
    Use(kXmlFiles);
    ExpectExample(page_.BlockBehind("### The example as an XML document"), false);
}

TEST_F(DocumentedFormats, TheBinaryDumpIsWhatIsWrittenAndRead) {
    Use(kBinaryFiles);
    ExpectExample(BytesOfDump(page_.BlockBehind("### The example as a binary file")), true);
}

TEST_F(DocumentedFormats, TheSecureDumpIsWhatIsWrittenAndRead) {
    Use(kSecureFiles);
    const std::string dump = BytesOfDump(page_.BlockBehind("### The example as a secure file"));
    ExpectExample(dump, false);
    EXPECT_EQ(dump, SecureRecord("Cfg/Rf/Gain", Bytes({2, 1})) + SecureRecord("Cfg/Rf/On", Bytes({1, 0, 0, 0})) +
                        SecureRecord("Cfg/Rf/Tx/Name", Bytes({'a', 'b', 0, 0})));
}

/// One row of the table of types: code, type text, bytes of a value, and how a document shows it.
struct TypeRow {
    VariableType code;
    std::string text;
    std::string bytes;
    std::string shown;

    /// Arrays have it in their size element, strings in bytes.
    [[nodiscard]] std::uint32_t ElementCount() const {
        constexpr std::string_view kSize = "<size>";
        if (shown.substr(0, kSize.size()) == kSize) {
            return static_cast<std::uint32_t>(std::stoul(shown.substr(kSize.size())));
        }
        return code == VARIABLE_TYPE_STRING ? static_cast<std::uint32_t>(bytes.size()) : 1;
    }

    void BuildVariable(host::Database& database) const {
        database.AddRegion("R").AddObject("O").Raw("v", code, ElementCount(), {bytes.begin(), bytes.end()});
    }
};

std::vector<TypeRow> TypeRows(const Page& page) {
    std::vector<TypeRow> rows;
    for (const Page::Row& row : page.TableBehind("## Types")) {
        rows.push_back({static_cast<VariableType>(std::stoul(row.at(0))), row.at(1), BytesOfHex(row.at(2)), row.at(3)});
    }
    return rows;
}

TEST_F(DocumentedFormats, TheTableOfTypesListsEveryTypeThatHasAValue) {
    VariableType expected = 0;
    for (const TypeRow& row : TypeRows(page_)) {
        EXPECT_EQ(row.code, expected++);
    }
    EXPECT_EQ(expected, VariableType{VARIABLE_TYPE_OBJECT});
}

TEST_F(DocumentedFormats, EveryTypeIsShownInDocumentsAsTheTableSays) {
    Use(kXmlFiles);
    for (const TypeRow& row : TypeRows(page_)) {
        SCOPED_TRACE(row.text);
        host::Database database;
        row.BuildVariable(database);
        const std::string document = StoredBytes(database);
        EXPECT_THAT(document, ::testing::HasSubstr("\n<variable name = \"v\"><type>" + row.text + "</type>" +
                                                   row.shown + "</variable>\n"));

        RetrieveFrom(database, document);
        const std::vector<std::uint8_t> restored = database.At("R/O/v").Bytes();
        EXPECT_EQ(std::string(restored.begin(), restored.end()), row.bytes);
    }
}

TEST_F(DocumentedFormats, EveryTypeHasInBinaryFilesTheBytesOfTheTable) {
    Use(kBinaryFiles);
    for (const TypeRow& row : TypeRows(page_)) {
        host::Database database;
        row.BuildVariable(database);
        EXPECT_EQ(StoredBytes(database), row.bytes) << row.text;
    }
}

TEST_F(DocumentedFormats, EveryTypeHasInSecureFilesTheBytesOfTheTable) {
    Use(kSecureFiles);
    for (const TypeRow& row : TypeRows(page_)) {
        host::Database database;
        row.BuildVariable(database);
        EXPECT_EQ(StoredBytes(database), SecureRecord("R/O/v", row.bytes)) << row.text;
    }
}

}  // namespace

}  // namespace tal::test
