#include "Device/DeviceSupport/private/Tracing.h"

#include <cerrno>

namespace tal {

TraceState* OpenRecord(TraceRecord& record, int level, QBFResult code, const TraceSite& site) {
    record = {code, errno};
    trace_begin(&DS_trace, level, &site);
    errno = record.errnoBefore;
    return &DS_trace;
}

TraceState* OpenFailureRecord(TraceRecord& record, QBFResult code, const TraceSite& site) {
    const int errnoBefore = errno;
    const int level = CPexTraceHandler_DmLevel2GtLevel(code);
    errno = errnoBefore;
    return DS_trace.threshold < level ? nullptr : OpenRecord(record, level, code, site);
}

void EndTrace(const TraceRecord& record) {
    trace_printf(&DS_trace, "      code: %#lx\n", record.code);
    trace_end(&DS_trace);
    errno = record.errnoBefore;
}

}  // namespace tal
