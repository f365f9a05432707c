/// What the binary and the secure provider do alike.

#include <dlfcn.h>

#include <filesystem>
#include <ostream>

#include "host/DatabaseDescription.h"
#include "support/BinaryFixture.h"
#include "support/BinaryTree.h"
#include "support/SecureRecords.h"
#include "support/SharedLibrary.h"

namespace tal::test {

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Where the two differ in what they do alike.
struct BinaryKind {
    const char* name;
    const BinaryProvider& provider;
    const char* getInterface;
    const char* storeOperation;
    const char* retrieveOperation;
    const char* forWriting;  ///< How the record of a file that did not open ends.
    /// What the file keeps of a variable.
    std::string (*kept)(const std::string& path, std::string_view bytes);
    const char* goldenFile;
};

void PrintTo(const BinaryKind& kind, std::ostream* stream) {
    *stream << kind.name;
}

class BinaryStorage : public BinaryFixture, public ::testing::WithParamInterface<BinaryKind> {
protected:
    BinaryStorage() : BinaryFixture(GetParam().provider) {}

    /// What the file keeps of a variable of one byte.
    static std::string Kept(const std::string& path, int byte) { return GetParam().kept(path, Bytes({byte})); }

    [[nodiscard]] std::string LeftOut(const std::string& object) const {
        return Line(QBF_W_WARNING, GetParam().storeOperation, "Failed to process object" + object);
    }

    /// R/O with an object in its first variable and a byte "W" of 2 after it.
    void BuildNestedObject() {
        host::Object& object = database_.AddRegion("R").AddObject("O");
        object.AddNested("N").U8("V", 1);
        object.U8("W", 2);
    }

    /// The same with an array of one object.
    void BuildObjectArray() {
        host::Object& object = database_.AddRegion("R").AddObject("O");
        object.AddToArray("A", "E").U8("V", 1);
        object.U8("W", 2);
    }

    /// @param answer  To the question for the first content, of which none is handed out.
    void ExpectThatContentIsLeftOut(QBFResult answer) {
        HostCalls host;
        host.Fail("CVariable_GetContentAddress", 1, answer);
        EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
        EXPECT_THAT(traces_.Failures(),
                    ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "CVariable_GetContentAddress() failed")));
        EXPECT_EQ(ReadFile(kCalibrationFile), Kept("R/O/W", 2));
    }
};

constexpr BinaryKind kRawImages = {
    "Binary",
    kBinaryProvider,
    "CBinaryFileStorageProvider_GetInterface",
    "ManageStorage",
    "RetrieveAll",
    "",
    [](const std::string& /*path*/, std::string_view bytes) { return std::string(bytes); },
    TAL_TEST_DATA "/radio-unit.bin"};
constexpr BinaryKind kRecords = {"Secure",
                                 kSecureProvider,
                                 "CSecureBinaryFileStorageProvider_GetInterface",
                                 "ManageStore",
                                 "ManageRetrieve",
                                 " for writing",
                                 SecureRecord,
                                 TAL_TEST_DATA "/radio-unit.sbin"};
INSTANTIATE_TEST_SUITE_P(Provider, BinaryStorage, ::testing::Values(kRawImages, kRecords),
                         ::testing::PrintToStringParamName());

// ---- The table

TEST_P(BinaryStorage, TheEntryPointIsUntraced) {
    IStorageProvider* again = nullptr;
    names_.getInterface(&again);
    EXPECT_EQ(traces_.MappingCalls(), 0);
}

TEST_P(BinaryStorage, TheEntryPointLeavesTheFileNamesAlone) {
    IStorageProvider* again = nullptr;
    names_.getInterface(&again);
    Store();
    EXPECT_TRUE(std::filesystem::exists(kCalibrationFile));
}

TEST_P(BinaryStorage, ReservingSpaceIsNotSupportedAndUntraced) {
    EXPECT_EQ(provider_->ReserveWritableSpace(0, 100), QBFResult{0x1008});
    EXPECT_EQ(traces_.MappingCalls(), 0);
}

TEST_P(BinaryStorage, StoringTheWritableSubsetIsNotSupportedAndUntraced) {
    EXPECT_EQ(provider_->StoreAllWritable(0, nullptr, 0), QBFResult{0x1008});
    EXPECT_EQ(traces_.MappingCalls(), 0);
}

