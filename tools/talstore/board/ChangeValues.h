/// @file
/// Other values in a file that is there, of which every other byte stays as it is.
#ifndef TALSTORE_CHANGE_VALUES_H
#define TALSTORE_CHANGE_VALUES_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "board/Losses.h"
#include "board/Restore.h"

namespace tal::talstore {

/// A value as the file has it now and shall have it.
struct Change {
    std::string path;
    VariableType type;
    std::string before;
    std::string after;
};

struct ChangedFile {
    std::string bytes;  ///< Of use when nothing is refused.
    std::size_t differingBytes = 0;
    std::vector<Change> changes;  ///< In the order in which they are asked for.
    std::vector<Loss> refused;    ///< What cannot be done, each with its reason.
};

/// @return a database with the layout's defaults.
using MakeLayout = std::function<std::unique_ptr<host::Database>()>;

/// Puts the values in the place of those that the file holds for the same variables, reads the result back through the
/// library and compares everything that a board gets from it.
/// @param session  Of the provider of the file's format.
/// @param values   Paths of the layout, each with a text as SetValue takes it. Throws InputError for a text that does
///                 not fit.
[[nodiscard]] ChangedFile ChangeValues(const ProviderSession& session, const StorageFile& file,
                                       const MakeLayout& makeLayout,
                                       const std::vector<std::pair<std::string, std::string>>& values);

}  // namespace tal::talstore

#endif
