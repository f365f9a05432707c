/// @file
/// The tool as a function.
#ifndef TALSTORE_COMMAND_LINE_H
#define TALSTORE_COMMAND_LINE_H

#include <string>
#include <vector>

#include "commands/Console.h"

namespace tal::talstore {

/// @param arguments  Without the program's name.
/// @return an ExitStatus; whatever is wrong is said on the console.
int RunTalstore(const std::vector<std::string>& arguments, const Console& console);

}  // namespace tal::talstore

#endif
