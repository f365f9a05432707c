#include "board/NumberRange.h"

namespace tal::talstore {

NumberRange RangeOfElements(const host::TypeInfo& type) {
    const bool isSigned = type.kind == host::TypeKind::Signed;
    switch (type.elementSize) {
        case 1:
            return isSigned ? RangeOf<std::int8_t>() : RangeOf<std::uint8_t>();
        case 2:
            return isSigned ? RangeOf<std::int16_t>() : RangeOf<std::uint16_t>();
        default:
            return isSigned ? RangeOf<std::int32_t>() : RangeOf<std::uint32_t>();
    }
}

Effects EffectsOutsideOf(NumberRange kept, NumberRange possible) {
    std::string which;
    if (possible.least < kept.least) {
        which = "below " + std::to_string(kept.least);
    }
    if (possible.most > kept.most) {
        which += (which.empty() ? "above " : " and above ") + std::to_string(kept.most);
    }
    return which.empty() ? Effects()
                         : Effects{Effect::Possible(Outcome::Changed, "numbers " + which + " become others")};
}

}  // namespace tal::talstore
