#include "host/DatabaseDescription.h"
#include "support/BinaryFixture.h"
#include "support/BinaryTree.h"
#include "support/GeneratedDatabase.h"
#include "support/MemoryFile.h"
#include "support/SecureRecords.h"

namespace tal::test {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class SecureRetrieve : public SecureProviderTest {
protected:
    static std::string ThreeRecords() {
        return SecureRecord("R/O/A", Bytes({7})) + SecureRecord("R/O/B", Bytes({8})) +
               SecureRecord("R/O/C", Bytes({9}));
    }

    std::string Restoring(const std::string& path, int bytes) {
        return Info("PrepareForVariableUpdate", "Restoring variable " + path + ": " + std::to_string(bytes) +
                                                    " bytes from storage to address " + AddressOf(database_.At(path)) +
                                                    "...");
    }

    [[nodiscard]] std::string NotUpdated(const std::string& path) const {
        return Line(QBF_E_IO, "PrepareForVariableUpdate", "Variable not updated (path " + path + ")");
    }

    [[nodiscard]] std::string NotRegistered(const std::string& path) const {
        return Line(QBF_N_NOTICE_2, "PrepareForVariableUpdate",
                    "File calibration contains variable that is not registered (" + path + ")");
    }

    [[nodiscard]] std::string Corrupt() const {
        return Line(QBF_E_CORRUPT, "ManageRetrieve",
                    "Start marker missing, binary file calibration seems to be corrupt - FATAL, aborting retrieval");
    }
};

TEST_F(SecureRetrieve, RestoresAndMarksEveryVariable) {
    BuildThreeVariables();
    EXPECT_EQ(RetrieveFrom(ThreeRecords()), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
    for (const char* path : {"R/O/A", "R/O/B", "R/O/C"}) {
        EXPECT_TRUE(database_.At(path).Retrieved()) << path;
    }
}

TEST_F(SecureRetrieve, TracesEveryStep) {
    BuildThreeVariables();
    WriteFile(kHardwareFile, ThreeRecords());
    ASSERT_EQ(Retrieve(3), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Lines(),
                ElementsAre(Info("RetrieveAll", "CSecureBinaryFileStorageProvider: Retrieving all..."),
                            Info("OpenFile", "  Reading Binary file hardware (for storage location 3)"),
                            Restoring("R/O/A", 1), Restoring("R/O/B", 1), Restoring("R/O/C", 1),
                            Info("CloseFile", "Binary file closed for storage location 3")));
}

TEST_F(SecureRetrieve, PreparesTheDatabaseReadsAndDefaults) {
    database_.AddRegion("R").AddObject("O").U32("V", 1);
    WriteFile(kCalibrationFile, SecureRecord("R/O/V", Bytes({7, 0, 0, 0})));
    const HostCalls host;
    const CLibraryFaults files;
    ASSERT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved",
                                          "CDatabase_GetVariableByPath R/O/V", "CVariable_GetContentAddress",
                                          "CVariable_GetSizeInBytes", "CVariable_GetType", "CVariable_SetRetrieved 1",
                                          "CDatabase_SetNotRetrievedVariablesToDefault"));
    EXPECT_THAT(files.Calls(),
                ElementsAre("fopen calibration r", "fread 20", "fread 6", "fread 4", "fread 20", "fclose"));
}

TEST_F(SecureRetrieve, EmptyFileRestoresNothingAndIsFine) {
    BuildThreeVariables();
    database_.SetAllToZero();
    EXPECT_EQ(RetrieveFrom(""), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(1, 2, 3));
    EXPECT_THAT(traces_.Lines(),
                ElementsAre(Info("RetrieveAll", "CSecureBinaryFileStorageProvider: Retrieving all..."),
                            Info("OpenFile", "  Reading Binary file calibration (for storage location 0)"),
                            Info("CloseFile", "Binary file closed for storage location 0")));
}

TEST_F(SecureRetrieve, RecordLengthAndEndMarkerAreIgnored) {
    BuildThreeVariables();
    std::string bytes = WithField(SecureRecord("R/O/A", Bytes({7})), kRecordLengthAt, 0xFFFFFFFF);
    bytes += WithField(SecureRecord("R/O/B", Bytes({8})), kEndMarkerAt, 0);
    EXPECT_EQ(RetrieveFrom(bytes), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 3));
}

