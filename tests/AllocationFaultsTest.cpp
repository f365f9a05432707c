#include "support/AllocationFaults.h"

#include <expat.h>
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/Files.h"
#include "support/Sweep.h"

namespace {

using tal::test::AllocationFaults;
using tal::test::SweepFaults;
using tal::test::TemporaryDirectory;
using tal::test::Watch;

// The functions are called by name, since a compiler may leave out an expression that allocates for nothing.

TEST(AllocationFaults, EveryFormOfNewIsSeenAndFreedByItsDelete) {
    const AllocationFaults memory(Watch::LibraryAndTests);
    void* const blocks[] = {::operator new(3), ::operator new[](4), ::operator new(5, std::nothrow),
                            ::operator new[](6, std::nothrow)};
    EXPECT_EQ(memory.Allocations(), 4);
    EXPECT_EQ(memory.LiveAllocations(), 4);
    EXPECT_EQ(memory.LiveBytes(), 18U);
    ::operator delete(blocks[0]);
    ::operator delete[](blocks[1]);
    ::operator delete(blocks[2]);
    ::operator delete[](blocks[3]);
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(memory.LiveBytes(), 0U);
}

TEST(AllocationFaults, ThePeakIsTheMostBytesThatWereLiveAtOnce) {
    const AllocationFaults memory(Watch::LibraryAndTests);
    ::operator delete(::operator new(100));
    void* const first = ::operator new(60);
    void* const second = ::operator new(70);
    ::operator delete(first);
    ::operator delete(second);
    EXPECT_EQ(memory.PeakBytes(), 130U);
}

TEST(AllocationFaults, AFailedNothrowNewGivesNull) {
    AllocationFaults memory(Watch::LibraryAndTests);
    memory.Fail(2);
    void* const first = ::operator new(1, std::nothrow);
    void* const second = ::operator new(1, std::nothrow);
    void* const third = ::operator new[](1, std::nothrow);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    EXPECT_TRUE(memory.Fired());
    EXPECT_EQ(memory.Allocations(), 3);
    EXPECT_EQ(memory.LiveAllocations(), 2);
    ::operator delete(first);
    ::operator delete[](third);
}

TEST(AllocationFaults, AFailedPlainNewThrows) {
    AllocationFaults memory(Watch::LibraryAndTests);
    memory.FailFrom(1);
    void* block = nullptr;
    EXPECT_THROW(block = ::operator new(1), std::bad_alloc);
    EXPECT_THROW(block = ::operator new[](1), std::bad_alloc);
    EXPECT_EQ(block, nullptr);
}

TEST(AllocationFaults, AllLaterOnesFailOnRequest) {
    AllocationFaults memory(Watch::LibraryAndTests);
    memory.FailFrom(2);
    void* const first = ::operator new(1, std::nothrow);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(::operator new(1, std::nothrow), nullptr);
    EXPECT_EQ(::operator new(1, std::nothrow), nullptr);
    ::operator delete(first);
}

TEST(AllocationFaults, AllocationsOfTheTestDoNotCountUnlessAskedFor) {
    AllocationFaults memory;
    memory.FailFrom(1);
    ::operator delete(::operator new(100));
    auto* const parser = XML_ParserCreate(nullptr);
    EXPECT_NE(parser, nullptr);
    XML_ParserFree(parser);
    EXPECT_EQ(memory.Allocations(), 0);
    EXPECT_FALSE(memory.Fired());
}

TEST(AllocationFaults, MemoryMayOutliveTheDouble) {
    void* early = ::operator new(10);
    void* late = nullptr;
    {
        const AllocationFaults memory(Watch::LibraryAndTests);
        late = ::operator new(20);
        ::operator delete(early);
        EXPECT_EQ(memory.LiveBytes(), 20U);
    }
    ::operator delete(late);
}

bool Parses(XML_Parser parser) {
    static const char document[] = "<a b='c'>text</a>";
    return XML_Parse(parser, document, sizeof document - 1, 1) == XML_STATUS_OK;
}

TEST(AllocationFaults, AParserAllocatesThroughTheDouble) {
    const AllocationFaults memory(Watch::LibraryAndTests);
    auto* const parser = XML_ParserCreate(nullptr);
    ASSERT_NE(parser, nullptr);
    EXPECT_GT(memory.LiveAllocations(), 0);
    EXPECT_TRUE(Parses(parser));
    XML_ParserFree(parser);
    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(memory.LiveBytes(), 0U);
}

TEST(AllocationFaults, EveryAllocationOfAParserCanFail) {
    const int faults = SweepFaults([](int n) {
        AllocationFaults memory(Watch::LibraryAndTests);
        memory.Fail(n);
        auto* const parser = XML_ParserCreate(nullptr);
        const bool parsed = parser != nullptr && Parses(parser);
        EXPECT_EQ(parsed, !memory.Fired());
        if (parser != nullptr) {
            XML_ParserFree(parser);
        }
        EXPECT_EQ(memory.LiveAllocations(), 0);
        return memory.Fired();
    });
    EXPECT_GT(faults, 5);
}

TEST(AllocationFaults, TheCreationOfAParserCanFail) {
    AllocationFaults memory(Watch::LibraryAndTests);
    memory.FailParserCreation();
    EXPECT_EQ(XML_ParserCreate(nullptr), nullptr);
    EXPECT_TRUE(memory.Fired());
    EXPECT_EQ(memory.Allocations(), 0);
}

TEST(AllocationFaults, AllocationsOfTheLibraryAreSeenAndTheHostsAreNot) {
    const TemporaryDirectory directory;
    tal::host::Database database;
    database.AddRegion("Region").AddObject("Object").U8("Variable");
    IStorageProvider* provider = nullptr;
    CXmlFileStorageProvider_GetInterface(&provider);
    provider->Initialize(0);
    EXPECT_EQ(provider->StoreAll(0, database.Handle(), 0), 0U);

    AllocationFaults memory;
    EXPECT_EQ(provider->RetrieveAll(0, database.Handle(), 0), 0U);
    EXPECT_GT(memory.Allocations(), 0);
    EXPECT_EQ(memory.LiveAllocations(), 0);

    memory.Fail(memory.Allocations() + 1);
    EXPECT_EQ(provider->RetrieveAll(0, database.Handle(), 0), 0x8000U);
    EXPECT_TRUE(memory.Fired());
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

}  // namespace
