/// Keeps the trace records that are emitted while it lives.
#ifndef TAL_TEST_TRACE_RECORDER_H
#define TAL_TEST_TRACE_RECORDER_H

#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/HostDatabase.h"

namespace tal::test {

/// One record as the trace library was handed it.
struct TraceRecord {
    QBFResult code;  ///< As printed in the code line.
    int level;       ///< As handed to trace_begin.
    std::string operation;
    std::string message;   ///< The first piece of text.
    std::string codeLine;  ///< The second piece of text.
    std::string sourcePath;
    unsigned int line;
    const void* site;  ///< The TraceSite, to tell whether two records come from one trace call.
};

/// "0x800 Operation: message"
[[nodiscard]] std::string ToLine(const TraceRecord& record);

/// Replaces the trace library while it lives; without a recorder all records are dropped. Admits every level unless
/// told otherwise. A record that is not exactly begin, message, code line, end fails the test.
///
///     TraceRecorder traces;
///     provider->StoreAll(0, database, 0);
///     EXPECT_THAT(traces.Lines(), ElementsAre("0x800 CXml...: Enter: CXml..."));
///
/// At most one lives at a time. Afterwards the threshold is what it was before.
class TraceRecorder {
public:
    using LevelMapping = std::function<int(QBFResult)>;

    TraceRecorder();
    ~TraceRecorder();
    TraceRecorder(const TraceRecorder&) = delete;
    TraceRecorder& operator=(const TraceRecorder&) = delete;

    /// Admits records up to this level.
    static void SetThreshold(int threshold);

    /// Answers CPexTraceHandler_DmLevel2GtLevel in place of the trace library.
    void MapLevelsBy(LevelMapping mapping);

    [[nodiscard]] const std::vector<TraceRecord>& Records() const { return records_; }
    [[nodiscard]] std::vector<std::string> Lines() const;
    [[nodiscard]] std::vector<std::string> LinesOf(QBFResult code) const;
    [[nodiscard]] std::vector<std::string> LinesOf(std::string_view operation) const;

    /// The lines of the records whose code is a failure.
    [[nodiscard]] std::vector<std::string> Failures() const;

    /// How often a level has been asked for, that is, how many traces were reached.
    [[nodiscard]] int MappingCalls() const { return mappingCalls_; }

    /// Forgets what has been recorded.
    void Clear();

private:
    friend class TraceLibrary;

    std::vector<TraceRecord> records_;
    std::vector<std::string> pieces_;
    TraceRecord open_ = {};
    bool isOpen_ = false;
    LevelMapping mapping_;
    int mappingCalls_ = 0;
    int thresholdBefore_;
};

}  // namespace tal::test

#endif
