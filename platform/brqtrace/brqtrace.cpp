#include "brqtrace/brqtrace.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Device/DeviceSupport/DeviceSupport.h"

struct TraceSite {
    const char* sourcePath;
    unsigned int sourceLine;
    const char* operationName;
};

namespace {

constexpr const char* kLevelNames[] = {"silent", "error", "warning", "info"};

char record[4096];
std::size_t recordLength = 0;

int ThresholdFromEnvironment() {
    const char* const text = std::getenv("BRQTRACE_THRESHOLD");
    if (text == nullptr) {
        return BRQTRACE_WARNING;
    }
    return static_cast<int>(std::strtol(text, nullptr, 10));
}

[[gnu::format(printf, 1, 0)]] void Append(const char* format, std::va_list arguments) {
    const int length = std::vsnprintf(record + recordLength, sizeof record - recordLength, format, arguments);
    if (length > 0) {
        recordLength = std::min(sizeof record - 1, recordLength + static_cast<std::size_t>(length));
    }
}

[[gnu::format(printf, 1, 2)]] void AppendFormatted(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Append(format, arguments);
    va_end(arguments);
}

}  // namespace

TraceState DS_trace = {ThresholdFromEnvironment()};

int CPexTraceHandler_DmLevel2GtLevel(unsigned long code) {
    if (QBF_IsFailure(code)) {
        return BRQTRACE_ERROR;
    }
    return code >= 0x1000 ? BRQTRACE_WARNING : BRQTRACE_INFORMATION;
}

void trace_begin(TraceState* /*state*/, int level, const TraceSite* site) {
    recordLength = 0;
    const char* const levelName = kLevelNames[std::clamp(level, 0, static_cast<int>(BRQTRACE_INFORMATION))];
    // Not by trace_printf, which a process may have replaced.
    AppendFormatted("%-7s %s (%s:%u): ", levelName, site->operationName, site->sourcePath, site->sourceLine);
}

[[gnu::format(printf, 2, 3)]] void trace_printf(TraceState* /*state*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Append(format, arguments);
    va_end(arguments);
}

void trace_end(TraceState* /*state*/) {
    std::fwrite(record, 1, recordLength, stderr);
    recordLength = 0;
}
