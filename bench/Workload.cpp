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

    tal::host::Database database;
    tal::bench::FillDatabase(database, std::strtoul(argv[3], nullptr, 10));
    tal::bench::Contenders contenders;
    tal::bench::AddLibrary(database, contenders);
    tal::bench::AddStraightCode(database, contenders);
    tal::bench::AddLimits(database, contenders);
    int status = 2;
    for (const tal::bench::Contender& contender : contenders) {
        if (contender.job == argv[1] && contender.name == argv[2]) {
            contender.run();
            tal::bench::RunJob(contender);
            std::printf("%zu variables\n", tal::bench::CountValues(database));
            status = 0;
        }
    }
    std::filesystem::current_path("/");
    std::filesystem::remove_all(pattern);
    return status;
}
