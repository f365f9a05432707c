/// @file
/// A stand-in for the board's trace library: writes every record to standard error.
///
/// A record is admitted when the threshold is at least its level. Levels: 1 errors, 2 warnings, 3 everything else.
#ifndef BRQTRACE_H
#define BRQTRACE_H

#ifdef __cplusplus
extern "C" {
#endif

struct TraceSite;

enum BrqTraceLevel { BRQTRACE_SILENT = 0, BRQTRACE_ERROR = 1, BRQTRACE_WARNING = 2, BRQTRACE_INFORMATION = 3 };

/// The library's state. The threshold is taken from the environment variable BRQTRACE_THRESHOLD (0 to 3) when the
/// library is loaded, BRQTRACE_WARNING without it, and may be set at any time.
struct TraceState {
    int threshold;
};
extern struct TraceState DS_trace;

/// Maps a result code to a level: failures (from 0x8000) are errors, codes from 0x1000 warnings.
int CPexTraceHandler_DmLevel2GtLevel(unsigned long code);

/// Opens a record: "<level> <operation> (<source>:<line>): ".
void trace_begin(struct TraceState* state, int level, const struct TraceSite* site);

/// Appends formatted text; at most 4 KiB of a record are kept.
void trace_printf(struct TraceState* state, const char* format, ...);

/// Writes the record as one line.
void trace_end(struct TraceState* state);

#ifdef __cplusplus
}
#endif

#endif
