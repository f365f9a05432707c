#include <gtest/gtest.h>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "support/HostCalls.h"
#include "support/TraceRecorder.h"

namespace {

using tal::test::HostCalls;
using tal::test::TraceRecorder;

IStorageProvider* Dummy() {
    IStorageProvider* provider = nullptr;
    EXPECT_EQ(CDummyStorageProvider_GetInterface(&provider), 0x0000U);
    return provider;
}

/// A host object that nothing may look into.
template <class Type>
Type* Untouchable() {
    return reinterpret_cast<Type*>(1);
}

TEST(DummyStorageProvider, InitializeSucceedsForAnyLocation) {
    EXPECT_EQ(Dummy()->Initialize(0), 0x0000U);
    EXPECT_EQ(Dummy()->Initialize(0xFFFFFFFFUL), 0x0000U);
}

TEST(DummyStorageProvider, ReserveWritableSpaceSucceeds) {
    EXPECT_EQ(Dummy()->ReserveWritableSpace(3, 4096), 0x0000U);
}

TEST(DummyStorageProvider, StoreAllSucceedsWithoutLookingAtTheDatabase) {
    const HostCalls host;
    EXPECT_EQ(Dummy()->StoreAll(0, Untouchable<CDatabase>(), 1), 0x0000U);
    EXPECT_TRUE(host.Calls().empty());
}

TEST(DummyStorageProvider, RetrieveAllSucceedsAndLeavesTheDatabaseUntouched) {
    const HostCalls host;
    EXPECT_EQ(Dummy()->RetrieveAll(0, Untouchable<CDatabase>(), 1), 0x0000U);
    EXPECT_TRUE(host.Calls().empty());
}

TEST(DummyStorageProvider, StoreAllWritableSucceedsWithoutLookingAtTheVariables) {
    const HostCalls host;
    EXPECT_EQ(Dummy()->StoreAllWritable(0, Untouchable<CVariable*>(), 7), 0x0000U);
    EXPECT_TRUE(host.Calls().empty());
}

TEST(DummyStorageProvider, TheFiveOperationsAreDistinct) {
    const IStorageProvider& dummy = *Dummy();
    const void* const slots[] = {
        reinterpret_cast<const void*>(dummy.Initialize), reinterpret_cast<const void*>(dummy.ReserveWritableSpace),
        reinterpret_cast<const void*>(dummy.StoreAll), reinterpret_cast<const void*>(dummy.RetrieveAll),
        reinterpret_cast<const void*>(dummy.StoreAllWritable)};
    for (const void* const& slot : slots) {
        EXPECT_NE(slot, nullptr);
        for (const void* const* other = slots; other != &slot; ++other) {
            EXPECT_NE(slot, *other);
        }
    }
}

TEST(DummyStorageProvider, NothingIsTraced) {
    const TraceRecorder traces;
    IStorageProvider* const provider = Dummy();
    provider->Initialize(0);
    provider->ReserveWritableSpace(0, 1);
    provider->StoreAll(0, Untouchable<CDatabase>(), 0);
    provider->RetrieveAll(0, Untouchable<CDatabase>(), 0);
    provider->StoreAllWritable(0, Untouchable<CVariable*>(), 1);
    EXPECT_EQ(traces.MappingCalls(), 0);
}

}  // namespace
