#include "formats/InspectBinary.h"

#include <cstring>

#include "TypeTable.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;

namespace {

bool HoldsOddBool(std::string_view words) {
    for (std::size_t offset = 0; offset + sizeof(std::uint32_t) <= words.size(); offset += sizeof(std::uint32_t)) {
        std::uint32_t word = 0;
        std::memcpy(&word, words.data() + offset, sizeof word);
        if (word > 1) {
            return true;
        }
    }
    return false;
}

/// A raw file has nothing that tells whether it fits the layout, but some values are hardly ever stored.
const char* FindUnlikely(VariableType type, std::string_view bytes) {
    if ((type == VARIABLE_TYPE_BOOL || type == VARIABLE_TYPE_BOOL_ARRAY) && HoldsOddBool(bytes)) {
        return "a BOOL is neither 0 nor 1: the file may have been written with another layout";
    }
    if (type == VARIABLE_TYPE_STRING && !bytes.empty() && bytes.find('\0') == std::string_view::npos) {
        return "the text has no end: the file may have been written with another layout";
    }
    return nullptr;
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
        if (start >= bytes.size() && variable.SizeInBytes() != 0) {
            return;
        }
        StoredItem item;
        item.path = path;
        item.place.offset = start;
        item.bytes = bytes.substr(static_cast<std::size_t>(start), variable.SizeInBytes());
        item.isHandedOn = true;
        if (item.bytes.size() < variable.SizeInBytes()) {
            contents.findings.push_back({Severity::Error, "binary.cut", item.place, path,
                                         "the file ends inside the variable: " + std::to_string(item.bytes.size()) +
                                             " of " + Count(variable.SizeInBytes(), "byte")});
        } else if (const char* const unlikely = FindUnlikely(variable.Type(), item.bytes)) {
            contents.findings.push_back({Severity::Warning, "binary.unlikely", item.place, path, unlikely});
        }
        contents.handedOn.push_back(contents.items.size());
        contents.items.push_back(std::move(item));
    });
    if (bytes.size() < position) {
        contents.isWhole = false;
        contents.findings.push_back(
            {Severity::Error,
             "binary.size",
             {bytes.size()},
             {},
             "the file has " + Count(bytes.size(), "byte") + ", the layout " + std::to_string(position)});
    } else if (bytes.size() > position) {
        contents.findings.push_back({Severity::Warning,
                                     "binary.size",
                                     {position},
                                     {},
                                     "the file has " + Count(bytes.size(), "byte") + ", the layout " +
                                         std::to_string(position) + ": the rest is not read"});
    }
    return contents;
}

}  // namespace tal::talstore
