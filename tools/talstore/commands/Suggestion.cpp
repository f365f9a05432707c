#include "commands/Suggestion.h"

#include <algorithm>
#include <numeric>

#include "common/Text.h"

namespace tal::talstore {

namespace {

/// How many characters have to be put in, left out or replaced to make one word of the other.
std::size_t Distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char letter : from) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (letter == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string Suggestion(std::string_view word, const std::vector<std::string>& candidates) {
    // A word of three letters may be one off, and one of nine letters three.
    constexpr std::size_t kLettersPerSlip = 3;
    std::size_t nearest = word.size() / kLettersPerSlip + 1;
    const std::string* found = nullptr;
    for (const std::string& candidate : candidates) {
        const std::size_t distance = Distance(word, candidate);
        if (distance < nearest) {
            nearest = distance;
            found = &candidate;
        }
    }
    return found == nullptr ? "" : "; did you mean '" + tools::Printable(*found) + "'?";
}

}  // namespace tal::talstore
