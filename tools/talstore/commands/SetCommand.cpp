#include <nlohmann/json.hpp>

#include "board/ChangeValues.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "commands/Settings.h"
#include "common/Text.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

Json ChangesJson(const std::vector<Change>& changes) {
    Json json = Json::array();
    for (const Change& change : changes) {
        json.push_back({{"path", change.path},
                        {"before", ValueJson(change.type, change.before)},
                        {"after", ValueJson(change.type, change.after)}});
    }
    return json;
}

void PrintChanges(const Console& console, const StorageFile& file, const ChangedFile& changed) {
    Table table;
    AddLosses(table, changed.refused);
    if (changed.refused.empty()) {
        for (const Change& change : changed.changes) {
            const bool isSame = IsSameValue(change.type, change.before, change.after);
            table.Add({isSame ? Cell("same") : Cell("changed", Colour::Green), Printable(change.path),
                       MessageCell(ValueText(change.type, change.before) +
                                   (isSame ? "" : " becomes " + ValueText(change.type, change.after)))});
        }
    }
    table.Print(console);
    console.out << Printable(file.name) << ": "
                << (changed.refused.empty() ? std::to_string(changed.differingBytes) + " of " +
                                                  Count(changed.bytes.size(), "byte") + " are written anew"
                                            : std::string("nothing is written"))
                << '\n';
}

}  // namespace

int Set(const SetOptions& options, const Console& console) {
    const CommonOptions& common = options.common;
    const auto layout = LoadLayout(common.layout);
    std::vector<std::pair<std::string, std::string>> values;
    for (const std::string& setting : options.settings) {
        values.push_back(ParseSetting(*layout, setting, {}));
    }
    const StorageFile file = LoadStorageFile(options.file, ParseFormat(common.format), true);
    const ProviderSession session(ProviderOf(file.format), 0, common.channel, file.name);
    const ChangedFile changed = ChangeValues(
        session, file, [&] { return LoadLayout(common.layout); }, values);
    const bool isWritten = changed.refused.empty();
    if (isWritten) {
        WriteWholeFile(file.name, changed.bytes, console.out);
    }
    const Console told = BesideFile(console, file.name);
    if (common.asJson) {
        PrintAnswer(told, "set",
                    {{"file", file.name},
                     {"format", NameOf(file.format)},
                     {"written", isWritten},
                     {"changes", ChangesJson(changed.changes)},
                     {"refused", LossesJson(changed.refused)}});
    } else {
        PrintChanges(told, file, changed);
    }
    return isWritten ? kFine : kProblems;
}

}  // namespace tal::talstore
