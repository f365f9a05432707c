#include "Device/DeviceSupport/HwNames.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace {

struct Table {
    HwNameTable number;
    const char* description;
    std::vector<std::string> names;
};

void PrintTo(const Table& table, std::ostream* out) {
    *out << table.description;
}

const Table kTables[] = {
    {HW_NAMES_HW_VARIANT,
     "HwVariant",
     {"QT2814", "QT2812", "QT2811", "DV2851", "RB2852", "ZOR4A", "ZOR3001", "ZOR3002", "VKS3001", "VKS3002", "QT2931_1",
      "QT2931_2", "QT2931_3", "QT2826", "QT2931_4", "ZOR3003", "ZOR3004", "VKS3003"}},
    {HW_NAMES_RADIO_REVISION, "RadioRevision", {"R1_P2", "R1_P3", "R1_P4", "R1_P5", "R2_P1", "R2_P2", "XPIC"}},
    {HW_NAMES_SWITCH_CHIP, "SwitchChip", {"None", "Vsx", "BobCat2", "Cetus"}},
    {HW_NAMES_MODEM_CHIP, "ModemChip", {"None", "Corona", "BCM85100", "BCM85110", "BCM85650", "BCM85655", "BCM85651"}},
    {HW_NAMES_BOARD_NAME, "BoardName", {"None",  "Orvik", "Tembra", "Vesk",  "Pallo", "GreyOtter", "Murino", "Ketra",
                                        "Dovi",  "Ruma",  "Selvo",  "Halvo", "Brisk", "Tamsk",     "Corvel", "Lumo",
                                        "Lumo2", "Ennet", "Rasvik", "Fjel",  "Gord",  "Wendro",    "Quill"}},
    {HW_NAMES_ACCESS_TYPE, "AccessType", {"None", "Pci", "Pcie", "Ethernet"}},
    {HW_NAMES_PTP_ACCESS, "PtpAccess", {"None", "Ptp", "Ethernet"}},
    {HW_NAMES_RADIO_GENERATION, "RadioGeneration", {"Kv4", "Kv5"}},
    {HW_NAMES_UNIT_GENERATION, "UnitGeneration", {"Rv", "Zor4", "Zor5"}},
    {HW_NAMES_RESTART_CAUSE, "RestartCause", {"Cold", "Warm", "Watchdog", "Unknown"}},
};

constexpr std::int32_t kUntouched = -12345;

/// A row as the library keeps it in memory.
struct Row {
    std::int32_t value;
    std::string name;
};

/// The rows of a table in the library's memory. Every name is short enough to lie inside its row, so that the first
/// name gives the first row away.
const Row* RowsInMemory(HwNameTable table) {
    const Row sample = {0, "None"};
    const std::ptrdiff_t nameOffset = sample.name.data() - reinterpret_cast<const char*>(&sample);
    return reinterpret_cast<const Row*>(HwNameFromValue(table, 0) - nameOffset);
}

class HwNames : public testing::TestWithParam<Table> {
protected:
    const Table& table_ = GetParam();
    const std::int32_t count_ = static_cast<std::int32_t>(table_.names.size());
};

TEST_P(HwNames, EveryValueHasItsName) {
    for (std::int32_t value = 0; value < count_; ++value) {
        const char* const name = HwNameFromValue(table_.number, value);
        ASSERT_NE(name, nullptr) << value;
        EXPECT_EQ(name, table_.names[static_cast<std::size_t>(value)]) << value;
    }
}

TEST_P(HwNames, EveryNameHasItsValue) {
    for (std::int32_t expected = 0; expected < count_; ++expected) {
        const std::string& name = table_.names[static_cast<std::size_t>(expected)];
        std::int32_t value = kUntouched;
        EXPECT_EQ(HwNameToValue(table_.number, name.c_str(), &value), 1) << name;
        EXPECT_EQ(value, expected) << name;
    }
}

