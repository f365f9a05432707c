/// @file
/// What becomes of one layout's files in a board with another one, or the same.
#ifndef TALSTORE_OUTLOOK_H
#define TALSTORE_OUTLOOK_H

#include <set>
#include <string>
#include <vector>

#include "ReferenceHost.h"
#include "board/PredictLosses.h"
#include "board/Restore.h"
#include "board/TypeChange.h"
#include "formats/StorageFile.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

class ProviderSession;

struct Outlook {
    std::vector<PredictedLoss> losses;
    std::set<const host::Variable*> reached;  ///< Variables that something in the file is for.
    std::set<std::string> twice;              ///< Paths of several things: nothing about them is certain.
    std::set<std::string> astray;             ///< What is stored for these variables reaches others.
    Certainty fails = Certainty::No;

    void Reach(const host::Variable& from, const host::Variable& to) {
        if (!reached.insert(&to).second) {
            twice.insert(to.Path());
        }
        if (from.Path() != to.Path()) {
            astray.insert(from.Path());
        }
    }

    void Add(const std::string& path, const Effects& effects) {
        for (const Effect& effect : effects) {
            losses.push_back({path, NameOf(effect.outcome), effect.isCertain, effect.reason});
        }
    }
    void Ignore(const host::Variable& variable, const std::string& reason) {
        losses.push_back({variable.Path(), kIgnored, true, reason});
    }
};

/// Of documents and secure files, which go by path.
/// @param file, contents  As the library stores it for the layout `stored`.
/// @param layout          The board's; its values are overwritten.
[[nodiscard]] Outlook OutlookOfItems(const ProviderSession& session, const StorageFile& file,
                                     const StoredContents& contents, const host::Database& stored,
                                     host::Database& layout);

/// Of raw images, which go by place.
[[nodiscard]] Outlook OutlookOfImage(const host::Database& stored, const host::Database& layout);

}  // namespace tal::talstore

#endif
