#include "files/WorkerProcesses.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "files/InputError.h"
#include "files/Interrupt.h"

namespace tal::talstore {

namespace {

using Clock = std::chrono::steady_clock;

/// A worker has the next job before it has answered the one before, so that it never waits.
constexpr std::size_t kJobsPerWorker = 2;

/// Results wait for those of earlier jobs; with so many bytes waiting no further job is dealt out.
constexpr std::size_t kMostWaitingBytes = std::size_t{16} << 20U;

constexpr std::chrono::milliseconds kLongestWait{100};

// ---- Messages: their length, and then their bytes

using Length = std::uint64_t;

std::string Framed(std::string_view bytes) {
    const Length length = bytes.size();
    std::string frame(sizeof length, '\0');
    std::memcpy(frame.data(), &length, sizeof length);
    return frame.append(bytes);
}

/// Takes the first whole message out of what has arrived.
std::optional<std::string> TakeMessage(std::string& arrived) {
    Length length = 0;
    if (arrived.size() < sizeof length) {
        return std::nullopt;
    }
    std::memcpy(&length, arrived.data(), sizeof length);
    if (arrived.size() - sizeof length < length) {
        return std::nullopt;
    }
    std::string message = arrived.substr(sizeof length, static_cast<std::size_t>(length));
    arrived.erase(0, sizeof length + message.size());
    return message;
}

// ---- In the worker

/// Ends the worker when nobody is left at the other end.
void SendOrLeave(int socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            _exit(EXIT_SUCCESS);
        }
        bytes.remove_prefix(sent < 0 ? 0 : static_cast<std::size_t>(sent));
    }
}

[[noreturn]] void WorkUntilNobodyAsks(int socket, const JobFunctions& functions) {
    // Who interrupts a run means the process that has started it; that one ends its workers.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, SIG_IGN);
    }
    try {
        std::string arrived;
        std::array<char, 65536> buffer = {};
        for (ssize_t count = 0; (count = recv(socket, buffer.data(), buffer.size(), 0)) > 0;) {
            arrived.append(buffer.data(), static_cast<std::size_t>(count));
            while (const std::optional<std::string> job = TakeMessage(arrived)) {
                SendOrLeave(socket, Framed(functions.work(*job)));
            }
        }
        _exit(EXIT_SUCCESS);
    } catch (...) {
        _exit(EXIT_FAILURE);
    }
}

// ---- Of the worker, here

std::string EndText(int status) {
    if (!WIFSIGNALED(status)) {
        return "the process that read it ended with status " + std::to_string(WEXITSTATUS(status));
    }
    return "the process that read it was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
           strsignal(WTERMSIG(status)) + ')';
}

struct Job {
    std::size_t number;
    std::string bytes;
};

class Worker {
public:
    /// @param siblings  Whose sockets the new process must not keep open.
    Worker(const JobFunctions& functions, const std::vector<std::unique_ptr<Worker>>& siblings) {
        std::array<int, 2> ends = {};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            throw InputError(std::string("no process can be started: ") + std::strerror(errno));
        }
        process_ = fork();
        if (process_ == 0) {
            close(ends[0]);
            for (const auto& sibling : siblings) {
                if (sibling != nullptr) {
                    close(sibling->socket_);
                }
            }
            WorkUntilNobodyAsks(ends[1], functions);
        }
        close(ends[1]);
        socket_ = ends[0];
        if (process_ < 0) {
            const int error = errno;
            close(socket_);
            throw InputError(std::string("no process can be started: ") + std::strerror(error));
        }
        fcntl(socket_, F_SETFL, O_NONBLOCK);
    }
    ~Worker() {
        close(socket_);
        if (!isOver_) {
            End();
        }
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    [[nodiscard]] const std::deque<Job>& Jobs() const { return jobs_; }
    [[nodiscard]] pollfd Polled() const {
        return {socket_, static_cast<short>(unsent_.empty() ? POLLIN : POLLIN | POLLOUT), 0};
    }
    [[nodiscard]] Clock::time_point Begun() const { return begun_; }

    void Give(Job job) {
        if (jobs_.empty()) {
            begun_ = Clock::now();
        }
        unsent_ += Framed(job.bytes);
        jobs_.push_back(std::move(job));
        Send();
    }

    void Send() {
        const ssize_t sent = send(socket_, unsent_.data() + sentCount_, unsent_.size() - sentCount_, MSG_NOSIGNAL);
        // A worker that is no more shows at the next receipt.
        sentCount_ += sent < 0 ? 0 : static_cast<std::size_t>(sent);
        if (sentCount_ == unsent_.size()) {
            unsent_.clear();
            sentCount_ = 0;
        }
    }

    /// @return whether the process lives.
    [[nodiscard]] bool Receive() {
        std::array<char, 65536> buffer = {};
        const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
        arrived_.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
    }

    /// @return the number and the answer of the job that is done, if one is.
    [[nodiscard]] std::optional<Job> TakeAnswer() {
        std::optional<std::string> answer = jobs_.empty() ? std::nullopt : TakeMessage(arrived_);
        if (!answer) {
            return std::nullopt;
        }
        const std::size_t number = jobs_.front().number;
        jobs_.pop_front();
        begun_ = Clock::now();
        return Job{number, std::move(*answer)};
    }

    /// @return the process's status.
    int End() {
        int status = 0;
        kill(process_, SIGKILL);
        while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        isOver_ = true;
        return status;
    }

private:
    pid_t process_ = -1;
    int socket_ = -1;
    std::deque<Job> jobs_;  ///< The first one is worked on.
    std::string unsent_;
    std::size_t sentCount_ = 0;  ///< Of the unsent bytes, how many are on their way.
    std::string arrived_;
    Clock::time_point begun_;
    bool isOver_ = false;
};

