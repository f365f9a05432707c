#include "Table.h"
#include "common/Text.h"

#include <algorithm>

namespace tal::talstore {

using tools::CharacterCount;
using tools::FirstCharacters;

namespace {

constexpr std::size_t kGap = 2;
constexpr char kEllipsis[] = "\u2026";

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

void Widen(std::vector<std::size_t>& widths, const std::vector<Cell>& row) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
        widths[column] = std::max(widths[column], CharacterCount(row[column].text));
    }
}

/// Cuts the text so that it ends at the terminal's edge.
std::string Fitted(const std::string& text, std::size_t start, std::size_t width) {
    if (width == 0 || start + CharacterCount(text) <= width) {
        return text;
    }
    return start + 1 > width ? "" : std::string(FirstCharacters(text, width - start - 1)) + kEllipsis;
}

void PrintRow(const Console& console, const std::vector<std::size_t>& widths, const std::vector<Cell>& row) {
    std::size_t start = 0;
    for (std::size_t column = 0; column < row.size(); ++column) {
        const Cell& cell = row[column];
        console.out << Coloured(console, Fitted(cell.text, start, console.width), cell.colour);
        if (column + 1 < row.size()) {
            console.out << std::string(widths[column] - CharacterCount(cell.text) + kGap, ' ');
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
    Widen(widths, heading);
    for (const auto& row : rows_) {
        Widen(widths, row);
    }
    if (!heading.empty()) {
        PrintRow(console, widths, heading);
    }
    for (const auto& row : rows_) {
        PrintRow(console, widths, row);
    }
}

}  // namespace tal::talstore
