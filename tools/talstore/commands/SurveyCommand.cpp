#include <regex.h>

#include <cstdlib>
#include <deque>
#include <new>
#include <thread>

#include "board/UnitReport.h"
#include "commands/Commands.h"
#include "commands/ProgressBar.h"
#include "commands/Report.h"
#include "commands/SurveyRecords.h"
#include "commands/SurveyText.h"
#include "commands/SurveyTotals.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/FileList.h"
#include "files/InputError.h"
#include "files/Interrupt.h"
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

// ---- In the process that judges

UnitReport Unreadable(const std::string& name, const std::string& problem) {
    UnitReport unit;
    unit.file = tools::ValidUtf8(name);
    unit.problem = tools::ValidUtf8(problem);
    return unit;
}

/// Without the name, which an InputError begins with.
std::string ProblemOf(const std::string& name, const std::string& what) {
    const std::string start = name + ": ";
    return what.compare(0, start.size(), start) == 0 ? what.substr(start.size()) : what;
}

class JudgeOfFiles {
public:
    JudgeOfFiles(const SurveyOptions& options, host::Database& layout, const std::filesystem::path& privateCopies)
        : format_(ParseFormat(options.common.format)),
          channels_(options.channelPattern, options.common.channel),
          layout_(layout),
          privateCopies_(privateCopies) {}

    [[nodiscard]] UnitReport Judge(const ListedFile& file) {
        if (!file.problem.empty()) {
            return Unreadable(file.name, file.problem);
        }
        try {
            return JudgeReadable(file.name, ReadWholeFile(file.name));
        } catch (const InputError& error) {
            return Unreadable(file.name, ProblemOf(file.name, error.what()));
        } catch (const std::bad_alloc&) {
            return Unreadable(file.name, "out of memory");
        }
    }

private:
    UnitReport JudgeReadable(const std::string& name, std::string bytes) {
        if (judge_ == nullptr) {
            // What a process leaves that is killed goes with what the survey leaves.
            setenv("TMPDIR", privateCopies_.c_str(), 1);
            judge_ = std::make_unique<UnitJudge>(layout_);
        }
        const std::optional<Format> format = format_ ? format_ : FormatToRetrieve(bytes, name);
        if (!format) {
            RefuseFile(name,
                       "neither an XML document nor a secure binary file; --format says what a raw or a damaged "
                       "file is");
        }
        return judge_->Judge({name, std::move(bytes), *format}, channels_.ChannelOf(name));
    }

    std::optional<Format> format_;
    ChannelRule channels_;
    host::Database& layout_;
    const std::filesystem::path& privateCopies_;
    std::unique_ptr<UnitJudge> judge_;
};

// ---- In the process that asks

std::size_t ProcessCount(const SurveyOptions& options) {
    return options.jobs != 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency());
}

/// Has every file judged.
/// @param take  Gets the reports in the order of the files.
/// @return false after an interrupt.
bool JudgeFiles(const SurveyOptions& options, const Console& console, host::Database& layout,
                const std::vector<ListedFile>& files, const std::function<void(const UnitReport& unit)>& take) {
    const PrivateDirectory privateCopies;
    JudgeOfFiles judge(options, layout, privateCopies.Path());
    ProgressBar progress(console.showsProgress ? &console.err : nullptr);
    std::size_t dealtCount = 0;
    std::size_t takenCount = 0;
    JobFunctions functions;
    functions.next = [&] {
        return dealtCount < files.size() ? std::optional(std::to_string(dealtCount++)) : std::nullopt;
    };
    functions.work = [&](const std::string& job) { return Packed(judge.Judge(files[std::stoul(job)])); };
    functions.take = [&](const JobResult& result) {
        const ListedFile& file = files[takenCount++];
        take(result.failure.empty() ? UnpackedUnit(result.bytes) : Unreadable(file.name, result.failure));
    };
    functions.tick = [&] { progress.Show(takenCount, files.size()); };
    return DealOut({ProcessCount(options), std::chrono::seconds(options.timeout)}, functions);
}

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

int StatusOf(const SurveyTotals& totals) {
    if (InterruptingSignal() != 0) {
        return kInterrupted + InterruptingSignal();
    }
    if (totals.UnreadableCount() != 0) {
        return kCannot;
    }
    return totals.LosslessCount() == totals.UnitCount() ? kFine : kProblems;
}

}  // namespace

int Survey(const SurveyOptions& options, const Console& console) {
    const std::vector<ListedFile> files = FilesOf(options);
    const auto layout = LoadLayout(options.common.layout);
    SurveyFrame frame = {options.common.layout, DigestOf(*layout)};
    SurveyTotals totals;
    frame.isComplete = JudgeFiles(options, console, *layout, files, [&](const UnitReport& unit) {
        totals.Add(unit);
        if (options.common.asJson) {
            PrintUnitRecords(console, unit);
        }
    });
    if (options.common.asJson) {
        PrintSummaryRecord(console, frame, totals);
    } else {
        PrintSurvey(console, frame, totals);
    }
    return StatusOf(totals);
}

}  // namespace tal::talstore
