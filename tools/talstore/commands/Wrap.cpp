#include "commands/Wrap.h"

#include <algorithm>

#include "common/Text.h"

namespace tal::talstore {

using tools::CharacterCount;

std::vector<std::string> Wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines(1);
    std::size_t taken = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(" \n"), text.size());
        const std::string_view word = text.substr(0, end);
        const std::size_t characters = CharacterCount(word);
        if (taken != 0 && taken + 1 + characters > width) {
            lines.emplace_back();
            taken = 0;
        }
        lines.back() += (lines.back().empty() ? "" : " ") + std::string(word);
        taken += characters + (taken == 0 ? 0 : 1);
        if (end < text.size() && text[end] == '\n') {
            lines.emplace_back();
            taken = 0;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

}  // namespace tal::talstore
