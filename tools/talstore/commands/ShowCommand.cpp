#include <nlohmann/json.hpp>

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
using tools::Quoted;

namespace {

/// One variable of the file as it is shown.
struct Shown {
    const StoredItem& item;
    std::string path;
    const host::Variable* variable;  ///< What has its type, when that fits.

    [[nodiscard]] bool IsTyped() const { return variable != nullptr; }
};

std::string TextsText(const StoredItem& item) {
    if (item.holdsObjects) {
        return "";
    }
    if (!item.isArray) {
        const std::string_view text = item.texts.empty() ? std::string_view() : item.texts.front();
        return item.type == "STRING" ? Quoted(text) : Printable(text);
    }
    std::string text;
    for (const std::string_view element : item.texts) {
        text += (text.empty() ? "[" : ", ") + Printable(element);
    }
    return text.empty() ? "[]" : text + "]";
}

std::string XmlTypeText(const StoredItem& item) {
    const std::string type = item.type.empty() ? "-" : Printable(item.type);
    return item.isArray && !item.holdsObjects ? type + '[' + std::to_string(item.texts.size()) + ']' : type;
}

/// What the value takes on the board, as far as the document tells.
std::string XmlSizeText(const StoredItem& item) {
    VariableType type = 0;
    if (item.holdsObjects || !host::FindTypeByName(item.type, type)) {
        return "-";
    }
    if (type == VARIABLE_TYPE_STRING) {
        return std::to_string(item.texts.empty() ? 0 : item.texts.front().size());
    }
    return std::to_string((item.isArray ? item.texts.size() : 1) * host::FindType(type)->elementSize);
}

std::vector<Cell> Row(const Shown& shown, const FormatInfo& format) {
    const StoredItem& item = shown.item;
    if (format.hasTexts && shown.IsTyped()) {
        return {Printable(shown.path), TypeText(*shown.variable), std::to_string(shown.variable->SizeInBytes()),
                ValueCell(ValueText(*shown.variable))};
    }
    if (format.hasTexts) {
        return {Printable(shown.path), XmlTypeText(item), XmlSizeText(item), ValueCell(TextsText(item))};
    }
    return {Printable(shown.path), shown.IsTyped() ? TypeText(*shown.variable) : "-", std::to_string(item.bytes.size()),
            ValueCell(shown.IsTyped() ? ValueText(shown.variable->Type(), item.bytes) : PaddedHex(item.bytes))};
}

Json VariableJson(const Shown& shown, const FormatInfo& format) {
    const StoredItem& item = shown.item;
    Json json = {{"path", shown.path}, {"place", PlaceJson(item.place)}};
    if (shown.path != item.path) {
        json["storedPath"] = item.path;
    }
    if (format.hasTexts) {
        json["type"] = item.type;
        json[item.isArray ? "elements" : "text"] =
            item.isArray ? Json(item.texts) : Json(item.texts.empty() ? KeptText() : item.texts.front());
    } else {
        json["size"] = item.bytes.size();
        json["hex"] = HexBytes(item.bytes);
    }
    if (shown.IsTyped()) {
        const VariableType type = shown.variable->Type();
        json["type"] = format.hasTexts ? std::string_view(item.type) : host::FindType(type)->name;
        json["value"] = ValueJson(type, format.hasTexts ? BytesOf(*shown.variable) : item.bytes);
    }
    return json;
}

/// The items of the file that are shown.
struct Selection {
    const StoredContents& contents;
    const ShownItems& items;
    std::vector<std::size_t> indices;

    template <class Use>
    void ForEach(const Use& use) const {
        for (const std::size_t index : indices) {
            use(Shown{contents.items[index], items.PathOf(index), items.VariableOf(index)});
        }
    }
};

Selection Select(const StoredContents& contents, const ShownItems& items, PathFilter& filter) {
    Selection selection = {contents, items, {}};
    for (std::size_t i = 0; i < contents.items.size(); ++i) {
        if (filter.TakesAll() || filter.Takes(items.PathOf(i))) {
            selection.indices.push_back(i);
        }
    }
    return selection;
}

void PrintAsJson(const Console& console, const StorageFile& file, const Selection& selection, std::size_t fileCount) {
    Json variables = Json::array();
    selection.ForEach([&](const Shown& shown) { variables.push_back(VariableJson(shown, InfoOf(file.format))); });
    PrintAnswer(console, "show",
                {{"file", file.name},
                 {"format", NameOf(file.format)},
                 {"size", file.bytes.size()},
                 {"whole", selection.contents.isWhole},
                 {"variables", std::move(variables)}},
                fileCount);
}

void PrintAsTable(const Console& console, const FormatInfo& format, const Selection& selection) {
    Table table({"PATH", "TYPE", "SIZE", "VALUE"});
    selection.ForEach([&](const Shown& shown) { table.Add(Row(shown, format)); });
    if (!table.IsEmpty()) {
        table.Print(console);
    }
}

int ShowFile(const std::string& name, const ShowOptions& options, const Console& console) {
    Input input(name, options.common);
    const StorageFile& file = input.file;
    const StoredContents& contents = input.contents;
    const bool showsValues = options.common.asJson || input.layout != nullptr;
    const ShownItems items(file, contents, options.common.channel, std::move(input.layout), showsValues);
    PathFilter filter(options.common.paths);
    const Selection selection = Select(contents, items, filter);
    if (options.common.asJson) {
        PrintAsJson(console, file, selection, options.files.size());
    } else {
        if (options.files.size() > 1) {
            console.out << Printable(file.name) << ": " << Describe(file, contents) << '\n';
        }
        PrintAsTable(console, InfoOf(file.format), selection);
    }
    TellUnmatched(console, file.name, filter);
    if (!contents.isWhole) {
        TellFindings(console, file.name, contents.findings);
    }
    return contents.isWhole && filter.Unmatched().empty() ? kFine : kProblems;
}

}  // namespace

int Show(const ShowOptions& options, const Console& console) {
    return ForEachFile(options.files, console,
                       [&](const std::string& name) { return ShowFile(name, options, console); });
}

}  // namespace tal::talstore
