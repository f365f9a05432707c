/// @file
/// What becomes of a value when the variable that takes it has another type than the one that it was stored from.
#ifndef TALSTORE_TYPE_CHANGE_H
#define TALSTORE_TYPE_CHANGE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ReferenceHost.h"
#include "board/Restore.h"

namespace tal::talstore {

/// A loss.
struct Effect {
    Outcome outcome;  ///< Changed, Partly, Refused or Defaulted.
    bool isCertain;   ///< It happens to every value; otherwise to some and not to others.
    std::string reason;

    static Effect Certain(Outcome outcome, std::string reason) { return {outcome, true, std::move(reason)}; }
    static Effect Possible(Outcome outcome, std::string reason) { return {outcome, false, std::move(reason)}; }
};

/// None when no value is lost. What a certain one leaves no room for is left out.
using Effects = std::vector<Effect>;

/// What becomes of bytes of the right size, as secure and binary files hold them.
[[nodiscard]] Effects EffectsOnBytes(const host::Variable& from, const host::Variable& to);

/// What a document's reader has at hand when a variable ends, and where it comes from. It goes by the type that the
/// variable has now: an array takes elements, everything else a value.
struct TextsAtHand {
    const host::Variable* value = nullptr;     ///< Its text; null for an empty one.
    const host::Variable* elements = nullptr;  ///< Of this array; null for none.
};

/// What becomes of the value of a variable of a document.
/// @param from  May be an object array, which has no value of its own; `to` neither an object nor an array of those.
[[nodiscard]] Effects EffectsOnTexts(const host::Variable& from, const TextsAtHand& texts, const host::Variable& to);

}  // namespace tal::talstore

#endif
