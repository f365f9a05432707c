/// @file
/// Aligned columns.
#ifndef TALSTORE_TABLE_H
#define TALSTORE_TABLE_H

#include <string>
#include <vector>

#include "commands/Console.h"

namespace tal::talstore {

enum class Colour { None, Red, Yellow, Green, Grey, Bold };

/// Blanks between two columns.
constexpr std::size_t kColumnGap = 2;

/// What becomes of a text that is wider than the terminal has room for.
enum class Fit {
    Whole,   ///< It stays as it is.
    Value,   ///< It ends in an ellipsis.
    Message  ///< It stands in the lines below, indented, and never loses a word.
};

struct Cell {
    Cell(std::string cellText, Colour cellColour = Colour::None, Fit cellFit = Fit::Whole)
        : text(std::move(cellText)), colour(cellColour), fit(cellFit) {}
    Cell(const char* cellText) : text(cellText) {}

    std::string text;  ///< Printable; the table does not escape.
    Colour colour = Colour::None;
    Fit fit = Fit::Whole;
};

[[nodiscard]] inline Cell ValueCell(std::string text) {
    return {std::move(text), Colour::None, Fit::Value};
}
[[nodiscard]] inline Cell MessageCell(std::string text) {
    return {std::move(text), Colour::None, Fit::Message};
}

/// The text cut to `width` characters, ending in an ellipsis if it was longer.
[[nodiscard]] std::string CutTo(const std::string& text, std::size_t width);

/// The text in that colour, or as it is where the console has none.
[[nodiscard]] std::string Coloured(const Console& console, const std::string& text, Colour colour);

class Table {
public:
    /// A table without headings prints its rows alone.
    explicit Table(std::vector<std::string> headings = {}) : headings_(std::move(headings)) {}

    void Add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }
    [[nodiscard]] bool IsEmpty() const { return rows_.empty(); }

    /// On a terminal, each cell is fitted to its width in the way that the cell says.
    void Print(const Console& console) const;

private:
    std::vector<std::string> headings_;
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace tal::talstore

#endif
