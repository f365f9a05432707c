#include "formats/InspectBinary.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <type_traits>

#include "TypeTable.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;

namespace {

constexpr char kCause[] = ": the file may have been written with another layout";

/// @return what hardly any board stores; empty for a likely element.
std::string UnlikelyWord(std::uint32_t word) {
    return word > 1 ? std::to_string(word) : "";
}

/// Calibrations and measurements lie far inside of these.
template <class Real>
std::string UnlikelyReal(Real value) {
    constexpr Real kLargest = static_cast<Real>(1e30);
    constexpr Real kSmallest = static_cast<Real>(1e-30);
    const bool isLikely = value == 0 || (std::abs(value) >= kSmallest && std::abs(value) <= kLargest);
    if (isLikely) {
        return {};
    }
    char text[40];
    return {text, std::to_chars(text, std::end(text), value).ptr};
}

template <class Element>
std::string UnlikelyElement(const char* bytes) {
    if constexpr (std::is_same_v<Element, bool>) {
        return UnlikelyWord(host::ReadElement<std::uint32_t>(bytes));
    } else if constexpr (std::is_floating_point_v<Element>) {
        return UnlikelyReal(host::ReadElement<Element>(bytes));
    } else {
        // Any number is as likely as any other.
        return {};
    }
}

std::string UnlikelyText(std::string_view bytes) {
    const std::size_t end = bytes.find('\0');
    if (end == std::string_view::npos) {
        return bytes.empty() ? "" : "a text without an end";
    }
    const std::string_view text = bytes.substr(0, end);
    return tools::Printable(text) == text ? "" : tools::Quoted(text);
}

/// A raw file has nothing that tells whether it fits the layout, but some values are hardly ever stored.
/// @return a finding's message; empty when nothing is unlikely.
std::string FindUnlikely(const host::TypeInfo* type, std::string_view bytes) {
    if (type == nullptr) {
        return {};
    }
    std::string value = type->kind == host::TypeKind::String ? UnlikelyText(bytes) : "";
    const bool hasElements = type->kind == host::TypeKind::Bool || type->kind == host::TypeKind::Real;
    for (std::size_t offset = 0; hasElements && value.empty() && offset + type->elementSize <= bytes.size();
         offset += type->elementSize) {
        value = host::VisitElementType(
            *type, [&](auto zero) { return UnlikelyElement<decltype(zero)>(bytes.data() + offset); });
    }
    return value.empty() ? "" : value + " is unlikely for a " + type->name + kCause;
}

/// What is wrong with one variable's bytes, if something is.
void AddFindings(StoredContents& contents, const StoredItem& item, const std::string& path,
                 const host::Variable& variable) {
    if (item.bytes.size() < variable.SizeInBytes()) {
        contents.findings.push_back({Severity::Error, "binary.cut", item.place, path,
                                     "the file ends inside the variable: " + std::to_string(item.bytes.size()) +
                                         " of " + Count(variable.SizeInBytes(), "byte")});
    } else if (std::string unlikely = FindUnlikely(host::FindType(variable.Type()), item.bytes); !unlikely.empty()) {
        contents.findings.push_back({Severity::Warning, "binary.unlikely", item.place, path, std::move(unlikely)});
    }
}

void CompareSizes(StoredContents& contents, std::uint64_t ofFile, std::uint64_t ofLayout) {
    const std::string sizes = "the file has " + Count(ofFile, "byte") + ", the layout " + std::to_string(ofLayout);
    if (ofFile < ofLayout) {
        contents.isWhole = false;
        contents.findings.push_back({Severity::Error, "binary.size", {ofFile}, {}, sizes});
    } else if (ofFile > ofLayout) {
        contents.findings.push_back(
            {Severity::Warning, "binary.size", {ofLayout}, {}, sizes + ": the rest is not read"});
    }
}

}  // namespace

StoredContents InspectBinary(std::string_view bytes, host::Database& layout) {
    StoredContents contents;
    std::uint64_t position = 0;
    layout.ForEachVariable([&](const std::string& path, host::Variable& variable) {
        if (host::HoldsObjects(variable.Type())) {
            return;
        }
        const std::uint64_t start = position;
        position += variable.SizeInBytes();
        // An empty variable may lie right at the end.
        if (start > bytes.size() || (start == bytes.size() && variable.SizeInBytes() != 0)) {
            return;
        }
        StoredItem item;
        item.path = contents.texts.Keep(path);
        item.place.offset = start;
        item.bytes = bytes.substr(static_cast<std::size_t>(start), variable.SizeInBytes());
        item.isHandedOn = true;
        AddFindings(contents, item, path, variable);
        contents.handedOn.push_back(contents.items.size());
        contents.items.push_back(item);
    });
    CompareSizes(contents, bytes.size(), position);
    return contents;
}

}  // namespace tal::talstore
