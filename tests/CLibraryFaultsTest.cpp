#include "support/CLibraryFaults.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/Files.h"
#include "support/Sweep.h"

namespace {

using tal::test::CLibraryFaults;
using tal::test::ReadFile;
using tal::test::TemporaryDirectory;
using tal::test::Watch;
using tal::test::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;

/// Files in an empty directory, used by the test itself as the library would.
class FaultyFiles : public testing::Test {
protected:
    std::FILE* OpenForWriting() {
        std::FILE* const file = std::fopen("file", "w+");
        EXPECT_NE(file, nullptr);
        return file;
    }

    std::FILE* OpenForReading(const char* bytes) {
        WriteFile("file", bytes);
        std::FILE* const file = std::fopen("file", "r");
        EXPECT_NE(file, nullptr);
        return file;
    }

    const TemporaryDirectory directory_;
    CLibraryFaults files_{Watch::LibraryAndTests};
    char buffer_[16] = "";
};

TEST_F(FaultyFiles, EveryCallIsSeenInOrder) {
    std::FILE* file = OpenForWriting();
    EXPECT_EQ(std::fwrite("abcdef", 2, 3, file), 3U);
    EXPECT_EQ(std::fflush(file), 0);
    EXPECT_EQ(fsync(fileno(file)), 0);
    EXPECT_EQ(std::fclose(file), 0);
    struct stat status = {};
    EXPECT_EQ(stat("file", &status), 0);
    EXPECT_EQ(status.st_size, 6);
    file = std::fopen("file", "r");
    EXPECT_EQ(std::fread(buffer_, 1, 16, file), 6U);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_THAT(files_.Calls(), ElementsAre("fopen file w+", "fwrite 6", "fflush", "fsync", "fclose", "stat file",
                                            "fopen file r", "fread 16", "fclose"));
    EXPECT_EQ(files_.Count("fopen"), 2);
    EXPECT_FALSE(files_.Fired());
}

TEST_F(FaultyFiles, TheNamesWithAndWithout64AreSeenAlike) {
    using Open = std::FILE*(const char*, const char*);
    for (const char* const name : {"fopen", "fopen64"}) {
        auto* const open = reinterpret_cast<Open*>(dlsym(RTLD_DEFAULT, name));
        std::fclose(open("file", "w"));
    }
    // Where the layouts of the two results differ, that of "stat" is the smaller one.
    struct stat64 status = {};
    auto* const get = reinterpret_cast<int (*)(const char*, struct stat*)>(dlsym(RTLD_DEFAULT, "stat"));
    auto* const get64 = reinterpret_cast<int (*)(const char*, struct stat64*)>(dlsym(RTLD_DEFAULT, "stat64"));
    EXPECT_EQ(get("file", reinterpret_cast<struct stat*>(&status)), 0);
    EXPECT_EQ(get64("file", &status), 0);
    EXPECT_THAT(files_.Calls(),
                ElementsAre("fopen file w", "fclose", "fopen file w", "fclose", "stat file", "stat file"));
}

TEST_F(FaultyFiles, AFailedFopenOpensNothing) {
    files_.Fail("fopen", 1, EACCES);
    errno = 0;
    EXPECT_EQ(std::fopen("file", "w+"), nullptr);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(access("file", F_OK), -1);
    EXPECT_EQ(files_.FunctionName(), "fopen");
}

TEST_F(FaultyFiles, OnlyTheNthCallFails) {
    files_.Fail("fflush", 2);
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(std::fflush(file), 0);
    EXPECT_EQ(std::fflush(file), EOF);
    EXPECT_EQ(std::fflush(file), 0);
    std::fclose(file);
}

TEST_F(FaultyFiles, TheNthCallOfAllFails) {
    files_.Fail(3, ENOSPC);
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(std::fwrite("a", 1, 1, file), 1U);
    errno = 0;
    EXPECT_EQ(std::fflush(file), EOF);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_EQ(files_.FunctionName(), "fflush");
}

TEST_F(FaultyFiles, EveryCallFailsOnRequest) {
    files_.Fail("fsync", 0);
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(fsync(fileno(file)), -1);
    EXPECT_EQ(fsync(fileno(file)), -1);
    std::fclose(file);
}

TEST_F(FaultyFiles, AFailedFwriteKeepsNothingAndShowsIt) {
    files_.Fail("fwrite", 1, ENOSPC);
    std::FILE* const file = OpenForWriting();
    errno = 0;
    EXPECT_EQ(std::fwrite("abc", 1, 3, file), 0U);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_NE(std::ferror(file), 0);
    std::fclose(file);
    EXPECT_EQ(ReadFile("file"), "");
}

TEST_F(FaultyFiles, AFailedFreadMovesNothingAndIsNoEndOfFile) {
    files_.Fail("fread", 1, EIO);
    std::FILE* const file = OpenForReading("abc");
    errno = 0;
    EXPECT_EQ(std::fread(buffer_, 1, 3, file), 0U);
    EXPECT_EQ(errno, EIO);
    EXPECT_STREQ(buffer_, "");
    EXPECT_NE(std::ferror(file), 0);
    EXPECT_EQ(std::feof(file), 0);
    std::fclose(file);
}

TEST_F(FaultyFiles, AFailedFcloseHasClosed) {
    files_.Fail("fclose", 1, EDQUOT);
    std::FILE* const file = OpenForWriting();
    std::fwrite("abc", 1, 3, file);
    const int descriptor = fileno(file);
    errno = 0;
    EXPECT_EQ(std::fclose(file), EOF);
    EXPECT_EQ(errno, EDQUOT);
    EXPECT_EQ(fsync(descriptor), -1);
    EXPECT_EQ(ReadFile("file"), "abc");
    EXPECT_EQ(files_.OpenStreams(), 0);
}

TEST_F(FaultyFiles, AFailedStatTellsNothing) {
    files_.Fail("stat", 1, ELOOP);
    WriteFile("file", "abc");
    struct stat status = {};
    errno = 0;
    EXPECT_EQ(stat("file", &status), -1);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(status.st_size, 0);
}

TEST_F(FaultyFiles, AStatTellsTheSizeThatATestWants) {
    WriteFile("file", "12345");
    files_.TellSize(-3);
    struct stat status = {};
    EXPECT_EQ(stat("file", &status), 0);
    EXPECT_EQ(status.st_size, -3);
}

TEST_F(FaultyFiles, SomethingElseHappensRightBeforeTheFirstCall) {
    WriteFile("file", "1");
    int interruptions = 0;
    files_.Before("stat", [&interruptions] { ++interruptions; });
    struct stat status = {};
    EXPECT_EQ(stat("file", &status), 0);
    EXPECT_EQ(stat("file", &status), 0);
    EXPECT_EQ(interruptions, 1);
}

TEST_F(FaultyFiles, AShortReadMeetsTheEndOfTheFile) {
    files_.Shorten("fread", 1, 2);
    std::FILE* const file = OpenForReading("abcdefgh");
    EXPECT_EQ(std::fread(buffer_, 1, 5, file), 3U);
    EXPECT_STREQ(buffer_, "abc");
    EXPECT_NE(std::feof(file), 0);
    EXPECT_EQ(std::ferror(file), 0);
    EXPECT_EQ(std::fread(buffer_, 1, 5, file), 0U);
    std::fclose(file);
}

TEST_F(FaultyFiles, AShortReadCountsWholeItems) {
    files_.Shorten("fread", 1, 1);
    std::FILE* const file = OpenForReading("abcdefgh");
    EXPECT_EQ(std::fread(buffer_, 4, 2, file), 1U);
    std::fclose(file);
}

TEST_F(FaultyFiles, ABrokenReadIsShortWithoutTheEndOfTheFile) {
    files_.BreakRead(1, 2, EIO);
    std::FILE* const file = OpenForReading("abcdefgh");
    errno = 0;
    EXPECT_EQ(std::fread(buffer_, 1, 5, file), 3U);
    EXPECT_EQ(errno, EIO);
    EXPECT_STREQ(buffer_, "abc");
    EXPECT_EQ(std::feof(file), 0);
    EXPECT_NE(std::ferror(file), 0);
    std::fclose(file);
}

TEST_F(FaultyFiles, AShortWriteKeepsWhatItSays) {
    files_.Shorten("fwrite", 2, 1);
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(std::fwrite("abc", 1, 3, file), 3U);
    EXPECT_EQ(std::fwrite("def", 1, 3, file), 2U);
    EXPECT_EQ(std::fwrite("ghi", 1, 3, file), 3U);
    std::fclose(file);
    EXPECT_EQ(ReadFile("file"), "abcdeghi");
}

TEST_F(FaultyFiles, ASwallowedWriteSaysYesAndKeepsNothing) {
    files_.SwallowWrite(2);
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(std::fwrite("abc", 1, 3, file), 3U);
    EXPECT_EQ(std::fwrite("def", 1, 3, file), 3U);
    EXPECT_EQ(std::fwrite("ghi", 1, 3, file), 3U);
    EXPECT_EQ(std::ferror(file), 0);
    std::fclose(file);
    EXPECT_EQ(ReadFile("file"), "abcghi");
    EXPECT_TRUE(files_.Fired());
}

TEST_F(FaultyFiles, AfterThePowerLossEverythingSaysYesAndIsLost) {
    files_.StopTheWorldAfter(1);
    WriteFile("other", "old");
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(std::fwrite("abc", 1, 3, file), 3U);
    EXPECT_FALSE(files_.Fired());
    EXPECT_EQ(std::fwrite("def", 1, 3, file), 3U);
    EXPECT_TRUE(files_.Fired());
    EXPECT_EQ(ReadFile("file"), "abc");
    EXPECT_EQ(std::fflush(file), 0);
    EXPECT_EQ(fsync(fileno(file)), 0);
    EXPECT_EQ(std::fclose(file), 0);
    std::FILE* const other = std::fopen("other", "w+");
    EXPECT_EQ(std::fwrite("new", 1, 3, other), 3U);
    EXPECT_EQ(std::fclose(other), 0);
    EXPECT_EQ(ReadFile("file"), "abc");
    EXPECT_EQ(ReadFile("other"), "old");
}

TEST_F(FaultyFiles, ThePowerCanBeLostBeforeTheFirstWrite) {
    files_.StopTheWorldAfter(0);
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(std::fwrite("abc", 1, 3, file), 3U);
    std::fclose(file);
    EXPECT_EQ(ReadFile("file"), "");
    EXPECT_TRUE(files_.Fired());
}

TEST_F(FaultyFiles, ARedirectedPathOpensItsReplacement) {
    WriteFile("real", "abc");
    files_.Redirect("", "real");
    std::FILE* const file = std::fopen("", "r");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fread(buffer_, 1, 16, file), 3U);
    std::fclose(file);
    EXPECT_THAT(files_.Calls(), ElementsAre("fopen  r", "fread 16", "fclose"));
}

