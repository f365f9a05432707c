/// @file
/// Keeps what the library traces. The tool's executable defines the trace library's record functions itself, in front
/// of the trace library that it is linked with.
#ifndef TALSTORE_TRACE_CAPTURE_H
#define TALSTORE_TRACE_CAPTURE_H

#include <cstddef>
#include <string>
#include <vector>

#include "Device/DeviceSupport/HostDatabase.h"

namespace tal::talstore {

struct TraceRecord {
    QBFResult code;  ///< The level, as a result code.
    std::string operation;
    std::string message;

    [[nodiscard]] std::string MessageInOneLine() const;
};

/// What a capture keeps. To put every record of a large file into words takes longer than all the rest.
enum class KeptRecords { Failures, All };

/// Keeps records that are traced while it lives; without one, all are dropped. At most one lives at a time.
class TraceCapture {
public:
    explicit TraceCapture(KeptRecords kept);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    /// The operation that traced the first record, kept or not; empty before it.
    [[nodiscard]] const char* FirstOperation() const { return firstOperation_; }
    /// How many records it has kept.
    [[nodiscard]] std::size_t RecordCount() const { return records_.size(); }
    [[nodiscard]] std::vector<TraceRecord> Take() { return std::move(records_); }

private:
    friend struct TraceLibrary;

    KeptRecords kept_;
    std::vector<TraceRecord> records_;
    TraceRecord open_ = {};
    bool isOpenKept_ = false;
    const char* firstOperation_ = "";
    int thresholdBefore_;
};

}  // namespace tal::talstore

#endif
