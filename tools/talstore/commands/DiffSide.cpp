#include "commands/DiffSide.h"

#include <memory>
#include <nlohmann/json.hpp>

#include "TypeTable.h"
#include "board/DocumentValues.h"
#include "board/Value.h"
#include "common/Text.h"

namespace tal::talstore {

namespace {

bool HasValue(const StoredItem& item) {
    VariableType type = 0;
    return !item.holdsObjects && !(host::FindTypeByName(item.type, type) && host::HoldsObjects(type));
}

}  // namespace

std::string DiffEntry::Text(std::optional<VariableType> knownType) const {
    if (!bytes) {
        return texts.empty() ? "" : tools::Quoted(texts.front());
    }
    return knownType ? ValueText(*knownType, *bytes) : PaddedHex(*bytes);
}

Json DiffEntry::ToJson(std::optional<VariableType> knownType) const {
    if (!bytes) {
        return texts;
    }
    return knownType ? Json(ValueJson(*knownType, *bytes)) : Json({{"hex", tools::HexBytes(*bytes)}});
}

DiffSide::DiffSide(const StorageFile& file, StoredContents contents, std::uint32_t channel, host::Database* layout,
                   PathFilter& filter)
    : name_(file.name), format_(InfoOf(file.format)), isWhole_(contents.isWhole) {
    RestoreReport restored;
    // Only a channel makes a board look a document's variables up in another place.
    if (layout != nullptr && (!IsXml() || channel != 0)) {
        const ProviderSession session(ProviderOf(file.format), 0, channel, file.name);
        restored = Restore(session, file, contents, *layout);
    }
    RestoreReport read;
    std::unique_ptr<host::Database> document;
    if (IsXml()) {
        DocumentValues values = ReadDocumentValues(file, contents);
        read = std::move(values.report);
        document = std::move(values.layout);
    }
    KeepEntries(contents, restored, read, filter);
    findings_ = std::move(contents.findings);
}

const DiffEntry* DiffSide::Find(std::string_view path) const {
    const std::size_t found = index_.Find(entries_, path);
    return found == PathIndex::kNotFound ? nullptr : &entries_[found];
}

/// @param restored  With the layout; empty for none.
/// @param read      Of a document, as a board reads it that has its variables.
void DiffSide::KeepEntries(const StoredContents& contents, const RestoreReport& restored, const RestoreReport& read,
                           PathFilter& filter) {
    entries_.reserve(contents.items.size());
    for (std::size_t i = 0; i < contents.items.size(); ++i) {
        const StoredItem& item = contents.items[i];
        const bool isElsewhere = !restored.items.empty() && !restored.items[i].BoardPath().empty();
        const std::string_view path = isElsewhere ? restored.items[i].BoardPath() : std::string_view(item.path);
        if (HasValue(item) && (filter.TakesAll() || filter.Takes(std::string(path)))) {
            DiffEntry entry = IsXml()
                                  ? EntryOfTexts(item, read.items[i].variable)
                                  : EntryOfBytes(item, restored.items.empty() ? nullptr : restored.items[i].variable);
            entry.path = kept_.Keep(path);
            Add(entry);
        }
    }
}

DiffEntry DiffSide::EntryOfTexts(const StoredItem& item, const host::Variable* variable) {
    if (variable != nullptr && variable->Retrieved()) {
        return {{}, variable->Type(), kept_.Keep(BytesOf(*variable)), {}};
    }
    std::vector<KeptText> texts;
    for (const std::string_view text : item.texts) {
        texts.push_back(kept_.Keep(text));
    }
    return {{}, std::nullopt, std::nullopt, kept_.KeepList(texts)};
}

DiffEntry DiffSide::EntryOfBytes(const StoredItem& item, const host::Variable* variable) {
    const bool hasType = variable != nullptr && variable->SizeInBytes() == item.bytes.size();
    return {{}, hasType ? std::optional(variable->Type()) : std::nullopt, kept_.Keep(item.bytes), {}};
}

/// Of two variables with the same path the last one counts, in the place of the first.
void DiffSide::Add(const DiffEntry& entry) {
    entries_.push_back(entry);
    const std::size_t before = index_.Add(entries_, entries_.size() - 1);
    if (before != PathIndex::kNotFound) {
        entries_[before] = entry;
        entries_.pop_back();
    }
}

}  // namespace tal::talstore