TEST_F(SecureRetrieve, LaterOneOfTwoRecordsWithOnePathWins) {
    BuildThreeVariables();
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/A", Bytes({7})) + SecureRecord("R/O/A", Bytes({8}))), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(8, 2, 3));
}

/// Surprise: Read-only objects are kept in three ways
TEST_F(SecureRetrieve, VariablesOfReadOnlyObjectsAreRestored) {
    database_.AddRegion("R").AddObject("O").ReadOnly().U8("V", 1);
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/V", Bytes({7}))), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/V").Get<std::uint8_t>(), 7);
}

TEST_F(SecureRetrieve, VariableOfSizeZeroIsRestored) {
    database_.AddRegion("R").AddObject("O").String("Nothing", 0);
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/Nothing", "")), QBFResult{QBF_OK});
    EXPECT_TRUE(database_.At("R/O/Nothing").Retrieved());
}

TEST_F(SecureRetrieve, PathOf510CharactersIsRestored) {
    const std::string name(510 - 4, 'n');
    database_.AddRegion("R").AddObject("O").U8(name, 1);
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/" + name, Bytes({7}))), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/" + name).Get<std::uint8_t>(), 7);
}

/// Promise 9
/// Surprise: Without a file everything gets its default
TEST_F(SecureRetrieve, MissingFileDefaultsEveryVariableAndFails) {
    BuildThreeVariables();
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(1, 2, 3));
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(Info("RetrieveAll", "CSecureBinaryFileStorageProvider: Retrieving all..."),
                    Line(QBF_E_OPEN_FAILED, "OpenFile", "Could not open file calibration (errno is: 2)"),
                    Line(QBF_E_OPEN_FAILED, "ManageRetrieve", "Could not open storage file calibration for retrieve")));
}

TEST_F(SecureRetrieve, FailedDefaultingFailsWithTheHostsCodeInTheTrace) {
    BuildThreeVariables();
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault", 0x8123);
    EXPECT_EQ(RetrieveFrom(ThreeRecords()), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(0x8123, "ManageRetrieve", "Error when setting missing variables to default")));
}

/// Surprise: A database that cannot be prepared is restored all the same
TEST_F(SecureRetrieve, FailedPreparationIsReportedAndTheRetrieveGoesOn) {
    BuildThreeVariables();
    ASSERT_EQ(CDatabase_UpdatePathHashTable(database_.Handle()), QBFResult{QBF_OK});
    HostCalls host;
    host.FailAll("CDatabase_UpdatePathHashTable");
    host.FailAll("CDatabase_SetAsNotRetrieved");
    EXPECT_EQ(RetrieveFrom(ThreeRecords()), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ManageRetrieve", "Error when updating hash table in CDatabase"),
                            Line(QBF_E_FAILED, "ManageRetrieve", "Error when setting Database as not retrieved")));
}

TEST_F(SecureRetrieve, FailedCloseIsReportedAndChangesNothing) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, SecureRecord("R/O/A", Bytes({7})));
    database_.SetAllToZero();
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 2, 3));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "CloseFile",
                                 "Could not close storage file for storage location 0 (errno is: 5)"),
                            Line(QBF_E_FAILED, "ManageRetrieve", "Could not close storage file")));
    EXPECT_THAT(traces_.Lines(), Not(Contains(Info("CloseFile", "Binary file closed for storage location 0"))));
}

TEST_F(SecureRetrieve, VariableThatIsNotRegisteredIsNoticedAndSkipped) {
    BuildThreeVariables();
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/Gone", Bytes({6})) + ThreeRecords()), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
    EXPECT_THAT(traces_.LinesOf(QBF_N_NOTICE_2), ElementsAre(NotRegistered("R/O/Gone")));
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_F(SecureRetrieve, VariableWithoutAddressIsReportedAndDefaulted) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 2);
    EXPECT_EQ(RetrieveFrom(ThreeRecords()), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 2, 9));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "PrepareForVariableUpdate", "CVariable_GetContentAddress() failed"),
                            NotUpdated("R/O/B")));
    EXPECT_EQ(host.Count("CVariable_GetSizeInBytes"), 2);
}

