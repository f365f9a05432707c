// Both the plain names and the 64-bit ones are defined here, so the headers must not rename the one to the other.
#undef _FILE_OFFSET_BITS

#include "support/CLibraryFaults.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

namespace tal::test {

namespace {

CLibraryFaults* activeFiles = nullptr;

bool Writes(const std::string& mode) {
    return mode.find_first_of("wa+") != std::string::npos;
}

}  // namespace

CLibraryFaults::CLibraryFaults(Watch watch) : watch_(watch) {
    EXPECT_EQ(activeFiles, nullptr) << "one CLibraryFaults at a time";
    activeFiles = this;
}

CLibraryFaults::~CLibraryFaults() {
    activeFiles = nullptr;
}

void CLibraryFaults::Fail(int nth, int error) {
    faults_.push_back({"", nth, {Action::Fail, error, 0}});
}

void CLibraryFaults::Fail(std::string_view function, int nth, int error) {
    faults_.push_back({std::string(function), nth, {Action::Fail, error, 0}});
}

void CLibraryFaults::Shorten(std::string_view function, int nth, std::size_t missingBytes) {
    faults_.push_back({std::string(function), nth, {Action::Shorten, ENOSPC, missingBytes}});
}

void CLibraryFaults::BreakRead(int nth, std::size_t missingBytes, int error) {
    faults_.push_back({"fread", nth, {Action::Break, error, missingBytes}});
}

void CLibraryFaults::SwallowWrite(int nth) {
    faults_.push_back({"fwrite", nth, {Action::Swallow, 0, 0}});
}

void CLibraryFaults::StopTheWorldAfter(int writes) {
    writesUntilStop_ = writes;
}

void CLibraryFaults::Redirect(std::string_view path, std::string_view replacement) {
    redirections_.push_back({std::string(path), std::string(replacement)});
}

void CLibraryFaults::Before(std::string_view function, std::function<void()> action) {
    interruptions_.push_back({std::string(function), std::move(action)});
}

void CLibraryFaults::TellSize(long size) {
    toldSize_ = size;
}

void CLibraryFaults::Interrupt(const std::string& function) {
    const auto interruption =
        std::find_if(interruptions_.begin(), interruptions_.end(),
                     [&function](const Interruption& candidate) { return candidate.function == function; });
    if (interruption != interruptions_.end()) {
        const std::function<void()> action = std::move(interruption->action);
        interruptions_.erase(interruption);
        action();
    }
}

int CLibraryFaults::Count(std::string_view function) const {
    return static_cast<int>(std::count_if(calls_.begin(), calls_.end(), [function](const std::string& call) {
        return call.substr(0, call.find(' ')) == function;
    }));
}

CLibraryFaults::Answer CLibraryFaults::AnswerTo(const std::string& function, const std::string& argument) {
    calls_.push_back(argument.empty() ? function : function + ' ' + argument);
    Interrupt(function);
    Answer answer;
    for (Fault& fault : faults_) {
        if (!fault.function.empty() && fault.function != function) {
            continue;
        }
        ++fault.seen;
        if (answer.action == Action::PassOn && (fault.nth == 0 || fault.nth == fault.seen)) {
            answer = fault.answer;
        }
    }
    if (answer.action != Action::PassOn && firedAt_.empty()) {
        firedAt_ = function;
    }
    return answer;
}

std::string CLibraryFaults::Redirected(const char* path) const {
    for (const Redirection& redirection : redirections_) {
        if (redirection.path == path) {
            return redirection.replacement;
        }
    }
    return path;
}

/// What the library's calls do instead of going straight to the C library.
class FileInterposer {
public:
    using OpenFunction = std::FILE*(const char*, const char*);

    static std::FILE* Open(OpenFunction* real, const void* caller, const char* path, const char* mode) {
        if (!IsWatchedCall(caller)) {
            return real(path, mode);
        }
        const Answer answer = activeFiles->AnswerTo("fopen", std::string(path) + ' ' + mode);
        if (answer.action == Action::Fail) {
            errno = answer.error;
            return nullptr;
        }
        const bool isLost = activeFiles->isStopped_ && Writes(mode);
        std::FILE* const stream = real(isLost ? "/dev/null" : activeFiles->Redirected(path).c_str(), mode);
        if (stream != nullptr) {
            activeFiles->streams_.insert(stream);
        }
        return stream;
    }

