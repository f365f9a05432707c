/// @file
/// Differences for people: a table, and three lines for what is wider than the terminal.
#ifndef TALSTORE_SHOWN_DIFFERENCES_H
#define TALSTORE_SHOWN_DIFFERENCES_H

#include <string>
#include <vector>

#include "commands/Table.h"

namespace tal::talstore {

struct ShownDifference {
    Cell kind;
    std::string path;
    std::string first;  ///< "-" where this side has none.
    std::string second;
};

class ShownDifferences {
public:
    void Add(ShownDifference difference) { differences_.push_back(std::move(difference)); }

    void Print(const Console& console) const;

private:
    [[nodiscard]] std::vector<bool> ChooseAligned(std::size_t width) const;

    std::vector<ShownDifference> differences_;
};

}  // namespace tal::talstore

#endif
