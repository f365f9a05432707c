#include "Device/DeviceSupport/private/ReadOnlyZorBspStorageProvider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <future>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/AllocationFaults.h"
#include "support/BoardVariables.h"
#include "support/HostCalls.h"
#include "support/PlayedBoard.h"
#include "support/Sweep.h"
#include "support/TraceRecorder.h"

namespace {

using tal::host::Database;
using tal::host::Object;
using tal::host::Variable;
using tal::test::AddBoardVariables;
using tal::test::AllocationFaults;
using tal::test::BoardVariable;
using tal::test::HostCalls;
using tal::test::kBoardRegion;
using tal::test::kBoardRows;
using tal::test::PlayedBoard;
using tal::test::PlayTestBoard;
using tal::test::Registered;
using tal::test::SweepFaults;
using tal::test::TraceRecord;
using tal::test::TraceRecorder;
using testing::ElementsAre;
using testing::IsEmpty;
constexpr std::size_t kHwIdMajorRow = 5;
constexpr std::size_t kHwIdMinorRow = 6;

/// Makes every value differ from its default as well as from the board's, as if another retrieve had put it there.
void Disturb(Database& database) {
    database.ForEachVariable([](const std::string& /*path*/, Variable& variable) {
        if (variable.Type() == VARIABLE_TYPE_STRING) {
            variable.SetText("disturbed");
        } else {
            variable.Set<std::uint32_t>(0xD15D15);
        }
        variable.SetRetrieved(true);
    });
}

void ExpectRestored(Database& database, const BoardVariable& row) {
    Variable& variable = database.At(row.Path());
    EXPECT_TRUE(variable.Retrieved()) << row.name;
    if (row.text != nullptr) {
        EXPECT_EQ(variable.Text(), row.text) << row.name;
    } else {
        EXPECT_EQ(variable.Get<std::uint32_t>(), row.number) << row.name;
    }
}

void ExpectDefaulted(Database& database, const BoardVariable& row) {
    Variable& variable = database.At(row.Path());
    EXPECT_FALSE(variable.Retrieved()) << row.name;
    EXPECT_TRUE(variable.HoldsDefault()) << row.name;
}

void ExpectAllRestoredBut(Database& database, std::size_t odd) {
    for (std::size_t i = 0; i < kBoardRows.size(); ++i) {
        if (i != odd) {
            ExpectRestored(database, kBoardRows[i]);
        }
    }
}

std::vector<std::string> NumberCalls(const std::string& path) {
    return {"CDatabase_GetVariableByPath " + path, "CVariable_GetType", "CVariable_GetContentAddress",
            "CVariable_SetRetrieved 1"};
}

std::vector<std::string> TextCalls(const std::string& path) {
    return {"CDatabase_GetVariableByPath " + path, "CVariable_GetType", "CVariable_GetNoOfElements",
            "CVariable_GetContentAddress", "CVariable_SetRetrieved 1"};
}

void Append(std::vector<std::string>& calls, const std::vector<std::string>& more) {
    calls.insert(calls.end(), more.begin(), more.end());
}

class BoardProvider : public testing::Test {
protected:
    BoardProvider() {
        EXPECT_EQ(ReadOnlyZorBspStorageProvider_getInterface(&provider_), QBF_OK);
        PlayTestBoard(board_);
    }

    ~BoardProvider() override { EXPECT_TRUE(database_.GuardsIntact()); }

    QBFResult Retrieve() { return provider_->RetrieveAll(3, database_.Handle(), 0); }

