/// The fourteen variables that the board-support provider fills, and the board that the tests play.
#ifndef TAL_TEST_BOARD_VARIABLES_H
#define TAL_TEST_BOARD_VARIABLES_H

#include <array>
#include <cstdint>
#include <string>

#include "host/ReferenceHost.h"
#include "support/PlayedBoard.h"

namespace tal::test {

constexpr const char* kBoardRegion = "HDBCommonBoard";
constexpr std::uint32_t kBoardNumberDefault = 0xD0D0D0D0;
constexpr const char* kBoardTextDefault = "default text";
constexpr std::uint32_t kBoardTextCapacity = 32;

/// What a retrieve does with one variable on that board.
struct BoardVariable {
    const char* object;
    const char* name;
    const char* text;  ///< Null for the U32 variables.
    std::uint32_t number;
    const char* failure;

    [[nodiscard]] std::string Path() const { return std::string(kBoardRegion) + '/' + object + '/' + name; }
};

constexpr std::array<BoardVariable, 14> kBoardRows = {{
    {"Capabilities.CB.Channel1", "NumberOfChannels", nullptr, 2, "Error when setting numberOfChannels"},
    {"BroadcomConfiguration", "BcmMedia", "mii", 0, "Error when setting bcmMedia"},
    {"BroadcomConfiguration", "BcmAccessName", "127.0.0.1", 0, "Error when setting bcmAccessName"},
    {"BroadcomConfiguration", "BcmResetAccessName", "5001", 0, "Error when setting bcmResetAccessName"},
    {"BroadcomConfiguration", "BcmMessageReady", "BcmMessageReadyValue", 0, "Error when setting bcmMessageReady"},
    {"HardwareCodes", "HwIdMajor", nullptr, 0x3441, "Error when setting hwIdMajor"},
    {"HardwareCodes", "HwIdMinor", nullptr, 0x3035, "Error when setting hwIdMinor"},
    {"HardwareCodes", "HwCodeMcb", nullptr, 0xB09, "Error when setting hwCodeMcb"},
    {"HardwareCodes", "HwCodeNab", nullptr, 0xB10, "Error when setting hwCodeNab"},
    {"HardwareCodes", "HwCodeTraf", nullptr, 0xB11, "Error when setting hwCodeTraf"},
    {"HardwareCodes", "HwCodeDsp", nullptr, 0xB13, "Error when setting hwCodeDsp"},
    {"HardwareCodes", "HwCodeSupp", nullptr, 0xB14, "Error when setting hwCodeSupp"},
    {"HardwareCodes", "HwCodeRab", nullptr, 0xB12, "Error when setting hwCodeRab"},
    {"HardwareCodes", "HwCodeAux", nullptr, 0xB15, "Error when setting hwCodeAux"},
}};

/// Two channels, the variant 5 and the codes 0xB09 to 0xB15.
inline void PlayTestBoard(PlayedBoard& board) {
    board.channels = 2;
    board.record = {{0x05, 0xFF01, 0xFF02, 0xFF03, 0xFF04, 0xFF05, 0xFF06, 0xFF07, 0xFF08, 0xB09, 0xB10, 0xB11, 0xB12,
                     0xB13, 0xB14, 0xB15}};
}

/// How one of the variables stands in the database.
enum class Registered { Rightly, WithTheOtherType, NotAtAll };

inline void AddBoardVariable(host::Object& object, const BoardVariable& row, Registered how) {
    if (how == Registered::NotAtAll) {
        return;
    }
    const bool asText = (row.text != nullptr) == (how == Registered::Rightly);
    if (asText) {
        object.String(row.name, kBoardTextCapacity, kBoardTextDefault);
    } else {
        object.U32(row.name, kBoardNumberDefault);
    }
}

/// Adds the fourteen variables, `odd` of which is registered in its own way, and one that no board knows of.
inline void AddBoardVariables(host::Database& database, std::size_t odd = kBoardRows.size(),
                              Registered how = Registered::Rightly) {
    host::Region& region = database.AddRegion(kBoardRegion);
    host::Object* object = nullptr;
    for (std::size_t i = 0; i < kBoardRows.size(); ++i) {
        if (object == nullptr || object->Name() != kBoardRows[i].object) {
            object = &region.AddObject(kBoardRows[i].object);
        }
        AddBoardVariable(*object, kBoardRows[i], i == odd ? how : Registered::Rightly);
    }
    object->U32("Unknown", kBoardNumberDefault);
}

}  // namespace tal::test

#endif
