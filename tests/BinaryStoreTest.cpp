#include "host/DatabaseDescription.h"
#include "support/BinaryFixture.h"
#include "support/BinaryTree.h"

namespace tal::test {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSubsetOf;
using ::testing::Not;

class BinaryStore : public BinaryProviderTest {
protected:
    /// What a store of BuildTree's database writes.
    static std::string TreeBytes() {
        return Bytes({0x10, 0x00, 0x00, 0x00})  // Gain
               + Bytes({0x02, 0x01})            // Power
               + Bytes({0x07})                  // Delay of the first lane
               + Bytes({0x08})                  // Delay of the second lane
               + Bytes({0x09})                  // Last
               + Bytes({0x05})                  // Serial
               + Bytes({'a', 'b', 0x00, 0x00});
    }
};

TEST_F(BinaryStore, WritesTheBytesOfAllVariablesInTheOrderOfTheWalk) {
    BuildTree(database_);
    EXPECT_EQ(StoredBytes(), TreeBytes());
}

TEST_F(BinaryStore, WritesEveryTypeAsItLiesInMemory) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.U8("U8", 0x01).U8Array("U8_ARRAY", {0x02, 0x03}).U16("U16", 0x0405).U16Array("U16_ARRAY", {0x0607});
    object.U32("U32", 0x08090A0B).U32Array("U32_ARRAY", {0x0C0D0E0F}).S8("S8", -1).S8Array("S8_ARRAY", {-2, 2});
    object.S16("S16", -2).S16Array("S16_ARRAY", {-3}).S32("S32", -4).S32Array("S32_ARRAY", {-5});
    object.Bool("BOOL", 2).BoolArray("BOOL_ARRAY", {0, 1}).Char("CHAR", 'c').CharArray("CHAR_ARRAY", {'d', 'e'});
    object.String("STRING", 3, "s").Float("FLOAT", 1.5F).FloatArray("FLOAT_ARRAY", {-2.0F});
    object.Double("DOUBLE", 1.5).DoubleArray("DOUBLE_ARRAY", {-2.0});
    EXPECT_EQ(StoredBytes(),
              Bytes({0x01, 0x02, 0x03, 0x05, 0x04, 0x07, 0x06})                                           //
                  + Bytes({0x0B, 0x0A, 0x09, 0x08, 0x0F, 0x0E, 0x0D, 0x0C, 0xFF, 0xFE, 0x02})             //
                  + Bytes({0xFE, 0xFF, 0xFD, 0xFF, 0xFC, 0xFF, 0xFF, 0xFF, 0xFB, 0xFF, 0xFF, 0xFF})       //
                  + Bytes({0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 'c'})  //
                  + Bytes({'d', 'e', 's', 0x00, 0x00, 0x00, 0x00, 0xC0, 0x3F, 0x00, 0x00, 0x00, 0xC0})    //
                  + Bytes({0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF8, 0x3F, 0, 0, 0, 0, 0, 0, 0x00, 0xC0}));
}

TEST_F(BinaryStore, VariablesOfUndefinedTypesArePlainOnes) {
    database_.AddRegion("R").AddObject("O").Raw("Strange", 23, 1, {1, 2, 3}).Raw("Stranger", 0xFFFFFFFF, 0, {4});
    EXPECT_EQ(StoredBytes(), Bytes({1, 2, 3, 4}));
}

TEST_F(BinaryStore, VariableOfSizeZeroWritesNothing) {
    database_.AddRegion("R").AddObject("O").String("Nothing", 0).U8("Next", 1);
    EXPECT_EQ(StoredBytes(), Bytes({1}));
}

/// Promise 3
/// Surprise: A store begins by truncating the file
TEST_F(BinaryStore, ReplacesALongerFile) {
    WriteFile(kCalibrationFile, std::string(1000, 'x'));
    database_.AddRegion("R").AddObject("O").U8("V", 1);
    EXPECT_EQ(StoredBytes(), Bytes({1}));
}

TEST_F(BinaryStore, TracesEveryStep) {
    BuildTree(database_);
    ASSERT_EQ(Store(3), QBFResult{QBF_OK});
    const auto writing = [this](int bytes, const char* path) {
        return Info("ProcessObject", "Writing " + std::to_string(bytes) + " bytes to storage from address " +
                                         AddressOf(database_.At(path)) + "...");
    };
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(
            Info("StoreAll", "CBinaryFileStorageProvider: Storing all..."),
            Info("OpenFile", "  Binary file hardware opened for storage location 3"),
            Info("ManageStorage", "  Processing region: Config"), Info("ProcessObject", "  Processing object: Radio"),
            Info("ProcessObject", "  Processing variable: Gain"),  //
            writing(4, "Config/Radio/Gain"),                       //
            Info("ProcessObject", "New nested object"), Info("ProcessObject", "  Processing object: Tx"),
            Info("ProcessObject", "  Processing variable: Power"),  //
            writing(2, "Config/Radio/Tx/Power"),                    //
            Info("ProcessObject", "  Processing object: Lane0"),
            Info("ProcessObject", "  Processing variable: Delay"),  //
            writing(1, "Config/Radio/Lane0/Delay"),                 //
            Info("ProcessObject", "  Processing object: Lane1"),
            Info("ProcessObject", "  Processing variable: Delay"),  //
            writing(1, "Config/Radio/Lane1/Delay"),                 //
            Info("ProcessObject", "  Processing variable: Last"),   //
            writing(1, "Config/Radio/Last"),                        //
            Info("ProcessObject", "  Processing object: Empty"), Info("ProcessObject", "  Processing object: Factory"),
            Info("ProcessObject", "  Processing variable: Serial"),  //
            writing(1, "Config/Factory/Serial"),                     //
            Info("ManageStorage", "  Processing region: Board"), Info("ProcessObject", "  Processing object: Label"),
            Info("ProcessObject", "  Processing variable: Name"),  //
            writing(4, "Board/Label/Name"),                        //
            Info("CloseFile", "  Binary file closed for storage location 3")));
}

