/// @file
/// The answer of a survey for people, and for their spreadsheets.
#ifndef TALSTORE_SURVEY_TEXT_H
#define TALSTORE_SURVEY_TEXT_H

#include <string>

#include "commands/Console.h"
#include "commands/SurveyRecords.h"
#include "commands/SurveyTotals.h"

namespace tal::talstore {

/// "12.3 %"
[[nodiscard]] std::string PercentText(double share);

void PrintSurvey(const Console& console, const SurveyFrame& frame, const SurveyTotals& totals);

/// A line per row with the values between commas, after a line with their names.
void PrintSurveyAsCsv(const Console& console, const SurveyTotals& totals);

}  // namespace tal::talstore

#endif
