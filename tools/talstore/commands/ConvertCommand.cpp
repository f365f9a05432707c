#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "board/CarryOver.h"
#include "board/Losses.h"
#include "board/RestoreFindings.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "commands/Settings.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/FileList.h"
#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

/// What the input's board has, in the layout of the output.
struct Values {
    std::unique_ptr<host::Database> layout;
    std::vector<Loss> losses;
    std::string counts;
    std::vector<Finding> findings;   ///< Of the input.
    std::optional<Finding> nothing;  ///< When nothing would arrive.
    std::set<std::string> unfilled;  ///< Variables that are not said to be filled with defaults.
};

Values ReadValues(const ConvertOptions& options, const StorageFile& input) {
    Values values;
    values.layout = LoadLayout(options.oldLayout.empty() ? options.common.layout : options.oldLayout);
    StoredContents contents = Inspect(input, values.layout.get());
    const ProviderSession reading(ProviderOf(input.format), 0, options.common.channel, input.name);
    const RestoreReport before = Restore(reading, input, contents, *values.layout);
    values.losses = LossesOfReading(contents, before);
    values.counts = CountsText(before);
    values.nothing = FindNothingRestored(contents, before);
    values.findings = std::move(contents.findings);
    for (const VariableReport& variable : before.variables) {
        if (variable.outcome != Outcome::Defaulted) {
            values.unfilled.insert(variable.variable->Path());
        }
    }
    return values;
}

/// Moves the values from the input's layout into the output's.
void CarryValues(const ConvertOptions& options, const Console& console, Values& values) {
    const Renames renames =
        options.renames.empty() ? Renames() : Renames::Parse(options.renames, ReadWholeFile(options.renames));
    const auto before = std::move(values.layout);
    for (const std::string& path : renames.Unknown(*before)) {
        console.err << "talstore: " << Printable(options.renames) << ": " << Printable(path)
                    << ": the old layout has nothing of this path\n";
    }
    values.layout = LoadLayout(options.common.layout);
    for (Loss& loss : CarryOver(*before, *values.layout, renames)) {
        values.unfilled.insert(loss.path);
        values.losses.push_back(std::move(loss));
    }
    const std::vector<host::Variable*>& variables = values.layout->Variables();
    const bool hasAny = std::any_of(variables.begin(), variables.end(),
                                    [](const host::Variable* variable) { return variable->Retrieved(); });
    if (!hasAny && !values.nothing) {
        values.nothing = Finding{Severity::Error, "nothing-found", {}, {}, "nothing in it belongs to the new layout"};
    }
}

/// The variables that the input does not hold and the output does: they have their defaults.
std::size_t FilledCount(const Values& values, const RestoreReport& after) {
    std::size_t count = 0;
    for (const VariableReport& variable : after.variables) {
        const std::string& path = variable.variable->Path();
        const bool hasDefault = !values.layout->At(path).Retrieved() && values.unfilled.count(path) == 0;
        count += hasDefault && variable.variable->Retrieved() ? 1 : 0;
    }
    return count;
}

bool WasRetrieved(const host::Variable& stored, const VariableReport& /*restored*/) {
    return stored.Retrieved();
}

/// A file to convert, and where to.
struct Job {
    std::string input;
    std::string output;
    std::optional<Format> format;    ///< None: the input's.
    bool isInAnotherFolder = false;  ///< Which may not be there, and where nothing is replaced.
};

void WriteOutput(const Job& job, std::string_view bytes, const Console& console) {
    if (job.isInAnotherFolder) {
        std::error_code error;
        std::filesystem::create_directories(std::filesystem::path(job.output).parent_path(), error);
        if (error) {
            RefuseFile(job.output, error.message());
        }
    }
    WriteWholeFile(job.output, bytes, console.out);
}