TEST_F(BinaryStore, AsksTheHostForNoMoreThanItNeeds) {
    database_.AddRegion("R").AddObject("O").U8("V", 1);
    database_.AddRegion("S").AddObject("Empty");
    const HostCalls host;
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_THAT(host.Calls(),
                IsSubsetOf({"CStorageRegion_GetName", "CStorageObject_GetName", "CStorageObject_GetVariableIterator",
                            "CStorageObject_GetNextVariable", "CVariable_GetNoOfElements", "CVariable_GetType",
                            "CVariable_GetName", "CVariable_GetSizeInBytes", "CVariable_GetContentAddress",
                            "CStorageRegion_GetName", "CStorageObject_GetName", "CStorageObject_GetVariableIterator"}));
}

/// Promise 2
/// Surprise: What was stored is not yet on the medium
TEST_F(BinaryStore, WritesEachVariableAtOnceAndSyncsNothing) {
    BuildThreeVariables();
    const CLibraryFaults files;
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    EXPECT_THAT(files.Calls(), ElementsAre("fopen calibration w+", "fwrite 1", "fwrite 1", "fwrite 1", "fclose"));
}

TEST_F(BinaryStore, FileThatCannotBeOpenedIsReported) {
    CBinaryFileStorageProvider_SetStorageFilenames("missing/file", "", "");
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_OPEN_FAILED, "OpenFile", "Could not open file missing/file (errno is: 2)"),
                            Line(QBF_E_OPEN_FAILED, "ManageStorage", "Could not open storage file missing/file")));
}

/// Promise 6
TEST_F(BinaryStore, FileThatCannotBeClosedIsReported) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Fail("fclose", 1, ENOSPC);
    EXPECT_EQ(Store(6), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "CloseFile",
                                 "Could not close storage file for storage location 6 (errno is: 28)"),
                            Line(QBF_E_FAILED, "ManageStorage", "Could not close storage file")));
    EXPECT_THAT(traces_.Lines(), Not(Contains(Info("CloseFile", "  Binary file closed for storage location 6"))));
}

TEST_F(BinaryStore, ShortWriteIsReportedAndTheFollowingVariablesAreWritten) {
    database_.AddRegion("R").AddObject("O").U32("A", 0x04030201).U16("B", 0x0605);
    CLibraryFaults files;
    files.Shorten("fwrite", 1, 3);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.LinesOf(QBF_E_IO),
        ElementsAre(Line(QBF_E_IO, "ProcessObject", "Not all bytes written, attempted to write 4 bytes, got 1")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Bytes({1, 5, 6}));
}

/// Promise 6
TEST_F(BinaryStore, WriteErrorIsReported) {
    BuildThreeVariables();
    CLibraryFaults files;
    files.Fail("fwrite", 2);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.LinesOf(QBF_E_IO),
        ElementsAre(Line(QBF_E_IO, "ProcessObject", "Not all bytes written, attempted to write 1 bytes, got 0")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Bytes({1, 3}));
}

TEST_F(BinaryStore, VariableThatComesWithAFailedStepIsLeftAlone) {
    database_.AddRegion("R").AddObject("O").U8("V", 1).U8("W", 2).U8("X", 3);
    HostCalls host;
    host.Override("CStorageObject_GetNextVariable", 2, 0x8003);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.Lines(),
        ElementsAre(Info("StoreAll", "CBinaryFileStorageProvider: Storing all..."),
                    Info("OpenFile", "  Binary file calibration opened for storage location 0"),
                    Info("ManageStorage", "  Processing region: R"), Info("ProcessObject", "  Processing object: O"),
                    Info("ProcessObject", "  Processing variable: V"),
                    Info("ProcessObject",
                         "Writing 1 bytes to storage from address " + AddressOf(database_.At("R/O/V")) + "..."),
                    Line(QBF_W_WARNING, "ProcessObject", "CStorageObject_GetNextVariable() failed"),
                    Line(QBF_W_WARNING, "ManageStorage", "Failed to process object O"),
                    Info("CloseFile", "  Binary file closed for storage location 0")));
    EXPECT_EQ(host.Count("CVariable_GetType"), 1);
    EXPECT_EQ(host.Count("CVariable_GetContentAddress"), 1);
    EXPECT_EQ(ReadFile(kCalibrationFile), Bytes({1}));
}

