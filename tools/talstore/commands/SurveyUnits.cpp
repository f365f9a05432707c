#include "commands/SurveyUnits.h"

#include <regex.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <new>
#include <thread>

#include "commands/ProgressBar.h"
#include "commands/Report.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/Archive.h"
#include "files/FileList.h"
#include "files/InputError.h"
#include "files/Packed.h"
#include "files/WholeFile.h"
#include "files/WorkerProcesses.h"

namespace tal::talstore {

namespace {

// ---- Which channel a unit has

class ChannelRule {
public:
    /// @param pattern  An extended regular expression; empty: every unit has the fixed channel.
    ChannelRule(const std::string& pattern, std::uint32_t fixed) : isFixed_(pattern.empty()), fixed_(fixed) {
        if (isFixed_) {
            return;
        }
        if (const int error = regcomp(&expression_, pattern.c_str(), REG_EXTENDED); error != 0) {
            char problem[200];
            regerror(error, &expression_, problem, sizeof problem);
            throw UseError("--channel-from " + tools::Quoted(pattern) + ": " + problem);
        }
    }
    ~ChannelRule() {
        if (!isFixed_) {
            regfree(&expression_);
        }
    }
    ChannelRule(const ChannelRule&) = delete;
    ChannelRule& operator=(const ChannelRule&) = delete;

    /// The number in the expression's first group, or in all that it matches when it has none. Throws InputError.
    [[nodiscard]] std::uint32_t ChannelOf(const std::string& name) const {
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

private:
    bool isFixed_;
    std::uint32_t fixed_;
    regex_t expression_ = {};
};

// ---- What is judged

/// A file on its way to the process that judges it.
struct SurveyedFile {
    std::string name;
    std::string archive = {};               ///< Empty when it is in none.
    std::string problem = {};               ///< Why there is nothing to judge.
    std::optional<std::string> bytes = {};  ///< None: the process reads them.
};

std::string Packed(const SurveyedFile& file) {
    Packer packer;
    for (const std::string* const text : {&file.name, &file.archive, &file.problem}) {
        packer.Text(*text);
    }
    packer.Number(file.bytes ? 1 : 0);
    packer.Text(file.bytes.value_or(""));
    return packer.Take();
}

SurveyedFile UnpackedFile(const std::string& packed) {
    Unpacker unpacker(packed);
    SurveyedFile file;
    for (std::string* const text : {&file.name, &file.archive, &file.problem}) {
        *text = unpacker.Text();
    }
    const bool hasBytes = unpacker.Number() != 0;
    std::string bytes = unpacker.Text();
    if (hasBytes) {
        file.bytes = std::move(bytes);
    }
    return file;
}

/// Without the name, which an InputError begins with.
std::string ProblemOf(const std::string& name, const std::string& what) {
    const std::string start = name + ": ";
    return what.compare(0, start.size(), start) == 0 ? what.substr(start.size()) : what;
}

/// Hands out one file after another, and those in archives in their place.
class FileSource {
public:
    explicit FileSource(std::vector<ListedFile> files) : files_(std::move(files)) {
        hasArchives_ =
            std::any_of(files_.begin(), files_.end(), [](const ListedFile& file) { return IsArchive(file.name); });
    }

    [[nodiscard]] std::optional<SurveyedFile> Next() {
        for (;;) {
            if (archive_) {
                if (std::optional<SurveyedFile> member = NextMember()) {
                    return member;
                }
                archive_.reset();
            }
            if (count_ == files_.size()) {
                return std::nullopt;
            }
            const ListedFile& file = files_[count_++];
            if (!file.problem.empty() || !IsArchive(file.name)) {
                return SurveyedFile{file.name, {}, file.problem};
            }
            if (std::optional<SurveyedFile> unreadable = Open(file.name)) {
                return unreadable;
            }
        }
    }

    /// @return none where archives hold nobody knows how many.
    [[nodiscard]] std::optional<std::uint64_t> Total() const {
        return hasArchives_ ? std::nullopt : std::optional<std::uint64_t>(files_.size());
    }

private:
    std::optional<SurveyedFile> Open(const std::string& name) {
        try {
            archive_.emplace(name);
            isEmpty_ = true;
            return std::nullopt;
        } catch (const InputError& error) {
            return SurveyedFile{name, name, ProblemOf(name, error.what())};
        }
    }

    std::optional<SurveyedFile> NextMember() {
        const std::string& name = files_[count_ - 1].name;
        try {
            std::optional<ArchiveMember> member = archive_->Next();
            if (!member) {
                archive_.reset();
                return isEmpty_ ? std::optional(SurveyedFile{name, name, "there is no file in it"}) : std::nullopt;
            }
            isEmpty_ = false;
            return SurveyedFile{member->name.empty() ? name : name + ':' + member->name, name,
                                std::move(member->problem), std::move(member->bytes)};
        } catch (const InputError& error) {
            archive_.reset();
            return SurveyedFile{name, name, ProblemOf(name, error.what())};
        }
    }

