#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "host/DatabaseObserver.h"
#include "support/BinaryFixture.h"
#include "support/MemoryFile.h"
#include "support/SecureRecords.h"

namespace tal::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SecureHostileFiles : public SecureProviderTest {
protected:
    SecureHostileFiles() {
        database_.AddRegion("R").AddObject("O").U8("A", 1).U32("B", 2).String("C", 3, "c");
        database_.SetAllToZero();
    }

    /// Records for all three variables.
    static std::string GoodFile() {
        return SecureRecord("R/O/A", Bytes({7})) + SecureRecord("R/O/B", Bytes({8, 0, 0, 0})) +
               SecureRecord("R/O/C", Bytes({'x', 'y', 0}));
    }

    [[nodiscard]] std::string ShortHeader(std::size_t arrived) const {
        return Line(QBF_E_IO, "ManageRetrieve",
                    "Not all meta data header bytes read, attempted to read 20 bytes, got " + std::to_string(arrived));
    }
    [[nodiscard]] std::string ShortPath(std::size_t wanted, std::size_t arrived) const {
        return Line(QBF_E_IO, "ManageRetrieve",
                    "Not all variable path bytes read, attempted to read " + std::to_string(wanted) + " bytes, got " +
                        std::to_string(arrived));
    }
    [[nodiscard]] std::string ShortData(long long wanted, std::size_t arrived) const {
        return Line(QBF_E_IO, "ManageRetrieve",
                    "Not all bytes read, attempted to read " + std::to_string(wanted) + " bytes, got " +
                        std::to_string(arrived));
    }

    void ExpectAllDefaults() {
        database_.ForEachVariable([](const std::string& path, host::Variable& variable) {
            EXPECT_TRUE(variable.HoldsDefault()) << path;
            EXPECT_FALSE(variable.Retrieved()) << path;
        });
    }

    /// Retrieves from a pipe that holds `bytes`, at most what a pipe takes at once.
    QBFResult RetrieveFromPipe(std::string_view bytes) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(ends[1]);
        UseFile("/proc/self/fd/" + std::to_string(ends[0]));
        const QBFResult result = Retrieve();
        close(ends[0]);
        return result;
    }

    void UseFile(const std::string& name) {
        CSecureBinaryFileStorageProvider_SetStorageFilenames(name.c_str(), "", "");
        traces_.Clear();
    }
};

/// What the format's rules make of a file, worked out apart from the library.
struct Verdict {
    bool isCorrupt = false;
    std::map<std::string, std::string> restored;
};

std::uint32_t FieldAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t word = 0;
    for (std::size_t i = 4; i-- > 0;) {
        word = word << 8 | static_cast<std::uint8_t>(bytes[offset + i]);
    }
    return word;
}

Verdict Judge(const std::string& bytes, const std::map<std::string, std::size_t>& sizes) {
    Verdict verdict;
    std::size_t position = 0;
    while (bytes.size() - position >= 20) {
        const std::uint64_t pathLength = FieldAt(bytes, position + kPathLengthAt);
        const std::uint64_t dataSize = FieldAt(bytes, position + kDataSizeAt);
        if (FieldAt(bytes, position) != 0xDEADBEEF || pathLength > 510) {
            verdict.isCorrupt = true;
            return verdict;
        }
        if (20 + pathLength + 1 + dataSize > bytes.size() - position) {
            break;
        }
        const std::string path =
            std::string(bytes, position + kPathAt, static_cast<std::size_t>(pathLength) + 1).c_str();
        position += 20 + static_cast<std::size_t>(pathLength) + 1;
        const auto registered = sizes.find(path);
        if (registered != sizes.end() && registered->second == dataSize) {
            verdict.restored[path] = bytes.substr(position, static_cast<std::size_t>(dataSize));
        }
        position += static_cast<std::size_t>(dataSize);
    }
    return verdict;
}

