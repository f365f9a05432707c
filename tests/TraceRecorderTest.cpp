#include "support/TraceRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "Device/DeviceSupport/private/Tracing.h"

namespace {

using tal::test::TraceRecorder;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr TraceSite kSite = {"src/Example", 17, "Example_Run"};

void Emit(QBFResult code, const char* message) {
    trace_begin(&DS_trace, 1, &kSite);
    trace_printf(&DS_trace, "%s", message);
    trace_printf(&DS_trace, "      code: %#lx\n", code);
    trace_end(&DS_trace);
}

TEST(TraceRecorder, KeepsEveryPartOfARecord) {
    const TraceRecorder traces;
    Emit(0x8000, "it failed");
    ASSERT_EQ(traces.Records().size(), 1U);
    const tal::test::TraceRecord& record = traces.Records()[0];
    EXPECT_EQ(record.code, 0x8000U);
    EXPECT_EQ(record.level, 1);
    EXPECT_EQ(record.operation, "Example_Run");
    EXPECT_EQ(record.message, "it failed");
    EXPECT_EQ(record.codeLine, "      code: 0x8000\n");
    EXPECT_EQ(record.sourcePath, "src/Example");
    EXPECT_EQ(record.line, 17U);
    EXPECT_EQ(record.site, &kSite);
}

TEST(TraceRecorder, ShowsRecordsAsLinesInOrder) {
    const TraceRecorder traces;
    Emit(0x8000, "it failed");
    Emit(0, "it went well");
    EXPECT_THAT(traces.Lines(), ElementsAre("0x8000 Example_Run: it failed", "0 Example_Run: it went well"));
}

TEST(TraceRecorder, SelectsLinesByCodeByOperationAndByFailure) {
    const TraceRecorder traces;
    Emit(0x0800, "information");
    Emit(0x8004, "failure");
    EXPECT_THAT(traces.LinesOf(0x0800), ElementsAre("0x800 Example_Run: information"));
    EXPECT_THAT(traces.LinesOf("Example_Run").size(), 2U);
    EXPECT_THAT(traces.LinesOf("Example"), IsEmpty());
    EXPECT_THAT(traces.Failures(), ElementsAre("0x8004 Example_Run: failure"));
}

TEST(TraceRecorder, FormatsTextsOfAnyLength) {
    const TraceRecorder traces;
    const std::string text(100000, 'x');
    Emit(0x0800, text.c_str());
    EXPECT_EQ(traces.Records().at(0).message, text);
}

TEST(TraceRecorder, ForgetsOnRequest) {
    TraceRecorder traces;
    CPexTraceHandler_DmLevel2GtLevel(0);
    Emit(0x0800, "information");
    traces.Clear();
    EXPECT_THAT(traces.Records(), IsEmpty());
    EXPECT_EQ(traces.MappingCalls(), 0);
}

TEST(TraceRecorder, CountsWhatWasAskedOfTheMapping) {
    const TraceRecorder traces;
    CPexTraceHandler_DmLevel2GtLevel(0x8000);
    CPexTraceHandler_DmLevel2GtLevel(0x0800);
    EXPECT_EQ(traces.MappingCalls(), 2);
}

TEST(TraceRecorder, RestoresTheThresholdAndTheMapping) {
    const int before = DS_trace.threshold;
    const int levelBefore = CPexTraceHandler_DmLevel2GtLevel(0x8000);
    {
        TraceRecorder traces;
        traces.MapLevelsBy([](QBFResult) { return 99; });
        EXPECT_NE(DS_trace.threshold, before);
        EXPECT_EQ(CPexTraceHandler_DmLevel2GtLevel(0x8000), 99);
    }
    EXPECT_EQ(DS_trace.threshold, before);
    EXPECT_EQ(CPexTraceHandler_DmLevel2GtLevel(0x8000), levelBefore);
}

TEST(TraceRecorder, WithoutARecorderNothingIsShown) {
    testing::internal::CaptureStderr();
    Emit(0x8000, "it failed");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(TraceRecorder, EveryCallChangesErrno) {
    errno = 0;
    CPexTraceHandler_DmLevel2GtLevel(0x8000);
    EXPECT_NE(errno, 0);
    for (const auto call : {+[] { trace_begin(&DS_trace, 1, &kSite); }, +[] { trace_printf(&DS_trace, "text"); },
                            +[] { trace_end(&DS_trace); }}) {
        errno = 0;
        call();
        EXPECT_NE(errno, 0);
    }
}

void EmitWithoutCodeLine() {
    const TraceRecorder traces;
    trace_begin(&DS_trace, 1, &kSite);
    trace_printf(&DS_trace, "text");
    trace_end(&DS_trace);
}

void EmitAnotherCodeLine() {
    const TraceRecorder traces;
    trace_begin(&DS_trace, 1, &kSite);
    trace_printf(&DS_trace, "text");
    trace_printf(&DS_trace, "code: 0x1");
    trace_end(&DS_trace);
}

void LeaveARecordOpen() {
    const TraceRecorder traces;
    trace_begin(&DS_trace, 1, &kSite);
}

void PrintOutsideARecord() {
    const TraceRecorder traces;
    trace_printf(&DS_trace, "text");
}

TEST(TraceRecorder, MalformedRecordsFailTheTest) {
    EXPECT_NONFATAL_FAILURE(EmitWithoutCodeLine(), "a record is a message and a code line");
    EXPECT_NONFATAL_FAILURE(EmitAnotherCodeLine(), "a record is a message and a code line");
    EXPECT_NONFATAL_FAILURE(LeaveARecordOpen(), "was never ended");
    EXPECT_NONFATAL_FAILURE(PrintOutsideARecord(), "text outside a record");
}

}  // namespace
