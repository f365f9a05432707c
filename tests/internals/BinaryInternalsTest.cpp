// Steps that no operation of the provider takes.

#include "Device/DeviceSupport/private/CBinaryFileStorageProvider.h"
#include "support/BinaryFixture.h"

namespace {

using tal::StorageOpenMode;
using tal::binary::ProcessObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BinaryInternals : public ::testing::Test {
protected:
    tal::test::TemporaryDirectory directory_;
    tal::host::Database database_;
    tal::test::TraceRecorder traces_;
};

TEST_F(BinaryInternals, ModeThatNeitherStoresNorRetrievesAbandonsTheObjectUntraced) {
    tal::host::Object& object = database_.AddRegion("R").AddObject("O").U8("A", 1).U8("B", 2);
    const tal::test::HostCalls host(tal::test::Watch::LibraryAndTests);
    EXPECT_EQ(ProcessObject(object.Handle(), StorageOpenMode::StoreWritable, nullptr), QBFResult{QBF_E_BAD_TYPE});
    EXPECT_EQ(host.Count("CStorageObject_GetNextVariable"), 1);
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_F(BinaryInternals, AbandonedNestedObjectIsAFailureLikeAnyOther) {
    tal::host::Object& object = database_.AddRegion("R").AddObject("O");
    object.AddNested("N").U8("A", 1);
    EXPECT_EQ(ProcessObject(object.Handle(), StorageOpenMode::StoreWritable, nullptr), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(), ElementsAre("0x8000 CBinaryFileStorageProvider_ProcessObject: Failed to process "
                                                "nested object"));
}

}  // namespace