    ReadOnlyZorBspStorageProvider& members_ = ReadOnlyZorBspStorageProvider::getInstance();
    IStorageProvider* provider_ = nullptr;
    PlayedBoard board_;
    TraceRecorder traces_;
    Database database_;
};

// The entry point and the instance.

TEST_F(BoardProvider, GetInterfaceTracesNothing) {
    EXPECT_EQ(ReadOnlyZorBspStorageProvider_getInterface(&provider_), QBF_OK);

    EXPECT_EQ(traces_.MappingCalls(), 0);
}

/// Promise 21
TEST_F(BoardProvider, HasOneInstanceForAllThreads) {
    std::vector<std::future<ReadOnlyZorBspStorageProvider*>> threads;
    threads.reserve(16);
    for (int i = 0; i < 16; ++i) {
        threads.push_back(std::async(std::launch::async, [] { return &ReadOnlyZorBspStorageProvider::getInstance(); }));
    }
    for (auto& thread : threads) {
        EXPECT_EQ(thread.get(), &members_);
    }
}

TEST_F(BoardProvider, IsAnEmptyClassWithoutBasesOrDestructor) {
    EXPECT_TRUE(std::is_empty_v<ReadOnlyZorBspStorageProvider>);
    EXPECT_FALSE(std::is_polymorphic_v<ReadOnlyZorBspStorageProvider>);
    EXPECT_TRUE(std::is_trivially_destructible_v<ReadOnlyZorBspStorageProvider>);
}

// The operations that do nothing.

TEST_F(BoardProvider, InitializeSucceedsForAnyLocationAndIsNotTraced) {
    HostCalls host;
    for (const unsigned long location : {0UL, 3UL, 11UL, 1000UL, ~0UL}) {
        EXPECT_EQ(provider_->Initialize(location), QBF_OK) << location;
        EXPECT_EQ(members_.initialize(location), QBF_OK) << location;
    }
    EXPECT_EQ(traces_.MappingCalls(), 0);
    EXPECT_THAT(host.Calls(), IsEmpty());
}

TEST_F(BoardProvider, ReserveWritableSpaceIsIgnored) {
    EXPECT_EQ(provider_->ReserveWritableSpace(1000, ~0UL), QBF_OK);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 reserveWritableSpace: Ignoring reserveWritableSpace operation"));
}

TEST_F(BoardProvider, StoreAllIsIgnored) {
    EXPECT_EQ(provider_->StoreAll(1000, nullptr, ~0UL), QBF_OK);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 storeAll: Ignoring storeAll operation"));
}

TEST_F(BoardProvider, StoreAllWritableIsIgnoredWithACapitalLetter) {
    EXPECT_EQ(provider_->StoreAllWritable(1000, nullptr, ~0UL), QBF_OK);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 storeAllWritable: Ignoring StoreAllWritable operation"));
}

TEST_F(BoardProvider, IgnoredOperationsAreTheMembersOfTheirSlots) {
    EXPECT_EQ(members_.reserveWritableSpace(0, 0), QBF_OK);
    EXPECT_EQ(members_.storeAll(0, nullptr, 0), QBF_OK);
    EXPECT_EQ(members_.storeAllWritable(0, nullptr, 0), QBF_OK);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 reserveWritableSpace: Ignoring reserveWritableSpace operation",
                                             "0x800 storeAll: Ignoring storeAll operation",
                                             "0x800 storeAllWritable: Ignoring StoreAllWritable operation"));
}

TEST_F(BoardProvider, IgnoredOperationsTouchNeitherDatabaseNorBoard) {
    AddBoardVariables(database_);
    Disturb(database_);
    CVariable* variables[] = {database_.At(kBoardRows[0].Path()).Handle()};
    HostCalls host;

    EXPECT_EQ(provider_->Initialize(3), QBF_OK);
    EXPECT_EQ(provider_->ReserveWritableSpace(3, 100), QBF_OK);
    EXPECT_EQ(provider_->StoreAll(3, database_.Handle(), 1), QBF_OK);
    EXPECT_EQ(provider_->StoreAllWritable(3, variables, 1), QBF_OK);

    EXPECT_THAT(host.Calls(), IsEmpty());
    EXPECT_THAT(board_.Calls(), IsEmpty());
    EXPECT_EQ(database_.At(kBoardRows[0].Path()).Get<std::uint32_t>(), 0xD15D15U);
}

// What a retrieve does when everything is there.

TEST_F(BoardProvider, RetrieveRestoresTheFourteenVariables) {
    AddBoardVariables(database_);
    Disturb(database_);

    EXPECT_EQ(Retrieve(), QBF_OK);

    ExpectAllRestoredBut(database_, kBoardRows.size());
    EXPECT_EQ(traces_.MappingCalls(), 0) << "a good retrieve is silent";
}

/// Surprise: Every retrieve defaults what its file lacks
TEST_F(BoardProvider, RetrieveDefaultsWhatAnotherRetrieveLeftInOtherVariables) {
    AddBoardVariables(database_);
    Disturb(database_);

    EXPECT_EQ(Retrieve(), QBF_OK);

    Variable& unknown = database_.At("HDBCommonBoard/HardwareCodes/Unknown");
    EXPECT_FALSE(unknown.Retrieved());
    EXPECT_TRUE(unknown.HoldsDefault());
}

