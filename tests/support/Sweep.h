/// Runs a scenario once for every fault that can meet it.
#ifndef TAL_TEST_SWEEP_H
#define TAL_TEST_SWEEP_H

#include <gtest/gtest.h>

namespace tal::test {

/// Calls `scenario(n)` for n = 1, 2, 3, ... until it says that the n-th fault no longer fired; fails the test when not
/// even the first one did.
///
///     SweepFaults([&](int n) {
///         HostCalls host;
///         host.Fail(n, 0x8003);
///         const QBFResult result = provider->StoreAll(0, database, 0);
///         if (host.Fired()) {
///             EXPECT_EQ(result, ExpectedFor(host.FunctionName())) << host.FiredAt();
///         }
///         return host.Fired();
///     });
///
/// @return how many faults fired.
template <class Scenario>
int SweepFaults(Scenario scenario) {
    int nth = 1;
    for (bool fired = true; fired; ++nth) {
        SCOPED_TRACE(::testing::Message() << "fault " << nth);
        fired = scenario(nth);
    }
    const int faults = nth - 2;
    EXPECT_GT(faults, 0) << "no fault ever fired";
    return faults;
}

}  // namespace tal::test

#endif
