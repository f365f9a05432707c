#include <filesystem>

#include "host/DatabaseDescription.h"
#include "support/BinaryFixture.h"
#include "support/BinaryTree.h"
#include "support/GeneratedDatabase.h"
#include "support/MemoryFile.h"

namespace tal::test {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class BinaryRetrieve : public BinaryProviderTest {
protected:
    [[nodiscard]] std::string ShortRead(int wanted, int arrived) const {
        return Line(QBF_E_IO, "ProcessObject",
                    "Not all bytes read, attempted to read " + std::to_string(wanted) + " bytes, got " +
                        std::to_string(arrived));
    }
};

TEST_F(BinaryRetrieve, RestoresAndMarksEveryVariable) {
    BuildThreeVariables();
    EXPECT_EQ(RetrieveFrom(Bytes({7, 8, 9})), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
    EXPECT_THAT(ThreeMarks(), ElementsAre(true, true, true));
}

TEST_F(BinaryRetrieve, TracesEveryStep) {
    BuildTree(database_);
    ASSERT_EQ(Store(6), QBFResult{QBF_OK});
    traces_.Clear();
    ASSERT_EQ(Retrieve(6), QBFResult{QBF_OK});
    const auto reading = [this](int bytes, const char* path) {
        return Info("ProcessObject", "Reading " + std::to_string(bytes) + " bytes from storage to address " +
                                         AddressOf(database_.At(path)) + "...");
    };
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(
            Info("RetrieveAll", "CBinaryFileStorageProvider: Retrieving all..."),
            Info("OpenFile", "  Binary file applications opened for storage location 6"),
            Info("ManageStorage", "  Processing region: Config"), Info("ProcessObject", "  Processing object: Radio"),
            Info("ProcessObject", "  Processing variable: Gain"),  //
            reading(4, "Config/Radio/Gain"),                       //
            Info("ProcessObject", "New nested object"), Info("ProcessObject", "  Processing object: Tx"),
            Info("ProcessObject", "  Processing variable: Power"),  //
            reading(2, "Config/Radio/Tx/Power"),                    //
            Info("ProcessObject", "  Processing object: Lane0"),
            Info("ProcessObject", "  Processing variable: Delay"),  //
            reading(1, "Config/Radio/Lane0/Delay"),                 //
            Info("ProcessObject", "  Processing object: Lane1"),
            Info("ProcessObject", "  Processing variable: Delay"),  //
            reading(1, "Config/Radio/Lane1/Delay"),                 //
            Info("ProcessObject", "  Processing variable: Last"),   //
            reading(1, "Config/Radio/Last"),                        //
            Info("ProcessObject", "  Processing object: Empty"), Info("ProcessObject", "  Processing object: Factory"),
            Info("ProcessObject", "  Processing variable: Serial"),  //
            reading(1, "Config/Factory/Serial"),                     //
            Info("ManageStorage", "  Processing region: Board"), Info("ProcessObject", "  Processing object: Label"),
            Info("ProcessObject", "  Processing variable: Name"),  //
            reading(4, "Board/Label/Name"),                        //
            Info("CloseFile", "  Binary file closed for storage location 6")));
}

TEST_F(BinaryRetrieve, PreparesTheDatabaseReadsAndDefaults) {
    database_.AddRegion("R").AddObject("O").U8("V", 1);
    WriteFile(kCalibrationFile, Bytes({7}));
    const HostCalls host;
    const CLibraryFaults files;
    ASSERT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(host.Calls(),
                ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved", "CStorageRegion_GetName",
                            "CStorageObject_GetName", "CStorageObject_GetVariableIterator",
                            "CStorageObject_GetNextVariable", "CVariable_GetNoOfElements", "CVariable_GetType",
                            "CVariable_GetName", "CVariable_GetSizeInBytes", "CVariable_GetContentAddress",
                            "CVariable_SetRetrieved 1", "CDatabase_SetNotRetrievedVariablesToDefault"));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen calibration r", "fread 1", "fclose"));
}

/// Promise 9
/// Surprise: Without a file everything gets its default
TEST_F(BinaryRetrieve, MissingFileDefaultsEveryVariableAndFails) {
    BuildThreeVariables();
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(1, 2, 3));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_OPEN_FAILED, "OpenFile", "Could not open file calibration (errno is: 2)"),
                            Line(QBF_E_OPEN_FAILED, "ManageStorage", "Could not open storage file calibration")));
}

