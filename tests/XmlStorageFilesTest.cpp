#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <ostream>
#include <set>

#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/HostCalls.h"
#include "support/XmlFixture.h"

namespace tal::test {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kReads = "0x800 CXmlFileStorageProviderBase_OpenFile: <<<<  Reading XML file ";

/// What reading every valid location would open, in their order.
std::vector<std::string> FilesOfAllLocations(IStorageProvider& provider, CDatabase* database, TraceRecorder& traces) {
    std::vector<std::string> files;
    for (const StorageLocation location : {0U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U}) {
        traces.Clear();
        provider.RetrieveAll(location, database, 0);
        const std::string line = traces.LinesOf("CXmlFileStorageProviderBase_OpenFile").front();
        const std::string end = " (for storage location " + std::to_string(location) + ")";
        EXPECT_EQ(line.substr(0, std::string(kReads).size()), kReads);
        EXPECT_EQ(line.substr(line.size() - end.size()), end);
        files.push_back(line.substr(std::string(kReads).size(), line.size() - std::string(kReads).size() - end.size()));
    }
    return files;
}

/// Looks at the provider before any test has set a file name.
class UntouchedProvider : public testing::Environment {
public:
    void SetUp() override {
        const TemporaryDirectory directory;
        TraceRecorder traces;
        host::Database database;
        IStorageProvider* provider = nullptr;
        CXmlFileStorageProviderBase_GetInterface(&provider);
        provider->Initialize(0);
        Files() = FilesOfAllLocations(*provider, database.Handle(), traces);
    }

    static std::vector<std::string>& Files() {
        static std::vector<std::string> files;
        return files;
    }
};

const testing::Environment* const kUntouchedProvider = testing::AddGlobalTestEnvironment(new UntouchedProvider);

class XmlStorageFiles : public XmlFixture {
protected:
    void SetFirstName(const std::string& name) {
        CXmlFileStorageProviderBase_SetStorageFilenames(name.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                                        nullptr, nullptr, nullptr, nullptr);
    }

    std::vector<std::string> FilesOfSlots() { return FilesOfAllLocations(*provider_, database_.Handle(), traces_); }

    [[nodiscard]] std::set<std::string> FilesInDirectory() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory_.Path())) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    /// @return the value of "R/O/v" after a retrieve, which has to succeed.
    int RetrievedValue(StorageLocation location) {
        EXPECT_EQ(Retrieve(location), 0U);
        return database_.At("R/O/v").Get<std::uint8_t>();
    }

    void AddVariable() { database_.AddRegion("R").AddObject("O").U8("v", 1); }
};

std::string DocumentWith(const std::string& value) {
    return kDocumentStart +
           ("<region name = \"R\"><object name = \"O\">\n<variable name = \"v\"><type>U8</type><value>" + value) +
           "</value></variable>\n</object>\n</region>\n" + kDocumentEnd;
}

// Names.

TEST_F(XmlStorageFiles, SlotsAreEmptyUntilTheyAreSet) {
    EXPECT_THAT(UntouchedProvider::Files(), ElementsAre("", "", "", "", "", "", "", "", "", ""));
}

TEST_F(XmlStorageFiles, SetterFillsTheSlotsInOrder) {
    CXmlFileStorageProviderBase_SetStorageFilenames("a", "b", "c", "d", "e", "f", "g", "h", "i", "j");
    EXPECT_THAT(FilesOfSlots(), ElementsAre("a", "b", "c", "d", "e", "f", "g", "h", "i", "j"));
}

TEST_F(XmlStorageFiles, SetterTracesItsEntryAndEveryName) {
    CXmlFileStorageProviderBase_SetStorageFilenames("a", "b", "c", "d", "e", "f", "g", "h", "i", "j");
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                                             "Enter: CXmlFileStorageProviderBase_SetStorageFilenames",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: a",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: b",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: c",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: d",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: e",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: f",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: g",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: h",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: i",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: j"));
}

