#include <sys/mman.h>
#include <unistd.h>

#include "host/DatabaseDescription.h"
#include "support/BinaryFixture.h"
#include "support/BinaryTree.h"
#include "support/SecureRecords.h"

namespace tal::test {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSubsetOf;
using ::testing::Not;

class SecureStore : public SecureProviderTest {
protected:
    /// R/O with an array of E0 and E1, which have a byte "V" of 1 and 2.
    /// @return R/O
    host::Object& BuildArray() {
        host::Object& object = database_.AddRegion("R").AddObject("O");
        object.AddToArray("A", "E0").U8("V", 1);
        object.AddToArray("A", "E1").U8("V", 2);
        return object;
    }

    /// @param nth  Which question for the name of an object fails.
    void ExpectFailedStoreWithoutName(int nth) {
        HostCalls host;
        host.Fail("CStorageObject_GetName", nth);
        EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    }

    /// What a store of BuildTree's database writes. The object part of a path is never shortened.
    static std::string TreeBytes() {
        return SecureRecord("Config/Radio/Gain", Bytes({16, 0, 0, 0})) +
               SecureRecord("Config/Radio/Tx/Power", Bytes({2, 1})) +
               SecureRecord("Config/Radio/Tx/Lane0/Delay", Bytes({7})) +
               SecureRecord("Config/Radio/Tx/Lane1/Delay", Bytes({8})) +
               SecureRecord("Config/Radio/Tx/Lane1/Last", Bytes({9})) +
               SecureRecord("Board/Label/Name", Bytes({'a', 'b', 0, 0}));
    }

    std::string Writing(int bytes, const char* path) {
        return Info("ProcessObject", "Writing " + std::to_string(bytes) + " bytes to file from address " +
                                         AddressOf(database_.At(path)) + "...");
    }
};

TEST_F(SecureStore, WritesOneRecordOf45BytesForAnExample) {
    database_.AddRegion("Config").AddObject("Radio").AddNested("Tx").U32("Gain", 16);
    EXPECT_EQ(StoredBytes(), Bytes({0xEF, 0xBE, 0xAD, 0xDE,                  //
                                    0x2C, 0x00, 0x00, 0x00,                  //
                                    0x14, 0x00, 0x00, 0x00,                  //
                                    0x04, 0x00, 0x00, 0x00,                  //
                                    0xFE, 0xCA, 0xEF, 0xBE,                  //
                                    'C',  'o',  'n',  'f',  'i',  'g', '/',  //
                                    'R',  'a',  'd',  'i',  'o',  '/',       //
                                    'T',  'x',  '/',                         //
                                    'G',  'a',  'i',  'n',  0x00,            //
                                    0x10, 0x00, 0x00, 0x00}));
}

/// Surprise: Read-only objects are kept in three ways
TEST_F(SecureStore, WritesARecordPerVariableOfTheWritableObjects) {
    BuildTree(database_);
    EXPECT_EQ(StoredBytes(), TreeBytes());
}

TEST_F(SecureStore, RecordsOfEveryTypeHoldTheBytesInMemory) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.U16Array("a", {1, 2}).S8("b", -1).Bool("c", 2).String("d", 4, "xy").Float("e", 1.5F).Double("f", -2.0);
    object.Raw("g", 23, 1, {1, 2, 3}).Raw("h", 0xFFFFFFFF, 9, {4}).String("i", 0);
    EXPECT_EQ(StoredBytes(),
              SecureRecord("R/O/a", Bytes({1, 0, 2, 0})) + SecureRecord("R/O/b", Bytes({0xFF})) +
                  SecureRecord("R/O/c", Bytes({2, 0, 0, 0})) + SecureRecord("R/O/d", Bytes({'x', 'y', 0, 0})) +
                  SecureRecord("R/O/e", Bytes({0, 0, 0xC0, 0x3F})) +
                  SecureRecord("R/O/f", Bytes({0, 0, 0, 0, 0, 0, 0, 0xC0})) + SecureRecord("R/O/g", Bytes({1, 2, 3})) +
                  SecureRecord("R/O/h", Bytes({4})) + SecureRecord("R/O/i", ""));
}

