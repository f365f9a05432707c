#include "files/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

void WriteBytes(int descriptor, std::string_view bytes, const std::string& name) {
    while (!bytes.empty()) {
        StopIfInterrupted();
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

/// The permissions that the new file gets: those of the file that it replaces, or what a new file gets.
mode_t PermissionsFor(const std::optional<struct stat>& replaced) {
    return replaced ? replaced->st_mode & 0777U : PermissionsOfNewFile();
}

/// The file that the name leads to, be it there or not, so that a link stays a link.
std::filesystem::path TargetOf(const std::string& name) {
    constexpr int kMostLinks = 40;
    std::filesystem::path target = name;
    std::error_code error;
    for (int i = 0; i < kMostLinks && std::filesystem::is_symlink(target, error); ++i) {
        target = target.parent_path() / std::filesystem::read_symlink(target, error);
    }
    return target;
}

void SyncDirectory(const std::filesystem::path& directory, const std::string& name) {
    const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.Number() < 0 || fsync(opened.Number()) != 0) {
        RefuseFile(name, std::string("is written, but may be lost in a power cut: ") + std::strerror(errno));
    }
}

/// A new file beside the one that it shall replace; it is removed unless it has done so.
class Draft {
public:
    explicit Draft(const std::filesystem::path& target)
        : target_(target), path_(target.string() + ".XXXXXX"), file_(mkstemp(path_.data())) {}
    ~Draft() {
        if (file_.Number() >= 0 && !isInPlace_) {
            unlink(path_.c_str());
        }
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    [[nodiscard]] int Number() const { return file_.Number(); }
    [[nodiscard]] bool PutInPlace() {
        isInPlace_ = std::rename(path_.c_str(), target_.c_str()) == 0;
        return isInPlace_;
    }

private:
    std::filesystem::path target_;
    std::string path_;
    Descriptor file_;
    bool isInPlace_ = false;
};

void ReplaceFile(const std::string& name, const std::optional<struct stat>& replaced, std::string_view bytes) {
    const std::filesystem::path target = TargetOf(name);
    Draft draft(target);
    if (draft.Number() < 0) {
        FailWithErrno(name);
    }
    WriteBytes(draft.Number(), bytes, name);
    if (fchmod(draft.Number(), PermissionsFor(replaced)) != 0 || fsync(draft.Number()) != 0 || !draft.PutInPlace()) {
        FailWithErrno(name);
    }
    SyncDirectory(target.has_parent_path() ? target.parent_path() : ".", name);
}

void WriteToDevice(const std::string& name, std::string_view bytes) {
    const Descriptor device(open(name.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    if (device.Number() < 0) {
        FailWithErrno(name);
    }
    WriteBytes(device.Number(), bytes, name);
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

unsigned PermissionsOfNewFile() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

bool IsStandardOutput(const std::string& name) {
    const std::optional<struct stat> status = StatusOf(name);
    struct stat output = {};
    const bool isSameFile = status && fstat(STDOUT_FILENO, &output) == 0 && status->st_dev == output.st_dev &&
                            status->st_ino == output.st_ino;
    return name == "-" || isSameFile;
}

void WriteWholeFile(const std::string& name, std::string_view bytes, std::ostream& standardOutput) {
    if (IsStandardOutput(name)) {
        standardOutput.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return;
    }
    const std::optional<struct stat> status = StatusOf(name);
    if (status && !S_ISREG(status->st_mode)) {
        WriteToDevice(name, bytes);
    } else {
        ReplaceFile(name, status, bytes);
    }
}

}  // namespace tal::talstore