    static std::size_t Read(const void* caller, void* data, std::size_t size, std::size_t count, std::FILE* stream) {
        static auto* const real = Real<decltype(fread)>("fread");
        if (!IsWatchedStream(caller, stream)) {
            return real(data, size, count, stream);
        }
        const Answer answer = activeFiles->AnswerTo("fread", std::to_string(size * count));
        switch (answer.action) {
            case Action::Fail:
                return EndWithError(stream, answer.error, 0);
            case Action::Shorten: {
                const std::size_t moved = real(data, 1, Less(size * count, answer.missingBytes), stream);
                GoToEndOfFile(stream);
                return moved / size;
            }
            case Action::Break: {
                const std::size_t moved = real(data, 1, Less(size * count, answer.missingBytes), stream);
                return EndWithError(stream, answer.error, moved / size);
            }
            case Action::PassOn:
            case Action::Swallow:
                break;
        }
        return real(data, size, count, stream);
    }

    static std::size_t Write(const void* caller, const void* data, std::size_t size, std::size_t count,
                             std::FILE* stream) {
        static auto* const real = Real<decltype(fwrite)>("fwrite");
        if (!IsWatchedStream(caller, stream)) {
            return real(data, size, count, stream);
        }
        const Answer answer = activeFiles->AnswerTo("fwrite", std::to_string(size * count));
        if (IsLostWrite()) {
            return count;
        }
        switch (answer.action) {
            case Action::Fail:
                return EndWithError(stream, answer.error, 0);
            case Action::Shorten: {
                const std::size_t moved = real(data, 1, Less(size * count, answer.missingBytes), stream);
                return EndWithError(stream, answer.error, moved / size);
            }
            case Action::Swallow:
                return count;
            case Action::PassOn:
            case Action::Break:
                break;
        }
        return real(data, size, count, stream);
    }

    static int Flush(const void* caller, std::FILE* stream) {
        static auto* const real = Real<decltype(fflush)>("fflush");
        if (!IsWatchedStream(caller, stream)) {
            return real(stream);
        }
        const Answer answer = activeFiles->AnswerTo("fflush");
        if (answer.action == Action::Fail) {
            SetError(stream);
            errno = answer.error;
            return EOF;
        }
        return real(stream);
    }

    static int Sync(const void* caller, int descriptor) {
        static auto* const real = Real<decltype(fsync)>("fsync");
        if (!IsWatchedCall(caller)) {
            return real(descriptor);
        }
        const Answer answer = activeFiles->AnswerTo("fsync");
        if (answer.action == Action::Fail) {
            errno = answer.error;
            return -1;
        }
        return real(descriptor);
    }

    static int Close(const void* caller, std::FILE* stream) {
        static auto* const real = Real<decltype(fclose)>("fclose");
        if (!IsWatchedStream(caller, stream)) {
            return real(stream);
        }
        activeFiles->streams_.erase(stream);
        activeFiles->failedStreams_.erase(stream);
        activeFiles->endedStreams_.erase(stream);
        const Answer answer = activeFiles->AnswerTo("fclose");
        const int result = real(stream);
        if (answer.action == Action::Fail) {
            errno = answer.error;
            return EOF;
        }
        return result;
    }

    static int Error(std::FILE* stream) {
        static auto* const real = Real<int(std::FILE*)>("ferror");
        return activeFiles != nullptr && activeFiles->failedStreams_.count(stream) != 0 ? 1 : real(stream);
    }

    static int End(std::FILE* stream) {
        static auto* const real = Real<int(std::FILE*)>("feof");
        return activeFiles != nullptr && activeFiles->endedStreams_.count(stream) != 0 ? 1 : real(stream);
    }

