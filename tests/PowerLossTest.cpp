/// The power goes while a file is written, or a write is lost in silence: what the next start finds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "TypeTable.h"
#include "host/ReferenceHost.h"
#include "support/CLibraryFaults.h"
#include "support/FileProviders.h"
#include "support/Files.h"
#include "support/GeneratedDatabase.h"
#include "support/Sweep.h"
#include "support/TraceRecorder.h"

namespace {

using tal::host::Database;
using tal::host::Variable;
using tal::test::CLibraryFaults;
using tal::test::ContentOf;
using tal::test::DatabaseContent;
using tal::test::SweepFaults;

constexpr std::uint32_t kTree = 7;
constexpr std::uint32_t kValues = 11;

/// A board that has just started: the layout is the same on every start, the values are the defaults.
std::unique_ptr<Database> StartedBoard() {
    return tal::test::GenerateDatabase(kTree);
}

std::unique_ptr<Database> OperatedBoard() {
    auto board = StartedBoard();
    tal::test::FillWithRandomValues(*board, kValues);
    return board;
}

class PowerLoss : public testing::TestWithParam<tal::test::FileProvider> {
protected:
    QBFResult Store(Database& board) { return provider_->StoreAll(0, board.Handle(), 0); }
    QBFResult Retrieve(Database& board) { return provider_->RetrieveAll(0, board.Handle(), 0); }

    /// Stores the values and brings them back as if nothing had happened before.
    void ExpectNextStoreToBeWhole() {
        const auto board = OperatedBoard();
        const DatabaseContent stored = ContentOf(*board);
        ASSERT_EQ(Store(*board), QBF_OK);
        board->SetAllToZero();
        ASSERT_EQ(Retrieve(*board), QBF_OK);
        ExpectRestoredAsStored(*board, stored);
    }

    /// Takes the power after each write of a store in turn. The next start has to find every variable at a value that
    /// may be left of the stored one, or at its default.
    /// @param spoil   What else happens to the file.
    /// @param mayBeLeft  Whether the bytes may be what is left of the stored ones.
    template <class Spoil, class MayBeLeft>
    void CutEveryStore(Spoil spoil, MayBeLeft mayBeLeft) {
        const DatabaseContent stored = ContentOf(*OperatedBoard());
        const DatabaseContent defaults = ContentOf(*StartedBoard());
        SweepFaults([&](int nth) {
            {
                CLibraryFaults files;
                files.StopTheWorldAfter(nth - 1);
                static_cast<void>(Store(*OperatedBoard()));
                if (!files.Fired()) {
                    return false;
                }
            }
            spoil();
            const auto board = StartedBoard();
            static_cast<void>(Retrieve(*board));
            EXPECT_TRUE(board->GuardsIntact());
            for (const auto& [path, bytes] : ContentOf(*board)) {
                EXPECT_TRUE(mayBeLeft(bytes, stored.at(path)) || bytes == defaults.at(path)) << path;
            }
            ExpectNextStoreToBeWhole();
            return true;
        });
    }

    static void ExpectRestoredAsStored(Database& board, const DatabaseContent& stored) {
        std::size_t restored = 0;
        board.ForEachVariable([&](const std::string& path, const Variable& variable) {
            if (variable.Retrieved() && !tal::host::HoldsObjects(variable.Type())) {
                EXPECT_EQ(variable.Bytes(), stored.at(path)) << path;
                ++restored;
            }
        });
        EXPECT_GT(restored, 0U);
    }

    tal::test::TemporaryDirectory directory_;
    tal::test::TraceRecorder traces_;
    IStorageProvider* const provider_ = GetParam().Prepare();
};

using StoredValue = std::vector<std::uint8_t>;

/// Whether each byte is the stored one or one of the zeros that stand where a write was lost.
bool IsStoredOrZero(const StoredValue& bytes, const StoredValue& stored) {
    return std::equal(bytes.begin(), bytes.end(), stored.begin(), stored.end(),
                      [](std::uint8_t byte, std::uint8_t kept) { return byte == kept || byte == 0; });
}

/// Promise 5
TEST_P(PowerLoss, AfterAnyWriteLeavesEveryVariableAtItsStoredValueOrItsDefault) {
    CutEveryStore([] {}, [](const StoredValue& bytes, const StoredValue& stored) { return bytes == stored; });
}

/// Promise 5
TEST_P(PowerLoss, ATailOfZeroBytesIsNeverTakenForMoreThanZeros) {
    const char* const file = GetParam().defaultFile;
    CutEveryStore([&] { tal::test::WriteFile(file, tal::test::ReadFile(file) + std::string(512, '\0')); },
                  IsStoredOrZero);
}

/// Promise 7
TEST_P(PowerLoss, AWriteThatIsLostInSilenceDoesNotOutliveTheNextStore) {
    SweepFaults([&](int nth) {
        {
            CLibraryFaults files;
            files.SwallowWrite(nth);
            EXPECT_EQ(Store(*OperatedBoard()), QBF_OK);
            if (!files.Fired()) {
                return false;
            }
        }
        const auto board = StartedBoard();
        const QBFResult result = Retrieve(*board);
        EXPECT_TRUE(result == QBF_OK || result == QBF_E_FAILED);
        EXPECT_TRUE(board->GuardsIntact());
        ExpectNextStoreToBeWhole();
        return true;
    });
}

INSTANTIATE_TEST_SUITE_P(Formats, PowerLoss, testing::ValuesIn(tal::test::kFileProviders),
                         testing::PrintToStringParamName());

}  // namespace