/// Promise 16
TEST_F(SecureRetrieve, VariableWithANullAddressIsDroppedUntraced) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 2, QBF_OK);
    EXPECT_EQ(RetrieveFrom(ThreeRecords()), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 2, 9));
    EXPECT_THAT(traces_.Lines(),
                ElementsAre(Info("RetrieveAll", "CSecureBinaryFileStorageProvider: Retrieving all..."),
                            Info("OpenFile", "  Reading Binary file calibration (for storage location 0)"),
                            Restoring("R/O/A", 1), Restoring("R/O/C", 1),
                            Info("CloseFile", "Binary file closed for storage location 0")));
}

TEST_F(SecureRetrieve, SizeIsComparedAlsoWhereTheAddressIsNull) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/A", Bytes({7, 7}))), QBFResult{QBF_OK});
    EXPECT_EQ(traces_.LinesOf(QBF_E_SIZE_MISMATCH).size(), 1U);
}

TEST_F(SecureRetrieve, VariableOfAnotherSizeIsRefusedAndDefaulted) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.U32("Grown", 0x01020304).U8("Shrunk", 5).U8("Same", 6);
    const std::string bytes = SecureRecord("R/O/Grown", Bytes({7, 7})) +
                              SecureRecord("R/O/Shrunk", Bytes({8, 8, 8, 8})) + SecureRecord("R/O/Same", Bytes({9}));
    EXPECT_EQ(RetrieveFrom(bytes), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/Grown").Get<std::uint32_t>(), 0x01020304U);
    EXPECT_EQ(database_.At("R/O/Shrunk").Get<std::uint8_t>(), 5);
    EXPECT_EQ(database_.At("R/O/Same").Get<std::uint8_t>(), 9);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_SIZE_MISMATCH, "PrepareForVariableUpdate",
                                 "*ERROR* Variable not restored: size mismatch: path R/O/Grown, size from file: 2, "
                                 "size registered: 4"),
                            NotUpdated("R/O/Grown"),
                            Line(QBF_E_SIZE_MISMATCH, "PrepareForVariableUpdate",
                                 "*ERROR* Variable not restored: size mismatch: path R/O/Shrunk, size from file: 4, "
                                 "size registered: 1"),
                            NotUpdated("R/O/Shrunk")));
}

TEST_F(SecureRetrieve, RefusedVariableKeepsItsValueUntilItIsDefaulted) {
    database_.AddRegion("R").AddObject("O").U8("V", 1);
    database_.At("R/O/V").Set<std::uint8_t>(5);
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault");
    RetrieveFrom(SecureRecord("R/O/V", Bytes({7, 7})));
    EXPECT_EQ(database_.At("R/O/V").Get<std::uint8_t>(), 5);
}

/// Surprise: A record for a nested object or an object array is refused
TEST_F(SecureRetrieve, RecordsForVariablesThatHoldObjectsAreRefused) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.AddNested("Nested", "N").U8("V", 1);
    object.AddToArray("Array", "E").U8("V", 1);
    const std::string pointer(sizeof(void*), '\x55');
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/Nested", pointer) + SecureRecord("R/O/Array", pointer)),
              QBFResult{QBF_OK});
    EXPECT_TRUE(database_.GuardsIntact());
    EXPECT_THAT(traces_.Failures(), ElementsAre(Line(QBF_E_BAD_TYPE, "PrepareForVariableUpdate",
                                                     "Variable holds objects and has no value (path R/O/Nested)"),
                                                NotUpdated("R/O/Nested"),
                                                Line(QBF_E_BAD_TYPE, "PrepareForVariableUpdate",
                                                     "Variable holds objects and has no value (path R/O/Array)"),
                                                NotUpdated("R/O/Array")));
}

TEST_F(SecureRetrieve, FileThatBeginsWithAnotherWordIsCorrupt) {
    BuildThreeVariables();
    database_.SetAllToZero();
    const HostCalls host;
    EXPECT_EQ(RetrieveFrom(WithField(ThreeRecords(), 0, 0xDEADBEEE)), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(),
                ElementsAre(Info("RetrieveAll", "CSecureBinaryFileStorageProvider: Retrieving all..."),
                            Info("OpenFile", "  Reading Binary file calibration (for storage location 0)"),
                            Info("CloseFile", "Binary file closed for storage location 0"), Corrupt()));
    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved"));
}