    template <class Stat>
    static int Status(int (*real)(const char*, Stat*), const void* caller, const char* path, Stat* status) {
        if (!IsWatchedCall(caller)) {
            return real(path, status);
        }
        const Answer answer = activeFiles->AnswerTo("stat", path);
        if (answer.action == Action::Fail) {
            errno = answer.error;
            return -1;
        }
        const int result = real(path, status);
        if (activeFiles->toldSize_) {
            status->st_size = *activeFiles->toldSize_;
        }
        return result;
    }

private:
    using Action = CLibraryFaults::Action;
    using Answer = CLibraryFaults::Answer;

    static bool IsWatchedCall(const void* caller) {
        return activeFiles != nullptr && IsWatched(caller, activeFiles->watch_);
    }

    static bool IsWatchedStream(const void* caller, std::FILE* stream) {
        return IsWatchedCall(caller) && activeFiles->streams_.count(stream) != 0;
    }

    /// Counts down to the power loss, at which what has been written reaches the files.
    static bool IsLostWrite() {
        if (!activeFiles->isStopped_ && activeFiles->writesUntilStop_ >= 0 && activeFiles->writesUntilStop_-- == 0) {
            static auto* const flush = Real<decltype(fflush)>("fflush");
            std::for_each(activeFiles->streams_.begin(), activeFiles->streams_.end(), flush);
            activeFiles->isStopped_ = true;
            activeFiles->firedAt_ = "fwrite";
        }
        return activeFiles->isStopped_;
    }

    // A stream's own indicators have no setters.
    static void SetError(std::FILE* stream) { activeFiles->failedStreams_.insert(stream); }

    /// @return `moved`, the items that a transfer has moved before the error.
    static std::size_t EndWithError(std::FILE* stream, int error, std::size_t moved) {
        SetError(stream);
        errno = error;
        return moved;
    }

    static void GoToEndOfFile(std::FILE* stream) {
        std::fseek(stream, 0, SEEK_END);
        activeFiles->endedStreams_.insert(stream);
    }

    static std::size_t Less(std::size_t bytes, std::size_t missing) { return bytes - std::min(bytes, missing); }
};

}  // namespace tal::test

using tal::test::FileInterposer;
using tal::test::Real;

// The parameters are named as the C library's headers name them.

extern "C" {

std::FILE* fopen(const char* filename, const char* modes) {
    static auto* const real = Real<decltype(fopen)>("fopen");
    return FileInterposer::Open(real, __builtin_return_address(0), filename, modes);
}

std::FILE* fopen64(const char* filename, const char* modes) {
    static auto* const real = Real<decltype(fopen64)>("fopen64");
    return FileInterposer::Open(real, __builtin_return_address(0), filename, modes);
}

std::size_t fread(void* ptr, std::size_t size, std::size_t n, std::FILE* stream) {
    return FileInterposer::Read(__builtin_return_address(0), ptr, size, n, stream);
}

std::size_t fwrite(const void* ptr, std::size_t size, std::size_t n, std::FILE* s) {
    return FileInterposer::Write(__builtin_return_address(0), ptr, size, n, s);
}

int fflush(std::FILE* stream) {
    return FileInterposer::Flush(__builtin_return_address(0), stream);
}

int fsync(int fd) {
    return FileInterposer::Sync(__builtin_return_address(0), fd);
}

int fclose(std::FILE* stream) {
    return FileInterposer::Close(__builtin_return_address(0), stream);
}

int ferror(std::FILE* stream) noexcept {
    return FileInterposer::Error(stream);
}

int feof(std::FILE* stream) noexcept {
    return FileInterposer::End(stream);
}

int stat(const char* file, struct stat* buf) noexcept {
    static auto* const real = Real<int(const char*, struct stat*)>("stat");
    return FileInterposer::Status(real, __builtin_return_address(0), file, buf);
}

int stat64(const char* file, struct stat64* buf) noexcept {
    static auto* const real = Real<int(const char*, struct stat64*)>("stat64");
    return FileInterposer::Status(real, __builtin_return_address(0), file, buf);
}
}
