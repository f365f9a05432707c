#include "bench/Table.h"

#include <algorithm>
#include <cstdio>

namespace tal::bench {

namespace {

/// The fastest measurement of the same job and size in that role, or null.
const Measurement* Best(const Measurements& measurements, const Measurement& measurement, Role role) {
    const Measurement* best = nullptr;
    for (const Measurement& candidate : measurements) {
        const bool isComparable =
            candidate.job == measurement.job && candidate.variables == measurement.variables && candidate.role == role;
        if (isComparable && (best == nullptr || candidate.nanosecondsPerVariable < best->nanosecondsPerVariable)) {
            best = &candidate;
        }
    }
    return best;
}

/// What the job costs in that role on a database of the same size, 0 when that was not measured.
double Cost(const Measurements& measurements, const Measurement& measurement, Role role) {
    const Measurement* const best = Best(measurements, measurement, role);
    return best != nullptr ? best->nanosecondsPerVariable : 0;
}

/// The smallest database on which the library was measured doing the job.
const Measurement& Smallest(const Measurements& measurements, const std::string& job) {
    return *std::find_if(measurements.begin(), measurements.end(), [&](const Measurement& candidate) {
        return candidate.job == job && candidate.role == Role::Library;
    });
}

std::string RatioText(double dividend, const Measurement* divisor) {
    if (divisor == nullptr) {
        return "-";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", dividend / divisor->nanosecondsPerVariable);
    return text;
}

void PrintMeasurements(const Measurements& measurements) {
    std::printf("%-16s %9s  %-32s %8s %10s %8s %8s %13s %10s\n", "job", "variables", "contender", "ns/var", "bytes/var",
                "/ limit", "/ best", "/ the library", "heap KiB");
    for (const Measurement& row : measurements) {
        const double cost = row.nanosecondsPerVariable;
        const bool isLibrary = row.role == Role::Library;
        const std::string limit = RatioText(cost, Best(measurements, row, Role::Limit));
        const std::string best = isLibrary ? RatioText(cost, Best(measurements, row, Role::Alternative)) : "";
        const std::string library = isLibrary ? "" : RatioText(cost, Best(measurements, row, Role::Library));
        std::printf("%-16s %9zu  %-32s %8.1f %10.1f %8s %8s %13s %10.1f\n", row.job.c_str(), row.variables,
                    row.contender.c_str(), cost, row.bytesPerVariable, limit.c_str(), best.c_str(), library.c_str(),
                    static_cast<double>(row.heapPeak) / 1024);
    }
    std::printf(
        "\nTimes are the processor's, for what is synced those that pass, each of the fastest repetition. They are "
        "divided\n"
        "by that of the limit (straight code, or the parser with one look-up per variable), of the best alternative "
        "and\n"
        "of the library; below 1 is faster.\n");
}

void PrintGrowth(const Measurements& measurements) {
    std::printf("\nThe cost per variable over that on the smallest database\n");
    std::printf("%-16s %9s %10s %24s %10s\n", "job", "variables", "library", "without the host's part", "limit");
    for (const Measurement& row : measurements) {
        if (row.role == Role::Library) {
            const Measurement& smallest = Smallest(measurements, row.job);
            const double own = row.nanosecondsPerVariable - Cost(measurements, row, Role::Host);
            const double ownOfSmallest = smallest.nanosecondsPerVariable - Cost(measurements, smallest, Role::Host);
            const std::string limit =
                RatioText(Cost(measurements, row, Role::Limit), Best(measurements, smallest, Role::Limit));
            std::printf("%-16s %9zu %10.2f %24.2f %10s\n", row.job.c_str(), row.variables,
                        row.nanosecondsPerVariable / smallest.nanosecondsPerVariable, own / ownOfSmallest,
                        limit.c_str());
        }
    }
}

}  // namespace

void PrintTables(const Measurements& measurements) {
    if (!measurements.empty()) {
        PrintMeasurements(measurements);
        PrintGrowth(measurements);
    }
}

}  // namespace tal::bench
