/// @file
/// Files in and out of the tool.
#ifndef TALSTORE_WHOLE_FILE_H
#define TALSTORE_WHOLE_FILE_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

namespace tal::talstore {

/// No storage file has more bytes.
constexpr std::size_t kLargestFile = std::size_t{64} << 20U;
constexpr const char* kTooLarge = "has more than 64 MiB, which no storage file has";

/// The whole file; "-" is standard input. Throws InputError, also for a file that is too large.
[[nodiscard]] std::string ReadWholeFile(const std::string& name);

/// @return whether writing the file of that name is writing to standard output: "-", or a name that leads there.
[[nodiscard]] bool IsStandardOutput(const std::string& name);

/// What a new file gets.
[[nodiscard]] unsigned PermissionsOfNewFile();

/// Replaces a regular file, or one that is not there, in one step and for good: whoever looks sees the old bytes or the
/// new ones, also after a power cut. What a link leads to is replaced, the link stays. A device or a pipe is written
/// to, a directory is refused. Throws InputError; a regular file is then as it was, unless only its directory could not
/// be synced.
void WriteWholeFile(const std::string& name, std::string_view bytes, std::ostream& standardOutput);

}  // namespace tal::talstore

#endif
