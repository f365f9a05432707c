#include "board/TypeChange.h"

#include <algorithm>
#include <cstdint>

#include "TypeTable.h"
#include "board/NumberRange.h"
#include "board/Value.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

using host::TypeInfo;
using host::TypeKind;

const TypeInfo& TypeOf(const host::Variable& variable) {
    return *host::FindType(variable.Type());
}

bool HasCertain(const Effects& effects, Outcome outcome) {
    return std::any_of(effects.begin(), effects.end(),
                       [&](const Effect& effect) { return effect.outcome == outcome && effect.isCertain; });
}

/// What is refused is nothing else, and what is partly restored is not said to be changed.
Effects Settled(Effects effects) {
    const auto comesBefore = [](Outcome outcome, Outcome other) {
        return outcome == Outcome::Refused ? other != Outcome::Refused
                                           : outcome == Outcome::Partly && other == Outcome::Changed;
    };
    for (const Outcome outcome : {Outcome::Refused, Outcome::Partly}) {
        if (HasCertain(effects, outcome)) {
            effects.erase(std::remove_if(effects.begin(), effects.end(),
                                         [&](const Effect& effect) { return comesBefore(outcome, effect.outcome); }),
                          effects.end());
        }
    }
    for (Effect& effect : effects) {
        effect.isCertain = effect.isCertain && std::none_of(effects.begin(), effects.end(), [&](const Effect& other) {
                               return comesBefore(other.outcome, effect.outcome);
                           });
    }
    return effects;
}

bool IsU32(const TypeInfo& type) {
    return type.kind == TypeKind::Unsigned && type.elementSize == sizeof(std::uint32_t);
}

/// The whole numbers that come out of a document as they were.
NumberRange RangeOfTexts(const TypeInfo& from, const TypeInfo& to) {
    constexpr std::int64_t kMostOfAFloat = 1 << 24;
    NumberRange range = to.kind != TypeKind::Real         ? RangeOfElements(to)
                        : to.elementSize == sizeof(float) ? NumberRange{-kMostOfAFloat, kMostOfAFloat}
                                                          : RangeOf<std::int64_t>();
    // The writer shows the larger half of them as negative numbers.
    if (IsU32(from) && !IsU32(to)) {
        range.most = std::min(range.most, RangeOf<std::int32_t>().most);
    }
    return range;
}

/// How long the texts of a type are that the writer writes.
struct Lengths {
    std::size_t least;  ///< That mean the number: the rest of 5.000000e+00 may be cut off.
    std::size_t most;
};

Lengths LengthsOf(const TypeInfo& type) {
    if (type.kind == TypeKind::Bool) {
        return {4, 5};
    }
    if (type.kind == TypeKind::Real) {
        // "-3.402823e+38" and "-1.797693e+308".
        return {1, type.elementSize == sizeof(float) ? std::size_t{13} : std::size_t{14}};
    }
    const NumberRange range = IsU32(type) ? RangeOf<std::int32_t>() : RangeOfElements(type);
    return {1, std::max(std::to_string(range.least).size(), std::to_string(range.most).size())};
}

/// The longest text that a string of that capacity holds.
std::size_t RoomOf(const host::Variable& string) {
    return std::max(string.ElementCount(), 1U) - 1;
}

Effect Cut(std::size_t room) {
    return Effect::Possible(Outcome::Changed, "texts of more than " + Count(room, "byte") + " are cut");
}

Effects TextOfNumber(const TypeInfo& from, const host::Variable& to) {
    const Lengths lengths = LengthsOf(from);
    const std::size_t room = RoomOf(to);
    if (room < lengths.least) {
        return {Effect::Certain(Outcome::Changed, "no text of its value fits")};
    }
    Effects effects;
    if (room < lengths.most) {
        effects.push_back(Cut(room));
    }
    if (IsU32(from)) {
        effects.push_back(
            Effect::Possible(Outcome::Changed, "numbers above 2147483647 become the texts of negative ones"));
    }
    return effects;
}

Effects TextOfText(const host::Variable& from, const host::Variable& to) {
    // The reader keeps no more, whatever the capacity.
    constexpr std::size_t kLongestText = 2046;
    const std::size_t longest = std::min(RoomOf(from), kLongestText);
    if (longest == 0 && RoomOf(to) > 0) {
        return {Effect::Certain(Outcome::Changed, "an empty text comes back as the text before it in the document")};
    }
    if (longest <= RoomOf(to)) {
        return {};
    }
    return {RoomOf(to) == 0 ? Effect::Certain(Outcome::Changed, "it has no room for a text") : Cut(RoomOf(to))};
}

Effects NumberOfText(const host::Variable& from, const TypeInfo& to) {
    const bool isNeverNumber = RoomOf(from) == 0;
    if (to.kind == TypeKind::Bool) {
        constexpr std::size_t kShortestWord = 4;
        return {{Outcome::Refused, RoomOf(from) < kShortestWord, "a text other than TRUE and FALSE is no BOOL"}};
    }
    Effects effects = {{Outcome::Changed, isNeverNumber, "a text that is no number of its type becomes another"}};
    if (to.kind == TypeKind::Real && to.elementSize == sizeof(float)) {
        effects.push_back({Outcome::Partly, isNeverNumber, "a text that is no number leaves what the board held"});
    }
    return effects;
}

/// Only these two types are read by a conversion that leaves what it finds when the text is no number, and by one
/// that knows no sign.
bool IsScannedUnsigned(const TypeInfo& to) {
    return to.isArray && (IsU32(to) || to.kind == TypeKind::Char);
}

