/// Jobs in processes that live on, crash and hang.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "Support.h"
#include "files/WorkerProcesses.h"

namespace tal::test {

namespace {

using talstore::JobFunctions;
using talstore::JobResult;

constexpr std::chrono::milliseconds kLong{60000};

/// Deals out the numbers below `count`.
std::vector<JobResult> ResultsOf(std::size_t processes, std::chrono::milliseconds timeout, int count,
                                 const std::function<std::string(const std::string& job)>& work) {
    std::vector<JobResult> results;
    int dealt = 0;
    JobFunctions functions;
    functions.next = [&] { return dealt < count ? std::optional(std::to_string(dealt++)) : std::nullopt; };
    functions.work = work;
    functions.take = [&](JobResult result) { results.push_back(std::move(result)); };
    functions.tick = [] {};
    EXPECT_TRUE(DealOut({processes, timeout}, functions));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
    return results;
}

std::vector<std::string> TextsOf(const std::vector<JobResult>& results) {
    std::vector<std::string> texts;
    texts.reserve(results.size());
    for (const JobResult& result : results) {
        texts.push_back(result.failure.empty() ? result.bytes : result.failure);
    }
    return texts;
}

TEST(WorkerProcesses, GiveTheirResultsInTheOrderOfTheJobs) {
    const auto work = [](const std::string& job) {
        usleep(job == "0" ? 20000 : 0);
        return "did " + job;
    };
    EXPECT_THAT(TextsOf(ResultsOf(3, kLong, 5, work)),
                testing::ElementsAre("did 0", "did 1", "did 2", "did 3", "did 4"));
}

TEST(WorkerProcesses, LiveOnFromJobToJob) {
    const auto work = [](const std::string& /*job*/) { return std::to_string(getpid()); };
    const std::vector<std::string> processes = TextsOf(ResultsOf(2, kLong, 50, work));
    const std::set<std::string> different(processes.begin(), processes.end());
    EXPECT_LE(different.size(), 2U);
    EXPECT_EQ(different.count(std::to_string(getpid())), 0U);
}

TEST(WorkerProcesses, DoNothingWithoutJobs) {
    EXPECT_THAT(ResultsOf(2, kLong, 0, [](const std::string& job) { return job; }), testing::IsEmpty());
}

TEST(WorkerProcesses, CarryJobsAndResultsOfAnySize) {
    constexpr std::size_t kMuch = std::size_t{3} << 20U;
    std::vector<std::size_t> sizes;
    int dealt = 0;
    JobFunctions functions;
    functions.next = [&] { return dealt++ < 6 ? std::optional(std::string(kMuch, 'x')) : std::nullopt; };
    functions.work = [](const std::string& job) { return job + job; };
    functions.take = [&](const JobResult& result) { sizes.push_back(result.bytes.size()); };
    functions.tick = [] {};
    EXPECT_TRUE(DealOut({2, kLong}, functions));
    EXPECT_EQ(sizes, std::vector<std::size_t>(6, 2 * kMuch));
}

TEST(WorkerProcesses, LoseTheJobAloneThatKillsOne) {
    for (const std::size_t processes : {1U, 2U}) {
        const auto work = [](const std::string& job) {
            if (job == "1" || job == "2") {
                kill(getpid(), SIGKILL);
            }
            return job;
        };
        EXPECT_THAT(TextsOf(ResultsOf(processes, kLong, 5, work)),
                    testing::ElementsAre("0", "the process that read it was ended by signal 9 (Killed)",
                                         "the process that read it was ended by signal 9 (Killed)", "3", "4"));
    }
}

TEST(WorkerProcesses, LoseTheJobAloneThatLeavesOne) {
    const auto work = [](const std::string& job) -> std::string {
        if (job == "2") {
            throw std::runtime_error("nobody catches this");
        }
        return job;
    };
    EXPECT_THAT(TextsOf(ResultsOf(2, kLong, 4, work)),
                testing::ElementsAre("0", "1", "the process that read it ended with status 1", "3"));
}

TEST(WorkerProcesses, LoseTheJobAloneThatHangs) {
    const auto work = [](const std::string& job) {
        while (job == "1") {
            pause();
        }
        return job;
    };
    EXPECT_THAT(TextsOf(ResultsOf(2, std::chrono::milliseconds(1000), 4, work)),
                testing::ElementsAre("0", "reading it took longer than 1 s", "2", "3"));
}

}  // namespace

}  // namespace tal::test