TEST_F(BoardProvider, RetrieveAsksHostAndBoardInAFixedOrder) {
    AddBoardVariables(database_);
    HostCalls host;
    std::vector<std::string> calls;
    std::size_t hostCallsSeen = 0;
    const auto appendHostCalls = [&] {
        calls.insert(calls.end(), host.Calls().begin() + static_cast<std::ptrdiff_t>(hostCallsSeen),
                     host.Calls().end());
        hostCallsSeen = host.Calls().size();
    };
    board_.onCall = [&](const std::string& function) {
        appendHostCalls();
        calls.push_back(function);
    };

    EXPECT_EQ(Retrieve(), QBF_OK);

    appendHostCalls();
    std::vector<std::string> expected = {"CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved",
                                         "Bsp_getNumberOfChannels"};
    Append(expected, NumberCalls("HDBCommonBoard/Capabilities.CB.Channel1/NumberOfChannels"));
    Append(expected, TextCalls("HDBCommonBoard/BroadcomConfiguration/BcmMedia"));
    Append(expected, TextCalls("HDBCommonBoard/BroadcomConfiguration/BcmAccessName"));
    Append(expected, TextCalls("HDBCommonBoard/BroadcomConfiguration/BcmResetAccessName"));
    Append(expected, TextCalls("HDBCommonBoard/BroadcomConfiguration/BcmMessageReady"));
    expected.emplace_back("Bsp_getZorHwVariant");
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwIdMajor"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwIdMinor"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwCodeMcb"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwCodeNab"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwCodeTraf"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwCodeDsp"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwCodeSupp"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwCodeRab"));
    Append(expected, NumberCalls("HDBCommonBoard/HardwareCodes/HwCodeAux"));
    expected.emplace_back("CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(calls, expected);
}

TEST_F(BoardProvider, RetrieveDoesTheSameForEveryLocationAndChannel) {
    AddBoardVariables(database_);
    for (const unsigned long number : {0UL, 1UL, 7UL, 1000UL, ~0UL}) {
        Disturb(database_);

        EXPECT_EQ(provider_->RetrieveAll(number, database_.Handle(), number), QBF_OK);

        ExpectAllRestoredBut(database_, kBoardRows.size());
    }
}

TEST_F(BoardProvider, RetrieveNeedsNoInitializeAndCanBeRepeated) {
    AddBoardVariables(database_);
    EXPECT_EQ(Retrieve(), QBF_OK);
    board_.channels = 3;
    board_.record.words[15] = 0xFFFFFFFF;

    EXPECT_EQ(members_.retrieveAll(0, database_.Handle(), 0), QBF_OK);

    EXPECT_EQ(database_.At("HDBCommonBoard/Capabilities.CB.Channel1/NumberOfChannels").Get<std::uint32_t>(), 3U);
    EXPECT_EQ(database_.At("HDBCommonBoard/HardwareCodes/HwCodeAux").Get<std::uint32_t>(), 0xFFFFFFFF);
}

TEST_F(BoardProvider, RetrieveReadsTheBoardAndNeverWritesIt) {
    AddBoardVariables(database_);
    const BspHwRecord before = board_.record;

    EXPECT_EQ(Retrieve(), QBF_OK);

    EXPECT_TRUE(std::equal(std::begin(before.words), std::end(before.words), std::begin(board_.record.words)));
}

TEST_F(BoardProvider, RetrieveLooksVariablesUpThatWereAddedSinceTheLastTime) {
    EXPECT_EQ(Retrieve(), QBF_OK);
    AddBoardVariables(database_);

    EXPECT_EQ(Retrieve(), QBF_OK);

    ExpectAllRestoredBut(database_, kBoardRows.size());
}

// The hardware id.

class BoardHwVariant : public BoardProvider {
protected:
    BoardHwVariant() { AddBoardVariables(database_); }

    std::uint32_t HwIdMinorFor(std::uint32_t hwVariant) {
        board_.record.words[0] = hwVariant;
        EXPECT_EQ(Retrieve(), QBF_OK);
        ExpectAllRestoredBut(database_, kHwIdMinorRow);
        Variable& hwIdMinor = database_.At("HDBCommonBoard/HardwareCodes/HwIdMinor");
        EXPECT_TRUE(hwIdMinor.Retrieved());
        return hwIdMinor.Get<std::uint32_t>();
    }
};

TEST_F(BoardHwVariant, From0To255IsTwoUpperCaseHexadecimalDigits) {
    for (unsigned int hwVariant = 0; hwVariant <= 255; ++hwVariant) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02X", hwVariant);

        EXPECT_EQ(HwIdMinorFor(hwVariant), static_cast<std::uint32_t>(digits[0] * 256 + digits[1])) << digits;
    }
    EXPECT_THAT(traces_.Lines(), IsEmpty());
}

