#include "commands/SurveyText.h"

#include <algorithm>
#include <cmath>

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

/// "12.3 %"
std::string PercentText(double share) {
    constexpr double kTenths = 1000;
    const long long tenths = std::llround(share * kTenths);
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + " %";
}

std::string ExamplesText(const SurveyTally& tally) {
    std::string text;
    for (const SurveyExample& example : tally.examples) {
        text += (text.empty() ? "" : ", ") + Printable(example.file) +
                (example.reason.empty() ? "" : " (" + Printable(example.reason) + ')');
    }
    return text + (tally.count > tally.examples.size() ? ", ..." : "");
}

/// A board that gives up leaves all of its variables: one line says so.
std::size_t CountSameLeft(const std::vector<const LossRow*>& rows, std::size_t begin) {
    const auto isSame = [&](const LossRow* row) {
        return row->kind == rows[begin]->kind && row->reason == rows[begin]->reason &&
               row->units.count == rows[begin]->units.count &&
               row->units.examples.front().file == rows[begin]->units.examples.front().file;
    };
    if (rows[begin]->kind != NameOf(Outcome::Left)) {
        return 1;
    }
    const auto first = rows.begin() + static_cast<std::ptrdiff_t>(begin);
    return static_cast<std::size_t>(std::find_if_not(first, rows.end(), isSame) - first);
}

void PrintLosses(const Console& console, const SurveyTotals& totals) {
    const std::vector<const LossRow*> rows = totals.Rows();
    Table table({"LOSS", "PATH", "UNITS", "SHARE", "REASON", "EXAMPLES"});
    for (std::size_t i = 0; i < rows.size();) {
        const LossRow& row = *rows[i];
        const std::size_t count = CountSameLeft(rows, i);
        table.Add({{Printable(row.kind), Colour::Yellow},
                   count == 1 ? Printable(row.path) : Count(count, "variable"),
                   std::to_string(row.units.count),
                   PercentText(totals.ShareOf(row)),
                   ValueCell(Printable(row.reason)),
                   MessageCell(ExamplesText(row.units))});
        i += count;
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

}  // namespace

void PrintSurvey(const Console& console, const SurveyFrame& frame, const SurveyTotals& totals) {
    const std::uint64_t losing = totals.UnitCount() - totals.LosslessCount();
    console.out << (frame.isComplete ? "" : "incomplete: ") << Count(totals.FileCount(), "file") << " for a board with "
                << Printable(frame.layout) << ": " << Lose(totals.LosslessCount(), "nothing") << ", "
                << Lose(losing, "something") << ", " << Count(totals.UnreadableCount(), "file") << " cannot be read\n";
    PrintTallies(console, totals);
    PrintLosses(console, totals);
}

}  // namespace tal::talstore
