/// How files are read and written: what is replaced, what is written to, what is refused.
#include "files/WholeFile.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "Support.h"
#include "files/InputError.h"
#include "files/Interrupt.h"
#include "files/PrivateDirectory.h"

namespace tal::test {

namespace {

namespace fs = std::filesystem;

using talstore::InputError;
using testing::ElementsAre;

constexpr std::size_t kSizeLimit = std::size_t{64} << 20U;

class WholeFile : public testing::Test {
protected:
    ~WholeFile() override { onSync = nullptr; }

    /// @return what goes to standard output.
    static std::string Write(const std::string& name, std::string_view bytes) {
        std::ostringstream output;
        talstore::WriteWholeFile(name, bytes, output);
        return output.str();
    }

    /// @return what the exception says.
    static std::string WriteRefused(const std::string& name, std::string_view bytes) {
        try {
            static_cast<void>(Write(name, bytes));
        } catch (const InputError& error) {
            return error.what();
        }
        return "is written";
    }

    static std::size_t FileCount() { return static_cast<std::size_t>(std::distance(fs::directory_iterator("."), {})); }

    TemporaryDirectory directory_;
};

TEST_F(WholeFile, OfExactlyTheSizeLimitIsRead) {
    WriteFile("file", "");
    fs::resize_file("file", kSizeLimit);
    EXPECT_EQ(talstore::ReadWholeFile("file").size(), kSizeLimit);
}

TEST_F(WholeFile, OfOneByteMoreIsRefused) {
    WriteFile("file", "");
    fs::resize_file("file", kSizeLimit + 1);
    EXPECT_THROW(static_cast<void>(talstore::ReadWholeFile("file")), InputError);
}

TEST_F(WholeFile, ThatIsMissingIsMade) {
    EXPECT_EQ(Write("file", "new"), "");
    EXPECT_EQ(ReadFile("file"), "new");
    EXPECT_EQ(FileCount(), 1U);
}

TEST_F(WholeFile, ThatIsThereIsReplacedByAnotherOne) {
    WriteFile("file", "old");
    fs::create_hard_link("file", "same");
    EXPECT_EQ(Write("file", "new"), "");
    EXPECT_EQ(ReadFile("file"), "new");
    EXPECT_EQ(ReadFile("same"), "old");
}

TEST_F(WholeFile, KeepsItsPermissions) {
    WriteFile("file", "old");
    fs::permissions("file", fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    Write("file", "new");
    EXPECT_EQ(fs::status("file").permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}

TEST_F(WholeFile, ThatIsNewHasThePermissionsThatTheMaskLeaves) {
    const mode_t before = umask(0027);
    Write("file", "new");
    umask(before);
    EXPECT_EQ(fs::status("file").permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
}

TEST_F(WholeFile, ThatIsNewLeavesTheMaskAsItIs) {
    const mode_t before = umask(0027);
    Write("file", "new");
    EXPECT_EQ(umask(before), mode_t{0027});
}

TEST_F(WholeFile, IsSyncedBeforeItIsInPlaceAndItsDirectoryAfterwards) {
    fs::create_directory("folder");
    WriteFile("folder/file", "old");
    std::vector<std::string> steps;
    onSync = [&](int descriptor) {
        struct stat status = {};
        fstat(descriptor, &status);
        steps.push_back((S_ISDIR(status.st_mode) ? "directory" : "file, " + std::to_string(status.st_size)) + ", " +
                        ReadFile("folder/file"));
        return 0;
    };
    Write("folder/file", "newer");
    EXPECT_THAT(steps, ElementsAre("file, 5, old", "directory, newer"));
}

TEST_F(WholeFile, ThatCannotBeSyncedStaysAsItWas) {
    WriteFile("file", "old");
    onSync = [](int /*descriptor*/) {
        errno = EIO;
        return -1;
    };
    EXPECT_EQ(WriteRefused("file", "new"), "file: Input/output error");
    EXPECT_EQ(ReadFile("file"), "old");
    EXPECT_EQ(FileCount(), 1U);
}

TEST_F(WholeFile, WhoseDirectoryCannotBeSyncedIsReported) {
    onSync = [](int descriptor) {
        struct stat status = {};
        fstat(descriptor, &status);
        errno = EIO;
        return S_ISDIR(status.st_mode) ? -1 : 0;
    };
    EXPECT_EQ(WriteRefused("file", "new"), "file: is written, but may be lost in a power cut: Input/output error");
}

TEST_F(WholeFile, WhoseWriteFailsLeavesNothingBehind) {
    WriteFile("file", "old");
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {1000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string refusal = WriteRefused("file", std::string(2000, 'x'));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(refusal, "file: File too large");
    EXPECT_EQ(ReadFile("file"), "old");
    EXPECT_EQ(FileCount(), 1U);
}

TEST_F(WholeFile, InADirectoryThatIsMissingIsRefused) {
    EXPECT_EQ(WriteRefused("absent/file", "new"), "absent/file: No such file or directory");
}

TEST_F(WholeFile, ThatIsADirectoryIsRefused) {
    fs::create_directory("folder");
    EXPECT_EQ(WriteRefused("folder", "new"), "folder: Is a directory");
    EXPECT_EQ(WriteRefused("folder/", "new"), "folder/: Is a directory");
    EXPECT_EQ(FileCount(), 1U);
}

TEST_F(WholeFile, BehindALinkIsReplacedAndTheLinkStays) {
    fs::create_directory("folder");
    WriteFile("folder/file", "old");
    fs::create_symlink("file", "folder/second");
    fs::create_symlink("folder/second", "first");
    Write("first", "new");
    EXPECT_TRUE(fs::is_symlink("first"));
    EXPECT_TRUE(fs::is_symlink("folder/second"));
    EXPECT_FALSE(fs::is_symlink("folder/file"));
    EXPECT_EQ(ReadFile("folder/file"), "new");
}

TEST_F(WholeFile, BehindALinkThatLeadsNowhereIsMadeWhereTheLinkLeads) {
    fs::create_symlink("file", "link");
    Write("link", "new");
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(ReadFile("file"), "new");
}

TEST_F(WholeFile, ThatIsAPipeIsWrittenTo) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    std::string arrived;
    std::thread reader([&] { arrived = ReadFile("pipe"); });
    Write("pipe", "new");
    reader.join();
    EXPECT_EQ(arrived, "new");
    EXPECT_TRUE(fs::is_fifo("pipe"));
}

TEST_F(WholeFile, WhoseWriteIsInterruptedIsWrittenToItsEnd) {
    constexpr int kSignals = 20;
    const std::string longerThanAPipe(300000, 'x');
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    struct sigaction interrupting = {};
    interrupting.sa_handler = [](int /*signal*/) {};
    struct sigaction before = {};
    sigaction(SIGUSR1, &interrupting, &before);
    const pthread_t writer = pthread_self();
    std::string arrived;
    std::thread reader([&] {
        std::ifstream pipe("pipe", std::ios::binary);
        // The pipe is soon full, and nobody reads from it yet.
        for (int i = 0; i < kSignals; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            pthread_kill(writer, SIGUSR1);
        }
        arrived.assign(std::istreambuf_iterator<char>(pipe), {});
    });
    EXPECT_EQ(WriteRefused("pipe", longerThanAPipe), "is written");
    reader.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_TRUE(arrived == longerThanAPipe) << arrived.size();
}

TEST_F(WholeFile, ThatIsADeviceIsWrittenToAndStaysOne) {
    fs::create_symlink("/dev/null", "link");
    Write("link", "new");
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_EQ(FileCount(), 1U);
}

TEST_F(WholeFile, ThatADeviceDoesNotTakeIsReported) {
    ASSERT_TRUE(IsDevice("/dev/full"));
    EXPECT_EQ(WriteRefused("/dev/full", "new"), "/dev/full: No space left on device");
}

TEST_F(WholeFile, ThatIsStandardOutputByAnyNameGoesThere) {
    EXPECT_EQ(Write("-", "new"), "new");
    EXPECT_EQ(Write("/dev/stdout", "new"), "new");
    fs::create_symlink("/dev/stdout", "link");
    EXPECT_EQ(Write("link", "new"), "new");
    EXPECT_EQ(FileCount(), 1U);
}

// ---- The commands that write

class WrittenFile : public StorageFiles {
protected:
    static std::string StoredDocument() {
        StoreFile("expected.xml");
        return ReadFile("expected.xml");
    }
};

TEST_F(WrittenFile, ThatIsALinkToStandardOutputIsPrintedAndTheAnswerIsNot) {
    const std::string document = StoredDocument();
    const Ended ended = TalstoreProcess("store /dev/stdout --provider xml --layout layout.json");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, document);
    EXPECT_EQ(ended.err,
              "xml, location 0: QBF_OK, " + std::to_string(document.size()) + " bytes stored in /dev/stdout\n");
}

TEST_F(WrittenFile, DoesNotReplaceOneThatHasComeInBetweenWhenThatIsKept) {
    std::filesystem::create_directory("units");
    {
        std::ostringstream nothing;
        talstore::OutputFile file("units/1.xml", nothing, true, talstore::Existing::Kept);
        file.Write("new");
        WriteFile("units/1.xml", "precious");
        EXPECT_THAT([&] { file.PutInPlace(); }, testing::ThrowsMessage<InputError>("units/1.xml: is there already"));
    }
    EXPECT_EQ(ReadFile("units/1.xml"), "precious");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("units"), {}), 1) << "the draft has gone";
}

TEST_F(WrittenFile, TakesAFreeNameWhenWhatIsThereIsKept) {
    std::ostringstream nothing;
    talstore::WriteWholeFile("new.xml", "new", nothing, talstore::Existing::Kept);
    EXPECT_EQ(ReadFile("new.xml"), "new");
}

TEST_F(WrittenFile, GoesThroughAPipe) {
    const std::string document = StoredDocument();
    EXPECT_EQ(TalstoreProcess("store /dev/stdout --provider xml --layout layout.json | cat").out, document);
}

TEST_F(WrittenFile, OfConvertMayBeAPipe) {
    const std::string document = StoredDocument();
    StoreFile("unit.sbin");
    EXPECT_EQ(TalstoreProcess("convert unit.sbin /dev/stdout --to xml --layout layout.json | cat").out, document);
}

// ---- The directory for what nobody keeps

TEST(PrivateDirectory, IsTheSameForAllWhoHoldItAtATime) {
    const auto first = talstore::PrivateDirectory::Shared();
    EXPECT_EQ(talstore::PrivateDirectory::Shared()->Path(), first->Path());
}

// ---- Ctrl-C

using InterruptDeathTest = StorageFiles;

TEST_F(InterruptDeathTest, EndsWithStatus130AndLeavesNothingBehind) {
    WriteFile("unit.sbin", "old");
    fs::create_directory("temporary");
    setenv("TMPDIR", fs::absolute("temporary").c_str(), 1);
    const auto run = [] {
        talstore::RememberInterrupts();
        onSync = [](int /*descriptor*/) {
            static_cast<void>(std::raise(SIGINT));
            return 0;
        };
        std::_Exit(Talstore({"store", "unit.sbin", "--force", "--layout", "layout.json"}).status);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(130), "");
    unsetenv("TMPDIR");
    EXPECT_TRUE(fs::is_empty("temporary"));
    EXPECT_EQ(ReadFile("unit.sbin"), "old");
}

TEST_F(InterruptDeathTest, LeavesSignalsIgnoredThatAre) {
    const auto run = [] {
        std::signal(SIGHUP, SIG_IGN);
        talstore::RememberInterrupts();
        static_cast<void>(std::raise(SIGHUP));
        std::_Exit(Talstore({"store", "unit.sbin", "--force", "--layout", "layout.json"}).status);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST_F(InterruptDeathTest, ReachesAReaderThatWaits) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    WriteFile("script", "exec 3<>pipe\nexec timeout --signal=INT --preserve-status 1 \"$@\" <pipe\n");
    const int ended = std::system("bash script " TALSTORE_COMMAND " show - 2> process.err");
    EXPECT_EQ(WEXITSTATUS(ended), 130);
}

}  // namespace

}  // namespace tal::test
