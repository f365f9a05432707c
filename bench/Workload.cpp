/// One job on one database, for tools that count instead of measuring time: they collect inside RunJob only.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/Bench.h"
#include "brqtrace/brqtrace.h"

namespace tal::bench {

/// What is counted.
__attribute__((noinline)) void RunJob(const Contender& contender) {
    contender.run();
}

}  // namespace tal::bench

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "Usage: tal_workload JOB CONTENDER VARIABLES, as in \"xml store\" library 1000\n");
        return 2;
    }
    DS_trace.threshold = BRQTRACE_SILENT;
    std::string pattern = std::filesystem::temp_directory_path() / "tal_workload_XXXXXX";
    tal::bench::Require(mkdtemp(pattern.data()) != nullptr, "a directory for the files");
    std::filesystem::current_path(pattern);

    const tal::bench::Jobs jobs = tal::bench::MakeJobs(std::strtoul(argv[3], nullptr, 10));
    int status = 2;
    for (const tal::bench::Contender& contender : jobs.contenders) {
        if (contender.job == argv[1] && contender.name == argv[2]) {
            contender.run();
            tal::bench::RunJob(contender);
            std::printf("%zu variables\n", jobs.valueCount);
            status = 0;
        }
    }
    std::filesystem::current_path("/");
    std::filesystem::remove_all(pattern);
    return status;
}