/// Surprise: The directory is never synced
TEST_F(SecureStore, TracesEveryStep) {
    BuildTree(database_);
    ASSERT_EQ(Store(3), QBFResult{QBF_OK});
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(Info("StoreAll", "CSecureBinaryFileStorageProvider: Storing all..."),
                    Info("OpenFile", "  Reading Binary file hardware (for storage location 3)"),
                    Info("ManageStore", "Processing region: Config"), Info("ProcessObject", "Processing object: Radio"),
                    Info("ProcessObject", "Processing variable path: Config/Radio/Gain"),  //
                    Writing(4, "Config/Radio/Gain"),                                       //
                    Info("ProcessObject", "New nested object"),                            //
                    Info("ProcessObject", "Processing object: Tx"),
                    Info("ProcessObject", "Processing variable path: Config/Radio/Tx/Power"),  //
                    Writing(2, "Config/Radio/Tx/Power"),                                       //
                    Info("ProcessObject", "New object array (object name is Radio)"),
                    Info("ProcessObject", "Processing object: Lane0"),
                    Info("ProcessObject", "Processing variable path: Config/Radio/Tx/Lane0/Delay"),  //
                    Writing(1, "Config/Radio/Lane0/Delay"),                                          //
                    Info("ProcessObject", "Processing object: Lane1"),
                    Info("ProcessObject", "Processing variable path: Config/Radio/Tx/Lane1/Delay"),  //
                    Writing(1, "Config/Radio/Lane1/Delay"),                                          //
                    Info("ProcessObject", "New object array (object name is Radio)"),
                    Info("ProcessObject", "Processing variable path: Config/Radio/Tx/Lane1/Last"),  //
                    Writing(1, "Config/Radio/Last"),                                                //
                    Info("ProcessObject", "Processing object: Empty"),
                    Info("ProcessObject", "Processing object: Factory"),
                    Info("ManageStore", "Processing region: Board"), Info("ProcessObject", "Processing object: Label"),
                    Info("ProcessObject", "Processing variable path: Board/Label/Name"),  //
                    Writing(4, "Board/Label/Name"),                                       //
                    Info("ManageStore", "fsync started for secure binary file, storage location 3"),
                    Info("ManageStore", "fsync completed for secure binary file, storage location 3"),
                    Info("CloseFile", "Binary file closed for storage location 3"),
                    Info("ManageStore", "Secure binary file closed for storage location 3"),
                    Line(QBF_N_NOTICE, "ManageStore",
                         "Failed to fsync file directory for storage location 3, could not open directory")));
}

/// Promise 1
TEST_F(SecureStore, WritesThreePiecesPerRecordThenFlushesSyncsAndCloses) {
    database_.AddRegion("R").AddObject("O").U32("V", 1);
    const CLibraryFaults files;
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_THAT(files.Calls(), ElementsAre("fopen calibration w+", "fwrite 20", "fwrite 6", "fwrite 4", "fflush",
                                           "fsync", "fclose", "fopen  r"));
}

TEST_F(SecureStore, AsksTheHostForNoMoreThanItNeeds) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("O").U8("V", 1);
    region.AddObject("Empty");
    region.AddObject("Locked").ReadOnly().U8("V", 1);
    region.AddObject("Array").AddToArray("A", "E");
    const HostCalls host;
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_THAT(host.Calls(),
                IsSubsetOf({"CStorageRegion_GetName",  //
                            "CStorageObject_GetName",
                            "CStorageObject_IsWritable",
                            "CStorageObject_GetVariableIterator",
                            "CStorageObject_GetNextVariable",
                            "CVariable_GetNoOfElements",
                            "CVariable_GetType",
                            "CVariable_GetName",
                            "CVariable_GetSizeInBytes",
                            "CVariable_GetContentAddress",
                            "CStorageObject_GetName",
                            "CStorageObject_IsWritable",
                            "CStorageObject_GetVariableIterator",  //
                            "CStorageObject_GetName",
                            "CStorageObject_IsWritable",  //
                            "CStorageObject_GetName",
                            "CStorageObject_IsWritable",
                            "CStorageObject_GetVariableIterator",
                            "CStorageObject_GetNextVariable",
                            "CVariable_GetNoOfElements",
                            "CVariable_GetType",
                            "CVariable_GetContentAddress",  //
                            "CStorageObject_GetName",
                            "CStorageObject_GetName",
                            "CStorageObject_IsWritable",
                            "CStorageObject_GetVariableIterator"}));
}

