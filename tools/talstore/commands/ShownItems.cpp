#include "commands/ShownItems.h"

#include "TypeTable.h"
#include "board/Value.h"

namespace tal::talstore {

ShownItems::ShownItems(const StorageFile& file, const StoredContents& contents, std::uint32_t channel,
                       std::unique_ptr<host::Database> layout, bool readsDocument)
    : format_(InfoOf(file.format)), contents_(contents), layout_(std::move(layout)) {
    if (layout_ == nullptr && format_.hasTexts && readsDocument) {
        document_ = ReadDocumentValues(file, contents);
    }
    // Where a channel's items are looked up, any host sees.
    if (layout_ == nullptr && channel != 0) {
        layout_ = std::make_unique<host::Database>();
    }
    // A document shows its own texts, and only a channel makes a board look its variables up in another place.
    const bool isShownAsItIs = format_.hasTexts && !readsDocument && channel == 0;
    if (layout_ != nullptr && !isShownAsItIs) {
        const ProviderSession session(ProviderOf(file.format), 0, channel, file.name);
        report_ = Restore(session, file, contents, *layout_);
    }
}

std::string ShownItems::PathOf(std::size_t index) const {
    return report_.items.empty() || report_.items[index].BoardPath().empty() ? contents_.items[index].path
                                                                             : report_.items[index].BoardPath();
}

const host::Variable* ShownItems::VariableOf(std::size_t index) const {
    const host::Variable* const variable = Candidate(index);
    const bool fits =
        variable != nullptr && !host::HoldsObjects(variable->Type()) &&
        (format_.hasTexts ? variable->Retrieved() : variable->SizeInBytes() == contents_.items[index].bytes.size());
    return fits ? variable : nullptr;
}

std::string_view ShownItems::BytesOf(std::size_t index, const host::Variable& variable) const {
    return format_.hasTexts ? talstore::BytesOf(variable) : contents_.items[index].bytes;
}

const host::Variable* ShownItems::Candidate(std::size_t index) const {
    if (document_.layout != nullptr) {
        return document_.report.items[index].variable;
    }
    return report_.items.empty() ? nullptr : report_.items[index].variable;
}

}  // namespace tal::talstore
