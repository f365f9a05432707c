/// docs/formats.md: its dumps are what the providers write and read, its tables say what they do with a value.

#include "TypeTable.h"
#include "host/ReferenceHost.h"
#include "support/BinaryFixture.h"
#include "support/Documentation.h"
#include "support/FileProviders.h"
#include "support/SecureRecords.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

constexpr const char* kFormatsPage = "docs/formats.md";
constexpr const char* kFormatsFile = "file";

/// The database of the page.
void BuildExample(host::Database& database) {
    host::Region& region = database.AddRegion("Cfg");
    host::Object& radio = region.AddObject("Rf");
    radio.U16("Gain", 258).Bool("On", 1);
    radio.AddNested("Tx").String("Name", 4, "ab");
    region.AddObject("Id").ReadOnly().U8("Rev", 7);
}

/// Reads a dump of the page: on each line an offset, bytes, and after two blanks what they mean.
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
    void Use(const FileProvider& provider) { provider_ = provider.Prepare(kFormatsFile); }

    std::string StoredBytes(host::Database& database) {
        EXPECT_EQ(provider_->StoreAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        return ReadFile(kFormatsFile);
    }

    void RetrieveFrom(host::Database& database, const std::string& bytes) {
        WriteFile(kFormatsFile, bytes);
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
    Page page_{kFormatsPage};
    IStorageProvider* provider_ = nullptr;
};

TEST_F(DocumentedFormats, TheXmlDumpIsWhatIsWrittenAndRead) {
    Use(kXmlFiles);
    ExpectExample(page_.BlockAfter("### The example as an XML document"), false);
}

TEST_F(DocumentedFormats, TheBinaryDumpIsWhatIsWrittenAndRead) {
    Use(kBinaryFiles);
    ExpectExample(BytesOfDump(page_.BlockAfter("### The example as a binary file")), true);
}

TEST_F(DocumentedFormats, TheSecureDumpIsWhatIsWrittenAndRead) {
    Use(kSecureFiles);
    const std::string dump = BytesOfDump(page_.BlockAfter("### The example as a secure file"));
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
    for (const Page::Row& row : page.TableAfter("## Types")) {
        rows.push_back({static_cast<VariableType>(std::stoul(row.at(0))), row.at(1), BytesOfHex(row.at(2)), row.at(3)});
    }
    return rows;
}

TEST_F(DocumentedFormats, TheTableOfTypesListsEveryTypeThatHasAValue) {
    std::vector<VariableType> expected;
    for (VariableType code = 0; host::FindType(code) != nullptr; ++code) {
        if (!host::HoldsObjects(code)) {
            expected.push_back(code);
        }
    }
    std::vector<VariableType> listed;
    for (const TypeRow& row : TypeRows(page_)) {
        listed.push_back(row.code);
    }
    EXPECT_EQ(listed, expected);
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

// ---- How a value is read

constexpr const char* kReadingTable = "### How a value is read";

/// What the page says of a text: "251 from `251`".
struct ReadingExample {
    std::string given;
    std::string text;
};

/// One row of the table.
struct ReadingRow {
    VariableType code;
    std::vector<ReadingExample> examples;
    std::string givenByNothing;
};

std::vector<ReadingRow> ReadingRows(const Page& page) {
    std::vector<ReadingRow> rows;
    for (const Page::Row& row : page.TableAfter(kReadingTable)) {
        rows.push_back({static_cast<VariableType>(std::stoul(row.at(0))), {}, row.at(4)});
        for (const auto& match : Matches(row.at(3), "(\"[^\"]*\"|[^ ,\"]+) from `([^`]*)")) {
            rows.back().examples.push_back({match.at(0), match.at(1)});
        }
    }
    return rows;
}

std::string Shown(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

/// The first element of the variable as the page shows it.
std::string Shown(const host::Variable& variable, const host::TypeInfo& type) {
    switch (type.kind) {
        case host::TypeKind::Real:
            return Shown(type.elementSize == sizeof(float) ? variable.Get<float>() : variable.Get<double>());
        case host::TypeKind::String:
            return '"' + variable.Text() + '"';
        case host::TypeKind::Signed:
            return std::to_string(type.elementSize == 1   ? variable.Get<std::int8_t>()
                                  : type.elementSize == 2 ? variable.Get<std::int16_t>()
                                                          : variable.Get<std::int32_t>());
        default:
            return std::to_string(type.elementSize == 1   ? variable.Get<std::uint8_t>()
                                  : type.elementSize == 2 ? variable.Get<std::uint16_t>()
                                                          : variable.Get<std::uint32_t>());
    }
}

class DocumentedReading : public XmlReaderFixture {
protected:
    /// What a variable element with this content gives to a variable of the type, in the words of the page.
    std::string Given(VariableType code, const std::string& content) {
        const host::TypeInfo& type = *host::FindType(code);
        host::Variable& variable = AddVariable(code, type);
        const std::vector<std::uint8_t> before = ContentOf(variable, type);
        const QBFResult result = RetrieveVariables(VariableElement(variable.Name(), content));
        EXPECT_EQ(variable.Retrieved(), result == QBF_OK);
        if (result != QBF_OK) {
            EXPECT_TRUE(variable.HoldsDefault());
            return "fails";
        }
        return ContentOf(variable, type) == before ? "kept" : Shown(variable, type);
    }

    static std::string TextElement(VariableType code, const std::string& text) {
        return host::FindType(code)->isArray ? "<array><element>" + text + "</element></array>"
                                             : "<value>" + text + "</value>";
    }

private:
    static std::vector<std::uint8_t> ContentOf(const host::Variable& variable, const host::TypeInfo& type) {
        return type.kind == host::TypeKind::Object ? std::vector<std::uint8_t>{} : variable.Bytes();
    }

    /// Neither its content nor its default is a value of the page.
    host::Variable& AddVariable(VariableType code, const host::TypeInfo& type) {
        constexpr std::uint8_t kDefaultByte = 0x22;
        constexpr std::uint8_t kContentByte = 0x11;
        const std::string name = "v" + std::to_string(++variables_);
        if (code == VARIABLE_TYPE_OBJECT) {
            object_.AddNested(name);
            return At(name);
        }
        if (code == VARIABLE_TYPE_OBJECT_ARRAY) {
            object_.AddToArray(name, "E");
            return At(name);
        }
        const std::uint32_t count = code == VARIABLE_TYPE_STRING ? 4 : 1;
        const std::size_t size = code == VARIABLE_TYPE_STRING ? count : type.elementSize;
        object_.Raw(name, code, count, std::vector<std::uint8_t>(size, kDefaultByte));
        host::Variable& variable = At(name);
        std::memset(variable.Content(), kContentByte, variable.SizeInBytes());
        return variable;
    }

    int variables_ = 0;
};

TEST_F(DocumentedFormats, TheTableOfReadingListsEveryType) {
    VariableType expected = 0;
    for (const ReadingRow& row : ReadingRows(page_)) {
        EXPECT_EQ(row.code, expected++);
        EXPECT_FALSE(row.examples.empty()) << row.code;
    }
    EXPECT_EQ(host::FindType(expected), nullptr) << "the page lacks this code";
}

TEST_F(DocumentedReading, EveryTextGivesWhatTheTableSays) {
    for (const ReadingRow& row : ReadingRows(Page(kFormatsPage))) {
        for (const ReadingExample& example : row.examples) {
            EXPECT_EQ(Given(row.code, TextElement(row.code, example.text)), example.given)
                << "type " << row.code << " from '" << example.text << '\'';
        }
    }
}

TEST_F(DocumentedReading, AVariableWithoutAValueGivesWhatTheTableSays) {
    for (const ReadingRow& row : ReadingRows(Page(kFormatsPage))) {
        EXPECT_EQ(Given(row.code, ""), row.givenByNothing) << "type " << row.code;
    }
}

TEST_F(DocumentedReading, ARealThatIsNoNumberIsShownAsSuchAndComesBack) {
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    object_.DoubleArray("d", {kNan, -kNan, kInfinity, -kInfinity});
    object_.FloatArray("f", {static_cast<float>(kNan), static_cast<float>(-kNan)});
    const std::string document = StoredDocument();
    EXPECT_THAT(document, ::testing::HasSubstr("<element>nan</element><element>-nan</element><element>inf</element>"
                                               "<element>-inf</element>"));
    EXPECT_THAT(document, ::testing::HasSubstr("<array><element>nan</element><element>-nan</element></array>"));

    const std::vector<std::uint8_t> doubles = At("d").Bytes();
    const std::vector<std::uint8_t> floats = At("f").Bytes();
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(At("d").Bytes(), doubles);
    EXPECT_EQ(At("f").Bytes(), floats);
}

/// With the byte order mark, in little-endian order.
std::string InUtf16(std::string_view ascii) {
    std::string bytes = Bytes({0xFF, 0xFE});
    for (const char character : ascii) {
        bytes += {character, '\0'};
    }
    return bytes;
}

TEST_F(DocumentedReading, TheDocumentedEncodingsAreReadAndArriveInUtf8) {
    object_.String("s", 8);
    const std::string umlaut = RegionElement("R", ObjectElement("O", Value("s", "\xE4")));
    EXPECT_EQ(RetrieveFrom(R"(<?xml version="1.0" encoding="ISO-8859-1"?>)" + umlaut), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "\xC3\xA4");

    const std::string ascii = RegionElement("R", ObjectElement("O", Value("s", "a")));
    EXPECT_EQ(RetrieveFrom(R"(<?xml version="1.0" encoding="US-ASCII"?>)" + ascii), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "a");

    const std::string utf8 = RegionElement("R", ObjectElement("O", Value("s", "\xC3\xA4")));
    EXPECT_EQ(RetrieveFrom(utf8), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "\xC3\xA4");

    EXPECT_EQ(RetrieveFrom(InUtf16(ascii)), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "a");
}

TEST_F(DocumentedReading, OfALongTextInAnotherEncodingThanUtf8OnlyTheEndIsKept) {
    const std::string text = std::string(1400, 'a') + std::string(100, 'b');
    object_.String("s", 2000);
    EXPECT_EQ(RetrieveVariables(Value("s", text)), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), text);

    EXPECT_EQ(RetrieveFrom(R"(<?xml version="1.0" encoding="ISO-8859-1"?>)" +
                           RegionElement("R", ObjectElement("O", Value("s", text)))),
              QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), text.substr(1024));
}

TEST_F(DocumentedReading, EverythingThatIsNoTextSplitsAValue) {
    for (const char* split : {"\n", "&amp;", "&#65;", "<!-- -->", "<![CDATA[x]]>", "<?x y?>", "<unknown/>"}) {
        EXPECT_EQ(Given(VARIABLE_TYPE_STRING, TextElement(VARIABLE_TYPE_STRING, "12" + std::string(split) + "34")),
                  "\"34\"")
            << split;
    }
    EXPECT_EQ(Given(VARIABLE_TYPE_STRING, "<value>12<![CDATA[34]]></value>"), "\"34\"");
    EXPECT_EQ(Given(VARIABLE_TYPE_STRING, "<value>12<!-- 34 --></value>"), "\"12\"");
}

TEST_F(DocumentedReading, AnIndentedEmptyStringComesBackAsTheBlanksBeforeItsTag) {
    EXPECT_EQ(Given(VARIABLE_TYPE_STRING, "\n  <type>STRING</type>\n  <value></value>\n"), "\"  \"");
    EXPECT_EQ(Given(VARIABLE_TYPE_STRING, "\n  <type>STRING</type>\n  <value>\n </value>\n"), "\" \"");
}

TEST_F(DocumentedReading, AVariableAroundAnotherOneTakesTheLastValueBeforeItsEnd) {
    object_.U8("outer").U8("inner");
    const std::string inner = Value("inner", "2");
    EXPECT_EQ(RetrieveVariables(VariableElement("outer", "<value>1</value>" + inner + "<value>3</value>")),
              QBFResult{QBF_OK});
    EXPECT_EQ(At("outer").Get<std::uint8_t>(), 3);
    EXPECT_EQ(At("inner").Get<std::uint8_t>(), 2);

    EXPECT_EQ(RetrieveVariables(VariableElement("outer", "<value>1</value>" + inner)), QBFResult{QBF_OK});
    EXPECT_EQ(At("outer").Get<std::uint8_t>(), 2);
}

// ---- Paths of the secure format

TEST_F(DocumentedFormats, TheSecurePathsAreThoseOfTheirTable) {
    Use(kSecureFiles);
    host::Database database;
    host::Region& region = database.AddRegion("R");
    host::Object& first = region.AddObject("O").U8("a");
    first.AddNested("N").U8("b");
    first.U8("c");
    host::Object& second = region.AddObject("P").U8("d");
    second.AddToArray("A", "E1").U8("e").AddToArray("B", "F").U8("f");
    second.AddToArray("A", "E2").U8("g");
    second.U8("h");

    std::string records;
    for (const Page::Row& row : page_.TableAfter("### Paths in a secure file")) {
        EXPECT_NE(database.Find(row.at(0)), nullptr) << row.at(0);
        records += SecureRecord(row.at(1), Bytes({0}));
    }
    EXPECT_EQ(StoredBytes(database), records);
}

}  // namespace

}  // namespace tal::test
