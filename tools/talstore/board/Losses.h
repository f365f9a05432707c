/// @file
/// What does not get from a file into a board, or from a board into a file and back.
#ifndef TALSTORE_LOSSES_H
#define TALSTORE_LOSSES_H

#include <string>
#include <vector>

#include "board/Restore.h"

namespace tal::talstore {

/// A variable, or an item of the input, that does not arrive as it was.
struct Loss {
    const char* kind;
    std::string path;
    std::string reason;
};

/// What the layout's board does not take from the file.
/// @param isDamaged  Whether what the board does not find may have been in the file.
[[nodiscard]] std::vector<Loss> LossesOfReading(const StoredContents& contents, const RestoreReport& report,
                                                bool isDamaged);

/// Whether it matters that the variable comes back.
using IsOfInterest = bool (*)(const host::Variable& stored, const VariableReport& restored);

/// A stored file as a board reads it.
struct ReadBack {
    RestoreReport report;
    std::vector<Loss> losses;

    [[nodiscard]] bool IsReadable() const { return !QBF_IsFailure(report.run.result); }
};

/// Retrieves a file that has just been stored, and compares.
/// @param stored  What was stored.
/// @param layout  The same tree with its defaults; holds afterwards what the board holds.
[[nodiscard]] ReadBack ReadBackFrom(const ProviderSession& session, const StorageFile& file,
                                    const host::Database& stored, host::Database& layout, IsOfInterest isOfInterest);

}  // namespace tal::talstore

#endif