TEST_F(XmlStorageFiles, NullLeavesItsSlotUnchangedAndUntraced) {
    CXmlFileStorageProviderBase_SetStorageFilenames(nullptr, "b", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                    nullptr, nullptr);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                                             "Enter: CXmlFileStorageProviderBase_SetStorageFilenames",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: b"));
    EXPECT_THAT(FilesOfSlots(), ElementsAre("slot0.xml", "b", "slot2.xml", "slot3.xml", "slot4.xml", "slot5.xml",
                                            "slot6.xml", "slot7.xml", "slot8.xml", "slot9.xml"));
}

TEST_F(XmlStorageFiles, ShorterNameReplacesALongerOneWhole) {
    SetFirstName("a-rather-long-name.xml");
    SetFirstName("b");

    EXPECT_EQ(FilesOfSlots().front(), "b");
}

TEST_F(XmlStorageFiles, NameOf79CharactersIsKeptWhole) {
    SetFirstName(std::string(79, 'n'));
    EXPECT_EQ(FilesOfSlots().front(), std::string(79, 'n'));
}

TEST_F(XmlStorageFiles, NameOf80CharactersIsCutTo79) {
    SetFirstName(std::string(79, 'n') + "X");
    EXPECT_EQ(FilesOfSlots().front(), std::string(79, 'n'));
}

TEST_F(XmlStorageFiles, NameOf100CharactersIsCutTo79InEverySlot) {
    const std::string name(100, 'n');
    CXmlFileStorageProviderBase_SetStorageFilenames(name.c_str(), name.c_str(), name.c_str(), name.c_str(),
                                                    name.c_str(), name.c_str(), name.c_str(), name.c_str(),
                                                    name.c_str(), name.c_str());

    EXPECT_THAT(FilesOfSlots(), testing::Each(std::string(79, 'n')));
}

TEST_F(XmlStorageFiles, NameThatIsCutIsTracedWhole) {
    SetFirstName(std::string(100, 'n'));
    EXPECT_EQ(traces_.Lines().back(),
              "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: " + std::string(100, 'n'));
}

/// Surprise: File names are cut to 79 characters
TEST_F(XmlStorageFiles, StoreCreatesTheFileUnderTheCutName) {
    SetFirstName(std::string(100, 'n'));

    EXPECT_EQ(Store(0), 0U);

    EXPECT_THAT(FilesInDirectory(), ElementsAre(std::string(79, 'n')));
    EXPECT_THAT(traces_.Lines(), Contains("0x800 CXmlFileStorageProviderBase_OpenFile: XML file " +
                                          std::string(79, 'n') + " opened for writing (for storage location 0)"));
}

TEST_F(XmlStorageFiles, SetterOfTheReadOnlyConfigurationForwardsEveryNameInOrder) {
    CReadOnlyXmlFileStorageProvider_SetStorageFilenames("a", "b", "c", "d", "e", "f", "g", "h", "i", nullptr);
    EXPECT_THAT(FilesOfSlots(), ElementsAre("a", "b", "c", "d", "e", "f", "g", "h", "i", "slot9.xml"));
}

TEST_F(XmlStorageFiles, SetterOfTheReadOnlyConfigurationTracesUnderTheNameOfTheBase) {
    CReadOnlyXmlFileStorageProvider_SetStorageFilenames("a", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                        nullptr, nullptr, nullptr);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CXmlFileStorageProviderBase_SetStorageFilenames: "
                                             "Enter: CXmlFileStorageProviderBase_SetStorageFilenames",
                                             "0x800 CXmlFileStorageProviderBase_SetStorageFilenames: Set storage: a"));
}

/// Surprise: File names that were set too early are lost
TEST_F(XmlStorageFiles, ReadWriteConfigurationSetsEightOfTheTenSlots) {
    CXmlFileStorageProvider_GetInterface(&provider_);
    EXPECT_THAT(FilesOfSlots(),
                ElementsAre("storage_calibration_database.xml", "storage_hardware_database.xml",
                            "storage_hardware_database.xml", "storage_hardware_database.xml",
                            "storage_application_configuration.xml", "CommonBoard.xml", "MicrowaveBoard.xml",
                            "slot7.xml", "slot8.xml", "/lib/firmware/bin/Drivers.xml"));
}

