#include <nlohmann/json.hpp>

#include "TypeTable.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::HexBytes;
using tools::Printable;
using tools::Quoted;

namespace {

/// One variable of the file as it is shown.
struct Shown {
    const StoredItem& item;
    const host::Variable* variable;  ///< What the layout says about it, when that fits.

    [[nodiscard]] bool IsTyped() const {
        return variable != nullptr && !host::HoldsObjects(variable->Type()) &&
               item.bytes.size() == variable->SizeInBytes();
    }
};

std::string TextsText(const StoredItem& item) {
    if (item.holdsObjects) {
        return "";
    }
    if (!item.isArray) {
        const std::string text = item.texts.empty() ? "" : item.texts.front();
        return item.type == "STRING" ? Quoted(text) : Printable(text);
    }
    std::string text;
    for (const std::string& element : item.texts) {
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

std::vector<Cell> Row(const Shown& shown, Format format) {
    const StoredItem& item = shown.item;
    if (InfoOf(format).hasTexts) {
        return {Printable(item.path), XmlTypeText(item), XmlSizeText(item), TextsText(item)};
    }
    return {Printable(item.path), shown.IsTyped() ? TypeText(*shown.variable) : "-", std::to_string(item.bytes.size()),
            shown.IsTyped() ? ValueText(shown.variable->Type(), item.bytes) : HexBytes(item.bytes)};
}

Json VariableJson(const Shown& shown, Format format) {
    const StoredItem& item = shown.item;
    Json json = {{"path", item.path}, {"place", PlaceJson(item.place)}};
    if (InfoOf(format).hasTexts) {
        json["type"] = item.type;
        json[item.isArray ? "elements" : "text"] =
            item.isArray ? Json(item.texts) : Json(item.texts.empty() ? "" : item.texts.front());
        return json;
    }
    json["size"] = item.bytes.size();
    json["hex"] = HexBytes(item.bytes);
    if (shown.IsTyped()) {
        json["type"] = host::FindType(shown.variable->Type())->name;
        json["value"] = ValueJson(shown.variable->Type(), item.bytes);
    }
    return json;
}

}  // namespace

int Show(const ShowOptions& options, const Console& console) {
    const auto layout = LoadLayout(options.common.layout);
    const StorageFile file = LoadStorageFile(options.file, ParseFormat(options.common.format), layout != nullptr);
    const StoredContents contents = Inspect(file, layout.get());
    RestoreReport report;
    if (layout != nullptr) {
        const ProviderSession session(ProviderOf(file.format), 0, options.common.channel, file.name);
        report = Restore(session, file, contents, *layout);
    }

    Table table({"PATH", "TYPE", "SIZE", "VALUE"});
    Json variables = Json::array();
    for (std::size_t i = 0; i < contents.items.size(); ++i) {
        const Shown shown = {contents.items[i], layout == nullptr ? nullptr : report.items[i].variable};
        if (options.common.asJson) {
            variables.push_back(VariableJson(shown, file.format));
        } else {
            table.Add(Row(shown, file.format));
        }
    }
    if (options.common.asJson) {
        PrintJson(console, {{"file", file.name},
                            {"format", NameOf(file.format)},
                            {"size", file.bytes.size()},
                            {"whole", contents.isWhole},
                            {"variables", std::move(variables)}});
    } else if (!table.IsEmpty()) {
        table.Print(console);
    }
    if (contents.isWhole) {
        return kFine;
    }
    TellFindings(console, file.name, contents.findings);
    return kProblems;
}

}  // namespace tal::talstore
