#include "commands/SurveyUnits.h"

#include <new>
#include <utility>

#include "commands/ManyFiles.h"
#include "commands/Report.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/Outputs.h"

namespace tal::talstore {

namespace {

UnitReport UnreadableUnit(const SourceFile& file, const std::string& problem) {
    UnitReport unit;
    unit.SetNames(file.name, file.archive);
    unit.problem = tools::ValidUtf8(problem);
    return unit;
}

class JudgeOfFiles {
public:
    JudgeOfFiles(const SurveyOptions& options, host::Database& layout, host::Database* before)
        : format_(ParseFormat(options.common.format)),
          channels_(options.files.channelPattern, options.common.channel),
          layout_(layout),
          before_(before) {}

    [[nodiscard]] UnitReport Judge(SourceFile file) {
        try {
            return file.problem.empty() ? JudgeReadable(file) : UnreadableUnit(file, file.problem);
        } catch (const InputError& error) {
            return UnreadableUnit(file, ProblemOf(file.name, error.what()));
        } catch (const std::bad_alloc&) {
            return UnreadableUnit(file, "out of memory");
        }
    }

private:
    UnitReport JudgeReadable(SourceFile& file) {
        if (judge_ == nullptr) {
            judge_ = std::make_unique<UnitJudge>(layout_, before_);
        }
        UnitReport unit = judge_->Judge(LoadSource(file, format_), channels_.ChannelOf(file.name));
        unit.SetNames(file.name, file.archive);
        return unit;
    }

    std::optional<Format> format_;
    ChannelRule channels_;
    host::Database& layout_;
    host::Database* before_;
    std::unique_ptr<UnitJudge> judge_;  ///< Begins in the process that judges.
};

}  // namespace

std::vector<ListedFile> UnitsOf(const SurveyOptions& options) {
    return FilesOf(options.files, "to survey", WrittenFiles({options.page, options.database}));
}

bool JudgeUnits(const SurveyOptions& options, std::vector<ListedFile> files, const Console& console,
                host::Database& layout, host::Database* before, const TakeUnit& take) {
    JudgeOfFiles judge(options, layout, before);
    FileFunctions functions;
    functions.work = [&](SourceFile file) { return Packed(judge.Judge(std::move(file))); };
    functions.take = [&](const SourceFile& file, const JobResult& result) {
        take(result.failure.empty() ? UnpackedUnit(result.bytes) : UnreadableUnit(file, result.failure));
    };
    functions.printsEach = options.common.asJson || options.isPartial;
    return DealOutFiles(options.files, std::move(files), console, functions);
}

}  // namespace tal::talstore
