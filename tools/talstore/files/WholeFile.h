/// @file
/// Files in and out of the tool.
#ifndef TALSTORE_WHOLE_FILE_H
#define TALSTORE_WHOLE_FILE_H

#include <cstddef>
#include <filesystem>
#include <iosfwd>
#include <optional>
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

/// @return the file that the name leads to, be it there or not, so that a link stays a link when it is replaced.
[[nodiscard]] std::filesystem::path TargetOf(const std::string& name);

/// What becomes of a regular file that is where one is to be written.
enum class Existing { Replaced, Kept };

/// The new file beside a regular one, or beside where one will be. It replaces that in one step and for good: whoever
/// looks sees the old bytes or the new ones, also after a power cut. What a link leads to is replaced, the link stays,
/// and so do the permissions. Each operation throws InputError.
class Draft {
public:
    /// What is no regular file is refused, and where no file can be made.
    /// @param existing  A file that is kept is refused when the new one is put in place, however late it has come.
    explicit Draft(std::string name, Existing existing = Existing::Replaced);
    /// Leaves the file as it was unless the new one has been put in place.
    ~Draft();
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    /// Empty when it is in place.
    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] int Descriptor() const { return descriptor_; }
    void PutInPlace();

private:
    std::string name_;
    std::string target_;
    std::string path_;
    unsigned permissions_ = 0;
    int descriptor_ = -1;
    Existing existing_;
};

/// A file that is written piece by piece. A regular file, or one that is not there, is replaced in one step and for
/// good at the end, as WriteWholeFile does it. Each operation throws InputError.
class OutputFile {
public:
    /// A directory is refused, and where no file can be made.
    /// @param stopsOnInterrupt  Whether Ctrl-C ends the writing, too.
    /// @param existing          As for a Draft.
    OutputFile(std::string name, std::ostream& standardOutput, bool stopsOnInterrupt,
               Existing existing = Existing::Replaced);
    /// Leaves a regular file as it was unless the new one has been put in place.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(std::string_view bytes);
    void PutInPlace();

private:
    std::string name_;
    std::ostream* standardOutput_ = nullptr;  ///< Null when something else is written.
    std::optional<Draft> draft_;              ///< Of a regular file.
    int device_ = -1;                         ///< Or a pipe.
    bool stopsOnInterrupt_;
};

/// Replaces a regular file, or one that is not there, as a Draft does. A device or a pipe is written to, a directory is
/// refused, and so is a regular file that is to be kept. Throws InputError; a regular file is then as it was, unless
/// only its directory could not be synced.
void WriteWholeFile(const std::string& name, std::string_view bytes, std::ostream& standardOutput,
                    Existing existing = Existing::Replaced);

}  // namespace tal::talstore

#endif
