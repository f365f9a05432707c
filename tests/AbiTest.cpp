// What hosts and the board's libraries rely on without a compiler to tell them: sizes, offsets and order.

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "Device/DeviceSupport/private/Tracing.h"

namespace {

/// The recorded number for the word size of this machine.
constexpr std::size_t Golden(std::size_t on32Bits, std::size_t on64Bits) {
    return sizeof(void*) == 4 ? on32Bits : on64Bits;
}

TEST(Abi, TheOperationTableHasFiveSlotsInTheGivenOrder) {
    EXPECT_EQ(sizeof(IStorageProvider), Golden(20, 40));
    EXPECT_EQ(alignof(IStorageProvider), Golden(4, 8));
    EXPECT_EQ(offsetof(IStorageProvider, Initialize), 0U);
    EXPECT_EQ(offsetof(IStorageProvider, ReserveWritableSpace), Golden(4, 8));
    EXPECT_EQ(offsetof(IStorageProvider, StoreAll), Golden(8, 16));
    EXPECT_EQ(offsetof(IStorageProvider, RetrieveAll), Golden(12, 24));
    EXPECT_EQ(offsetof(IStorageProvider, StoreAllWritable), Golden(16, 32));
}

TEST(Abi, TheOperationsTakeTheirDocumentedArguments) {
    using Result = unsigned long;
    EXPECT_TRUE((std::is_same_v<decltype(IStorageProvider::Initialize), Result (*)(unsigned long)>));
    EXPECT_TRUE(
        (std::is_same_v<decltype(IStorageProvider::ReserveWritableSpace), Result (*)(unsigned long, unsigned long)>));
    EXPECT_TRUE(
        (std::is_same_v<decltype(IStorageProvider::StoreAll), Result (*)(unsigned long, CDatabase*, unsigned long)>));
    EXPECT_TRUE((
        std::is_same_v<decltype(IStorageProvider::RetrieveAll), Result (*)(unsigned long, CDatabase*, unsigned long)>));
    EXPECT_TRUE((std::is_same_v<decltype(IStorageProvider::StoreAllWritable),
                                Result (*)(unsigned long, CVariable**, unsigned long)>));
}

TEST(Abi, ATraceSiteIsThreeWords) {
    EXPECT_EQ(sizeof(TraceSite), Golden(12, 24));
    EXPECT_EQ(offsetof(TraceSite, sourcePath), 0U);
    EXPECT_EQ(offsetof(TraceSite, sourceLine), Golden(4, 8));
    EXPECT_EQ(offsetof(TraceSite, operationName), Golden(8, 16));
}

TEST(Abi, TheThresholdIsTheFirstWordOfTheTraceState) {
    EXPECT_EQ(offsetof(TraceState, threshold), 0U);
    EXPECT_TRUE((std::is_same_v<decltype(TraceState::threshold), int>));
}

TEST(Abi, AListNodeIsThreeWords) {
    EXPECT_EQ(sizeof(HostListNode), Golden(12, 24));
    EXPECT_EQ(offsetof(HostListNode, next), 0U);
    EXPECT_EQ(offsetof(HostListNode, previous), Golden(4, 8));
    EXPECT_EQ(offsetof(HostListNode, element), Golden(8, 16));
}

TEST(Abi, TheScalarTypesHaveTheirSizes) {
    EXPECT_EQ(sizeof(QBFResult), Golden(4, 8));
    EXPECT_EQ(sizeof(StorageLocation), Golden(4, 8));
    EXPECT_EQ(sizeof(VariableType), 4U);
    EXPECT_EQ(sizeof(HostIterator), Golden(4, 8));
    EXPECT_EQ(sizeof(float), 4U);
    EXPECT_EQ(sizeof(double), 8U);
}

TEST(Abi, TheTypeCodesAreNumberedWithoutAGap) {
    EXPECT_EQ(VARIABLE_TYPE_U8, 0);
    EXPECT_EQ(VARIABLE_TYPE_U8_ARRAY, 1);
    EXPECT_EQ(VARIABLE_TYPE_U16, 2);
    EXPECT_EQ(VARIABLE_TYPE_U16_ARRAY, 3);
    EXPECT_EQ(VARIABLE_TYPE_U32, 4);
    EXPECT_EQ(VARIABLE_TYPE_U32_ARRAY, 5);
    EXPECT_EQ(VARIABLE_TYPE_S8, 6);
    EXPECT_EQ(VARIABLE_TYPE_S8_ARRAY, 7);
    EXPECT_EQ(VARIABLE_TYPE_S16, 8);
    EXPECT_EQ(VARIABLE_TYPE_S16_ARRAY, 9);
    EXPECT_EQ(VARIABLE_TYPE_S32, 10);
    EXPECT_EQ(VARIABLE_TYPE_S32_ARRAY, 11);
    EXPECT_EQ(VARIABLE_TYPE_BOOL, 12);
    EXPECT_EQ(VARIABLE_TYPE_BOOL_ARRAY, 13);
    EXPECT_EQ(VARIABLE_TYPE_CHAR, 14);
    EXPECT_EQ(VARIABLE_TYPE_CHAR_ARRAY, 15);
    EXPECT_EQ(VARIABLE_TYPE_STRING, 16);
    EXPECT_EQ(VARIABLE_TYPE_FLOAT, 17);
    EXPECT_EQ(VARIABLE_TYPE_FLOAT_ARRAY, 18);
    EXPECT_EQ(VARIABLE_TYPE_DOUBLE, 19);
    EXPECT_EQ(VARIABLE_TYPE_DOUBLE_ARRAY, 20);
    EXPECT_EQ(VARIABLE_TYPE_OBJECT, 21);
    EXPECT_EQ(VARIABLE_TYPE_OBJECT_ARRAY, 22);
}

}  // namespace
