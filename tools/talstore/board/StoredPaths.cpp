#include "board/StoredPaths.h"

#include <algorithm>
#include <cstring>

#include "TypeTable.h"
#include "board/Restore.h"
#include "board/Value.h"

namespace tal::talstore {

namespace {

/// Whether the item is none of a variable that has a value.
bool IsOfObjects(const StoredItem& item) {
    VariableType type = 0;
    return item.holdsObjects || (host::FindTypeByName(item.type, type) && host::HoldsObjects(type));
}

/// Lets texts be empty while it lives: those of a layout may be what no document can hold.
class WithoutValues {
public:
    explicit WithoutValues(const host::Database& layout) {
        VisitVariables(layout, [&](host::Variable& variable, bool /*isWritable*/) {
            values_.emplace_back(&variable, BytesOf(variable));
            variable.SetToZero();
        });
    }
    ~WithoutValues() {
        for (const auto& [variable, bytes] : values_) {
            std::memcpy(variable->Content(), bytes.data(), bytes.size());
        }
    }
    WithoutValues(const WithoutValues&) = delete;
    WithoutValues& operator=(const WithoutValues&) = delete;

private:
    std::vector<std::pair<host::Variable*, std::string>> values_;
};

}  // namespace

StoredPaths FindStoredPaths(const FormatInfo& format, std::uint32_t channel, host::Database& layout) {
    StoredPaths paths;
    const WithoutValues values(layout);
    const ProviderSession session(ProviderOf(format.format), 0, channel, "file");
    const StorageFile file = {"file", session.Store(layout).bytes.value_or(""), format.format};
    const StoredContents contents = Inspect(file, &layout);
    auto item = contents.items.begin();
    VisitVariables(layout, [&](const host::Variable& variable, bool isWritable) {
        if (!isWritable && !format.storesReadOnlyObjects) {
            return;
        }
        item = std::find_if_not(item, contents.items.end(), IsOfObjects);
        if (item != contents.items.end()) {
            paths.inTreeOrder.push_back({std::string(item->path), &variable});
            paths.byPath.emplace(paths.inTreeOrder.back().path, &variable);
            ++item;
        }
    });
    return paths;
}

const StoredPaths& KnownPaths::Of(const FormatInfo& format, std::uint32_t channel, host::Database& layout) {
    constexpr std::size_t kMostKept = 16;
    const auto key = std::pair(format.format, channel);
    auto found = known_.find(key);
    if (found == known_.end()) {
        if (known_.size() == kMostKept) {
            known_.clear();
        }
        found = known_.emplace(key, FindStoredPaths(format, channel, layout)).first;
    }
    return found->second;
}

}  // namespace tal::talstore
