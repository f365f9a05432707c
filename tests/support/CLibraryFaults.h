/// Records the library's calls of the C library's file functions, and fails the ones that a test chooses.
#ifndef TAL_TEST_C_LIBRARY_FAULTS_H
#define TAL_TEST_C_LIBRARY_FAULTS_H

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/CallWatch.h"

namespace tal::test {

/// Sits between the library and "fopen", "fread", "fwrite", "fflush", "fsync", "fclose" and "stat" (under these names
/// also where the 64-bit variants are called) while it lives. Calls go through unless a fault says otherwise.
///
///     CLibraryFaults files;
///     files.Fail("fclose", 1, EIO);
///     EXPECT_EQ(provider->StoreAll(0, database, 0), QBF_E_FAILED);
///
/// Several faults may be set; the first one that fits a call decides. `nth` counts from 1; 0 means every call. At most
/// one instance lives at a time.
class CLibraryFaults {
public:
    explicit CLibraryFaults(Watch watch = Watch::Library);
    ~CLibraryFaults();
    CLibraryFaults(const CLibraryFaults&) = delete;
    CLibraryFaults& operator=(const CLibraryFaults&) = delete;

    /// Fails the `nth` call of all.
    void Fail(int nth, int error = EIO);

    /// Fails the `nth` call of `function`, with `error` in errno. fopen gives no stream; fread and fwrite move nothing,
    /// set the stream's error indicator and return 0; fflush, fsync and stat do nothing; fclose closes, then fails.
    void Fail(std::string_view function, int nth, int error = EIO);

    /// The `nth` fread or fwrite moves `missingBytes` fewer than asked. A read meets the end of the file there; a write
    /// sets the error indicator and ENOSPC.
    void Shorten(std::string_view function, int nth, std::size_t missingBytes);

    /// The `nth` fread moves `missingBytes` fewer than asked, then meets a read error and not the end of the file.
    void BreakRead(int nth, std::size_t missingBytes, int error = EIO);

    /// The `nth` fwrite keeps nothing and says that it has written everything.
    void SwallowWrite(int nth);

    /// Power loss after the `writes`-th fwrite (0: before the first): the files hold what had been written by then, and
    /// everything later says yes and does nothing.
    void StopTheWorldAfter(int writes);

    /// Lets every stat of a file tell `size` in bytes.
    void TellSize(long size);

    /// Does `action` right before the first call of `function`.
    void Before(std::string_view function, std::function<void()> action);

    /// Opens `replacement` wherever `path` is asked for.
    void Redirect(std::string_view path, std::string_view replacement);

    /// Whether any fault has met its call.
    [[nodiscard]] bool Fired() const { return !firedAt_.empty(); }

    /// The function of the call that the first fault met; empty before.
    [[nodiscard]] const std::string& FunctionName() const { return firedAt_; }

    /// All calls in order: "fopen path mode", "stat path", "fread bytes", "fwrite bytes", or the function's name alone.
    [[nodiscard]] const std::vector<std::string>& Calls() const { return calls_; }

    /// How often `function` has been called.
    [[nodiscard]] int Count(std::string_view function) const;

    /// Streams that were opened and not closed.
    [[nodiscard]] int OpenStreams() const { return static_cast<int>(streams_.size()); }

private:
    friend class FileInterposer;

    enum class Action { PassOn, Fail, Shorten, Break, Swallow };
    struct Answer {
        Action action = Action::PassOn;
        int error = 0;
        std::size_t missingBytes = 0;
    };
    struct Fault {
        std::string function;  // Empty: any.
        int nth;               // 0: every one.
        Answer answer;
        int seen = 0;
    };
    struct Redirection {
        std::string path;
        std::string replacement;
    };

    struct Interruption {
        std::string function;
        std::function<void()> action;
    };

    Answer AnswerTo(const std::string& function, const std::string& argument = "");
    void Interrupt(const std::string& function);
    [[nodiscard]] std::string Redirected(const char* path) const;

    Watch watch_;
    std::vector<Fault> faults_;
    std::vector<Redirection> redirections_;
    std::vector<Interruption> interruptions_;
    std::vector<std::string> calls_;
    std::set<std::FILE*> streams_;
    std::set<std::FILE*> failedStreams_;  // Whose ferror says so, and
    std::set<std::FILE*> endedStreams_;   // whose feof does.
    std::string firedAt_;
    std::optional<long> toldSize_;
    int writesUntilStop_ = -1;
    bool isStopped_ = false;
};

}  // namespace tal::test

#endif