TEST_F(SecureStore, DatabaseWithoutWritableObjectsIsAnEmptyFile) {
    database_.AddRegion("R").AddObject("O").ReadOnly().U8("V", 1).AddNested("N").U8("W", 2);
    WriteFile(kCalibrationFile, std::string(100, 'x'));
    EXPECT_EQ(StoredBytes(), "");
}

/// Surprise: A read-only nested object is left out with all it holds
TEST_F(SecureStore, NameOfAReadOnlyNestedObjectStaysInTheFollowingPaths) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.AddNested("N").ReadOnly().U8("Hidden", 1);
    object.U8("After", 2);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/N/After", Bytes({2})));
}

/// Surprise: A variable after a nested object or an object array in the same object is not restored
TEST_F(SecureStore, NestedObjectsAddTheirOwnNamesAndAreNeverLeft) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.U8("Before", 1);
    object.AddNested("N1").AddNested("N2").U8("Inner", 2);
    object.U8("Between", 3);
    object.AddNested("N3").U8("Last", 4);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/Before", Bytes({1})) + SecureRecord("R/O/N1/N2/Inner", Bytes({2})) +
                                 SecureRecord("R/O/N1/N2/Between", Bytes({3})) +
                                 SecureRecord("R/O/N1/N2/N3/Last", Bytes({4})));
}

TEST_F(SecureStore, EachTopLevelObjectStartsAPathOfItsOwn) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("O").AddNested("N").U8("V", 1);
    region.AddObject("P").U8("W", 2);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/N/V", Bytes({1})) + SecureRecord("R/P/W", Bytes({2})));
}

/// Surprise: An object array inside an element moves the elements after it to paths that nobody looks up
TEST_F(SecureStore, ArrayInsideAnElementMovesTheBaseOfTheOuterArray) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    host::Object& first = object.AddToArray("Outer", "E0");
    first.AddToArray("Inner", "I0").U8("V", 1);
    first.AddToArray("Inner", "I1").U8("V", 2);
    object.AddToArray("Outer", "E1").U8("V", 3);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/E0/I0/V", Bytes({1})) + SecureRecord("R/O/E0/I1/V", Bytes({2})) +
                                 SecureRecord("R/O/E0/E1/V", Bytes({3})));
}

TEST_F(SecureStore, RegionNameIsCutTo39Characters) {
    database_.AddRegion(std::string(39, 'r')).AddObject("O").U8("V", 1);
    database_.AddRegion(std::string(40, 's')).AddObject("O").U8("V", 2);
    EXPECT_EQ(StoredBytes(), SecureRecord(std::string(39, 'r') + "/O/V", Bytes({1})) +
                                 SecureRecord(std::string(39, 's') + "/O/V", Bytes({2})));
}

TEST_F(SecureStore, PathOf510CharactersIsWrittenWhole) {
    const std::string name(510 - 4, 'n');
    database_.AddRegion("R").AddObject("O").U8(name, 1);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/" + name, Bytes({1})));
    EXPECT_THAT(traces_.LinesOf(QBF_W_WARNING), IsEmpty());
}

/// Surprise: Paths beyond 510 characters are cut
TEST_F(SecureStore, LongerPathIsCutTo510CharactersReportedAndWritten) {
    const std::string name(511 - 4, 'n');
    database_.AddRegion("R").AddObject("O").U8(name, 1);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/" + name.substr(0, 506), Bytes({1})));
    EXPECT_THAT(traces_.LinesOf(QBF_W_WARNING),
                ElementsAre(Line(QBF_W_WARNING, "ProcessObject", "snprintf string was truncated")));
}