/// Promise 10
TEST_F(BinaryRetrieve, FileShorterThanTheDatabaseRestoresWhatItHoldsAndDefaultsTheRest) {
    BuildThreeVariables();
    database_.SetAllToZero();
    EXPECT_EQ(RetrieveFrom(Bytes({7})), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 2, 3));
    EXPECT_THAT(ThreeMarks(), ElementsAre(true, false, false));
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortRead(1, 0), ShortRead(1, 0)));
}

TEST_F(BinaryRetrieve, VariableThatArrivesInPartIsDefaulted) {
    database_.AddRegion("R").AddObject("O").U8("First", 1).U32("Cut", 0x01020304);
    EXPECT_EQ(RetrieveFrom(Bytes({7, 0xFF, 0xFF, 0xFF})), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(database_.At("R/O/First").Get<std::uint8_t>(), 7);
    EXPECT_EQ(database_.At("R/O/Cut").Get<std::uint32_t>(), 0x01020304U);
    EXPECT_FALSE(database_.At("R/O/Cut").Retrieved());
    EXPECT_THAT(traces_.Failures(), Contains(ShortRead(4, 3)));
}

TEST_F(BinaryRetrieve, VariableThatArrivesInPartKeepsThePartWhenNothingIsDefaulted) {
    database_.AddRegion("R").AddObject("O").U32("Cut", 0x01020304);
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(RetrieveFrom(Bytes({0xAA, 0xBB})), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(database_.At("R/O/Cut").Get<std::uint32_t>(), 0x0102BBAAU);
}

/// Surprise: A changed layout is not noticed
TEST_F(BinaryRetrieve, FileLongerThanTheDatabaseIsFine) {
    BuildThreeVariables();
    EXPECT_EQ(RetrieveFrom(Bytes({7, 8, 9, 10, 11})), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
}

TEST_F(BinaryRetrieve, EmptyFileFitsADatabaseWithoutVariables) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.EmptyObjectArray("A").String("Nothing", 0);
    EXPECT_EQ(RetrieveFrom(""), QBFResult{QBF_OK});
    EXPECT_TRUE(database_.At("R/O/Nothing").Retrieved());
}

/// Surprise: Read-only objects are kept in three ways
TEST_F(BinaryRetrieve, ReadOnlyObjectsAreRestored) {
    database_.AddRegion("R").AddObject("O").ReadOnly().U8("V", 1);
    EXPECT_EQ(RetrieveFrom(Bytes({7})), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/V").Get<std::uint8_t>(), 7);
}

TEST_F(BinaryRetrieve, ReadErrorIsAShortReadAndTheWalkGoesOn) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, Bytes({7, 8, 9}));
    CLibraryFaults files;
    files.Fail("fread", 2);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 2, 8));
    EXPECT_THAT(ThreeMarks(), ElementsAre(true, false, true));
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortRead(1, 0)));
}

TEST_F(BinaryRetrieve, DirectoryInPlaceOfTheFileDefaultsEveryVariable) {
    BuildThreeVariables();
    std::filesystem::create_directory(kCalibrationFile);
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(1, 2, 3));
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortRead(1, 0), ShortRead(1, 0), ShortRead(1, 0)));
}

TEST_F(BinaryRetrieve, UnreadableDeviceDefaultsEveryVariable) {
    BuildThreeVariables();
    CBinaryFileStorageProvider_SetStorageFilenames("/proc/self/mem", "", "");
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(1, 2, 3));
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortRead(1, 0), ShortRead(1, 0), ShortRead(1, 0)));
}

/// Surprise: A database that cannot be prepared is restored all the same
TEST_F(BinaryRetrieve, FailedHashTableUpdateLeavesTheFileUntouchedAndDefaultsEveryVariable) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, Bytes({7, 8, 9}));
    HostCalls host;
    host.Fail("CDatabase_UpdatePathHashTable", 1);
    const CLibraryFaults files;
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(),
                ElementsAre(Info("RetrieveAll", "CBinaryFileStorageProvider: Retrieving all..."),
                            Line(QBF_E_FAILED, "RetrieveAll", "Error when updating hash table in CDatabase"),
                            Info("OpenFile", "  Binary file calibration opened for storage location 0"),
                            Info("CloseFile", "  Binary file closed for storage location 0")));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen calibration r", "fclose"));
    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved",
                                          "CDatabase_SetNotRetrievedVariablesToDefault"));
    EXPECT_THAT(ThreeValues(), ElementsAre(1, 2, 3));
}

