/// @file
/// What the commands share that take many files: which ones, and the processes that read them.
#ifndef TALSTORE_MANY_FILES_H
#define TALSTORE_MANY_FILES_H

#include <regex.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "files/FileSource.h"
#include "files/Outputs.h"
#include "files/WorkerProcesses.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

/// Which channel a unit has.
class ChannelRule {
public:
    /// @param pattern  An extended regular expression; empty: every unit has the fixed channel. Throws UseError.
    ChannelRule(const std::string& pattern, std::uint32_t fixed);
    ~ChannelRule();
    ChannelRule(const ChannelRule&) = delete;
    ChannelRule& operator=(const ChannelRule&) = delete;

    /// The number in the expression's first group, or in all that it matches when it has none. Throws InputError.
    [[nodiscard]] std::uint32_t ChannelOf(const std::string& name) const;

private:
    bool isFixed_;
    std::uint32_t fixed_;
    regex_t expression_ = {};
};

/// The files that are named, in the order of their names. Throws InputError, also when there is none.
/// @param purpose  For the message then: "to survey".
/// @param written  Are left out.
[[nodiscard]] std::vector<ListedFile> FilesOf(const ManyFilesOptions& options, const char* purpose,
                                              const WrittenFiles& written = {});

/// A file whose format its content or its name tells, unless it is given. Throws InputError.
[[nodiscard]] StorageFile LoadSource(SourceFile& file, std::optional<Format> format);

struct FileFunctions {
    /// Is called in this process before the file is dealt out, and may give it a problem.
    std::function<void(SourceFile& file)> prepare;
    /// Is called in a process of its own, with one file after another; those with a problem, too.
    std::function<std::string(SourceFile file)> work;
    /// In the order of the files, whose bytes have gone. Called in this process.
    std::function<void(const SourceFile& file, JobResult result)> take;
    bool printsEach = false;  ///< Whether `take` prints.
};

/// Whatever the processes leave in the temporary directory goes at the end.
/// @return false after an interrupt. Throws InputError.
[[nodiscard]] bool DealOutFiles(const ManyFilesOptions& options, std::vector<ListedFile> files, const Console& console,
                                const FileFunctions& functions);

}  // namespace tal::talstore

#endif
