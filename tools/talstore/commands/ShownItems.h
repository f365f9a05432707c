/// @file
/// The variables of a file as they are shown: by the path that a board looks up, and typed where the type is known.
#ifndef TALSTORE_SHOWN_ITEMS_H
#define TALSTORE_SHOWN_ITEMS_H

#include <memory>
#include <string>

#include "ReferenceHost.h"
#include "board/DocumentValues.h"
#include "board/Restore.h"

namespace tal::talstore {

/// What has the paths and the types of a file's items: the layout, or one that is made for a document.
class ShownItems {
public:
    /// @param layout         Null for none.
    /// @param readsDocument  Whether the values of a document are needed, too, with a layout or without.
    ShownItems(const StorageFile& file, const StoredContents& contents, std::uint32_t channel,
               std::unique_ptr<host::Database> layout, bool readsDocument);

    [[nodiscard]] std::string PathOf(std::size_t index) const;

    /// @return the variable whose type, and in a document whose value, the item has; null when none is known, and for
    ///         one that holds objects.
    [[nodiscard]] const host::Variable* VariableOf(std::size_t index) const;

    /// @return the bytes of the item's value; what a board reads of a document.
    [[nodiscard]] std::string_view BytesOf(std::size_t index, const host::Variable& variable) const;

private:
    [[nodiscard]] const host::Variable* Candidate(std::size_t index) const;

    const FormatInfo& format_;
    const StoredContents& contents_;
    std::unique_ptr<host::Database> layout_;
    RestoreReport report_;
    DocumentValues document_;
};

}  // namespace tal::talstore

#endif
