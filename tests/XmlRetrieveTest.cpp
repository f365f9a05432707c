#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <filesystem>

#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/HostCalls.h"
#include "support/Sweep.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr QBFResult kFailureOfTheHost = 0x8003;

/// Holds one variable, "R/O/a": default 9, content 7, and 5 in the document.
class XmlRetrieve : public XmlReaderFixture {
protected:
    XmlRetrieve() {
        object_.U8("a", 9);
        At("a").Set<std::uint8_t>(7);
        WriteFile(kXmlFile, DocumentOf(Value("a", "5")));
    }

    [[nodiscard]] int A() { return At("a").Get<std::uint8_t>(); }

    void ExpectRestored() {
        EXPECT_EQ(A(), 5);
        EXPECT_TRUE(At("a").Retrieved());
    }

    void ExpectDefaulted() {
        EXPECT_EQ(A(), 9);
        EXPECT_FALSE(At("a").Retrieved());
    }

    void ExpectUntouched() {
        EXPECT_EQ(A(), 7);
        EXPECT_FALSE(At("a").Retrieved());
    }

    /// What went wrong before must not show.
    void ExpectCleanRetrieve() {
        traces_.Clear();
        At("a").Set<std::uint8_t>(7);
        EXPECT_EQ(RetrieveVariables(Value("a", "5")), QBFResult{QBF_OK});
        ExpectRestored();
        EXPECT_THAT(traces_.Failures(), IsEmpty());
    }
};

// ---- The whole sequence

TEST_F(XmlRetrieve, ARetrieveTracesItsProgress) {
    object_.AddNested("N").String("s", 4, "def");
    EXPECT_EQ(
        RetrieveFrom("<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"><region name = \"R\"><object "
                     "name = \"O\">\n"
                     "<variable name = \"a\"><type>U8</type><value>5</value></variable><object name = \"N\">\n"
                     "<variable name = \"s\"><type>STRING</type><value>x</value></variable>\n"
                     "</object>\n\n"
                     "</object>\n"
                     "</region>\n"
                     "</storage>\n"),
        QBFResult{QBF_OK});
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(
            "0x800 CXmlFileStorageProviderBase_RetrieveAll: XmlFileStorageProviderBase: Retrieving all...",
            "0x800 CXmlFileStorageProviderBase_OpenFile: <<<<  Reading XML file slot0.xml (for storage location 0)",
            "0x800 CXmlFileStorageProviderBase_StartElement: Processing region: R",
            "0x800 CXmlFileStorageProviderBase_StartElement: Processing object: O with path R",
            "0x820 CXmlFileStorageProviderBase_StartElement: Processing variable: a with path R/O",
            "0x820 CXmlFileStorageProviderBase_UpdateVariable: Variable path R/O/a",
            "0x800 CXmlFileStorageProviderBase_StartElement: Processing object: N with path R/O",
            "0x820 CXmlFileStorageProviderBase_StartElement: Processing variable: s with path R/O/N",
            "0x820 CXmlFileStorageProviderBase_UpdateVariable: Variable path R/O/N/s",
            "0x800 CXmlFileStorageProviderBase_ManageRetrieve: XML file closed for storage location 0"));
    EXPECT_EQ(A(), 5);
    EXPECT_EQ(At("N/s").Text(), "x");
}

TEST_F(XmlRetrieve, EveryRecordNamesTheSourceAndEndsWithItsCode) {
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    for (const TraceRecord& record : traces_.Records()) {
        EXPECT_EQ(record.sourcePath, "src/Device/DeviceSupport/private/CXmlFileStorageProviderBase");
        EXPECT_GT(record.line, 0U);
        EXPECT_EQ(record.codeLine, record.code == 0x820 ? "      code: 0x820\n" : "      code: 0x800\n");
    }
}

TEST_F(XmlRetrieve, ARetrieveCallsTheHostInOneOrder) {
    object_.U8Array("b", {0, 0});
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Value("a", "5") + Array("b", {"1", "2"})), QBFResult{QBF_OK});
    EXPECT_THAT(
        host.Calls(),
        ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved",  //
                    "CDatabase_GetVariableByPath R/O/a", "CVariable_GetType", "CVariable_GetNoOfElements",
                    "CVariable_GetContentAddress", "CVariable_SetRetrieved 1", "CList_StartIterationFromHead",
                    "CList_Destruct",  //
                    "CList_Construct", "CList_PushTail", "CList_PushTail", "CDatabase_GetVariableByPath R/O/b",
                    "CVariable_GetType", "CVariable_GetNoOfElements", "CVariable_GetContentAddress",
                    "CList_StartIterationFromHead", "CList_GetNext", "CList_GetNext", "CVariable_SetRetrieved 1",
                    "CList_StartIterationFromHead", "CList_GetNext", "CList_GetNext", "CList_Destruct",  //
                    "CDatabase_SetNotRetrievedVariablesToDefault"));
}