TEST_F(SecureStore, PathThatIsLongByItsObjectsIsCutTo510Characters) {
    database_.AddRegion("R").AddObject(std::string(300, 'o')).AddNested(std::string(300, 'p')).U8("V", 1);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/" + std::string(300, 'o') + "/" + std::string(207, 'p'), Bytes({1})));
}

TEST_F(SecureStore, ShortHeaderIsReportedAndPathAndDataAreWritten) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Shorten("fwrite", 4, 18);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf(QBF_E_IO),
                ElementsAre(Line(QBF_E_IO, "ProcessObject",
                                 "Not all metadata header bytes written, attempted to write 20 bytes, got 2")));
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/A", Bytes({1})) + Bytes({0xEF, 0xBE}) + "R/O/B" +
                                              Bytes({0, 2}) + SecureRecord("R/O/C", Bytes({3})));
}

TEST_F(SecureStore, ShortPathIsReportedAndTheDataAreWritten) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Shorten("fwrite", 5, 3);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf(QBF_E_IO),
                ElementsAre(Line(QBF_E_IO, "ProcessObject",
                                 "Not all variable path bytes written, attempted to write 6 bytes, got 3")));
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/A", Bytes({1})) + SecureHeader(5, 1) + "R/O" + Bytes({2}) +
                                              SecureRecord("R/O/C", Bytes({3})));
}

TEST_F(SecureStore, ShortDataAreReportedAndTheNextRecordIsWritten) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Shorten("fwrite", 6, 1);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf(QBF_E_IO),
                ElementsAre(Line(QBF_E_IO, "ProcessObject",
                                 "Not all variable data bytes written, attempted to write 1 bytes, got 0")));
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/A", Bytes({1})) + SecureHeader(5, 1) + "R/O/B" +
                                              Bytes({0}) + SecureRecord("R/O/C", Bytes({3})));
}

TEST_F(SecureStore, FileThatCannotBeOpenedIsReportedAndNothingElseHappens) {
    BuildThreeVariables();
    CSecureBinaryFileStorageProvider_SetStorageFilenames("missing/file", "", "");
    traces_.Clear();
    const CLibraryFaults files;
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(Info("StoreAll", "CSecureBinaryFileStorageProvider: Storing all..."),
                    Line(QBF_E_OPEN_FAILED, "OpenFile", "Could not open file missing/file (errno is: 2)"),
                    Line(QBF_E_OPEN_FAILED, "ManageStore", "Could not open storage file missing/file for writing")));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen missing/file w+"));
}

TEST_F(SecureStore, FailedFlushIsReportedAndTheFileIsSyncedAndClosed) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Fail("fflush", 1, ENOSPC);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_IO, "ManageStore",
                                 "Could not flush storage file for storage location 0 (errno is: 28)")));
    EXPECT_EQ(files.Count("fsync"), 1);
    EXPECT_EQ(files.OpenStreams(), 0);
}

/// Promise 6
TEST_F(SecureStore, FullDiskIsReported) {
    ASSERT_TRUE(IsDevice("/dev/full"));
    BuildThreeVariables();
    CSecureBinaryFileStorageProvider_SetStorageFilenames("/dev/full", "", "");
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.Failures(),
        Contains(Line(QBF_E_IO, "ManageStore", "Could not flush storage file for storage location 0 (errno is: 28)")));
}

TEST_F(SecureStore, FailedSyncIsIgnored) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Fail("fsync", 0);
    EXPECT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_F(SecureStore, FileThatCannotBeClosedIsReportedAndTheDirectoryIsSyncedAllTheSame) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Fail("fclose", 1, EIO);
    EXPECT_EQ(Store(6), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "CloseFile",
                                 "Could not close storage file for storage location 6 (errno is: 5)"),
                            Line(QBF_E_FAILED, "ManageStore", "Could not close storage file")));
    EXPECT_THAT(traces_.Lines(), Contains(Info("ManageStore", "Secure binary file closed for storage location 6")));
    EXPECT_THAT(traces_.Lines(), Not(Contains(Info("CloseFile", "Binary file closed for storage location 6"))));
    EXPECT_EQ(traces_.LinesOf(QBF_N_NOTICE).size(), 1U);
}

