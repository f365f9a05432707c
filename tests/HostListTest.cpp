#include <gtest/gtest.h>

#include <array>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "support/AllocationFaults.h"

namespace {

/// The memory that the library keeps for a list, all zero.
struct ListMemory {
    alignas(std::max_align_t) std::array<void*, 16> words{};
    CList* Get() { return reinterpret_cast<CList*>(words.data()); }
};

class HostList : public testing::Test {
protected:
    ~HostList() override { CList_Destruct(list_); }

    ListMemory memory_;
    CList* list_ = memory_.Get();
    HostIterator iterator_ = nullptr;
    void* item_ = nullptr;
    int first_ = 1;
    int second_ = 2;
};

TEST_F(HostList, ConstructedListIsEmpty) {
    memory_.words.fill(&first_);

    EXPECT_EQ(CList_Construct(list_), 0U);

    EXPECT_EQ(CList_StartIterationFromHead(list_, &iterator_), 0x1002U);
}

TEST_F(HostList, NeverConstructedZeroMemoryIsAnEmptyList) {
    EXPECT_EQ(CList_StartIterationFromHead(list_, &iterator_), 0x1002U);
    EXPECT_EQ(CList_Destruct(list_), 0U);
}

TEST_F(HostList, NeverConstructedZeroMemoryTakesItems) {
    EXPECT_EQ(CList_PushTail(list_, &first_), 0U);

    EXPECT_EQ(CList_StartIterationFromHead(list_, &iterator_), 0U);
}

TEST_F(HostList, OnlyItemComesWithTheEndOfTheList) {
    CList_PushTail(list_, &first_);

    EXPECT_EQ(CList_StartIterationFromHead(list_, &iterator_), 0U);
    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x1002U);
    EXPECT_EQ(item_, &first_);
}

TEST_F(HostList, ItemsComeInTheOrderOfPushing) {
    CList_PushTail(list_, &first_);
    CList_PushTail(list_, &second_);

    CList_StartIterationFromHead(list_, &iterator_);
    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0U);
    EXPECT_EQ(item_, &first_);
    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x1002U);
    EXPECT_EQ(item_, &second_);
}

TEST_F(HostList, NothingComesAfterTheLastItem) {
    CList_PushTail(list_, &first_);
    CList_StartIterationFromHead(list_, &iterator_);
    CList_GetNext(list_, &item_, &iterator_);
    item_ = &second_;

    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x8004U);
    EXPECT_EQ(item_, &second_);
}

TEST_F(HostList, NothingComesFromAnEmptyList) {
    CList_StartIterationFromHead(list_, &iterator_);

    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x8004U);
}

TEST_F(HostList, DestructedListIsEmptyAndCanBeDestructedAgain) {
    CList_PushTail(list_, &first_);

    EXPECT_EQ(CList_Destruct(list_), 0U);

    EXPECT_EQ(CList_StartIterationFromHead(list_, &iterator_), 0x1002U);
    EXPECT_EQ(CList_Destruct(list_), 0U);
}

TEST_F(HostList, DestructedListTakesItemsAgain) {
    CList_PushTail(list_, &first_);
    CList_Destruct(list_);

    EXPECT_EQ(CList_PushTail(list_, &second_), 0U);

    CList_StartIterationFromHead(list_, &iterator_);
    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x1002U);
    EXPECT_EQ(item_, &second_);
}

TEST_F(HostList, ItemThatFindsNoMemoryIsRefusedAndTheListStaysAsItIs) {
    CList_PushTail(list_, &first_);
    {
        tal::test::AllocationFaults memory(tal::test::Watch::Host);
        memory.Fail(1);

        EXPECT_EQ(CList_PushTail(list_, &second_), 0x8000U);

        EXPECT_TRUE(memory.Fired());
    }
    CList_StartIterationFromHead(list_, &iterator_);
    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x1002U);
    EXPECT_EQ(item_, &first_);
}

TEST_F(HostList, DestructingFreesTheBookkeepingAndNotTheItems) {
    const tal::test::AllocationFaults memory(tal::test::Watch::Host);
    CList_PushTail(list_, &first_);
    CList_PushTail(list_, &second_);
    EXPECT_EQ(memory.LiveAllocations(), 2);

    CList_Destruct(list_);

    EXPECT_EQ(memory.LiveAllocations(), 0);
    EXPECT_EQ(first_ + second_, 3);
}

TEST_F(HostList, ItemMayBeNull) {
    item_ = &first_;
    CList_PushTail(list_, nullptr);

    CList_StartIterationFromHead(list_, &iterator_);
    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x1002U);
    EXPECT_EQ(item_, nullptr);
}

TEST_F(HostList, IteratorThatWasNeverStartedGivesNothing) {
    CList_PushTail(list_, &first_);

    EXPECT_EQ(CList_GetNext(list_, &item_, &iterator_), 0x8004U);
}

TEST_F(HostList, NullArgumentsFail) {
    EXPECT_EQ(CList_Construct(nullptr), 0x8002U);
    EXPECT_EQ(CList_PushTail(nullptr, &first_), 0x8002U);
    EXPECT_EQ(CList_StartIterationFromHead(nullptr, &iterator_), 0x8002U);
    EXPECT_EQ(CList_StartIterationFromHead(list_, nullptr), 0x8002U);
    EXPECT_EQ(CList_GetNext(nullptr, &item_, &iterator_), 0x8002U);
    EXPECT_EQ(CList_GetNext(list_, nullptr, &iterator_), 0x8002U);
    EXPECT_EQ(CList_GetNext(list_, &item_, nullptr), 0x8002U);
    EXPECT_EQ(CList_Destruct(nullptr), 0x8002U);
}

}  // namespace
