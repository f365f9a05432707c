/// Conversions of stored texts into numbers, as the C library of a 32-bit board makes them: `long` has 32 bits, and
/// the decimal point is a point whatever the process's locale.
#ifndef TAL_PRIVATE_TEXT_CONVERSION_H
#define TAL_PRIVATE_TEXT_CONVERSION_H

#include <cstdint>

namespace tal {

/// `strtol`, base 10: saturates at both ends of 32 bits; 0 when there is no number.
[[nodiscard]] std::int32_t ParseSigned(const char* text);

/// `sscanf` with "%u": a negative number wraps, one beyond 32 bits saturates at 4294967295.
/// @return whether there was a number; `value` is untouched when there was none.
[[nodiscard]] bool ScanUnsigned(const char* text, std::uint32_t& value);

/// `sscanf` with "%e".
/// @return whether there was a number; `value` is untouched when there was none.
[[nodiscard]] bool ScanFloat(const char* text, float& value);

/// `strtod`: 0 when there is no number.
[[nodiscard]] double ParseDouble(const char* text);

}  // namespace tal

#endif