int ConvertFile(const ConvertOptions& options, const Job& job, std::size_t jobCount, const Console& console) {
    std::error_code ignored;
    if (job.isInAnotherFolder && std::filesystem::exists(std::filesystem::symlink_status(job.output, ignored))) {
        RefuseFile(job.output, "is there already");
    }
    const StorageFile input = LoadStorageFile(job.input, ParseFormat(options.common.format), true);
    const Format outputFormat = job.format.value_or(input.format);
    Values values = ReadValues(options, input);
    if (!options.oldLayout.empty()) {
        CarryValues(options, console, values);
    }
    ApplySettings(*values.layout, options.settings);

    const ProviderSession writing(ProviderOf(outputFormat), 0, options.common.channel, job.output);
    const auto [run, bytes] = writing.Store(*values.layout);
    if (QBF_IsFailure(run.result) || !bytes) {
        throw InputError(job.output + ": the provider could not store the file");
    }
    const StorageFile output = {job.output, *bytes, outputFormat};
    const ReadBack after =
        ReadBackFrom(writing, output, *values.layout, LoadLayout(options.common.layout), WasRetrieved);
    const bool isWritten = after.IsReadable() && !values.nothing;
    if (isWritten) {
        WriteOutput(job, *bytes, console);
    }

    const Console told = BesideFile(console, job.output);
    if (options.common.asJson) {
        PrintAnswer(told, "convert",
                    {{"input", {{"file", input.name}, {"format", NameOf(input.format)}}},
                     {"output", {{"file", output.name}, {"format", NameOf(outputFormat)}}},
                     {"written", isWritten},
                     {"filled", FilledCount(values, after.report)},
                     {"notRead", LossesJson(values.losses)},
                     {"notCarried", LossesJson(after.losses)}},
                    jobCount);
    } else {
        Table table;
        AddLosses(table, values.losses);
        AddLosses(table, after.losses);
        table.Print(told);
        told.out << Printable(input.name) << " (" << NameOf(input.format) << "): " << values.counts << '\n'
                 << Printable(output.name) << " (" << NameOf(outputFormat) << "): ";
        if (isWritten) {
            told.out << Count(bytes->size(), "byte") << ", " << after.losses.size() << " not carried, "
                     << FilledCount(values, after.report) << " not in the input and filled with defaults\n";
        } else {
            told.out << "not written, since " << (values.nothing ? "nothing would arrive" : "no board could read it")
                     << '\n';
        }
    }
    if (values.nothing) {
        TellFindings(console, input.name, values.findings);
        TellFindings(console, input.name, {*values.nothing});
    }
    return isWritten && values.losses.empty() && after.losses.empty() ? kFine : kProblems;
}

// ---- What is converted into what

Job FileJob(const ConvertOptions& options) {
    const std::optional<Format> given = ParseFormat(options.outputFormat);
    const std::optional<Format> format = given ? given : FormatOfName(options.output);
    if (!format) {
        throw UseError(options.output + ": say with --to what kind of file this shall be");
    }
    return {options.input, options.output, format};
}

/// The same file in the other folder, with the ending of its format.
std::string NameIn(const std::string& folder, const std::filesystem::path& file, std::optional<Format> format) {
    std::filesystem::path name = std::filesystem::path(folder) / file;
    if (format) {
        name.replace_extension(InfoOf(*format).ending);
    }
    return name.string();
}

std::vector<Job> FolderJobs(const ConvertOptions& options) {
    const std::optional<Format> format = ParseFormat(options.outputFormat);
    std::vector<Job> jobs;
    for (const ListedFile& file : ListFiles({options.input})) {
        if (!file.problem.empty()) {
            RefuseFile(file.name, file.problem);
        }
        const std::filesystem::path inside = std::filesystem::path(file.name).lexically_relative(options.input);
        jobs.push_back({file.name, options.isInPlace ? file.name : NameIn(options.output, inside, format), format,
                        !options.isInPlace});
    }
    if (jobs.empty()) {
        RefuseFile(options.input, "has no files");
    }
    return jobs;
}

bool IsFolder(const std::string& name) {
    std::error_code ignored;
    return std::filesystem::is_directory(name, ignored);
}

void CheckUse(const ConvertOptions& options) {
    if (options.isInPlace && !options.output.empty()) {
        throw UseError("--in-place replaces A, so that there is no B");
    }
    if (!options.isInPlace && options.output.empty()) {
        throw UseError("B is missing");
    }
    if (!options.renames.empty() && options.oldLayout.empty()) {
        throw UseError("--rename needs --from, which has the old paths");
    }
}

}  // namespace

int Convert(const ConvertOptions& options, const Console& console) {
    CheckUse(options);
    if (!IsFolder(options.input)) {
        const Job inPlace = {options.input, options.input, ParseFormat(options.outputFormat)};
        return ConvertFile(options, options.isInPlace ? inPlace : FileJob(options), 1, console);
    }
    std::map<std::string, Job> jobs;
    std::vector<std::string> inputs;
    for (Job& job : FolderJobs(options)) {
        inputs.push_back(job.input);
        jobs[inputs.back()] = std::move(job);
    }
    return ForEachFile(inputs, console, [&](const std::string& input) {
        return ConvertFile(options, jobs[input], jobs.size(), console);
    });
}

}  // namespace tal::talstore
