#include "commands/ManyFiles.h"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <thread>

#include "commands/ProgressBar.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/Interrupt.h"
#include "files/PrivateDirectory.h"
#include "files/WholeFile.h"

namespace tal::talstore {

ChannelRule::ChannelRule(const std::string& pattern, std::uint32_t fixed) : isFixed_(pattern.empty()), fixed_(fixed) {
    if (isFixed_) {
        return;
    }
    if (const int error = regcomp(&expression_, pattern.c_str(), REG_EXTENDED); error != 0) {
        char problem[200];
        regerror(error, &expression_, problem, sizeof problem);
        throw UseError("--channel-from " + tools::Quoted(pattern) + ": " + problem);
    }
}

ChannelRule::~ChannelRule() {
    if (!isFixed_) {
        regfree(&expression_);
    }
}

std::uint32_t ChannelRule::ChannelOf(const std::string& name) const {
    if (isFixed_) {
        return fixed_;
    }
    regmatch_t matches[2] = {};
    if (regexec(&expression_, name.c_str(), std::size(matches), matches, 0) != 0) {
        RefuseFile(name, "--channel-from matches nothing in its name");
    }
    const regmatch_t& match = matches[matches[1].rm_so < 0 ? 0 : 1];
    const std::string text =
        name.substr(static_cast<std::size_t>(match.rm_so), static_cast<std::size_t>(match.rm_eo - match.rm_so));
    constexpr std::size_t kMostDigits = 9;
    const bool isNumber =
        !text.empty() && text.size() <= kMostDigits && text.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber) {
        RefuseFile(name, "--channel-from gives " + tools::Quoted(text) + ", which is no channel");
    }
    return static_cast<std::uint32_t>(std::stoul(text));
}

std::vector<ListedFile> FilesOf(const ManyFilesOptions& options, const char* purpose, const WrittenFiles& written) {
    std::vector<std::string> listed;
    if (!options.listName.empty()) {
        listed = ReadNames(options.listName, options.endsWithNul ? '\0' : '\n');
    }
    std::vector<ListedFile> files = ListFiles(options.paths, listed);
    const auto isWritten = [&](const ListedFile& file) {
        StopIfInterrupted();
        return written.Hold(file.name);
    };
    files.erase(std::remove_if(files.begin(), files.end(), isWritten), files.end());
    if (files.empty()) {
        throw InputError(std::string("there is no file ") + purpose);
    }
    return files;
}

StorageFile LoadSource(SourceFile& file, std::optional<Format> format) {
    std::string bytes = file.bytes ? std::move(*file.bytes) : ReadWholeFile(file.name);
    const std::optional<Format> known = format ? format : FormatToRetrieve(bytes, file.name);
    if (!known) {
        RefuseFile(file.name,
                   "neither an XML document nor a secure binary file; --format says what a raw or a damaged file is");
    }
    return {file.name, std::move(bytes), *known};
}

bool DealOutFiles(const ManyFilesOptions& options, std::vector<ListedFile> files, const Console& console,
                  const FileFunctions& functions) {
    FileSource source(std::move(files));
    const PrivateDirectory privateCopies;
    ProgressBar progress(console.showsProgress ? &console.err : nullptr);
    std::deque<SourceFile> dealt;
    std::uint64_t takenCount = 0;
    JobFunctions jobs;
    jobs.next = [&]() -> std::optional<std::string> {
        std::optional<SourceFile> file = source.Next();
        if (!file) {
            return std::nullopt;
        }
        if (functions.prepare) {
            functions.prepare(*file);
        }
        std::string packed = Packed(*file);
        file->bytes.reset();
        dealt.push_back(std::move(*file));
        return packed;
    };
    jobs.work = [&](const std::string& job) {
        // What a process leaves that is killed goes with what this one leaves.
        setenv("TMPDIR", privateCopies.Path().c_str(), 1);
        return functions.work(UnpackedFile(job));
    };
    jobs.take = [&](JobResult result) {
        if (functions.printsEach) {
            progress.TakeAway();
        }
        functions.take(dealt.front(), std::move(result));
        dealt.pop_front();
        ++takenCount;
    };
    jobs.tick = [&] { progress.Show(takenCount, source.Total()); };
    const std::size_t count = options.jobs != 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency());
    try {
        return DealOut({count, std::chrono::seconds(options.timeout)}, jobs);
    } catch (const Interrupted&) {
        // What has been taken is told all the same.
        return false;
    }
}

}  // namespace tal::talstore