TEST_F(SecureStore, DirectoryThatCanBeOpenedIsSynced) {
    CLibraryFaults files;
    files.Redirect("", ".");
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(Info("StoreAll", "CSecureBinaryFileStorageProvider: Storing all..."),
                    Info("OpenFile", "  Reading Binary file calibration (for storage location 0)"),
                    Info("ManageStore", "fsync started for secure binary file, storage location 0"),
                    Info("ManageStore", "fsync completed for secure binary file, storage location 0"),
                    Info("CloseFile", "Binary file closed for storage location 0"),
                    Info("ManageStore", "Secure binary file closed for storage location 0"),
                    Info("ManageStore", "Directory fsync started for secure binary file, storage location 0"),
                    Info("ManageStore", "Directory fsync completed for secure binary file, storage location 0")));
    EXPECT_THAT(files.Calls(), ElementsAre("fopen calibration w+", "fflush", "fsync", "fclose", "fopen  r", "fflush",
                                           "fsync", "fclose"));
}

TEST_F(SecureStore, VariableThatComesWithAFailedStepIsLeftAlone) {
    database_.AddRegion("R").AddObject("O").U8("V", 1).U8("W", 2).U8("X", 3);
    HostCalls host;
    host.Override("CStorageObject_GetNextVariable", 2, 0x8003);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Lines(),
                ElementsAre(Info("StoreAll", "CSecureBinaryFileStorageProvider: Storing all..."),
                            Info("OpenFile", "  Reading Binary file calibration (for storage location 0)"),
                            Info("ManageStore", "Processing region: R"), Info("ProcessObject", "Processing object: O"),
                            Info("ProcessObject", "Processing variable path: R/O/V"), Writing(1, "R/O/V"),
                            Line(QBF_W_WARNING, "ProcessObject", "CStorageObject_GetNextVariable() failed"),
                            Line(QBF_W_WARNING, "ManageStore", "Failed to process object O"),
                            Info("ManageStore", "fsync started for secure binary file, storage location 0"),
                            Info("ManageStore", "fsync completed for secure binary file, storage location 0"),
                            Info("CloseFile", "Binary file closed for storage location 0"),
                            Info("ManageStore", "Secure binary file closed for storage location 0"),
                            Line(QBF_N_NOTICE, "ManageStore",
                                 "Failed to fsync file directory for storage location 0, could not open directory")));
    EXPECT_EQ(host.Count("CVariable_GetType"), 1);
    EXPECT_EQ(host.Count("CVariable_GetContentAddress"), 1);
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/V", Bytes({1})));
}

TEST_F(SecureStore, EmptyObjectInsideAVariableHasNoRecordAndItsNameStaysInTheFollowingPaths) {
    host::Object& object = database_.AddRegion("R").AddObject("O").U8("V", 1);
    object.AddNested("N");
    object.U8("W", 2);
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/V", Bytes({1})) + SecureRecord("R/O/N/W", Bytes({2})));
}

TEST_F(SecureStore, ObjectIsWritableByAnyWordButZero) {
    database_.AddRegion("R").AddObject("O").U8("V", 1);
    for (const QBFResult answer : {QBFResult{2}, QBFResult{0x100}, QBFResult{0x80000000U}, QBFResult{0xFFFFFFFFU}}) {
        HostCalls host;
        host.FailAll("CStorageObject_IsWritable", answer);
        EXPECT_EQ(StoredBytes(), SecureRecord("R/O/V", Bytes({1}))) << answer;
    }
}

TEST_F(SecureStore, VariableWithoutAddressIsLeftOut) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 2);
    host.Fail("CVariable_GetContentAddress", 3, QBF_OK);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "Could not get address for variable B"),
                            Line(QBF_E_FAILED, "ProcessObject", "Could not get address for variable C")));
    EXPECT_EQ(host.Count("CVariable_GetName"), 3);
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/A", Bytes({1})));
}