/// Promise 12
/// Surprise: `QBF_OK` does not mean that everything was restored
TEST_F(SecureHostileFiles, EveryPrefixRestoresItsWholeRecords) {
    const std::string bytes = GoodFile();
    MemoryFile file;
    UseFile(file.Path());
    // Where the pieces of the three records end: header, path and data each.
    const std::vector<std::size_t> ends = {20, 26, 27, 47, 53, 57, 77, 83, 86};
    ASSERT_EQ(bytes.size(), ends.back());
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        SCOPED_TRACE(length);
        file.Write(std::string_view(bytes).substr(0, length));
        database_.SetAllToZero();
        traces_.Clear();
        EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
        EXPECT_TRUE(database_.GuardsIntact());
        EXPECT_EQ(database_.At("R/O/A").Retrieved(), length >= ends[2]);
        EXPECT_EQ(database_.At("R/O/B").Retrieved(), length >= ends[5]);
        EXPECT_FALSE(database_.At("R/O/C").Retrieved());

        std::size_t piece = 0;
        while (ends[piece] <= length) {
            ++piece;
        }
        const std::size_t start = piece == 0 ? 0 : ends[piece - 1];
        const std::size_t arrived = length - start;
        if (piece % 3 == 0) {
            EXPECT_EQ(traces_.Failures().size(), arrived == 0 ? 0U : 1U);
            EXPECT_TRUE(arrived == 0 || traces_.Failures().front() == ShortHeader(arrived));
        } else if (piece % 3 == 1) {
            EXPECT_THAT(traces_.Failures(), ElementsAre(ShortPath(6, arrived)));
        } else {
            EXPECT_THAT(traces_.Failures(),
                        ElementsAre(ShortData(static_cast<long long>(ends[piece] - start), arrived)));
        }
    }
}

/// Promise 12
/// Promise 15
/// Surprise: "Secure" is no checksum
TEST_F(SecureHostileFiles, EveryChangedByteHasTheOutcomeThatTheFormatGivesIt) {
    const std::string bytes = GoodFile();
    const std::map<std::string, std::size_t> sizes = {{"R/O/A", 1}, {"R/O/B", 4}, {"R/O/C", 3}};
    MemoryFile file;
    UseFile(file.Path());
    traces_.SetThreshold(-1);
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        for (int change = 1; change < 256; ++change) {
            SCOPED_TRACE(::testing::Message() << "byte " << position << " changed by " << change);
            std::string changed = bytes;
            changed[position] = static_cast<char>(changed[position] ^ change);
            const Verdict verdict = Judge(changed, sizes);
            file.Write(changed);
            database_.SetAllToZero();
            const AllocationFaults memory;
            EXPECT_EQ(Retrieve(), verdict.isCorrupt ? QBFResult{QBF_E_FAILED} : QBFResult{QBF_OK});
            EXPECT_LE(memory.PeakBytes(), bytes.size());
            EXPECT_EQ(memory.LiveAllocations(), 0);
            EXPECT_TRUE(database_.GuardsIntact());
            for (const auto& [path, size] : sizes) {
                host::Variable& variable = database_.At(path);
                const auto restored = verdict.restored.find(path);
                EXPECT_EQ(variable.Retrieved(), restored != verdict.restored.end()) << path;
                const std::vector<std::uint8_t> content = variable.Bytes();
                if (restored != verdict.restored.end()) {
                    EXPECT_EQ(std::string(content.begin(), content.end()), restored->second) << path;
                } else if (verdict.isCorrupt) {
                    EXPECT_EQ(content, std::vector<std::uint8_t>(size, 0)) << path;
                } else {
                    EXPECT_TRUE(variable.HoldsDefault()) << path;
                }
            }
        }
    }
}

