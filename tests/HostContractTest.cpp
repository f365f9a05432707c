/// The reference host under the checker for hosts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DatabaseDescription.h"
#include "Device/DeviceSupport/check-host.h"

namespace tal::test {

namespace {

std::vector<std::string> BreachesIn(host::Database& database, bool inThisProcess = false) {
    HostCheckOptions options;
    options.inThisProcess = inThisProcess;
    std::vector<std::string> texts;
    for (const HostFinding& finding : CheckHost(database.Handle(), options)) {
        texts.push_back(ToText(finding));
    }
    return texts;
}

TEST(HostContract, IsKeptByTheReferenceHostWithTheExampleOfARadioUnit) {
    const auto database = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
    EXPECT_THAT(BreachesIn(*database), ::testing::IsEmpty());
}

TEST(HostContract, IsKeptByTheReferenceHostInTheProcessOfItsUser) {
    const auto database = host::LoadDatabaseFromFile(TAL_EXAMPLES "/radio-unit.json");
    EXPECT_THAT(BreachesIn(*database, true), ::testing::IsEmpty());
    EXPECT_TRUE(database->GuardsIntact());
}

TEST(HostContract, IsKeptByTheReferenceHostWithoutAnyRegion) {
    host::Database database;
    EXPECT_THAT(BreachesIn(database), ::testing::IsEmpty());
}

TEST(HostContract, IsBrokenWhereTheReferenceHostIsToldSo) {
    host::Database database;
    database.AddRegion("R").AddObject("O").Raw("Short", VARIABLE_TYPE_U32_ARRAY, 3, {1, 2, 3, 4});
    EXPECT_THAT(BreachesIn(database),
                ::testing::ElementsAre(::testing::HasSubstr("R/O/Short: sizes: 4 bytes for 3 x 4.")));
}

}  // namespace

}  // namespace tal::test
