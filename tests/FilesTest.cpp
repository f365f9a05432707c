#include "support/Files.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

using tal::test::ReadFile;
using tal::test::TemporaryDirectory;
using tal::test::WriteFile;

TEST(Files, ATemporaryDirectoryIsEmptyAndTheWorkingDirectory) {
    const TemporaryDirectory directory;
    EXPECT_TRUE(fs::is_empty(directory.Path()));
    EXPECT_TRUE(fs::equivalent(fs::current_path(), directory.Path()));
}

TEST(Files, ATemporaryDirectoryIsRemovedAndTheOldOneComesBack) {
    const fs::path before = fs::current_path();
    fs::path path;
    {
        const TemporaryDirectory directory;
        path = directory.Path();
        fs::create_directory("folder");
        WriteFile("folder/file", "text");
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(fs::current_path(), before);
}

TEST(Files, TwoTemporaryDirectoriesDiffer) {
    const TemporaryDirectory outer;
    const TemporaryDirectory inner;
    EXPECT_NE(outer.Path(), inner.Path());
}

TEST(Files, WhatIsWrittenIsReadWithEveryByte) {
    const TemporaryDirectory directory;
    std::string bytes(100000, '\xFF');
    bytes[1] = '\0';
    bytes[2] = '\n';
    WriteFile("file", bytes);
    EXPECT_EQ(ReadFile("file"), bytes);
}

TEST(Files, WritingReplacesWhatWasThere) {
    const TemporaryDirectory directory;
    WriteFile("file", "a long text");
    WriteFile("file", "short");
    EXPECT_EQ(ReadFile("file"), "short");
}

TEST(Files, WhatCannotBeReadOrWrittenFailsTheTest) {
    EXPECT_NONFATAL_FAILURE(EXPECT_EQ(ReadFile("/nowhere/file"), ""), "No such file");
    EXPECT_FATAL_FAILURE(WriteFile("/nowhere/file", ""), "No such file");
}

TEST(Files, FilesOfTheSameBytesDoNotDiffer) {
    const TemporaryDirectory directory;
    WriteFile("file", "a\nb");
    WriteFile("golden", "a\nb");
    EXPECT_EQ(tal::test::DifferenceOfFiles("file", "golden"), "");
}

TEST(Files, TheFirstDifferenceOfTwoFilesIsShownInBoth) {
    const TemporaryDirectory directory;
    WriteFile("file", "abc");
    WriteFile("golden", "abX");
    EXPECT_EQ(tal::test::DifferenceOfFiles("file", "golden"), R"(at byte 2: "abc" instead of "abX")");
}

TEST(Files, AFileThatEndsEarlyDiffers) {
    const TemporaryDirectory directory;
    WriteFile("file", "ab");
    WriteFile("golden", "abc");
    EXPECT_EQ(tal::test::DifferenceOfFiles("file", "golden"), R"(at byte 2: "ab" instead of "abc")");
}

TEST(Files, ADeviceIsToldFromAFileInItsPlaceAndFromNothing) {
    const TemporaryDirectory directory;
    WriteFile("file", "");
    EXPECT_TRUE(tal::test::IsDevice("/dev/null"));
    EXPECT_FALSE(tal::test::IsDevice("missing"));
    const testing::AssertionResult file = tal::test::IsDevice("file");
    EXPECT_FALSE(file);
    EXPECT_STREQ(file.message(), "\"file\" is no device on this machine, and this test needs one");
}

}  // namespace