/// Promise 13
TEST_F(SecureHostileFiles, PathLengthOf511OrMoreIsCorrupt) {
    for (const std::uint32_t length : {511U, 512U, 1000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
        SCOPED_TRACE(length);
        database_.SetAllToZero();
        traces_.Clear();
        const std::string bytes = SecureRecord("R/O/A", Bytes({7})) + SecureHeader(length, 1) + std::string(2000, 'x');
        EXPECT_EQ(RetrieveFrom(bytes), QBFResult{QBF_E_FAILED});
        EXPECT_THAT(
            traces_.Failures(),
            ElementsAre(Line(QBF_E_CORRUPT, "ManageRetrieve",
                             "Variable path too long, binary file calibration seems to be corrupt - FATAL, aborting "
                             "retrieval")));
        EXPECT_EQ(database_.At("R/O/A").Get<std::uint8_t>(), 7);
        EXPECT_EQ(database_.At("R/O/B").Get<std::uint32_t>(), 0U);
    }
}

TEST_F(SecureHostileFiles, PathOf510CharactersThatIsNotRegisteredIsSkipped) {
    const std::string path(510, 'p');
    EXPECT_EQ(RetrieveFrom(SecureRecord(path, "x") + GoodFile()), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.LinesOf(QBF_N_NOTICE_2),
                ElementsAre(Line(QBF_N_NOTICE_2, "PrepareForVariableUpdate",
                                 "File calibration contains variable that is not registered (" + path + ")")));
    EXPECT_TRUE(database_.At("R/O/A").Retrieved());
}

TEST_F(SecureHostileFiles, PathWithoutItsNulEndsWithTheRecord) {
    // A longer path before it leaves other characters in the reader's buffer.
    std::string bytes = SecureRecord("R/O/Something/Longer", "x") + SecureRecord("R/O/?", Bytes({7}));
    bytes[bytes.size() - 3] = '/';
    bytes[bytes.size() - 2] = 'A';
    EXPECT_EQ(RetrieveFrom(bytes), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.LinesOf(QBF_N_NOTICE_2).back(), ::testing::HasSubstr("(R/O//A)"));
}

TEST_F(SecureHostileFiles, LongestPathWithoutItsNulIsLookedUpWith511Characters) {
    std::string bytes = SecureRecord(std::string(510, 'p'), "x");
    bytes[kPathAt + 510] = 'q';
    EXPECT_EQ(RetrieveFrom(bytes), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.LinesOf(QBF_N_NOTICE_2).back(), ::testing::HasSubstr("(" + std::string(510, 'p') + "q)"));
}

TEST_F(SecureHostileFiles, PathWithANulInsideEndsThere) {
    EXPECT_EQ(RetrieveFrom(SecureRecord(std::string("R/O/A\0junk", 10), Bytes({7}))), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/A").Get<std::uint8_t>(), 7);
}

TEST_F(SecureHostileFiles, EmptyPathIsNotRegistered) {
    EXPECT_EQ(RetrieveFrom(SecureRecord("", "x") + GoodFile()), QBFResult{QBF_OK});
    EXPECT_EQ(traces_.LinesOf(QBF_N_NOTICE_2).size(), 1U);
    EXPECT_TRUE(database_.At("R/O/C").Retrieved());
}

/// Promise 13
TEST_F(SecureHostileFiles, DataBeyondTheEndOfTheFileAreAShortReadAndAllocateNothing) {
    for (const std::uint32_t size : {11U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(size);
        database_.SetAllToZero();
        WriteFile(kCalibrationFile, SecureHeader(5, size) + std::string("R/O/A\0", 6) + std::string(10, 'x'));
        traces_.Clear();
        const AllocationFaults memory;
        EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
        EXPECT_EQ(memory.Allocations(), 0);
        EXPECT_THAT(traces_.Failures(), ElementsAre(ShortData(static_cast<std::int32_t>(size), 10)));
        ExpectAllDefaults();
    }
}

TEST_F(SecureHostileFiles, DataThatFillTheFileToItsEndArrive) {
    WriteFile(kCalibrationFile, SecureHeader(5, 10) + std::string("R/O/A\0", 6) + std::string(10, 'x'));
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_EQ(traces_.LinesOf(QBF_E_SIZE_MISMATCH).size(), 1U);
}

TEST_F(SecureHostileFiles, PipeIsRestoredLikeAFile) {
    EXPECT_EQ(RetrieveFromPipe(GoodFile()), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("R/O/A").Get<std::uint8_t>(), 7);
    EXPECT_EQ(database_.At("R/O/B").Get<std::uint32_t>(), 8U);
    EXPECT_TRUE(database_.At("R/O/B").Retrieved());
}

TEST_F(SecureHostileFiles, LargeRecordOfAPipeIsRestored) {
    std::string data;
    while (data.size() < 20000) {
        data += std::to_string(data.size()) + ' ';
    }
    database_.AddRegion("S").AddObject("O").String("Large", static_cast<std::uint32_t>(data.size()));
    EXPECT_EQ(RetrieveFromPipe(SecureRecord("S/O/Large", data) + GoodFile()), QBFResult{QBF_OK});
    EXPECT_EQ(database_.At("S/O/Large").Text(), data);
    EXPECT_TRUE(database_.At("R/O/B").Retrieved());
}

/// Promise 13
TEST_F(SecureHostileFiles, PipeThatClaimsTooMuchForItsVariableTakesNoMemory) {
    const AllocationFaults memory;
    EXPECT_EQ(RetrieveFromPipe(SecureHeader(5, 0xFFFFFFFF) + std::string("R/O/A\0", 6) + std::string(30000, 'x')),
              QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortData(-1, 30000)));
    EXPECT_EQ(memory.Allocations(), 0);
    ExpectAllDefaults();
}

TEST_F(SecureHostileFiles, RecordOfAnotherSizeIsReadPastWithoutABuffer) {
    const AllocationFaults memory;
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/A", std::string(20000, 'x'))), QBFResult{QBF_OK});
    EXPECT_EQ(traces_.LinesOf(QBF_E_SIZE_MISMATCH).size(), 1U);
    EXPECT_EQ(memory.Allocations(), 0);
}

TEST_F(SecureHostileFiles, RecordThatNoVariableWantsIsReadPastWithoutABuffer) {
    const AllocationFaults memory;
    EXPECT_EQ(RetrieveFrom(SecureRecord("R/O/Large", std::string(20000, 'x'))), QBFResult{QBF_OK});
    EXPECT_EQ(traces_.LinesOf(QBF_N_NOTICE_2).size(), 1U);
    EXPECT_EQ(memory.Allocations(), 0);
}

TEST_F(SecureHostileFiles, ShortRecordThatNoVariableWantsIsReportedAsShortAlone) {
    EXPECT_EQ(RetrieveFrom(SecureHeader(5, 20000) + std::string("R/O/Z\0", 6) + "x"), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortData(20000, 1)));
    EXPECT_THAT(traces_.LinesOf(QBF_N_NOTICE_2), testing::IsEmpty());
}

TEST_F(SecureHostileFiles, ShortRecordOfAnotherSizeIsReportedAsShortAlone) {
    EXPECT_EQ(RetrieveFrom(SecureHeader(5, 20000) + std::string("R/O/A\0", 6) + "x"), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortData(20000, 1)));
}