TEST_F(XmlStorageFiles, ReadOnlyConfigurationSetsEightOtherSlots) {
    CReadOnlyXmlFileStorageProvider_GetInterface(&provider_);
    EXPECT_THAT(FilesOfSlots(), ElementsAre("storage_calibration_database.xml", "storage_hardware_database.xml",
                                            "slot2.xml", "slot3.xml", "storage_application_configuration.xml",
                                            "CommonBoard.xml", "MicrowaveBoard.xml", "MicrowaveBoard.xml",
                                            "MicrowaveBoard.xml", "/lib/firmware/bin/Drivers.xml"));
}

/// Surprise: The two XML configurations share one state
TEST_F(XmlStorageFiles, ReadWriteConfigurationAfterTheReadOnlyOneKeepsItsMicrowaveBoardNames) {
    CReadOnlyXmlFileStorageProvider_GetInterface(&provider_);
    CXmlFileStorageProvider_GetInterface(&provider_);
    EXPECT_THAT(FilesOfSlots(),
                ElementsAre("storage_calibration_database.xml", "storage_hardware_database.xml",
                            "storage_hardware_database.xml", "storage_hardware_database.xml",
                            "storage_application_configuration.xml", "CommonBoard.xml", "MicrowaveBoard.xml",
                            "MicrowaveBoard.xml", "MicrowaveBoard.xml", "/lib/firmware/bin/Drivers.xml"));
}

TEST_F(XmlStorageFiles, BaseConfigurationLeavesTheNamesAlone) {
    CXmlFileStorageProviderBase_GetInterface(&provider_);
    EXPECT_THAT(FilesOfSlots(), ElementsAre("slot0.xml", "slot1.xml", "slot2.xml", "slot3.xml", "slot4.xml",
                                            "slot5.xml", "slot6.xml", "slot7.xml", "slot8.xml", "slot9.xml"));
}

/// Surprise: File names that were set too early are lost
TEST_F(XmlStorageFiles, InitializeLeavesTheNamesAlone) {
    provider_->Initialize(0);
    EXPECT_THAT(FilesOfSlots(), ElementsAre("slot0.xml", "slot1.xml", "slot2.xml", "slot3.xml", "slot4.xml",
                                            "slot5.xml", "slot6.xml", "slot7.xml", "slot8.xml", "slot9.xml"));
}

/// Surprise: The locations 3, 4 and 5 are one document
TEST_F(XmlStorageFiles, LocationsThreeToFiveShareOneDocumentInTheReadWriteConfiguration) {
    CXmlFileStorageProvider_GetInterface(&provider_);
    AddVariable();
    database_.At("R/O/v").Set<std::uint8_t>(7);

    EXPECT_EQ(Store(4), 0U);
    database_.SetAllToZero();

    EXPECT_EQ(RetrievedValue(3), 7);
    EXPECT_EQ(RetrievedValue(5), 7);
    EXPECT_THAT(FilesInDirectory(), ElementsAre("storage_hardware_database.xml"));
}

// Initialize.

TEST_F(XmlStorageFiles, InitializeTracesAndSucceeds) {
    EXPECT_EQ(provider_->Initialize(0), 0U);
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CXmlFileStorageProviderBase_Initialize: "
                                             "CXmlFileStorageProviderBase: Initializing..."));
}

TEST_F(XmlStorageFiles, InitializeDoesNotCheckTheLocation) {
    EXPECT_EQ(provider_->Initialize(1), 0U);
    EXPECT_EQ(provider_->Initialize(ULONG_MAX), 0U);
}

/// Promise 17
TEST_F(XmlStorageFiles, InitializeConstructsTheElementListAndCallsNothingElse) {
    const HostCalls host;
    provider_->Initialize(0);
    EXPECT_THAT(host.Calls(), ElementsAre("CList_Construct"));
}

TEST_F(XmlStorageFiles, InitializeDoesNotTestWhetherTheElementListCouldBeConstructed) {
    HostCalls host;
    host.Fail("CList_Construct", 1, 0x8003);
    EXPECT_EQ(provider_->Initialize(0), 0U);
    EXPECT_TRUE(host.Fired());
}