/// Promise 10
/// Surprise: After a wrong start marker nothing is defaulted
TEST_F(SecureRetrieve, CorruptThirdRecordKeepsTheFirstTwoAndDefaultsNothing) {
    BuildThreeVariables();
    database_.At("R/O/C").Set<std::uint8_t>(33);
    const std::string bytes = SecureRecord("R/O/A", Bytes({7})) + SecureRecord("R/O/B", Bytes({8})) +
                              WithField(SecureRecord("R/O/C", Bytes({9})), 0, 0);
    EXPECT_EQ(RetrieveFrom(bytes), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 33));
    EXPECT_TRUE(database_.At("R/O/A").Retrieved());
    EXPECT_FALSE(database_.At("R/O/C").Retrieved());
    EXPECT_THAT(traces_.Failures(), ElementsAre(Corrupt()));
}

TEST_F(SecureRetrieve, NothingIsReadAfterACorruptRecord) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, WithField(ThreeRecords(), 0, 0));
    const CLibraryFaults files;
    Retrieve();
    EXPECT_THAT(files.Calls(), ElementsAre("fopen calibration r", "fread 20", "fclose"));
}

TEST_F(SecureRetrieve, FailedCloseOfACorruptFileIsReported) {
    WriteFile(kCalibrationFile, std::string(20, 'x'));
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "CloseFile",
                                 "Could not close storage file for storage location 0 (errno is: 5)"),
                            Line(QBF_E_FAILED, "ManageRetrieve", "Could not close storage file"), Corrupt()));
}

/// Promise 10
/// Surprise: `QBF_OK` does not mean that everything was restored
TEST_F(SecureRetrieve, ChangedLayoutKeepsWhatFits) {
    host::Database before;
    before.AddRegion("Old").AddObject("O").U8("V", 1);
    before.AddRegion("R").AddObject("O").U8("Kept", 1).U32("Resized", 2).U8("Removed", 3).U16("Moved", 4);
    before.ForEachVariable([](const std::string&, host::Variable& variable) { variable.Set<std::uint8_t>(0x55); });
    ASSERT_EQ(provider_->StoreAll(0, before.Handle(), 0), QBFResult{QBF_OK});

    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.U16("Moved", 14).U8("Added", 15).U16("Resized", 12).U8("Kept", 11);
    database_.SetAllToZero();
    traces_.Clear();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/Kept").Get<std::uint8_t>(), 0x55);
    EXPECT_EQ(database_.At("R/O/Moved").Get<std::uint16_t>(), 0x55);
    EXPECT_EQ(database_.At("R/O/Resized").Get<std::uint16_t>(), 12);
    EXPECT_EQ(database_.At("R/O/Added").Get<std::uint8_t>(), 15);
    EXPECT_THAT(traces_.LinesOf(QBF_N_NOTICE_2), ElementsAre(NotRegistered("Old/O/V"), NotRegistered("R/O/Removed")));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_SIZE_MISMATCH, "PrepareForVariableUpdate",
                                 "*ERROR* Variable not restored: size mismatch: path R/O/Resized, size from file: 4, "
                                 "size registered: 2"),
                            NotUpdated("R/O/Resized")));
}

/// Surprise: A variable after a nested object or an object array in the same object is not restored
TEST_F(SecureRetrieve, VariableAfterANestedObjectIsStoredUnderAPathThatNobodyLooksUp) {
    BuildTree(database_);
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    database_.SetAllToZero();
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_TRUE(database_.At("Config/Radio/Tx/Power").Retrieved());
    EXPECT_FALSE(database_.At("Config/Radio/Last").Retrieved());
    EXPECT_EQ(database_.At("Config/Radio/Last").Get<std::uint8_t>(), 9);
    EXPECT_THAT(traces_.LinesOf(QBF_N_NOTICE_2), Contains(NotRegistered("Config/Radio/Tx/Lane1/Last")));
}

