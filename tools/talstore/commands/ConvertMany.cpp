#include "commands/ConvertMany.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "commands/Conversion.h"
#include "commands/ManyFiles.h"
#include "commands/OutputPlaces.h"
#include "commands/Report.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/Interrupt.h"
#include "files/PrivateDirectory.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

/// What cannot be converted, as something to print.
Conversion NotConverted(const std::string& problem) {
    return {kCannot, std::nullopt, {}, "talstore: " + Printable(problem) + '\n'};
}

/// In the processes that convert.
class ConverterOfFiles {
public:
    ConverterOfFiles(const ConvertOptions& options, const OutputPlaces& outputs, const Console& console)
        : converter_(options, console),
          outputs_(outputs),
          channels_(options.files.channelPattern, options.common.channel),
          inputFormat_(ParseFormat(options.common.format)),
          outputFormat_(ParseFormat(options.outputFormat)) {}

    [[nodiscard]] Conversion Convert(SourceFile file) {
        if (directory_ == nullptr) {
            directory_ = PrivateDirectory::Shared();
        }
        try {
            if (!file.problem.empty()) {
                throw InputError(file.problem);
            }
            StorageFile input = LoadSource(file, inputFormat_);
            const Format format = outputFormat_.value_or(input.format);
            return converter_.Convert(
                {std::move(input), outputs_.Of(file), format, channels_.ChannelOf(file.name), outputs_.ReplaceInputs()},
                true);
        } catch (const InputError& error) {
            return NotConverted(error.what());
        } catch (const std::bad_alloc&) {
            return NotConverted(file.name + ": out of memory");
        }
    }

private:
    Converter converter_;
    const OutputPlaces& outputs_;
    ChannelRule channels_;
    std::optional<Format> inputFormat_;
    std::optional<Format> outputFormat_;
    std::shared_ptr<const PrivateDirectory> directory_;  ///< Begins in the process that converts.
};

/// How many files end in which way.
struct Tally {
    std::size_t written = 0;
    std::size_t notWritten = 0;
    std::size_t cannotBeConverted = 0;
    int worst = kFine;

    void Add(const Conversion& conversion) {
        ++(conversion.status == kCannot ? cannotBeConverted : conversion.bytes ? written : notWritten);
        worst = std::max(worst, conversion.status);
    }

    void Print(const Console& console, bool isComplete) const {
        console.out << (isComplete ? "" : "incomplete: ") << Count(written + notWritten + cannotBeConverted, "file")
                    << ": " << written << " written, " << notWritten << " not written, " << cannotBeConverted
                    << " cannot be converted\n";
    }
};

/// @param outputFolder  Empty: each in its place.
std::vector<ListedFile> FilesToConvert(const ConvertOptions& options, const std::string& outputFolder) {
    std::vector<ListedFile> files = FilesOf(options.files, "to convert");
    if (!options.isInPlace) {
        return FilesBeside(outputFolder, std::move(files));
    }
    std::error_code ignored;
    for (ListedFile& file : files) {
        if (!file.given->folder.empty() && std::filesystem::is_symlink(file.name, ignored)) {
            file.problem = "a link in a folder is not followed to be changed in its place";
        } else if (IsArchive(file.name)) {
            file.problem = "an archive is not changed in its place";
        }
    }
    return files;
}

}  // namespace

int ConvertMany(const ConvertOptions& options, const std::string& folder, const Console& console) {
    if (folder == "-") {
        throw UseError("several files go into a folder, and - is standard output");
    }
    OutputPlaces outputs(folder, ParseFormat(options.outputFormat), options.isForced);
    ConverterOfFiles converter(options, outputs, console);
    Tally tally;
    FileFunctions functions;
    functions.prepare = [&](SourceFile& file) {
        try {
            if (file.problem.empty()) {
                outputs.Reserve(file);
            } else {
                file.problem = file.name + ": " + file.problem;
            }
        } catch (const InputError& error) {
            file.problem = error.what();
            file.bytes.reset();
        }
    };
    functions.work = [&](SourceFile file) { return Packed(converter.Convert(std::move(file))); };
    functions.take = [&](const SourceFile& file, const JobResult& result) {
        Conversion conversion =
            result.failure.empty() ? UnpackedConversion(result.bytes) : NotConverted(file.name + ": " + result.failure);
        try {
            if (conversion.bytes) {
                outputs.Write(file, *conversion.bytes, console);
            }
        } catch (const InputError& error) {
            conversion = NotConverted(error.what());
        }
        PrintConversion(console, conversion);
        tally.Add(conversion);
    };
    functions.printsEach = true;
    const bool isComplete = DealOutFiles(options.files, FilesToConvert(options, folder), console, functions);
    if (!options.common.asJson) {
        tally.Print(console, isComplete);
    }
    return isComplete ? tally.worst : kInterrupted + InterruptingSignal();
}

}  // namespace tal::talstore
