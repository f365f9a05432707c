/// @file
/// What is noteworthy in a file once a board's layout is known.
#ifndef TALSTORE_RESTORE_FINDINGS_H
#define TALSTORE_RESTORE_FINDINGS_H

#include <optional>
#include <string>
#include <vector>

#include "board/Restore.h"

namespace tal::talstore {

/// @return the finding that nothing of the file gets into the board; none when something does.
[[nodiscard]] std::optional<Finding> FindNothingRestored(const StoredContents& contents, const RestoreReport& report);

/// @return why a reader stops before the end of the file, or the retrieve fails; empty when all of it is read.
[[nodiscard]] std::string DamageOf(const StoredContents& contents, const RestoreReport& report);

/// Strings without a NUL or cut inside a character, and elements that another variable takes.
[[nodiscard]] std::vector<Finding> FindInValues(const StoredContents& contents, const RestoreReport& report);

}  // namespace tal::talstore

#endif
