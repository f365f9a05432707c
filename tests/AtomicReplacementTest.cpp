/// docs/atomic-replacement.md: its recipe leaves either the old file or the new one, whole.

#include "examples/atomic-replacement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/ReferenceHost.h"
#include "support/CLibraryFaults.h"
#include "support/FileProviders.h"
#include "support/Files.h"
#include "support/Sweep.h"
#include "support/TraceRecorder.h"

namespace tal::test {

namespace {

/// What the example has for a provider.
struct Recipe {
    FileProvider files;
    void (*useFile)(const char*);
    const char* ending;
};

constexpr Recipe kRecipes[] = {{kXmlFiles, example::UseXmlCalibrationFile, "</storage>\n"},
                               {kBinaryFiles, example::UseBinaryCalibrationFile, ""},
                               {kSecureFiles, example::UseSecureCalibrationFile, ""}};

void PrintTo(const Recipe& recipe, std::ostream* stream) {
    *stream << recipe.files.name;
}

constexpr const char* kFile = "calibration";
constexpr const char* kTemporary = "calibration.new";

class AtomicReplacement : public ::testing::TestWithParam<Recipe> {
protected:
    AtomicReplacement() {
        database_.AddRegion("R").AddObject("O").U32("a", 1).String("s", 8, "text");
        GetParam().useFile(kFile);
    }

    /// Stores `value` as "R/O/a".
    bool Store(std::uint32_t value) {
        database_.At("R/O/a").Set(value);
        return example::StoreAtomically(replaced_, database_.Handle());
    }

    /// What a restart would find.
    std::uint32_t Restored() {
        database_.SetAllToZero();
        EXPECT_EQ(replaced_.provider->RetrieveAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
        return database_.At("R/O/a").Get<std::uint32_t>();
    }

    TemporaryDirectory directory_;
    TraceRecorder traces_;
    host::Database database_;
    example::ReplacedLocation replaced_ = {GetParam().files.Prepare(), 0, kFile, GetParam().useFile, GetParam().ending};
};

TEST_P(AtomicReplacement, ReplacesTheFileAndLeavesNothingBesideIt) {
    EXPECT_TRUE(Store(2));
    EXPECT_EQ(Restored(), 2U);
    EXPECT_TRUE(Store(3));
    EXPECT_EQ(Restored(), 3U);
    EXPECT_FALSE(std::filesystem::exists(kTemporary));
}

TEST_P(AtomicReplacement, WritesWhatAStoreInPlaceWrites) {
    ASSERT_TRUE(Store(2));
    const std::string replacement = ReadFile(kFile);
    ASSERT_EQ(replaced_.provider->StoreAll(0, database_.Handle(), 0), QBFResult{QBF_OK});
    EXPECT_EQ(ReadFile(kFile), replacement);
}

TEST_P(AtomicReplacement, AnyFileCallOfTheStoreMayFail) {
    ASSERT_TRUE(Store(2));
    int refusals = 0;
    SweepFaults([&](int nth) {
        bool isReplaced = false;
        {
            CLibraryFaults files;
            files.Fail(nth);
            isReplaced = Store(3);
            if (!files.Fired()) {
                return false;
            }
        }
        refusals += isReplaced ? 0 : 1;
        EXPECT_EQ(Restored(), isReplaced ? 3U : 2U);
        EXPECT_FALSE(std::filesystem::exists(kTemporary));
        EXPECT_TRUE(Store(2));
        return true;
    });
    EXPECT_GE(refusals, 3) << "opening, writing and closing";
}

TEST_P(AtomicReplacement, AStoreThatLosesItsPowerLeavesTheOldFile) {
    ASSERT_TRUE(Store(2));
    {
        CLibraryFaults files;
        files.StopTheWorldAfter(1);
        // Killed inside the store, a process comes to no rename.
        GetParam().useFile(kTemporary);
        static_cast<void>(replaced_.provider->StoreAll(0, database_.Handle(), 0));
        GetParam().useFile(kFile);
    }
    ASSERT_TRUE(std::filesystem::exists(kTemporary));
    EXPECT_EQ(Restored(), 2U);
    EXPECT_TRUE(Store(3));
    EXPECT_EQ(Restored(), 3U);
    EXPECT_FALSE(std::filesystem::exists(kTemporary));
}

TEST_P(AtomicReplacement, ANameThatWouldBeCutIsRefused) {
    replaced_.fileName = std::string(75, 'n');
    EXPECT_TRUE(Store(2));
    EXPECT_TRUE(std::filesystem::exists(replaced_.fileName));
    replaced_.fileName += 'n';
    EXPECT_FALSE(Store(3));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 1);
}

TEST_P(AtomicReplacement, WorksInAnotherDirectory) {
    std::filesystem::create_directory("store");
    replaced_.fileName = "store/calibration";
    EXPECT_TRUE(Store(2));
    EXPECT_TRUE(std::filesystem::exists("store/calibration"));
    replaced_.fileName = "missing/calibration";
    EXPECT_FALSE(Store(3));
}

INSTANTIATE_TEST_SUITE_P(, AtomicReplacement, ::testing::ValuesIn(kRecipes),
                         [](const ::testing::TestParamInfo<Recipe>& recipe) {
                             return std::string(recipe.param.files.name);
                         });

}  // namespace

}  // namespace tal::test