TEST_P(HwNames, ValuesOutsideTheTableHaveNoName) {
    for (const std::int32_t value :
         {-1, -count_, count_, count_ + 1, count_ + 1000, std::numeric_limits<std::int32_t>::min(),
          std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_EQ(HwNameFromValue(table_.number, value), nullptr) << value;
    }
}

TEST_P(HwNames, TheSentinelIsNoName) {
    std::int32_t value = kUntouched;

    EXPECT_EQ(HwNameToValue(table_.number, "EndOfList", &value), 0);
    EXPECT_EQ(value, kUntouched);
}

TEST_P(HwNames, NamesAreComparedExactly) {
    const std::string& name = table_.names.back();
    std::int32_t value = kUntouched;

    EXPECT_EQ(HwNameToValue(table_.number, "", &value), 0);
    EXPECT_EQ(HwNameToValue(table_.number, (name + " ").c_str(), &value), 0);
    EXPECT_EQ(HwNameToValue(table_.number, name.substr(0, name.size() - 1).c_str(), &value), 0);
    EXPECT_EQ(HwNameToValue(table_.number, "NONE", &value), 0);
    EXPECT_EQ(value, kUntouched);
}

TEST_P(HwNames, NoTextAtAllIsNoName) {
    std::int32_t value = kUntouched;

    EXPECT_EQ(HwNameToValue(table_.number, nullptr, &value), 0);
    EXPECT_EQ(value, kUntouched);
}

TEST_P(HwNames, TheRowWithValueNIsAtIndexN) {
    const Row* const rows = RowsInMemory(table_.number);

    for (std::int32_t i = 0; i < count_; ++i) {
        EXPECT_EQ(rows[i].value, i);
        EXPECT_EQ(rows[i].name, table_.names[static_cast<std::size_t>(i)]);
    }
}

TEST_P(HwNames, TheLastRowIsTheSentinelAndItsValueCountsTheRowsBeforeIt) {
    const Row& last = RowsInMemory(table_.number)[count_];

    EXPECT_EQ(last.name, "EndOfList");
    EXPECT_EQ(last.value, count_);
}

INSTANTIATE_TEST_SUITE_P(Tables, HwNames, testing::ValuesIn(kTables),
                         [](const auto& tested) { return tested.param.description; });

TEST(HwNameTables, HaveEighteenSevenFourSevenTwentyThreeFourThreeTwoThreeAndFourNames) {
    const std::int32_t counts[] = {18, 7, 4, 7, 23, 4, 3, 2, 3, 4};
    for (HwNameTable table = 0; table < 10; ++table) {
        EXPECT_NE(HwNameFromValue(table, counts[table] - 1), nullptr) << table;
        EXPECT_EQ(HwNameFromValue(table, counts[table]), nullptr) << table;
    }
}

TEST(HwNameTables, OfTheFixedAssignmentsThatLookOutOfOrderKeepTheirValues) {
    EXPECT_STREQ(HwNameFromValue(HW_NAMES_HW_VARIANT, 5), "ZOR4A");
    EXPECT_STREQ(HwNameFromValue(HW_NAMES_HW_VARIANT, 13), "QT2826");
    EXPECT_STREQ(HwNameFromValue(HW_NAMES_MODEM_CHIP, 5), "BCM85655");
    EXPECT_STREQ(HwNameFromValue(HW_NAMES_MODEM_CHIP, 6), "BCM85651");
    EXPECT_STREQ(HwNameFromValue(HW_NAMES_BOARD_NAME, 16), "Lumo2");
    EXPECT_STREQ(HwNameFromValue(HW_NAMES_RESTART_CAUSE, 2), "Watchdog");
}

TEST(HwNameTables, ThatDoNotExistGiveNothing) {
    for (const HwNameTable table :
         {HwNameTable{10}, HwNameTable{11}, HwNameTable{1000}, HwNameTable{0x80000000}, HwNameTable{0xFFFFFFFF}}) {
        std::int32_t value = kUntouched;

        EXPECT_EQ(HwNameFromValue(table, 0), nullptr) << table;
        EXPECT_EQ(HwNameToValue(table, "None", &value), 0) << table;
        EXPECT_EQ(value, kUntouched) << table;
    }
}

TEST(HwNameTables, HandOutTheSameTextEveryTime) {
    EXPECT_EQ(HwNameFromValue(HW_NAMES_UNIT_GENERATION, 2), HwNameFromValue(HW_NAMES_UNIT_GENERATION, 2));
}

}  // namespace
