/// @file
/// Text for people. Names and values come from files and may hold anything, also terminal control sequences.
#ifndef TAL_TOOLS_TEXT_H
#define TAL_TOOLS_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tal::tools {

/// @return the text with control characters, those that turn the direction of what follows, and bytes that are not
///         UTF-8, replaced by \n, \t or \xNN.
[[nodiscard]] std::string Printable(std::string_view text);

/// The text with U+FFFD for each byte that is not UTF-8.
[[nodiscard]] std::string ValidUtf8(std::string_view text);

/// Whether the last character of a UTF-8 text lacks some of its bytes.
[[nodiscard]] bool EndsInsideCharacter(std::string_view text);

/// Printable text between double quotes, with quotes and backslashes escaped.
[[nodiscard]] std::string Quoted(std::string_view text);

/// Printable text for an element of XML or HTML, or for an attribute between double quotes.
[[nodiscard]] std::string Markup(std::string_view text);

/// The number of characters of a UTF-8 text.
[[nodiscard]] std::size_t CharacterCount(std::string_view text);

/// The first `count` characters of a UTF-8 text.
[[nodiscard]] std::string_view FirstCharacters(std::string_view text, std::size_t count);

/// "ef be ad de"
[[nodiscard]] std::string HexBytes(std::string_view bytes);

/// "0xDEADBEEF"
[[nodiscard]] std::string HexNumber(std::uint32_t number, int digits = 8);

/// "1 byte", "2 bytes"
[[nodiscard]] std::string Count(std::uint64_t number, std::string_view noun);

/// "0, 3 and 6"
[[nodiscard]] std::string Listed(const std::vector<std::string>& words);

}  // namespace tal::tools

#endif