// The current name is empty only in a library that has opened nothing yet, so this takes a copy of its own.
TEST_P(BinaryStorage, AnInvalidLocationBeforeTheFirstOpenHasNoFileName) {
    std::filesystem::copy_file(TestedLibrary(), "fresh.so");
    void* const fresh = dlopen("./fresh.so", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(fresh, nullptr) << dlerror();
    const auto getInterface =
        reinterpret_cast<decltype(BinaryProvider::getInterface)>(dlsym(fresh, GetParam().getInterface));
    IStorageProvider* provider = nullptr;
    getInterface(&provider);
    EXPECT_NE(provider, provider_);
    EXPECT_EQ(provider->StoreAll(99, database_.Handle(), 0), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf(QBF_E_INVALID_ARGUMENT),
                ElementsAre(Line(QBF_E_INVALID_ARGUMENT, "OpenFile", "Invalid storage location id: 99"),
                            Line(QBF_E_INVALID_ARGUMENT, GetParam().storeOperation,
                                 std::string("Could not open storage file ") + GetParam().forWriting)));
    dlclose(fresh);
}

// ---- Stores

TEST_P(BinaryStorage, DatabaseWithoutRegionsIsAnEmptyFile) {
    EXPECT_EQ(StoredBytes(), "");
}

/// Surprise: Channel injector and channel number are two things
TEST_P(BinaryStorage, TheChannelInjectorIsIgnored) {
    database_.AddRegion("R").AddObject("Channel.3.").U8("V", 1);
    EXPECT_EQ(provider_->StoreAll(0, database_.Handle(), 3), QBFResult{QBF_OK});
    EXPECT_EQ(ReadFile(kCalibrationFile), Kept("R/Channel.3./V", 1));
}

TEST_P(BinaryStorage, RegionWithoutNameEndsTheWalk) {
    database_.AddRegion("A").AddObject("O").U8("V", 1);
    database_.AddRegion("B").AddObject("O").U8("V", 2);
    database_.AddRegion("C").AddObject("O").U8("V", 3);
    HostCalls host;
    host.Fail("CStorageRegion_GetName", 2);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_NO_NAME, GetParam().storeOperation, "Could not get region name")));
    EXPECT_EQ(host.Count("CStorageRegion_GetName"), 2);
    EXPECT_EQ(ReadFile(kCalibrationFile), Kept("A/O/V", 1));
}

TEST_P(BinaryStorage, ObjectWithoutNameIsLeftOut) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("A").U8("V", 1);
    region.AddObject("B").U8("V", 2);
    database_.AddRegion("S").AddObject("C").U8("V", 3);
    HostCalls host;
    host.Fail("CStorageObject_GetName", 1);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(), ElementsAre(Line(QBF_E_NO_NAME, "ProcessObject", "Could not get object name")));
    EXPECT_THAT(traces_.LinesOf(QBF_W_WARNING), ElementsAre(LeftOut(" A")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Kept("R/B/V", 2) + Kept("S/C/V", 3));
}

TEST_P(BinaryStorage, ObjectWhoseNameCannotBeHadAtAllIsReportedWithoutIt) {
    database_.AddRegion("R").AddObject("A").U8("V", 1);
    HostCalls host;
    host.FailAll("CStorageObject_GetName");
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf(QBF_W_WARNING), ElementsAre(LeftOut("")));
}

TEST_P(BinaryStorage, ObjectWhoseIterationCannotStartIsReportedAndTheNextOneIsWritten) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("A").U8("V", 1);
    region.AddObject("B").U8("V", 2);
    HostCalls host;
    host.Fail("CStorageObject_GetVariableIterator", 1, 0x8123);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_FAILED, "ProcessObject", "Could not iterate variables, (QBFResult = 8123)")));
    EXPECT_THAT(traces_.LinesOf(QBF_W_WARNING), ElementsAre(LeftOut(" A")));
    EXPECT_EQ(host.Count("CStorageObject_GetNextVariable"), 1);
    EXPECT_EQ(ReadFile(kCalibrationFile), Kept("R/B/V", 2));
}

