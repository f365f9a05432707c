/// @file
/// The answer of a survey for people.
#ifndef TALSTORE_SURVEY_TEXT_H
#define TALSTORE_SURVEY_TEXT_H

#include "commands/Console.h"
#include "commands/SurveyRecords.h"
#include "commands/SurveyTotals.h"

namespace tal::talstore {

void PrintSurvey(const Console& console, const SurveyFrame& frame, const SurveyTotals& totals);

}  // namespace tal::talstore

#endif
