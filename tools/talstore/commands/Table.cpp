#include "commands/Table.h"

#include <algorithm>

#include "commands/Wrap.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::CharacterCount;
using tools::FirstCharacters;

namespace {

constexpr char kEllipsis[] = "\u2026";
/// On a terminal: what is left at least of a value, and where the lines below a row begin.
constexpr std::size_t kLeastOfValue = 20;
constexpr std::size_t kIndentation = 4;

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

using TableRow = std::vector<Cell>;

void Widen(std::vector<std::size_t>& widths, const TableRow& row) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
        widths[column] = std::max(widths[column], CharacterCount(row[column].text));
    }
}

/// The columns before the last one, which has what the row leaves.
std::size_t WidthBeforeLast(const std::vector<std::size_t>& widths) {
    std::size_t taken = 0;
    for (std::size_t column = 0; column + 1 < widths.size(); ++column) {
        taken += widths[column] + kColumnGap;
    }
    return taken;
}

/// Values between other columns give way to these.
/// @return whether there are such values.
bool NarrowValues(std::vector<std::size_t>& widths, const std::vector<TableRow>& rows, std::size_t width) {
    bool hasValues = false;
    for (std::size_t column = 0; column + 1 < widths.size(); ++column) {
        const bool isValue = std::any_of(rows.begin(), rows.end(), [&](const TableRow& row) {
            return column + 1 < row.size() && row[column].fit == Fit::Value;
        });
        const std::size_t taken = WidthBeforeLast(widths);
        if (isValue && taken > width && widths[column] > kLeastOfValue) {
            widths[column] = std::max(kLeastOfValue, widths[column] - std::min(widths[column], taken - width));
        }
        hasValues = hasValues || isValue;
    }
    return hasValues;
}

void PrintBelow(const Console& console, const Cell& cell) {
    const std::size_t width = console.width - std::min(console.width - 1, kIndentation);
    const std::vector<std::string> lines =
        cell.fit == Fit::Message ? Wrapped(cell.text, width) : std::vector<std::string>{CutTo(cell.text, width)};
    for (const std::string& line : lines) {
        console.out << '\n' << std::string(kIndentation, ' ') << Coloured(console, line, cell.colour);
    }
}

/// @param start    The column of the terminal.
/// @param padding  What stands before it in the same line.
void PrintLast(const Console& console, const Cell& cell, std::size_t start, const std::string& padding) {
    const bool fits = console.width == 0 || start + CharacterCount(cell.text) <= console.width;
    if (fits || cell.fit == Fit::Whole) {
        console.out << padding << Coloured(console, cell.text, cell.colour);
    } else if (cell.fit == Fit::Value && start + kLeastOfValue <= console.width) {
        console.out << padding << Coloured(console, CutTo(cell.text, console.width - start), cell.colour);
    } else {
        PrintBelow(console, cell);
    }
}

/// @param isStacked  Whether the first cell has a line of its own above the others.
void PrintRow(const Console& console, const std::vector<std::size_t>& widths, const TableRow& row, bool isStacked) {
    const auto end = std::find_if(row.rbegin(), row.rend(), [](const Cell& cell) { return !cell.text.empty(); });
    const auto columns = static_cast<std::size_t>(row.rend() - end);
    std::size_t start = 0;
    std::string padding;
    for (std::size_t column = 0; column + 1 < columns; ++column) {
        const std::string text = CutTo(row[column].text, widths[column]);
        if (!text.empty()) {
            console.out << padding << Coloured(console, text, row[column].colour);
            padding.clear();
        }
        if (isStacked && column == 0) {
            padding = '\n' + std::string(kIndentation, ' ');
            start = kIndentation;
        } else {
            padding += std::string(widths[column] - CharacterCount(text) + kColumnGap, ' ');
            start += widths[column] + kColumnGap;
        }
    }
    if (columns != 0) {
        PrintLast(console, row[columns - 1], start, padding);
    }
    console.out << '\n';
}

}  // namespace

std::string CutTo(const std::string& text, std::size_t width) {
    return CharacterCount(text) <= width ? text : std::string(FirstCharacters(text, width - 1)) + kEllipsis;
}

std::string Coloured(const Console& console, const std::string& text, Colour colour) {
    return console.hasColour && colour != Colour::None ? SequenceOf(colour) + text + "\x1B[0m" : text;
}

void Table::Print(const Console& console) const {
    TableRow heading;
    for (const std::string& text : headings_) {
        heading.emplace_back(text, Colour::Bold, Fit::Message);
    }
    std::vector<std::size_t> widths;
    Widen(widths, heading);
    for (const TableRow& row : rows_) {
        Widen(widths, row);
    }
    const bool hasValues = console.width != 0 && NarrowValues(widths, rows_, console.width);
    const bool isStacked = hasValues && WidthBeforeLast(widths) > console.width;
    if (!heading.empty()) {
        PrintRow(console, widths, heading, isStacked);
    }
    for (const TableRow& row : rows_) {
        PrintRow(console, widths, row, isStacked);
    }
}

}  // namespace tal::talstore
