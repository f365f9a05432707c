/// docs/surprises.md: what no test of one provider shows.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/BinaryFixture.h"
#include "support/Documentation.h"
#include "support/FileProviders.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// A database with the object "O" in the region "R".
class DocumentedSurprises : public XmlReaderFixture {
protected:
    /// Stores the string "s" through `files`, makes its NUL another letter, and restores it.
    void BringInAStringWithoutItsNul(const FileProvider& files) {
        object_.String("s", 4, "abc");
        IStorageProvider* const provider = files.Prepare("file");
        EXPECT_EQ(provider->StoreAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
        std::string bytes = ReadFile("file");
        bytes.back() = 'd';
        WriteFile("file", bytes);
        EXPECT_EQ(provider->RetrieveAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
    }

    void ExpectUnreadable(const std::string& document) {
        EXPECT_EQ(RetrieveFrom(document), QBFResult{QBF_E_FAILED});
        EXPECT_THAT(traces_.Failures(), Contains(HasSubstr("Parse error")));
    }
};

// ---- XML values

/// Surprise: Doubles and floats keep seven digits
TEST_F(DocumentedSurprises, AFloatComesBackWithSevenDigits) {
    constexpr float kJustAboveOne = 1.00000012F;
    object_.Float("a", kJustAboveOne);
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    ASSERT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Get<float>(), 1.0F);
}

/// Surprise: Names and strings are cut between bytes
TEST_F(DocumentedSurprises, ARegionNameThatIsCutInsideACharacterMakesADocumentThatCannotBeRead) {
    database_.AddRegion(std::string(38, 'r') + "\xC3\xA4").AddObject("P");
    const std::string document = StoredDocument();
    EXPECT_THAT(document, HasSubstr(std::string(38, 'r') + "\xC3\">"));
    ExpectUnreadable(document);
}

/// Surprise: Names and strings are cut between bytes
TEST_F(DocumentedSurprises, AVariableNameThatIsCutInsideACharacterMakesADocumentThatCannotBeRead) {
    object_.U8(std::string(118, 'v') + "\xC3\xA4", 1);
    const std::string document = StoredDocument();
    EXPECT_THAT(document, HasSubstr(std::string(118, 'v') + "\xC3\">"));
    ExpectUnreadable(document);
}

/// Surprise: Names and strings are cut between bytes
TEST_F(DocumentedSurprises, AStringThatIsCutInsideACharacterMakesTheNextDocumentOneThatCannotBeRead) {
    object_.String("s", 4);
    EXPECT_EQ(RetrieveVariables(Value("s", "ab\xC3\xA4")), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "ab\xC3");
    ExpectUnreadable(StoredDocument());
}

// ---- XML documents

/// Surprise: Any well-formed document is a success
TEST_F(DocumentedSurprises, ADocumentOfAnotherKindIsASuccessThatDefaultsEverything) {
    object_.U8("a", 5);
    At("a").Set<std::uint8_t>(6);
    EXPECT_EQ(RetrieveFrom(R"(<svg xmlns="http://www.w3.org/2000/svg" width="9"><circle r="3"/></svg>)"),
              QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), testing::IsEmpty());
    EXPECT_FALSE(At("a").Retrieved());
    EXPECT_TRUE(At("a").HoldsDefault());
}

/// Surprise: Nothing of the reader is reset between two documents
TEST_F(DocumentedSurprises, AnEmptyValueCanTakeTheTextOfTheDocumentBefore) {
    object_.String("s", 16);
    constexpr const char* kWithAText = R"(<region name="R"><object name="P"><value>before</value></object></region>)";
    constexpr const char* kWithout =
        R"(<region name="R"><object name="O"><variable name="s"><value/></variable></object></region>)";
    EXPECT_EQ(RetrieveFrom(kWithAText), QBFResult{QBF_OK});
    EXPECT_EQ(RetrieveFrom(kWithout), QBFResult{QBF_OK});
    EXPECT_EQ(At("s").Text(), "before");
}

/// Surprise: Nothing of the reader is reset between two documents
TEST_F(DocumentedSurprises, AnObjectOutsideARegionBelongsToTheRegionOfTheDocumentBefore) {
    object_.U8("a");
    constexpr const char* kWithoutARegion =
        R"(<object name="O"><variable name="a"><value>7</value></variable></object>)";
    EXPECT_EQ(RetrieveFrom(R"(<region name="R"/>)"), QBFResult{QBF_OK});
    EXPECT_EQ(RetrieveFrom(kWithoutARegion), QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Get<std::uint8_t>(), 7);
}

/// Surprise: Nothing of the reader is reset between two documents
TEST_F(DocumentedSurprises, TheLevelsOfADocumentThatBrokeOffStandInTheNext) {
    object_.U8("a");
    EXPECT_EQ(RetrieveFrom(R"(<region name="R"><object name="O">)"), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(RetrieveFrom(R"(<variable name="a"><value>7</value></variable>)"), QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Get<std::uint8_t>(), 7);
}

/// Surprise: The elements of an array that is not registered go to the next array variable without an `array`
TEST_F(DocumentedSurprises, ElementsOfAnUnregisteredArrayGoInOrderToTheNextArrayWithoutItsOwn) {
    object_.U8Array("a", {9, 9, 9, 9});
    EXPECT_EQ(RetrieveVariables(Array("unknown", {"1", "2", "3"}) + Value("another", "8") + VariableElement("a", "")),
              QBFResult{QBF_OK});
    EXPECT_THAT(At("a").Bytes(), ElementsAre(1, 2, 3, 9));
}

/// Surprise: The elements of an array that is not registered go to the next array variable without an `array`
TEST_F(DocumentedSurprises, ElementsOfAnUnregisteredArrayAreGoneAfterTheNextRegisteredVariable) {
    object_.U8("b").U8Array("a", {9, 9});
    EXPECT_EQ(RetrieveVariables(Array("unknown", {"1", "2"}) + Value("b", "8") + VariableElement("a", "")),
              QBFResult{QBF_OK});
    EXPECT_THAT(At("a").Bytes(), ElementsAre(9, 9));
}

/// Surprise: The path of a trace names the provider, its line may be of another of the provider's sources
TEST_F(DocumentedSurprises, TheLineOfATraceMayBeOfAnotherSourceThanItsPathNames) {
    EXPECT_EQ(RetrieveVariables(""), QBFResult{QBF_OK});
    const std::vector<std::string> reader =
        LinesOf(ReadFromRepository("src/Device/DeviceSupport/private/XmlRetrieve.cpp"));
    for (const TraceRecord& record : traces_.Records()) {
        if (record.message == "Processing region: R") {
            EXPECT_EQ(record.sourcePath, "src/Device/DeviceSupport/private/CXmlFileStorageProviderBase");
            EXPECT_THAT(reader.at(record.line - 1), HasSubstr("\"Processing region: %s\""));
            return;
        }
    }
    ADD_FAILURE() << "no record of the region";
}

// ---- Binary and secure

/// Surprise: A string may come back without its NUL
TEST_F(DocumentedSurprises, AStringOfABinaryFileMayLackItsNul) {
    BringInAStringWithoutItsNul(kBinaryFiles);
    EXPECT_THAT(At("s").Bytes(), ElementsAre('a', 'b', 'c', 'd'));
}

/// Surprise: A string may come back without its NUL
TEST_F(DocumentedSurprises, AStringOfASecureFileMayLackItsNul) {
    BringInAStringWithoutItsNul(kSecureFiles);
    EXPECT_THAT(At("s").Bytes(), ElementsAre('a', 'b', 'c', 'd'));
}

/// The host keeps the default after the content, so that there is a NUL within its memory.
/// Promise 12, Surprise: A string may come back without its NUL
TEST_F(DocumentedSurprises, AStringWithoutItsNulIsWrittenIntoADocumentBeyondTheVariable) {
    BringInAStringWithoutItsNul(kBinaryFiles);
    const std::string document = StoredDocument();
    EXPECT_THAT(document, HasSubstr("<value>abcd"));
    EXPECT_THAT(document, Not(HasSubstr("<value>abcd</value>")));
}

/// Promise 12, Surprise: A string may come back without its NUL
TEST_F(DocumentedSurprises, AHostThatEndsItsStringsAfterARetrieveHasNothingOfOtherMemoryInADocument) {
    BringInAStringWithoutItsNul(kBinaryFiles);
    At("s").Set<char>('\0', 3);
    EXPECT_THAT(StoredDocument(), HasSubstr("<value>abc</value>"));
}

/// Surprise: A file that cannot be read is a success
TEST_F(DocumentedSurprises, ASecureFileThatCannotBeReadIsASuccessThatDefaultsEverythingAndIsReplacedByTheNextStore) {
    object_.U8("a", 5);
    IStorageProvider* const provider = kSecureFiles.Prepare("file");
    At("a").Set<std::uint8_t>(6);
    ASSERT_EQ(provider->StoreAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
    const std::string before = ReadFile("file");
    {
        CLibraryFaults files;
        files.Fail("fread", 1, EIO);
        EXPECT_EQ(provider->RetrieveAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
    }
    EXPECT_TRUE(At("a").HoldsDefault());
    EXPECT_EQ(provider->StoreAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
    EXPECT_NE(ReadFile("file"), before);
}

}  // namespace

}  // namespace tal::test
