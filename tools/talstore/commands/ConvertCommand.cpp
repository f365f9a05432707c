#include <nlohmann/json.hpp>

#include "board/Losses.h"
#include "board/RestoreFindings.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "commands/Settings.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

/// The variables that the input does not hold and the output does: they have their defaults.
std::size_t FilledCount(const RestoreReport& before, const RestoreReport& after) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < before.variables.size(); ++i) {
        const bool hasDefault =
            before.variables[i].outcome == Outcome::Defaulted && !before.variables[i].variable->Retrieved();
        count += hasDefault && after.variables[i].variable->Retrieved() ? 1 : 0;
    }
    return count;
}

Format OutputFormat(const ConvertOptions& options) {
    const std::optional<Format> given = ParseFormat(options.outputFormat);
    const std::optional<Format> format = given ? given : FormatOfName(options.output);
    if (!format) {
        throw UseError(options.output + ": say with --to what kind of file this shall be");
    }
    return *format;
}

bool WasRetrieved(const host::Variable& stored, const VariableReport& /*restored*/) {
    return stored.Retrieved();
}

}  // namespace

int Convert(const ConvertOptions& options, const Console& console) {
    const auto layout = LoadLayout(options.common.layout);
    const StorageFile input = LoadStorageFile(options.input, ParseFormat(options.common.format), true);
    const Format outputFormat = OutputFormat(options);
    const StoredContents contents = Inspect(input, layout.get());
    const ProviderSession reading(ProviderOf(input.format), 0, options.common.channel, input.name);
    const RestoreReport before = Restore(reading, input, contents, *layout);
    ApplySettings(*layout, options.settings);

    const ProviderSession writing(ProviderOf(outputFormat), 0, options.common.channel, options.output);
    const auto [run, bytes] = writing.Store(*layout);
    if (QBF_IsFailure(run.result) || !bytes) {
        throw InputError(options.output + ": the provider could not store the file");
    }
    const StorageFile output = {options.output, *bytes, outputFormat};
    const ReadBack after = ReadBackFrom(writing, output, *layout, LoadLayout(options.common.layout), WasRetrieved);
    const std::vector<Loss> readLosses = LossesOfReading(contents, before);
    const std::optional<Finding> nothing = FindNothingRestored(contents, before);
    const bool isWritten = after.IsReadable() && !nothing;
    if (isWritten) {
        WriteWholeFile(options.output, *bytes, console.out);
    }

    const Console told = BesideFile(console, options.output);
    if (options.common.asJson) {
        PrintAnswer(told, "convert",
                    {{"input", {{"file", input.name}, {"format", NameOf(input.format)}}},
                     {"output", {{"file", output.name}, {"format", NameOf(outputFormat)}}},
                     {"written", isWritten},
                     {"filled", FilledCount(before, after.report)},
                     {"notRead", LossesJson(readLosses)},
                     {"notCarried", LossesJson(after.losses)}});
    } else {
        Table table;
        AddLosses(table, readLosses);
        AddLosses(table, after.losses);
        table.Print(told);
        told.out << Printable(input.name) << " (" << NameOf(input.format) << "): " << CountsText(before) << '\n'
                 << Printable(output.name) << " (" << NameOf(outputFormat) << "): ";
        if (isWritten) {
            told.out << Count(bytes->size(), "byte") << ", " << after.losses.size() << " not carried, "
                     << FilledCount(before, after.report) << " not in the input and filled with defaults\n";
        } else {
            told.out << "not written, since " << (nothing ? "nothing would arrive" : "no board could read it") << '\n';
        }
    }
    if (nothing) {
        TellFindings(console, input.name, contents.findings);
        TellFindings(console, input.name, {*nothing});
    }
    return isWritten && readLosses.empty() && after.losses.empty() ? kFine : kProblems;
}

}  // namespace tal::talstore