TEST_F(XmlStorageFiles, InitializeTouchesNoFile) {
    const CLibraryFaults files;
    provider_->Initialize(0);
    EXPECT_THAT(files.Calls(), IsEmpty());
}

// Valid locations.

struct LocationRow {
    StorageLocation location;
    const char* file;
    bool isWritable;
};

void PrintTo(const LocationRow& row, std::ostream* out) {
    *out << "Location" << row.location;
}

class XmlLocations : public XmlStorageFiles, public testing::WithParamInterface<LocationRow> {};

/// Surprise: Stores at the locations 7, 8 and 11 fail
TEST_P(XmlLocations, StoreWritesTheFileOfAWritableLocationOnly) {
    const LocationRow& row = GetParam();

    EXPECT_EQ(Store(row.location), row.isWritable ? 0U : 0x8000U);

    EXPECT_EQ(FilesInDirectory(), row.isWritable ? std::set<std::string>{row.file} : std::set<std::string>{});
}

TEST_P(XmlLocations, StoreTracesWhatItOpensOrThatItDoesNot) {
    const LocationRow& row = GetParam();
    const std::string file = row.file;

    Store(row.location);

    const std::string opened = "0x800 CXmlFileStorageProviderBase_OpenFile: XML file " + file +
                               " opened for writing (for storage location " + std::to_string(row.location) + ")";
    const std::string refused = "0x8000 CXmlFileStorageProviderBase_OpenFile: Attempt to open file " + file +
                                " for write - operation not intended for this file";
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                ElementsAre(row.isWritable ? opened : refused));
}

TEST_P(XmlLocations, RetrieveReadsTheFileOfTheLocation) {
    const LocationRow& row = GetParam();
    AddVariable();
    WriteFile(row.file, DocumentWith("77"));

    EXPECT_EQ(RetrievedValue(row.location), 77);
}

TEST_P(XmlLocations, RetrieveTracesWhatItReads) {
    const LocationRow& row = GetParam();
    WriteFile(row.file, DocumentWith("77"));

    Retrieve(row.location);

    EXPECT_EQ(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile").front(),
              kReads + std::string(row.file) + " (for storage location " + std::to_string(row.location) + ")");
}

INSTANTIATE_TEST_SUITE_P(, XmlLocations,
                         testing::Values(LocationRow{0, "slot0.xml", true}, LocationRow{3, "slot1.xml", true},
                                         LocationRow{4, "slot2.xml", true}, LocationRow{5, "slot3.xml", true},
                                         LocationRow{6, "slot4.xml", true}, LocationRow{7, "slot5.xml", false},
                                         LocationRow{8, "slot6.xml", false}, LocationRow{9, "slot7.xml", true},
                                         LocationRow{10, "slot8.xml", true}, LocationRow{11, "slot9.xml", false}),
                         [](const testing::TestParamInfo<LocationRow>& tested) {
                             return "Location" + std::to_string(tested.param.location);
                         });

// Invalid locations.

struct InvalidLocation {
    StorageLocation location;
    const char* shown;
};

void PrintTo(const InvalidLocation& row, std::ostream* out) {
    *out << "Location" << row.location;
}

class XmlInvalidLocations : public XmlStorageFiles, public testing::WithParamInterface<InvalidLocation> {
protected:
    std::string Complaint() {
        return std::string("0x8002 CXmlFileStorageProviderBase_OpenFile: Invalid storage location id: ") +
               GetParam().shown;
    }
};

/// Promise 4
TEST_P(XmlInvalidLocations, StoreRefusesThem) {
    EXPECT_EQ(Store(GetParam().location), 0x8000U);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"), ElementsAre(Complaint()));
    EXPECT_THAT(FilesInDirectory(), IsEmpty());
}

TEST_P(XmlInvalidLocations, StoreReportsTheFileOfTheCallBefore) {
    Store(3);
    traces_.Clear();

    Store(GetParam().location);

    EXPECT_EQ(traces_.Lines().back(),
              "0x8002 CXmlFileStorageProviderBase_ManageStore: Could not open storage file slot1.xml");
}