TEST_F(SecureRetrieve, EveryFailingHostCallIsReportedAndLeavesAUsableProvider) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, ThreeRecords());
    SweepFaults([this](int n) {
        HostCalls host;
        host.Fail(n, 0x8003);
        const CLibraryFaults files;
        const AllocationFaults memory;
        const QBFResult result = Retrieve();
        EXPECT_EQ(files.OpenStreams(), 0);
        EXPECT_EQ(memory.LiveAllocations(), 0);
        EXPECT_TRUE(database_.GuardsIntact());
        if (host.Fired()) {
            const bool isFatal = host.FunctionName() == "CDatabase_SetNotRetrievedVariablesToDefault";
            EXPECT_EQ(result, isFatal ? QBFResult{QBF_E_FAILED} : QBFResult{QBF_OK}) << host.FiredAt();
            EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
            EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
        }
        return host.Fired();
    });
}

TEST_F(SecureRetrieve, EveryFailingFileCallEndsTheRetrieveAndLeavesAUsableProvider) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, ThreeRecords());
    SweepFaults([this](int n) {
        CLibraryFaults files;
        files.Fail(n);
        const AllocationFaults memory;
        const QBFResult result = Retrieve();
        EXPECT_EQ(files.OpenStreams(), 0);
        EXPECT_EQ(memory.LiveAllocations(), 0);
        const bool fired = files.Fired();
        if (fired) {
            const bool isFatal = files.FunctionName() == "fopen";
            EXPECT_EQ(result, isFatal ? QBFResult{QBF_E_FAILED} : QBFResult{QBF_OK}) << files.FunctionName();
            EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
            EXPECT_THAT(ThreeValues(), ElementsAre(7, 8, 9));
        }
        return fired;
    });
}

TEST_F(SecureRetrieve, RecordWithoutMemoryIsReportedAndDroppedAndTheNextOneIsRestored) {
    BuildThreeVariables();
    WriteFile(kCalibrationFile, ThreeRecords());
    AllocationFaults memory;
    memory.Fail(2);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(ThreeValues(), ElementsAre(7, 2, 9));
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ManageRetrieve", "Could not allocate 1 bytes for variable R/O/B")));
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(SecureRetrieve, LargeRecordWithoutMemoryIsSkippedWhole) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.String("Large", 5000).U8("Next", 1);
    WriteFile(kCalibrationFile, SecureRecord("R/O/Large", std::string(5000, 'l')) + SecureRecord("R/O/Next", "n"));
    AllocationFaults memory;
    memory.Fail(1);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_FALSE(database_.At("R/O/Large").Retrieved());
    EXPECT_EQ(database_.At("R/O/Next").Get<std::uint8_t>(), 'n');
}

/// Promise 18
TEST_F(SecureRetrieve, OneBufferOfTheRecordsSizeIsAllTheMemoryThatIsTaken) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.String("Large", 5000).String("Larger", 6000).U8("Next", 1);
    WriteFile(kCalibrationFile, SecureRecord("R/O/Large", std::string(5000, 'l')) +
                                    SecureRecord("R/O/Larger", std::string(6000, 'm')) + SecureRecord("R/O/Next", "n"));
    const AllocationFaults memory;
    ASSERT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(memory.Allocations(), 3);
    EXPECT_EQ(memory.PeakBytes(), 6000U);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

/// Promise 18
TEST_F(SecureRetrieve, StoresAllocateNothing) {
    BuildTree(database_);
    const AllocationFaults memory;
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_EQ(memory.Allocations(), 0);
}

/// Promise 8
TEST_F(SecureRetrieve, GeneratedFlatDatabasesComeBackWhole) {
    MemoryFile file;
    CSecureBinaryFileStorageProvider_SetStorageFilenames(file.Path().c_str(), "", "");
    GeneratedShape shape;
    shape.nesting = 0;
    shape.values = GeneratedValues::AnyBytes;
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        const auto database = GenerateDatabase(seed, shape);
        FillWithRandomValues(*database, seed, GeneratedValues::AnyBytes);
        const DatabaseContent content = ContentOf(*database);
        ASSERT_EQ(provider_->StoreAll(0, database->Handle(), 0), QBFResult{QBF_OK});
        const std::string bytes = file.Read();
        database->SetAllToZero();
        ASSERT_EQ(provider_->RetrieveAll(0, database->Handle(), 0), QBFResult{QBF_OK});
        EXPECT_TRUE(database->GuardsIntact());
        for (const std::string& path : PathsOfWritableValues(*database)) {
            EXPECT_TRUE(database->At(path).Retrieved()) << path;
            EXPECT_EQ(database->At(path).Bytes(), content.at(path)) << path;
        }
        ASSERT_EQ(provider_->StoreAll(0, database->Handle(), 0), QBFResult{QBF_OK});
        EXPECT_EQ(file.Read(), bytes);
    }
}

