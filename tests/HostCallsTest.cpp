#include "support/HostCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "host/ReferenceHost.h"
#include "support/Files.h"
#include "support/Sweep.h"

namespace {

using tal::test::HostCalls;
using tal::test::TemporaryDirectory;
using tal::test::Watch;
using testing::ElementsAre;
using testing::IsEmpty;

class HostCallsOverAHost : public testing::Test {
protected:
    HostCallsOverAHost() {
        object_.U8("One", 1).U16("Two", 2);
        database_.UpdatePathTable();
    }

    CVariable* Variable() { return database_.At("Region/Object/One").Handle(); }

    tal::host::Database database_;
    tal::host::Region& region_ = database_.AddRegion("Region");
    tal::host::Object& object_ = region_.AddObject("Object");
};

TEST_F(HostCallsOverAHost, EveryFunctionOfTheContractIsSeenAndReachesTheHost) {
    HostCalls host(Watch::LibraryAndTests);
    char* name = nullptr;
    CVariable* variable = nullptr;
    void* pointer = nullptr;
    HostIterator iterator = nullptr;
    alignas(std::max_align_t) unsigned char storage[16 * sizeof(void*)] = {};
    auto* const list = reinterpret_cast<CList*>(storage);

    EXPECT_EQ(CDatabase_UpdatePathHashTable(database_.Handle()), 0U);
    EXPECT_EQ(CDatabase_SetAsNotRetrieved(database_.Handle()), 0U);
    EXPECT_EQ(CDatabase_GetVariableByPath(database_.Handle(), "Region/Object/One", &variable), 0U);
    EXPECT_EQ(variable, Variable());
    EXPECT_EQ(CDatabase_SetNotRetrievedVariablesToDefault(database_.Handle()), 0U);
    EXPECT_EQ(CStorageRegion_GetName(region_.Handle(), &name), 0U);
    EXPECT_STREQ(name, "Region");
    EXPECT_EQ(CStorageObject_GetName(object_.Handle(), &name), 0U);
    EXPECT_STREQ(name, "Object");
    EXPECT_NE(CStorageObject_IsWritable(object_.Handle()), 0);
    EXPECT_EQ(CStorageObject_GetVariableIterator(object_.Handle(), &iterator), 0U);
    EXPECT_EQ(CStorageObject_GetNextVariable(object_.Handle(), &variable, &iterator), 0U);
    EXPECT_EQ(CVariable_GetName(variable, &name), 0U);
    EXPECT_STREQ(name, "One");
    EXPECT_EQ(CVariable_GetType(variable), 0U);
    EXPECT_EQ(CVariable_GetNoOfElements(variable), 1U);
    EXPECT_EQ(CVariable_GetSizeInBytes(variable), 1U);
    EXPECT_EQ(CVariable_GetContentAddress(variable, &pointer), 0U);
    EXPECT_EQ(*static_cast<unsigned char*>(pointer), 1);
    EXPECT_EQ(CVariable_SetRetrieved(variable, 1), 0U);
    CList_Construct(list);
    EXPECT_EQ(CList_PushTail(list, storage), 0U);
    EXPECT_EQ(CList_StartIterationFromHead(list, &iterator), 0U);
    EXPECT_EQ(CList_GetNext(list, &pointer, &iterator), 0x1002U);
    EXPECT_EQ(pointer, storage);
    CList_Destruct(list);

    EXPECT_THAT(
        host.Calls(),
        ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved",
                    "CDatabase_GetVariableByPath Region/Object/One", "CDatabase_SetNotRetrievedVariablesToDefault",
                    "CStorageRegion_GetName", "CStorageObject_GetName", "CStorageObject_IsWritable",
                    "CStorageObject_GetVariableIterator", "CStorageObject_GetNextVariable", "CVariable_GetName",
                    "CVariable_GetType", "CVariable_GetNoOfElements", "CVariable_GetSizeInBytes",
                    "CVariable_GetContentAddress", "CVariable_SetRetrieved 1", "CList_Construct", "CList_PushTail",
                    "CList_StartIterationFromHead", "CList_GetNext", "CList_Destruct"));
    EXPECT_FALSE(host.Fired());
}

TEST_F(HostCallsOverAHost, AFailedCallReachesNeitherTheHostNorItsOutParameters) {
    HostCalls host(Watch::LibraryAndTests);
    host.Fail("CVariable_GetName", 1, 0x8003);
    char untouched[] = "untouched";
    char* name = untouched;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0x8003U);
    EXPECT_EQ(name, untouched);
}

TEST_F(HostCallsOverAHost, OnlyTheNthCallOfTheNamedFunctionFails) {
    HostCalls host(Watch::LibraryAndTests);
    host.Fail("CVariable_GetName", 2, 0x8003);
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0U);
    EXPECT_EQ(CStorageObject_GetName(object_.Handle(), &name), 0U);
    EXPECT_FALSE(host.Fired());
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0x8003U);
    EXPECT_TRUE(host.Fired());
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0U);
    EXPECT_EQ(host.FunctionName(), "CVariable_GetName");
    EXPECT_EQ(host.Count("CVariable_GetName"), 3);
}

TEST_F(HostCallsOverAHost, EveryCallOfTheNamedFunctionFails) {
    HostCalls host(Watch::LibraryAndTests);
    host.FailAll("CVariable_GetName", 0x8003);
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0x8003U);
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0x8003U);
    EXPECT_EQ(CStorageObject_GetName(object_.Handle(), &name), 0U);
}

