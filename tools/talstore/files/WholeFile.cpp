#include "files/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <ostream>

#include "files/InputError.h"
#include "files/Interrupt.h"

namespace tal::talstore {

namespace {

[[noreturn]] void FailWithErrno(const std::string& name) {
    RefuseFile(name, std::strerror(errno));
}

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ > STDERR_FILENO) {
            close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Number() const { return number_; }

private:
    int number_;
};

void WriteBytes(int descriptor, std::string_view bytes, const std::string& name, bool stopsOnInterrupt) {
    while (!bytes.empty()) {
        if (stopsOnInterrupt) {
            StopIfInterrupted();
        }
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            FailWithErrno(name);
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

/// @return none when there is nothing of that name, or it cannot be looked at.
std::optional<struct stat> StatusOf(const std::string& name) {
    struct stat status = {};
    return stat(name.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

mode_t PermissionsOfNewFile() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

/// The permissions that the new file gets: those of the file that it replaces, or what a new file gets.
mode_t PermissionsFor(const std::optional<struct stat>& replaced) {
    return replaced ? replaced->st_mode & 0777U : PermissionsOfNewFile();
}

/// As rename, but fails with EEXIST when there is something of the new name.
int RenameToFreeName(const char* from, const char* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return -1;
    }
    // Network file systems have links instead, and few have neither.
    if (link(from, to) == 0) {
        return unlink(from);
    }
    struct stat status = {};
    if (errno == EEXIST || lstat(to, &status) == 0) {
        errno = EEXIST;
        return -1;
    }
    return std::rename(from, to);
}

void SyncDirectory(const std::filesystem::path& directory, const std::string& name) {
    const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.Number() < 0 || fsync(opened.Number()) != 0) {
        RefuseFile(name, std::string("is written, but may be lost in a power cut: ") + std::strerror(errno));
    }
}

}  // namespace

std::string ReadWholeFile(const std::string& name) {
    const Descriptor file(name == "-" ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Number() < 0) {
        FailWithErrno(name);
    }
    std::string bytes;
    char buffer[65536];
    for (;;) {
        StopIfInterrupted();
        const ssize_t arrived = read(file.Number(), buffer, sizeof buffer);
        if (arrived == 0) {
            return bytes;
        }
        if (arrived < 0 && errno != EINTR) {
            FailWithErrno(name);
        }
        bytes.append(buffer, arrived < 0 ? 0 : static_cast<std::size_t>(arrived));
        if (bytes.size() > kLargestFile) {
            RefuseFile(name, kTooLarge);
        }
    }
}

std::filesystem::path TargetOf(const std::string& name) {
    constexpr int kMostLinks = 40;
    std::filesystem::path target = name;
    std::error_code error;
    for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(target, error); ++i) {
        target = target.parent_path() / std::filesystem::read_symlink(target, error);
    }
    return target;
}

bool IsStandardOutput(const std::string& name) {
    const std::optional<struct stat> status = StatusOf(name);
    struct stat output = {};
    const bool isSameFile = status && fstat(STDOUT_FILENO, &output) == 0 && status->st_dev == output.st_dev &&
                            status->st_ino == output.st_ino;
    return name == "-" || isSameFile;
}

Draft::Draft(std::string name, Existing existing) : name_(std::move(name)), existing_(existing) {
    const std::optional<struct stat> status = StatusOf(name_);
    if (status && !S_ISREG(status->st_mode)) {
        RefuseFile(name_, S_ISDIR(status->st_mode) ? std::strerror(EISDIR) : "is no regular file");
    }
    permissions_ = PermissionsFor(status);
    target_ = TargetOf(name_);
    path_ = target_ + ".XXXXXX";
    descriptor_ = mkstemp(path_.data());
    if (descriptor_ < 0) {
        FailWithErrno(name_);
    }
}

Draft::~Draft() {
    close(descriptor_);
    if (!path_.empty()) {
        unlink(path_.c_str());
    }
}

void Draft::PutInPlace() {
    const auto rename = existing_ == Existing::Replaced ? std::rename : RenameToFreeName;
    if (fchmod(descriptor_, permissions_) != 0 || fsync(descriptor_) != 0 ||
        rename(path_.c_str(), target_.c_str()) != 0) {
        if (existing_ == Existing::Kept && errno == EEXIST) {
            RefuseFile(name_, "is there already");
        }
        FailWithErrno(name_);
    }
    path_.clear();
    const std::filesystem::path directory = std::filesystem::path(target_).parent_path();
    SyncDirectory(directory.empty() ? "." : directory, name_);
}

OutputFile::OutputFile(std::string name, std::ostream& standardOutput, bool stopsOnInterrupt, Existing existing)
    : name_(std::move(name)), stopsOnInterrupt_(stopsOnInterrupt) {
    if (IsStandardOutput(name_)) {
        standardOutput_ = &standardOutput;
        return;
    }
    const std::optional<struct stat> status = StatusOf(name_);
    if (!status || S_ISREG(status->st_mode) || S_ISDIR(status->st_mode)) {
        draft_.emplace(name_, existing);
        return;
    }
    device_ = open(name_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (device_ < 0) {
        FailWithErrno(name_);
    }
}

OutputFile::~OutputFile() {
    if (device_ >= 0) {
        close(device_);
    }
}

void OutputFile::Write(std::string_view bytes) {
    if (standardOutput_ != nullptr) {
        standardOutput_->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    } else {
        WriteBytes(draft_ ? draft_->Descriptor() : device_, bytes, name_, stopsOnInterrupt_);
    }
}

void OutputFile::PutInPlace() {
    if (draft_) {
        draft_->PutInPlace();
    }
}

void WriteWholeFile(const std::string& name, std::string_view bytes, std::ostream& standardOutput, Existing existing) {
    OutputFile file(name, standardOutput, true, existing);
    file.Write(bytes);
    file.PutInPlace();
}

}  // namespace tal::talstore