TEST_F(XmlRetrieve, ARetrieveAsksTheCLibraryForOneRead) {
    CLibraryFaults files;
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    const auto size = std::filesystem::file_size(kXmlFile);
    EXPECT_THAT(files.Calls(),
                ElementsAre("stat slot0.xml", "fopen slot0.xml r", "fread " + std::to_string(size + 10), "fclose"));
}

TEST_F(XmlRetrieve, SuppressedTracesChangeNothingElse) {
    traces_.SetThreshold(-1);
    traces_.MapLevelsBy([](QBFResult) { return 0; });
    EXPECT_EQ(RetrieveVariables(Value("a", "5") + Value("b", "6")), QBFResult{QBF_OK});
    ExpectRestored();
    EXPECT_EQ(RetrieveFrom("<storage>"), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Records(), IsEmpty());
}

TEST_F(XmlRetrieve, BothConfigurationsRetrieveWithTheSameFunction) {
    IStorageProvider* readOnly = nullptr;
    ASSERT_EQ(CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly), QBFResult{QBF_OK});
    EXPECT_EQ(readOnly->RetrieveAll, provider_->RetrieveAll);
    EXPECT_EQ(readOnly->Initialize, provider_->Initialize);
}

TEST_F(XmlRetrieve, ARetrieveThatWasPreparedByTheReadOnlyConfigurationRestores) {
    IStorageProvider* readOnly = nullptr;
    ASSERT_EQ(CReadOnlyXmlFileStorageProvider_GetInterface(&readOnly), QBFResult{QBF_OK});
    ASSERT_EQ(readOnly->Initialize(0), QBFResult{QBF_OK});
    WriteFile("storage_calibration_database.xml", DocumentOf(Value("a", "5")));
    EXPECT_EQ(readOnly->RetrieveAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
    ExpectRestored();
}

// ---- What is not in the document

/// Promise 10
TEST_F(XmlRetrieve, VariablesThatTheDocumentLacksTakeTheirDefaults) {
    object_.U8("b", 3);
    At("b").Set<std::uint8_t>(8);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectRestored();
    EXPECT_EQ(At("b").Get<std::uint8_t>(), 3);
    EXPECT_FALSE(At("b").Retrieved());
}

TEST_F(XmlRetrieve, UnregisteredPathIsSkippedAndTheRetrieveSucceeds) {
    EXPECT_EQ(RetrieveVariables(Value("unknown", "1") + Value("a", "5")), QBFResult{QBF_OK});
    ExpectRestored();
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_UpdateVariable"),
                ElementsAre("0x820 CXmlFileStorageProviderBase_UpdateVariable: Variable path R/O/unknown",
                            "0x820 CXmlFileStorageProviderBase_UpdateVariable:     File slot0.xml contains variable "
                            "that is not registered (R/O/unknown)",
                            "0x820 CXmlFileStorageProviderBase_UpdateVariable: Variable path R/O/a"));
}

/// Surprise: Every retrieve defaults what its file lacks
TEST_F(XmlRetrieve, MarksOfAnEarlierRetrieveDoNotKeepVariablesFromTheirDefaults) {
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(RetrieveVariables(""), QBFResult{QBF_OK});
    ExpectDefaulted();
}

TEST_F(XmlRetrieve, VariablesAddedSinceTheLastRetrieveAreFound) {
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    object_.U8("late", 1);
    EXPECT_EQ(RetrieveVariables(Value("late", "6")), QBFResult{QBF_OK});
    EXPECT_EQ(At("late").Get<std::uint8_t>(), 6);
}

TEST_F(XmlRetrieve, ADocumentWithoutRegionsDefaultsEverything) {
    EXPECT_EQ(RetrieveFrom(Document("")), QBFResult{QBF_OK});
    ExpectDefaulted();
}

TEST_F(XmlRetrieve, OfTwoVariablesWithOnePathTheLastOneCounts) {
    EXPECT_EQ(RetrieveVariables(Value("a", "5") + Value("a", "6")), QBFResult{QBF_OK});
    EXPECT_EQ(A(), 6);
}

// ---- The first failure decides about the rest

