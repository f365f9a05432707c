// Steps that no operation of the provider takes, or that take gigabytes.

#include "Device/DeviceSupport/private/CSecureBinaryFileStorageProvider.h"

#include <sys/mman.h>

#include "support/BinaryFixture.h"

namespace {

using tal::CopyBounded;
using tal::StorageOpenMode;
using tal::secure::OpenFile;
using tal::secure::SecureFileNameTable;
using tal::secure::state;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SecureInternals : public ::testing::Test {
protected:
    SecureInternals() {
        CSecureBinaryFileStorageProvider_SetStorageFilenames("calibration", "hardware", "applications");
        traces_.Clear();
    }

    tal::test::TemporaryDirectory directory_;
    tal::test::TraceRecorder traces_;
};

TEST_F(SecureInternals, StoreOfTheWritableSubsetIsRefusedForEveryLocationAfterItsNameWasTaken) {
    const std::pair<StorageLocation, const char*> locations[] = {{0, "calibration"},
                                                                 {1, "storage_calibration_database.sbin"},
                                                                 {2, "storage_calibration_database.sbin"},
                                                                 {3, "hardware"},
                                                                 {6, "applications"}};
    const tal::test::CLibraryFaults calls(tal::test::Watch::LibraryAndTests);
    for (const auto& [location, name] : locations) {
        traces_.Clear();
        std::FILE* file = nullptr;
        EXPECT_EQ(OpenFile(location, StorageOpenMode::StoreWritable, &file), QBFResult{QBF_E_INVALID_ARGUMENT});
        EXPECT_EQ(file, nullptr);
        EXPECT_STREQ(SecureFileNameTable.CurrentFileName, name);
        EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 CSecureBinaryFileStorageProvider_OpenFile: Storage operation "
                                                 "eSTORE_WRITABLE not supported"));
    }
    EXPECT_THAT(calls.Calls(), IsEmpty());
}

TEST_F(SecureInternals, InvalidLocationComesBeforeTheRefusedMode) {
    std::FILE* file = nullptr;
    EXPECT_EQ(OpenFile(4, StorageOpenMode::StoreWritable, &file), QBFResult{QBF_E_INVALID_ARGUMENT});
    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x8002 CSecureBinaryFileStorageProvider_OpenFile: Invalid storage location id: 4"));
}

#if UINTPTR_MAX > 0xFFFFFFFF
/// A text of 2 GiB, the same small piece of memory again and again.
class LongText {
public:
    LongText() {
        const int piece = memfd_create("piece", MFD_CLOEXEC);
        const std::string content(kPieceSize, 'n');
        EXPECT_EQ(write(piece, content.data(), content.size()), static_cast<ssize_t>(content.size()));
        // Behind the text stands what terminates it.
        void* const reserved = mmap(nullptr, kLength + kPieceSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(reserved, MAP_FAILED);
        text_ = static_cast<char*>(reserved);
        for (std::size_t offset = 0; offset < kLength; offset += kPieceSize) {
            EXPECT_NE(mmap(text_ + offset, kPieceSize, PROT_READ, MAP_SHARED | MAP_FIXED, piece, 0), MAP_FAILED);
        }
        close(piece);
    }
    ~LongText() { munmap(text_, kLength + kPieceSize); }
    LongText(const LongText&) = delete;
    LongText& operator=(const LongText&) = delete;

    [[nodiscard]] const char* Get() const { return text_; }

private:
    static constexpr std::size_t kPieceSize = std::size_t{1} << 20;
    static constexpr std::size_t kLength = std::size_t{1} << 31;

    char* text_;
};

TEST_F(SecureInternals, PathThatIsTooLongToBeCountedIsAnOutputErrorAndCut) {
    const LongText name;
    CopyBounded(state.RegionPath, "R");
    CopyBounded(state.ObjectPath, "O/");
    tal::secure::BuildPathPrefix();
    tal::secure::BuildVariablePath(name.Get());
    EXPECT_EQ(state.VariablePath, "R/O/" + std::string(506, 'n'));
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8000 CSecureBinaryFileStorageProvider_ProcessObject: snprintf "
                                             "encountered an output error"));
}
#endif

}  // namespace
