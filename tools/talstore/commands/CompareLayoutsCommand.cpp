#include <algorithm>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

#include "board/PredictLosses.h"
#include "commands/AcceptedLosses.h"
#include "commands/Commands.h"
#include "commands/JUnitReport.h"
#include "commands/Report.h"
#include "common/Text.h"
#include "files/Outputs.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Printable;

namespace {

constexpr const char* kCertainties[] = {"no", "maybe", "yes"};

/// A prediction, and why its losses are accepted.
struct JudgedPrediction {
    Prediction prediction;
    std::vector<std::string> reasons;  ///< One per loss; empty where it is not accepted.

    /// The variables that lose something, each once.
    /// @param isAccepted  Those of which every loss is accepted, or the others.
    [[nodiscard]] std::size_t LostCount(bool isAccepted) const {
        std::map<std::string, bool> paths;
        for (std::size_t i = 0; i < reasons.size(); ++i) {
            const auto [path, isNew] = paths.emplace(prediction.losses[i].path, true);
            path->second = path->second && !reasons[i].empty();
        }
        return static_cast<std::size_t>(
            std::count_if(paths.begin(), paths.end(), [&](const auto& path) { return path.second == isAccepted; }));
    }

    /// Whether the retrieve may fail though no variable is lost that would be the reason.
    [[nodiscard]] bool FailsByItself() const { return prediction.fails != Certainty::No && prediction.losses.empty(); }
};

JudgedPrediction Judge(Prediction prediction, AcceptedLosses& accepted) {
    JudgedPrediction judged = {std::move(prediction), {}};
    for (const PredictedLoss& loss : judged.prediction.losses) {
        const AcceptedLoss* const found = accepted.Find(judged.prediction.format, loss.path, loss.kind);
        judged.reasons.push_back(found == nullptr ? "" : found->reason);
    }
    return judged;
}

std::vector<Format> FormatsOf(const CompareLayoutsOptions& options) {
    if (const std::optional<Format> format = ParseFormat(options.format)) {
        return {*format};
    }
    std::vector<Format> formats;
    for (const FormatInfo& format : Formats()) {
        formats.push_back(format.format);
    }
    return formats;
}

std::string KindText(const PredictedLoss& loss) {
    return loss.isCertain ? loss.kind : std::string("may be ") + loss.kind;
}

std::string SummaryOf(const JudgedPrediction& judged) {
    const Prediction& prediction = judged.prediction;
    if (!prediction.isReadable) {
        return "names of the old layout make documents that no board can read";
    }
    const std::size_t accepted = judged.LostCount(true);
    constexpr const char* kFailures[] = {"", "; the retrieve may fail", "; the retrieve fails"};
    return std::to_string(prediction.kept.size()) + " kept, " + std::to_string(judged.LostCount(false)) + " lost" +
           (accepted == 0 ? "" : ", " + std::to_string(accepted) + " lost as accepted") +
           (prediction.absentCount == 0 ? "" : ", " + std::to_string(prediction.absentCount) + " not in the file") +
           kFailures[static_cast<std::size_t>(prediction.fails)];
}

void Print(const Console& console, const std::vector<JudgedPrediction>& predictions) {
    for (const JudgedPrediction& judged : predictions) {
        console.out << NameOf(judged.prediction.format) << ": " << SummaryOf(judged) << '\n';
        Table table;
        for (std::size_t i = 0; i < judged.reasons.size(); ++i) {
            const PredictedLoss& loss = judged.prediction.losses[i];
            const bool isAccepted = !judged.reasons[i].empty();
            table.Add({{KindText(loss), isAccepted ? Colour::Grey : Colour::Yellow},
                       Printable(loss.path),
                       MessageCell(loss.reason + (isAccepted ? "; accepted: " + Printable(judged.reasons[i]) : ""))});
        }
        table.Print(console);
    }
}

void TellUnmatchedLosses(const Console& console, const std::string& fileName,
                         const std::vector<AcceptedLoss>& unmatched) {
    for (const AcceptedLoss& loss : unmatched) {
        console.err << "talstore: " << Printable(fileName) << ": " << Printable(loss.variable) << ", " << loss.kind
                    << ": nothing is lost like this any more\n";
    }
}

Json PredictionJson(const JudgedPrediction& judged) {
    const Prediction& prediction = judged.prediction;
    Json losses = Json::array();
    for (std::size_t i = 0; i < judged.reasons.size(); ++i) {
        const PredictedLoss& loss = prediction.losses[i];
        losses.push_back(
            {{"path", loss.path}, {"kind", loss.kind}, {"certain", loss.isCertain}, {"reason", loss.reason}});
        if (!judged.reasons[i].empty()) {
            losses.back()["accepted"] = judged.reasons[i];
        }
    }
    return {{"format", NameOf(prediction.format)},
            {"readable", prediction.isReadable},
            {"fails", kCertainties[static_cast<std::size_t>(prediction.fails)]},
            {"counts",
             {{"kept", prediction.kept.size()},
              {"lost", judged.LostCount(false)},
              {"accepted", judged.LostCount(true)},
              {"notInFile", prediction.absentCount}}},
            {"losses", std::move(losses)}};
}

JUnitSuite SuiteOf(const JudgedPrediction& judged) {
    JUnitSuite suite = {NameOf(judged.prediction.format), {}};
    suite.cases.reserve(judged.prediction.kept.size() + judged.prediction.losses.size());
    for (const std::string& path : judged.prediction.kept) {
        suite.cases.push_back({path});
    }
    if (judged.FailsByItself()) {
        suite.cases.push_back({"the retrieve", JUnitCase::Verdict::Failed, "it fails, though no variable is lost"});
    }
    std::map<std::string, std::size_t> places;
    for (std::size_t i = 0; i < judged.reasons.size(); ++i) {
        const PredictedLoss& loss = judged.prediction.losses[i];
        const bool isAccepted = !judged.reasons[i].empty();
        const auto [place, isNew] = places.emplace(loss.path, suite.cases.size());
        if (isNew) {
            suite.cases.push_back({loss.path, JUnitCase::Verdict::Skipped});
        }
        JUnitCase& one = suite.cases[place->second];
        one.verdict = isAccepted ? one.verdict : JUnitCase::Verdict::Failed;
        one.message += (isNew ? "" : "; ") + KindText(loss) + ": " + loss.reason +
                       (isAccepted ? "; accepted: " + judged.reasons[i] : "");
    }
    return suite;
}

std::string JUnitOf(const std::vector<JudgedPrediction>& predictions) {
    std::vector<JUnitSuite> suites;
    std::transform(predictions.begin(), predictions.end(), std::back_inserter(suites), SuiteOf);
    return JUnitReport(suites);
}

}  // namespace

