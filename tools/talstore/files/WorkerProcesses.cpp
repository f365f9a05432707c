#include "files/WorkerProcesses.h"

#include <poll.h>

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "files/Interrupt.h"
#include "files/Worker.h"

namespace tal::talstore {

namespace {

/// A worker has the next job before it has answered the one before, so that it never waits.
constexpr std::size_t kJobsPerWorker = 2;

/// Results wait for those of earlier jobs; with so many bytes waiting no further job is dealt out.
constexpr std::size_t kMostWaitingBytes = std::size_t{16} << 20U;

constexpr std::chrono::milliseconds kLongestWait{100};

class Dealer {
public:
    Dealer(const WorkerOptions& options, const JobFunctions& functions) : options_(options), functions_(functions) {
        for (std::size_t i = 0; i < options.count; ++i) {
            workers_.push_back(std::make_unique<Worker>(functions.work, workers_));
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
        const bool isLate = !worker->Jobs().empty() && Worker::Clock::now() - worker->Begun() > options_.timeout;
        if (!isAlive) {
            Replace(worker, worker->End());
        } else if (isLate) {
            worker->End();
            Replace(worker, "reading it took longer than " + std::to_string(options_.timeout.count() / 1000) + " s");
        }
    }

    /// The job that it has worked on is lost, another process gets those after it.
    void Replace(std::unique_ptr<Worker>& worker, const std::string& failure) {
        std::deque<Job> jobs = worker->Jobs();
        worker.reset();
        worker = std::make_unique<Worker>(functions_.work, workers_);
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
