/// The jobs on the reference host.

#include "ReferenceHost.h"
#include "bench/Bench.h"

namespace tal::bench {

Jobs MakeJobs(std::size_t variableCount) {
    const auto database = std::make_shared<host::Database>();
    FillDatabase(*database, variableCount);
    Jobs jobs = {database, CountValues(*database), {}};
    AddLibrary(database->Handle(), jobs.contenders);
    AddStraightCode(database->Handle(), jobs.contenders);
    AddLimits(*database, jobs.contenders);
    AddHost(*database, jobs.contenders);
    for (const AddContenders add : Alternatives()) {
        add(*database, jobs.contenders);
    }
    return jobs;
}

}  // namespace tal::bench
