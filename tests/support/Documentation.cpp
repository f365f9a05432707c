#include "support/Documentation.h"

#include <gtest/gtest.h>
#include <regex.h>

#include <algorithm>
#include <sstream>

#include "support/Files.h"

namespace tal::test {

namespace {

constexpr std::string_view kFence = "```";

bool StartsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

std::string Stripped(std::string_view cell) {
    constexpr std::string_view kAround = " `";
    const std::size_t first = cell.find_first_not_of(kAround);
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(cell.substr(first, cell.find_last_not_of(kAround) - first + 1));
}

/// @return the cells of "| a | b |"; "\|" is a bar within a cell.
Page::Row CellsOf(std::string_view line) {
    Page::Row cells;
    std::string cell;
    for (std::size_t at = 1; at < line.size(); ++at) {
        if (line[at] == '|') {
            cells.push_back(Stripped(cell));
            cell.clear();
        } else {
            at += StartsWith(line.substr(at), "\\|") ? 1 : 0;
            cell += line[at];
        }
    }
    return cells;
}

}  // namespace

std::filesystem::path RepositoryRoot() {
    return TAL_REPOSITORY;
}

std::string ReadFromRepository(const std::string& name) {
    return ReadFile(RepositoryRoot() / name);
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::vector<std::string>> Matches(const std::string& text, const char* pattern) {
    // Not std::regex: with the sanitizers on, the compiler warns of its inside.
    regex_t compiled;
    EXPECT_EQ(regcomp(&compiled, pattern, REG_EXTENDED), 0) << pattern;
    std::vector<std::vector<std::string>> matches;
    std::vector<regmatch_t> groups(compiled.re_nsub + 1);
    for (const char* rest = text.c_str(); regexec(&compiled, rest, groups.size(), groups.data(), 0) == 0;) {
        matches.emplace_back();
        for (std::size_t group = 1; group < groups.size(); ++group) {
            const regmatch_t& found = groups[group];
            matches.back().emplace_back(rest + std::max(found.rm_so, 0), rest + std::max(found.rm_eo, 0));
        }
        rest += groups[0].rm_eo;
    }
    regfree(&compiled);
    return matches;
}

std::vector<std::string> FirstGroups(const std::string& text, const char* pattern) {
    std::vector<std::string> firsts;
    for (const std::vector<std::string>& groups : Matches(text, pattern)) {
        firsts.push_back(groups.at(0));
    }
    return firsts;
}

std::string BytesOfHex(const std::string& pairs) {
    std::string bytes;
    std::istringstream stream(pairs);
    for (std::string pair; stream >> pair;) {
        EXPECT_EQ(pair.size(), 2U) << pairs;
        bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
    }
    return bytes;
}

Page::Page(const std::string& name) : name_(name), text_(ReadFromRepository(name)) {}

std::vector<std::string> Page::LinesAfter(std::string_view heading) const {
    std::vector<std::string> lines = LinesOf(text_);
    const auto found = std::find(lines.begin(), lines.end(), heading);
    if (found == lines.end()) {
        ADD_FAILURE() << name_ << " has no line " << heading;
        return {};
    }
    lines.erase(lines.begin(), found + 1);
    return lines;
}

std::string Page::BlockAfter(std::string_view heading) const {
    std::string block;
    bool isInside = false;
    for (const std::string& line : LinesAfter(heading)) {
        if (StartsWith(line, kFence)) {
            if (isInside) {
                return block;
            }
            isInside = true;
        } else if (isInside) {
            block += line + '\n';
        }
    }
    ADD_FAILURE() << name_ << " has no code block after " << heading;
    return {};
}

std::vector<std::string> Page::BlocksIn(std::string_view language) const {
    std::vector<std::string> blocks;
    bool isInside = false;
    bool isWanted = false;
    for (const std::string& line : LinesOf(text_)) {
        if (StartsWith(line, kFence)) {
            isInside = !isInside;
            isWanted = isInside && line.substr(kFence.size()) == language;
            if (isWanted) {
                blocks.emplace_back();
            }
        } else if (isWanted) {
            blocks.back() += line + '\n';
        }
    }
    return blocks;
}

std::vector<Page::Row> Page::TableAfter(std::string_view heading) const {
    std::vector<Row> rows;
    for (const std::string& line : LinesAfter(heading)) {
        if (StartsWith(line, "|")) {
            rows.push_back(CellsOf(line));
        } else if (!rows.empty()) {
            break;
        }
    }
    constexpr std::ptrdiff_t kHeaderRows = 2;
    if (rows.size() <= kHeaderRows) {
        ADD_FAILURE() << name_ << " has no table after " << heading;
        return {};
    }
    rows.erase(rows.begin(), rows.begin() + kHeaderRows);
    return rows;
}

}  // namespace tal::test
