#include "demo/Show.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "TypeTable.h"
#include "common/ValueText.h"

namespace tal::demo {

namespace {

constexpr std::size_t kLineWidth = 118;
constexpr std::size_t kBytesPerRow = 16;

std::string Hex(std::size_t value, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%0*zx", digits, value);
    return text;
}

/// A column: at least one space stands after the text.
std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size() + 1), ' ');
    return text;
}

void ShowByteRow(std::size_t offset, const std::string& bytes) {
    std::string hex;
    std::string characters;
    for (const char byte : bytes) {
        hex += Hex(static_cast<unsigned char>(byte), 2) + ' ';
        characters += byte >= ' ' && byte <= '~' ? byte : '.';
    }
    std::cout << "  " << Hex(offset, 6) << "  " << Padded(hex, kBytesPerRow * 3) << ' ' << characters << '\n';
}

}  // namespace

void ShowHeading(const std::string& text) {
    std::cout << "\n== " << text << '\n';
}

bool Expect(bool holds, const std::string& what) {
    std::cout << (holds ? "  ok    " : "  WRONG ") << what << '\n';
    return holds;
}

std::string ResultText(QBFResult result) {
    return QBF_IsFailure(result) ? "failed with 0x" + Hex(result, 4) : "QBF_OK";
}

void ShowFirstLines(const std::string& fileName, std::size_t lineCount) {
    std::ifstream file(fileName);
    std::string line;
    for (std::size_t shown = 0; shown < lineCount && std::getline(file, line); ++shown) {
        std::cout << "  | " << tools::Shortened(line, kLineWidth - 4) << '\n';
    }
    std::cout << "  | ...\n";
}

void ShowFirstBytes(const std::string& fileName, std::size_t byteCount) {
    std::ifstream file(fileName, std::ios::binary);
    std::array<char, kBytesPerRow> row{};
    for (std::size_t offset = 0; offset < byteCount && file; offset += kBytesPerRow) {
        file.read(row.data(), row.size());
        ShowByteRow(offset, {row.data(), static_cast<std::size_t>(file.gcount())});
    }
}

std::string StateText(const host::Variable& variable) {
    if (variable.Retrieved()) {
        return "restored";
    }
    return variable.HoldsDefault() ? "default" : "untouched";
}

void ShowVariables(host::Database& database, std::size_t rowLimit, const Selection& isSelected) {
    std::cout << "  " << Padded("path", 64) << Padded("type", 17) << Padded("value", 26) << "state\n";
    std::size_t rows = 0;
    database.ForEachVariable([&](const std::string& path, host::Variable& variable) {
        if (isSelected(variable) && rows++ < rowLimit) {
            std::cout << "  " << Padded(path, 64) << Padded(tools::TypeText(variable), 17)
                      << Padded(tools::Shortened(tools::ValueText(variable), 25), 26) << StateText(variable) << '\n';
        }
    });
    if (rows > rowLimit) {
        std::cout << "  ... and " << rows - rowLimit << " more (--rows shows them)\n";
    }
}

void ShowSummary(host::Database& database) {
    for (const char* const state : {"restored", "default", "untouched"}) {
        const std::size_t count = Count(database, [state](const host::Variable& variable) {
            return HoldsValue(variable) && StateText(variable) == state;
        });
        std::cout << "  " << Padded(state, 10) << count << " variables\n";
    }
}

bool HoldsValue(const host::Variable& variable) {
    return !host::HoldsObjects(variable.Type());
}

std::size_t Count(host::Database& database, const Selection& isSelected) {
    std::size_t count = 0;
    database.ForEachVariable(
        [&](const std::string& /*path*/, const host::Variable& variable) { count += isSelected(variable) ? 1 : 0; });
    return count;
}

}  // namespace tal::demo
