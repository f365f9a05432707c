#include "common/Text.h"

#include <algorithm>

namespace tal::tools {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";
constexpr char kUpperHexDigits[] = "0123456789ABCDEF";

unsigned char ByteAt(std::string_view text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0U) == 0x80;
}

/// @return how many bytes the UTF-8 character at the text's beginning has; 0 when there is none.
std::size_t CharacterLength(std::string_view text) {
    const unsigned char first = ByteAt(text, 0);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (!IsContinuation(ByteAt(text, i))) {
            return 0;
        }
    }
    const unsigned char second = ByteAt(text, 1);
    const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isOutside = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
    return isOverlong || isOutside ? 0 : length;
}

/// Marks, embeddings, overrides and isolates that turn the direction of what follows, and line separators: a path could
/// be shown as another one.
bool MisleadsTheEye(std::string_view character) {
    if (character == "\xD8\x9C") {
        return true;
    }
    if (character.size() != 3 || ByteAt(character, 0) != 0xE2) {
        return false;
    }
    const unsigned char second = ByteAt(character, 1);
    const unsigned char third = ByteAt(character, 2);
    return (second == 0x80 && ((third >= 0x8B && third <= 0x8F) || (third >= 0xA8 && third <= 0xAE))) ||
           (second == 0x81 && third >= 0xA6 && third <= 0xA9);
}

/// Terminals obey these even inside UTF-8 text.
bool IsControl(std::string_view character) {
    const unsigned char first = ByteAt(character, 0);
    return first < 0x20 || first == 0x7F || (first == 0xC2 && ByteAt(character, 1) < 0xA0) || MisleadsTheEye(character);
}

/// Whether it is what nearly every path is, which shows as it stands.
bool IsPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

void AppendEscaped(std::string& out, std::string_view bytes) {
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\t') {
            out += c == '\n' ? "\\n" : "\\t";
        } else {
            out += {'\\', 'x', kHexDigits[byte >> 4U], kHexDigits[byte & 0xFU]};
        }
    }
}

std::string Escaped(std::string_view text, std::string_view alsoEscaped) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
        if (length == 0 || IsControl(character)) {
            AppendEscaped(out, character);
        } else {
            if (alsoEscaped.find(character) != std::string_view::npos) {
                out += '\\';
            }
            out += character;
        }
        text.remove_prefix(character.size());
    }
    return out;
}

}  // namespace

std::string Printable(std::string_view text) {
    return IsPlain(text) ? std::string(text) : Escaped(text, {});
}

std::string ValidUtf8(std::string_view text) {
    constexpr char kReplacement[] = "\uFFFD";
    if (IsPlain(text)) {
        return std::string(text);
    }
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = CharacterLength(text);
        valid += length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}

bool EndsInsideCharacter(std::string_view text) {
    constexpr std::size_t kLongestCharacter = 4;
    for (std::size_t length = 1; length < kLongestCharacter && length <= text.size(); ++length) {
        const unsigned char byte = ByteAt(text, text.size() - length);
        if (!IsContinuation(byte)) {
            const std::size_t needed = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC2 ? 2 : 1;
            return needed > length;
        }
    }
    return false;
}

std::string Quoted(std::string_view text) {
    return '"' + Escaped(text, "\"\\") + '"';
}

std::string Markup(std::string_view text) {
    std::string markup;
    for (const char character : Printable(text)) {
        switch (character) {
            case '<':
                markup += "&lt;";
                break;
            case '&':
                markup += "&amp;";
                break;
            case '"':
                markup += "&quot;";
                break;
            default:
                markup += character;
        }
    }
    return markup;
}

std::size_t CharacterCount(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !IsContinuation(static_cast<unsigned char>(c)); }));
}

std::string_view FirstCharacters(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        if (!IsContinuation(ByteAt(text, end)) && count-- == 0) {
            break;
        }
    }
    return text.substr(0, end);
}

std::string HexBytes(std::string_view bytes) {
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (!out.empty()) {
            out += ' ';
        }
        out += kHexDigits[byte >> 4U];
        out += kHexDigits[byte & 0xFU];
    }
    return out;
}

std::string HexNumber(std::uint32_t number, int digits) {
    std::string out;
    for (int i = 0; i < digits || number != 0; ++i) {
        out.insert(out.begin(), kUpperHexDigits[number & 0xFU]);
        number >>= 4U;
    }
    return "0x" + out;
}

std::string Count(std::uint64_t number, std::string_view noun) {
    return std::to_string(number) + ' ' + std::string(noun) + (number == 1 ? "" : "s");
}

std::string Listed(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == words.size() ? " and " : ", ") + words[i];
    }
    return text;
}

}  // namespace tal::tools
