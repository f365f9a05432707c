#include "commands/Conversion.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "board/Losses.h"
#include "board/RestoreFindings.h"
#include "commands/Report.h"
#include "commands/Settings.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/Packed.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

bool WasRetrieved(const host::Variable& stored, const VariableReport& /*restored*/) {
    return stored.Retrieved();
}

Finding NothingFound(const char* message) {
    return {Severity::Error, "nothing-found", {}, {}, message};
}

}  // namespace

std::string Packed(const Conversion& conversion) {
    Packer packer;
    packer.Number(static_cast<std::uint64_t>(conversion.status));
    packer.Number(conversion.bytes ? 1 : 0);
    packer.Text(conversion.bytes ? std::string_view(*conversion.bytes) : std::string_view());
    packer.Text(conversion.out);
    packer.Text(conversion.err);
    return packer.Take();
}

Conversion UnpackedConversion(std::string_view bytes) {
    Unpacker unpacker(bytes);
    Conversion conversion;
    conversion.status = static_cast<int>(unpacker.Number());
    const bool hasBytes = unpacker.Number() != 0;
    std::string content = unpacker.Text();
    if (hasBytes) {
        conversion.bytes = std::move(content);
    }
    conversion.out = unpacker.Text();
    conversion.err = unpacker.Text();
    return conversion;
}

void PrintConversion(const Console& console, const Conversion& conversion) {
    console.out << conversion.out;
    console.err << conversion.err;
}

/// What the input's board has.
struct Converter::Reading {
    std::vector<Loss> losses;
    std::string damage;  ///< Empty when the input is whole.
    std::string counts;
    std::vector<Finding> findings;   ///< Of the input.
    std::optional<Finding> nothing;  ///< When nothing would arrive.
    std::set<std::string> unfilled;  ///< Variables that are not said to be filled with defaults.
};

Converter::Converter(const ConvertOptions& options, const Console& console) : options_(options), style_(console) {
    if (!options.renames.empty()) {
        renames_ = Renames::Parse(options.renames, ReadWholeFile(options.renames));
    }
    before_ = LoadLayout(options.oldLayout);
    after_ = LoadLayout(options.common.layout);
    back_ = LoadLayout(options.common.layout);
    ApplySettings(*after_, options.settings);
    if (before_ != nullptr) {
        for (const std::string& path : renames_.Unknown(*before_)) {
            console.err << "talstore: " << Printable(options.renames) << ": " << Printable(path)
                        << ": the old layout has nothing of this path\n";
        }
    }
}

Converter::Reading Converter::Read(const ConversionJob& job) {
    Reading reading;
    host::Database& layout = before_ == nullptr ? *after_ : *before_;
    layout.ResetToDefaults();
    StoredContents contents = Inspect(job.input, &layout);
    const ProviderSession session(ProviderOf(job.input.format), 0, job.channel, job.input.name);
    const RestoreReport report = Restore(session, job.input, contents, layout);
    reading.damage = DamageOf(contents, report);
    reading.losses = LossesOfReading(contents, report, !reading.damage.empty());
    reading.counts = CountsText(report);
    reading.nothing = FindNothingRestored(contents, report);
    reading.findings = std::move(contents.findings);
    for (const VariableReport& variable : report.variables) {
        if (variable.outcome != Outcome::Defaulted || !reading.damage.empty()) {
            reading.unfilled.insert(renames_.NewPathOf(variable.variable->Path()));
        }
    }
    return reading;
}

/// Moves the values from the inputs' layout into that of the outputs.
void Converter::CarryInto(Reading& reading) {
    after_->ResetToDefaults();
    for (Loss& loss : CarryOver(*before_, *after_, renames_)) {
        reading.unfilled.insert(loss.path);
        reading.losses.push_back(std::move(loss));
    }
    const std::vector<host::Variable*>& variables = after_->Variables();
    const bool hasAny = std::any_of(variables.begin(), variables.end(),
                                    [](const host::Variable* variable) { return variable->Retrieved(); });
    if (!hasAny && !reading.nothing) {
        reading.nothing = NothingFound("nothing in it belongs to the new layout");
    }
}

