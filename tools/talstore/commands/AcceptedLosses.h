/// @file
/// Losses that somebody has decided on, from a file that talstore(1) describes.
#ifndef TALSTORE_ACCEPTED_LOSSES_H
#define TALSTORE_ACCEPTED_LOSSES_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commands/PathFilter.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

/// One entry: what may become of some variables, and why that is fine.
struct AcceptedLoss {
    std::string variable;  ///< A pattern, see PathFilter.
    std::string kind;      ///< "refused", "ignored" and so on.
    std::string reason;
    std::optional<Format> format;  ///< None: in every format.
};

/// What may become of a variable when it is not as expected, and of an item of the file.
[[nodiscard]] const std::vector<std::string>& KindsOfLoss();

class AcceptedLosses {
public:
    /// Accepts nothing.
    AcceptedLosses() = default;

    /// @param name  For messages.
    /// Throws InputError, which says where it is wrong.
    static AcceptedLosses Parse(const std::string& name, std::string_view text);
    /// @param fileName  Empty: nothing is accepted.
    static AcceptedLosses Load(const std::string& fileName);

    /// Remembers which entries match.
    /// @return the first entry that accepts the loss; null when none does.
    [[nodiscard]] const AcceptedLoss* Find(Format format, const std::string& path, std::string_view kind);

    /// The entries that have matched nothing so far, without those for formats that nobody has looked at.
    [[nodiscard]] std::vector<AcceptedLoss> Unmatched(const std::vector<Format>& formats) const;

private:
    struct Entry {
        AcceptedLoss loss;
        PathFilter variables;
        bool hasMatched = false;
    };
    std::vector<Entry> entries_;
};

/// The entries for programs.
[[nodiscard]] nlohmann::ordered_json UnmatchedJson(const std::vector<AcceptedLoss>& unmatched);

}  // namespace tal::talstore

#endif