/// Surprise: A location that one provider takes is invalid for another
TEST_P(XmlInvalidLocations, RetrieveRefusesThem) {
    const CLibraryFaults files;

    EXPECT_EQ(Retrieve(GetParam().location), 0x8000U);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"), ElementsAre(Complaint()));
    EXPECT_THAT(files.Calls(), IsEmpty());
}

std::vector<InvalidLocation> InvalidLocations() {
    std::vector<InvalidLocation> locations = {
        {1, "1"}, {2, "2"}, {12, "12"}, {255, "255"}, {2147483647, "2147483647"}, {4294967295, "-1"}};
    if constexpr (std::numeric_limits<StorageLocation>::max() > 0xFFFFFFFFU) {
        // Valid ones, were they cut to 32 bits.
        constexpr std::uint64_t kBeyond32Bits = std::uint64_t{1} << 32U;
        locations.push_back({static_cast<StorageLocation>(kBeyond32Bits), "0"});
        locations.push_back({static_cast<StorageLocation>(kBeyond32Bits + 3), "3"});
        locations.push_back({static_cast<StorageLocation>(kBeyond32Bits + 11), "11"});
    }
    return locations;
}

INSTANTIATE_TEST_SUITE_P(, XmlInvalidLocations, testing::ValuesIn(InvalidLocations()),
                         testing::PrintToStringParamName());

// Opening for writing.

/// Promise 3
TEST_F(XmlStorageFiles, StoreReplacesALongerDocument) {
    WriteFile(kXmlFile, std::string(5000, 'x'));
    EXPECT_EQ(StoredDocument(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?><storage name = \"RV20\"></storage>\n");
}

/// Surprise: A store begins by truncating the file
TEST_F(XmlStorageFiles, StoreOpensItsFileForWritingAndReading) {
    const CLibraryFaults files;
    Store();
    EXPECT_EQ(files.Calls().front(), "fopen slot0.xml w+");
}

/// Promise 4
TEST_F(XmlStorageFiles, StoreIntoAReadOnlyLocationLeavesAnExistingFileAlone) {
    WriteFile("slot9.xml", "precious");

    EXPECT_EQ(Store(11), 0x8000U);

    EXPECT_EQ(ReadFile("slot9.xml"), "precious");
}

TEST_F(XmlStorageFiles, StoreIntoAReadOnlyLocationReportsTheFileThatItDidNotOpen) {
    EXPECT_EQ(Store(7), 0x8000U);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_OpenFile: Attempt to open file slot5.xml for write - "
                            "operation not intended for this file",
                            "0x8000 CXmlFileStorageProviderBase_ManageStore: Could not open storage file slot5.xml"));
}

TEST_F(XmlStorageFiles, StoreDoesNotLookForTheAlternativeSource) {
    WriteFile("slot7.xml", "alternative");

    EXPECT_EQ(Store(8), 0x8000U);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_OpenFile: Attempt to open file slot6.xml for write - "
                            "operation not intended for this file"));
}

TEST_F(XmlStorageFiles, FileThatCannotBeCreatedIsReportedWithItsError) {
    CLibraryFaults files;
    files.Fail("fopen", 1, EACCES);

    EXPECT_EQ(Store(), 0x8000U);

    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8005 CXmlFileStorageProviderBase_OpenFile: Could not open storage file slot0.xml "
                            "(errno is: 13)",
                            "0x8005 CXmlFileStorageProviderBase_ManageStore: Could not open storage file slot0.xml"));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen slot0.xml w+"));
}

TEST_F(XmlStorageFiles, DirectoryInPlaceOfTheFileCannotBeStoredInto) {
    std::filesystem::create_directory(kXmlFile);

    EXPECT_EQ(Store(), 0x8000U);

    EXPECT_THAT(traces_.LinesOf(0x8005), Contains("0x8005 CXmlFileStorageProviderBase_OpenFile: "
                                                  "Could not open storage file slot0.xml (errno is: 21)"));
}