TEST_F(BoardHwVariant, PutsTheFirstDigitInTheHighByte) {
    EXPECT_EQ(HwIdMinorFor(0x1A), 0x3141U);
    EXPECT_EQ(HwIdMinorFor(7), 0x3037U);
    EXPECT_EQ(HwIdMinorFor(0x05), 0x3035U);
    EXPECT_EQ(HwIdMinorFor(0xFF), 0x4646U);
}

TEST_F(BoardHwVariant, Above255IsTracedAndZeroIsSet) {
    EXPECT_EQ(HwIdMinorFor(0x100), 0U);
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 convertHwVariantToHwId:     hwVariant is out of bounds: 0x100"));
}

TEST_F(BoardHwVariant, IsComparedUnsigned) {
    for (const std::uint32_t hwVariant : {0x101U, 0xABCDEU, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(HwIdMinorFor(hwVariant), 0U);
    }
    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x8002 convertHwVariantToHwId:     hwVariant is out of bounds: 0x101",
                            "0x8002 convertHwVariantToHwId:     hwVariant is out of bounds: 0xabcde",
                            "0x8002 convertHwVariantToHwId:     hwVariant is out of bounds: 0x7fffffff",
                            "0x8002 convertHwVariantToHwId:     hwVariant is out of bounds: 0x80000000",
                            "0x8002 convertHwVariantToHwId:     hwVariant is out of bounds: 0xffffffff"));
}

// One variable that is not as it should be.

class BoardRow : public BoardProvider, public testing::WithParamInterface<std::size_t> {
protected:
    const std::size_t index_ = GetParam();
    const BoardVariable& row_ = kBoardRows[index_];
    const std::string path_ = row_.Path();
    const std::string rowTrace_ = std::string("0x8000 retrieveAll: ") + row_.failure;
};

TEST_P(BoardRow, ThatIsNotRegisteredIsTracedAndTheRetrieveSucceeds) {
    AddBoardVariables(database_, index_, Registered::NotAtAll);
    Disturb(database_);

    EXPECT_EQ(Retrieve(), QBF_OK);

    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x8002 updateVariable:     Variable " + path_ + " not registered in database", rowTrace_));
    ExpectAllRestoredBut(database_, index_);
    EXPECT_TRUE(database_.At("HDBCommonBoard/HardwareCodes/Unknown").HoldsDefault());
}

TEST_P(BoardRow, ThatIsRegisteredWithTheOtherTypeKeepsItsDefault) {
    AddBoardVariables(database_, index_, Registered::WithTheOtherType);
    Disturb(database_);

    EXPECT_EQ(Retrieve(), QBF_OK);

    EXPECT_THAT(traces_.Lines(),
                ElementsAre(row_.text != nullptr ? "0x8002 updateVariable: Unsupported variable type: 4"
                                                 : "0x8002 updateVariable: Unsupported variable type: 16",
                            rowTrace_));
    ExpectDefaulted(database_, row_);
    ExpectAllRestoredBut(database_, index_);
}

TEST_P(BoardRow, WhoseContentCannotBeReachedKeepsItsDefault) {
    AddBoardVariables(database_);
    Disturb(database_);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", static_cast<int>(index_) + 1, QBF_E_NO_NAME);

    EXPECT_EQ(Retrieve(), QBF_OK);

    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x800b updateVariable:     Something went wrong for variable " + path_, rowTrace_));
    ExpectDefaulted(database_, row_);
    ExpectAllRestoredBut(database_, index_);
}

TEST_P(BoardRow, WhoseContentIsNowhereAlthoughTheHostSucceedsKeepsItsDefault) {
    AddBoardVariables(database_);
    Disturb(database_);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", static_cast<int>(index_) + 1, QBF_OK);

    EXPECT_EQ(Retrieve(), QBF_OK);

    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x800b updateVariable:     Something went wrong for variable " + path_, rowTrace_));
    ExpectDefaulted(database_, row_);
    ExpectAllRestoredBut(database_, index_);
}

TEST_P(BoardRow, ThatCannotBeMarkedIsSetAllTheSame) {
    AddBoardVariables(database_);
    HostCalls host;
    host.Override("CVariable_SetRetrieved", static_cast<int>(index_) + 1, QBF_E_FAILED);

    EXPECT_EQ(Retrieve(), QBF_OK);

    EXPECT_TRUE(host.Fired());
    EXPECT_THAT(traces_.Lines(), IsEmpty());
    ExpectAllRestoredBut(database_, kBoardRows.size());
}

INSTANTIATE_TEST_SUITE_P(Fourteen, BoardRow, testing::Range(std::size_t{0}, kBoardRows.size()),
                         [](const auto& tested) { return kBoardRows[tested.param].name; });

