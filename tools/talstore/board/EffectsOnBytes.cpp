#include "TypeTable.h"
#include "board/NumberRange.h"
#include "board/TypeChange.h"
#include "board/Value.h"

namespace tal::talstore {

namespace {

using host::TypeInfo;
using host::TypeKind;

Effects EffectsOnOtherKind(const TypeInfo& from, const TypeInfo& to) {
    if (from.kind == TypeKind::Real || to.kind == TypeKind::Real) {
        return {Effect::Possible(Outcome::Changed, std::string("its bytes are taken for those of ") + to.name +
                                                       ", where little but 0 means the same")};
    }
    if (to.kind == TypeKind::Bool) {
        return {Effect::Possible(Outcome::Changed, "numbers other than 0 and 1 become TRUE")};
    }
    if (from.kind == TypeKind::Bool) {
        return {Effect::Possible(Outcome::Changed, "TRUE may be stored as another number than 1")};
    }
    return EffectsOutsideOf(RangeOfElements(to), RangeOfElements(from));
}

}  // namespace

Effects EffectsOnBytes(const host::Variable& fromVariable, const host::Variable& toVariable) {
    const TypeInfo& from = *host::FindType(fromVariable.Type());
    const TypeInfo& to = *host::FindType(toVariable.Type());
    if (from.kind == to.kind && from.elementSize == to.elementSize) {
        return {};
    }
    const auto isText = [](const TypeInfo& type) {
        return type.kind == TypeKind::String || type.kind == TypeKind::Char;
    };
    if (isText(from) && isText(to)) {
        return to.kind == TypeKind::String
                   ? Effects{Effect::Possible(Outcome::Changed,
                                              "without a 0 among them, they are a text without an end")}
                   : Effects();
    }
    const bool isString = from.kind == TypeKind::String || to.kind == TypeKind::String;
    if (toVariable.SizeInBytes() == 0) {
        return {};
    }
    if (isString || from.elementSize != to.elementSize) {
        return {Effect::Certain(Outcome::Changed, "its bytes are taken for those of " + TypeText(toVariable))};
    }
    return EffectsOnOtherKind(from, to);
}

}  // namespace tal::talstore