/// The variables that the input does not hold and the output does: they have their defaults.
std::size_t Converter::FilledCount(const Reading& reading, const RestoreReport& after) const {
    return static_cast<std::size_t>(
        std::count_if(after.variables.begin(), after.variables.end(), [&](const VariableReport& variable) {
            const std::string& path = variable.variable->Path();
            const bool hasDefault = !after_->At(path).Retrieved() && reading.unfilled.count(path) == 0;
            return hasDefault && variable.variable->Retrieved();
        }));
}

/// What has become of a file.
struct Converter::Result {
    const ConversionJob& job;
    const Reading& reading;
    const ReadBack& after;
    std::size_t filledCount;
    std::size_t size;
    const char* hindrance;  ///< Why it is not written; null when it is.
};

const char* Converter::HindranceOf(const ConversionJob& job, const Reading& reading, const ReadBack& after) {
    return reading.nothing                                ? "nothing would arrive"
           : !after.IsReadable()                          ? "no board could read it"
           : job.replacesInput && !reading.damage.empty() ? "the damaged input would be lost"
                                                          : nullptr;
}

Json Converter::JsonOf(const Result& result) {
    const ConversionJob& job = result.job;
    return {{"input", {{"file", job.input.name}, {"format", NameOf(job.input.format)}}},
            {"output", {{"file", job.output}, {"format", NameOf(job.format)}}},
            {"written", result.hindrance == nullptr},
            {"damage", result.reading.damage},
            {"filled", result.filledCount},
            {"notRead", LossesJson(result.reading.losses)},
            {"notCarried", LossesJson(result.after.losses)}};
}

void Converter::Print(const Console& console, const Result& result) {
    const ConversionJob& job = result.job;
    Table table;
    AddLosses(table, result.reading.losses);
    AddLosses(table, result.after.losses);
    table.Print(console);
    console.out << Printable(job.input.name) << " (" << NameOf(job.input.format) << "): " << result.reading.counts
                << '\n';
    if (!result.reading.damage.empty()) {
        console.out << Printable(job.input.name) << ": damaged: " << Printable(result.reading.damage)
                    << "; 'talstore recover' shows what it holds\n";
    }
    console.out << Printable(job.output) << " (" << NameOf(job.format) << "): ";
    if (result.hindrance == nullptr) {
        console.out << Count(result.size, "byte") << ", " << result.after.losses.size() << " not carried, "
                    << result.filledCount << " not in the input and filled with defaults\n";
    } else {
        console.out << "not written, since " << result.hindrance << '\n';
    }
}

Conversion Converter::Convert(const ConversionJob& job, bool isOneOfSeveral) {
    Reading reading = Read(job);
    if (before_ != nullptr) {
        CarryInto(reading);
    }
    ApplySettings(*after_, options_.settings);

    const ProviderSession writing(ProviderOf(job.format), 0, job.channel, job.output);
    auto [run, bytes] = writing.Store(*after_);
    if (QBF_IsFailure(run.result) || !bytes) {
        throw InputError(job.output + ": the provider could not store the file");
    }
    back_->ResetToDefaults();
    const ReadBack after = ReadBackFrom(writing, {job.output, *bytes, job.format}, *after_, *back_, WasRetrieved);
    const char* const hindrance = HindranceOf(job, reading, after);

    std::ostringstream out;
    std::ostringstream err;
    const Console told = {out, err, style_.hasColour, style_.width};
    const Result result = {job, reading, after, FilledCount(reading, after.report), bytes->size(), hindrance};
    if (options_.common.asJson) {
        constexpr std::size_t kSeveral = 2;
        PrintAnswer(told, "convert", JsonOf(result), isOneOfSeveral ? kSeveral : 1);
    } else {
        Print(told, result);
    }
    if (reading.nothing) {
        TellFindings(told, job.input.name, reading.findings);
        TellFindings(told, job.input.name, {*reading.nothing});
    }
    const bool isWritten = hindrance == nullptr;
    const bool isWhole = isWritten && reading.damage.empty() && reading.losses.empty() && after.losses.empty();
    return {isWhole ? kFine : kProblems, isWritten ? std::move(bytes) : std::nullopt, out.str(), err.str()};
}

}  // namespace tal::talstore
