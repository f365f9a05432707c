#include "Device/DeviceSupport/private/Tracing.h"

#include <cerrno>

namespace tal {

namespace {

int errnoBeforeRecord = 0;

}  // namespace

void BeginTrace(int level, const TraceSite& site) {
    errnoBeforeRecord = errno;
    trace_begin(&DS_trace, level, &site);
    // The record's own arguments may print it.
    errno = errnoBeforeRecord;
}

void EndTrace(QBFResult code) {
    trace_printf(&DS_trace, "      code: %#lx\n", code);
    trace_end(&DS_trace);
    errno = errnoBeforeRecord;
}

}  // namespace tal
