/// @file
/// Values from one layout into another, by their paths and by what they mean.
#ifndef TALSTORE_CARRY_OVER_H
#define TALSTORE_CARRY_OVER_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "ReferenceHost.h"
#include "board/Losses.h"

namespace tal::talstore {

/// New paths by old ones, of variables, or of regions and objects for all that is in them.
class Renames {
public:
    /// @param name  For messages.
    /// @param text  A JSON object of texts.
    /// Throws InputError.
    static Renames Parse(const std::string& name, std::string_view text);

    void Add(std::string oldPath, std::string newPath) { newPaths_[std::move(oldPath)] = std::move(newPath); }

    /// Of several that fit the longest old path counts.
    [[nodiscard]] std::string NewPathOf(const std::string& oldPath) const;

    /// The old paths under which the layout has nothing.
    [[nodiscard]] std::vector<std::string> Unknown(const host::Database& before) const;

private:
    std::map<std::string, std::string> newPaths_;
};

/// Gives the variables of `after` the values that those of `before` have retrieved, and marks them as retrieved. A
/// value of another type is taken when it means the same there, as a number that is in range does; an array of one
/// element and a scalar take one another's.
/// @return what it did not take: "ignored" by its old path, "refused" by its new one.
[[nodiscard]] std::vector<Loss> CarryOver(const host::Database& before, host::Database& after, const Renames& renames);

}  // namespace tal::talstore

#endif
