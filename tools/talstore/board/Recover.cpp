#include "board/Recover.h"

#include <map>
#include <optional>

#include "board/Restore.h"
#include "board/StoredPaths.h"
#include "board/Value.h"
#include "formats/Salvage.h"

namespace tal::talstore {

namespace {

/// Which variable is meant by a path in a file.
class VariablesByPath {
public:
    VariablesByPath(const FormatInfo& format, std::uint32_t channel, host::Database& layout)
        : stored_(FindStoredPaths(format, channel, layout)) {
        // A file may hold what no board would store.
        VisitVariables(layout, [&](const host::Variable& variable, bool /*isWritable*/) {
            stored_.byPath.emplace(variable.Path(), &variable);
        });
    }

    /// @return null for a path of which nothing is known.
    [[nodiscard]] const host::Variable* Find(const std::string& path) const {
        const auto found = stored_.byPath.find(path);
        return found == stored_.byPath.end() ? nullptr : found->second;
    }
    [[nodiscard]] const std::vector<StoredPath>& Stored() const { return stored_.inTreeOrder; }

private:
    StoredPaths stored_;
};

/// What is found, by variable; of several values the last one, as for a board.
class Finds {
public:
    explicit Finds(const VariablesByPath& paths) : paths_(paths) {}

    void Add(const std::string& path, RecoveredValue value) {
        value.variable = paths_.Find(path);
        if (value.variable == nullptr) {
            recovery_.unknown.push_back(path);
        } else {
            values_[value.variable] = std::move(value);
        }
    }

    /// Notes what a board restores, and adds what nothing but a board finds.
    void Compare(const RestoreReport& report) {
        for (const VariableReport& variable : report.variables) {
            if (!variable.variable->Retrieved()) {
                continue;
            }
            const auto [found, isNew] = values_.try_emplace(variable.variable);
            RecoveredValue& value = found->second;
            value.boardsBytes = BytesOf(*variable.variable);
            if (isNew) {
                value.variable = variable.variable;
                value.bytes = value.boardsBytes;
            }
            value.isRestored = true;
            value.isAsFound = value.texts.empty() ? value.bytes == value.boardsBytes : IsOfTexts(value);
        }
    }

    Recovery Take(const host::Database& layout) {
        VisitVariables(layout, [&](const host::Variable& variable, bool /*isWritable*/) {
            const auto found = values_.find(&variable);
            if (found != values_.end()) {
                recovery_.values.push_back(std::move(found->second));
            }
        });
        for (const StoredPath& stored : paths_.Stored()) {
            if (values_.count(stored.variable) == 0) {
                recovery_.missing.push_back(stored.variable);
            }
        }
        return std::move(recovery_);
    }

private:
    static bool IsOfTexts(const RecoveredValue& value) {
        const std::vector<KeptText> texts(value.texts.begin(), value.texts.end());
        return IsValueOfTexts(value.variable->Type(), value.boardsBytes,
                              {texts.data(), static_cast<std::uint32_t>(texts.size())});
    }

    const VariablesByPath& paths_;
    std::map<const host::Variable*, RecoveredValue> values_;
    Recovery recovery_;
};

void AddRecords(std::string_view bytes, const VariablesByPath& paths, Finds& finds) {
    const SizeOfPath sizeOf = [&](const std::string& path) {
        const host::Variable* const variable = paths.Find(path);
        return variable == nullptr ? std::nullopt : std::optional<std::size_t>(variable->SizeInBytes());
    };
    for (const SalvagedRecord& record : SalvageRecords(bytes, sizeOf)) {
        RecoveredValue value = {};
        value.bytes = record.data;
        finds.Add(record.path, std::move(value));
    }
}

void AddDocument(const StorageFile& file, Finds& finds) {
    const StorageFile salvaged = {file.name, SalvageDocument(file.bytes), file.format};
    const StoredContents contents = Inspect(salvaged, nullptr);
    for (const std::size_t index : contents.handedOn) {
        const StoredItem& item = contents.items[index];
        if (!item.holdsObjects && !item.texts.empty()) {
            RecoveredValue value = {};
            value.texts.assign(item.texts.begin(), item.texts.end());
            finds.Add(item.path, std::move(value));
        }
    }
}

}  // namespace

Recovery Recover(const ProviderSession& session, const StorageFile& file, host::Database& layout) {
    const FormatInfo& format = InfoOf(file.format);
    const VariablesByPath paths(format, session.Channel(), layout);
    Finds finds(paths);
    if (format.hasTexts) {
        AddDocument(file, finds);
    } else if (format.looksItemsUp) {
        AddRecords(file.bytes, paths, finds);
    }
    const StoredContents contents = Inspect(file, &layout);
    finds.Compare(Restore(session, file, contents, layout));
    return finds.Take(layout);
}

}  // namespace tal::talstore
