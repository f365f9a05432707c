/// @file
/// Values of variables as people and programs read and write them.
#ifndef TALSTORE_VALUE_H
#define TALSTORE_VALUE_H

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "ReferenceHost.h"
#include "common/ValueText.h"
#include "formats/KeptTexts.h"

namespace tal::talstore {

using tools::BytesOf;
using tools::TypeText;
using tools::ValueText;

/// Number, boolean, string or array; a real that is no number is "nan", "inf" or "-inf". Null when the bytes are not a
/// value of that type.
[[nodiscard]] nlohmann::json ValueJson(VariableType type, std::string_view bytes);

/// Whether the content is what an XML document says, element by element; elements that either side has too many of are
/// not compared.
[[nodiscard]] bool IsValueOfTexts(VariableType type, std::string_view bytes, const TextList& texts);

/// Whether the element at `offset` in a variable's content is the one that a document has in this place.
/// @param element  Its bytes.
[[nodiscard]] bool IsElementOfTexts(VariableType type, const void* element, std::size_t offset, const TextList& texts);

/// What the XML writer makes of two values of the type is the same: reals have seven digits, a BOOL is true or false,
/// a string ends at its NUL.
[[nodiscard]] bool AreSameInXml(VariableType type, std::string_view first, std::string_view second);

/// Whether two values of the type are the same to whoever uses them: what follows a string's NUL does not count, nor
/// which word stands for true.
[[nodiscard]] bool IsSameValue(VariableType type, std::string_view first, std::string_view second);

/// Sets the content from a text: a number (also hexadecimal with 0x), true or false, a string as it stands, for an
/// array [1, 2, 3] of exactly its elements. Throws InputError, which says what was expected.
void SetValue(host::Variable& variable, std::string_view text);

}  // namespace tal::talstore

#endif
