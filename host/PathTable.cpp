#include "PathTable.h"

#include "ReferenceHost.h"

namespace tal::host {

namespace {

std::size_t SlotCountFor(std::size_t variableCount) {
    std::size_t slotCount = 2;
    while (slotCount < 2 * variableCount) {
        slotCount *= 2;
    }
    return slotCount;
}

}  // namespace

void PathTable::Rebuild(const std::vector<Variable*>& variables) {
    slots_.assign(SlotCountFor(variables.size()), Slot{});
    variableCount_ = variables.size();
    for (Variable* variable : variables) {
        Slot& slot = slots_[SlotFor(variable->Path(), variable->PathHash())];
        if (slot.variable == nullptr) {
            slot = {variable->PathHash(), variable};
        }
    }
}

Variable* PathTable::Find(std::string_view path) const {
    return slots_.empty() ? nullptr : slots_[SlotFor(path, Hash(path))].variable;
}

std::size_t PathTable::SlotFor(std::string_view path, std::size_t hash) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t index = hash & mask;
    while (slots_[index].variable != nullptr &&
           (slots_[index].hash != hash || slots_[index].variable->Path() != path)) {
        index = (index + 1) & mask;
    }
    return index;
}

}  // namespace tal::host
