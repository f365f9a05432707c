/// The scene of the board-support provider.

#include <cstdint>
#include <iostream>
#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "Device/DeviceSupport/HwNames.h"
#include "corebsp/corebsp.h"
#include "demo/Demo.h"
#include "demo/Show.h"

namespace tal::demo {

namespace {

constexpr std::uint32_t kChannels = 2;
constexpr std::uint32_t kHwVariant = 5;

/// The fourteen variables of a board, but for HwCodeAux, which is missing, and BcmMedia, which should be a string.
void AddBoardVariables(host::Database& database) {
    host::Region& board = database.AddRegion("HDBCommonBoard");
    board.AddObject("Capabilities.CB.Channel1").U32("NumberOfChannels", 1);
    board.AddObject("BroadcomConfiguration")
        .U32("BcmMedia", 0)
        .String("BcmAccessName", 32, "unknown")
        .String("BcmResetAccessName", 32, "unknown")
        .String("BcmMessageReady", 32, "unknown");
    board.AddObject("HardwareCodes")
        .U32("HwIdMajor")
        .U32("HwIdMinor")
        .U32("HwCodeMcb")
        .U32("HwCodeNab")
        .U32("HwCodeTraf")
        .U32("HwCodeDsp")
        .U32("HwCodeSupp")
        .U32("HwCodeRab");
}

void PlayBoard() {
    BspHwRecord record = {};
    for (std::uint32_t word = 0; word < BSP_HW_RECORD_WORDS; ++word) {
        record.words[word] = word * 100;
    }
    record.words[0] = kHwVariant;
    CoreBsp_setBoard(kChannels, &record);
}

void ShowFoundBoard() {
    const std::uint32_t variant = Bsp_getZorHwVariant()->words[0];
    const char* const name = HwNameFromValue(HW_NAMES_HW_VARIANT, static_cast<std::int32_t>(variant));
    std::cout << "  board: " << Bsp_getNumberOfChannels() << " channels, hardware variant " << variant << " ("
              << (name != nullptr ? name : "no name") << ")\n";
}

}  // namespace

bool ShowBoard() {
    ShowHeading("Board support: a played board, HwCodeAux missing in the database, BcmMedia of the wrong type");
    PlayBoard();
    ShowFoundBoard();
    host::Database database;
    AddBoardVariables(database);
    IStorageProvider* provider = nullptr;
    ReadOnlyZorBspStorageProvider_getInterface(&provider);
    provider->Initialize(0);

    const QBFResult result = provider->RetrieveAll(0, database.Handle(), 0);

    ShowVariables(database, 14, HoldsValue);
    bool isFine =
        Expect(!QBF_IsFailure(result), "the retrieve succeeds for all that, as best it can: " + ResultText(result));
    isFine &= Expect(Count(database, [](const host::Variable& variable) { return variable.Retrieved(); }) == 12,
                     "12 of the 14 variables are restored");
    isFine &= Expect(!database.At("HDBCommonBoard/BroadcomConfiguration/BcmMedia").Retrieved(),
                     "the variable of the wrong type has its default");
    isFine &= Expect(database.At("HDBCommonBoard/HardwareCodes/HwIdMinor").Get<std::uint32_t>() == 0x3035,
                     "HwIdMinor is the variant in two characters, \"05\"");
    return isFine;
}

}  // namespace tal::demo
