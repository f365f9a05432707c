/// The host in plain C of the examples.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Device/DeviceSupport/check-host.h"
#include "settings.h"

namespace tal::test {

namespace {

TEST(CHost, KeepsEveryRuleOfTheContract) {
    std::vector<std::string> breaches;
    for (const HostFinding& finding : CheckHost(SettingsDatabase())) {
        breaches.push_back(ToText(finding));
    }
    EXPECT_THAT(breaches, ::testing::IsEmpty());
}

TEST(CHost, IsFoundByTheCallsOfCxx) {
    ASSERT_EQ(CDatabase_SetAsNotRetrieved(SettingsDatabase()), QBFResult{QBF_OK});
    ASSERT_EQ(CDatabase_SetNotRetrievedVariablesToDefault(SettingsDatabase()), QBFResult{QBF_OK});
    EXPECT_EQ(settings.gain, 16U);
}

}  // namespace

}  // namespace tal::test