int CompareLayouts(const CompareLayoutsOptions& options, const Console& console) {
    if (!options.junit.empty()) {
        RequireReplaceable(options.junit, kJUnitReport, {options.before, options.after, options.accepted});
    }
    const auto before = LoadLayout(options.before);
    const auto after = LoadLayout(options.after);
    AcceptedLosses accepted = AcceptedLosses::Load(options.accepted);
    const std::vector<Format> formats = FormatsOf(options);
    std::vector<JudgedPrediction> predictions;
    predictions.reserve(formats.size());
    for (const Format format : formats) {
        predictions.push_back(Judge(PredictLosses(format, options.channel, *before, *after), accepted));
    }
    const std::vector<AcceptedLoss> unmatched = accepted.Unmatched(formats);
    if (!options.junit.empty()) {
        WriteWholeFile(options.junit, JUnitOf(predictions), console.out);
    }
    const Console told = options.junit.empty() ? console : BesideFile(console, options.junit);
    if (options.asJson) {
        Json answers = Json::array();
        std::transform(predictions.begin(), predictions.end(), std::back_inserter(answers), PredictionJson);
        PrintAnswer(told, "compare-layouts",
                    {{"old", options.before},
                     {"new", options.after},
                     {"channel", options.channel},
                     {"formats", std::move(answers)},
                     {"unmatched", UnmatchedJson(unmatched)}});
    } else {
        Print(told, predictions);
    }
    TellUnmatchedLosses(console, options.accepted, unmatched);
    const bool isFine = std::all_of(predictions.begin(), predictions.end(), [](const auto& judged) {
        return judged.LostCount(false) == 0 && !judged.FailsByItself();
    });
    return isFine ? kFine : kProblems;
}

}  // namespace tal::talstore
