#include "commands/OutputPlaces.h"

#include <algorithm>
#include <utility>

#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

namespace {

namespace fs = std::filesystem;

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

/// Whether the folder to write is in the one that was given, and this in it: an earlier run may have written it.
bool IsOutput(const ListedFile& file, const fs::path& outputFolder) {
    if (file.given->folder.empty()) {
        return false;
    }
    const fs::path given = PlaceOf(file.given->folder);
    return IsIn(outputFolder, given) && !IsIn(given, outputFolder) &&
           IsIn(PlaceOf(fs::path(file.name).parent_path()), outputFolder);
}

}  // namespace

std::string OutputPlaces::Of(const SourceFile& file) const {
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

void OutputPlaces::Reserve(const SourceFile& file) {
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

void OutputPlaces::Write(const SourceFile& file, std::string_view bytes, const Console& console) const {
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

/// A link is no file to replace: it may lead out of the folder.
bool OutputPlaces::MayBeWritten(const std::string& output) const {
    std::error_code ignored;
    const fs::file_status status = fs::symlink_status(output, ignored);
    return isForced_ ? !fs::exists(status) || fs::is_regular_file(status) : !fs::exists(status);
}

std::vector<ListedFile> FilesBeside(const std::string& outputFolder, std::vector<ListedFile> files) {
    const fs::path place = PlaceOf(outputFolder);
    files.erase(
        std::remove_if(files.begin(), files.end(), [&](const ListedFile& file) { return IsOutput(file, place); }),
        files.end());
    return files;
}

}  // namespace tal::talstore
