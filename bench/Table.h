/// The measurements, and the tables that compare them.
#ifndef TAL_BENCH_TABLE_H
#define TAL_BENCH_TABLE_H

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

/// Prints one row per measurement, with its ratios to the limit and to the others of the same job and size; then how
/// the library's cost per variable moves with the size of the database, with the host's part and without.
void PrintTables(const Measurements& measurements);

}  // namespace tal::bench

#endif
