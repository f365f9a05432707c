#include "Device/DeviceSupport/private/Tracing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "support/TraceRecorder.h"

namespace {

using tal::test::TraceRecord;
using tal::test::TraceRecorder;
using testing::ElementsAre;
using testing::IsEmpty;

struct ExampleTraces {
    static constexpr const char* kSource = "src/Device/DeviceSupport/private/Example";
    static constexpr const char* kTrace = "Example_Trace";
};

void TraceAt(TraceRecorder& traces, int threshold, int level) {
    traces.SetThreshold(threshold);
    traces.MapLevelsBy([level](QBFResult) { return level; });
    DS_TRACE(ExampleTraces, kTrace, QBF_E_FAILED, "a message");
}

struct LevelCase {
    int threshold;
    int level;
};

TEST(Tracing, ALevelUpToTheThresholdIsAdmitted) {
    for (const auto& [threshold, level] :
         {LevelCase{3, 3}, LevelCase{3, 2}, LevelCase{0, 0}, LevelCase{0, -1}, LevelCase{-5, -5},
          LevelCase{-5, INT_MIN}, LevelCase{INT_MAX, INT_MAX}, LevelCase{INT_MIN, INT_MIN}}) {
        TraceRecorder traces;
        TraceAt(traces, threshold, level);
        EXPECT_EQ(traces.Records().size(), 1U) << "threshold " << threshold << " level " << level;
    }
}

TEST(Tracing, ALevelAboveTheThresholdIsSuppressedAndTheComparisonIsSigned) {
    for (const auto& [threshold, level] : {LevelCase{2, 3}, LevelCase{-1, 0}, LevelCase{-2, -1}, LevelCase{INT_MIN, 0},
                                           LevelCase{INT_MIN, INT_MAX}, LevelCase{-1, INT_MAX}}) {
        TraceRecorder traces;
        TraceAt(traces, threshold, level);
        EXPECT_THAT(traces.Lines(), IsEmpty()) << "threshold " << threshold << " level " << level;
    }
}

TEST(Tracing, TheLevelIsAskedForWithTheRecordsCodeOnce) {
    TraceRecorder traces;
    std::vector<QBFResult> asked;
    traces.MapLevelsBy([&asked](QBFResult code) {
        asked.push_back(code);
        return 7;
    });
    DS_TRACE(ExampleTraces, kTrace, QBF_E_CORRUPT, "a message");
    EXPECT_THAT(asked, ElementsAre(0x8010U));
    ASSERT_EQ(traces.Records().size(), 1U);
    EXPECT_EQ(traces.Records()[0].level, 7);
}

TEST(Tracing, ASuppressedTraceDoesNotEvaluateItsArguments) {
    TraceRecorder traces;
    traces.SetThreshold(INT_MIN);
    int evaluations = 0;
    DS_TRACE(ExampleTraces, kTrace, QBF_E_FAILED, "%d", ++evaluations);
    EXPECT_EQ(evaluations, 0);
}

TEST(Tracing, AnAdmittedTraceEvaluatesItsArgumentsAndItsCodeOnce) {
    TraceRecorder traces;
    int evaluations = 0;
    QBFResult code = 0x8000;
    DS_TRACE(ExampleTraces, kTrace, code++, "%d", ++evaluations);
    EXPECT_EQ(evaluations, 1);
    EXPECT_EQ(code, 0x8001U);
    EXPECT_THAT(traces.Lines(), ElementsAre("0x8000 Example_Trace: 1"));
}

TEST(Tracing, ARecordIsTheMessageAndTheCodeLine) {
    TraceRecorder traces;
    DS_TRACE(ExampleTraces, kTrace, QBF_E_IO, "Could not write %s (%d)", "name", -7);
    ASSERT_EQ(traces.Records().size(), 1U);
    EXPECT_EQ(traces.Records()[0].message, "Could not write name (-7)");
    EXPECT_EQ(traces.Records()[0].codeLine, "      code: 0x800a\n");
}

TEST(Tracing, TheCodeLineOfZeroHasNoPrefix) {
    TraceRecorder traces;
    DS_TRACE(ExampleTraces, kTrace, QBF_OK, "fine");
    ASSERT_EQ(traces.Records().size(), 1U);
    EXPECT_EQ(traces.Records()[0].codeLine, "      code: 0\n");
}

TEST(Tracing, TheSiteNamesSourceLineAndOperation) {
    TraceRecorder traces;
    const unsigned int line = __LINE__ + 1;
    DS_TRACE(ExampleTraces, kTrace, QBF_I_INFO, "Enter: %s", ExampleTraces::kTrace);
    ASSERT_EQ(traces.Records().size(), 1U);
    const TraceRecord& record = traces.Records()[0];
    EXPECT_EQ(record.sourcePath, "src/Device/DeviceSupport/private/Example");
    EXPECT_EQ(record.line, line);
    EXPECT_EQ(record.operation, ExampleTraces::kTrace);
}

TEST(Tracing, EachTraceCallHasOneSiteOfItsOwn) {
    TraceRecorder traces;
    for (int i = 0; i < 2; ++i) {
        DS_TRACE(ExampleTraces, kTrace, QBF_I_INFO, "one");
        DS_TRACE(ExampleTraces, kTrace, QBF_I_INFO, "other");
    }
    ASSERT_EQ(traces.Records().size(), 4U);
    EXPECT_EQ(traces.Records()[0].site, traces.Records()[2].site);
    EXPECT_EQ(traces.Records()[1].site, traces.Records()[3].site);
    EXPECT_NE(traces.Records()[0].site, traces.Records()[1].site);
}

TEST(Tracing, ErrnoSurvivesAnAdmittedTrace) {
    const TraceRecorder traces;
    errno = ENOSPC;
    DS_TRACE(ExampleTraces, kTrace, QBF_E_FAILED, "a message");
    EXPECT_EQ(errno, ENOSPC);
}

TEST(Tracing, ErrnoSurvivesASuppressedTrace) {
    TraceRecorder traces;
    traces.SetThreshold(INT_MIN);
    errno = ENOSPC;
    DS_TRACE(ExampleTraces, kTrace, QBF_E_FAILED, "a message");
    EXPECT_EQ(errno, ENOSPC);
}

// A trace library may call a provider that traces itself.
TEST(Tracing, ErrnoSurvivesARecordInsideARecord) {
    const TraceSite site = {ExampleTraces::kSource, 1, ExampleTraces::kTrace};
    tal::TraceRecord outer;
    tal::TraceRecord inner;
    errno = ENOSPC;
    tal::OpenRecord(outer, 0, QBF_OK, site);
    errno = EIO;
    tal::OpenRecord(inner, 0, QBF_OK, site);
    tal::EndTrace(inner);
    tal::EndTrace(outer);
    EXPECT_EQ(errno, ENOSPC);
}

// The trace library's own code may change it.
TEST(Tracing, AFailuresErrnoSurvivesTheQuestionForItsLevel) {
    for (const int level : {INT_MIN, INT_MAX}) {
        TraceRecorder traces;
        traces.SetThreshold(0);
        traces.MapLevelsBy([level](QBFResult) {
            errno = EIO;
            return level;
        });
        errno = ENOSPC;
        DS_TRACE(ExampleTraces, kTrace, QBF_E_FAILED, "a message");
        EXPECT_EQ(errno, ENOSPC) << level;
    }
}

TEST(Tracing, TheMessageCanShowTheErrnoOfTheFailureItReports) {
    const TraceRecorder traces;
    errno = 28;
    DS_TRACE(ExampleTraces, kTrace, QBF_E_FAILED, "(errno is: %d)", errno);
    EXPECT_THAT(traces.Lines(), ElementsAre("0x8000 Example_Trace: (errno is: 28)"));
}

TEST(Tracing, AConstantThresholdLetsTheLibrarysOwnMappingDecide) {
    TraceRecorder traces;
    traces.SetThreshold(2);
    DS_TRACE(ExampleTraces, kTrace, QBF_I_INFO, "information");
    DS_TRACE(ExampleTraces, kTrace, QBF_W_WARNING, "warning");
    DS_TRACE(ExampleTraces, kTrace, QBF_E_FAILED, "failure");
    EXPECT_THAT(traces.Lines(), ElementsAre("0x1000 Example_Trace: warning", "0x8000 Example_Trace: failure"));
}

}  // namespace
