#include "commands/Table.h"
#include "common/Text.h"

#include <algorithm>

namespace tal::talstore {

using tools::CharacterCount;
using tools::FirstCharacters;

namespace {

constexpr std::size_t kGap = 2;
constexpr char kEllipsis[] = "\u2026";
/// On a terminal: of every column but the last one, and of the last one at least.
constexpr std::size_t kWidestColumn = 120;
constexpr std::size_t kLeastOfLastColumn = 20;

const char* SequenceOf(Colour colour) {
    switch (colour) {
        case Colour::Red:
            return "\x1B[31m";
        case Colour::Yellow:
            return "\x1B[33m";
        case Colour::Green:
            return "\x1B[32m";
        case Colour::Grey:
            return "\x1B[90m";
        case Colour::Bold:
            return "\x1B[1m";
        default:
            return "";
    }
}

std::string Cut(const std::string& text, std::size_t width) {
    return CharacterCount(text) <= width ? text : std::string(FirstCharacters(text, width - 1)) + kEllipsis;
}

/// The text as the terminal shows it. The last column ends at the terminal's edge, or at that of a line below where too
/// little of it would be seen: long paths must not hide the values.
std::string Fitted(const std::string& text, std::size_t start, std::size_t width, bool isLast) {
    if (width == 0) {
        return text;
    }
    if (!isLast) {
        return Cut(text, kWidestColumn);
    }
    const std::size_t lines = (start + kLeastOfLastColumn + width - 1) / width;
    return Cut(text, lines * width - start);
}

void Widen(const Console& console, std::vector<std::size_t>& widths, const std::vector<Cell>& row) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
        const std::size_t characters = CharacterCount(row[column].text);
        widths[column] =
            std::max(widths[column], console.width == 0 ? characters : std::min(characters, kWidestColumn));
    }
}

void PrintRow(const Console& console, const std::vector<std::size_t>& widths, const std::vector<Cell>& row) {
    const auto end = std::find_if(row.rbegin(), row.rend(), [](const Cell& cell) { return !cell.text.empty(); });
    const auto columns = static_cast<std::size_t>(row.rend() - end);
    std::size_t start = 0;
    for (std::size_t column = 0; column < columns; ++column) {
        const bool isLast = column + 1 == columns;
        const std::string text = Fitted(row[column].text, start, console.width, isLast);
        console.out << Coloured(console, text, row[column].colour);
        if (!isLast) {
            console.out << std::string(widths[column] - CharacterCount(text) + kGap, ' ');
        }
        start += widths[column] + kGap;
    }
    console.out << '\n';
}

}  // namespace

std::string Coloured(const Console& console, const std::string& text, Colour colour) {
    return console.hasColour && colour != Colour::None ? SequenceOf(colour) + text + "\x1B[0m" : text;
}

void Table::Print(const Console& console) const {
    const std::vector<Cell> heading = [this] {
        std::vector<Cell> cells;
        for (const std::string& text : headings_) {
            cells.emplace_back(text, Colour::Bold);
        }
        return cells;
    }();
    std::vector<std::size_t> widths;
    Widen(console, widths, heading);
    for (const auto& row : rows_) {
        Widen(console, widths, row);
    }
    if (!heading.empty()) {
        PrintRow(console, widths, heading);
    }
    for (const auto& row : rows_) {
        PrintRow(console, widths, row);
    }
}

}  // namespace tal::talstore
