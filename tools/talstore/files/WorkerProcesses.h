/// @file
/// Jobs dealt out to processes that live on, so that one that crashes or hangs costs its job alone.
#ifndef TALSTORE_WORKER_PROCESSES_H
#define TALSTORE_WORKER_PROCESSES_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace tal::talstore {

struct WorkerOptions {
    std::size_t count = 1;              ///< Of processes, at least 1.
    std::chrono::milliseconds timeout;  ///< For one job.
};

struct JobResult {
    std::string bytes;
    std::string failure;  ///< What has ended the process over this job; empty when there are bytes.
};

/// What is done with jobs. All but `work` are called in this process.
struct JobFunctions {
    std::function<std::optional<std::string>()> next;  ///< None after the last job.
    /// Is called in a process of its own, which was forked when DealOut was called or later, one job after another.
    std::function<std::string(const std::string& job)> work;
    std::function<void(JobResult result)> take;  ///< In the order of the jobs.
    std::function<void()> tick;                  ///< Several times a second.
};

/// @return whether every job is done; false after an interrupt, when the results of the first jobs have been taken.
/// Throws InputError when no process can be started, and what `next` and `take` throw.
[[nodiscard]] bool DealOut(const WorkerOptions& options, const JobFunctions& functions);

}  // namespace tal::talstore

#endif
