// The stand-ins for the board's own libraries.

#include <gtest/gtest.h>

#include <string>

#include "brqtrace/brqtrace.h"
#include "corebsp/corebsp.h"
#include "support/CallWatch.h"

struct TraceSite {
    const char* sourcePath;
    unsigned int sourceLine;
    const char* operationName;
};

namespace {

using tal::test::Real;

// The test executable replaces these functions, so the stand-in's own are looked up.
struct TraceLibrary {
    decltype(CPexTraceHandler_DmLevel2GtLevel)* level =
        Real<decltype(CPexTraceHandler_DmLevel2GtLevel)>("CPexTraceHandler_DmLevel2GtLevel");
    decltype(trace_begin)* begin = Real<decltype(trace_begin)>("trace_begin");
    decltype(trace_printf)* print = Real<decltype(trace_printf)>("trace_printf");
    decltype(trace_end)* end = Real<decltype(trace_end)>("trace_end");
};

constexpr TraceSite kSite = {"src/Example", 17, "Example_Run"};

TEST(TraceStandIn, FailuresAreErrorsCodesFrom0x1000WarningsAndTheRestInformation) {
    const TraceLibrary library;
    EXPECT_EQ(library.level(0x0000), BRQTRACE_INFORMATION);
    EXPECT_EQ(library.level(0x0100), BRQTRACE_INFORMATION);
    EXPECT_EQ(library.level(0x0820), BRQTRACE_INFORMATION);
    EXPECT_EQ(library.level(0x0FFF), BRQTRACE_INFORMATION);
    EXPECT_EQ(library.level(0x1000), BRQTRACE_WARNING);
    EXPECT_EQ(library.level(0x7FFF), BRQTRACE_WARNING);
    EXPECT_EQ(library.level(0x8000), BRQTRACE_ERROR);
    EXPECT_EQ(library.level(0x8011), BRQTRACE_ERROR);
    EXPECT_EQ(library.level(0x7FFFFFFF), BRQTRACE_ERROR);
}

TEST(TraceStandIn, FailuresAreVisibleAtEveryThresholdThatShowsWarnings) {
    EXPECT_LT(BRQTRACE_SILENT, BRQTRACE_ERROR);
    EXPECT_LT(BRQTRACE_ERROR, BRQTRACE_WARNING);
    EXPECT_LT(BRQTRACE_WARNING, BRQTRACE_INFORMATION);
}

std::string Written(int level, const char* message) {
    const TraceLibrary library;
    testing::internal::CaptureStderr();
    library.begin(&DS_trace, level, &kSite);
    library.print(&DS_trace, "%s", message);
    library.print(&DS_trace, "      code: %#lx\n", 0x8000UL);
    library.end(&DS_trace);
    return testing::internal::GetCapturedStderr();
}

TEST(TraceStandIn, ARecordIsOneLineOnStandardError) {
    EXPECT_EQ(Written(BRQTRACE_ERROR, "it failed"),
              "error   Example_Run (src/Example:17): it failed      code: 0x8000\n");
    EXPECT_EQ(Written(BRQTRACE_WARNING, "it is odd"),
              "warning Example_Run (src/Example:17): it is odd      code: 0x8000\n");
    EXPECT_EQ(Written(BRQTRACE_INFORMATION, "it runs"),
              "info    Example_Run (src/Example:17): it runs      code: 0x8000\n");
}

TEST(TraceStandIn, NothingIsWrittenBeforeTheRecordEnds) {
    const TraceLibrary library;
    testing::internal::CaptureStderr();
    library.begin(&DS_trace, BRQTRACE_ERROR, &kSite);
    library.print(&DS_trace, "half a record");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(TraceStandIn, ARecordOfAnyLengthIsCutAndStaysInItsBuffer) {
    EXPECT_EQ(Written(BRQTRACE_ERROR, std::string(10000, 'x').c_str()).size(), 4095U);
}

// The stand-in's own functions, which tests may replace as well.
struct BoardLibrary {
    decltype(Bsp_getNumberOfChannels)* channels = Real<decltype(Bsp_getNumberOfChannels)>("Bsp_getNumberOfChannels");
    decltype(Bsp_getZorHwVariant)* record = Real<decltype(Bsp_getZorHwVariant)>("Bsp_getZorHwVariant");
};

class BoardStandIn : public testing::Test {
protected:
    ~BoardStandIn() override { CoreBsp_setBoard(channelsBefore_, &recordBefore_); }

    const BoardLibrary board_ = {};

private:
    const std::uint32_t channelsBefore_ = board_.channels();
    const BspHwRecord recordBefore_ = *board_.record();
};

TEST_F(BoardStandIn, AnswersWithTheBoardThatWasSet) {
    BspHwRecord record = {};
    record.words[0] = 5;
    record.words[15] = 0xFFFFFFFF;
    CoreBsp_setBoard(2, &record);
    EXPECT_EQ(board_.channels(), 2U);
    EXPECT_EQ(board_.record()->words[0], 5U);
    EXPECT_EQ(board_.record()->words[1], 0U);
    EXPECT_EQ(board_.record()->words[15], 0xFFFFFFFFU);
}

TEST_F(BoardStandIn, CopiesTheRecord) {
    BspHwRecord record = {};
    CoreBsp_setBoard(1, &record);
    record.words[0] = 7;
    EXPECT_EQ(board_.record()->words[0], 0U);
}

TEST_F(BoardStandIn, KeepsTheRecordInOnePlace) {
    const BspHwRecord* const before = board_.record();
    const BspHwRecord other = {{1, 2, 3}};
    CoreBsp_setBoard(4, &other);
    EXPECT_EQ(board_.record(), before);
    EXPECT_EQ(before->words[2], 3U);
}

}  // namespace
