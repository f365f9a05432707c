#include "support/TraceRecorder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "Device/DeviceSupport/private/Tracing.h"
#include "support/CallWatch.h"

namespace tal::test {

namespace {

TraceRecorder* active = nullptr;

constexpr const char* kCodeLineStart = "      code: ";

/// A trace library may change errno, so this one always does.
void ClobberErrno() {
    errno = EXDEV;
}

[[gnu::format(printf, 1, 0)]] std::string Format(const char* format, std::va_list arguments) {
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    EXPECT_GE(length, 0) << format;
    std::string text(length < 0 ? 0 : static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

template <class Predicate>
std::vector<std::string> LinesIf(const std::vector<TraceRecord>& records, Predicate predicate) {
    std::vector<std::string> lines;
    for (const TraceRecord& record : records) {
        if (predicate(record)) {
            lines.push_back(ToLine(record));
        }
    }
    return lines;
}

}  // namespace

/// What the functions of the trace library do to the recorder.
class TraceLibrary {
public:
    static int Level(QBFResult code) {
        ClobberErrno();
        static auto* const real = Real<decltype(CPexTraceHandler_DmLevel2GtLevel)>("CPexTraceHandler_DmLevel2GtLevel");
        if (active == nullptr) {
            return real(code);
        }
        ++active->mappingCalls_;
        return active->mapping_ ? active->mapping_(code) : real(code);
    }

    static void Begin(int level, const TraceSite& site) {
        ClobberErrno();
        if (active == nullptr) {
            return;
        }
        EXPECT_FALSE(active->isOpen_) << "a record of " << site.operationName << " begins inside another";
        active->isOpen_ = true;
        active->pieces_.clear();
        active->open_ = {QBF_OK, level, site.operationName, "", "", site.sourcePath, site.sourceLine, &site};
    }

    [[gnu::format(printf, 1, 0)]] static void Print(const char* format, std::va_list arguments) {
        ClobberErrno();
        if (active == nullptr) {
            return;
        }
        EXPECT_TRUE(active->isOpen_) << "text outside a record: " << format;
        active->pieces_.push_back(Format(format, arguments));
    }

    static void End() {
        ClobberErrno();
        if (active == nullptr) {
            return;
        }
        EXPECT_TRUE(active->isOpen_) << "a record ends that has not begun";
        active->isOpen_ = false;
        const std::vector<std::string>& pieces = active->pieces_;
        if (pieces.size() != 2 || pieces[1].rfind(kCodeLineStart, 0) != 0) {
            ADD_FAILURE() << "a record is a message and a code line, not " << ::testing::PrintToString(pieces);
            return;
        }
        TraceRecord& record = active->open_;
        record.message = pieces[0];
        record.codeLine = pieces[1];
        record.code = std::strtoul(record.codeLine.c_str() + std::strlen(kCodeLineStart), nullptr, 16);
        active->records_.push_back(std::move(record));
    }
};

std::string ToLine(const TraceRecord& record) {
    char code[32];
    std::snprintf(code, sizeof code, "%#lx ", record.code);
    return code + record.operation + ": " + record.message;
}

TraceRecorder::TraceRecorder() : thresholdBefore_(DS_trace.threshold) {
    EXPECT_EQ(active, nullptr) << "one recorder at a time";
    active = this;
    SetThreshold(INT_MAX);
}

TraceRecorder::~TraceRecorder() {
    EXPECT_FALSE(isOpen_) << "the record of " << open_.operation << " was never ended";
    SetThreshold(thresholdBefore_);
    active = nullptr;
}

void TraceRecorder::SetThreshold(int threshold) {
    DS_trace.threshold = threshold;
}

void TraceRecorder::MapLevelsBy(LevelMapping mapping) {
    mapping_ = std::move(mapping);
}

std::vector<std::string> TraceRecorder::Lines() const {
    return LinesIf(records_, [](const TraceRecord&) { return true; });
}

std::vector<std::string> TraceRecorder::LinesOf(QBFResult code) const {
    return LinesIf(records_, [code](const TraceRecord& record) { return record.code == code; });
}

std::vector<std::string> TraceRecorder::LinesOf(std::string_view operation) const {
    return LinesIf(records_, [operation](const TraceRecord& record) { return record.operation == operation; });
}

std::vector<std::string> TraceRecorder::Failures() const {
    return LinesIf(records_, [](const TraceRecord& record) { return QBF_IsFailure(record.code); });
}

void TraceRecorder::Clear() {
    records_.clear();
    mappingCalls_ = 0;
}

}  // namespace tal::test

using tal::test::TraceLibrary;

extern "C" {

int CPexTraceHandler_DmLevel2GtLevel(QBFResult code) {
    return TraceLibrary::Level(code);
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
