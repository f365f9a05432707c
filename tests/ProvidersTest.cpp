/// What holds for all file providers beside one another.

#include <gtest/gtest.h>

#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/BinaryTree.h"
#include "support/Files.h"
#include "support/TraceRecorder.h"

namespace {

using tal::host::Database;
using tal::test::ReadFile;

constexpr const char* kFiles[] = {"storage_calibration_database.xml", "storage_calibration_database.bin",
                                  "storage_calibration_database.sbin"};

// A trace library may well take a trace as a reason to store something.
TEST(Providers, AStoreInTheMiddleOfAnotherProvidersStoreLeavesBothFilesWhole) {
    const tal::test::TemporaryDirectory directory;
    IStorageProvider* xml = nullptr;
    IStorageProvider* binary = nullptr;
    IStorageProvider* secure = nullptr;
    CXmlFileStorageProvider_GetInterface(&xml);
    CBinaryFileStorageProvider_GetInterface(&binary);
    CSecureBinaryFileStorageProvider_GetInterface(&secure);
    Database database;
    tal::test::BuildTree(database);
    std::string whole;
    for (IStorageProvider* provider : {xml, binary, secure}) {
        provider->Initialize(0);
        provider->StoreAll(0, database.Handle(), 0);
    }
    for (const char* file : kFiles) {
        whole += ReadFile(file);
    }

    tal::test::TraceRecorder traces;
    int traced = 0;
    traces.MapLevelsBy([&](QBFResult /*code*/) {
        ++traced;
        if (traced == 20) {
            secure->StoreAll(0, database.Handle(), 0);
            xml->StoreAll(0, database.Handle(), 0);
        }
        return 100;
    });
    tal::test::TraceRecorder::SetThreshold(0);
    const QBFResult result = binary->StoreAll(0, database.Handle(), 0);

    EXPECT_EQ(result, QBFResult{QBF_OK});
    EXPECT_GT(traced, 20);
    std::string stored;
    for (const char* file : kFiles) {
        stored += ReadFile(file);
    }
    EXPECT_EQ(stored, whole);
}

}  // namespace
