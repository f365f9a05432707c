#include <algorithm>
#include <nlohmann/json.hpp>

#include "board/DocumentValues.h"
#include "board/RestoreFindings.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/Input.h"
#include "commands/PathFilter.h"
#include "commands/Report.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

/// Why a value that is well-formed XML is not read back as it stands in the document.
std::string ChangedReason(const StoredItem& item) {
    if (item.texts.empty()) {
        return "it has no value";
    }
    if (item.texts.size() == 1 && item.texts.front().empty()) {
        return "an empty text does not come back: the reader takes the last text before it";
    }
    if (item.interruption != nullptr) {
        return std::string("the reader keeps only a part of a text that holds ") + item.interruption;
    }
    return item.type == "STRING" ? "the text is too long"
                                 : "a number is out of range, has more digits than are kept, or is none";
}

/// Reports what does not come back as it stands in the document.
void CheckValues(const StorageFile& file, StoredContents& contents) {
    const DocumentValues values = ReadDocumentValues(file, contents, Reported::ItemsAndVariables);
    for (const auto& [index, reason] : values.refused) {
        const StoredItem& item = contents.items[index];
        contents.findings.push_back({Severity::Error, "xml.refused", item.place, item.path,
                                     reason + "; all variables after it take their defaults"});
    }
    for (const VariableReport& variable : values.report.variables) {
        const bool isChanged = variable.outcome == Outcome::Changed || variable.outcome == Outcome::Partly;
        if (isChanged && variable.item != kNone) {
            const StoredItem& item = contents.items[variable.item];
            contents.findings.push_back({Severity::Warning, "xml.changed", item.place, item.path,
                                         variable.reason + ": " + ChangedReason(item)});
        }
    }
}

Json RestoreJson(const std::string& layoutName, const StoredContents& contents, const RestoreReport& report) {
    Json variables = Json::array();
    for (const VariableReport& variable : report.variables) {
        Json entry = {{"path", variable.variable->Path()}, {"outcome", NameOf(variable.outcome)}};
        if (!variable.reason.empty()) {
            entry["reason"] = variable.reason;
        }
        if (variable.item != kNone) {
            entry["place"] = PlaceJson(contents.items[variable.item].place);
        }
        variables.push_back(std::move(entry));
    }
    Json ignored = Json::array();
    for (const std::size_t index : report.LostItems()) {
        ignored.push_back({{"path", contents.items[index].path},
                           {"place", PlaceJson(contents.items[index].place)},
                           {"reason", report.items[index].reason}});
    }
    return {{"layout", layoutName},         {"result", report.run.result},       {"failure", report.failure},
            {"counts", CountsJson(report)}, {"variables", std::move(variables)}, {"ignored", std::move(ignored)}};
}

/// After a document that cannot be parsed they are all of them.
void AddLeftVariables(Table& table, const RestoreReport& report) {
    const auto isLeft = [](const VariableReport& variable) { return variable.outcome == Outcome::Left; };
    const auto first = std::find_if(report.variables.begin(), report.variables.end(), isLeft);
    if (first != report.variables.end()) {
        const auto count = std::count_if(first, report.variables.end(), isLeft);
        table.Add({{NameOf(Outcome::Left), ColourOf(Outcome::Left)},
                   Count(static_cast<std::uint64_t>(count), "variable"),
                   MessageCell(Printable(first->reason))});
    }
}

void PrintRestore(const Console& console, const std::string& layoutName, const StoredContents& contents,
                  const RestoreReport& report, bool showsAll) {
    console.out << "\na board with " << Printable(layoutName) << ": " << CountsText(report)
                << (report.failure.empty() ? "" : "; the retrieve fails: " + Printable(report.failure)) << '\n';
    Table table;
    for (const VariableReport& variable : report.variables) {
        const bool isNews = !IsAsExpected(variable.outcome) && variable.outcome != Outcome::Left;
        if (showsAll || isNews) {
            table.Add({{NameOf(variable.outcome), ColourOf(variable.outcome)},
                       Printable(variable.variable->Path()),
                       MessageCell(Printable(variable.reason))});
        }
    }
    if (!showsAll) {
        AddLeftVariables(table, report);
    }
    for (const std::size_t index : report.LostItems()) {
        table.Add({{report.items[index].KindOfLoss(), Colour::Yellow},
                   Printable(contents.items[index].path),
                   MessageCell(Printable(report.items[index].reason))});
    }
    table.Print(console);
}

/// What a board makes of the file; what is noteworthy there is added to the findings.
RestoreReport RestoreInto(host::Database& layout, const StorageFile& file, std::uint32_t channel,
                          StoredContents& contents) {
    const ProviderSession session(ProviderOf(file.format), 0, channel, file.name);
    RestoreReport report = Restore(session, file, contents, layout);
    for (Finding& finding : FindInValues(contents, report)) {
        contents.findings.push_back(std::move(finding));
    }
    if (const auto nothing = FindNothingRestored(contents, report)) {
        contents.findings.push_back(*nothing);
    }
    return report;
}

/// Leaves what the filter takes, the findings in the order of their places.
void KeepOnlyTaken(PathFilter& filter, StoredContents& contents, RestoreReport& report) {
    if (!filter.TakesAll()) {
        for (const StoredItem& item : contents.items) {
            static_cast<void>(filter.Takes(item.path));
        }
    }
    KeepOnly(filter, contents.findings);
    KeepOnly(filter, contents, report);
    std::stable_sort(contents.findings.begin(), contents.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.place.offset < b.place.offset; });
}

void PrintChecked(const CheckOptions& options, const Console& console, const Input& input,
                  const RestoreReport& report) {
    const StorageFile& file = input.file;
    const StoredContents& contents = input.contents;
    if (options.common.asJson) {
        Json json = {{"file", file.name},
                     {"format", NameOf(file.format)},
                     {"size", file.bytes.size()},
                     {"whole", contents.isWhole},
                     {"findings", FindingsJson(contents.findings)}};
        if (input.layout != nullptr) {
            json["restore"] = RestoreJson(options.common.layout, contents, report);
        }
        PrintAnswer(console, "check", std::move(json), options.files.size());
        return;
    }
    console.out << Printable(file.name) << ": " << Describe(file, contents) << ", "
                << Count(contents.findings.size(), "finding") << '\n';
    PrintFindings(console, contents.findings);
    if (input.layout != nullptr) {
        PrintRestore(console, options.common.layout, contents, report, options.showsAll);
    }
}

int CheckFile(const std::string& name, const CheckOptions& options, const Console& console) {
    Input input(name, options.common);
    if (InfoOf(input.file.format).hasTexts) {
        CheckValues(input.file, input.contents);
    }
    RestoreReport report;
    if (input.layout != nullptr) {
        report = RestoreInto(*input.layout, input.file, options.common.channel, input.contents);
    }
    PathFilter filter(options.common.paths);
    KeepOnlyTaken(filter, input.contents, report);
    PrintChecked(options, console, input, report);
    TellUnmatched(console, input.file.name, filter);
    const bool isRestored = input.layout == nullptr || (report.IsClean() && !QBF_IsFailure(report.run.result));
    return isRestored && !HasProblem(input.contents.findings) && filter.Unmatched().empty() ? kFine : kProblems;
}

}  // namespace

int Check(const CheckOptions& options, const Console& console) {
    return ForEachFile(options.files, console,
                       [&](const std::string& name) { return CheckFile(name, options, console); });
}

}  // namespace tal::talstore
