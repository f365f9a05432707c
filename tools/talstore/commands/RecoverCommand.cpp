#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "board/Recover.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/ManyFiles.h"
#include "commands/Report.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::HexBytes;
using tools::Printable;
using tools::Quoted;

namespace {

bool IsRightSize(const RecoveredValue& value) {
    return value.bytes.size() == value.variable->SizeInBytes();
}

std::string FoundText(const RecoveredValue& value) {
    if (value.texts.empty()) {
        return IsRightSize(value) ? ValueText(value.variable->Type(), value.bytes) : PaddedHex(value.bytes);
    }
    if (value.variable->Type() == VARIABLE_TYPE_STRING) {
        return Quoted(value.texts.front());
    }
    std::string text;
    for (const std::string& element : value.texts) {
        text += (text.empty() ? "" : ", ") + Printable(element);
    }
    return value.texts.size() == 1 ? text : '[' + text + ']';
}

std::string BoardText(const RecoveredValue& value) {
    return value.isAsFound    ? ""
           : value.isRestored ? "a board restores " + ValueText(value.variable->Type(), value.boardsBytes)
                              : "a board does not restore this";
}

std::size_t LostCount(const Recovery& recovery) {
    return static_cast<std::size_t>(std::count_if(recovery.values.begin(), recovery.values.end(),
                                                  [](const RecoveredValue& value) { return !value.isAsFound; }));
}

void PrintRecovery(const Console& console, const StorageFile& file, const Recovery& recovery) {
    console.out << Printable(file.name) << ": " << InfoOf(file.format).description << ", "
                << tools::Count(file.bytes.size(), "byte") << ": " << tools::Count(recovery.values.size(), "variable")
                << " found, " << LostCount(recovery) << " of which a board does not restore, "
                << recovery.missing.size() << " not found\n";
    Table table;
    for (const RecoveredValue& value : recovery.values) {
        table.Add({Printable(value.variable->Path()),
                   TypeText(*value.variable),
                   ValueCell(FoundText(value)),
                   {BoardText(value), Colour::Yellow}});
    }
    for (const host::Variable* const variable : recovery.missing) {
        table.Add({Printable(variable->Path()), TypeText(*variable), "-", {"not found", Colour::Red}});
    }
    for (const std::string& path : recovery.unknown) {
        table.Add({Printable(path), "-", "-", {"not in the layout: its path may be damaged", Colour::Yellow}});
    }
    table.Print(console);
}

Json ValueToJson(const RecoveredValue& value) {
    Json json = {{"path", value.variable->Path()}, {"type", TypeText(*value.variable)}, {"restored", value.isAsFound}};
    if (!value.texts.empty()) {
        json["texts"] = value.texts;
    } else if (IsRightSize(value)) {
        json["value"] = ValueJson(value.variable->Type(), value.bytes);
    } else {
        json["hex"] = HexBytes(value.bytes);
    }
    if (value.isRestored && !value.isAsFound) {
        json["board"] = ValueJson(value.variable->Type(), value.boardsBytes);
    }
    return json;
}

Json RecoveryJson(const StorageFile& file, const Recovery& recovery) {
    Json found = Json::array();
    std::transform(recovery.values.begin(), recovery.values.end(), std::back_inserter(found), ValueToJson);
    Json missing = Json::array();
    for (const host::Variable* const variable : recovery.missing) {
        missing.push_back(variable->Path());
    }
    return {{"file", file.name},         {"format", NameOf(file.format)}, {"size", file.bytes.size()},
            {"found", std::move(found)}, {"missing", std::move(missing)}, {"unknown", recovery.unknown}};
}

}  // namespace

int RecoverFile(const RecoverOptions& options, const Console& console) {
    const CommonOptions& common = options.common;
    const auto layout = LoadLayout(common.layout);
    // A raw image has no mark: a text that is taken for one has values for every variable, and none is true.
    SourceFile source = {options.file, options.file};
    const StorageFile file = LoadSource(source, ParseFormat(common.format));
    const ProviderSession session(ProviderOf(file.format), 0, common.channel, file.name);
    const Recovery recovery = Recover(session, file, *layout);
    if (common.asJson) {
        PrintAnswer(console, "recover", RecoveryJson(file, recovery));
    } else {
        PrintRecovery(console, file, recovery);
    }
    const bool isWhole = LostCount(recovery) == 0 && recovery.missing.empty() && recovery.unknown.empty();
    return isWhole ? kFine : kProblems;
}

}  // namespace tal::talstore
