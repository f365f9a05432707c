/// @file
/// Many files converted into a folder, or each in its place.
#ifndef TALSTORE_CONVERT_MANY_H
#define TALSTORE_CONVERT_MANY_H

#include <string>

#include "commands/Commands.h"
#include "commands/Console.h"

namespace tal::talstore {

/// @param folder  To write; empty: each file is replaced.
/// @return the exit status. Throws UseError, InputError.
int ConvertMany(const ConvertOptions& options, const std::string& folder, const Console& console);

}  // namespace tal::talstore

#endif