TEST_F(BinaryStore, EmptyObjectInsideAVariableHasNoBytes) {
    host::Object& object = database_.AddRegion("R").AddObject("O").U8("V", 1);
    object.AddNested("N");
    object.U8("W", 2);
    EXPECT_EQ(StoredBytes(), Bytes({1, 2}));
}

/// Promise 17
TEST_F(BinaryStore, NamesOfTheHostAreNotWrittenTo) {
    const std::string longName(200, 'n');
    host::Object& object = database_.AddRegion("CalibrationTabRf3").AddObject("Channel.3.");
    object.U8("Rf3", 1).AddNested("N", longName).U8(longName, 2);
    EXPECT_EQ(provider_->StoreAll(0, database_.Handle(), 3), QBFResult{QBF_OK});
    EXPECT_EQ(provider_->RetrieveAll(0, database_.Handle(), 3), QBFResult{QBF_OK});
    EXPECT_EQ(database_.Regions()[0]->Name(), "CalibrationTabRf3");
    EXPECT_EQ(object.Name(), "Channel.3.");
    EXPECT_EQ(object.Variables()[0]->Name(), "Rf3");
    EXPECT_EQ(object.Variables()[1]->Objects()[0]->Name(), longName);
    EXPECT_EQ(object.Variables()[1]->Objects()[0]->Variables()[0]->Name(), longName);
}

TEST_F(BinaryStore, VariableWithoutAddressIsLeftOut) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 2);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "Could not get address for variable B")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Bytes({1, 3}));
}

/// Promise 16
TEST_F(BinaryStore, VariableWithANullAddressIsLeftOut) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "Could not get address for variable A")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Bytes({2, 3}));
}

TEST_F(BinaryStore, VariableWithoutAddressAndNameIsReportedWithoutTheName) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1);
    host.Fail("CVariable_GetName", 2);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "Could not get address for variable")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Bytes({2, 3}));
}

TEST_F(BinaryStore, EmptyObjectArrayMayHaveANullAddress) {
    database_.AddRegion("R").AddObject("O").EmptyObjectArray("A").U8("W", 2);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);
    EXPECT_EQ(StoredBytes(), Bytes({2}));
    EXPECT_TRUE(host.Fired());
}

TEST_F(BinaryStore, FailingArrayElementIsReportedAndTheNextOneIsWritten) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.AddToArray("A", "E0").U8("V", 1);
    object.AddToArray("A", "E1").U8("V", 2);
    object.AddToArray("A", "E2").U8("V", 3);
    HostCalls host;
    host.Fail("CStorageObject_GetName", 3);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_NO_NAME, "ProcessObject", "Could not get object name"),
                            Line(QBF_E_FAILED, "ProcessObject", "Failed to process array element object")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Bytes({1, 3}));
}

TEST_F(BinaryStore, WarningsOfTheHostAreNoFailures) {
    BuildTree(database_);
    HostCalls host;
    host.OverrideAll("CStorageRegion_GetName", 0x7FFF);
    host.OverrideAll("CStorageObject_GetName", 0x1000);
    host.OverrideAll("CVariable_GetName", 0x0101);
    host.OverrideAll("CVariable_GetContentAddress", 0x7FFF);
    EXPECT_EQ(StoredBytes(), TreeBytes());
    EXPECT_TRUE(host.Fired());
}

TEST_F(BinaryStore, OnlyTheLow32BitsOfAHostResultCount) {
    BuildThreeVariables();
    HostCalls host;
    const auto beyond32Bits = static_cast<QBFResult>(0x7700000000ULL);
    host.OverrideAll("CStorageObject_GetName", beyond32Bits);
    host.OverrideAll("CStorageObject_GetVariableIterator", beyond32Bits | QBF_W_WARNING);
    host.Override("CStorageObject_GetNextVariable", 3, beyond32Bits | QBF_W_END_OF_VARIABLES);
    EXPECT_EQ(StoredBytes(), Bytes({1, 2, 3}));
    EXPECT_EQ(host.Count("CStorageObject_GetNextVariable"), 3);
}

TEST_F(BinaryStore, EveryFailingFileCallFailsTheStoreAndLeavesAUsableProvider) {
    BuildTree(database_);
    SweepFaults([this](int n) {
        CLibraryFaults files;
        files.Fail(n);
        const QBFResult result = Store();
        EXPECT_EQ(files.OpenStreams(), 0);
        const bool fired = files.Fired();
        if (fired) {
            EXPECT_EQ(result, QBFResult{QBF_E_FAILED}) << files.FunctionName();
            EXPECT_EQ(StoredBytes(), TreeBytes());
        }
        return fired;
    });
}

}  // namespace

}  // namespace tal::test