    std::vector<ListedFile> files_;
    std::size_t count_ = 0;  ///< Of the files that were handed out, or opened as archives.
    bool hasArchives_ = false;
    std::optional<Archive> archive_;
    bool isEmpty_ = false;  ///< Whether nothing of the archive has been handed out.
};

std::vector<ListedFile> FilesOf(const SurveyOptions& options) {
    std::vector<std::string> names = options.paths;
    if (!options.listName.empty()) {
        const std::vector<std::string> listed = ReadNames(options.listName, options.endsWithNul ? '\0' : '\n');
        names.insert(names.end(), listed.begin(), listed.end());
    }
    if (options.paths.empty() && options.listName.empty()) {
        throw UseError("PATH or --files-from is needed");
    }
    std::vector<ListedFile> files = ListFiles(names);
    if (files.empty()) {
        throw InputError("there is no file to survey");
    }
    return files;
}

// ---- In the process that judges

UnitReport UnreadableUnit(const SurveyedFile& file, const std::string& problem) {
    UnitReport unit;
    unit.SetNames(file.name, file.archive);
    unit.problem = tools::ValidUtf8(problem);
    return unit;
}

class JudgeOfFiles {
public:
    /// @param privateCopies  Where those of this process go.
    JudgeOfFiles(const SurveyOptions& options, host::Database& layout, host::Database* before,
                 const std::filesystem::path& privateCopies)
        : format_(ParseFormat(options.common.format)),
          channels_(options.channelPattern, options.common.channel),
          layout_(layout),
          before_(before),
          privateCopies_(privateCopies) {}

    [[nodiscard]] UnitReport Judge(SurveyedFile file) {
        try {
            return file.problem.empty() ? JudgeReadable(file) : UnreadableUnit(file, file.problem);
        } catch (const InputError& error) {
            return UnreadableUnit(file, ProblemOf(file.name, error.what()));
        } catch (const std::bad_alloc&) {
            return UnreadableUnit(file, "out of memory");
        }
    }

private:
    UnitReport JudgeReadable(SurveyedFile& file) {
        if (judge_ == nullptr) {
            // What a process leaves that is killed goes with what the survey leaves.
            setenv("TMPDIR", privateCopies_.c_str(), 1);
            judge_ = std::make_unique<UnitJudge>(layout_, before_);
        }
        std::string bytes = file.bytes ? std::move(*file.bytes) : ReadWholeFile(file.name);
        const std::optional<Format> format = format_ ? format_ : FormatToRetrieve(bytes, file.name);
        if (!format) {
            RefuseFile(
                file.name,
                "neither an XML document nor a secure binary file; --format says what a raw or a damaged file is");
        }
        UnitReport unit = judge_->Judge({file.name, std::move(bytes), *format}, channels_.ChannelOf(file.name));
        unit.SetNames(file.name, file.archive);
        return unit;
    }

    std::optional<Format> format_;
    ChannelRule channels_;
    host::Database& layout_;
    host::Database* before_;
    const std::filesystem::path& privateCopies_;
    std::unique_ptr<UnitJudge> judge_;
};

std::size_t ProcessCount(const SurveyOptions& options) {
    return options.jobs != 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency());
}

}  // namespace

bool JudgeUnits(const SurveyOptions& options, const Console& console, host::Database& layout, host::Database* before,
                const TakeUnit& take) {
    FileSource files(FilesOf(options));
    const PrivateDirectory privateCopies;
    JudgeOfFiles judge(options, layout, before, privateCopies.Path());
    ProgressBar progress(console.showsProgress ? &console.err : nullptr);
    std::deque<SurveyedFile> dealt;
    std::uint64_t takenCount = 0;
    JobFunctions functions;
    functions.next = [&]() -> std::optional<std::string> {
        const std::optional<SurveyedFile> file = files.Next();
        if (!file) {
            return std::nullopt;
        }
        dealt.push_back({file->name, file->archive});
        return Packed(*file);
    };
    functions.work = [&](const std::string& job) { return Packed(judge.Judge(UnpackedFile(job))); };
    functions.take = [&](const JobResult& result) {
        take(result.failure.empty() ? UnpackedUnit(result.bytes) : UnreadableUnit(dealt.front(), result.failure));
        dealt.pop_front();
        ++takenCount;
    };
    functions.tick = [&] { progress.Show(takenCount, files.Total()); };
    return DealOut({ProcessCount(options), std::chrono::seconds(options.timeout)}, functions);
}

}  // namespace tal::talstore
