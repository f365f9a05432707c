#include "files/Outputs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

namespace {

namespace fs = std::filesystem;

/// An attribute list or a comment may stand before the mark.
constexpr std::size_t kStartSize = 4096;

std::string StartOf(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file) {
        RefuseFile(name, std::strerror(errno));
    }
    std::string start(kStartSize, '\0');
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    return start;
}

bool IsOfKind(std::string_view start, const FileKind& kind) {
    return start.substr(0, kind.start.size()) == kind.start && start.find(kind.mark) != std::string_view::npos;
}

/// @return whether replacing it would be that of a file, not writing to a stream.
bool IsReplaced(const std::string& name) {
    std::error_code ignored;
    const fs::file_status status = fs::status(name, ignored);
    return !IsStandardOutput(name) && (!fs::exists(status) || fs::is_regular_file(status));
}

/// @return empty when nobody can tell.
fs::path PlaceOf(const std::string& name) {
    std::error_code error;
    const fs::path target = fs::absolute(TargetOf(name), error);
    return error ? fs::path() : fs::weakly_canonical(target, error);
}

}  // namespace

void RequireReplaceable(const std::string& name, const FileKind& kind, const std::vector<std::string>& others) {
    if (!IsReplaced(name)) {
        return;
    }
    if (std::any_of(others.begin(), others.end(), [&](const std::string& other) { return AreSameFile(name, other); })) {
        RefuseFile(name, "is not replaced, for it is read, too");
    }
    std::error_code ignored;
    if (!fs::exists(name, ignored)) {
        return;
    }
    const std::string start = StartOf(name);
    if (!start.empty() && !IsOfKind(start, kind)) {
        RefuseFile(name, std::string("is not replaced, for it is no ") + kind.name);
    }
}

void RequireRegularFile(const std::string& name) {
    if (IsStandardOutput(name)) {
        RefuseFile(name, "a database is not written to standard output");
    }
    std::error_code ignored;
    const fs::file_status status = fs::status(name, ignored);
    if (fs::is_directory(status)) {
        RefuseFile(name, std::strerror(EISDIR));
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        RefuseFile(name, "is no regular file");
    }
}

bool AreSameFile(const std::string& name, const std::string& other) {
    if (name.empty() || other.empty() || !IsReplaced(name) || !IsReplaced(other)) {
        return false;
    }
    const fs::path place = PlaceOf(name);
    return !place.empty() && place == PlaceOf(other);
}

WrittenFiles::WrittenFiles(const std::vector<std::string>& names) {
    struct stat status = {};
    const auto add = [&](bool isKnown) {
        if (isKnown && S_ISREG(status.st_mode)) {
            files_.emplace_back(status.st_dev, status.st_ino);
        }
    };
    for (const std::string& name : names) {
        add(stat(name.c_str(), &status) == 0);
    }
    add(fstat(STDOUT_FILENO, &status) == 0);
    add(fstat(STDERR_FILENO, &status) == 0);
}

bool WrittenFiles::Hold(const std::string& name) const {
    struct stat status = {};
    return !files_.empty() && stat(name.c_str(), &status) == 0 &&
           std::find(files_.begin(), files_.end(), std::pair(status.st_dev, status.st_ino)) != files_.end();
}

}  // namespace tal::talstore
