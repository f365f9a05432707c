/// The commands that drive one provider: store and retrieve.

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Report.h"
#include "Value.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::HexNumber;
using tools::Printable;
using tools::Quoted;

namespace {

const ProviderInfo& ProviderNamed(const std::string& name) {
    const ProviderInfo* const provider = FindProvider(name);
    if (provider == nullptr) {
        throw InputError("unknown provider " + Quoted(name));
    }
    return *provider;
}

/// The provider that the user names, or else the one of the file's format.
const ProviderInfo& ChooseProvider(const DriveOptions& options, std::optional<Format> format) {
    if (!options.provider.empty()) {
        return ProviderNamed(options.provider);
    }
    if (!format) {
        throw InputError(options.file.empty() ? "a file or --provider is needed"
                                              : options.file + ": say with --provider what kind of file this is");
    }
    return ProviderOf(*format);
}

void ApplySetting(host::Database& database, const std::string& setting) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos) {
        throw InputError("--set " + setting + ": expected PATH=VALUE");
    }
    host::Variable* const variable = database.Find(setting.substr(0, equals));
    if (variable == nullptr) {
        throw InputError("--set " + setting + ": there is no such variable in the layout");
    }
    SetValue(*variable, std::string_view(setting).substr(equals + 1));
}

std::string ResultText(QBFResult result) {
    return result == QBF_OK ? "QBF_OK" : "result " + HexNumber(static_cast<std::uint32_t>(result), 4);
}

/// The failures of a run for people who have not asked for the whole trace.
void PrintFailures(const Console& console, const Run& run) {
    for (const TraceRecord& record : run.trace) {
        if (IsFailure(record.code)) {
            console.err << "talstore: " << Printable(record.operation) << ": " << Printable(record.message) << '\n';
        }
    }
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
                   ValueText(*variable.variable),
                   {NameOf(variable.outcome), ColourOf(variable.outcome)},
                   Printable(variable.reason)});
    }
    table.Print(console);
}

/// A retrieve needs no file when the provider has none.
StorageFile LoadForProvider(const DriveOptions& options) {
    const bool hasNoFile = !options.provider.empty() && !ProviderNamed(options.provider).format;
    if (hasNoFile && options.file.empty()) {
        return {"", "", Format::Binary};
    }
    if (options.file.empty()) {
        throw InputError("a file is needed");
    }
    const std::optional<Format> format =
        options.provider.empty() ? std::nullopt : ProviderNamed(options.provider).format;
    return LoadStorageFile(options.file, format, true);
}

}  // namespace

int Store(const StoreOptions& options, const Console& console) {
    const DriveOptions& drive = options.drive;
    const auto layout = LoadLayout(drive.layout);
    for (const std::string& setting : options.settings) {
        ApplySetting(*layout, setting);
    }
    const ProviderInfo& provider = ChooseProvider(drive, FormatOfName(drive.file));
    const ProviderSession session(provider, drive.location, drive.channel, drive.file);
    const Run run = session.Store(*layout);
    const std::optional<std::string> bytes = session.TakeFile();
    const bool isStored = !IsFailure(run.result) && bytes.has_value();
    if (isStored && drive.file.empty()) {
        throw InputError("a file is needed");
    }
    if (isStored) {
        WriteWholeFile(drive.file, *bytes, console.out);
    }
    // What is written to standard output must stay a storage file.
    const Console told = {drive.file == "-" ? console.err : console.out, console.err, console.hasColour, console.width};
    if (drive.asJson) {
        Json json = RunJson(provider, drive, run);
        json["file"] = isStored ? Json(drive.file) : Json(nullptr);
        json["size"] = isStored ? Json(bytes->size()) : Json(nullptr);
        PrintJson(told, json);
    } else {
        PrintRun(told, drive, run);
        told.out << provider.name << ", location " << drive.location << ": " << ResultText(run.result) << ", "
                 << (isStored ? Count(bytes->size(), "byte") + " stored in " + Printable(drive.file)
                              : std::string("no file is written"))
                 << '\n';
    }
    return IsFailure(run.result) ? kProblems : kFine;
}

int Retrieve(const DriveOptions& options, const Console& console) {
    const auto layout = LoadLayout(options.layout);
    const StorageFile file = LoadForProvider(options);
    const ProviderInfo& provider = ChooseProvider(options, file.format);
    const ProviderSession session(provider, options.location, options.channel, file.name);
    const StoredContents contents = provider.format ? Inspect(file, layout.get()) : StoredContents();
    const RestoreReport report = Restore(session, file, contents, *layout);
    if (options.asJson) {
        Json json = RunJson(provider, options, report.run);
        json["file"] = file.name;
        json["counts"] = CountsJson(report);
        json["variables"] = VariablesJson(report);
        PrintJson(console, json);
    } else {
        PrintRun(console, options, report.run);
        PrintVariables(console, report);
        console.out << provider.name << ", location " << options.location << ": " << ResultText(report.run.result)
                    << ", " << CountsText(report) << '\n';
    }
    return IsFailure(report.run.result) ? kProblems : kFine;
}

}  // namespace tal::talstore
