/// @file
/// Where a command writes, and how its run ends.
#ifndef TALSTORE_CONSOLE_H
#define TALSTORE_CONSOLE_H

#include <cstddef>
#include <ostream>

namespace tal::talstore {

/// The tool's exit statuses.
enum ExitStatus {
    kFine = 0,
    kProblems = 1,      ///< Differences or problems were found.
    kCannot = 2,        ///< Wrong use, or input that cannot be read.
    kInterrupted = 128  ///< Plus the signal's number: 130 on Ctrl-C.
};

struct Console {
    std::ostream& out;
    std::ostream& err;
    bool hasColour = false;
    std::size_t width = 0;       ///< Columns of the terminal; 0 when `out` is none, and lines are as long as they are.
    bool showsProgress = false;  ///< Whether `err` is a terminal.
};

}  // namespace tal::talstore

#endif