TEST_P(BinaryStorage, FailingIterationEndsTheObjectOnly) {
    host::Region& region = database_.AddRegion("R");
    region.AddObject("A").U8("V", 1).U8("W", 2).U8("X", 3);
    region.AddObject("B").U8("V", 4);
    HostCalls host;
    host.Fail("CStorageObject_GetNextVariable", 2);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(
        traces_.LinesOf(QBF_W_WARNING),
        ElementsAre(Line(QBF_W_WARNING, "ProcessObject", "CStorageObject_GetNextVariable() failed"), LeftOut(" A")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Kept("R/A/V", 1) + Kept("R/B/V", 4));
}

TEST_P(BinaryStorage, VariableWithoutNameIsLeftOut) {
    BuildThreeVariables();
    HostCalls host;
    host.Fail("CVariable_GetName", 2);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(), ElementsAre(Line(QBF_E_NO_NAME, "ProcessObject", "Could not get variable name")));
    EXPECT_EQ(host.Count("CVariable_GetSizeInBytes"), 2);
    EXPECT_EQ(ReadFile(kCalibrationFile), Kept("R/O/A", 1) + Kept("R/O/C", 3));
}

TEST_P(BinaryStorage, NestedObjectWithoutAddressIsLeftOut) {
    BuildNestedObject();
    ExpectThatContentIsLeftOut(QBF_E_FAILED);
}

TEST_P(BinaryStorage, NestedObjectWithANullAddressIsLeftOut) {
    BuildNestedObject();
    ExpectThatContentIsLeftOut(QBF_OK);
}

TEST_P(BinaryStorage, ObjectArrayWithoutAddressIsLeftOut) {
    BuildObjectArray();
    ExpectThatContentIsLeftOut(QBF_E_FAILED);
}

TEST_P(BinaryStorage, ObjectArrayWithANullAddressIsLeftOut) {
    BuildObjectArray();
    ExpectThatContentIsLeftOut(QBF_OK);
}

TEST_P(BinaryStorage, FailingNestedObjectIsReportedAtEveryLevel) {
    host::Object& object = database_.AddRegion("R").AddObject("O");
    object.AddNested("N").AddNested("M").U8("V", 1);
    object.U8("W", 2);
    HostCalls host;
    host.Fail("CVariable_GetName", 1);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre(Line(QBF_E_NO_NAME, "ProcessObject", "Could not get variable name"),
                            Line(QBF_E_FAILED, "ProcessObject", "Failed to process nested object"),
                            Line(QBF_E_FAILED, "ProcessObject", "Failed to process nested object")));
    EXPECT_EQ(ReadFile(kCalibrationFile), Kept("R/O/N/M/W", 2));
}

TEST_P(BinaryStorage, EveryFailingHostCallFailsTheStoreAndLeavesAUsableProvider) {
    BuildTree(database_);
    const std::string bytes = StoredBytes();
    SweepFaults([&](int n) {
        HostCalls host;
        host.Fail(n, 0x8003);
        const CLibraryFaults files;
        const QBFResult result = Store();
        EXPECT_EQ(files.OpenStreams(), 0);
        if (host.Fired()) {
            EXPECT_EQ(result, QBFResult{QBF_E_FAILED}) << host.FiredAt();
            EXPECT_EQ(StoredBytes(), bytes);
        }
        return host.Fired();
    });
}

TEST_P(BinaryStorage, SuppressedTracesChangeNothing) {
    BuildTree(database_);
    const std::string bytes = StoredBytes();
    traces_.Clear();
    traces_.SetThreshold(-1);
    EXPECT_EQ(StoredBytes(), bytes);
    EXPECT_THAT(traces_.Records(), IsEmpty());
}

// The same bytes on every machine.
/// Promise 11
TEST_P(BinaryStorage, RadioUnitIsWrittenAsItsGoldenFile) {
    const auto radioUnit = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");

    EXPECT_EQ(provider_->StoreAll(0, radioUnit->Handle(), 0), QBFResult{QBF_OK});

    EXPECT_EQ(DifferenceOfFiles(kCalibrationFile, GetParam().goldenFile), "");
}

// ---- Retrieves

TEST_P(BinaryStorage, TheAnswerToTheMarkIsIgnored) {
    BuildThreeVariables();
    ASSERT_EQ(Store(), QBFResult{QBF_OK});
    HostCalls host;
    host.FailAll("CVariable_SetRetrieved");
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_TRUE(host.Fired());
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_P(BinaryStorage, FailedDefaultingAfterAFailedOpenIsAGenericFailure) {
    BuildThreeVariables();
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault", 0x8123);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(), Contains(Line(QBF_E_FAILED, GetParam().retrieveOperation,
                                                  "Error when setting missing variables to default")));
}

}  // namespace

}  // namespace tal::test
