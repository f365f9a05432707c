/// @file
/// One process that does jobs one after another, and this end of it.
#ifndef TALSTORE_WORKER_H
#define TALSTORE_WORKER_H

#include <poll.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tal::talstore {

/// A job, or the answer to it.
struct Job {
    std::size_t number;
    std::string bytes;
};

class Worker {
public:
    using Clock = std::chrono::steady_clock;
    using Work = std::function<std::string(const std::string& job)>;

    /// Throws InputError when no process can be started.
    /// @param work      Is called in the process; copied into it as it is now.
    /// @param siblings  Whose sockets the new process must not keep open; null ones do not count.
    Worker(const Work& work, const std::vector<std::unique_ptr<Worker>>& siblings);
    /// Ends the process.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Those without an answer; the first one is worked on.
    [[nodiscard]] const std::deque<Job>& Jobs() const { return jobs_; }
    /// When it was begun to work on the first job.
    [[nodiscard]] Clock::time_point Begun() const { return begun_; }
    /// What to wait for: POLLOUT calls for Send, anything else for Receive.
    [[nodiscard]] pollfd Polled() const;

    void Give(Job job);
    void Send();
    /// @return whether the process lives.
    [[nodiscard]] bool Receive();
    /// @return the number and the answer of the job that is done, if one is.
    [[nodiscard]] std::optional<Job> TakeAnswer();

    /// @return how the process has ended, for people.
    std::string End();

private:
    pid_t process_ = -1;
    int socket_ = -1;
    std::deque<Job> jobs_;
    std::string unsent_;
    std::size_t sentCount_ = 0;  ///< Of the unsent bytes, how many are on their way.
    std::string arrived_;
    Clock::time_point begun_;
    bool isOver_ = false;
};

}  // namespace tal::talstore

#endif