TEST_F(SecureHostileFiles, RecordsAfterOneThatIsReadPastAreRestored) {
    EXPECT_EQ(RetrieveFromPipe(SecureRecord("R/O/Large", std::string(20000, 'x')) + GoodFile()), QBFResult{QBF_OK});
    EXPECT_TRUE(database_.At("R/O/A").Retrieved());
    EXPECT_TRUE(database_.At("R/O/B").Retrieved());
}

TEST_F(SecureHostileFiles, RecordWithoutMemoryIsSkippedWhole) {
    database_.AddRegion("S").AddObject("O").String("Large", 20000);
    AllocationFaults memory;
    memory.Fail(1);
    EXPECT_EQ(RetrieveFromPipe(SecureRecord("S/O/Large", std::string(20000, 'x')) + GoodFile()), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(Line(QBF_E_FAILED, "ManageRetrieve",
                                                     "Could not allocate 20000 bytes for variable S/O/Large")));
    EXPECT_TRUE(database_.At("R/O/A").Retrieved());
    EXPECT_TRUE(database_.At("R/O/B").Retrieved());
}

TEST_F(SecureHostileFiles, TruncatedRecordWithoutMemoryIsReportedAsShortAlone) {
    database_.AddRegion("S").AddObject("O").String("Large", 20000);
    AllocationFaults memory;
    memory.FailFrom(1);
    EXPECT_EQ(RetrieveFromPipe(SecureHeader(9, 20000) + std::string("S/O/Large\0", 10) + "x"), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortData(20000, 1)));
    ExpectAllDefaults();
}

/// Surprise: A file that cannot be read is a success
TEST_F(SecureHostileFiles, DirectoryInPlaceOfTheFileIsAShortReadAndDefaultsEveryVariable) {
    std::filesystem::create_directory(kCalibrationFile);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortHeader(0)));
    ExpectAllDefaults();
}

TEST_F(SecureHostileFiles, UnreadableDeviceIsAShortReadAndDefaultsEveryVariable) {
    ASSERT_TRUE(std::filesystem::exists("/proc/self/mem")) << "this test needs /proc";
    UseFile("/proc/self/mem");
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortHeader(0)));
    ExpectAllDefaults();
}

/// Appends to a file when the provider looks up its first variable.
class FileThatGrows final : public host::DatabaseObserver {
public:
    FileThatGrows(host::Database& database, std::string bytes) : database_(database), bytes_(std::move(bytes)) {
        database_.SetObserver(this);
    }
    ~FileThatGrows() override { database_.SetObserver(nullptr); }
    FileThatGrows(const FileThatGrows&) = delete;
    FileThatGrows& operator=(const FileThatGrows&) = delete;

