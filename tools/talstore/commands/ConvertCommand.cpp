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

bool IsSameFile(const std::string& name, const std::string& other) {
    std::error_code ignored;
    return fs::is_regular_file(name, ignored) && fs::equivalent(name, other, ignored);
}

int ConvertFile(const ConvertOptions& options, const std::string& name, const std::string& output,
                std::optional<Format> format, const Console& console) {
    const ChannelRule channels(options.files.channelPattern, options.common.channel);
    StorageFile input = LoadStorageFile(name, ParseFormat(options.common.format), true);
    Converter converter(options, console);
    const Format outputFormat = format.value_or(input.format);
    const bool replacesInput = IsSameFile(name, output);
    const Conversion conversion =
        converter.Convert({std::move(input), output, outputFormat, channels.ChannelOf(name), replacesInput}, false);
    if (conversion.bytes) {
        const bool mayReplace = options.isInPlace || options.isForced;
        WriteWholeFile(output, *conversion.bytes, console.out, mayReplace ? Existing::Replaced : Existing::Kept);
    }
    Print(BesideFile(console, output), conversion);
    return conversion.status;
}

/// With a pattern of the shell for its files, the second one of two would otherwise be lost.
void RefuseToReplace(const std::string& output) {
    std::error_code ignored;
    if (fs::is_regular_file(output, ignored) && !IsStandardOutput(output)) {
        throw UseError(output + ": is there already, and --force replaces it");
    }
}

int ConvertInto(const ConvertOptions& options, const std::string& output, const Console& console) {
    const std::string& input = options.files.paths.front();
    std::error_code error;
    if (input != "-" && fs::status(input, error).type() == fs::file_type::not_found) {
        RefuseFile(input, error.message());
    }
    if (!options.isForced) {
        RefuseToReplace(output);
    }
    const std::optional<Format> given = ParseFormat(options.outputFormat);
    const std::optional<Format> format = given ? given : FormatOfName(output);
    if (!format) {
        throw UseError(output + ": say with --to what kind of file this shall be");
    }
    return ConvertFile(options, input, output, format, console);
}

// ---- Many files into a folder, or each in its place

/// Where the name leads, be it there or not.
fs::path PlaceOf(const fs::path& name) {
    std::error_code ignored;
    return fs::weakly_canonical(fs::absolute(name, ignored), ignored);
}

/// @param inner, outer  As PlaceOf has them. A folder is in itself.
bool IsIn(const fs::path& inner, const fs::path& outer) {
    const fs::path inside = inner.lexically_relative(outer);
    return !inside.empty() && *inside.begin() != "..";
}

/// Numbers at the end of a name are part of it: unit.0001 is another unit than unit.0002.
fs::path WithEnding(fs::path name, Format format) {
    if (FormatOfName(name.string())) {
        name.replace_extension();
    }
    return name += InfoOf(format).ending;
}

/// Where each file goes. No two go to the same place, none out of the folder, and none to one where something is unless
/// that may be replaced.
class Outputs {
public:
    /// @param folder  Empty: every file is replaced.
    /// @param format  None: each file keeps its own.
    Outputs(std::string folder, std::optional<Format> format, bool isForced)
        : folder_(std::move(folder)), format_(format), isForced_(isForced) {}

    [[nodiscard]] bool ReplaceInputs() const { return folder_.empty(); }

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
            name = WithEnding(std::move(name), *format_);
        }
        return name.string();
    }

    /// Throws InputError when it must not be written there.
    void Reserve(const SourceFile& file) {
        const std::string output = Of(file);
        if (!folder_.empty() && !IsIn(PlaceOf(fs::path(output).parent_path()), PlaceOf(folder_))) {
            RefuseFile(output, "a link leads out of the folder to write, and " + file.name + " is not converted");
        }
        const fs::path place = PlaceOf(output);
        const auto [earlier, isFree] = inputs_.emplace(place.empty() ? fs::path(output) : place, file.name);
        if (!isFree) {
            RefuseFile(output, "this is where " + earlier->second + " goes, and " + file.name + " is not converted");
        }
        if (!folder_.empty() && !MayBeWritten(output)) {
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
        const bool mayReplace = folder_.empty() || isForced_;
        WriteWholeFile(output, bytes, console.out, mayReplace ? Existing::Replaced : Existing::Kept);
    }

private:
    /// A link is no file to replace: it may lead out of the folder.
    [[nodiscard]] bool MayBeWritten(const std::string& output) const {
        std::error_code ignored;
        const fs::file_status status = fs::symlink_status(output, ignored);
        return isForced_ ? !fs::exists(status) || fs::is_regular_file(status) : !fs::exists(status);
    }

    std::string folder_;
    std::optional<Format> format_;
    bool isForced_;
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

/// Whether the folder to write is in the one that was given, and this in it: an earlier run may have written it.
bool IsOutput(const ListedFile& file, const fs::path& outputFolder) {
    if (file.given->folder.empty()) {
        return false;
    }
    const fs::path given = PlaceOf(file.given->folder);
    return IsIn(outputFolder, given) && !IsIn(given, outputFolder) &&
           IsIn(PlaceOf(fs::path(file.name).parent_path()), outputFolder);
}

std::vector<ListedFile> FilesBeside(const std::string& outputFolder, std::vector<ListedFile> files) {
    const fs::path place = PlaceOf(outputFolder);
    files.erase(
        std::remove_if(files.begin(), files.end(), [&](const ListedFile& file) { return IsOutput(file, place); }),
        files.end());
    return files;
}

/// @param outputFolder  Empty: each in its place.
std::vector<ListedFile> FilesToConvert(const ConvertOptions& options, const std::string& outputFolder) {
    std::vector<ListedFile> files = FilesOf(options.files, "to convert");
    if (!options.isInPlace) {
        return FilesBeside(outputFolder, std::move(files));
    }
    std::error_code ignored;
    for (ListedFile& file : files) {
        if (!file.given->folder.empty() && fs::is_symlink(file.name, ignored)) {
            file.problem = "a link in a folder is not followed to be changed in its place";
        } else if (IsArchive(file.name)) {
            file.problem = "an archive is not changed in its place";
        }
    }
    return files;
}

int ConvertMany(const ConvertOptions& options, const std::string& folder, const Console& console) {
    if (folder == "-") {
        throw UseError("several files go into a folder, and - is standard output");
    }
    Outputs outputs(folder, ParseFormat(options.outputFormat), options.isForced);
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
    const bool isComplete = DealOutFiles(options.files, FilesToConvert(options, folder), console, functions);
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