TEST_F(BinaryRetrieve, DatabaseThatCannotBeSetAsNotRetrievedLeavesTheFileUntouched) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, Bytes({7, 8, 9}));
    HostCalls host;
    host.Fail("CDatabase_SetAsNotRetrieved", 1);
    const CLibraryFaults files;
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "RetrieveAll", "Error when setting Database as not retrieved")));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen calibration r", "fclose"));
}

TEST_F(BinaryRetrieve, BothFailuresOfThePreparationAreReported) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, Bytes({7, 8, 9}));
    HostCalls host;
    host.FailAll("CDatabase_UpdatePathHashTable");
    host.FailAll("CDatabase_SetAsNotRetrieved");
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "RetrieveAll", "Error when updating hash table in CDatabase"),
                            Line(QBF_E_FAILED, "RetrieveAll", "Error when setting Database as not retrieved")));
}

TEST_F(BinaryRetrieve, FailedDefaultingIsReportedWithTheHostsCode) {
    BuildThreeVariables();
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault", 0x8123);
    EXPECT_EQ(RetrieveFrom(Bytes({7, 8, 9})), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(0x8123, "RetrieveAll", "Error when setting missing variables to default")));
}

TEST_F(BinaryRetrieve, FailedCloseFailsTheRetrieveAndStillDefaults) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, Bytes({7, 8, 9}));
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);
    const HostCalls host;
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "CloseFile",
                                 "Could not close storage file for storage location 0 (errno is: 5)"),
                            Line(QBF_E_FAILED, "ManageStorage", "Could not close storage file")));
    EXPECT_THAT(traces_.Lines(), Not(Contains(Info("CloseFile", "  Binary file closed for storage location 0"))));
    EXPECT_EQ(host.Count("CDatabase_SetNotRetrievedVariablesToDefault"), 1);
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
}

TEST_F(BinaryRetrieve, RegionWithoutNameEndsTheReading) {
    database_.AddRegion("A").AddObject("O").U8("V", 1);
    database_.AddRegion("B").AddObject("O").U8("V", 2);
    HostCalls host;
    host.Fail("CStorageRegion_GetName", 2);
    EXPECT_EQ(RetrieveFrom(Bytes({7, 8})), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(database_.At("A/O/V").Get<std::uint8_t>(), 7);
    EXPECT_EQ(database_.At("B/O/V").Get<std::uint8_t>(), 2);
    EXPECT_THAT(traces_.Failures(), ElementsAre(Line(QBF_E_NO_NAME, "ManageStorage", "Could not get region name")));
}

TEST_F(BinaryRetrieve, VariableThatIsSkippedLeavesItsBytesToTheNextOne) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1);
    EXPECT_EQ(RetrieveFrom(Bytes({7, 8, 9})), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(1, 7, 8));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "Could not get address for variable A")));
}

TEST_F(BinaryRetrieve, EveryFailingHostCallIsReportedAndLeavesAUsableProvider) {
    BuildTree(database_);
    const std::string bytes = StoredBytes();
    SweepFaults([&](int n) {
        HostCalls host;
        host.Fail(n, 0x8003);
        const CLibraryFaults files;
        const QBFResult result = Retrieve();
        EXPECT_EQ(files.OpenStreams(), 0);
        EXPECT_TRUE(database_.GuardsIntact());
        if (host.Fired()) {
            const bool isIgnored = host.FunctionName() == "CVariable_SetRetrieved";
            EXPECT_EQ(result, isIgnored ? QBFResult{QBF_OK} : QBFResult{QBF_E_FAILED}) << host.FiredAt();
            EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
        }
        return host.Fired();
    });
    EXPECT_EQ(StoredBytes(), bytes);
}

TEST_F(BinaryRetrieve, EveryFailingFileCallFailsTheRetrieveAndLeavesAUsableProvider) {
    BuildTree(database_);
    const std::string bytes = StoredBytes();
    SweepFaults([&](int n) {
        CLibraryFaults files;
        files.Fail(n);
        const QBFResult result = Retrieve();
        EXPECT_EQ(files.OpenStreams(), 0);
        const bool fired = files.Fired();
        if (fired) {
            EXPECT_EQ(result, QBFResult{QBF_E_FAILED}) << files.FunctionName();
            EXPECT_EQ(RetrieveFrom(bytes), QBFResult{QBF_OK});
        }
        return fired;
    });
}

