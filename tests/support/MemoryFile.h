/// A file that no disk slows down, for tests that replace one thousands of times.
#ifndef TAL_TEST_MEMORY_FILE_H
#define TAL_TEST_MEMORY_FILE_H

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "support/Files.h"

namespace tal::test {

/// A regular file in memory, opened by its path like any other while this lives.
class MemoryFile {
public:
    MemoryFile() : descriptor_(memfd_create("tal-test", MFD_CLOEXEC)) { EXPECT_GE(descriptor_, 0); }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    [[nodiscard]] std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
    [[nodiscard]] std::string Read() const { return ReadFile(Path()); }

    /// Replaces the file's bytes.
    void Write(std::string_view bytes) {
        EXPECT_EQ(ftruncate(descriptor_, 0), 0);
        EXPECT_EQ(pwrite(descriptor_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    }

private:
    int descriptor_;
};

}  // namespace tal::test

#endif
