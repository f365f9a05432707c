#include <nlohmann/json.hpp>

#include "board/Value.h"
#include "commands/Drive.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

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

bool DoesNotComeBack(const host::Variable& stored, const VariableReport& restored) {
    return !IsAsExpected(restored.outcome) || !IsSameValue(stored.Type(), BytesOf(stored), BytesOf(*restored.variable));
}

void PrintStored(const Console& console, const std::vector<Loss>& losses, const std::string& failure) {
    Table table;
    AddLosses(table, losses);
    table.Print(console);
    if (!failure.empty()) {
        console.out << "no board can read it: " << Printable(failure) << '\n';
    }
}

}  // namespace

int Store(const StoreOptions& options, const Console& console) {
    const DriveOptions& drive = options.drive;
    const auto layout = LoadLayout(drive.layout);
    for (const std::string& setting : options.settings) {
        ApplySetting(*layout, setting);
    }
    const ProviderInfo& provider = ChooseProvider(drive, FormatOfName(drive.file));
    ProviderSession session(provider, drive.location, drive.channel, drive.file);
    if (drive.showsTrace) {
        session.KeepWholeTrace();
    }
    const Run run = session.Store(*layout);
    const std::optional<std::string> bytes = session.TakeFile();
    const bool isStored = !QBF_IsFailure(run.result) && bytes.has_value();
    if (isStored && drive.file.empty()) {
        throw InputError("a file is needed");
    }
    ReadBack after;
    if (isStored) {
        WriteWholeFile(drive.file, *bytes, console.out);
        after = ReadBackFrom(session, {drive.file, *bytes, provider.format->format}, *layout, LoadLayout(drive.layout),
                             DoesNotComeBack);
    }
    const Console told = BesideFile(console, drive.file);
    if (drive.asJson) {
        Json json = RunJson(provider, drive, run);
        json["file"] = isStored ? Json(drive.file) : Json(nullptr);
        json["size"] = isStored ? Json(bytes->size()) : Json(nullptr);
        json["readable"] = isStored ? Json(after.IsReadable()) : Json(nullptr);
        json["notCarried"] = LossesJson(after.losses);
        PrintAnswer(told, "store", json);
    } else {
        PrintRun(told, drive, run);
        PrintStored(told, after.losses, after.report.failure);
        told.out << provider.name << ", location " << drive.location << ": " << ResultText(run.result) << ", "
                 << (isStored ? Count(bytes->size(), "byte") + " stored in " + Printable(drive.file)
                              : std::string("no file is written"))
                 << '\n';
    }
    const bool comesBack = after.IsReadable() && after.losses.empty();
    return !QBF_IsFailure(run.result) && comesBack ? kFine : kProblems;
}

}  // namespace tal::talstore