TEST_F(SecureStore, ArrayElementWithoutNameIsLeftOutOfThePath) {
    BuildArray();
    ExpectFailedStoreWithoutName(2);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "Failed to get name for object array element")));
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/E1/V", Bytes({2})));
}

TEST_F(SecureStore, FailingArrayElementIsReportedAndTheNextOneIsWritten) {
    BuildArray();
    ExpectFailedStoreWithoutName(3);
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_NO_NAME, "ProcessObject", "Could not get object name"),
                            Line(QBF_E_FAILED, "ProcessObject", "Failed to process array element object")));
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/E1/V", Bytes({2})));
}

TEST_F(SecureStore, VariableAfterAnArrayElementWithoutNameCarriesTheBaseOfTheArray) {
    BuildArray().U8("W", 3);
    ExpectFailedStoreWithoutName(4);
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/E0/V", Bytes({1})) + SecureRecord("R/O/W", Bytes({3})));
}

TEST_F(SecureStore, VariableAfterAnArrayElementThatFailedToStartCarriesItsUnendedName) {
    BuildArray().U8("W", 3);
    ExpectFailedStoreWithoutName(5);
    EXPECT_EQ(ReadFile(kCalibrationFile), SecureRecord("R/O/E0/V", Bytes({1})) + SecureRecord("R/O/E1W", Bytes({3})));
}

TEST_F(SecureStore, EveryFailingFileCallButTheSyncsFailsTheStoreAndLeavesAUsableProvider) {
    BuildTree(database_);
    const int faults = SweepFaults([this](int n) {
        CLibraryFaults files;
        files.Fail(n);
        const QBFResult result = Store();
        EXPECT_EQ(files.OpenStreams(), 0);
        const bool fired = files.Fired();
        if (fired) {
            const bool isSync = files.FunctionName() == "fsync" || (files.FunctionName() == "fopen" && n > 1);
            EXPECT_EQ(result, isSync ? QBFResult{QBF_OK} : QBFResult{QBF_E_FAILED}) << files.FunctionName();
            EXPECT_EQ(StoredBytes(), TreeBytes());
        }
        return fired;
    });
    EXPECT_EQ(faults, 1 + 6 * 3 + 4);
}

#if UINTPTR_MAX > 0xFFFFFFFF
/// A text of 2 GiB, the same small piece of memory again and again.
class LongText {
public:
    LongText() {
        const int piece = memfd_create("piece", MFD_CLOEXEC);
        const std::string content(kPieceSize, 'n');
        EXPECT_EQ(write(piece, content.data(), content.size()), static_cast<ssize_t>(content.size()));
        // After the text stands what terminates it.
        void* const reserved = mmap(nullptr, kLength + kPieceSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(reserved, MAP_FAILED);
        text_ = static_cast<char*>(reserved);
        for (std::size_t offset = 0; offset < kLength; offset += kPieceSize) {
            EXPECT_NE(mmap(text_ + offset, kPieceSize, PROT_READ, MAP_SHARED | MAP_FIXED, piece, 0), MAP_FAILED);
        }
        close(piece);
    }
    ~LongText() { munmap(text_, kLength + kPieceSize); }
    LongText(const LongText&) = delete;
    LongText& operator=(const LongText&) = delete;

    [[nodiscard]] const char* Get() const { return text_; }

private:
    static constexpr std::size_t kPieceSize = std::size_t{1} << 20;
    static constexpr std::size_t kLength = std::size_t{1} << 31;

    char* text_;
};

TEST_F(SecureStore, PathThatIsTooLongToBeCountedIsAnOutputErrorAndCut) {
    database_.AddRegion("R").AddObject("O").U8("a", 7);
    const LongText name;
    HostCalls host;
    host.NameEveryVariable(name.Get());
    EXPECT_EQ(StoredBytes(), SecureRecord("R/O/" + std::string(506, 'n'), Bytes({7})));
    EXPECT_THAT(traces_.Failures(), ElementsAre(Line(QBF_E_FAILED, "ProcessObject",
                                                     "snprintf encountered an output "
                                                     "error")));
}
#endif

}  // namespace

}  // namespace tal::test
