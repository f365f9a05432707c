/// @file
/// How far a long run has come, in one line of a terminal.
#ifndef TALSTORE_PROGRESS_BAR_H
#define TALSTORE_PROGRESS_BAR_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

namespace tal::talstore {

/// "[=====>              ] 2500 of 10000, 2100 per second, 3 s left"; without a total "2500 done, 2100 per second"
[[nodiscard]] std::string ProgressText(std::uint64_t done, std::optional<std::uint64_t> total,
                                       std::chrono::duration<double> elapsed);

class ProgressBar {
public:
    /// @param terminal  Null for none: nothing is shown then.
    explicit ProgressBar(std::ostream* terminal) : terminal_(terminal) {}
    /// Takes the line away.
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// Draws the line anew, several times a second at most.
    void Show(std::uint64_t done, std::optional<std::uint64_t> total);

    /// Makes room for a line of something else.
    void TakeAway();

private:
    using Clock = std::chrono::steady_clock;

    std::ostream* terminal_;
    Clock::time_point begin_ = Clock::now();
    Clock::time_point shown_ = begin_;
    bool isThere_ = false;
};

}  // namespace tal::talstore

#endif