class Dealer {
public:
    Dealer(const WorkerOptions& options, const JobFunctions& functions) : options_(options), functions_(functions) {
        for (std::size_t i = 0; i < options.count; ++i) {
            workers_.push_back(std::make_unique<Worker>(functions, workers_));
        }
    }

    bool Run() {
        while (InterruptingSignal() == 0) {
            GiveJobs();
            if (!IsAnyBusy()) {
                return true;
            }
            WaitForAnswers();
            TakeFinished();
            functions_.tick();
        }
        return false;
    }

private:
    void GiveJobs() {
        for (std::size_t most = 1; most <= kJobsPerWorker; ++most) {
            for (const auto& worker : workers_) {
                if (worker->Jobs().size() < most && waitingBytes_ < kMostWaitingBytes && !isExhausted_) {
                    GiveNext(*worker);
                }
            }
        }
    }

    void GiveNext(Worker& worker) {
        if (std::optional<std::string> job = functions_.next()) {
            worker.Give({dealtCount_++, std::move(*job)});
        } else {
            isExhausted_ = true;
        }
    }

    [[nodiscard]] bool IsAnyBusy() const {
        return std::any_of(workers_.begin(), workers_.end(),
                           [](const auto& worker) { return !worker->Jobs().empty(); });
    }

    void WaitForAnswers() {
        std::vector<pollfd> polled;
        for (const auto& worker : workers_) {
            polled.push_back(worker->Polled());
        }
        poll(polled.data(), polled.size(), static_cast<int>(kLongestWait.count()));
        for (std::size_t i = 0; i < workers_.size(); ++i) {
            Attend(workers_[i], static_cast<unsigned>(polled[i].revents));
        }
    }

    void Attend(std::unique_ptr<Worker>& worker, unsigned events) {
        if ((events & POLLOUT) != 0) {
            worker->Send();
        }
        const bool isAlive = (events & ~static_cast<unsigned>(POLLOUT)) == 0 || worker->Receive();
        while (std::optional<Job> answer = worker->TakeAnswer()) {
            Finish(answer->number, {std::move(answer->bytes), {}});
        }
        const bool isLate = !worker->Jobs().empty() && Clock::now() - worker->Begun() > options_.timeout;
        if (!isAlive) {
            Replace(worker, EndText(worker->End()));
        } else if (isLate) {
            worker->End();
            Replace(worker, "reading it took longer than " + std::to_string(options_.timeout.count() / 1000) + " s");
        }
    }

    /// The job that it has worked on is lost, another process gets those after it.
    void Replace(std::unique_ptr<Worker>& worker, const std::string& failure) {
        std::deque<Job> jobs = worker->Jobs();
        worker.reset();
        worker = std::make_unique<Worker>(functions_, workers_);
        if (!jobs.empty()) {
            Finish(jobs.front().number, {{}, failure});
            jobs.pop_front();
        }
        for (Job& job : jobs) {
            worker->Give(std::move(job));
        }
    }

    void Finish(std::size_t number, JobResult result) {
        waitingBytes_ += result.bytes.size();
        finished_.emplace(number, std::move(result));
    }

    void TakeFinished() {
        while (!finished_.empty() && finished_.begin()->first == takenCount_) {
            JobResult result = std::move(finished_.begin()->second);
            finished_.erase(finished_.begin());
            waitingBytes_ -= result.bytes.size();
            ++takenCount_;
            functions_.take(std::move(result));
        }
    }

    const WorkerOptions& options_;
    const JobFunctions& functions_;
    std::vector<std::unique_ptr<Worker>> workers_;
    std::map<std::size_t, JobResult> finished_;  ///< By the job's number.
    std::size_t waitingBytes_ = 0;
    std::size_t dealtCount_ = 0;
    std::size_t takenCount_ = 0;
    bool isExhausted_ = false;
};

}  // namespace

bool DealOut(const WorkerOptions& options, const JobFunctions& functions) {
    return Dealer(options, functions).Run();
}

}  // namespace tal::talstore
