#include <nlohmann/json.hpp>

#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

/// A variable, or an item of the input, that is not in the output as it was in the input.
struct Loss {
    const char* kind;
    std::string path;
    std::string reason;
};

/// What the layout's board does not take from the input.
std::vector<Loss> LossesOfReading(const StoredContents& contents, const RestoreReport& report) {
    std::vector<Loss> losses;
    for (const VariableReport& variable : report.variables) {
        const bool isInFile = variable.item != kNone || variable.outcome == Outcome::Left;
        if (isInFile && !IsAsExpected(variable.outcome)) {
            losses.push_back({NameOf(variable.outcome), variable.variable->Path(), variable.reason});
        }
    }
    for (const std::size_t index : LostItems(report)) {
        losses.push_back({"ignored", contents.items[index].path, report.items[index].reason});
    }
    return losses;
}

/// What does not come back from the output. Both reports are about the same layout.
std::vector<Loss> LossesOfWriting(const RestoreReport& before, const RestoreReport& after) {
    std::vector<Loss> losses;
    for (std::size_t i = 0; i < before.variables.size(); ++i) {
        const host::Variable& was = *before.variables[i].variable;
        const host::Variable& is = *after.variables[i].variable;
        if (!was.Retrieved()) {
            continue;
        }
        if (!is.Retrieved()) {
            losses.push_back({"lost", was.Path(), ValueText(was) + ": " + after.variables[i].reason});
        } else if (!IsSameValue(was.Type(), BytesOf(was), BytesOf(is))) {
            losses.push_back({"altered", was.Path(), ValueText(was) + " becomes " + ValueText(is)});
        }
    }
    return losses;
}

Json LossesJson(const std::vector<Loss>& losses) {
    Json json = Json::array();
    for (const Loss& loss : losses) {
        json.push_back({{"kind", loss.kind}, {"path", loss.path}, {"reason", loss.reason}});
    }
    return json;
}

void AddLosses(Table& table, const std::vector<Loss>& losses) {
    for (const Loss& loss : losses) {
        table.Add({{loss.kind, Colour::Yellow}, Printable(loss.path), Printable(loss.reason)});
    }
}

/// The variables that the input does not hold and the output does: they have their defaults.
std::size_t FilledCount(const RestoreReport& before, const RestoreReport& after) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < before.variables.size(); ++i) {
        count += before.variables[i].outcome == Outcome::Defaulted && after.variables[i].variable->Retrieved() ? 1 : 0;
    }
    return count;
}

Format OutputFormat(const ConvertOptions& options) {
    const std::optional<Format> given = ParseFormat(options.outputFormat);
    const std::optional<Format> format = given ? given : FormatOfName(options.output);
    if (!format) {
        throw InputError(options.output + ": say with --to what kind of file this shall be");
    }
    return *format;
}

/// The texts that make a document unreadable.
std::vector<Loss> UnwritableTexts(const RestoreReport& report) {
    std::vector<Loss> losses;
    for (const VariableReport& variable : report.variables) {
        const bool isText = variable.variable->Type() == VARIABLE_TYPE_STRING && variable.isStored;
        if (isText && variable.variable->Text().find_first_of("<&") != std::string::npos) {
            losses.push_back({"unwritable", variable.variable->Path(),
                              ValueText(*variable.variable) + ": a document cannot hold '<' or '&'"});
        }
    }
    return losses;
}

}  // namespace

int Convert(const ConvertOptions& options, const Console& console) {
    const auto layout = LoadLayout(options.common.layout);
    const StorageFile input = LoadStorageFile(options.input, ParseFormat(options.common.format), true);
    const Format outputFormat = OutputFormat(options);
    const StoredContents contents = Inspect(input, layout.get());
    const ProviderSession reading(ProviderOf(input.format), 0, options.common.channel, input.name);
    const RestoreReport before = Restore(reading, input, contents, *layout);

    const ProviderSession writing(ProviderOf(outputFormat), 0, options.common.channel, options.output);
    const Run stored = writing.Store(*layout);
    const std::optional<std::string> bytes = writing.TakeFile();
    if (IsFailure(stored.result) || !bytes) {
        throw InputError(options.output + ": the provider could not store the file");
    }
    const StorageFile output = {options.output, *bytes, outputFormat};
    const auto layoutOfOutput = LoadLayout(options.common.layout);
    const StoredContents outputContents = Inspect(output, layoutOfOutput.get());
    const RestoreReport after = Restore(writing, output, outputContents, *layoutOfOutput);

    const std::vector<Loss> readLosses = LossesOfReading(contents, before);
    const bool isReadable = !IsFailure(after.run.result);
    const std::vector<Loss> writeLosses = isReadable ? LossesOfWriting(before, after) : UnwritableTexts(before);
    if (isReadable) {
        WriteWholeFile(options.output, *bytes, console.out);
    }

    const Console told = {options.output == "-" ? console.err : console.out, console.err, console.hasColour,
                          console.width};
    if (options.common.asJson) {
        PrintJson(told, {{"input", {{"file", input.name}, {"format", NameOf(input.format)}}},
                         {"output", {{"file", output.name}, {"format", NameOf(outputFormat)}}},
                         {"written", isReadable},
                         {"filled", FilledCount(before, after)},
                         {"notRead", LossesJson(readLosses)},
                         {"notCarried", LossesJson(writeLosses)}});
    } else {
        Table table;
        AddLosses(table, readLosses);
        AddLosses(table, writeLosses);
        table.Print(told);
        told.out << Printable(input.name) << " (" << NameOf(input.format) << "): " << CountsText(before) << '\n'
                 << Printable(output.name) << " (" << NameOf(outputFormat) << "): ";
        if (isReadable) {
            told.out << Count(bytes->size(), "byte") << ", " << writeLosses.size() << " not carried, "
                     << FilledCount(before, after) << " not in the input and filled with defaults\n";
        } else {
            told.out << "not written, since no board could read it\n";
        }
    }
    return isReadable && readLosses.empty() && writeLosses.empty() ? kFine : kProblems;
}

}  // namespace tal::talstore
