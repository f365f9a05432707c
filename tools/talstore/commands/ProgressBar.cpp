#include "commands/ProgressBar.h"

#include <cmath>

namespace tal::talstore {

namespace {

constexpr char kLineAway[] = "\r\x1B[K";

std::string Rounded(double number) {
    return std::to_string(std::llround(number));
}

std::string BarText(double share) {
    constexpr std::size_t kBarWidth = 20;
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(kBarWidth));
    return '[' + std::string(filled, '=') + (filled < kBarWidth ? ">" : "") +
           std::string(kBarWidth - filled - (filled < kBarWidth ? 1 : 0), ' ') + ']';
}

}  // namespace

std::string ProgressText(std::uint64_t done, std::optional<std::uint64_t> total,
                         std::chrono::duration<double> elapsed) {
    const double rate = elapsed.count() > 0 ? static_cast<double>(done) / elapsed.count() : 0;
    const std::string rateText = ", " + Rounded(rate) + " per second";
    if (!total || *total == 0) {
        return std::to_string(done) + " done" + rateText;
    }
    const std::string left = rate > 0 ? ", " + Rounded(static_cast<double>(*total - done) / rate) + " s left" : "";
    return BarText(static_cast<double>(done) / static_cast<double>(*total)) + ' ' + std::to_string(done) + " of " +
           std::to_string(*total) + rateText + left;
}

ProgressBar::~ProgressBar() {
    if (terminal_ != nullptr) {
        *terminal_ << kLineAway << std::flush;
    }
}

void ProgressBar::TakeAway() {
    if (isThere_) {
        *terminal_ << kLineAway << std::flush;
        isThere_ = false;
    }
}

void ProgressBar::Show(std::uint64_t done, std::optional<std::uint64_t> total) {
    constexpr std::chrono::milliseconds kLeastPause{200};
    const Clock::time_point now = Clock::now();
    if (terminal_ != nullptr && now - shown_ >= kLeastPause) {
        *terminal_ << kLineAway << ProgressText(done, total, now - begin_) << std::flush;
        shown_ = now;
        isThere_ = true;
    }
}

}  // namespace tal::talstore
