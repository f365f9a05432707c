/// The reader takes a file as it finds it at the reading, whatever had been told of its size.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/HostCalls.h"
#include "support/Sweep.h"
#include "support/XmlReaderFixture.h"

namespace {

using tal::test::AllocationFaults;
using tal::test::CLibraryFaults;
using tal::test::kXmlFile;
using tal::test::Value;
using testing::ElementsAre;

constexpr const char* kTooLarge =
    "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: XML file slot0.xml does not fit into memory";

class XmlWholeFile : public tal::test::XmlReaderFixture {
protected:
    XmlWholeFile() { object_.U32("a", 9).U32("b", 9); }

    const std::string document_ = tal::test::DocumentOf(Value("a", "1234567") + Value("b", "7654321"));
};

/// Promise 13
TEST_F(XmlWholeFile, AFileThatTakesItsPlaceAfterItsSizeWasTakenIsReadAsAWhole) {
    for (std::size_t toldSize = 0; toldSize <= document_.size(); ++toldSize) {
        SCOPED_TRACE(toldSize);
        database_.SetAllToZero();
        tal::test::WriteFile(kXmlFile, std::string(toldSize, ' '));
        tal::test::WriteFile("new.xml", document_);
        CLibraryFaults files;
        files.Before("fopen", [] { EXPECT_EQ(std::rename("new.xml", kXmlFile), 0); });

        EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});

        EXPECT_EQ(At("a").Get<std::uint32_t>(), 1234567U);
        EXPECT_EQ(At("b").Get<std::uint32_t>(), 7654321U);
    }
}

TEST_F(XmlWholeFile, AShorterFileThatTakesItsPlaceIsReadAsItIs) {
    tal::test::WriteFile(kXmlFile, document_ + std::string(1000, '\n'));
    tal::test::WriteFile("new.xml", document_);
    CLibraryFaults files;
    files.Before("fopen", [] { EXPECT_EQ(std::rename("new.xml", kXmlFile), 0); });

    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});

    EXPECT_EQ(At("a").Get<std::uint32_t>(), 1234567U);
}

TEST_F(XmlWholeFile, AFileThatGrowsBeforeItIsReadIsReadToItsEnd) {
    tal::test::WriteFile(kXmlFile, document_.substr(0, 100));
    CLibraryFaults files;
    files.Before("fread", [this] { tal::test::WriteFile(kXmlFile, document_); });

    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});

    EXPECT_EQ(At("b").Get<std::uint32_t>(), 7654321U);
}

TEST_F(XmlWholeFile, AFileOfTheSizeToldIsReadAtOnce) {
    tal::test::WriteFile(kXmlFile, document_);
    const CLibraryFaults files;

    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});

    EXPECT_THAT(files.Calls(), ElementsAre("stat slot0.xml", "fopen slot0.xml r",
                                           "fread " + std::to_string(document_.size() + 10), "fclose"));
}

TEST_F(XmlWholeFile, ALargerFileIsReadIntoABufferThatDoubles) {
    tal::test::WriteFile(kXmlFile, document_ + std::string(350 - document_.size(), '\n'));
    CLibraryFaults files;
    files.TellSize(90);

    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});

    EXPECT_THAT(files.Calls(),
                ElementsAre("stat slot0.xml", "fopen slot0.xml r", "fread 100", "fread 100", "fread 200", "fclose"));
}

TEST_F(XmlWholeFile, ASizeBelowZeroIsNoSize) {
    tal::test::WriteFile(kXmlFile, document_);
    CLibraryFaults files;
    files.TellSize(-1);

    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});

    EXPECT_EQ(At("b").Get<std::uint32_t>(), 7654321U);
}

TEST_F(XmlWholeFile, APipeIsReadToItsEnd) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ASSERT_EQ(write(ends[1], document_.data(), document_.size()), static_cast<ssize_t>(document_.size()));
    close(ends[1]);
    ASSERT_EQ(symlink(("/proc/self/fd/" + std::to_string(ends[0])).c_str(), kXmlFile), 0);

    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});

    EXPECT_EQ(At("a").Get<std::uint32_t>(), 1234567U);
    EXPECT_EQ(At("b").Get<std::uint32_t>(), 7654321U);
    close(ends[0]);
}