/// Surprise: After the first variable that cannot be restored
TEST_F(XmlRetrieve, VariablesAfterAFailedOneAreDefaultedAndTheOnesBeforeItStay) {
    object_.Bool("bad", 0).U8("c", 3);
    HostCalls host;
    EXPECT_EQ(RetrieveVariables(Value("a", "5") + Value("bad", "maybe") + Value("c", "4")), QBFResult{QBF_E_FAILED});
    ExpectRestored();
    EXPECT_EQ(At("c").Get<std::uint8_t>(), 3);
    EXPECT_FALSE(At("c").Retrieved());
    EXPECT_EQ(host.Count("CVariable_SetRetrieved"), 1);
}

TEST_F(XmlRetrieve, VariablesAfterAFailedOneHoldTheirValuesUntilTheyAreDefaulted) {
    object_.Bool("bad", 0).U8("c", 3);
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(RetrieveVariables(Value("bad", "maybe") + Value("c", "4")), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(At("c").Get<std::uint8_t>(), 4);
    EXPECT_FALSE(At("c").Retrieved());
}

TEST_F(XmlRetrieve, AFailedVariableIsForgottenByTheNextRetrieve) {
    object_.Bool("bad", 0);
    EXPECT_EQ(RetrieveVariables(Value("bad", "maybe")), QBFResult{QBF_E_FAILED});
    ExpectCleanRetrieve();
}

TEST_F(XmlRetrieve, FailedVariablesAreReportedOnceAtTheEnd) {
    object_.Bool("bad", 0).Bool("worse", 0);
    EXPECT_EQ(RetrieveVariables(Value("bad", "maybe") + Value("worse", "no")), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre(
            "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Wrong BOOL value: maybe, expected TRUE or FALSE",
            "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Wrong BOOL value: no, expected TRUE or FALSE",
            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during variable retrieval",
            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

// ---- Files that are not there or not to be read

/// Promise 9
/// Surprise: Without a file everything gets its default
TEST_F(XmlRetrieve, AMissingFileDefaultsEverything) {
    std::filesystem::remove(kXmlFile);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectDefaulted();
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(
            "0x800 CXmlFileStorageProviderBase_RetrieveAll: XmlFileStorageProviderBase: Retrieving all...",
            "0x800 CXmlFileStorageProviderBase_OpenFile: <<<<  Reading XML file slot0.xml (for storage location 0)",
            "0x8000 CXmlFileStorageProviderBase_OpenFile: Error while trying to stat file slot0.xml",
            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Could not open storage file slot0.xml (errno is: 2)",
            "0x800f CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AMissingFileAndAFailingDefaultAreReportedTogether) {
    std::filesystem::remove(kXmlFile);
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault", kFailureOfTheHost);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectUntouched();
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre(
            "0x8000 CXmlFileStorageProviderBase_OpenFile: Error while trying to stat file slot0.xml",
            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Could not open storage file slot0.xml (errno is: 2)",
            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error when setting missing variables to default",
            "0x800f CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, ASlotWithoutAFileNameFailsAtTheStat) {
    CXmlFileStorageProviderBase_SetStorageFilenames("", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                    nullptr, nullptr);
    traces_.Clear();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectDefaulted();
    EXPECT_EQ(traces_.Failures().front(),
              "0x8000 CXmlFileStorageProviderBase_OpenFile: Error while trying to stat file ");
}

TEST_F(XmlRetrieve, AFileThatVanishesBeforeItIsOpenedDefaultsEverything) {
    AllocationFaults memory;
    CLibraryFaults files;
    files.Fail("fopen", 1, ENOENT);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectDefaulted();
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre(
            "0x8000 CXmlFileStorageProviderBase_OpenFile: Error opening XML file",
            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Could not open storage file slot0.xml (errno is: 2)",
            "0x800f CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AFileThatMayNotBeReadReportsItsErrno) {
    CLibraryFaults files;
    files.Fail("fopen", 1, EACCES);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures()[1], HasSubstr("Could not open storage file slot0.xml (errno is: 13)"));
}

TEST_F(XmlRetrieve, ALocationThatDoesNotExistDefaultsEverything) {
    for (const StorageLocation location : {1UL, 2UL, 12UL, 255UL}) {
        At("a").Set<std::uint8_t>(7);
        traces_.Clear();
        CLibraryFaults files;
        EXPECT_EQ(Retrieve(location), QBFResult{QBF_E_FAILED});
        ExpectDefaulted();
        EXPECT_THAT(files.Calls(), IsEmpty());
        EXPECT_THAT(
            traces_.Failures(),
            ElementsAre(
                "0x8002 CXmlFileStorageProviderBase_OpenFile: Invalid storage location id: " + std::to_string(location),
                HasSubstr("0x8002 CXmlFileStorageProviderBase_ManageRetrieve: Could not open storage file "),
                "0x800f CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
    }
}

TEST_F(XmlRetrieve, ALocationThatDoesNotExistQuotesTheFileReadBefore) {
    EXPECT_EQ(Retrieve(3), QBFResult{QBF_E_FAILED});
    traces_.Clear();
    EXPECT_EQ(Retrieve(1), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures()[1], HasSubstr("Could not open storage file slot1.xml (errno is: "));
}

#if ULONG_MAX > 0xFFFFFFFF
TEST_F(XmlRetrieve, ALocationBeyond32BitsIsNotTakenForAValidOne) {
    EXPECT_EQ(Retrieve(StorageLocation{1} << 32U), QBFResult{QBF_E_FAILED});
    ExpectDefaulted();
}
#endif

TEST_F(XmlRetrieve, EveryLocationReadsTheFileOfItsSlot) {
    constexpr struct {
        StorageLocation location;
        const char* file;
    } kFiles[] = {{0, "slot0.xml"}, {3, "slot1.xml"}, {4, "slot2.xml"}, {5, "slot3.xml"},  {6, "slot4.xml"},
                  {7, "slot5.xml"}, {8, "slot6.xml"}, {9, "slot7.xml"}, {10, "slot8.xml"}, {11, "slot9.xml"}};
    std::filesystem::remove(kXmlFile);
    for (const auto& [location, file] : kFiles) {
        SCOPED_TRACE(file);
        At("a").Set<std::uint8_t>(7);
        traces_.Clear();
        WriteFile(file, DocumentOf(Value("a", "5")));
        EXPECT_EQ(Retrieve(location), QBFResult{QBF_OK});
        ExpectRestored();
        const std::string number = std::to_string(location);
        EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                    ElementsAre("0x800 CXmlFileStorageProviderBase_OpenFile: <<<<  Reading XML file " +
                                std::string(file) + " (for storage location " + number + ")"));
        EXPECT_EQ(traces_.Lines().back(),
                  "0x800 CXmlFileStorageProviderBase_ManageRetrieve: XML file closed for storage location " + number);
        std::filesystem::remove(file);
    }
}

TEST_F(XmlRetrieve, LocationEightPrefersTheFileOfSlotSeven) {
    WriteFile("slot6.xml", DocumentOf(Value("a", "6")));
    WriteFile("slot7.xml", DocumentOf(Value("a", "5")));
    EXPECT_EQ(Retrieve(8), QBFResult{QBF_OK});
    ExpectRestored();
    EXPECT_THAT(
        traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
        ElementsAre(
            "0x800 CXmlFileStorageProviderBase_OpenFile: <<<<  Reading XML file slot6.xml (for storage location 8)",
            "0x800 CXmlFileStorageProviderBase_OpenFile: Pick up MicrowaveBoard.xml from: slot7.xml (for storage "
            "location 8)"));
}

TEST_F(XmlRetrieve, LaterTracesQuoteTheFileThatWasPickedUp) {
    WriteFile("slot6.xml", DocumentOf(Value("a", "6")));
    WriteFile("slot7.xml", "");
    EXPECT_EQ(Retrieve(8), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(traces_.Failures().front(),
              "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Parse error in file slot7.xml at line 1:\n"
              "no element found\n");
}

TEST_F(XmlRetrieve, OnlyLocationEightLooksAtSlotSeven) {
    WriteFile("slot5.xml", DocumentOf(Value("a", "5")));
    WriteFile("slot7.xml", DocumentOf(Value("a", "6")));
    CLibraryFaults files;
    EXPECT_EQ(Retrieve(7), QBFResult{QBF_OK});
    ExpectRestored();
    EXPECT_THAT(files.Calls(), Each(Not(HasSubstr("slot7.xml"))));
}

// ---- Failing steps

/// Surprise: A database that cannot be prepared is restored all the same
TEST_F(XmlRetrieve, AFailingHashTableEndsTheRetrieveBeforeAnythingIsTouched) {
    HostCalls host;
    CLibraryFaults files;
    host.FailAll("CDatabase_UpdatePathHashTable", kFailureOfTheHost);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(A(), 7);
    EXPECT_THAT(files.Calls(), IsEmpty());
    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable"));
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre("0x800 CXmlFileStorageProviderBase_RetrieveAll: XmlFileStorageProviderBase: Retrieving all...",
                    "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error when updating hash table in CDatabase",
                    "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, FailingToClearTheMarksEndsTheRetrieveBeforeTheFileIsOpened) {
    HostCalls host;
    CLibraryFaults files;
    host.FailAll("CDatabase_SetAsNotRetrieved", kFailureOfTheHost);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(A(), 7);
    EXPECT_THAT(files.Calls(), IsEmpty());
    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved"));
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre("0x800 CXmlFileStorageProviderBase_RetrieveAll: XmlFileStorageProviderBase: Retrieving all...",
                    "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error when setting Database as not retrieved",
                    "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AnyCodeBelow8000FromTheHostIsASuccess) {
    HostCalls host;
    for (const char* function :
         {"CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved", "CDatabase_GetVariableByPath",
          "CVariable_GetContentAddress", "CDatabase_SetNotRetrievedVariablesToDefault"}) {
        host.OverrideAll(function, 0x7FFF);
    }
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectRestored();
}

TEST_F(XmlRetrieve, AHostCodeWithTheTopBitIsNegativeAndThereforeASuccess) {
    HostCalls host;
    host.OverrideAll("CDatabase_UpdatePathHashTable", 0x80000000UL);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectRestored();
}

TEST_F(XmlRetrieve, AFailingParserCreationLeavesTheDatabaseAlone) {
    AllocationFaults memory;
    CLibraryFaults files;
    memory.FailParserCreation();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectUntouched();
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(files.OpenStreams(), 0);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Could not create XML file parser",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AReadErrorLeavesTheDatabaseAlone) {
    AllocationFaults memory;
    CLibraryFaults files;
    files.Fail("fread", 1, EIO);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectUntouched();
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(files.OpenStreams(), 0);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Read error from XML file",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, WhatWasReadBeforeAReadErrorIsNotParsed) {
    CLibraryFaults files;
    files.BreakRead(1, 11);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectUntouched();
    EXPECT_EQ(traces_.Failures().front(),
              "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Read error from XML file");
}

TEST_F(XmlRetrieve, ADirectoryInPlaceOfTheFileIsAReadError) {
    std::filesystem::remove(kXmlFile);
    std::filesystem::create_directory(kXmlFile);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectUntouched();
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Read error from XML file",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AnEmptyFileIsAParseError) {
    EXPECT_EQ(RetrieveFrom(""), QBFResult{QBF_E_FAILED});
    ExpectUntouched();
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Parse error in file slot0.xml at line "
                            "1:\nno element found\n",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

/// Promise 10
/// Surprise: A document that does not parse leaves the rest of the database as it was
TEST_F(XmlRetrieve, AParseErrorNamesTheLineAndKeepsWhatWasRestored) {
    AllocationFaults memory;
    CLibraryFaults files;
    object_.U8("b", 3);
    At("b").Set<std::uint8_t>(8);
    EXPECT_EQ(RetrieveFrom("<storage>\n<region name=\"R\"><object name=\"O\">\n"
                           "<variable name=\"a\"><value>5</value></variable>\n</region>"),
              QBFResult{QBF_E_FAILED});
    ExpectRestored();
    EXPECT_EQ(At("b").Get<std::uint8_t>(), 8) << "nothing is defaulted";
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(files.OpenStreams(), 0);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Parse error in file slot0.xml at line "
                            "4:\nmismatched tag\n",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AParseErrorIsReportedInPlaceOfTheVariablesThatFailedBeforeIt) {
    object_.Bool("bad", 0);
    EXPECT_EQ(RetrieveFrom("<storage><region name=\"R\"><object name=\"O\">" + Value("bad", "maybe")),
              QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre(
            "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Wrong BOOL value: maybe, expected TRUE or FALSE",
            HasSubstr("Parse error in file slot0.xml at line 2:\nno element found\n"),
            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AShortenedReadIsAParseError) {
    CLibraryFaults files;
    files.Shorten("fread", 1, 15);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("Parse error in file slot0.xml at line "));
}

TEST_F(XmlRetrieve, AFailingDefaultIsReportedAtItsOwnResult) {
    HostCalls host;
    object_.Bool("bad", 0);
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault", kFailureOfTheHost);
    EXPECT_EQ(RetrieveVariables(Value("a", "5")), QBFResult{QBF_E_FAILED});
    ExpectRestored();
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre(
            "0x8003 CXmlFileStorageProviderBase_ManageRetrieve: Error when setting missing variables to default",
            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlRetrieve, AFailingDefaultIsReportedInPlaceOfTheVariablesThatFailed) {
    HostCalls host;
    object_.Bool("bad", 0);
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault", kFailureOfTheHost);
    EXPECT_EQ(RetrieveVariables(Value("bad", "maybe")), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_ManageRetrieve"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_ManageRetrieve: XML file closed for storage location 0",
                            "0x8003 CXmlFileStorageProviderBase_ManageRetrieve: Error when setting missing variables "
                            "to default"));
}

TEST_F(XmlRetrieve, AFailureToCloseTheFileIsIgnored) {
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectRestored();
    EXPECT_TRUE(files.Fired());
}

// ---- Sizes that change or do not fit

TEST_F(XmlRetrieve, AFileThatHasShrunkSinceItsSizeWasTakenIsReadToItsEnd) {
    WriteFile("shrunk.xml", "<storage><region name=\"R\"/></storage>");
    CLibraryFaults files;
    files.Redirect(kXmlFile, "shrunk.xml");
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectDefaulted();
}

TEST_F(XmlRetrieve, AFileThatDoesNotFitIntoOneCallOfTheParserIsAReadFailure) {
    AllocationFaults memory;
    CLibraryFaults files;
    for (const std::uintmax_t size : {0x7FFFFFF6ULL, 0xFFFFFFF7ULL, 0x100000010ULL}) {
        SCOPED_TRACE(size);
        traces_.Clear();
        std::filesystem::resize_file(kXmlFile, size);
        EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
        ExpectUntouched();
        EXPECT_THAT(
            traces_.Failures(),
            ElementsAre(
                "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: XML file slot0.xml does not fit into memory",
                "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
    }
    EXPECT_EQ(files.Count("fread"), 0);
    EXPECT_EQ(files.OpenStreams(), 0);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlRetrieve, AFileThatDoesNotFitIntoMemoryIsAReadFailure) {
    AllocationFaults memory;
    CLibraryFaults files;
    memory.Fail(1);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    ExpectUntouched();
    EXPECT_EQ(files.OpenStreams(), 0);
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: XML file slot0.xml does not fit into memory",
                    "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

/// Promise 18
TEST_F(XmlRetrieve, MemoryIsHeldForTheFileAndGivenBack) {
    AllocationFaults memory;
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_GE(memory.PeakBytes(), std::filesystem::file_size(kXmlFile) + 10);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

// ---- Variables whose content cannot be reached

TEST_F(XmlRetrieve, AVariableWithoutContentAddressIsReportedAndTheRetrieveStillSucceeds) {
    object_.U8("b", 3);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, kFailureOfTheHost);
    EXPECT_EQ(RetrieveVariables(Value("a", "5") + Value("b", "6")), QBFResult{QBF_OK});
    ExpectDefaulted();
    EXPECT_EQ(At("b").Get<std::uint8_t>(), 6);
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre("0x8003 CXmlFileStorageProviderBase_UpdateVariable: Could not get content address",
                    "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Failed to update variable with path R/O/a"));
}

/// Promise 16
TEST_F(XmlRetrieve, ANullContentAddressIsNotWrittenTo) {
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectDefaulted();
    EXPECT_THAT(
        traces_.Failures(),
        ElementsAre("0x8000 CXmlFileStorageProviderBase_UpdateVariable: Could not get content address",
                    "0x8000 CXmlFileStorageProviderBase_UpdateVariable: Failed to update variable with path R/O/a"));
}

TEST_F(XmlRetrieve, AnArrayWithoutContentAddressReleasesItsElements) {
    object_.U8Array("b", {1, 2}).U8Array("c", {3, 4});
    AllocationFaults memory;
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, kFailureOfTheHost);
    EXPECT_EQ(RetrieveVariables(Array("b", {"5", "6"}) + Array("c", {"7", "8"})), QBFResult{QBF_OK});
    EXPECT_TRUE(At("b").HoldsDefault());
    EXPECT_THAT(At("c").Bytes(), ElementsAre(7, 8));
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(host.Count("CList_Destruct"), 2);
}

TEST_F(XmlRetrieve, EmptyContentNeedsNoAddress) {
    object_.Raw("none", VARIABLE_TYPE_U8_ARRAY, 0, {}).String("text", 0).EmptyObjectArray("objects");
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 0, QBF_OK);
    EXPECT_EQ(RetrieveVariables(Array("none", {"1"}) + Value("text", "x") + ObjectArray("objects", {})),
              QBFResult{QBF_OK});
    EXPECT_TRUE(At("none").Retrieved());
    EXPECT_TRUE(At("text").Retrieved());
    EXPECT_TRUE(At("objects").Retrieved());
}

TEST_F(XmlRetrieve, ALookUpThatSucceedsWithoutAVariableCountsAsUnregistered) {
    HostCalls host;
    host.Fail("CDatabase_GetVariableByPath", 1, QBF_OK);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectDefaulted();
    EXPECT_EQ(host.Count("CVariable_GetType"), 0);
}

TEST_F(XmlRetrieve, TheResultOfMarkingAVariableIsIgnored) {
    HostCalls host;
    host.FailAll("CVariable_SetRetrieved", kFailureOfTheHost);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    ExpectDefaulted();
}

// ---- Every fault in turn

/// Everything that a document can hold, so that every call of a retrieve is among the ones that are failed.
class XmlRetrieveFaults : public XmlRetrieve {
protected:
    XmlRetrieveFaults() {
        object_.U8Array("array", {0, 0, 0}).Bool("flag").String("text", 8).Float("real").Double("wide");
        object_.AddNested("N").S32Array("inner", {0, 0});
        object_.AddToArray("objects", "E0").U16("x");
        object_.AddToArray("objects", "E1").U16("x");
    }

    QBFResult RetrieveEverything() { return RetrieveVariables(kEverything); }

    void ExpectWholeRetrieve() {
        traces_.Clear();
        database_.SetAllToZero();
        EXPECT_EQ(RetrieveEverything(), QBFResult{QBF_OK});
        EXPECT_THAT(traces_.Failures(), IsEmpty());
        EXPECT_EQ(A(), 5);
        EXPECT_THAT(At("array").Bytes(), ElementsAre(1, 2, 3));
        EXPECT_EQ(At("flag").Get<std::uint32_t>(), 1U);
        EXPECT_EQ(At("text").Text(), "hello");
        EXPECT_EQ(At("real").Get<float>(), 1.5F);
        EXPECT_EQ(At("wide").Get<double>(), 2.5);
        EXPECT_EQ(At("N/inner").Get<std::int32_t>(1), -6);
        EXPECT_EQ(At("E0/x").Get<std::uint16_t>(), 7);
        EXPECT_EQ(At("E1/x").Get<std::uint16_t>(), 8);
        EXPECT_TRUE(At("objects").Retrieved());
        EXPECT_TRUE(database_.GuardsIntact());
    }

    /// @param fail  Which of the allocations do: the nth, or all from it on.
    void SweepAllocations(void (AllocationFaults::*fail)(int nth)) {
        SweepFaults([&](int n) {
            bool fired = false;
            {
                AllocationFaults memory;
                (memory.*fail)(n);
                const QBFResult result = RetrieveEverything();
                fired = memory.Fired();
                EXPECT_TRUE(result == QBF_OK || result == QBF_E_FAILED) << result;
                EXPECT_TRUE(database_.GuardsIntact());
                EXPECT_EQ(memory.LiveAllocations(), 0);
            }
            ExpectWholeRetrieve();
            return fired;
        });
    }

    const std::string kEverything =
        Value("a", "5") + Array("array", {"1", "2", "3"}) + Value("flag", "TRUE") + Value("text", "hello") +
        Value("real", "1.500000e+00") + Value("wide", "2.500000e+00") +
        ObjectElement("N", Array("inner", {"5", "-6"})) +
        ObjectArray("objects", {ObjectElement("E0", Value("x", "7")), ObjectElement("E1", Value("x", "8"))});
};

/// @return what a retrieve gives when this call fails for the first time.
QBFResult ExpectedAfterFailing(const HostCalls& host) {
    const std::string function = host.FunctionName();
    const bool isSkipped = function == "CDatabase_GetVariableByPath" || function == "CVariable_GetContentAddress" ||
                           function == "CVariable_SetRetrieved" || function == "CList_PushTail";
    return isSkipped ? QBF_OK : QBF_E_FAILED;
}

TEST_F(XmlRetrieveFaults, EveryHostCallThatFailsGivesADefinedResultAndDoesNoHarm) {
    for (const QBFResult code : {QBFResult{0x8000}, kFailureOfTheHost, QBFResult{0x7FFFFFFF}}) {
        const int faults = SweepFaults([&](int n) {
            AllocationFaults memory;
            QBFResult result = QBF_OK;
            bool fired = false;
            {
                HostCalls host;
                host.Fail(n, code);
                result = RetrieveEverything();
                fired = host.Fired();
                // Lists fail where elements are read, and may fail where they are only released.
                if (fired && host.FunctionName().rfind("CList_Start", 0) != 0 &&
                    host.FunctionName() != "CList_GetNext") {
                    EXPECT_EQ(result, ExpectedAfterFailing(host)) << host.FiredAt();
                }
            }
            EXPECT_TRUE(result == QBF_OK || result == QBF_E_FAILED) << result;
            EXPECT_TRUE(database_.GuardsIntact());
            EXPECT_EQ(memory.LiveAllocations(), 0);
            ExpectWholeRetrieve();
            return fired;
        });
        EXPECT_EQ(faults, 60);
    }
}

TEST_F(XmlRetrieveFaults, EveryHostFunctionThatAlwaysFailsGivesADefinedResultAndDoesNoHarm) {
    constexpr const char* kFunctions[] = {"CDatabase_GetVariableByPath",
                                          "CDatabase_UpdatePathHashTable",
                                          "CDatabase_SetAsNotRetrieved",
                                          "CVariable_GetContentAddress",
                                          "CVariable_SetRetrieved",
                                          "CList_Construct",
                                          "CList_PushTail",
                                          "CList_StartIterationFromHead",
                                          "CList_GetNext",
                                          "CList_Destruct",
                                          "CDatabase_SetNotRetrievedVariablesToDefault"};
    for (const char* function : kFunctions) {
        for (const QBFResult code : {QBFResult{0x8000}, QBFResult{QBF_E_NO_NAME}}) {
            SCOPED_TRACE(testing::Message() << function << " " << code);
            AllocationFaults memory;
            {
                HostCalls host;
                // The host's own nodes would leak if its list were never destructed.
                if (std::string(function) == "CList_Destruct" || std::string(function) == "CList_Construct") {
                    host.OverrideAll(function, code);
                } else {
                    host.FailAll(function, code);
                }
                const QBFResult result = RetrieveEverything();
                EXPECT_TRUE(result == QBF_OK || result == QBF_E_FAILED) << result;
                EXPECT_TRUE(host.Fired());
            }
            EXPECT_TRUE(database_.GuardsIntact());
            EXPECT_EQ(memory.LiveAllocations(), 0);
            ExpectWholeRetrieve();
        }
    }
}

TEST_F(XmlRetrieveFaults, EveryCLibraryCallThatFailsGivesADefinedResultAndDoesNoHarm) {
    const int faults = SweepFaults([&](int n) {
        AllocationFaults memory;
        bool fired = false;
        {
            CLibraryFaults files;
            files.Fail(n, EIO);
            const QBFResult result = RetrieveEverything();
            fired = files.Fired();
            if (fired) {
                EXPECT_EQ(result, files.FunctionName() == "fclose" ? QBFResult{QBF_OK} : QBFResult{QBF_E_FAILED});
            }
            EXPECT_EQ(files.OpenStreams(), 0);
        }
        EXPECT_TRUE(database_.GuardsIntact());
        EXPECT_EQ(memory.LiveAllocations(), 0);
        ExpectWholeRetrieve();
        return fired;
    });
    EXPECT_EQ(faults, 4) << "stat, fopen, fread, fclose";
}

TEST_F(XmlRetrieveFaults, EveryAllocationThatFailsGivesADefinedResultAndDoesNoHarm) {
    SweepAllocations(&AllocationFaults::Fail);
}

TEST_F(XmlRetrieveFaults, MemoryThatIsExhaustedFromAnyPointOnGivesADefinedResultAndDoesNoHarm) {
    SweepAllocations(&AllocationFaults::FailFrom);
}

TEST_F(XmlRetrieveFaults, AnElementTextThatDoesNotFitIntoMemoryIsReportedAndLeftOut) {
    // The buffer, and then what the parser needs until it meets the second element.
    std::vector<std::string> reported;
    SweepFaults([&](int n) {
        AllocationFaults memory;
        memory.Fail(n);
        traces_.Clear();
        const QBFResult result = RetrieveEverything();
        const std::vector<std::string> lines = traces_.LinesOf("CXmlFileStorageProviderBase_EndElement");
        if (!lines.empty()) {
            reported.push_back(lines.front());
            EXPECT_EQ(result, QBFResult{QBF_OK});
            EXPECT_TRUE(At("array").Retrieved());
        }
        return memory.Fired();
    });
    EXPECT_THAT(reported,
                ElementsAre("0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : 1",
                            "0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : 2",
                            "0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : 3",
                            "0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : 5",
                            "0x8000 CXmlFileStorageProviderBase_EndElement: Could not add array element to list : -6"));
}

}  // namespace

}  // namespace tal::test
