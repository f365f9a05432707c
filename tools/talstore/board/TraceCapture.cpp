#include "board/TraceCapture.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

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

void trace_begin(TraceState* state, int level, const TraceSite* site);
[[gnu::format(printf, 2, 3)]] void trace_printf(TraceState* state, const char* format, ...);
void trace_end(TraceState* state);
}

namespace tal::talstore {

namespace {

constexpr std::string_view kCodeLine = "      code: ";

TraceCapture* active = nullptr;

[[gnu::format(printf, 1, 0)]] std::string Format(const char* format, std::va_list arguments) {
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

}  // namespace

/// What the trace library's functions do to the capture. No exception may reach the library.
struct TraceLibrary {
    static void Begin(const TraceSite& site) noexcept {
        if (active != nullptr) {
            active->open_ = {0, site.operationName, {}};
        }
    }

    [[gnu::format(printf, 1, 0)]] static void Print(const char* format, std::va_list arguments) noexcept {
        if (active == nullptr) {
            return;
        }
        const std::string text = Format(format, arguments);
        if (text.compare(0, kCodeLine.size(), kCodeLine) == 0) {
            active->open_.code = std::strtoul(text.c_str() + kCodeLine.size(), nullptr, 16);
        } else {
            active->open_.message += text;
        }
    }

    static void End() noexcept {
        if (active != nullptr) {
            active->records_.push_back(std::move(active->open_));
        }
    }
};

TraceCapture::TraceCapture() : thresholdBefore_(DS_trace.threshold) {
    DS_trace.threshold = INT_MAX;
    active = this;
}

TraceCapture::~TraceCapture() {
    active = nullptr;
    DS_trace.threshold = thresholdBefore_;
}

}  // namespace tal::talstore

using tal::talstore::TraceLibrary;

extern "C" {

void trace_begin(TraceState* /*state*/, int /*level*/, const TraceSite* site) {
    TraceLibrary::Begin(*site);
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
