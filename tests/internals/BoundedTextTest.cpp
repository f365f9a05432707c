#include "Device/DeviceSupport/private/BoundedText.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <string_view>

namespace {

using tal::AppendBounded;
using tal::BuildReplacement;
using tal::ChannelText;
using tal::CopyBounded;
using tal::ReplaceFirst;

/// A buffer of eight bytes between two guards.
struct Guarded {
    unsigned char before = 0xA5;
    char text[8] = "";
    unsigned char after = 0xA5;

    [[nodiscard]] bool Intact() const { return before == 0xA5 && after == 0xA5; }
};

TEST(BoundedText, ATextThatFitsIsCopiedWhole) {
    Guarded buffer;
    CopyBounded(buffer.text, "sevenCh");
    EXPECT_STREQ(buffer.text, "sevenCh");
    EXPECT_TRUE(buffer.Intact());
}

TEST(BoundedText, ATextThatIsTooLongIsCutAndTerminated) {
    Guarded buffer;
    CopyBounded(buffer.text, "eight chars and more");
    EXPECT_STREQ(buffer.text, "eight c");
    EXPECT_TRUE(buffer.Intact());
}

TEST(BoundedText, AnEmptyTextEmptiesTheBuffer) {
    char text[8] = "old";
    CopyBounded(text, "");
    EXPECT_STREQ(text, "");
}

TEST(BoundedText, ACopyEndsAtTheViewsEndAndNotAtANul) {
    char text[8] = "xxxxxxx";
    CopyBounded(text, std::string_view("abcdef").substr(0, 3));
    EXPECT_STREQ(text, "abc");
}

TEST(BoundedText, ABufferMayBeCopiedFromItsOwnTail) {
    char text[8] = "abcdefg";
    CopyBounded(text, std::string_view(text).substr(2));
    EXPECT_STREQ(text, "cdefg");
}

TEST(BoundedText, AppendingFillsWhatIsLeft) {
    Guarded buffer;
    AppendBounded(buffer.text, "abc");
    AppendBounded(buffer.text, "def");
    EXPECT_STREQ(buffer.text, "abcdef");
    AppendBounded(buffer.text, "ghi");
    EXPECT_STREQ(buffer.text, "abcdefg");
    EXPECT_TRUE(buffer.Intact());
}

TEST(BoundedText, AppendingToAFullBufferChangesNothing) {
    Guarded buffer;
    CopyBounded(buffer.text, "1234567");
    AppendBounded(buffer.text, "8");
    EXPECT_STREQ(buffer.text, "1234567");
    EXPECT_TRUE(buffer.Intact());
}

TEST(BoundedText, AChannelTextIsTheNumberBetweenItsTexts) {
    EXPECT_EQ(ChannelText("Channel.", 2, ".").View(), "Channel.2.");
    EXPECT_EQ(ChannelText("", 0, "").View(), "0");
}

TEST(BoundedText, AChannelTextHoldsTheLargestNumber) {
    EXPECT_EQ(ChannelText("_Channel", ULONG_MAX, "_").View(), "_Channel" + std::to_string(ULONG_MAX) + "_");
}

TEST(BoundedText, OnlyTheFirstOccurrenceIsReplaced) {
    char text[32] = "a.1.b.1.c";
    char scratch[32];
    EXPECT_TRUE(ReplaceFirst(text, scratch, ".1.", ".X."));
    EXPECT_STREQ(text, "a.X.b.1.c");
}

TEST(BoundedText, AReplacementMayStandAtEitherEnd) {
    char text[32] = "1.b";
    char scratch[32];
    EXPECT_TRUE(ReplaceFirst(text, scratch, "1.", "X."));
    EXPECT_STREQ(text, "X.b");
    EXPECT_TRUE(ReplaceFirst(text, scratch, "b", "end"));
    EXPECT_STREQ(text, "X.end");
}

TEST(BoundedText, WithoutTheWholePatternNothingChanges) {
    char text[8] = "abc.1";
    char scratch[8] = "kept";
    EXPECT_FALSE(ReplaceFirst(text, scratch, ".1.", ".X."));
    EXPECT_STREQ(text, "abc.1");
    EXPECT_STREQ(scratch, "kept");
}

TEST(BoundedText, AReplacementThatIsTooLongIsCutAtTheScratchBuffer) {
    Guarded scratch;
    char text[32] = "ab1cdefghij";
    EXPECT_TRUE(ReplaceFirst(text, scratch.text, "1", "XYZ"));
    EXPECT_STREQ(text, "abXYZcd");
    EXPECT_TRUE(scratch.Intact());
}

TEST(BoundedText, AReplacementThatIsTooLongIsCutAtTheTarget) {
    Guarded target;
    CopyBounded(target.text, "ab1cdef");
    char scratch[32];
    EXPECT_TRUE(ReplaceFirst(target.text, scratch, "1", "XYZ"));
    EXPECT_STREQ(target.text, "abXYZcd");
    EXPECT_TRUE(target.Intact());
}

TEST(BoundedText, AReplacementIsBuiltWithoutTouchingTheText) {
    const std::string text = "Tx.Channel1.Gain";
    char result[32];
    EXPECT_TRUE(BuildReplacement(result, text, "Channel1.", "ChannelX."));
    EXPECT_STREQ(result, "Tx.ChannelX.Gain");
    EXPECT_EQ(text, "Tx.Channel1.Gain");
}

}  // namespace
