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
};

/// Keeps every record that is traced while it lives; without one, records are dropped. At most one lives at a time.
class TraceCapture {
public:
    TraceCapture();
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    /// Empty before the first record.
    [[nodiscard]] std::string LastOperation() const { return records_.empty() ? "" : records_.back().operation; }
    [[nodiscard]] std::size_t RecordCount() const { return records_.size(); }
    [[nodiscard]] std::vector<TraceRecord> Take() { return std::move(records_); }

private:
    friend struct TraceLibrary;

    std::vector<TraceRecord> records_;
    TraceRecord open_ = {};
    int thresholdBefore_;
};

}  // namespace tal::talstore

#endif
