#include <nlohmann/json.hpp>

#include "board/Value.h"
#include "commands/Drive.h"
#include "commands/PathFilter.h"
#include "commands/UseError.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Printable;

namespace {

Json VariablesJson(const RestoreReport& report) {
    Json variables = Json::array();
    for (const VariableReport& variable : report.variables) {
        Json entry = {{"path", variable.variable->Path()},
                      {"type", TypeText(*variable.variable)},
                      {"value", ValueJson(variable.variable->Type(), BytesOf(*variable.variable))},
                      {"outcome", NameOf(variable.outcome)}};
        if (!variable.reason.empty()) {
            entry["reason"] = variable.reason;
        }
        variables.push_back(std::move(entry));
    }
    return variables;
}

void PrintVariables(const Console& console, const RestoreReport& report) {
    Table table({"PATH", "TYPE", "VALUE", "OUTCOME", "REASON"});
    for (const VariableReport& variable : report.variables) {
        table.Add({Printable(variable.variable->Path()),
                   TypeText(*variable.variable),
                   ValueCell(ValueText(*variable.variable)),
                   {NameOf(variable.outcome), ColourOf(variable.outcome)},
                   MessageCell(Printable(variable.reason))});
    }
    table.Print(console);
}

/// A retrieve needs no file when the provider has none.
StorageFile LoadForProvider(const DriveOptions& options) {
    const bool hasNoFile = !options.provider.empty() && ProviderNamed(options.provider).format == nullptr;
    if (hasNoFile && options.file.empty()) {
        return {"", "", Format::Binary};
    }
    if (options.file.empty()) {
        throw UseError("a file is needed");
    }
    const std::optional<Format> format =
        options.provider.empty() ? std::nullopt : std::optional(ProviderNamed(options.provider).format->format);
    return LoadStorageFile(options.file, format, true);
}

}  // namespace

int Retrieve(const DriveOptions& options, const Console& console) {
    const auto layout = LoadLayout(options.layout);
    const StorageFile file = LoadForProvider(options);
    const ProviderInfo& provider = ChooseProvider(options, file.format);
    ProviderSession session(provider, options.location, options.channel, file.name);
    if (options.showsTrace) {
        session.KeepWholeTrace();
    }
    const StoredContents contents = provider.format != nullptr ? Inspect(file, layout.get()) : StoredContents();
    RestoreReport report = Restore(session, file, contents, *layout);
    PathFilter filter(options.paths);
    KeepOnly(filter, contents, report);
    if (options.asJson) {
        Json json = RunJson(provider, options, report.run);
        json["file"] = file.name;
        json["counts"] = CountsJson(report);
        json["variables"] = VariablesJson(report);
        PrintAnswer(console, "retrieve", json);
    } else {
        PrintRun(console, options, report.run);
        PrintVariables(console, report);
        console.out << provider.name << ", location " << options.location << ": " << ResultText(report.run.result)
                    << ", " << CountsText(report) << '\n';
    }
    TellUnmatched(console, options.layout, filter);
    return QBF_IsFailure(report.run.result) || !filter.Unmatched().empty() ? kProblems : kFine;
}

}  // namespace tal::talstore