TEST_F(FaultyFiles, StreamsThatAreNotClosedAreCounted) {
    std::FILE* const file = OpenForWriting();
    EXPECT_EQ(files_.OpenStreams(), 1);
    std::fclose(file);
    EXPECT_EQ(files_.OpenStreams(), 0);
}

TEST(CLibraryFaults, StreamsOfOthersAreLeftAlone) {
    const TemporaryDirectory directory;
    std::FILE* const file = std::fopen("file", "w+");
    CLibraryFaults files(Watch::LibraryAndTests);
    files.Fail("fwrite", 0);
    files.Fail("fclose", 0);
    EXPECT_EQ(std::fwrite("abc", 1, 3, file), 3U);
    EXPECT_EQ(std::fclose(file), 0);
    EXPECT_THAT(files.Calls(), IsEmpty());
}

TEST(CLibraryFaults, CallsOfTheTestDoNotCountUnlessAskedFor) {
    const TemporaryDirectory directory;
    CLibraryFaults files;
    files.Fail("fopen", 0);
    std::FILE* const file = std::fopen("file", "w+");
    ASSERT_NE(file, nullptr);
    std::fclose(file);
    EXPECT_THAT(files.Calls(), IsEmpty());
}

TEST(CLibraryFaults, CallsOfTheLibraryAreSeen) {
    const TemporaryDirectory directory;
    tal::host::Database database;
    database.AddRegion("Region").AddObject("Object").U16("Variable", 0x6261);
    IStorageProvider* provider = nullptr;
    CBinaryFileStorageProvider_GetInterface(&provider);
    provider->Initialize(0);
    CBinaryFileStorageProvider_SetStorageFilenames("file", "hardware", "applications");
    const int faults = tal::test::SweepFaults([&](int n) {
        CLibraryFaults files;
        files.Fail("fwrite", n, ENOSPC);
        const QBFResult result = provider->StoreAll(0, database.Handle(), 0);
        EXPECT_EQ(result, files.Fired() ? 0x8000U : 0U);
        EXPECT_EQ(files.Calls().front(), "fopen file w+");
        EXPECT_EQ(files.OpenStreams(), 0);
        return files.Fired();
    });
    EXPECT_EQ(faults, 1);
    EXPECT_EQ(ReadFile("file"), "ab");
}

}  // namespace
