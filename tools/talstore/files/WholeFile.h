/// @file
/// Files in and out of the tool.
#ifndef TALSTORE_WHOLE_FILE_H
#define TALSTORE_WHOLE_FILE_H

#include <iosfwd>
#include <string>
#include <string_view>

namespace tal::talstore {

/// The whole file; "-" is standard input. Throws InputError, also for more than 64 MiB, which no storage file has.
[[nodiscard]] std::string ReadWholeFile(const std::string& name);

/// Replaces the file in one step: whoever looks sees the old bytes or the new ones. "-" is standard output. Throws
/// InputError; the old file is then untouched.
void WriteWholeFile(const std::string& name, std::string_view bytes, std::ostream& standardOutput);

}  // namespace tal::talstore

#endif
