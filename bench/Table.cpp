#include "bench/Table.h"

#include <algorithm>
#include <cstdio>

namespace tal::bench {

namespace {

/// The fastest measurement of the same job and size in that role, or null.
const Measurement* Best(const Measurements& measurements, const std::string& job, std::size_t variables, Role role) {
    const Measurement* best = nullptr;
    for (const Measurement& candidate : measurements) {
        const bool isComparable = candidate.job == job && candidate.variables == variables && candidate.role == role;
        if (isComparable && (best == nullptr || candidate.nanosecondsPerVariable < best->nanosecondsPerVariable)) {
            best = &candidate;
        }
    }
    return best;
}

std::string RatioText(const Measurement& measurement, const Measurement* other) {
    if (other == nullptr) {
        return "-";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", measurement.nanosecondsPerVariable / other->nanosecondsPerVariable);
    return text;
}

double LookUpCost(const Measurements& measurements, const Measurement& measurement) {
    const bool looksUp = measurement.job == "xml retrieve" || measurement.job == "secure retrieve";
    const Measurement* const lookUps = Best(measurements, "look-ups", measurement.variables, Role::Reference);
    return looksUp && lookUps != nullptr ? lookUps->nanosecondsPerVariable : 0;
}

}  // namespace

void PrintMeasurements(const Measurements& measurements) {
    std::printf("\n%-16s %9s  %-32s %10s %10s %11s %13s %10s\n", "job", "variables", "contender", "ns/var", "bytes/var",
                "x the limit", "x alternative", "heap KiB");
    for (const Measurement& row : measurements) {
        const bool isLibrary = row.role == Role::Library;
        const std::string limit = RatioText(row, Best(measurements, row.job, row.variables, Role::Limit));
        const std::string alternative = RatioText(row, Best(measurements, row.job, row.variables, Role::Alternative));
        std::printf("%-16s %9zu  %-32s %10.1f %10.1f %11s %13s %10.1f\n", row.job.c_str(), row.variables,
                    row.contender.c_str(), row.nanosecondsPerVariable, row.bytesPerVariable, limit.c_str(),
                    isLibrary ? alternative.c_str() : "", static_cast<double>(row.heapPeak) / 1024);
    }
    std::printf(
        "\nx the limit: time over that of the least that the job takes (straight code, or the parser with one\n"
        "look-up per variable); x alternative: time over that of the fastest alternative. Below 1 is faster.\n");
}

void PrintGrowth(const Measurements& measurements) {
    std::printf("\nCost per variable, relative to the smallest database; in brackets without the host's look-ups\n");
    for (const Measurement& row : measurements) {
        if (row.role != Role::Library) {
            continue;
        }
        const auto smallest = std::find_if(measurements.begin(), measurements.end(), [&](const Measurement& candidate) {
            return candidate.job == row.job && candidate.role == Role::Library;
        });
        const double own = row.nanosecondsPerVariable - LookUpCost(measurements, row);
        const double ownOfSmallest = smallest->nanosecondsPerVariable - LookUpCost(measurements, *smallest);
        std::printf("%-16s %9zu  %5.2f (%.2f)\n", row.job.c_str(), row.variables,
                    row.nanosecondsPerVariable / smallest->nanosecondsPerVariable, own / ownOfSmallest);
    }
}

}  // namespace tal::bench
