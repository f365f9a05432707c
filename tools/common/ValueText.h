/// Variables as people read them.
#ifndef TAL_TOOLS_VALUE_TEXT_H
#define TAL_TOOLS_VALUE_TEXT_H

#include <string>
#include <string_view>

#include "ReferenceHost.h"

namespace tal::tools {

/// "U16_ARRAY[8]", "STRING[32]", "U8"; "type 30" for a code that is not defined.
[[nodiscard]] std::string TypeText(const host::Variable& variable);

/// The value in one line: numbers in decimal, true or false, strings quoted, arrays in brackets. Bytes that are no
/// value of the type, and those of unknown types, are shown in hexadecimal; of object types nothing.
[[nodiscard]] std::string ValueText(VariableType type, std::string_view bytes);
[[nodiscard]] std::string ValueText(const host::Variable& variable);

/// The variable's content; nothing of object types.
[[nodiscard]] std::string_view BytesOf(const host::Variable& variable);

/// Whether the bytes are one element of the type, or any number of them for arrays and strings.
[[nodiscard]] bool IsValueOfType(VariableType type, std::string_view bytes);

/// The text cut to `width` characters, ending in "..." if it was longer.
[[nodiscard]] std::string Shortened(std::string text, std::size_t width);

}  // namespace tal::tools

#endif
