#include "Device/DeviceSupport/private/Tracing.h"

#include <cerrno>

namespace tal {

int BeginTrace(int level, const TraceSite& site) {
    const int errnoBefore = errno;
    trace_begin(&DS_trace, level, &site);
    // The record's own arguments may print it.
    errno = errnoBefore;
    return errnoBefore;
}

void EndTrace(QBFResult code, int errnoBefore) {
    trace_printf(&DS_trace, "      code: %#lx\n", code);
    trace_end(&DS_trace);
    errno = errnoBefore;
}

}  // namespace tal
