#include "commands/ShownDifferences.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "common/Text.h"

namespace tal::talstore {

using tools::CharacterCount;

namespace {

constexpr std::size_t kColumns = 4;

using Widths = std::array<std::size_t, kColumns>;

Widths WidthsOf(const ShownDifference& difference) {
    return {CharacterCount(difference.kind.text), CharacterCount(difference.path), CharacterCount(difference.first),
            CharacterCount(difference.second)};
}

std::size_t TotalOf(const Widths& widths) {
    return std::accumulate(widths.begin(), widths.end(), (kColumns - 1) * kColumnGap);
}

/// The text from a little before its `place` on, so that what differs can be seen.
std::string From(const std::string& text, std::size_t place, std::size_t width) {
    constexpr std::size_t kShownBefore = 12;
    if (CharacterCount(text) <= width || place <= kShownBefore) {
        return CutTo(text, width);
    }
    std::size_t start = std::min(place - kShownBefore, text.size() - std::min(text.size(), width - 1));
    const auto isInsideCharacter = [&] {
        return start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0U) == 0x80;
    };
    while (isInsideCharacter()) {
        --start;
    }
    return start == 0 ? CutTo(text, width) : CutTo("\u2026" + text.substr(start), width);
}

std::size_t FirstDifference(const std::string& first, const std::string& second) {
    const std::size_t shorter = std::min(first.size(), second.size());
    const auto [place, other] =
        std::mismatch(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(shorter), second.begin());
    return static_cast<std::size_t>(place - first.begin());
}

void PrintInThreeLines(const Console& console, const ShownDifference& difference) {
    constexpr std::size_t kMark = 2;
    const std::size_t width = console.width > kMark ? console.width - kMark : 1;
    const std::size_t place = FirstDifference(difference.first, difference.second);
    console.out << Coloured(console, difference.kind.text, difference.kind.colour) << "  " << difference.path << '\n';
    if (difference.first != "-") {
        console.out << Coloured(console, "- " + From(difference.first, place, width), Colour::Red) << '\n';
    }
    if (difference.second != "-") {
        console.out << Coloured(console, "+ " + From(difference.second, place, width), Colour::Green) << '\n';
    }
}

}  // namespace

/// As many as fit side by side: from the narrowest on, as long as their columns leave room.
std::vector<bool> ShownDifferences::ChooseAligned(std::size_t width) const {
    if (width == 0) {
        std::vector<bool> all(differences_.size(), true);
        return all;
    }
    std::vector<std::size_t> order(differences_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return TotalOf(WidthsOf(differences_[a])) < TotalOf(WidthsOf(differences_[b]));
    });
    std::vector<bool> isAligned(differences_.size());
    Widths taken = {};
    for (const std::size_t index : order) {
        Widths widths = WidthsOf(differences_[index]);
        std::transform(widths.begin(), widths.end(), taken.begin(), widths.begin(),
                       [](std::size_t a, std::size_t b) { return std::max(a, b); });
        if (TotalOf(widths) <= width) {
            isAligned[index] = true;
            taken = widths;
        }
    }
    return isAligned;
}

void ShownDifferences::Print(const Console& console) const {
    const std::vector<bool> isAligned = ChooseAligned(console.width);
    Table table({"", "PATH", "A", "B"});
    for (std::size_t i = 0; i < differences_.size(); ++i) {
        if (isAligned[i]) {
            const ShownDifference& difference = differences_[i];
            table.Add({difference.kind, difference.path, difference.first, difference.second});
        }
    }
    if (!table.IsEmpty()) {
        table.Print(console);
    }
    for (std::size_t i = 0; i < differences_.size(); ++i) {
        if (!isAligned[i]) {
            PrintInThreeLines(console, differences_[i]);
        }
    }
}

}  // namespace tal::talstore
