/// @file
/// What a board with a given layout makes of a file, found out by letting the library retrieve it.
#ifndef TALSTORE_RESTORE_H
#define TALSTORE_RESTORE_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ReferenceHost.h"
#include "board/ProviderSession.h"
#include "formats/StorageFile.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

class KnownPaths;

/// How a variable of the layout ends.
enum class Outcome {
    Restored,
    Changed,    ///< Restored, but not to the value that the document shows.
    Partly,     ///< Restored, but some of its bytes keep what the board held before.
    Refused,    ///< The file holds it, but the board does not take it.
    Defaulted,  ///< Takes its default.
    ReadOnly,   ///< Takes its default: it is in a read-only object, which this format never stores.
    Left        ///< Neither restored nor defaulted: the board gives up before it sets the defaults.
};
constexpr std::size_t kOutcomeCount = 7;

/// "restored", "changed" and so on.
[[nodiscard]] const char* NameOf(Outcome outcome);

/// What is said of an item of the file for which the layout has no variable.
constexpr const char* kIgnored = "ignored";

/// Whether nothing is lost.
[[nodiscard]] constexpr bool IsAsExpected(Outcome outcome) {
    return outcome == Outcome::Restored || outcome == Outcome::ReadOnly;
}

struct VariableReport {
    host::Variable* variable = nullptr;
    bool isStored = true;  ///< False in read-only objects of formats that leave them out.
    Outcome outcome = Outcome::Defaulted;
    std::size_t item = kNone;  ///< The last item that was stored for it.
    std::string reason;
};

/// What becomes of an item of the file. The host sees every look-up and every mark, and these decide.
enum class Fate {
    Taken,    ///< Found and marked as retrieved.
    Refused,  ///< Found, but not taken.
    Dropped,  ///< Found and not taken, though nothing was wrong with it.
    Ignored   ///< Not found, or never looked up.
};

struct ItemReport {
    Fate fate = Fate::Ignored;
    std::string unregisteredPath;  ///< Where the board looks it up and finds nothing.
    const host::Variable* variable = nullptr;
    std::string reason;

    /// Where the board looks it up; empty when it does not.
    [[nodiscard]] const std::string& BoardPath() const {
        return variable == nullptr ? unregisteredPath : variable->Path();
    }
    /// What is said of one that is lost.
    [[nodiscard]] const char* KindOfLoss() const { return fate == Fate::Refused ? NameOf(Outcome::Refused) : kIgnored; }
};

struct RestoreReport {
    Run run;
    std::string failure;                    ///< Why the retrieve fails, empty when it does not.
    std::vector<VariableReport> variables;  ///< In tree order, without those that hold objects.
    std::vector<ItemReport> items;          ///< One per item of the contents.

    [[nodiscard]] std::array<std::size_t, kOutcomeCount> Counts() const;
    [[nodiscard]] std::size_t IgnoredCount() const;
    /// The items that the board does not take, except those whose variable has a report of its own.
    [[nodiscard]] std::vector<std::size_t> LostItems() const;
    /// Whether every variable is as expected and no item is refused or ignored.
    [[nodiscard]] bool IsClean() const;
};

/// Retrieves the file over values that are neither the defaults nor in the file, so that whatever the file does not set
/// shows; a second time if something does.
/// @param session   Of a provider of the file's format.
/// @param contents  Of the file.
/// @param layout    Holds afterwards what a board that held its defaults holds; retrieved marks included.
/// @param paths     Of the layout; null for a file that is the only one.
[[nodiscard]] RestoreReport Restore(const ProviderSession& session, const StorageFile& file,
                                    const StoredContents& contents, host::Database& layout,
                                    KnownPaths* paths = nullptr);

/// Retrieves the file once, over what the variables hold, and reports no variables, for those who do not ask for them:
/// to find out which bytes of them the file does not set is a large part of the work.
/// @param layout  As when it was made, or set to its defaults.
[[nodiscard]] RestoreReport RestoreItems(const ProviderSession& session, const StorageFile& file,
                                         const StoredContents& contents, host::Database& layout);

/// "2 bytes in the file, 4 in the layout"
[[nodiscard]] std::string SizesText(std::size_t bytesInFile, std::size_t bytesInLayout);

using VariableVisitor = std::function<void(host::Variable& variable, bool isWritable)>;

/// Visits every variable that has a value, in the order in which all providers walk the tree.
/// @param visit  Is told whether all objects around the variable are writable.
void VisitVariables(const host::Database& layout, const VariableVisitor& visit);

}  // namespace tal::talstore

#endif
