/// @file
/// The values of an XML document as a board reads them that has exactly the document's variables.
#ifndef TALSTORE_DOCUMENT_VALUES_H
#define TALSTORE_DOCUMENT_VALUES_H

#include <map>
#include <memory>

#include "ReferenceHost.h"
#include "board/Restore.h"
#include "formats/StorageFile.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

struct DocumentValues {
    std::unique_ptr<host::Database> layout;
    RestoreReport report;
    /// Per item that no board takes, why. These are not in the layout: one of them would hide all those after it.
    std::map<std::size_t, std::string> refused;
};

/// Whether the report says what becomes of the variables, too, or of the items alone.
enum class Reported { Items, ItemsAndVariables };

/// Lets the library retrieve the document.
[[nodiscard]] DocumentValues ReadDocumentValues(const StorageFile& file, const StoredContents& contents,
                                                Reported reported = Reported::Items);

}  // namespace tal::talstore

#endif
