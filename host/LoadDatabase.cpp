#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "DatabaseDescription.h"
#include "JsonTree.h"
#include "LoadTree.h"

namespace tal::host {

namespace {

/// @return "line 3, column 7" of the byte at `offset`, both counted from 1.
std::string LineAndColumn(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t lineStart = before.rfind('\n') + 1;
    return "line " + std::to_string(line) + ", column " + std::to_string(before.size() - lineStart + 1);
}

JsonTree ParseDescription(std::string_view text) {
    try {
        return JsonTree::Parse(text);
    } catch (const JsonTree::NoJson& error) {
        throw DescriptionError("description: not valid JSON at " + LineAndColumn(text, error.offset));
    } catch (const JsonTree::NumberTooLarge& error) {
        throw DescriptionError(std::string("description: ") + error.what());
    }
}

/// A size that a file says it has is believed up to here.
constexpr std::uintmax_t kMostReserved = std::uintmax_t{256} * 1024 * 1024;

std::string ReadText(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    if (!file) {
        throw DescriptionError(fileName + ": " + std::strerror(errno));
    }
    std::string text;
    std::error_code ignored;
    if (const auto size = std::filesystem::file_size(fileName, ignored); !ignored) {
        text.reserve(static_cast<std::size_t>(std::min(size, kMostReserved)));
    }
    for (char block[65536]; file.read(block, sizeof block) || file.gcount() > 0;) {
        text.append(block, static_cast<std::size_t>(file.gcount()));
    }
    if (file.bad()) {
        throw DescriptionError(fileName + ": " + std::strerror(errno));
    }
    return text;
}

}  // namespace

std::unique_ptr<Database> LoadDatabase(const nlohmann::json& description) {
    return LoadTree(JsonTree::From(description));
}

std::unique_ptr<Database> LoadDatabase(const nlohmann::ordered_json& description) {
    return LoadTree(JsonTree::From(description));
}

std::unique_ptr<Database> LoadDatabaseFromText(std::string_view text) {
    return LoadTree(ParseDescription(text));
}

std::unique_ptr<Database> LoadDatabaseFromFile(const std::string& fileName) {
    std::string text = ReadText(fileName);
    try {
        const JsonTree tree = ParseDescription(text);
        text = {};
        return LoadTree(tree);
    } catch (const DescriptionError& error) {
        throw DescriptionError(fileName + ": " + error.what());
    }
}

}  // namespace tal::host
