/// Files for tests. None of these goes through stdio, so that C library faults do not touch them.
#ifndef TAL_TEST_FILES_H
#define TAL_TEST_FILES_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace tal::test {

/// A new empty directory that is the working directory while this lives, and is removed with all it holds afterwards.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path before_;
    std::filesystem::path path_;
};

/// @return the bytes of the file; fails the test, and gives nothing, when it cannot be read.
[[nodiscard]] std::string ReadFile(const std::filesystem::path& path);

/// Replaces the file's bytes; fails the test when it cannot.
void WriteFile(const std::filesystem::path& path, std::string_view bytes);

/// Whether the path is a character device, for tests that write to "/dev/full" and its like: where a file has taken its
/// place they have to say so, and neither pass nor fill it.
///
///     ASSERT_TRUE(IsDevice("/dev/full"));
[[nodiscard]] testing::AssertionResult IsDevice(const std::filesystem::path& path);

/// @return where `file` first differs from the golden file and what stands there in both; empty where they are equal.
[[nodiscard]] std::string DifferenceOfFiles(const std::filesystem::path& file, const std::filesystem::path& golden);

}  // namespace tal::test

#endif
