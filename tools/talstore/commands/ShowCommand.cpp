#include <nlohmann/json.hpp>

#include "TypeTable.h"
#include "board/DocumentValues.h"
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
    std::string path;
    const host::Variable* variable;  ///< What has its type, when that fits.

    [[nodiscard]] bool IsTyped() const { return variable != nullptr && !host::HoldsObjects(variable->Type()); }
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

std::vector<Cell> Row(const Shown& shown, const FormatInfo& format) {
    const StoredItem& item = shown.item;
    if (format.hasTexts) {
        return {Printable(shown.path), XmlTypeText(item), XmlSizeText(item), TextsText(item)};
    }
    return {Printable(shown.path), shown.IsTyped() ? TypeText(*shown.variable) : "-", std::to_string(item.bytes.size()),
            shown.IsTyped() ? ValueText(shown.variable->Type(), item.bytes) : HexBytes(item.bytes)};
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
            item.isArray ? Json(item.texts) : Json(item.texts.empty() ? "" : item.texts.front());
    } else {
        json["size"] = item.bytes.size();
        json["hex"] = HexBytes(item.bytes);
    }
    if (shown.IsTyped()) {
        const VariableType type = shown.variable->Type();
        json["type"] = format.hasTexts ? item.type : host::FindType(type)->name;
        json["value"] = ValueJson(type, format.hasTexts ? BytesOf(*shown.variable) : item.bytes);
    }
    return json;
}

/// What has the types of the items: the layout, or one that is made for a document.
class Types {
public:
    Types(const StorageFile& file, const StoredContents& contents, const CommonOptions& options,
          std::unique_ptr<host::Database> layout)
        : format_(InfoOf(file.format)), layout_(std::move(layout)) {
        if (layout_ == nullptr && format_.hasTexts && options.asJson) {
            document_ = ReadDocumentValues(file, contents);
        }
        // Where a channel's items are looked up, any host sees.
        if (layout_ == nullptr && options.channel != 0) {
            layout_ = std::make_unique<host::Database>();
        }
        if (layout_ != nullptr) {
            const ProviderSession session(ProviderOf(file.format), 0, options.channel, file.name);
            report_ = Restore(session, file, contents, *layout_);
        }
    }

    [[nodiscard]] std::string PathOf(std::size_t index, const StoredItem& item) const {
        return layout_ == nullptr || report_.items[index].boardPath.empty() ? item.path
                                                                            : report_.items[index].boardPath;
    }

    /// @return the variable whose type, and in a document whose value, the item has; null when none is known.
    [[nodiscard]] const host::Variable* VariableOf(std::size_t index, const StoredItem& item) const {
        const host::Variable* const variable = Candidate(index);
        const bool fits = variable != nullptr &&
                          (format_.hasTexts ? variable->Retrieved() : variable->SizeInBytes() == item.bytes.size());
        return fits ? variable : nullptr;
    }

private:
    [[nodiscard]] const host::Variable* Candidate(std::size_t index) const {
        if (document_.layout != nullptr) {
            return document_.report.items[index].variable;
        }
        return layout_ == nullptr ? nullptr : report_.items[index].variable;
    }

    const FormatInfo& format_;
    std::unique_ptr<host::Database> layout_;
    RestoreReport report_;
    DocumentValues document_;
};

int ShowFile(const std::string& name, const ShowOptions& options, const Console& console) {
    auto layout = LoadLayout(options.common.layout);
    const StorageFile file = LoadStorageFile(name, ParseFormat(options.common.format), layout != nullptr);
    const StoredContents contents = Inspect(file, layout.get());
    const Types types(file, contents, options.common, std::move(layout));
    const FormatInfo& format = InfoOf(file.format);

    Table table({"PATH", "TYPE", "SIZE", "VALUE"});
    Json variables = Json::array();
    for (std::size_t i = 0; i < contents.items.size(); ++i) {
        const StoredItem& item = contents.items[i];
        const Shown shown = {item, types.PathOf(i, item), types.VariableOf(i, item)};
        if (options.common.asJson) {
            variables.push_back(VariableJson(shown, format));
        } else {
            table.Add(Row(shown, format));
        }
    }
    if (options.common.asJson) {
        PrintAnswer(console, "show",
                    {{"file", file.name},
                     {"format", NameOf(file.format)},
                     {"size", file.bytes.size()},
                     {"whole", contents.isWhole},
                     {"variables", std::move(variables)}},
                    options.files.size());
    } else {
        if (options.files.size() > 1) {
            console.out << Printable(file.name) << ": " << Describe(file, contents) << '\n';
        }
        if (!table.IsEmpty()) {
            table.Print(console);
        }
    }
    if (contents.isWhole) {
        return kFine;
    }
    TellFindings(console, file.name, contents.findings);
    return kProblems;
}

}  // namespace

int Show(const ShowOptions& options, const Console& console) {
    return ForEachFile(options.files, console,
                       [&](const std::string& name) { return ShowFile(name, options, console); });
}

}  // namespace tal::talstore
