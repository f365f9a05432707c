#include <algorithm>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "TypeTable.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/Input.h"
#include "commands/PathFilter.h"
#include "commands/Report.h"
#include "commands/ShownItems.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::HexBytes;
using tools::Printable;

namespace {

/// A value as a script wants it: a text without quotes.
std::string BareText(const Console& console, const StoredItem& item, const host::Variable* variable,
                     std::string_view bytes) {
    if (variable == nullptr) {
        return item.texts.empty() ? HexBytes(bytes) : Printable(item.texts.front());
    }
    if (variable->Type() != VARIABLE_TYPE_STRING) {
        return ValueText(variable->Type(), bytes);
    }
    const std::string text(bytes.substr(0, bytes.find('\0')));
    const bool isTerminal = console.width != 0;
    return isTerminal ? Printable(text) : text;
}

Json ValueOf(const StoredItem& item, const host::Variable* variable, std::string_view bytes) {
    if (variable != nullptr) {
        return ValueJson(variable->Type(), bytes);
    }
    return item.texts.empty() ? Json({{"hex", HexBytes(bytes)}}) : Json(item.texts);
}

/// The items that are asked for. Of two with the same path the last one counts, in the place of the first.
std::vector<std::size_t> ItemsToGet(const StoredContents& contents, const ShownItems& shown, PathFilter& filter) {
    std::vector<std::size_t> found;
    std::unordered_map<std::string, std::size_t> places;
    for (std::size_t i = 0; i < contents.items.size(); ++i) {
        if (contents.items[i].holdsObjects || !filter.Takes(shown.PathOf(i))) {
            continue;
        }
        const auto [place, isNew] = places.emplace(shown.PathOf(i), found.size());
        if (isNew) {
            found.push_back(i);
        } else {
            found[place->second] = i;
        }
    }
    return found;
}

}  // namespace

int Get(const GetOptions& options, const Console& console) {
    Input input(options.file, options.common);
    const StorageFile& file = input.file;
    const StoredContents& contents = input.contents;
    const ShownItems shown(file, contents, options.common.channel, std::move(input.layout), true);
    PathFilter filter(options.paths);
    Json values = Json::array();
    for (const std::size_t index : ItemsToGet(contents, shown, filter)) {
        const StoredItem& item = contents.items[index];
        const host::Variable* const variable = shown.VariableOf(index);
        const std::string_view bytes = variable == nullptr ? item.bytes : shown.BytesOf(index, *variable);
        if (options.common.asJson) {
            values.push_back({{"path", shown.PathOf(index)}, {"value", ValueOf(item, variable, bytes)}});
        } else {
            console.out << BareText(console, item, variable, bytes) << '\n';
        }
    }
    const std::vector<std::string> missing = filter.Unmatched();
    if (options.common.asJson) {
        PrintAnswer(console, "get",
                    {{"file", file.name},
                     {"format", NameOf(file.format)},
                     {"values", std::move(values)},
                     {"notFound", missing}});
    }
    TellUnmatched(console, file.name, filter);
    return missing.empty() ? kFine : kProblems;
}

}  // namespace tal::talstore