/// Promise 18
TEST_F(BinaryRetrieve, NothingIsAllocated) {
    BuildTree(database_);
    const AllocationFaults memory;
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    ASSERT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(memory.Allocations(), 0);
}

/// Promise 12
TEST_F(BinaryRetrieve, EveryPrefixOfAFileRestoresTheVariablesThatItHoldsInFull) {
    BuildTree(database_);
    const std::string bytes = StoredBytes();
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        database_.SetAllToZero();
        EXPECT_EQ(RetrieveFrom(bytes.substr(0, length)), QBFResult{QBF_E_FAILED});
        EXPECT_TRUE(database_.GuardsIntact());
        std::size_t end = 0;
        database_.ForEachVariable([&](const std::string& path, host::Variable& variable) {
            if (variable.DefaultContent() != nullptr) {
                end += variable.SizeInBytes();
                EXPECT_EQ(variable.Retrieved(), end <= length) << path;
                EXPECT_TRUE(variable.HoldsDefault()) << path;
            }
        });
    }
}

/// Promise 12
TEST_F(BinaryRetrieve, EveryChangedByteChangesItsOwnVariableAlone) {
    BuildTree(database_);
    MemoryFile file;
    CBinaryFileStorageProvider_SetStorageFilenames(file.Path().c_str(), "", "");
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    const std::string bytes = file.Read();
    traces_.SetThreshold(-1);
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        for (int change = 1; change < 256; ++change) {
            std::string changed = bytes;
            changed[position] = static_cast<char>(changed[position] ^ change);
            file.Write(changed);
            EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
            EXPECT_TRUE(database_.GuardsIntact());
            EXPECT_EQ(Store(), QBFResult{QBF_OK});
            EXPECT_EQ(file.Read(), changed);
        }
    }
}

// Nothing in the file tells what it holds, so a changed layout shifts every value after the change.
/// Promise 15
/// Surprise: A changed layout is not noticed
TEST_F(BinaryRetrieve, ChangedLayoutIsNotNoticed) {
    database_.AddRegion("R").AddObject("O").U8("Added", 1).U8("A", 2).U8("B", 3);
    EXPECT_EQ(RetrieveFrom(Bytes({7, 8})), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(database_.At("R/O/Added").Get<std::uint8_t>(), 7);
    EXPECT_EQ(database_.At("R/O/A").Get<std::uint8_t>(), 8);
    EXPECT_EQ(database_.At("R/O/B").Get<std::uint8_t>(), 3);
}

TEST_F(BinaryRetrieve, TheExampleDatabaseComesBackAsItWas) {
    const auto database = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
    FillWithRandomValues(*database, 1, GeneratedValues::AnyBytes);
    const DatabaseContent content = ContentOf(*database);
    ASSERT_EQ(provider_->StoreAll(0, database->Handle(), 0), QBFResult{QBF_OK});
    database->SetAllToZero();
    EXPECT_EQ(provider_->RetrieveAll(0, database->Handle(), 0), QBFResult{QBF_OK});
    EXPECT_EQ(ContentOf(*database), content);
}

/// Promise 8
TEST_F(BinaryRetrieve, GeneratedDatabasesComeBackAsTheyWere) {
    MemoryFile file;
    CBinaryFileStorageProvider_SetStorageFilenames(file.Path().c_str(), "", "");
    GeneratedShape shape;
    shape.values = GeneratedValues::AnyBytes;
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        const auto database = GenerateDatabase(seed, shape);
        FillWithRandomValues(*database, seed, GeneratedValues::AnyBytes);
        const DatabaseContent content = ContentOf(*database);
        ASSERT_EQ(provider_->StoreAll(0, database->Handle(), 0), QBFResult{QBF_OK});
        database->SetAllToZero();
        ASSERT_EQ(provider_->RetrieveAll(0, database->Handle(), 0), QBFResult{QBF_OK});
        EXPECT_EQ(ContentOf(*database), content);
        EXPECT_TRUE(database->GuardsIntact());
    }
}

}  // namespace

}  // namespace tal::test
