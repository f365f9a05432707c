#include <filesystem>
#include <nlohmann/json.hpp>

#include "board/Value.h"
#include "commands/Drive.h"
#include "commands/Settings.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

/// The values of the file would be lost, be they ever so dear to somebody.
void RefuseToReplaceValues(const std::string& file) {
    if (std::filesystem::is_regular_file(file) && !IsStandardOutput(file)) {
        throw UseError(file +
                       ": is there, and each of its values would be replaced; 'talstore set' changes single "
                       "values, 'talstore convert' the format, and --force replaces the file");
    }
}

bool DoesNotComeBack(const host::Variable& stored, const VariableReport& restored) {
    const bool isAskedFor = stored.Retrieved();
    return isAskedFor || !IsAsExpected(restored.outcome) ||
           !IsSameValue(stored.Type(), BytesOf(stored), BytesOf(*restored.variable));
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
    ApplySettings(*layout, options.settings);
    const ProviderInfo& provider = ChooseProvider(drive, FormatOfName(drive.file));
    if (provider.format != nullptr && !options.isForced) {
        RefuseToReplaceValues(drive.file);
    }
    ProviderSession session(provider, drive.location, drive.channel, drive.file);
    if (drive.showsTrace) {
        session.KeepWholeTrace();
    }
    const auto [run, bytes] = session.Store(*layout);
    const bool isStored = !QBF_IsFailure(run.result) && bytes.has_value();
    if (isStored && drive.file.empty()) {
        throw UseError("a file is needed");
    }
    const auto back = LoadLayout(drive.layout);
    ReadBack after;
    if (isStored) {
        WriteWholeFile(drive.file, *bytes, console.out);
        after = ReadBackFrom(session, {drive.file, *bytes, provider.format->format}, *layout, *back, DoesNotComeBack);
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
