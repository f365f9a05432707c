/// Answers the board-support library's questions in its place.
#ifndef TAL_TEST_PLAYED_BOARD_H
#define TAL_TEST_PLAYED_BOARD_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/corebsp/corebsp.h"

namespace tal::test {

/// A board that is asked while this lives; without one the board-support library answers. At most one at a time.
///
///     PlayedBoard board;
///     board.channels = 2;
///     board.record.words[0] = 0x05;
///     provider->RetrieveAll(0, database, 0);
///
/// Record and channels may be changed at any time, also from inside a call of the library.
class PlayedBoard {
public:
    PlayedBoard();
    ~PlayedBoard();
    PlayedBoard(const PlayedBoard&) = delete;
    PlayedBoard& operator=(const PlayedBoard&) = delete;

    std::uint32_t channels = 0;
    BspHwRecord record = {};

    /// Called with the function's name before each answer.
    std::function<void(const std::string&)> onCall;

    /// The functions that were called, in order.
    [[nodiscard]] const std::vector<std::string>& Calls() const { return calls_; }

private:
    friend class BoardInterposer;

    std::vector<std::string> calls_;
};

}  // namespace tal::test

#endif
