#include <dlfcn.h>

#include <filesystem>

#include "support/BinaryFixture.h"

namespace tal::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SecureBinaryFileStorageProvider : public SecureProviderTest {
protected:
    [[nodiscard]] std::string NameSet(const std::string& name) const {
        return Info("SetStorageFilenames", "Set storage: " + name);
    }
};

TEST_F(SecureBinaryFileStorageProvider, InitializeRestoresAndNamesTheDefaultFilesWhateverTheLocation) {
    for (const StorageLocation location : {0UL, 4UL, 0xFFFFFFFFUL}) {
        traces_.Clear();
        EXPECT_EQ(provider_->Initialize(location), QBFResult{QBF_OK});
        EXPECT_THAT(
            traces_.Lines(),
            ElementsAre(Info("Initialize", "CSecureBinaryStorageProvider: Initializing..."),
                        NameSet("storage_calibration_database.sbin"), NameSet("storage_calibration_database.sbin"),
                        NameSet("storage_calibration_database.sbin"), NameSet("storage_hardware_database.sbin"),
                        NameSet("/lib/firmware/bin/Applications.sbin")));
    }
}

TEST_F(SecureBinaryFileStorageProvider, RecordsNameTheSourceFile) {
    provider_->Initialize(0);
    for (const TraceRecord& record : traces_.Records()) {
        EXPECT_EQ(record.sourcePath, "src/Device/DeviceSupport/private/CSecureBinaryFileStorageProvider");
        EXPECT_EQ(record.codeLine, "      code: 0x800\n");
    }
}

TEST_F(SecureBinaryFileStorageProvider, SettingFileNamesNamesAllFive) {
    CSecureBinaryFileStorageProvider_SetStorageFilenames("a", "b", "c");
    EXPECT_THAT(traces_.Lines(), ElementsAre(NameSet("a"), NameSet("storage_calibration_database.sbin"),
                                             NameSet("storage_calibration_database.sbin"), NameSet("b"), NameSet("c")));
}

TEST_F(SecureBinaryFileStorageProvider, EachLocationHasItsFile) {
    CLibraryFaults files;
    files.Fail("fopen", 0, ENOENT);
    Store(6);
    Store(3);
    Retrieve(2);
    Retrieve(1);
    Retrieve(0);
    EXPECT_THAT(files.Calls(),
                ElementsAre("fopen applications w+", "fopen hardware w+", "fopen storage_calibration_database.sbin r",
                            "fopen storage_calibration_database.sbin r", "fopen calibration r"));
}

/// Surprise: The locations 1 and 2 always use the default file
TEST_F(SecureBinaryFileStorageProvider, StoresAtTheLocations1And2GoToTheDefaultFile) {
    database_.AddRegion("R").AddObject("O").U8("V", 1);
    for (const StorageLocation location : {1UL, 2UL}) {
        EXPECT_EQ(Store(location), QBFResult{QBF_OK});
        EXPECT_FALSE(std::filesystem::exists(kCalibrationFile));
        EXPECT_TRUE(std::filesystem::remove("storage_calibration_database.sbin"));
    }
}

/// Surprise: File names that were set too early are lost
TEST_F(SecureBinaryFileStorageProvider, InitializeUndoesTheFileNames) {
    provider_->Initialize(0);
    CLibraryFaults files;
    files.Fail("fopen", 0, ENOENT);
    for (const StorageLocation location : {0UL, 1UL, 2UL, 3UL, 6UL}) {
        Retrieve(location);
    }
    EXPECT_THAT(files.Calls(),
                ElementsAre("fopen storage_calibration_database.sbin r", "fopen storage_calibration_database.sbin r",
                            "fopen storage_calibration_database.sbin r", "fopen storage_hardware_database.sbin r",
                            "fopen /lib/firmware/bin/Applications.sbin r"));
}

/// Surprise: File names are cut to 79 characters
TEST_F(SecureBinaryFileStorageProvider, FileNamesAreCutTo79Characters) {
    const std::string fits(79, 'f');
    const std::string tooLong(80, 't');
    const std::string farTooLong(300, 'x');
    CSecureBinaryFileStorageProvider_SetStorageFilenames(fits.c_str(), tooLong.c_str(), farTooLong.c_str());
    EXPECT_THAT(traces_.Lines(), ElementsAre(NameSet(fits), NameSet("storage_calibration_database.sbin"),
                                             NameSet("storage_calibration_database.sbin"),
                                             NameSet(std::string(79, 't')), NameSet(std::string(79, 'x'))));
}

/// Promise 4
TEST_F(SecureBinaryFileStorageProvider, StoreAtAnInvalidLocationFailsAndTouchesNoFile) {
    ASSERT_EQ(Store(3), QBFResult{QBF_OK});
    for (const StorageLocation location : WithWideLocations({4, 5, 7, 8, 11, 256, 0xFFFFFFFF})) {
        traces_.Clear();
        const CLibraryFaults files;
        EXPECT_EQ(Store(location), QBFResult{QBF_E_FAILED});
        const std::string number = std::to_string(static_cast<int>(location));
        EXPECT_THAT(traces_.Lines(),
                    ElementsAre(Info("StoreAll", "CSecureBinaryFileStorageProvider: Storing all..."),
                                Line(QBF_E_INVALID_ARGUMENT, "OpenFile", "Invalid storage location id: " + number),
                                Line(QBF_E_INVALID_ARGUMENT, "ManageStore",
                                     "Could not open storage file hardware for writing")));
        EXPECT_THAT(files.Calls(), IsEmpty());
    }
}

/// Surprise: A location that one provider takes is invalid for another
TEST_F(SecureBinaryFileStorageProvider, RetrieveAtAnInvalidLocationFailsAndDefaultsTheDatabase) {
    database_.AddRegion("R").AddObject("O").U32("V", 16);
    ASSERT_EQ(Store(6), QBFResult{QBF_OK});
    for (const StorageLocation location : WithWideLocations({4, 5, 7, 0xFFFFFFFF})) {
        traces_.Clear();
        database_.At("R/O/V").Set<std::uint32_t>(1);
        EXPECT_EQ(Retrieve(location), QBFResult{QBF_E_FAILED});
        const std::string number = std::to_string(static_cast<int>(location));
        EXPECT_THAT(traces_.Lines(),
                    ElementsAre(Info("RetrieveAll", "CSecureBinaryFileStorageProvider: Retrieving all..."),
                                Line(QBF_E_INVALID_ARGUMENT, "OpenFile", "Invalid storage location id: " + number),
                                Line(QBF_E_INVALID_ARGUMENT, "ManageRetrieve",
                                     "Could not open storage file applications for retrieve")));
        EXPECT_EQ(database_.At("R/O/V").Get<std::uint32_t>(), 16U);
    }
}

}  // namespace

}  // namespace tal::test
