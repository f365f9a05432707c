#include "board/Fillers.h"

#include <algorithm>

#include "TypeTable.h"
#include "board/Value.h"

namespace tal::talstore {

namespace {

/// What tells a filler's bytes from those of the default.
constexpr std::uint8_t kUsual = 0xA5;
constexpr std::uint8_t kOther = 0x5A;

void Fill(std::uint8_t* content, const std::uint8_t* defaults, std::size_t size, std::uint8_t difference) {
    std::transform(defaults, defaults + size, content,
                   [=](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ difference); });
}

bool Differ(const std::uint8_t* content, const std::uint8_t* defaults, std::size_t size, std::uint8_t difference) {
    return std::equal(content, content + size, defaults,
                      [=](std::uint8_t byte, std::uint8_t defaultByte) { return (byte ^ defaultByte) == difference; });
}

std::uint8_t* ContentOf(const host::Variable& variable) {
    return static_cast<std::uint8_t*>(variable.Content());
}

}  // namespace

Fillers::Fillers(const host::Database& layout, const FormatInfo* format) : format_(format) {
    for (host::Variable* const variable : layout.Variables()) {
        variable->SetRetrieved(false);
        if (!host::HoldsObjects(variable->Type())) {
            Fill(ContentOf(*variable), variable->DefaultContent(), variable->SizeInBytes(), kUsual);
        }
    }
}

std::size_t Fillers::UnitOf(const host::Variable& variable) const {
    const host::TypeInfo* const type = host::FindType(variable.Type());
    return format_ != nullptr && format_->hasTexts && type != nullptr ? type->elementSize : 1;
}

bool Fillers::IsFiller(const std::uint8_t* content, const std::uint8_t* defaults, std::size_t size) const {
    const auto difference = static_cast<std::uint8_t>(*content ^ *defaults);
    const bool mayBe = difference == kUsual || difference == kOther;
    return mayBe && Differ(content, defaults, size, difference) &&
           (difference == kOther) == (others_.count(content) != 0);
}

bool Fillers::IsInItem(const host::Variable& variable, const std::uint8_t* content, std::size_t offset,
                       const StoredItem& item) const {
    if (!format_->hasTexts) {
        return offset < item.bytes.size() && static_cast<std::uint8_t>(item.bytes[offset]) == *content;
    }
    // Hardly any real is a filler, and to read one takes longer than all the rest.
    const host::TypeInfo* const type = host::FindType(variable.Type());
    const bool isReal = type != nullptr && type->kind == host::TypeKind::Real;
    return !isReal && IsElementOfTexts(variable.Type(), content, offset, item.texts);
}

void Fillers::Avoid(const host::Variable& variable, const StoredItem& item) {
    if (host::HoldsObjects(variable.Type())) {
        return;
    }
    const std::size_t unit = UnitOf(variable);
    for (std::size_t offset = 0; offset + unit <= variable.SizeInBytes(); offset += unit) {
        std::uint8_t* const content = ContentOf(variable) + offset;
        const std::uint8_t* const defaults = variable.DefaultContent() + offset;
        if (IsFiller(content, defaults, unit) && IsInItem(variable, content, offset, item)) {
            const bool isUsual = others_.erase(content) == 0;
            Fill(content, defaults, unit, isUsual ? kOther : kUsual);
            if (isUsual) {
                others_.insert(content);
            }
        }
    }
}

bool Fillers::AreIn(const host::Variable& variable) const {
    const std::size_t unit = UnitOf(variable);
    const std::uint8_t* const content = ContentOf(variable);
    const std::uint8_t* const defaults = variable.DefaultContent();
    for (std::size_t offset = 0; offset + unit <= variable.SizeInBytes(); offset += unit) {
        if (IsFiller(content + offset, defaults + offset, unit)) {
            return true;
        }
    }
    return false;
}

}  // namespace tal::talstore
