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

/// A file that is written piece by piece. A regular file, or one that is not there, is replaced in one step and for
/// good at the end, as WriteWholeFile does it. Each operation throws InputError.
class OutputFile {
public:
    /// A directory is refused, and where no file can be made.
    /// @param stopsOnInterrupt  Whether Ctrl-C ends the writing, too.
    OutputFile(std::string name, std::ostream& standardOutput, bool stopsOnInterrupt);
    /// Leaves a regular file as it was unless the new one has been put in place.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view bytes);
    void PutInPlace();

private:
    std::string name_;
    std::ostream* standardOutput_ = nullptr;  ///< Null when something else is written.
    int descriptor_ = -1;
    std::string target_;  ///< The regular file to replace; empty when there is none.
    std::string draft_;   ///< The new file beside it until it is in place.
    unsigned permissions_ = 0;
    bool stopsOnInterrupt_;
};

/// Replaces a regular file, or one that is not there, in one step and for good: whoever looks sees the old bytes or the
/// new ones, also after a power cut. What a link leads to is replaced, the link stays. A device or a pipe is written
/// to, a directory is refused. Throws InputError; a regular file is then as it was, unless only its directory could not
/// be synced.
void WriteWholeFile(const std::string& name, std::string_view bytes, std::ostream& standardOutput);

}  // namespace tal::talstore

#endif
