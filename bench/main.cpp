/// Measures every job on databases of three sizes and prints what it costs per variable, in one run.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "bench/Bench.h"
#include "bench/Table.h"
#include "brqtrace/brqtrace.h"

namespace {

using tal::bench::Contender;
using tal::bench::Contenders;
using tal::bench::Measurement;
using tal::bench::Measurements;

constexpr std::size_t kSizes[] = {1000, 10000, 100000};

/// A database, and the directory with its files.
struct Bed {
    tal::host::Database database;
    std::filesystem::path directory;
    std::size_t values = 0;
    Contenders contenders;
};

std::unique_ptr<Bed> MakeBed(const std::filesystem::path& root, std::size_t size) {
    auto bed = std::make_unique<Bed>();
    bed->directory = root / std::to_string(size);
    std::filesystem::create_directories(bed->directory);
    std::filesystem::current_path(bed->directory);
    tal::bench::FillDatabase(bed->database, size);
    bed->values = tal::bench::CountValues(bed->database);
    tal::bench::AddLibrary(bed->database, bed->contenders);
    tal::bench::AddStraightCode(bed->database, bed->contenders);
    tal::bench::AddLimits(bed->database, bed->contenders);
    for (const tal::bench::AddContenders add : tal::bench::Alternatives()) {
        add(bed->database, bed->contenders);
    }
    return bed;
}

/// Keeps the fastest repetition of each contender for the tables.
class Collector : public benchmark::ConsoleReporter {
public:
    Collector() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                Keep(run.benchmark_name(), IsSynced(run) ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
            }
        }
    }

    /// Announces what a benchmark of that name measures; rows are printed in this order.
    void Expect(const std::string& name, Measurement measurement) {
        names_.push_back(name);
        measurements_.push_back(std::move(measurement));
    }

    [[nodiscard]] Measurements Measured() const {
        Measurements measured;
        for (const Measurement& measurement : measurements_) {
            if (measurement.nanosecondsPerVariable > 0) {
                measured.push_back(measurement);
            }
        }
        return measured;
    }

private:
    /// A sync waits for the medium, everything else is the processor's time, whatever else the machine does.
    static bool IsSynced(const Run& run) { return run.benchmark_name().find("synced") != std::string::npos; }

    void Keep(const std::string& name, double nanoseconds) {
        for (std::size_t index = 0; index < names_.size(); ++index) {
            Measurement& measurement = measurements_[index];
            const double perVariable = nanoseconds / static_cast<double>(measurement.variables);
            const bool isFastest =
                measurement.nanosecondsPerVariable == 0 || perVariable < measurement.nanosecondsPerVariable;
            if (name.compare(0, names_[index].size(), names_[index]) == 0 && isFastest) {
                measurement.nanosecondsPerVariable = perVariable;
            }
        }
    }

    std::vector<std::string> names_;
    Measurements measurements_;
};

double FileSize(const std::string& fileName) {
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(fileName, missing);
    return missing ? 0 : static_cast<double>(size);
}

void Register(const Bed& bed, const Contender& contender, Collector& collector) {
    std::filesystem::current_path(bed.directory);
    tal::bench::ResetHeapPeak();
    contender.run();
    const auto values = static_cast<double>(bed.values);
    const std::string name = contender.job + ": " + contender.name + "/" + std::to_string(bed.values) + "/";
    collector.Expect(name, {contender.job, contender.name, contender.role, bed.values, 0,
                            FileSize(contender.fileName) / values, tal::bench::HeapPeak()});
    benchmark::RegisterBenchmark(name.c_str(), [&bed, &contender](benchmark::State& state) {
        std::filesystem::current_path(bed.directory);
        for (auto _ : state) {
            contender.run();
        }
    })->MeasureProcessCPUTime();
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    DS_trace.threshold = BRQTRACE_SILENT;
    std::string pattern = std::filesystem::current_path() / "tal_bench_XXXXXX";
    tal::bench::Require(mkdtemp(pattern.data()) != nullptr, "a directory for the files");
    const std::filesystem::path root = pattern;

    Collector collector;
    std::vector<std::unique_ptr<Bed>> beds;
    for (const std::size_t size : kSizes) {
        beds.push_back(MakeBed(root, size));
        for (const Contender& contender : beds.back()->contenders) {
            Register(*beds.back(), contender, collector);
        }
    }
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::filesystem::current_path(root.parent_path());
    std::filesystem::remove_all(root);

    const Measurements measured = collector.Measured();
    tal::bench::PrintMeasurements(measured);
    tal::bench::PrintGrowth(measured);
    return 0;
}
