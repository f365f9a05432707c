#include "commands/Drive.h"

#include <nlohmann/json.hpp>

#include "commands/ResultCodes.h"
#include "commands/UseError.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Printable;
using tools::Quoted;

namespace {

/// The first failures of a run for people who have not asked for the whole trace: a cut file has one per variable.
void PrintFailures(const Console& console, const Run& run) {
    constexpr std::size_t kMostShown = 3;
    std::size_t count = 0;
    for (const TraceRecord& record : run.trace) {
        if (QBF_IsFailure(record.code) && ++count <= kMostShown) {
            console.err << "talstore: " << ResultText(record.code) << ": " << Printable(record.operation) << ": "
                        << Printable(record.message) << '\n';
        }
    }
    if (count > kMostShown) {
        console.err << "talstore: and " << count - kMostShown << " more: --trace\n";
    }
}

}  // namespace

const ProviderInfo& ProviderNamed(const std::string& name) {
    const ProviderInfo* const provider = FindProvider(name);
    if (provider == nullptr) {
        throw UseError("unknown provider " + Quoted(name));
    }
    return *provider;
}

const ProviderInfo& ChooseProvider(const DriveOptions& options, std::optional<Format> format) {
    if (!options.provider.empty()) {
        return ProviderNamed(options.provider);
    }
    if (!format) {
        throw UseError(options.file.empty() ? "a file or --provider is needed"
                                            : options.file + ": say with --provider what kind of file this is");
    }
    return ProviderOf(*format);
}

Json RunJson(const ProviderInfo& provider, const DriveOptions& options, const Run& run) {
    Json json = {{"provider", provider.name}, {"location", options.location}, {"result", run.result}};
    if (options.showsTrace) {
        json["trace"] = TraceJson(run.trace);
    }
    return json;
}

void PrintRun(const Console& console, const DriveOptions& options, const Run& run) {
    if (options.showsTrace) {
        PrintTrace(console, run.trace);
    } else {
        PrintFailures(console, run);
    }
}

}  // namespace tal::talstore
