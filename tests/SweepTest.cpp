#include "support/Sweep.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using tal::test::SweepFaults;
using testing::ElementsAre;

TEST(Sweep, RunsUntilTheFaultNoLongerFires) {
    std::vector<int> runs;
    EXPECT_EQ(SweepFaults([&runs](int n) {
                  runs.push_back(n);
                  return n <= 3;
              }),
              3);
    EXPECT_THAT(runs, ElementsAre(1, 2, 3, 4));
}

TEST(Sweep, FailsWhenNoFaultEverFires) {
    EXPECT_NONFATAL_FAILURE(SweepFaults([](int) { return false; }), "no fault ever fired");
}

TEST(Sweep, TellsWhichFaultAFailureBelongsTo) {
    EXPECT_NONFATAL_FAILURE(SweepFaults([](int n) {
                                EXPECT_NE(n, 2);
                                return n <= 2;
                            }),
                            "fault 2");
}

}  // namespace
