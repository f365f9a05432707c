/// @file
/// What the variables hold before a retrieve, so that whatever the retrieve does not write can be told afterwards.
#ifndef TALSTORE_FILLERS_H
#define TALSTORE_FILLERS_H

#include <cstddef>
#include <cstdint>
#include <unordered_set>

#include "ReferenceHost.h"
#include "formats/Formats.h"

namespace tal::talstore {

/// No element holds its default, nor what the file has for it, so that one that still holds its filler has not been
/// written. Only a file that stores an element in an unusual way can bring its filler back.
class Fillers {
public:
    /// Fills every variable of the layout.
    /// @param format  Of the file that is retrieved; null for none.
    Fillers(const host::Database& layout, const FormatInfo* format);

    /// Has to be told which item is written next into the variable.
    void Avoid(const host::Variable& variable, const StoredItem& item);

    /// Whether an element of the variable holds its filler.
    [[nodiscard]] bool AreIn(const host::Variable& variable) const;

private:
    /// What is written as a whole or not at all.
    [[nodiscard]] std::size_t UnitOf(const host::Variable& variable) const;
    [[nodiscard]] bool IsFiller(const std::uint8_t* content, const std::uint8_t* defaults, std::size_t size) const;
    [[nodiscard]] bool IsInItem(const host::Variable& variable, const std::uint8_t* content, std::size_t offset,
                                const StoredItem& item) const;

    const FormatInfo* format_;
    std::unordered_set<const std::uint8_t*> others_;  ///< The contents that got the other filler.
};

}  // namespace tal::talstore

#endif
