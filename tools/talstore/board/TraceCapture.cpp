#include "board/TraceCapture.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "Device/DeviceSupport/DeviceSupport.h"

extern "C" {

struct TraceState {
    int threshold;
};
extern TraceState DS_trace;

struct TraceSite {
    const char* sourcePath;
    unsigned int sourceLine;
    const char* operationName;
};

int CPexTraceHandler_DmLevel2GtLevel(QBFResult code);
void trace_begin(TraceState* state, int level, const TraceSite* site);
[[gnu::format(printf, 2, 3)]] void trace_printf(TraceState* state, const char* format, ...);
void trace_end(TraceState* state);
}

namespace tal::talstore {

namespace {

constexpr std::string_view kCodeLine = "      code: ";

/// The tool's own levels: all that it asks is whether something failed.
constexpr int kFailureLevel = 0;
constexpr int kOtherLevel = 1;

TraceCapture* activeCapture = nullptr;

[[gnu::format(printf, 1, 0)]] std::string Formatted(const char* format, std::va_list arguments) {
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

}  // namespace

std::string TraceRecord::MessageInOneLine() const {
    std::string line = message;
    std::replace(line.begin(), line.end(), '\n', ' ');
    const std::size_t start = line.find_first_not_of(' ');
    return start == std::string::npos ? line : line.substr(start, line.find_last_not_of(' ') - start + 1);
}

/// What the trace library's functions do to the capture. No exception may reach the library.
struct TraceLibrary {
    static int LevelOf(QBFResult code) { return QBF_IsFailure(code) ? kFailureLevel : kOtherLevel; }

    static void Begin(int level, const TraceSite& site) noexcept {
        if (activeCapture == nullptr) {
            return;
        }
        if (*activeCapture->firstOperation_ == '\0') {
            activeCapture->firstOperation_ = site.operationName;
        }
        activeCapture->isOpenKept_ = activeCapture->kept_ == KeptRecords::All || level == kFailureLevel;
        if (activeCapture->isOpenKept_) {
            activeCapture->open_ = {0, site.operationName, {}};
        }
    }

    [[gnu::format(printf, 1, 0)]] static void Print(const char* format, std::va_list arguments) noexcept {
        if (activeCapture == nullptr || !activeCapture->isOpenKept_) {
            return;
        }
        const std::string text = Formatted(format, arguments);
        if (text.compare(0, kCodeLine.size(), kCodeLine) == 0) {
            activeCapture->open_.code = std::strtoul(text.c_str() + kCodeLine.size(), nullptr, 16);
        } else {
            activeCapture->open_.message += text;
        }
    }

    static void End() noexcept {
        if (activeCapture != nullptr && activeCapture->isOpenKept_) {
            activeCapture->records_.push_back(std::move(activeCapture->open_));
        }
    }
};

TraceCapture::TraceCapture(KeptRecords kept) : kept_(kept), thresholdBefore_(DS_trace.threshold) {
    DS_trace.threshold = INT_MAX;
    activeCapture = this;
}

TraceCapture::~TraceCapture() {
    activeCapture = nullptr;
    DS_trace.threshold = thresholdBefore_;
}

}  // namespace tal::talstore

using tal::talstore::TraceLibrary;

extern "C" {

int CPexTraceHandler_DmLevel2GtLevel(QBFResult code) {
    return TraceLibrary::LevelOf(code);
}

void trace_begin(TraceState* /*state*/, int level, const TraceSite* site) {
    TraceLibrary::Begin(level, *site);
}

void trace_printf(TraceState* /*state*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    TraceLibrary::Print(format, arguments);
    va_end(arguments);
}

void trace_end(TraceState* /*state*/) {
    TraceLibrary::End();
}
}
