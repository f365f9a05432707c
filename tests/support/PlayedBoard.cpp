#include "support/PlayedBoard.h"

#include <gtest/gtest.h>

#include "support/CallWatch.h"

namespace tal::test {

namespace {

PlayedBoard* activeBoard = nullptr;

}  // namespace

PlayedBoard::PlayedBoard() {
    EXPECT_EQ(activeBoard, nullptr) << "one board at a time";
    activeBoard = this;
}

PlayedBoard::~PlayedBoard() {
    activeBoard = nullptr;
}

class BoardInterposer {
public:
    /// @return the board to ask, or null for the board-support library.
    static PlayedBoard* Asked(const char* function) {
        if (activeBoard != nullptr) {
            activeBoard->calls_.emplace_back(function);
            if (activeBoard->onCall) {
                activeBoard->onCall(function);
            }
        }
        return activeBoard;
    }
};

}  // namespace tal::test

using tal::test::BoardInterposer;
using tal::test::PlayedBoard;
using tal::test::Real;

extern "C" {

uint32_t Bsp_getNumberOfChannels() {
    static auto* const real = Real<decltype(Bsp_getNumberOfChannels)>("Bsp_getNumberOfChannels");
    const PlayedBoard* const board = BoardInterposer::Asked("Bsp_getNumberOfChannels");
    return board != nullptr ? board->channels : real();
}

const BspHwRecord* Bsp_getZorHwVariant() {
    static auto* const real = Real<decltype(Bsp_getZorHwVariant)>("Bsp_getZorHwVariant");
    const PlayedBoard* const board = BoardInterposer::Asked("Bsp_getZorHwVariant");
    return board != nullptr ? &board->record : real();
}
}
