#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"

namespace {

/// Promise 23
TEST(ResultCodes, HaveTheirDocumentedNumbers) {
    EXPECT_EQ(QBF_OK, 0x0000);
    EXPECT_EQ(QBF_N_NOTICE, 0x0100);
    EXPECT_EQ(QBF_N_NOTICE_2, 0x0101);
    EXPECT_EQ(QBF_I_INFO, 0x0800);
    EXPECT_EQ(QBF_I_DETAIL, 0x0820);
    EXPECT_EQ(QBF_W_WARNING, 0x1000);
    EXPECT_EQ(QBF_W_END_OF_LIST, 0x1002);
    EXPECT_EQ(QBF_W_END_OF_VARIABLES, 0x1004);
    EXPECT_EQ(QBF_W_NOT_SUPPORTED, 0x1008);
    EXPECT_EQ(QBF_E_FAILED, 0x8000);
    EXPECT_EQ(QBF_E_INVALID_ARGUMENT, 0x8002);
    EXPECT_EQ(QBF_E_NO_NAME, 0x8004);
    EXPECT_EQ(QBF_E_OPEN_FAILED, 0x8005);
    EXPECT_EQ(QBF_E_IO, 0x800A);
    EXPECT_EQ(QBF_E_BAD_TYPE, 0x800B);
    EXPECT_EQ(QBF_E_NOT_FOUND, 0x800E);
    EXPECT_EQ(QBF_E_NO_STORAGE_FILE, 0x800F);
    EXPECT_EQ(QBF_E_CORRUPT, 0x8010);
    EXPECT_EQ(QBF_E_SIZE_MISMATCH, 0x8011);
}

/// Promise 23
TEST(ResultCodes, EverythingFrom0x8000UpIsAFailure) {
    for (const QBFResult code : {0x8000UL, 0x8001UL, 0x8004UL, 0x800FUL, 0x8011UL, 0xFFFFUL, 0x10000UL, 0x7FFFFFFFUL}) {
        EXPECT_TRUE(QBF_IsFailure(code)) << std::hex << code;
    }
}

/// Surprise: `QBF_W_NOT_SUPPORTED` is a success
TEST(ResultCodes, EverythingBelow0x8000IsASuccess) {
    for (const QBFResult code :
         {0x0000UL, 0x0100UL, 0x0101UL, 0x0800UL, 0x0820UL, 0x1000UL, 0x1002UL, 0x1004UL, 0x1008UL, 0x7FFFUL}) {
        EXPECT_FALSE(QBF_IsFailure(code)) << std::hex << code;
    }
}

TEST(ResultCodes, NumbersThatAreNegativeIn32BitsAreNoFailures) {
    for (const QBFResult code : {0x80000000UL, 0x80008000UL, 0xFFFF8000UL, 0xFFFFFFFFUL}) {
        EXPECT_FALSE(QBF_IsFailure(code)) << std::hex << code;
    }
}

TEST(ResultCodes, OnlyTheLow32BitsOfAWiderNumberCount) {
    // On a board the shifted bits are gone, and 0x8000 and 0 remain.
    constexpr std::uint64_t kBeyond32Bits = 0x100000000ULL;
    EXPECT_TRUE(QBF_IsFailure(static_cast<QBFResult>(kBeyond32Bits + 0x8000)));
    EXPECT_FALSE(QBF_IsFailure(static_cast<QBFResult>(kBeyond32Bits)));
}

TEST(Version, IsThatOfTheProject) {
    const std::string version = std::to_string(TAL_DEVICE_SUPPORT_VERSION_MAJOR) + '.' +
                                std::to_string(TAL_DEVICE_SUPPORT_VERSION_MINOR) + '.' +
                                std::to_string(TAL_DEVICE_SUPPORT_VERSION_PATCH);
    EXPECT_EQ(version, TAL_PROJECT_VERSION);
}

}  // namespace
