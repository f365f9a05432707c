/// Measures every job on databases of three sizes and prints what it costs per variable, in one run.

#include <benchmark/benchmark.h>

#include <algorithm>
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
using tal::bench::Role;

constexpr std::size_t kSizes[] = {1000, 10000, 100000};

/// A database, and the directory with its files. Both are made when they are first used; every bed has the same
/// contenders in the same order.
class Bed {
public:
    Bed(const std::filesystem::path& root, std::size_t size) : directory_(root / std::to_string(size)), size_(size) {}

    [[nodiscard]] const Contenders& All() {
        if (jobs_.contenders.empty()) {
            std::filesystem::create_directories(directory_);
            std::filesystem::current_path(directory_);
            jobs_ = tal::bench::MakeJobs(size_);
        }
        std::filesystem::current_path(directory_);
        return jobs_.contenders;
    }
    [[nodiscard]] std::size_t Size() const { return size_; }
    [[nodiscard]] std::size_t Values() const { return jobs_.valueCount; }

private:
    std::filesystem::path directory_;
    std::size_t size_;
    tal::bench::Jobs jobs_ = {};
};

double FileSize(const std::string& fileName) {
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(fileName, missing);
    return missing ? 0 : static_cast<double>(size);
}

/// What one contender is measured to cost on one bed.
class Row {
public:
    Row(Bed& bed, std::size_t index, const Contender& contender)
        : bed_(bed),
          index_(index),
          name_(contender.job + ": " + contender.name + "/" + std::to_string(bed.Size())),
          measurement_{contender.job, contender.name, contender.role, bed.Size(), 0, 0, 0} {}

    void Register() {
        benchmark::RegisterBenchmark(name_.c_str(), [this](benchmark::State& state) {
            const Contender& contender = bed_.All()[index_];
            if (nanoseconds_.empty()) {
                MeasureSpace(contender);
            }
            for (auto _ : state) {
                contender.run();
            }
        })->MeasureProcessCPUTime();
    }

    /// Takes the repetition into account if it is one of this row.
    void Take(const benchmark::BenchmarkReporter::Run& run) {
        if (run.run_name.function_name == name_ && run.run_type == benchmark::BenchmarkReporter::Run::RT_Iteration) {
            // A sync waits for the medium, everything else is the processor's time, whatever else the machine does.
            const bool waits = measurement_.role == Role::Synced;
            nanoseconds_.push_back(waits ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
        }
    }

    [[nodiscard]] bool IsMeasured() const { return !nanoseconds_.empty(); }

    /// With the fastest repetition: whatever else the machine does can only add to it.
    [[nodiscard]] Measurement Measured() const {
        Measurement measured = measurement_;
        measured.nanosecondsPerVariable =
            *std::min_element(nanoseconds_.begin(), nanoseconds_.end()) / static_cast<double>(bed_.Values());
        return measured;
    }

private:
    void MeasureSpace(const Contender& contender) {
        tal::bench::StartCountingHeap();
        contender.run();
        measurement_.heapPeak = tal::bench::StopCountingHeap();
        measurement_.bytesPerVariable = FileSize(contender.fileName) / static_cast<double>(bed_.Values());
    }

    Bed& bed_;
    std::size_t index_;
    std::string name_;
    Measurement measurement_;
    std::vector<double> nanoseconds_;
};

class Collector : public benchmark::BenchmarkReporter {
public:
    explicit Collector(std::vector<std::unique_ptr<Row>>& rows) : rows_(rows) {}

    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            for (const auto& row : rows_) {
                row->Take(run);
            }
        }
    }

private:
    std::vector<std::unique_ptr<Row>>& rows_;
};

void Run(const std::filesystem::path& root) {
    std::vector<std::unique_ptr<Bed>> beds;
    for (const std::size_t size : kSizes) {
        beds.push_back(std::make_unique<Bed>(root, size));
    }
    std::vector<std::unique_ptr<Row>> rows;
    for (const auto& bed : beds) {
        const Contenders& contenders = beds.front()->All();
        for (std::size_t index = 0; index < contenders.size(); ++index) {
            rows.push_back(std::make_unique<Row>(*bed, index, contenders[index]));
            rows.back()->Register();
        }
    }
    Collector collector(rows);
    benchmark::RunSpecifiedBenchmarks(&collector);

    Measurements measured;
    for (const auto& row : rows) {
        if (row->IsMeasured()) {
            measured.push_back(row->Measured());
        }
    }
    tal::bench::PrintTables(measured);
}

}  // namespace

int main(int argc, char** argv) {
    // Each may be given another value after them. Interleaved repetitions meet the same noise.
    std::string defaults[] = {"--benchmark_min_time=0.05", "--benchmark_repetitions=9",
                              "--benchmark_enable_random_interleaving=true"};
    std::vector<char*> arguments = {argv[0]};
    for (std::string& argument : defaults) {
        arguments.push_back(argument.data());
    }
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    DS_trace.threshold = BRQTRACE_SILENT;
    std::string pattern = std::filesystem::current_path() / "tal_bench_XXXXXX";
    tal::bench::Require(mkdtemp(pattern.data()) != nullptr, "a directory for the files");
    const std::filesystem::path root = pattern;
    Run(root);
    std::filesystem::current_path(root.parent_path());
    std::filesystem::remove_all(root);
    return 0;
}
