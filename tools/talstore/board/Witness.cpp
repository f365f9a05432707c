#include "board/Witness.h"

#include <algorithm>
#include <cstring>

#include "TypeTable.h"

namespace tal::talstore {

namespace {

/// A text sets a word to 0 or 1.
constexpr std::uint32_t kNotSet = 0xA5A5A5A5;

bool HasWords(const host::Variable& variable) {
    const host::TypeInfo* const type = host::FindType(variable.Type());
    return type != nullptr && type->kind == host::TypeKind::Bool;
}

char* AddressOfWord(const host::Variable& variable, std::size_t index) {
    return static_cast<char*>(variable.Content()) + index * sizeof(std::uint32_t);
}

}  // namespace

Witness::Witness(host::Database& database, const TraceCapture& capture, Expected* expected, bool hasTexts)
    : database_(database), capture_(capture), expected_(expected), hasTexts_(hasTexts) {
    if (expected_ != nullptr) {
        seen_.lookUps.reserve(expected_->contents.handedOn.size());
    }
    database_.SetObserver(this);
}

Witness::~Witness() {
    database_.SetObserver(nullptr);
}

// What is visited of a variable throws for types without elements only, and of these nothing is visited.
// NOLINTNEXTLINE(bugprone-exception-escape)
void Witness::OnLookUp(std::string_view path, const host::Variable* found) noexcept {
    CountSetWords();
    const std::size_t number = seen_.lookUps.size();
    seen_.lookUps.push_back({found, static_cast<std::uint32_t>(capture_.RecordCount()), 0, false});
    if (found == nullptr) {
        seen_.unregisteredPaths.emplace_back(path);
        return;
    }
    if (expected_ != nullptr && number < expected_->contents.handedOn.size()) {
        expected_->fillers.Avoid(*found, expected_->contents.items[expected_->contents.handedOn[number]]);
    }
    if (hasTexts_ && HasWords(*found)) {
        WatchWords(*found);
    }
}

void Witness::WatchWords(const host::Variable& variable) {
    watched_ = &variable;
    wordsBefore_.resize(variable.SizeInBytes() / sizeof kNotSet);
    for (std::size_t i = 0; i < wordsBefore_.size(); ++i) {
        std::memcpy(&wordsBefore_[i], AddressOfWord(variable, i), sizeof kNotSet);
        std::memcpy(AddressOfWord(variable, i), &kNotSet, sizeof kNotSet);
    }
}

/// Gives the words that have not been set back what they held.
void Witness::CountSetWords() {
    if (watched_ == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < wordsBefore_.size(); ++i) {
        if (std::memcmp(AddressOfWord(*watched_, i), &kNotSet, sizeof kNotSet) == 0) {
            std::memcpy(AddressOfWord(*watched_, i), &wordsBefore_[i], sizeof kNotSet);
        } else {
            ++seen_.lookUps.back().setWords;
        }
    }
    watched_ = nullptr;
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
    CountSetWords();
    seen_.isDefaulted = true;
}

Seen Witness::Take() {
    CountSetWords();
    return std::move(seen_);
}

}  // namespace tal::talstore
