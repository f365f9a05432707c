#include "formats/KeptTexts.h"

#include <algorithm>
#include <functional>

namespace tal::talstore {

KeptText KeptTexts::Join(std::string_view first, std::string_view second, std::string_view third) {
    const std::size_t size = first.size() + second.size() + third.size();
    if (size == 0) {
        return {};
    }
    auto* const text = static_cast<char*>(memory_->allocate(size, 1));
    char* end = text;
    for (const std::string_view part : {first, second, third}) {
        end = std::copy(part.begin(), part.end(), end);
    }
    return KeptText({text, size});
}

TextList KeptTexts::KeepList(const std::vector<KeptText>& texts) {
    if (texts.empty()) {
        return {};
    }
    void* const memory = memory_->allocate(texts.size() * sizeof(KeptText), alignof(KeptText));
    auto* const first = static_cast<KeptText*>(memory);
    std::uninitialized_copy(texts.begin(), texts.end(), first);
    return {first, static_cast<std::uint32_t>(texts.size())};
}

std::uint32_t PathIndex::HashOf(std::string_view path) {
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(path));
}

void PathIndex::Grow() {
    constexpr std::size_t kFirstSize = 16;
    std::vector<Slot> before(std::max(2 * slots_.size(), kFirstSize));
    before.swap(slots_);
    for (const Slot& slot : before) {
        std::size_t place = slot.hash & (slots_.size() - 1);
        while (slot.number != kFree && slots_[place].number != kFree) {
            place = (place + 1) & (slots_.size() - 1);
        }
        if (slot.number != kFree) {
            slots_[place] = slot;
        }
    }
}

}  // namespace tal::talstore
