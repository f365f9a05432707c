/// @file
/// The answers of surveys, read back to be put together.
#ifndef TALSTORE_SURVEY_ANSWERS_H
#define TALSTORE_SURVEY_ANSWERS_H

#include <string>
#include <vector>

#include "commands/SurveyRecords.h"
#include "commands/SurveyUnits.h"

namespace tal::talstore {

/// Reads answers back that were printed in records.
/// @param names  Of regular files.
/// @param take   Gets the reports of all of them in the order in which one survey would have had them.
/// @return what they were all about. Throws InputError, also when they are not about the same.
[[nodiscard]] SurveyFrame MergeUnits(const std::vector<std::string>& names, const TakeUnit& take);

}  // namespace tal::talstore

#endif
