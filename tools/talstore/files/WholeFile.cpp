#include "files/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "files/InputError.h"

namespace tal::talstore {

namespace {

constexpr std::size_t kLargestFile = std::size_t{64} << 20U;

[[noreturn]] void Fail(const std::string& name, const std::string& problem) {
    throw InputError(name + ": " + problem);
}

[[noreturn]] void FailWithErrno(const std::string& name) {
    Fail(name, std::strerror(errno));
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
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            FailWithErrno(name);
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

/// The permissions that the new file gets: those of the file that it replaces, or what a new file gets.
mode_t PermissionsFor(const std::string& name) {
    struct stat status = {};
    if (stat(name.c_str(), &status) == 0) {
        return status.st_mode & 0777U;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return 0666U & ~mask;
}

/// The file that the name leads to, so that a link stays a link.
std::string TargetOf(const std::string& name) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::weakly_canonical(name, error);
    return error ? name : target.string();
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
        const ssize_t arrived = read(file.Number(), buffer, sizeof buffer);
        if (arrived == 0) {
            return bytes;
        }
        if (arrived < 0 && errno != EINTR) {
            FailWithErrno(name);
        }
        bytes.append(buffer, arrived < 0 ? 0 : static_cast<std::size_t>(arrived));
        if (bytes.size() > kLargestFile) {
            Fail(name, "has more than 64 MiB, which no storage file has");
        }
    }
}

void WriteWholeFile(const std::string& name, std::string_view bytes, std::ostream& standardOutput) {
    if (name == "-") {
        standardOutput.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return;
    }
    const std::string target = TargetOf(name);
    if (std::filesystem::is_directory(target)) {
        errno = EISDIR;
        FailWithErrno(name);
    }
    std::string draft = target + ".XXXXXX";
    const Descriptor file(mkstemp(draft.data()));
    if (file.Number() < 0) {
        FailWithErrno(name);
    }
    try {
        WriteBytes(file.Number(), bytes, name);
        if (fchmod(file.Number(), PermissionsFor(target)) != 0 || fsync(file.Number()) != 0 ||
            std::rename(draft.c_str(), target.c_str()) != 0) {
            FailWithErrno(name);
        }
    } catch (const InputError&) {
        unlink(draft.c_str());
        throw;
    }
}

}  // namespace tal::talstore
