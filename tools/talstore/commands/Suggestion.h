/// @file
/// What somebody may have meant who has written a word that is not known.
#ifndef TALSTORE_SUGGESTION_H
#define TALSTORE_SUGGESTION_H

#include <string>
#include <string_view>
#include <vector>

namespace tal::talstore {

/// @return "; did you mean 'show'?" for the candidate that is nearest to the word; empty when none is near.
[[nodiscard]] std::string Suggestion(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace tal::talstore

#endif
