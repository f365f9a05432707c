#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>

#include "commands/Commands.h"
#include "commands/Conversion.h"
#include "commands/ManyFiles.h"
#include "commands/Report.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/Interrupt.h"
#include "files/Packed.h"
#include "files/PrivateDirectory.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

namespace fs = std::filesystem;

void Print(const Console& console, const Conversion& conversion) {
    console.out << conversion.out;
    console.err << conversion.err;
}

// ---- One file into another

int ConvertFile(const ConvertOptions& options, const std::string& name, const std::string& output,
                std::optional<Format> format, const Console& console) {
    const ChannelRule channels(options.files.channelPattern, options.common.channel);
    StorageFile input = LoadStorageFile(name, ParseFormat(options.common.format), true);
    Converter converter(options, console);
    const Format outputFormat = format.value_or(input.format);
    const Conversion conversion =
        converter.Convert({std::move(input), output, outputFormat, channels.ChannelOf(name)}, false);
    if (conversion.bytes) {
        WriteWholeFile(output, *conversion.bytes, console.out);
    }
    Print(BesideFile(console, output), conversion);
    return conversion.status;
}

int ConvertInto(const ConvertOptions& options, const std::string& output, const Console& console) {
    const std::optional<Format> given = ParseFormat(options.outputFormat);
    const std::optional<Format> format = given ? given : FormatOfName(output);
    if (!format) {
        throw UseError(output + ": say with --to what kind of file this shall be");
    }
    return ConvertFile(options, options.files.paths.front(), output, format, console);
}

// ---- Many files into a folder, or each in its place

/// Where each file goes. No two go to the same place, and none to one where something is.
class Outputs {
public:
    /// @param folder  Empty: every file is replaced.
    /// @param format  None: each file keeps its own.
    Outputs(std::string folder, std::optional<Format> format) : folder_(std::move(folder)), format_(format) {}

    /// Throws InputError.
    [[nodiscard]] std::string Of(const SourceFile& file) const {
        if (folder_.empty()) {
            return file.name;
        }
        const fs::path inside = fs::path(file.inside).relative_path().lexically_normal();
        if (!inside.has_filename() || inside == "." || *inside.begin() == "..") {
            RefuseFile(file.name, "its name leads out of the folder to write");
        }
        fs::path name = fs::path(folder_) / inside;
        if (format_) {
            name.replace_extension(InfoOf(*format_).ending);
        }
        return name.string();
    }

    /// Throws InputError when it must not be written there.
    void Reserve(const SourceFile& file) {
        const std::string output = Of(file);
        std::error_code ignored;
        const fs::path place = fs::weakly_canonical(output, ignored);
        const auto [earlier, isFree] = inputs_.emplace(place.empty() ? fs::path(output) : place, file.name);
        if (!isFree) {
            RefuseFile(output, "this is where " + earlier->second + " goes, and " + file.name + " is not converted");
        }
        if (!folder_.empty() && fs::exists(fs::symlink_status(output, ignored))) {
            RefuseFile(output, "is there already, and " + file.name + " is not converted");
        }
    }

    void Write(const SourceFile& file, std::string_view bytes, const Console& console) const {
        const std::string output = Of(file);
        if (!folder_.empty()) {
            std::error_code error;
            fs::create_directories(fs::path(output).parent_path(), error);
            if (error) {
                RefuseFile(output, error.message());
            }
        }
        WriteWholeFile(output, bytes, console.out);
    }

private:
    std::string folder_;
    std::optional<Format> format_;
    std::map<fs::path, std::string> inputs_;  ///< By where they go.
};

std::string Packed(const Conversion& conversion) {
    Packer packer;
    packer.Number(static_cast<std::uint64_t>(conversion.status));
    packer.Number(conversion.bytes ? 1 : 0);
    packer.Text(conversion.bytes ? std::string_view(*conversion.bytes) : std::string_view());
    packer.Text(conversion.out);
    packer.Text(conversion.err);
    return packer.Take();
}

Conversion UnpackedConversion(std::string_view packed) {
    Unpacker unpacker(packed);
    Conversion conversion;
    conversion.status = static_cast<int>(unpacker.Number());
    const bool hasBytes = unpacker.Number() != 0;
    std::string bytes = unpacker.Text();
    if (hasBytes) {
        conversion.bytes = std::move(bytes);
    }
    conversion.out = unpacker.Text();
    conversion.err = unpacker.Text();
    return conversion;
}

/// What cannot be converted, as something to print.
Conversion NotConverted(const std::string& problem) {
    return {kCannot, std::nullopt, {}, "talstore: " + Printable(problem) + '\n'};
}

/// In the processes that convert.
class ConverterOfFiles {
public:
    ConverterOfFiles(const ConvertOptions& options, const Outputs& outputs, const Console& console)
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
            return converter_.Convert({std::move(input), outputs_.Of(file), format, channels_.ChannelOf(file.name)},
                                      true);
        } catch (const InputError& error) {
            return NotConverted(error.what());
        } catch (const std::bad_alloc&) {
            return NotConverted(file.name + ": out of memory");
        }
    }

private:
    Converter converter_;
    const Outputs& outputs_;
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

std::vector<ListedFile> FilesToConvert(const ConvertOptions& options) {
    std::vector<ListedFile> files = FilesOf(options.files, "to convert");
    for (ListedFile& file : files) {
        if (options.isInPlace && IsArchive(file.name)) {
            file.problem = "an archive is not changed in its place";
        }
    }
    return files;
}

int ConvertMany(const ConvertOptions& options, const std::string& folder, const Console& console) {
    Outputs outputs(folder, ParseFormat(options.outputFormat));
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
        Print(console, conversion);
        tally.Add(conversion);
    };
    functions.printsEach = true;
    const bool isComplete = DealOutFiles(options.files, FilesToConvert(options), console, functions);
    if (!options.common.asJson) {
        tally.Print(console, isComplete);
    }
    return isComplete ? tally.worst : kInterrupted + InterruptingSignal();
}

bool IsFolder(const std::string& name) {
    std::error_code ignored;
    return fs::is_directory(name, ignored);
}

bool IsOneFile(const ManyFilesOptions& files, const std::string& output) {
    return files.listName.empty() && files.paths.size() == 1 && !IsFolder(files.paths.front()) &&
           !IsArchive(files.paths.front()) && !IsFolder(output);
}

}  // namespace

int Convert(const ConvertOptions& options, const Console& console) {
    if (!options.renames.empty() && options.oldLayout.empty()) {
        throw UseError("--rename needs --from, which has the old paths");
    }
    ConvertOptions converted = options;
    std::vector<std::string>& paths = converted.files.paths;
    std::string output;
    if (!options.isInPlace && !paths.empty()) {
        output = std::move(paths.back());
        paths.pop_back();
    }
    if (paths.empty() && options.files.listName.empty()) {
        throw UseError(options.isInPlace ? "a file to convert is missing"
                                         : "the file or the folder to write is missing");
    }
    if (!options.isInPlace && output.empty()) {
        throw UseError("the folder to write is missing");
    }
    if (!IsOneFile(converted.files, output)) {
        return ConvertMany(converted, output, console);
    }
    return options.isInPlace
               ? ConvertFile(converted, paths.front(), paths.front(), ParseFormat(options.outputFormat), console)
               : ConvertInto(converted, output, console);
}

}  // namespace tal::talstore
