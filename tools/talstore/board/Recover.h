/// @file
/// What a damaged file holds of a layout's variables, and what a board makes of it.
#ifndef TALSTORE_RECOVER_H
#define TALSTORE_RECOVER_H

#include <cstddef>
#include <string>
#include <vector>

#include "ReferenceHost.h"
#include "board/ProviderSession.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

struct RecoveredValue {
    const host::Variable* variable;  ///< Of the layout.
    std::string bytes = {};          ///< Of files that hold bytes.
    std::vector<std::string> texts;  ///< Of documents: the value, or the elements of an array.
    std::string boardsBytes = {};    ///< What a board has from the file instead.
    bool isRestored = false;         ///< Whether a board restores something.
    bool isAsFound = false;          ///< Whether that is this value.
};

struct Recovery {
    std::vector<RecoveredValue> values;          ///< In tree order.
    std::vector<const host::Variable*> missing;  ///< That the format stores, and of which nothing is found.
    std::vector<std::string> unknown;            ///< Paths that are in the file only; they may be damaged.
};

/// @param session  Of the provider of the file's format.
/// @param layout   Of the board that stored the file. Its values are overwritten.
[[nodiscard]] Recovery Recover(const ProviderSession& session, const StorageFile& file, host::Database& layout);

}  // namespace tal::talstore

#endif
