#include "board/Witness.h"

namespace tal::talstore {

Witness::Witness(host::Database& database, const TraceCapture& capture) : database_(database), capture_(capture) {
    database_.SetObserver(this);
}

Witness::~Witness() {
    database_.SetObserver(nullptr);
}

void Witness::OnLookUp(std::string_view path, const host::Variable* found) noexcept {
    seen_.lookUps.push_back({found == nullptr ? std::string(path) : std::string(), found, capture_.RecordCount(),
                             capture_.LastOperation(), false});
}

void Witness::OnMark(const host::Variable& variable, bool retrieved) noexcept {
    if (!retrieved) {
        return;
    }
    seen_.hasMarked = true;
    if (!seen_.lookUps.empty() && seen_.lookUps.back().variable == &variable) {
        seen_.lookUps.back().isMarked = true;
    }
}

void Witness::OnDefaulting() noexcept {
    seen_.isDefaulted = true;
}

}  // namespace tal::talstore
