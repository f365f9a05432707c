/// The measurements, and the tables that compare them.
#ifndef TAL_BENCH_TABLE_H
#define TAL_BENCH_TABLE_H

#include <map>
#include <string>
#include <vector>

#include "bench/Bench.h"

namespace tal::bench {

struct Measurement {
    std::string job;
    std::string contender;
    Role role;
    std::size_t variables;
    double nanosecondsPerVariable;
    double bytesPerVariable;
    std::size_t heapPeak;
};

using Measurements = std::vector<Measurement>;

/// One row per measurement: cost, size, and the ratios to the limit and to the best alternative of the same job.
void PrintMeasurements(const Measurements& measurements);

/// How the library's cost per variable moves with the size of the database, with the look-ups and without.
void PrintGrowth(const Measurements& measurements);

}  // namespace tal::bench

#endif