/// The paths under which a store keeps the values of a database, by the rules of the format: object names are appended
/// and never taken away, an array's base is kept in one place for all arrays.
class StoredPaths {
public:
    explicit StoredPaths(const host::Database& database) {
        for (const auto& region : database.Regions()) {
            for (const auto& object : region->Objects()) {
                objects_ = object->Name();
                Visit(region->Name(), *object);
            }
        }
    }

    /// Each value's own path, and the one it is stored under.
    [[nodiscard]] const std::map<std::string, std::string>& ByOwnPath() const { return paths_; }

private:
    void Visit(const std::string& region, const host::Object& object) {
        objects_ += '/';
        if (!object.Writable()) {
            return;
        }
        for (const auto& variable : object.Variables()) {
            if (variable->Type() == VARIABLE_TYPE_OBJECT) {
                objects_ += variable->Objects().front()->Name();
                Visit(region, *variable->Objects().front());
            } else if (variable->Type() == VARIABLE_TYPE_OBJECT_ARRAY) {
                base_ = objects_;
                for (const auto& element : variable->Objects()) {
                    objects_ = base_ + element->Name();
                    Visit(region, *element);
                }
            } else {
                paths_[variable->Path()] = region + '/' + objects_ + variable->Name();
            }
        }
    }

    std::string objects_;
    std::string base_;
    std::map<std::string, std::string> paths_;
};

class SecureRoundTrip : public SecureRetrieve {
protected:
    SecureRoundTrip() { CSecureBinaryFileStorageProvider_SetStorageFilenames(file_.Path().c_str(), "", ""); }

    /// Stores random values, retrieves them into a zeroed database, and expects that exactly those come back that are
    /// stored under their own paths.
    /// @return how many come back.
    int ExpectWhatIsStoredUnderItsOwnPathToComeBack(host::Database& database, std::uint32_t seed) {
        FillWithRandomValues(database, seed, GeneratedValues::AnyBytes);
        const DatabaseContent content = ContentOf(database);
        EXPECT_EQ(provider_->StoreAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        const std::string bytes = file_.Read();
        database.SetAllToZero();
        EXPECT_EQ(provider_->RetrieveAll(0, database.Handle(), 0), QBFResult{QBF_OK});
        EXPECT_TRUE(database.GuardsIntact());

        int restored = 0;
        std::size_t size = 0;
        const StoredPaths paths(database);
        for (const auto& [own, stored] : paths.ByOwnPath()) {
            const host::Variable& variable = database.At(own);
            const std::vector<std::uint8_t>& value = content.at(own);
            EXPECT_EQ(variable.Retrieved(), own == stored) << own << " stored as " << stored;
            EXPECT_TRUE(own == stored ? variable.Bytes() == value : variable.HoldsDefault()) << own;
            const std::string record = SecureRecord(stored, std::string(value.begin(), value.end()));
            EXPECT_NE(bytes.find(record), std::string::npos) << own << " stored as " << stored;
            size += record.size();
            restored += own == stored ? 1 : 0;
        }
        EXPECT_EQ(bytes.size(), size);
        return restored;
    }

    MemoryFile file_;
};

TEST_F(SecureRoundTrip, GeneratedDatabases) {
    GeneratedShape shape;
    shape.values = GeneratedValues::AnyBytes;
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        ExpectWhatIsStoredUnderItsOwnPathToComeBack(*GenerateDatabase(seed, shape), seed);
    }
}

TEST_F(SecureRoundTrip, TheExampleDatabase) {
    const auto database = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
    EXPECT_GT(ExpectWhatIsStoredUnderItsOwnPathToComeBack(*database, 1), 100);
}

}  // namespace

}  // namespace tal::test
