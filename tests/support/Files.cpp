#include "support/Files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace tal::test {

TemporaryDirectory::TemporaryDirectory() : before_(std::filesystem::current_path()) {
    std::string pattern = (std::filesystem::temp_directory_path() / "tal-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    path_ = pattern;
    std::filesystem::current_path(path_);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code error;
    std::filesystem::current_path(before_, error);
    EXPECT_FALSE(error) << before_ << ": " << error.message();
    std::filesystem::remove_all(path_, error);
    EXPECT_FALSE(error) << path_ << ": " << error.message();
}

std::string ReadFile(const std::filesystem::path& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        ADD_FAILURE() << path << ": " << std::strerror(errno);
        return "";
    }
    std::string bytes;
    char chunk[4096];
    ssize_t length = 0;
    while ((length = read(file, chunk, sizeof chunk)) > 0) {
        bytes.append(chunk, static_cast<std::size_t>(length));
    }
    EXPECT_EQ(length, 0) << path << ": " << std::strerror(errno);
    close(file);
    return bytes;
}

void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(file, 0) << path << ": " << std::strerror(errno);
    // Cut afterwards and not while opening: some file systems write a file that was emptied to the disk at once.
    const auto size = static_cast<off_t>(bytes.size());
    while (!bytes.empty()) {
        const ssize_t length = write(file, bytes.data(), bytes.size());
        if (length < 0) {
            ADD_FAILURE() << path << ": " << std::strerror(errno);
            break;
        }
        bytes.remove_prefix(static_cast<std::size_t>(length));
    }
    EXPECT_EQ(ftruncate(file, size), 0) << path << ": " << std::strerror(errno);
    close(file);
}

testing::AssertionResult IsDevice(const std::filesystem::path& path) {
    if (std::filesystem::is_character_file(path)) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << path << " is no device on this machine, and this test needs one";
}

std::string DifferenceOfFiles(const std::filesystem::path& file, const std::filesystem::path& golden) {
    const std::string bytes = ReadFile(file);
    const std::string expected = ReadFile(golden);
    const auto differing = std::mismatch(bytes.begin(), bytes.end(), expected.begin(), expected.end());
    if (differing.first == bytes.end() && differing.second == expected.end()) {
        return "";
    }
    const auto position = static_cast<std::size_t>(differing.first - bytes.begin());
    const std::size_t start = position - std::min<std::size_t>(position, 60);
    return "at byte " + std::to_string(position) + ": " + testing::PrintToString(bytes.substr(start, 120)) +
           " instead of " + testing::PrintToString(expected.substr(start, 120));
}

}  // namespace tal::test