TEST_F(XmlWholeFile, WithoutMemoryForTheFirstOrAnyLargerBufferItDoesNotFit) {
    tal::test::WriteFile(kXmlFile, document_);
    CLibraryFaults files;
    files.TellSize(10);
    int reports = 0;

    tal::test::SweepFaults([&](int nth) {
        traces_.Clear();
        AllocationFaults memory;
        memory.Fail(nth);
        Retrieve();
        const std::vector<std::string> failures = traces_.Failures();
        reports += static_cast<int>(std::count(failures.begin(), failures.end(), kTooLarge));
        EXPECT_EQ(memory.LiveAllocations(), 0);
        return memory.Fired();
    });

    // Of 20, 40, 80, 160 and 320 bytes.
    EXPECT_EQ(reports, 5);
}

class XmlEndlessDevice : public XmlWholeFile {
protected:
    XmlEndlessDevice() {
        struct stat status = {};
        isDevice_ = stat("/dev/zero", &status) == 0 && S_ISCHR(status.st_mode);
        EXPECT_TRUE(isDevice_) << "these tests need /dev/zero to be a device";
        EXPECT_EQ(symlink("/dev/zero", kXmlFile), 0);
    }

    bool isDevice_;
};

/// Promise 13
TEST_F(XmlEndlessDevice, IsGivenUp) {
    ASSERT_TRUE(isDevice_);

    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});

    EXPECT_THAT(traces_.Failures(), testing::Contains(kTooLarge));
}

TEST_F(XmlEndlessDevice, TakesNoMoreMemoryThanTwiceTheLimit) {
    ASSERT_TRUE(isDevice_);
    constexpr std::size_t kLimit = 64UL * 1024 * 1024;
    const AllocationFaults memory;

    Retrieve();

    EXPECT_LE(memory.PeakBytes(), 2 * kLimit);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlEndlessDevice, ThatTakesThePlaceOfARegularFileIsGivenUpToo) {
    ASSERT_TRUE(isDevice_);
    ASSERT_EQ(unlink(kXmlFile), 0);
    tal::test::WriteFile(kXmlFile, document_);
    ASSERT_EQ(symlink("/dev/zero", "device"), 0);
    CLibraryFaults files;
    files.Before("fopen", [] { EXPECT_EQ(std::rename("device", kXmlFile), 0); });
    const AllocationFaults memory;

    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});

    EXPECT_THAT(traces_.Failures(), testing::Contains(kTooLarge));
    EXPECT_LE(memory.PeakBytes(), 128UL * 1024 * 1024);
}

class XmlEndlessList : public tal::test::XmlReaderFixture {
protected:
    XmlEndlessList() { object_.U8Array("a", {9, 9, 9}); }
};

TEST_F(XmlEndlessList, OfTheHostIsGivenUp) {
    tal::test::HostCalls host;
    host.RepeatListItems();

    EXPECT_EQ(RetrieveVariables(tal::test::Array("a", {"1", "2"})), QBFResult{QBF_E_FAILED});

    EXPECT_THAT(traces_.Failures(),
                testing::Contains("0x8000 CXmlFileStorageProviderBase_UpdateArray: Could not iterate "
                                  "array element list"));
}

TEST_F(XmlEndlessList, OfTheHostTakesSixteenStepsMoreThanItHasItems) {
    tal::test::HostCalls host;
    host.RepeatListItems();

    RetrieveVariables(tal::test::Array("a", {"1", "2"}));

    constexpr int kOfTheConversion = 18;
    constexpr int kOfTheCleanUpAfterItsStart = 17;
    EXPECT_EQ(host.Count("CList_GetNext"), kOfTheConversion + kOfTheCleanUpAfterItsStart);
}

}  // namespace
