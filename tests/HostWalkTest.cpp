#include "Device/DeviceSupport/private/HostWalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/ReferenceHost.h"
#include "support/HostCalls.h"

namespace {

using tal::ForEachObject;
using tal::ForEachRegion;
using tal::ForEachVariable;
using tal::MoreVariablesFollow;
using tal::Walk;
using tal::test::HostCalls;
using tal::test::Watch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr QBFResult kLast = QBF_W_END_OF_VARIABLES;

/// A database laid out word by word: two regions, of which the first has three objects.
class ListedByHand : public testing::Test {
protected:
    /// One word for the host, then the list of objects.
    struct RegionWords {
        void* untouched;
        HostListNode objects;
    };

    static void Link(HostListNode& sentinel, std::vector<HostListNode>& nodes) {
        HostListNode* last = &sentinel;
        for (HostListNode& node : nodes) {
            last->next = &node;
            last = &node;
        }
        last->next = &sentinel;
    }

    ListedByHand() {
        Link(first_.objects, objectNodes_);
        Link(second_.objects, noNodes_);
        Link(database_, regionNodes_);
    }

    CDatabase* Database() { return reinterpret_cast<CDatabase*>(&database_); }
    static CStorageRegion* Handle(RegionWords& region) { return reinterpret_cast<CStorageRegion*>(&region); }

    // The walk may touch neither the second word of a node nor what the elements point to.
    void* const untouchable_ = reinterpret_cast<void*>(1);
    int objects_[3] = {};
    std::vector<HostListNode> objectNodes_ = {{nullptr, untouchable_, &objects_[0]},
                                              {nullptr, untouchable_, &objects_[1]},
                                              {nullptr, untouchable_, &objects_[2]}};
    std::vector<HostListNode> noNodes_;
    RegionWords first_ = {untouchable_, {nullptr, untouchable_, untouchable_}};
    RegionWords second_ = {untouchable_, {nullptr, untouchable_, untouchable_}};
    std::vector<HostListNode> regionNodes_ = {{nullptr, untouchable_, &first_}, {nullptr, untouchable_, &second_}};
    HostListNode database_ = {nullptr, untouchable_, untouchable_};
};

TEST_F(ListedByHand, RegionsAreVisitedInListOrder) {
    std::vector<const void*> visited;
    ForEachRegion(Database(), [&visited](CStorageRegion* region) {
        visited.push_back(region);
        return Walk::Continue;
    });
    EXPECT_THAT(visited, ElementsAre(&first_, &second_));
}

TEST_F(ListedByHand, ADatabaseWhoseFirstWordNamesItselfHasNoRegions) {
    database_.next = &database_;
    ForEachRegion(Database(), [](CStorageRegion*) {
        ADD_FAILURE() << "there is no region";
        return Walk::Stop;
    });
}

TEST_F(ListedByHand, ObjectsAreVisitedInListOrder) {
    std::vector<const void*> visited;
    ForEachObject(Handle(first_), [&visited](CStorageObject* object) {
        visited.push_back(object);
        return Walk::Continue;
    });
    EXPECT_THAT(visited, ElementsAre(&objects_[0], &objects_[1], &objects_[2]));
}

TEST_F(ListedByHand, ARegionWithAnEmptyListHasNoObjects) {
    ForEachObject(Handle(second_), [](CStorageObject*) {
        ADD_FAILURE() << "there is no object";
        return Walk::Stop;
    });
}

TEST_F(ListedByHand, AWalkEndsWhereTheVisitStopsIt) {
    std::vector<const void*> visited;
    ForEachObject(Handle(first_), [&](CStorageObject* object) {
        visited.push_back(object);
        return visited.size() == 2 ? Walk::Stop : Walk::Continue;
    });
    EXPECT_THAT(visited, ElementsAre(&objects_[0], &objects_[1]));
}

TEST(HostWalk, VariablesFollowUntilTheLastOneOrAFailure) {
    EXPECT_TRUE(MoreVariablesFollow(QBF_OK));
    EXPECT_TRUE(MoreVariablesFollow(QBF_W_END_OF_LIST));
    EXPECT_TRUE(MoreVariablesFollow(QBF_W_WARNING));
    EXPECT_FALSE(MoreVariablesFollow(QBF_W_END_OF_VARIABLES));
    EXPECT_FALSE(MoreVariablesFollow(QBF_E_FAILED));
    EXPECT_FALSE(MoreVariablesFollow(QBF_E_NO_NAME));
}

/// What a walk over the variables of one object shows.
class VariableWalk : public testing::Test {
protected:
    QBFResult Run(CStorageObject* object) {
        return ForEachVariable(object, [this](CVariable* variable, QBFResult status) {
            const auto* const found = static_cast<tal::host::Variable*>(variable);
            visited_.push_back(found == nullptr ? "none" : found->Name());
            statuses_.push_back(status);
            return visited_.size() == stopAfter_ ? Walk::Stop : Walk::Continue;
        });
    }

