/// @file
/// Aligned columns.
#ifndef TALSTORE_TABLE_H
#define TALSTORE_TABLE_H

#include <string>
#include <vector>

#include "commands/Console.h"

namespace tal::talstore {

enum class Colour { None, Red, Yellow, Green, Grey, Bold };

struct Cell {
    Cell(std::string cellText, Colour cellColour = Colour::None) : text(std::move(cellText)), colour(cellColour) {}
    Cell(const char* cellText) : text(cellText) {}

    std::string text;  ///< Printable; the table does not escape.
    Colour colour = Colour::None;
};

/// The text in that colour, or as it is where the console has none.
[[nodiscard]] std::string Coloured(const Console& console, const std::string& text, Colour colour);

class Table {
public:
    /// A table without headings prints its rows alone.
    explicit Table(std::vector<std::string> headings = {}) : headings_(std::move(headings)) {}

    void Add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }
    [[nodiscard]] bool IsEmpty() const { return rows_.empty(); }

    /// On a terminal, lines that are too long end in an ellipsis.
    void Print(const Console& console) const;

private:
    std::vector<std::string> headings_;
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace tal::talstore

#endif