TEST_F(XmlStorageFiles, SlotWithAnEmptyNameCannotBeStoredInto) {
    SetFirstName("");

    EXPECT_EQ(Store(), 0x8000U);

    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8005 CXmlFileStorageProviderBase_OpenFile: Could not open storage file  (errno is: 2)",
                            "0x8005 CXmlFileStorageProviderBase_ManageStore: Could not open storage file "));
}

TEST_F(XmlStorageFiles, StoreThatCannotOpenItsFileAsksTheHostForNothing) {
    AddVariable();
    CLibraryFaults files;
    files.Fail("fopen", 1, EACCES);
    const HostCalls host;

    Store();

    EXPECT_THAT(host.Calls(), IsEmpty());
}

// Opening for reading.

TEST_F(XmlStorageFiles, RetrieveStatsThenOpensThenReadsTenBytesMoreThanTheFileHas) {
    WriteFile(kXmlFile, DocumentWith("5"));
    const std::size_t size = DocumentWith("5").size();
    const CLibraryFaults files;

    Retrieve();

    EXPECT_THAT(files.Calls(),
                ElementsAre("stat slot0.xml", "fopen slot0.xml r", "fread " + std::to_string(size + 10), "fclose"));
}

TEST_F(XmlStorageFiles, MissingFileFailsAtItsStat) {
    const CLibraryFaults files;

    EXPECT_EQ(Retrieve(), 0x8000U);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_OpenFile: "
                            "<<<<  Reading XML file slot0.xml (for storage location 0)",
                            "0x8000 CXmlFileStorageProviderBase_OpenFile: "
                            "Error while trying to stat file slot0.xml"));
    EXPECT_THAT(files.Calls(), ElementsAre("stat slot0.xml"));
}

TEST_F(XmlStorageFiles, SlotWithAnEmptyNameFailsAtItsStat) {
    SetFirstName("");
    traces_.Clear();

    EXPECT_EQ(Retrieve(), 0x8000U);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_OpenFile: "
                            "<<<<  Reading XML file  (for storage location 0)",
                            "0x8000 CXmlFileStorageProviderBase_OpenFile: Error while trying to stat file "));
}

TEST_F(XmlStorageFiles, FileThatVanishesAfterItsStatIsReported) {
    WriteFile(kXmlFile, DocumentWith("5"));
    CLibraryFaults files;
    files.Fail("fopen", 1, ENOENT);

    EXPECT_EQ(Retrieve(), 0x8000U);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_OpenFile: "
                            "<<<<  Reading XML file slot0.xml (for storage location 0)",
                            "0x8000 CXmlFileStorageProviderBase_OpenFile: Error opening XML file"));
}

TEST_F(XmlStorageFiles, FileThatCannotBeOpenedIsReportedWithItsErrorByTheRetrieve) {
    WriteFile(kXmlFile, DocumentWith("5"));
    CLibraryFaults files;
    files.Fail("fopen", 1, EACCES);

    Retrieve();

    EXPECT_THAT(traces_.Lines(), Contains("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: "
                                          "Could not open storage file slot0.xml (errno is: 13)"));
}

TEST_F(XmlStorageFiles, ReadBufferHoldsTenBytesMoreThanTheFile) {
    WriteFile(kXmlFile, DocumentWith("5"));
    const AllocationFaults memory;
    CLibraryFaults files;
    files.Fail("fopen", 1, EACCES);

    Retrieve();

    EXPECT_EQ(memory.PeakBytes(), DocumentWith("5").size() + 10);
}

