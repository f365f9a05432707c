#include <dlfcn.h>

#include <filesystem>

#include "support/BinaryFixture.h"

namespace tal::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using BinaryFileStorageProvider = BinaryProviderTest;

TEST_F(BinaryFileStorageProvider, InitializeSaysSoAndAcceptsEveryLocation) {
    for (const StorageLocation location : {0UL, 1UL, 6UL, 0xFFFFFFFFUL}) {
        EXPECT_EQ(provider_->Initialize(location), QBFResult{QBF_OK});
    }
    const std::string line = "0x800 CBinaryFileStorageProvider_Initialize: CBinaryStorageProvider: Initializing...";
    EXPECT_THAT(traces_.Lines(), ElementsAre(line, line, line, line));
}

TEST_F(BinaryFileStorageProvider, RecordsNameTheSourceFile) {
    provider_->Initialize(0);
    ASSERT_EQ(traces_.Records().size(), 1U);
    EXPECT_EQ(traces_.Records()[0].sourcePath, "src/Device/DeviceSupport/private/CBinaryFileStorageProvider");
    EXPECT_EQ(traces_.Records()[0].codeLine, "      code: 0x800\n");
}

/// Surprise: File names that were set too early are lost
TEST_F(BinaryFileStorageProvider, InitializeRestoresTheDefaultNamesOfAllLocations) {
    provider_->Initialize(3);
    CLibraryFaults files;
    files.Fail("fopen", 0, ENOENT);
    Store(0);
    Store(3);
    Store(6);
    EXPECT_THAT(files.Calls(),
                ElementsAre("fopen storage_calibration_database.bin w+", "fopen storage_hardware_database.bin w+",
                            "fopen /lib/firmware/bin/ApplicationsConfiguration.bin w+"));
}

TEST_F(BinaryFileStorageProvider, EachLocationHasItsFile) {
    CLibraryFaults files;
    files.Fail("fopen", 0, ENOENT);
    Store(6);
    Retrieve(3);
    Retrieve(0);
    EXPECT_THAT(files.Calls(), ElementsAre("fopen applications w+", "fopen hardware r", "fopen calibration r"));
}

TEST_F(BinaryFileStorageProvider, SettingFileNamesIsUntraced) {
    CBinaryFileStorageProvider_SetStorageFilenames("a", "b", "c");
    EXPECT_EQ(traces_.MappingCalls(), 0);
}

/// Surprise: File names are cut to 79 characters
TEST_F(BinaryFileStorageProvider, FileNamesAreCutTo79Characters) {
    const std::string fits(79, 'f');
    const std::string tooLong(80, 't');
    const std::string farTooLong(300, 'x');
    CBinaryFileStorageProvider_SetStorageFilenames(fits.c_str(), tooLong.c_str(), farTooLong.c_str());
    CLibraryFaults files;
    files.Fail("fopen", 0, ENOENT);
    Store(0);
    Store(3);
    Store(6);
    EXPECT_THAT(files.Calls(), ElementsAre("fopen " + fits + " w+", "fopen " + std::string(79, 't') + " w+",
                                           "fopen " + std::string(79, 'x') + " w+"));
}

/// Promise 4
TEST_F(BinaryFileStorageProvider, StoreAtAnInvalidLocationFailsAndTouchesNoFile) {
    ASSERT_EQ(Store(3), QBFResult{QBF_OK});
    for (const StorageLocation location : WithWideLocations({1, 2, 4, 5, 7, 8, 11, 256, 0xFFFFFFFF})) {
        traces_.Clear();
        const CLibraryFaults files;
        EXPECT_EQ(Store(location), QBFResult{QBF_E_FAILED});
        const std::string number = std::to_string(static_cast<int>(location));
        EXPECT_THAT(traces_.Lines(),
                    ElementsAre(Info("StoreAll", "CBinaryFileStorageProvider: Storing all..."),
                                Line(QBF_E_INVALID_ARGUMENT, "OpenFile", "Invalid storage location id: " + number),
                                Line(QBF_E_INVALID_ARGUMENT, "ManageStorage", "Could not open storage file hardware")));
        EXPECT_THAT(files.Calls(), IsEmpty());
    }
}

/// Surprise: A location that one provider takes is invalid for another
TEST_F(BinaryFileStorageProvider, RetrieveAtAnInvalidLocationFailsAndDefaultsTheDatabase) {
    database_.AddRegion("Config").AddObject("Radio").U32("Gain", 16);
    ASSERT_EQ(Store(6), QBFResult{QBF_OK});
    for (const StorageLocation location : WithWideLocations({1, 2, 4, 5, 7, 0xFFFFFFFF})) {
        traces_.Clear();
        database_.At("Config/Radio/Gain").Set<std::uint32_t>(1);
        EXPECT_EQ(Retrieve(location), QBFResult{QBF_E_FAILED});
        const std::string number = std::to_string(static_cast<int>(location));
        EXPECT_THAT(
            traces_.Lines(),
            ElementsAre(Info("RetrieveAll", "CBinaryFileStorageProvider: Retrieving all..."),
                        Line(QBF_E_INVALID_ARGUMENT, "OpenFile", "Invalid storage location id: " + number),
                        Line(QBF_E_INVALID_ARGUMENT, "ManageStorage", "Could not open storage file applications")));
        EXPECT_EQ(database_.At("Config/Radio/Gain").Get<std::uint32_t>(), 16U);
    }
}

}  // namespace

}  // namespace tal::test
