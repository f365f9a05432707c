/// @file
/// Text in lines of a given width.
#ifndef TALSTORE_WRAP_H
#define TALSTORE_WRAP_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tal::talstore {

/// @return the text in lines of at most `width` characters, which end between words; a longer word has a line of its
///         own. A '\n' ends a line, too.
[[nodiscard]] std::vector<std::string> Wrapped(std::string_view text, std::size_t width);

}  // namespace tal::talstore

#endif