    tal::host::Database database_;
    tal::host::Object& object_ = database_.AddRegion("Region").AddObject("Object");
    std::vector<std::string> visited_;
    std::vector<QBFResult> statuses_;
    std::size_t stopAfter_ = 0;
};

TEST_F(VariableWalk, AnObjectWithoutVariablesIsNotAskedForOne) {
    const HostCalls host(Watch::LibraryAndTests);
    EXPECT_EQ(Run(object_.Handle()), kLast);
    EXPECT_THAT(visited_, IsEmpty());
    EXPECT_THAT(host.Calls(), ElementsAre("CStorageObject_GetVariableIterator"));
}

TEST_F(VariableWalk, TheOnlyVariableComesWithTheEnd) {
    object_.U8("Only");
    const HostCalls host(Watch::LibraryAndTests);
    EXPECT_EQ(Run(object_.Handle()), 0U);
    EXPECT_THAT(visited_, ElementsAre("Only"));
    EXPECT_THAT(statuses_, ElementsAre(kLast));
    EXPECT_EQ(host.Count("CStorageObject_GetNextVariable"), 1);
}

TEST_F(VariableWalk, VariablesAreVisitedInTheHostsOrder) {
    object_.U8("One").U16("Two").Double("Three");
    EXPECT_EQ(Run(object_.Handle()), 0U);
    EXPECT_THAT(visited_, ElementsAre("One", "Two", "Three"));
    EXPECT_THAT(statuses_, ElementsAre(0U, 0U, kLast));
}

TEST_F(VariableWalk, AWarningOfTheHostDoesNotEndTheWalk) {
    object_.U8("One").U8("Two");
    HostCalls host(Watch::LibraryAndTests);
    host.Override("CStorageObject_GetNextVariable", 1, QBF_W_WARNING);
    EXPECT_EQ(Run(object_.Handle()), 0U);
    EXPECT_THAT(visited_, ElementsAre("One", "Two"));
}

TEST_F(VariableWalk, AFailedStartIsReportedAndVisitsNothing) {
    object_.U8("One");
    HostCalls host(Watch::LibraryAndTests);
    host.Fail("CStorageObject_GetVariableIterator", 1, 0x8003);
    EXPECT_EQ(Run(object_.Handle()), 0x8003U);
    EXPECT_THAT(visited_, IsEmpty());
}

TEST_F(VariableWalk, AFailureIsVisitedWithoutAVariableAndEndsTheWalk) {
    object_.U8("One").U8("Two").U8("Three");
    HostCalls host(Watch::LibraryAndTests);
    host.Fail("CStorageObject_GetNextVariable", 2, 0x8003);
    EXPECT_EQ(Run(object_.Handle()), 0U);
    EXPECT_THAT(visited_, ElementsAre("One", "none"));
    EXPECT_THAT(statuses_, ElementsAre(0U, 0x8003U));
}

TEST_F(VariableWalk, AFailureThatHandsOutAVariableIsVisitedWithIt) {
    object_.U8("One").U8("Two");
    HostCalls host(Watch::LibraryAndTests);
    host.Override("CStorageObject_GetNextVariable", 1, 0x8003);
    Run(object_.Handle());
    EXPECT_THAT(visited_, ElementsAre("One"));
    EXPECT_THAT(statuses_, ElementsAre(0x8003U));
}

TEST_F(VariableWalk, TheVisitCanEndTheWalk) {
    object_.U8("One").U8("Two");
    stopAfter_ = 1;
    EXPECT_EQ(Run(object_.Handle()), 0U);
    EXPECT_THAT(visited_, ElementsAre("One"));
}

}  // namespace