TEST_F(HostCallsOverAHost, ACallIsChosenByItsArgument) {
    HostCalls host(Watch::LibraryAndTests);
    host.FailAll("CDatabase_GetVariableByPath Region/Object/Two", 0x8003);
    CVariable* variable = nullptr;
    EXPECT_EQ(CDatabase_GetVariableByPath(database_.Handle(), "Region/Object/One", &variable), 0U);
    EXPECT_EQ(CDatabase_GetVariableByPath(database_.Handle(), "Region/Object/Two", &variable), 0x8003U);
    EXPECT_EQ(host.FiredAt(), "CDatabase_GetVariableByPath Region/Object/Two");
    EXPECT_EQ(host.FunctionName(), "CDatabase_GetVariableByPath");
    EXPECT_EQ(host.Count("CDatabase_GetVariableByPath"), 2);
    EXPECT_EQ(host.Count("CDatabase_GetVariableByPath Region/Object/One"), 1);
}

TEST_F(HostCallsOverAHost, TheNthCallOfAllCountsTheOnesThatCanFail) {
    HostCalls host(Watch::LibraryAndTests);
    host.Fail(2, 0x8003);
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0U);
    EXPECT_EQ(CVariable_GetType(Variable()), 0U);
    EXPECT_NE(CStorageObject_IsWritable(object_.Handle()), 0);
    EXPECT_EQ(CVariable_GetNoOfElements(Variable()), 1U);
    EXPECT_EQ(CVariable_GetSizeInBytes(Variable()), 1U);
    EXPECT_EQ(CStorageRegion_GetName(region_.Handle(), &name), 0x8003U);
    EXPECT_EQ(host.FunctionName(), "CStorageRegion_GetName");
}

TEST_F(HostCallsOverAHost, AFunctionWithoutAResultCodeAnswersTheChosenValue) {
    HostCalls host(Watch::LibraryAndTests);
    host.Fail("CVariable_GetType", 1, 23);
    host.Fail("CStorageObject_IsWritable", 1, 0);
    EXPECT_EQ(CVariable_GetType(Variable()), 23U);
    EXPECT_EQ(CStorageObject_IsWritable(object_.Handle()), 0);
}

TEST_F(HostCallsOverAHost, AnOverriddenCallIsMadeAndAnswersTheChosenCode) {
    HostCalls host(Watch::LibraryAndTests);
    host.Override("CVariable_GetName", 1, 0x8004);
    host.OverrideAll("CStorageObject_GetName", 0x1000);
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0x8004U);
    EXPECT_STREQ(name, "One");
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0U);
    EXPECT_EQ(CStorageObject_GetName(object_.Handle(), &name), 0x1000U);
    EXPECT_STREQ(name, "Object");
}

TEST_F(HostCallsOverAHost, TheFirstOfSeveralFittingFaultsDecides) {
    HostCalls host(Watch::LibraryAndTests);
    host.Fail("CVariable_GetName", 2, 0x8001);
    host.FailAll("CVariable_GetName", 0x8002);
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0x8002U);
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0x8001U);
}

TEST_F(HostCallsOverAHost, CallsOfTheTestDoNotCountUnlessAskedFor) {
    HostCalls host;
    host.FailAll("CVariable_GetName", 0x8003);
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0U);
    EXPECT_THAT(host.Calls(), IsEmpty());
}

TEST_F(HostCallsOverAHost, AfterwardsCallsReachTheHostAgain) {
    {
        HostCalls host(Watch::LibraryAndTests);
        host.FailAll("CVariable_GetName", 0x8003);
    }
    char* name = nullptr;
    EXPECT_EQ(CVariable_GetName(Variable(), &name), 0U);
}

class HostCallsOfAProvider : public HostCallsOverAHost {
protected:
    HostCallsOfAProvider() {
        CBinaryFileStorageProvider_GetInterface(&provider_);
        provider_->Initialize(0);
    }

    const TemporaryDirectory directory_;
    IStorageProvider* provider_ = nullptr;
};

TEST_F(HostCallsOfAProvider, CallsOfTheLibraryAreSeenAndTheHostsOwnAreNot) {
    EXPECT_EQ(provider_->StoreAll(0, database_.Handle(), 0), 0U);
    const HostCalls host;
    EXPECT_EQ(provider_->RetrieveAll(0, database_.Handle(), 0), 0U);
    EXPECT_EQ(host.Calls().front(), "CDatabase_UpdatePathHashTable");
    EXPECT_EQ(host.Calls().back(), "CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(host.Count("CDatabase_SetAsNotRetrieved"), 1);
    EXPECT_EQ(host.Count("CStorageObject_GetVariableIterator"), 1);
    EXPECT_EQ(host.Count("CStorageObject_GetNextVariable"), 2);
    EXPECT_EQ(host.Count("CVariable_SetRetrieved"), 2);
}

TEST_F(HostCallsOfAProvider, ASweepFailsEveryCallOnceInOrder) {
    const std::set<std::string> cannotFail = {"CStorageObject_IsWritable", "CVariable_GetType",
                                              "CVariable_GetNoOfElements", "CVariable_GetSizeInBytes"};
    std::vector<std::string> calls;
    {
        const HostCalls host;
        EXPECT_EQ(provider_->StoreAll(0, database_.Handle(), 0), 0U);
        std::copy_if(host.Calls().begin(), host.Calls().end(), std::back_inserter(calls),
                     [&](const std::string& call) { return cannotFail.count(call) == 0; });
    }
    std::vector<std::string> failed;
    const int faults = tal::test::SweepFaults([&](int n) {
        HostCalls host;
        host.Fail(n, 0x8003);
        const QBFResult result = provider_->StoreAll(0, database_.Handle(), 0);
        EXPECT_EQ(result, host.Fired() ? 0x8000U : 0U) << host.FiredAt();
        if (host.Fired()) {
            failed.push_back(host.FiredAt());
        }
        return host.Fired();
    });
    EXPECT_EQ(faults, static_cast<int>(calls.size()));
    EXPECT_EQ(failed, calls);
}

}  // namespace