TEST_F(BoardProvider, RetrieveSucceedsWithAnEmptyDatabase) {
    EXPECT_EQ(Retrieve(), QBF_OK);

    std::vector<std::string> expected;
    expected.reserve(2 * kBoardRows.size());
    for (const BoardVariable& row : kBoardRows) {
        expected.push_back("0x8002 updateVariable:     Variable " + row.Path() + " not registered in database");
        expected.push_back(std::string("0x8000 retrieveAll: ") + row.failure);
    }
    EXPECT_EQ(traces_.Lines(), expected);
}

/// The board changes while a retrieve runs: right after the row that the test leaves out.
class BoardWord : public BoardRow {};

TEST_P(BoardWord, IsReadWhenItsRowIsDue) {
    AddBoardVariables(database_, index_, Registered::NotAtAll);
    traces_.MapLevelsBy([this](QBFResult code) {
        if (code == QBF_E_FAILED) {
            board_.record = {{0x1A, 1, 2, 3, 4, 5, 6, 7, 8, 0xC09, 0xC10, 0xC11, 0xC12, 0xC13, 0xC14, 0xC15}};
        }
        return 0;
    });

    EXPECT_EQ(Retrieve(), QBF_OK);

    const std::uint32_t later[] = {0x3441, 0x3141, 0xC09, 0xC10, 0xC11, 0xC13, 0xC14, 0xC12, 0xC15};
    for (std::size_t i = kHwIdMajorRow; i < kBoardRows.size(); ++i) {
        if (i != index_) {
            EXPECT_EQ(database_.At(kBoardRows[i].Path()).Get<std::uint32_t>(),
                      i < index_ ? kBoardRows[i].number : later[i - kHwIdMajorRow])
                << kBoardRows[i].name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(FromHwIdMajor, BoardWord, testing::Range(kHwIdMajorRow, kBoardRows.size()),
                         [](const auto& tested) { return "After" + std::string(kBoardRows[tested.param].name); });

// The host fails.

TEST_F(BoardProvider, RetrieveEndsWhenTheHashTableCannotBeUpdated) {
    AddBoardVariables(database_);
    Disturb(database_);
    HostCalls host;
    host.Fail("CDatabase_UpdatePathHashTable", 1, QBF_E_NO_NAME);

    EXPECT_EQ(Retrieve(), QBF_E_FAILED);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8000 retrieveAll: Error when updating hash table in CDatabase"));
    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable"));
    EXPECT_THAT(board_.Calls(), IsEmpty());
}

TEST_F(BoardProvider, RetrieveEndsWhenTheDatabaseCannotBeMarked) {
    AddBoardVariables(database_);
    Disturb(database_);
    HostCalls host;
    host.Fail("CDatabase_SetAsNotRetrieved", 1, QBF_E_NO_NAME);

    EXPECT_EQ(Retrieve(), QBF_E_FAILED);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8000 retrieveAll: Error when setting Database as not retrieved"));
    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved"));
    EXPECT_THAT(board_.Calls(), IsEmpty());
}

TEST_F(BoardProvider, RetrieveFailsWhenTheRestCannotBeDefaulted) {
    AddBoardVariables(database_);
    Disturb(database_);
    HostCalls host;
    host.Fail("CDatabase_SetNotRetrievedVariablesToDefault", 1, QBF_E_NO_NAME);

    EXPECT_EQ(Retrieve(), QBF_E_FAILED);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8000 retrieveAll: Error when setting missing variables to default"));
    ExpectAllRestoredBut(database_, kBoardRows.size());
}

TEST_F(BoardProvider, RetrieveSurvivesTheFailureOfAnyHostCall) {
    AddBoardVariables(database_);
    const int faults = SweepFaults([this](int nth) {
        Disturb(database_);
        HostCalls host;
        host.Fail(nth, 0x8003);
        const QBFResult result = Retrieve();
        if (!host.Fired()) {
            return false;
        }
        const bool isFatal =
            host.FunctionName().rfind("CDatabase_", 0) == 0 && host.FunctionName() != "CDatabase_GetVariableByPath";
        EXPECT_EQ(result, isFatal ? QBF_E_FAILED : QBF_OK) << host.FiredAt();
        EXPECT_TRUE(database_.GuardsIntact()) << host.FiredAt();
        return true;
    });
    EXPECT_EQ(faults, 3 + 14 * 3) << "look-up, address and mark of each variable";

    EXPECT_EQ(Retrieve(), QBF_OK);
    ExpectAllRestoredBut(database_, kBoardRows.size());
}

TEST_F(BoardProvider, NoticesAndWarningsOfTheHostAreSuccesses) {
    AddBoardVariables(database_);
    for (const QBFResult code : {QBFResult{QBF_N_NOTICE}, QBFResult{QBF_W_END_OF_LIST}, QBFResult{0x7FFF}}) {
        Disturb(database_);
        HostCalls host;
        for (const char* function :
             {"CDatabase_UpdatePathHashTable", "CDatabase_SetAsNotRetrieved", "CDatabase_GetVariableByPath",
              "CVariable_GetContentAddress", "CDatabase_SetNotRetrievedVariablesToDefault"}) {
            host.OverrideAll(function, code);
        }

        EXPECT_EQ(Retrieve(), QBF_OK) << code;

        EXPECT_TRUE(host.Fired());
        ExpectAllRestoredBut(database_, kBoardRows.size());
    }
    EXPECT_THAT(traces_.Lines(), IsEmpty());
}

TEST_F(BoardProvider, RetrieveHandsANullDatabaseToTheHost) {
    HostCalls host;

    EXPECT_EQ(provider_->RetrieveAll(3, nullptr, 0), QBF_E_FAILED);

    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_UpdatePathHashTable"));
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8000 retrieveAll: Error when updating hash table in CDatabase"));
}

TEST_F(BoardProvider, OnlyTheSetterOfNumbersGuardsAgainstANullDatabase) {
    HostCalls host;
    host.FailAll("CDatabase_UpdatePathHashTable", QBF_OK);
    host.FailAll("CDatabase_SetAsNotRetrieved", QBF_OK);
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault", QBF_OK);

    EXPECT_EQ(provider_->RetrieveAll(3, nullptr, 0), QBF_OK);

    std::vector<std::string> expected;
    expected.reserve(2 * kBoardRows.size());
    for (const BoardVariable& row : kBoardRows) {
        expected.push_back(row.text != nullptr
                               ? "0x8002 updateVariable:     Variable " + row.Path() + " not registered in database"
                               : "0x8002 updateVariable:     database is a nullptr");
        expected.push_back(std::string("0x8000 retrieveAll: ") + row.failure);
    }
    EXPECT_EQ(traces_.Lines(), expected);
    EXPECT_EQ(host.Count("CDatabase_GetVariableByPath"), 4);
}

// Memory runs out.

/// Promise 19
TEST_F(BoardProvider, RetrieveTakesNoMemory) {
    AddBoardVariables(database_);
    const AllocationFaults memory;

    EXPECT_EQ(Retrieve(), QBF_OK);

    EXPECT_EQ(memory.Allocations(), 0);
}

// The setters.

class BoardSetter : public BoardProvider {
protected:
    static constexpr const char* kPath = "R/O/V";

    BoardSetter() : object_(database_.AddRegion("R").AddObject("O")) {}

    QBFResult Set(unsigned int value) { return members_.updateVariable(Prepared(), kPath, value); }
    QBFResult Set(const char* value) { return members_.updateVariable(Prepared(), kPath, value); }
    QBFResult Set(const std::string& value) { return members_.updateVariable(Prepared(), kPath, value); }

    CDatabase* Prepared() {
        database_.UpdatePathTable();
        return database_.Handle();
    }

    Variable& Target() { return database_.At(kPath); }

    Object& object_;
};

TEST_F(BoardSetter, OfANumberStoresOneWordAndMarksIt) {
    object_.U32("V", 1);

    EXPECT_EQ(Set(0x89ABCDEFU), QBF_OK);

    EXPECT_EQ(Target().Get<std::uint32_t>(), 0x89ABCDEFU);
    EXPECT_TRUE(Target().Retrieved());
    EXPECT_THAT(traces_.Lines(), IsEmpty());
}

TEST_F(BoardSetter, OfANumberRefusesANullDatabase) {
    HostCalls host;

    EXPECT_EQ(members_.updateVariable(nullptr, kPath, 1U), QBF_E_INVALID_ARGUMENT);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 updateVariable:     database is a nullptr"));
    EXPECT_THAT(host.Calls(), IsEmpty());
}

TEST_F(BoardSetter, OfATextHandsANullDatabaseToTheHost) {
    HostCalls host;

    EXPECT_EQ(members_.updateVariable(nullptr, kPath, "text"), QBF_E_INVALID_ARGUMENT);

    EXPECT_THAT(host.Calls(), ElementsAre("CDatabase_GetVariableByPath R/O/V"));
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 updateVariable:     Variable R/O/V not registered in database"));
}

/// Surprise: A variable that is missing, or has another type than expected, does not fail the retrieve
TEST_F(BoardSetter, DropsTheHostsCodeWhenThePathIsNotRegistered) {
    for (const QBFResult code : {QBFResult{0x8000}, QBFResult{QBF_E_NOT_FOUND}, QBFResult{0x7FFFFFFF}}) {
        HostCalls host;
        host.FailAll("CDatabase_GetVariableByPath", code);
        traces_.Clear();

        EXPECT_EQ(Set(1U), QBF_E_INVALID_ARGUMENT);
        EXPECT_EQ(Set("text"), QBF_E_INVALID_ARGUMENT);

        EXPECT_THAT(traces_.Lines(),
                    ElementsAre("0x8002 updateVariable:     Variable R/O/V not registered in database",
                                "0x8002 updateVariable:     Variable R/O/V not registered in database"));
        EXPECT_EQ(host.Count("CVariable_GetType"), 0);
    }
}

TEST_F(BoardSetter, AcceptsTheOneTypeOfItsValue) {
    object_.Raw("V", VARIABLE_TYPE_U32, 4, {1, 2, 3, 4});
    for (QBFResult type = 0; type <= 24; ++type) {
        HostCalls host;
        host.FailAll("CVariable_GetType", type);

        EXPECT_EQ(Set(7U), type == 4 ? QBF_OK : QBF_E_INVALID_ARGUMENT) << type;
        EXPECT_EQ(Set("abc"), type == 16 ? QBF_OK : QBF_E_INVALID_ARGUMENT) << type;
    }
}

TEST_F(BoardSetter, TracesARefusedTypeAsASignedNumber) {
    object_.U32("V");
    HostCalls host;
    host.Fail("CVariable_GetType", 1, 23);
    host.Fail("CVariable_GetType", 2, 0x7FFFFFFF);
    host.Fail("CVariable_GetType", 3, 0xFFFFFFFF);

    EXPECT_EQ(Set(1U), QBF_E_INVALID_ARGUMENT);
    EXPECT_EQ(Set(1U), QBF_E_INVALID_ARGUMENT);
    EXPECT_EQ(Set("text"), QBF_E_INVALID_ARGUMENT);

    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 updateVariable: Unsupported variable type: 23",
                                             "0x8002 updateVariable: Unsupported variable type: 2147483647",
                                             "0x8002 updateVariable: Unsupported variable type: -1"));
    EXPECT_EQ(host.Count("CVariable_GetContentAddress"), 0);
}

TEST_F(BoardSetter, OfAStringIsTheSetterOfItsCharacters) {
    object_.String("V", 16);
    HostCalls host;

    EXPECT_EQ(Set(std::string("two\0halves", 10)), QBF_OK);

    EXPECT_EQ(Target().Text(), "two");
    EXPECT_EQ(host.Calls(), TextCalls(kPath));
}

TEST_F(BoardSetter, ReachesAVariableByAPathOfAnyLength) {
    const std::string name(3000, 'n');
    object_.U32(name);

    EXPECT_EQ(members_.updateVariable(Prepared(), "R/O/" + name, 5U), QBF_OK);

    EXPECT_EQ(database_.At("R/O/" + name).Get<std::uint32_t>(), 5U);
}

/// The bytes of a text variable in which a text was put over 0xFF everywhere.
class BoardText : public BoardSetter {
protected:
    std::string BytesAfter(std::uint32_t capacity, const char* value) {
        object_.Raw("V", VARIABLE_TYPE_STRING, capacity, std::vector<std::uint8_t>(capacity, 0xFF));
        EXPECT_EQ(Set(value), QBF_OK);
        EXPECT_TRUE(Target().Retrieved());
        EXPECT_THAT(traces_.Lines(), IsEmpty());
        const std::vector<std::uint8_t> bytes = Target().Bytes();
        return {bytes.begin(), bytes.end()};
    }
};

std::string WithZeros(std::string text, std::size_t size) {
    text.resize(size);
    return text;
}

TEST_F(BoardText, WithRoomForTheTerminatorAloneIsEmpty) {
    EXPECT_EQ(BytesAfter(1, "mii"), WithZeros("", 1));
}

TEST_F(BoardText, WithRoomForFourHoldsThreeCharacters) {
    EXPECT_EQ(BytesAfter(4, "BcmMessageReadyValue"), WithZeros("Bcm", 4));
}

TEST_F(BoardText, ThatFitsExactlyIsWhole) {
    EXPECT_EQ(BytesAfter(4, "mii"), WithZeros("mii", 4));
}

TEST_F(BoardText, ThatIsOneCharacterTooLongLosesIt) {
    EXPECT_EQ(BytesAfter(20, "BcmMessageReadyValue"), WithZeros("BcmMessageReadyValu", 20));
}

TEST_F(BoardText, IsFollowedByZerosUpToTheCapacity) {
    EXPECT_EQ(BytesAfter(16, "mii"), WithZeros("mii", 16));
}

TEST_F(BoardText, IsFollowedByZerosInALargeVariable) {
    EXPECT_EQ(BytesAfter(5000, "127.0.0.1"), WithZeros("127.0.0.1", 5000));
}

TEST_F(BoardText, ThatIsEmptyClearsTheVariable) {
    EXPECT_EQ(BytesAfter(16, ""), WithZeros("", 16));
}

TEST_F(BoardText, WithoutRoomIsNotCopiedAndCountsAsRestored) {
    EXPECT_EQ(BytesAfter(0, "mii"), "");
    EXPECT_TRUE(database_.GuardsIntact());
}

TEST_F(BoardText, WithoutRoomNeedsNoAddress) {
    object_.String("V", 0);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_OK);

    EXPECT_EQ(Set("mii"), QBF_OK);

    EXPECT_TRUE(Target().Retrieved());
}

