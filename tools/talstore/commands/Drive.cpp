#include "commands/Drive.h"

#include <nlohmann/json.hpp>

#include "commands/UseError.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::HexNumber;
using tools::Printable;
using tools::Quoted;

namespace {

/// The failures of a run for people who have not asked for the whole trace.
void PrintFailures(const Console& console, const Run& run) {
    for (const TraceRecord& record : run.trace) {
        if (QBF_IsFailure(record.code)) {
            console.err << "talstore: " << Printable(record.operation) << ": " << Printable(record.message) << '\n';
        }
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

std::string ResultText(QBFResult result) {
    return result == QBF_OK ? "QBF_OK" : "result " + HexNumber(static_cast<std::uint32_t>(result), 4);
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