TEST_F(XmlStorageFiles, FilesThatCannotBeOpenedLeaveNoReadBufferBehind) {
    WriteFile(kXmlFile, DocumentWith("5"));
    const AllocationFaults memory;
    CLibraryFaults files;
    files.Fail("fopen", 0, EACCES);

    Retrieve();
    Retrieve();

    EXPECT_EQ(memory.Allocations(), 2);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

// The alternative source of location 8.

/// Surprise: Location 8 is read from the file of slot 7 wherever that exists
TEST_F(XmlStorageFiles, LocationEightIsReadFromTheFileOfSlotSevenWhereThatExists) {
    AddVariable();
    WriteFile("slot6.xml", DocumentWith("6"));
    WriteFile("slot7.xml", DocumentWith("7"));

    EXPECT_EQ(RetrievedValue(8), 7);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_OpenFile: "
                            "<<<<  Reading XML file slot6.xml (for storage location 8)",
                            "0x800 CXmlFileStorageProviderBase_OpenFile: "
                            "Pick up MicrowaveBoard.xml from: slot7.xml (for storage location 8)"));
}

TEST_F(XmlStorageFiles, LocationEightIsReadFromTheFileOfSlotSevenWithoutAFileOfItsOwn) {
    AddVariable();
    WriteFile("slot7.xml", DocumentWith("7"));

    EXPECT_EQ(RetrievedValue(8), 7);
}

TEST_F(XmlStorageFiles, LocationEightIsReadFromItsOwnFileWithoutAFileOfSlotSeven) {
    AddVariable();
    WriteFile("slot6.xml", DocumentWith("6"));

    EXPECT_EQ(RetrievedValue(8), 6);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_OpenFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_OpenFile: "
                            "<<<<  Reading XML file slot6.xml (for storage location 8)"));
}

/// Surprise: Location 8 is read from the file of slot 7 wherever that exists
TEST_F(XmlStorageFiles, WhatIsStoredIntoLocationNineIsReadFromLocationEight) {
    AddVariable();
    database_.At("R/O/v").Set<std::uint8_t>(99);
    EXPECT_EQ(Store(9), 0U);
    database_.SetAllToZero();

    EXPECT_EQ(RetrievedValue(8), 99);
}

TEST_F(XmlStorageFiles, OtherLocationsHaveNoAlternativeSource) {
    WriteFile("slot7.xml", DocumentWith("7"));
    for (const StorageLocation location : {0U, 3U, 4U, 5U, 6U, 7U, 10U, 11U}) {
        EXPECT_EQ(Retrieve(location), 0x8000U) << location;
    }
    EXPECT_THAT(traces_.Lines(), Not(Contains(testing::HasSubstr("Pick up"))));
}

TEST_F(XmlStorageFiles, AlternativeSourceIsCutTo79CharactersLikeAnyOther) {
    const std::string name(100, 'n');
    CXmlFileStorageProviderBase_SetStorageFilenames(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                    name.c_str(), nullptr, nullptr);
    AddVariable();
    WriteFile(name.substr(0, 79), DocumentWith("7"));

    EXPECT_EQ(RetrievedValue(8), 7);
}

TEST_F(XmlStorageFiles, AlternativeSourceThatVanishesIsTheFileThatIsReported) {
    CLibraryFaults files;
    files.Fail("stat", 2, ENOENT);
    WriteFile("slot7.xml", DocumentWith("7"));

    Retrieve(8);

    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_OpenFile: Error while trying to stat file slot7.xml",
                            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: "
                            "Could not open storage file slot7.xml (errno is: 2)",
                            "0x800f CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
}

TEST_F(XmlStorageFiles, FileOfTheLastOperationIsRememberedAfterIt) {
    WriteFile("slot7.xml", DocumentWith("7"));
    Retrieve(8);
    traces_.Clear();

    Store(12);

    EXPECT_EQ(traces_.Lines().back(),
              "0x8002 CXmlFileStorageProviderBase_ManageStore: Could not open storage file slot7.xml");
}

// Closing a written file.

/// Promise 1
TEST_F(XmlStorageFiles, CloseFlushesSyncsAndClosesThenTriesTheDirectory) {
    const CLibraryFaults files;
    Store();
    EXPECT_THAT(files.Calls(), ElementsAre("fopen slot0.xml w+", "fwrite 72", "fflush", "fsync", "fclose", "fopen  r"));
}