    void OnLookUp(std::string_view /*path*/, const host::Variable* /*found*/) noexcept override {
        const int file = open(kCalibrationFile, O_WRONLY | O_APPEND | O_CLOEXEC);
        EXPECT_EQ(write(file, bytes_.data(), bytes_.size()), static_cast<ssize_t>(bytes_.size()));
        close(file);
        bytes_.clear();
    }

private:
    host::Database& database_;
    std::string bytes_;
};

TEST_F(SecureHostileFiles, RecordsThatAreAppendedWhileTheFileIsReadAreRestored) {
    WriteFile(kCalibrationFile, SecureRecord("R/O/A", Bytes({7})));
    const FileThatGrows file(database_, SecureRecord("R/O/B", Bytes({8, 0, 0, 0})));
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), IsEmpty());
    EXPECT_EQ(database_.At("R/O/A").Get<std::uint8_t>(), 7);
    EXPECT_EQ(database_.At("R/O/B").Get<std::uint32_t>(), 8U);
}

TEST_F(SecureHostileFiles, EmptyDeviceIsAnEmptyFile) {
    ASSERT_TRUE(IsDevice("/dev/null"));
    UseFile("/dev/null");
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), IsEmpty());
    ExpectAllDefaults();
}

TEST_F(SecureHostileFiles, EndlessDeviceIsCorruptAtItsFirstRecord) {
    ASSERT_TRUE(IsDevice("/dev/zero"));
    UseFile("/dev/zero");
    EXPECT_EQ(Retrieve(), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(traces_.LinesOf(QBF_E_CORRUPT).size(), 1U);
}

TEST_F(SecureHostileFiles, DirectoryInPlaceOfTheFileCannotBeWritten) {
    std::filesystem::create_directory(kCalibrationFile);
    EXPECT_EQ(Store(), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.LinesOf("CSecureBinaryFileStorageProvider_OpenFile"),
                ElementsAre(Line(QBF_E_OPEN_FAILED, "OpenFile", "Could not open file calibration (errno is: 21)")));
}

/// Surprise: A file that cannot be read is a success
TEST_F(SecureHostileFiles, ReadErrorInAnyPieceIsReportedAndEndsTheReading) {
    WriteFile(kCalibrationFile, GoodFile());
    const std::vector<std::pair<int, std::string>> pieces = {
        {4, ShortHeader(18)}, {5, ShortPath(6, 4)}, {6, ShortData(4, 2)}};
    for (const auto& [read, expected] : pieces) {
        SCOPED_TRACE(read);
        traces_.Clear();
        database_.SetAllToZero();
        CLibraryFaults files;
        files.BreakRead(read, 2);
        EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
        EXPECT_THAT(traces_.Failures(), ElementsAre(expected));
        EXPECT_EQ(files.Count("fread"), read);
        EXPECT_EQ(database_.At("R/O/A").Get<std::uint8_t>(), 7);
        EXPECT_EQ(database_.At("R/O/B").Get<std::uint32_t>(), 2U);
        EXPECT_EQ(database_.At("R/O/C").Text(), "c");
    }
}

TEST_F(SecureHostileFiles, EndOfTheFileInAnyPieceIsReportedAndEndsTheReading) {
    WriteFile(kCalibrationFile, GoodFile());
    const std::vector<std::pair<int, std::string>> pieces = {
        {4, ShortHeader(18)}, {5, ShortPath(6, 4)}, {6, ShortData(4, 2)}};
    for (const auto& [read, expected] : pieces) {
        SCOPED_TRACE(read);
        traces_.Clear();
        CLibraryFaults files;
        files.Shorten("fread", read, 2);
        EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
        EXPECT_THAT(traces_.Failures(), ElementsAre(expected));
        EXPECT_EQ(database_.At("R/O/B").Get<std::uint32_t>(), 2U);
    }
}

TEST_F(SecureHostileFiles, FileThatShrinksWhileItIsReadEnds) {
    WriteFile(kCalibrationFile, GoodFile());
    CLibraryFaults files;
    files.Shorten("fread", 3, 1);
    EXPECT_EQ(Retrieve(), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), ElementsAre(ShortData(1, 0)));
    ExpectAllDefaults();
}

}  // namespace

}  // namespace tal::test
