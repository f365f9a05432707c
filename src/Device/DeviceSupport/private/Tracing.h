/// The trace call of every provider, and the trace library's functions as they are imported.
#ifndef TAL_PRIVATE_TRACING_H
#define TAL_PRIVATE_TRACING_H

#include <cstdint>

#include "Device/DeviceSupport/DeviceSupport.h"

/// Where a record comes from: one static instance per trace call.
struct TraceSite {
    const char* sourcePath;
    unsigned int sourceLine;
    const char* operationName;
};

extern "C" {

/// The trace library's global state; only its first word is used here.
struct TraceState {
    int threshold;
};
extern TraceState DS_trace;

int CPexTraceHandler_DmLevel2GtLevel(QBFResult code);
void trace_begin(TraceState* state, int level, const TraceSite* site);
[[gnu::format(printf, 2, 3)]] void trace_printf(TraceState* state, const char* format, ...);
void trace_end(TraceState* state);
}

namespace tal {

/// A record that is open: what its end needs.
struct TraceRecord {
    QBFResult code;
    int errnoBefore;
};

/// Opens a record without asking whether it is wanted. `errno` is as before, so that the message may print it.
/// @return the trace library's state, for the message.
TraceState* OpenRecord(TraceRecord& record, int level, QBFResult code, const TraceSite& site);

/// Opens the record of a failure, if the level of `code` is admitted. `errno` is as before, whether it is or not: the
/// records of a failure, and those after it, may print it.
/// @return the trace library's state, or null when the record is not wanted.
TraceState* OpenFailureRecord(TraceRecord& record, QBFResult code, const TraceSite& site);

/// Opens a record if the level of `code` is admitted; only its low 32 bits count, so that records are the same for both
/// widths of `unsigned long`. Several records of what is no failure come to each variable and are mostly not wanted, so
/// that nothing but the level is looked at for them.
/// @return the trace library's state, or null when the record is not wanted.
[[nodiscard]] inline TraceState* BeginTrace(TraceRecord& record, QBFResult code, const TraceSite& site) {
    const QBFResult shownCode = static_cast<std::uint32_t>(code);
    if (QBF_IsFailure(shownCode)) {
        return OpenFailureRecord(record, shownCode, site);
    }
    const int level = CPexTraceHandler_DmLevel2GtLevel(shownCode);
    return DS_trace.threshold < level ? nullptr : OpenRecord(record, level, shownCode, site);
}

/// Appends the code line, emits the record and puts `errno` back.
void EndTrace(const TraceRecord& record);

}  // namespace tal

/// DS_TRACE(Names, operation, code, format, ...): one record at the level of `code`. `Names` is the provider's
/// structure of names: its `kSource` is the source path of all its records, its `operation` the name of the reporting
/// operation. Nothing is formatted, and the arguments are not evaluated, when the level is not admitted; `errno` is
/// still that of the failure while they are.
#define DS_TRACE(Names, operation, code, ...)                                               \
    do {                                                                                    \
        static const TraceSite traceSite = {Names::kSource, __LINE__, Names::operation};    \
        tal::TraceRecord traceRecord;                                                       \
        if (TraceState* const traceState = tal::BeginTrace(traceRecord, code, traceSite)) { \
            trace_printf(traceState, __VA_ARGS__);                                          \
            tal::EndTrace(traceRecord);                                                     \
        }                                                                                   \
    } while (false)

#endif
