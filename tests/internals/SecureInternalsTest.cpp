// Steps that no operation of the provider takes.

#include "Device/DeviceSupport/private/CSecureBinaryFileStorageProvider.h"

#include "support/BinaryFixture.h"

namespace {

using tal::StorageOpenMode;
using tal::secure::OpenFile;
using tal::secure::SecureFileNameTable;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SecureInternals : public ::testing::Test {
protected:
    SecureInternals() {
        CSecureBinaryFileStorageProvider_SetStorageFilenames("calibration", "hardware", "applications");
        traces_.Clear();
    }

    tal::test::TemporaryDirectory directory_;
    tal::test::TraceRecorder traces_;
};

TEST_F(SecureInternals, StoreOfTheWritableSubsetIsRefusedForEveryLocationAfterItsNameWasTaken) {
    const std::pair<StorageLocation, const char*> locations[] = {{0, "calibration"},
                                                                 {1, "storage_calibration_database.sbin"},
                                                                 {2, "storage_calibration_database.sbin"},
                                                                 {3, "hardware"},
                                                                 {6, "applications"}};
    const tal::test::CLibraryFaults calls(tal::test::Watch::LibraryAndTests);
    for (const auto& [location, name] : locations) {
        traces_.Clear();
        std::FILE* file = nullptr;
        EXPECT_EQ(OpenFile(location, StorageOpenMode::StoreWritable, &file), QBFResult{QBF_E_INVALID_ARGUMENT});
        EXPECT_EQ(file, nullptr);
        EXPECT_STREQ(SecureFileNameTable.CurrentFileName, name);
        EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 CSecureBinaryFileStorageProvider_OpenFile: Storage operation "
                                                 "eSTORE_WRITABLE not supported"));
    }
    EXPECT_THAT(calls.Calls(), IsEmpty());
}

TEST_F(SecureInternals, InvalidLocationComesBeforeTheRefusedMode) {
    std::FILE* file = nullptr;
    EXPECT_EQ(OpenFile(4, StorageOpenMode::StoreWritable, &file), QBFResult{QBF_E_INVALID_ARGUMENT});
    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x8002 CSecureBinaryFileStorageProvider_OpenFile: Invalid storage location id: 4"));
}

}  // namespace
