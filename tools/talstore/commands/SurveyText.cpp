#include "commands/SurveyText.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "board/Restore.h"
#include "commands/Table.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

/// "1 unit loses", "2 units lose"
std::string Lose(std::uint64_t count, const char* what) {
    return Count(count, "unit") + (count == 1 ? " loses " : " lose ") + what;
}

std::string ExamplesText(const SurveyTally& tally) {
    std::string text;
    for (const SurveyExample& example : tally.examples) {
        text += (text.empty() ? "" : ", ") + Printable(example.file) +
                (example.reason.empty() ? "" : " (" + Printable(example.reason) + ')');
    }
    return text + (tally.count > tally.examples.size() ? ", ..." : "");
}

/// @param isAccepted  Which of the rows are told.
void PrintLosses(const Console& console, const SurveyFrame& frame, const SurveyTotals& totals, bool isAccepted) {
    const std::vector<const LossRow*> rows = totals.Rows(isAccepted);
    const bool comparesValues = !frame.before.empty();
    std::vector<std::string> headings = {isAccepted ? "ACCEPTED" : "LOSS", "PATH", "UNITS", "SHARE"};
    if (comparesValues) {
        headings.emplace_back("DIFFERING");
    }
    headings.insert(headings.end(), {isAccepted ? "WHY" : "REASON", "EXAMPLES"});
    Table table(std::move(headings));
    for (std::size_t i = 0; i < rows.size();) {
        const LossRow& row = *rows[i];
        const std::size_t count = CountSameLeft(rows, i);
        std::vector<Cell> cells = {{Printable(row.kind), isAccepted ? Colour::Grey : Colour::Yellow},
                                   count == 1 ? Printable(row.path) : Count(count, "variable"),
                                   std::to_string(row.units.count),
                                   PercentText(totals.ShareOf(row))};
        if (comparesValues) {
            cells.emplace_back(count == 1 ? std::to_string(row.differing) : "-");
        }
        cells.push_back(ValueCell(Printable(isAccepted ? row.accepted : row.reason)));
        cells.push_back(MessageCell(ExamplesText(row.units)));
        table.Add(std::move(cells));
        i += count;
    }
    if (!table.IsEmpty()) {
        console.out << '\n';
        table.Print(console);
    }
}

void PrintUnmatched(const Console& console, const SurveyFrame& frame) {
    Table table;
    for (const AcceptedLoss& loss : frame.unmatched) {
        table.Add({{"accepted, but in no unit", Colour::Grey},
                   loss.kind,
                   Printable(loss.variable),
                   MessageCell(Printable(loss.reason))});
    }
    if (!table.IsEmpty()) {
        console.out << '\n';
        table.Print(console);
    }
}

void PrintTallies(const Console& console, const SurveyTotals& totals) {
    Table table;
    for (const UnreadableRow* const row : totals.UnreadableRows()) {
        table.Add({{"cannot be read", Colour::Red},
                   Count(row->files.count, "file"),
                   MessageCell(Printable(row->reason)),
                   MessageCell(ExamplesText(row->files))});
    }
    if (totals.Damaged().count != 0) {
        table.Add({{"damaged", Colour::Red},
                   Count(totals.Damaged().count, "unit"),
                   MessageCell("not read to the end"),
                   MessageCell(ExamplesText(totals.Damaged()))});
    }
    table.Print(console);
}

std::string NumberText(const std::optional<std::uint64_t>& number) {
    return number ? std::to_string(*number) : "";
}

/// In quotes where it has to be.
std::string CsvText(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + '"';
}

void PrintCsvLine(const Console& console, const std::vector<std::string>& values, const SurveyTally& tally) {
    for (const std::string& value : values) {
        console.out << CsvText(value) << ',';
    }
    for (std::size_t i = 0; i < kMostExamples; ++i) {
        console.out << (i < tally.examples.size() ? CsvText(tally.examples[i].file) : "")
                    << (i + 1 < kMostExamples ? ',' : '\n');
    }
}

}  // namespace

std::string PercentText(double share) {
    constexpr double kTenths = 1000;
    const long long tenths = std::llround(share * kTenths);
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + " %";
}

void PrintSurvey(const Console& console, const SurveyFrame& frame, const SurveyTotals& totals) {
    console.out << (frame.isComplete ? "" : "incomplete: ") << Count(totals.FileCount(), "file") << " for a board with "
                << Printable(frame.layout) << ": " << Lose(totals.LosslessCount(), "nothing") << ", "
                << Lose(totals.LosingCount(), "something") << ", "
                << (totals.AcceptedCount() == 0 ? "" : Lose(totals.AcceptedCount(), "what is accepted") + ", ")
                << Count(totals.UnreadableCount(), "file") << " cannot be read\n";
    PrintTallies(console, totals);
    PrintLosses(console, frame, totals, false);
    PrintLosses(console, frame, totals, true);
    PrintUnmatched(console, frame);
}

void PrintSurveyAsCsv(const Console& console, const SurveyTotals& totals) {
    console.out
        << "kind,path,reason,bytesInFile,bytesInLayout,accepted,units,share,differing,example1,example2,example3\n";
    for (const UnreadableRow* const row : totals.UnreadableRows()) {
        PrintCsvLine(console, {"unreadable", "", row->reason, "", "", "", std::to_string(row->files.count), "", ""},
                     row->files);
    }
    if (totals.Damaged().count != 0) {
        PrintCsvLine(console, {"damaged", "", "", "", "", "", std::to_string(totals.Damaged().count), "", ""},
                     totals.Damaged());
    }
    for (const LossRow* const row : totals.Rows()) {
        std::ostringstream share;
        share << totals.ShareOf(*row);
        PrintCsvLine(console,
                     {row->kind, row->path, row->reason, NumberText(row->bytesInFile), NumberText(row->bytesInLayout),
                      row->accepted, std::to_string(row->units.count), share.str(), std::to_string(row->differing)},
                     row->units);
    }
}

}  // namespace tal::talstore
