#include <set>

#include "commands/AcceptedLosses.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "commands/SurveyAnswers.h"
#include "commands/SurveyOutputs.h"
#include "commands/SurveyRecords.h"
#include "commands/SurveyText.h"
#include "commands/SurveyTotals.h"
#include "commands/SurveyUnits.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/Interrupt.h"

namespace tal::talstore {

namespace {

/// Marks the losses that somebody has decided on.
class Acceptance {
public:
    explicit Acceptance(const std::string& fileName) : accepted_(AcceptedLosses::Load(fileName)) {}

    void Mark(UnitReport& unit) {
        for (UnitLoss& loss : unit.losses) {
            const std::string key = unit.format + '\0' + loss.kind + '\0' + loss.path;
            const auto [known, isNew] = reasons_.try_emplace(key);
            if (isNew) {
                const AcceptedLoss* const found = accepted_.Find(*FormatNamed(unit.format), loss.path, loss.kind);
                known->second = found == nullptr ? "" : found->reason;
            }
            loss.accepted = known->second;
        }
        formats_.insert(unit.format);
    }

    /// The entries that no unit has met.
    [[nodiscard]] std::vector<AcceptedLoss> Unmatched() const {
        std::vector<Format> formats;
        for (const std::string& name : formats_) {
            if (const std::optional<Format> format = FormatNamed(name)) {
                formats.push_back(*format);
            }
        }
        return accepted_.Unmatched(formats);
    }

private:
    AcceptedLosses accepted_;
    std::unordered_map<std::string, std::string>
        reasons_;  ///< By format, kind and path; empty for what is not accepted.
    std::set<std::string> formats_;
};

SurveyFrame SurveyFiles(const SurveyOptions& options, std::vector<ListedFile> files, const Console& console,
                        const TakeUnit& take) {
    const auto layout = LoadLayout(options.common.layout);
    const auto before = LoadLayout(options.before);
    SurveyFrame frame = {options.common.layout, DigestOf(*layout), options.before};
    frame.isComplete = JudgeUnits(options, std::move(files), console, *layout, before.get(), take);
    return frame;
}

void RefuseWhatDoesNotGoTogether(const SurveyOptions& options) {
    if (options.comparesValues == options.before.empty()) {
        throw UseError("--from and --values go together");
    }
    if (options.merges &&
        !(options.common.layout.empty() && options.files.listName.empty() && options.before.empty())) {
        throw UseError("--merge takes answers that say what they were about: no --layout, --from or --files-from");
    }
    if (options.asCsv && (options.common.asJson || options.isPartial)) {
        throw UseError("--csv prints no JSON");
    }
}

void RequireWhatIsNeeded(const SurveyOptions& options) {
    if (options.merges) {
        return;
    }
    if (options.common.layout.empty()) {
        throw UseError("--layout is missing");
    }
    if (options.files.paths.empty() && options.files.listName.empty()) {
        throw UseError("PATH or --files-from is needed");
    }
}

/// @return whether there is none.
bool TellProblems(const Console& console, const SurveyOutputs& outputs) {
    for (const std::string& problem : outputs.Problems()) {
        console.err << "talstore: " << tools::Printable(problem) << '\n';
    }
    return outputs.Problems().empty();
}

int StatusOf(const SurveyOptions& options, const SurveyFrame& frame, const SurveyTotals& totals) {
    if (InterruptingSignal() != 0) {
        return kInterrupted + InterruptingSignal();
    }
    // Whether something is lost, whoever merges the answers will be told.
    if (options.isPartial) {
        return kFine;
    }
    if (totals.UnreadableCount() != 0 || !frame.isComplete) {
        return kCannot;
    }
    return totals.LosingCount() == 0 ? kFine : kProblems;
}

}  // namespace

int Survey(const SurveyOptions& options, const Console& anyConsole) {
    RefuseWhatDoesNotGoTogether(options);
    RequireWhatIsNeeded(options);
    RequireOutputs(options);
    const bool printsRecords = options.common.asJson || options.isPartial;
    Acceptance acceptance(options.accepted);
    // The drafts of what is written come later, so that they are not listed.
    std::vector<ListedFile> files = options.merges ? std::vector<ListedFile>() : UnitsOf(options);
    SurveyOutputs outputs(options, anyConsole.out);
    const Console console = options.page.empty() ? anyConsole : BesideFile(anyConsole, options.page);
    SurveyTotals totals;
    const auto take = [&](UnitReport unit) {
        acceptance.Mark(unit);
        totals.Add(unit);
        outputs.Add(unit, totals);
        if (printsRecords) {
            PrintUnitRecords(console, unit);
        }
    };
    SurveyFrame frame =
        options.merges ? MergeUnits(options.files.paths, take) : SurveyFiles(options, std::move(files), console, take);
    frame.unmatched = acceptance.Unmatched();
    // The reader of the answer may go after its first line, and this process with it.
    outputs.PutInPlace(frame, totals);
    if (printsRecords) {
        PrintSummaryRecord(console, frame, totals);
    } else if (options.asCsv) {
        PrintSurveyAsCsv(console, totals);
    } else {
        PrintSurvey(console, frame, totals);
    }
    return TellProblems(console, outputs) ? StatusOf(options, frame, totals) : kCannot;
}

}  // namespace tal::talstore