Effects NumberOfBool(const TypeInfo& to) {
    const bool isScannedFloat = to.kind == TypeKind::Real && to.elementSize == sizeof(float);
    if (isScannedFloat || IsScannedUnsigned(to)) {
        return {Effect::Certain(Outcome::Partly, "TRUE and FALSE are no numbers and leave what the board held")};
    }
    return {Effect::Possible(Outcome::Changed, "TRUE becomes 0")};
}

Effects NumberOfReal(const TypeInfo& from, const TypeInfo& to) {
    if (to.kind == TypeKind::Real) {
        return to.elementSize >= from.elementSize
                   ? Effects()
                   : Effects{Effect::Possible(Outcome::Changed, "numbers beyond a FLOAT become inf or 0")};
    }
    Effects effects = {Effect::Possible(Outcome::Changed,
                                        "only the digit before the point is taken: 12 stands there as 1.200000e+01")};
    if (IsScannedUnsigned(to)) {
        effects.push_back(Effect::Possible(Outcome::Partly, "nan and inf leave what the board held"));
    }
    return effects;
}

/// Of one value or one element.
Effects EffectsOnText(const host::Variable& fromVariable, const host::Variable& toVariable) {
    const TypeInfo& from = TypeOf(fromVariable);
    const TypeInfo& to = TypeOf(toVariable);
    if (to.kind == TypeKind::String) {
        return from.kind == TypeKind::String ? TextOfText(fromVariable, toVariable) : TextOfNumber(from, toVariable);
    }
    if (from.kind == TypeKind::String) {
        return NumberOfText(fromVariable, to);
    }
    if (from.kind == TypeKind::Bool || to.kind == TypeKind::Bool) {
        return from.kind == to.kind ? Effects()
               : to.kind == TypeKind::Bool
                   ? Effects{Effect::Certain(Outcome::Refused, "a number is no BOOL, which takes TRUE and FALSE")}
                   : NumberOfBool(to);
    }
    return from.kind == TypeKind::Real ? NumberOfReal(from, to)
                                       : EffectsOutsideOf(RangeOfTexts(from, to), RangeOfElements(from));
}

/// Of an array, or an object array, which have no value.
Effects EffectsOnNoValue(const host::Variable& from, const TypeInfo& to) {
    if (to.kind == TypeKind::Bool) {
        return {Effect::Certain(Outcome::Refused, "the document has elements and no value for it")};
    }
    if (to.kind == TypeKind::Real && to.elementSize == sizeof(float)) {
        return {Effect::Certain(Outcome::Partly,
                                "the document has elements and no value for it: it keeps what the board held")};
    }
    if (to.kind == TypeKind::String) {
        return {Effect::Certain(Outcome::Changed, "the document has elements and no value for it: it becomes empty")};
    }
    // An only element may happen to be 0.
    return {{Outcome::Changed, TypeOf(from).kind == TypeKind::Object || from.ElementCount() != 1,
             "the document has elements and no value for it: it becomes 0"}};
}

Effects EffectsOnElements(const host::Variable* elements, const host::Variable& to) {
    const std::uint32_t count = elements == nullptr ? 0 : elements->ElementCount();
    const std::uint32_t taken = std::min(count, to.ElementCount());
    Effects effects = taken == 0 ? Effects() : EffectsOnText(*elements, to);
    const std::string inTheLayout = ", " + std::to_string(to.ElementCount()) + " in the layout";
    if (count < to.ElementCount()) {
        effects.push_back(Effect::Certain(Outcome::Partly, Count(count, "element") + " in the file" + inTheLayout +
                                                               ": the rest keeps what the board held"));
    } else if (count > to.ElementCount()) {
        effects.push_back(Effect::Certain(Outcome::Changed, Count(count, "element") + " in the file" + inTheLayout));
    }
    return effects;
}

/// Whatever is taken of another variable's texts is not what was stored for this one.
Effects OfAnother(Effects effects, const host::Variable& other, bool isCertain) {
    effects.erase(std::remove_if(effects.begin(), effects.end(),
                                 [](const Effect& effect) { return effect.outcome == Outcome::Changed; }),
                  effects.end());
    effects.push_back({Outcome::Changed, isCertain, "it takes what is stored for " + Printable(other.Path())});
    return effects;
}

}  // namespace

Effects EffectsOnTexts(const host::Variable& from, const TextsAtHand& texts, const host::Variable& to) {
    const TypeInfo& toType = TypeOf(to);
    const bool isObjectArray = TypeOf(from).kind == TypeKind::Object;
    Effects effects;
    if (toType.isArray) {
        effects = EffectsOnElements(texts.elements, to);
        if (texts.elements != nullptr && texts.elements != &from) {
            // An only element may happen to be the value.
            effects = OfAnother(effects, *texts.elements, isObjectArray || to.ElementCount() != 1);
        } else if (!TypeOf(from).isArray && to.ElementCount() == 0) {
            effects = {Effect::Certain(Outcome::Changed, "a value in the file, 0 elements in the layout")};
        }
    } else {
        effects = texts.value == nullptr ? EffectsOnNoValue(from, toType) : EffectsOnText(*texts.value, to);
        if (texts.value != nullptr && texts.value != &from) {
            effects = OfAnother(effects, *texts.value, true);
        }
    }
    return Settled(effects);
}

}  // namespace tal::talstore