TEST_F(BoardText, WithoutRoomStillFailsWithItsAddress) {
    object_.String("V", 0);
    HostCalls host;
    host.Fail("CVariable_GetContentAddress", 1, QBF_E_FAILED);

    EXPECT_EQ(Set("mii"), QBF_E_BAD_TYPE);

    EXPECT_FALSE(Target().Retrieved());
}

TEST_F(BoardProvider, RetrieveCutsEveryTextToItsCapacity) {
    for (const std::uint32_t capacity : {0U, 1U, 2U, 4U, 5U, 10U, 16U, 20U, 21U, 22U, 255U}) {
        Database database;
        Object& object = database.AddRegion(kBoardRegion).AddObject("BroadcomConfiguration");
        const std::vector<std::uint8_t> before(capacity, 0xFF);
        for (const char* name : {"BcmMedia", "BcmAccessName", "BcmResetAccessName", "BcmMessageReady"}) {
            object.Raw(name, VARIABLE_TYPE_STRING, capacity, before);
        }

        EXPECT_EQ(provider_->RetrieveAll(3, database.Handle(), 0), QBF_OK);

        for (const BoardVariable& row : kBoardRows) {
            if (row.text != nullptr) {
                Variable& variable = database.At(row.Path());
                const std::vector<std::uint8_t> bytes = variable.Bytes();
                const std::string kept = std::string(row.text).substr(0, capacity == 0 ? 0 : capacity - 1);
                EXPECT_EQ(std::string(bytes.begin(), bytes.end()), WithZeros(kept, capacity))
                    << row.name << ", capacity " << capacity;
                EXPECT_TRUE(variable.Retrieved()) << row.name << ", capacity " << capacity;
            }
        }
        EXPECT_TRUE(database.GuardsIntact()) << "capacity " << capacity;
    }
}

