#include <filesystem>

#include "commands/Commands.h"
#include "commands/Conversion.h"
#include "commands/ConvertMany.h"
#include "commands/ManyFiles.h"
#include "commands/Report.h"
#include "commands/UseError.h"
#include "files/Archive.h"
#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

namespace {

namespace fs = std::filesystem;

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
    PrintConversion(BesideFile(console, output), conversion);
    return conversion.status;
}

/// With a pattern of the shell for its files, the second one of two would otherwise be lost.
void RequireFreeName(const std::string& output) {
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
        RequireFreeName(output);
    }
    const std::optional<Format> given = ParseFormat(options.outputFormat);
    const std::optional<Format> format = given ? given : FormatOfName(output);
    if (!format) {
        throw UseError(output + ": say with --to what kind of file this shall be");
    }
    return ConvertFile(options, input, output, format, console);
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
