#include <gtest/gtest.h>

#include "HeadersFromC.h"

namespace {

TEST(HeadersFromC, AProviderCanBeDriven) {
    EXPECT_EQ(DriveDummyFromC(), 0U);
}

TEST(HeadersFromC, EveryEntryPointHandsOutAFilledTable) {
    EXPECT_EQ(CallEntryPointsFromC(), 7U);
}

TEST(HeadersFromC, TheSettersCanBeCalled) {
    EXPECT_EQ(SetFileNamesFromC(), 5U);
}

TEST(HeadersFromC, AHostListCanBeBuiltAndWalked) {
    EXPECT_EQ(WalkListFromC(), 1U);
}

TEST(HeadersFromC, AFailureIsToldFromASuccess) {
    EXPECT_TRUE(SuccessIsToldFromFailureInC());
}

TEST(HeadersFromC, HardwareNamesCanBeLookedUp) {
    EXPECT_STREQ(HwNameFromC(), "QT2814");
}

}  // namespace