/// Surprise: The directory is never synced
TEST_F(XmlStorageFiles, CloseTracesEveryStepAndThatItCannotOpenTheDirectory) {
    EXPECT_EQ(Store(6), 0U);
    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_CloseFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "fsync started for XML file, storage location 6",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "fsync completed for XML file, storage location 6",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: XML file closed for storage location 6",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "Failed to fsync file directory for storage location 6, could not open directory"));
}

TEST_F(XmlStorageFiles, DirectoryThatCanBeOpenedIsFlushedSyncedAndClosed) {
    CLibraryFaults files;
    files.Redirect("", ".");

    EXPECT_EQ(Store(6), 0U);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_CloseFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "fsync started for XML file, storage location 6",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "fsync completed for XML file, storage location 6",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: XML file closed for storage location 6",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "Directory fsync started for XML file, storage location 6",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "Directory fsync completed for XML file, storage location 6"));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen slot4.xml w+", "fwrite 72", "fflush", "fsync", "fclose", "fopen  r",
                                           "fflush", "fsync", "fclose"));
    EXPECT_EQ(files.OpenStreams(), 0);
}

TEST_F(XmlStorageFiles, FailuresOfTheDirectorySyncAreIgnored) {
    CLibraryFaults files;
    files.Redirect("", ".");
    files.Fail("fflush", 2);
    files.Fail("fsync", 2);
    files.Fail("fclose", 2);

    EXPECT_EQ(Store(), 0U);

    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

/// Promise 6
TEST_F(XmlStorageFiles, FileThatCannotBeClosedFailsTheStore) {
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);

    EXPECT_EQ(Store(3), 0x8000U);

    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_CloseFile: "
                            "Could not close storage file for storage location 3 (errno is: 5)",
                            "0x8000 CXmlFileStorageProviderBase_ManageStore: Could not close storage file"));
}

TEST_F(XmlStorageFiles, FileThatCannotBeClosedEndsTheCloseBeforeTheDirectory) {
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);

    Store(3);

    EXPECT_THAT(traces_.LinesOf("CXmlFileStorageProviderBase_CloseFile"),
                ElementsAre("0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "fsync started for XML file, storage location 3",
                            "0x800 CXmlFileStorageProviderBase_CloseFile: "
                            "fsync completed for XML file, storage location 3",
                            "0x8000 CXmlFileStorageProviderBase_CloseFile: "
                            "Could not close storage file for storage location 3 (errno is: 5)"));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen slot1.xml w+", "fwrite 72", "fflush", "fsync", "fclose"));
}

TEST_F(XmlStorageFiles, FailedFlushIsIgnored) {
    CLibraryFaults files;
    files.Fail("fflush", 1, ENOSPC);

    EXPECT_EQ(Store(), 0U);

    EXPECT_THAT(traces_.Failures(), IsEmpty());
    EXPECT_TRUE(files.Fired());
}

TEST_F(XmlStorageFiles, FailedSyncIsIgnored) {
    CLibraryFaults files;
    files.Fail("fsync", 1, EIO);

    EXPECT_EQ(Store(), 0U);

    EXPECT_THAT(traces_.Failures(), IsEmpty());
    EXPECT_TRUE(files.Fired());
}

/// Surprise: A full disk passes as stored
TEST_F(XmlStorageFiles, FailedWriteIsIgnored) {
    CLibraryFaults files;
    files.Fail("fwrite", 1, ENOSPC);

    EXPECT_EQ(Store(), 0U);

    EXPECT_THAT(traces_.Failures(), IsEmpty());
    EXPECT_EQ(ReadFile(kXmlFile), "");
}

/// Promise 6
/// Surprise: A full disk passes as stored
TEST_F(XmlStorageFiles, FullDiskThatShowsInTheFlushIsNotReported) {
    ASSERT_TRUE(IsDevice("/dev/full"));
    SetFirstName("/dev/full");
    traces_.Clear();

    EXPECT_EQ(Store(), 0U);

    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

/// Promise 20
TEST_F(XmlStorageFiles, StoreLeavesNoStreamOpen) {
    const CLibraryFaults files;
    Store();
    EXPECT_EQ(files.OpenStreams(), 0);
}

}  // namespace

}  // namespace tal::test
