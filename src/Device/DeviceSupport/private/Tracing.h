/// The trace call of every provider, and the trace library's functions as they are imported.
#ifndef TAL_PRIVATE_TRACING_H
#define TAL_PRIVATE_TRACING_H

// Each provider's source file sets up the standard streams when the library is loaded.
#include <iostream>  // IWYU pragma: keep

#include <cerrno>
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

/// The level that the trace library gives to the code. `errno` survives the call.
[[nodiscard]] inline int TraceLevel(QBFResult code) {
    const int errnoBefore = errno;
    const int level = CPexTraceHandler_DmLevel2GtLevel(code);
    errno = errnoBefore;
    return level;
}

/// Opens a record.
/// @return `errno`, which survives the record, so that a failure can be traced before and after it is reported.
[[nodiscard]] int BeginTrace(int level, const TraceSite& site);

/// Appends the code line, emits the record and puts `errno` back to `errnoBefore`.
void EndTrace(QBFResult code, int errnoBefore);

}  // namespace tal

/// DS_TRACE(Names, operation, code, format, ...): one record at the level of `code`. `Names` is the provider's
/// structure of names: its `kSource` is the source path of all its records, its `operation` the name of the reporting
/// operation. Nothing is formatted, and the arguments are not evaluated, when the level is not admitted; `errno` is
/// still that of the failure while they are. Only the low 32 bits of the code count, so that records are the same for
/// both widths of `unsigned long`.
#define DS_TRACE(Names, operation, code, ...)                                            \
    do {                                                                                 \
        static const TraceSite traceSite = {Names::kSource, __LINE__, Names::operation}; \
        const QBFResult traceCode = static_cast<std::uint32_t>(code);                    \
        const int traceLevel = tal::TraceLevel(traceCode);                               \
        if (DS_trace.threshold >= traceLevel) {                                          \
            const int traceErrno = tal::BeginTrace(traceLevel, traceSite);               \
            trace_printf(&DS_trace, __VA_ARGS__);                                        \
            tal::EndTrace(traceCode, traceErrno);                                        \
        }                                                                                \
    } while (false)

#endif