// Tracing.

TEST_F(BoardProvider, ResultsAreTheSameWithoutTracing) {
    traces_.SetThreshold(-1);

    EXPECT_EQ(Retrieve(), QBF_OK);
    EXPECT_EQ(provider_->StoreAll(3, nullptr, 0), QBF_OK);
    EXPECT_EQ(members_.updateVariable(nullptr, "path", 1U), QBF_E_INVALID_ARGUMENT);

    EXPECT_THAT(traces_.Lines(), IsEmpty());
    EXPECT_GT(traces_.MappingCalls(), 0) << "there was something to leave out";
}

TEST_F(BoardProvider, EveryTraceCallNamesItsSourceAndItsLine) {
    HostCalls host;
    host.FailAll("CDatabase_SetNotRetrievedVariablesToDefault");
    EXPECT_EQ(Retrieve(), QBF_E_FAILED);
    EXPECT_EQ(provider_->ReserveWritableSpace(3, 0), QBF_OK);
    EXPECT_EQ(provider_->StoreAll(3, nullptr, 0), QBF_OK);
    EXPECT_EQ(provider_->StoreAllWritable(3, nullptr, 0), QBF_OK);

    for (const TraceRecord& record : traces_.Records()) {
        EXPECT_EQ(record.sourcePath, "src/Device/DeviceSupport/private/ReadOnlyZorBspStorageProvider");
        EXPECT_GT(record.line, 0U);
    }
    EXPECT_FALSE(traces_.Records().empty());
}

}  // namespace
