/// @file
/// The answer of a survey for programs, a record in each line: one per file, after it one per loss, and a summary at
/// the end.
#ifndef TALSTORE_SURVEY_RECORDS_H
#define TALSTORE_SURVEY_RECORDS_H

#include <string>
#include <vector>

#include "ReferenceHost.h"
#include "board/UnitReport.h"
#include "commands/AcceptedLosses.h"
#include "commands/Console.h"
#include "commands/SurveyTotals.h"

namespace tal::talstore {

/// What a survey was about, and how far it came.
struct SurveyFrame {
    std::string layout;  ///< Name of the description.
    std::string digest;  ///< Of what it describes.
    std::string before;  ///< Name of the description of what the units run; empty when values are not compared.
    bool isComplete = true;
    std::vector<AcceptedLoss> unmatched = {};  ///< The accepted losses that no unit has.
};

/// @return a number that tells whether two descriptions have the same variables and defaults.
[[nodiscard]] std::string DigestOf(const host::Database& layout);

/// The file's record, and those of its losses.
void PrintUnitRecords(const Console& console, const UnitReport& unit);

void PrintSummaryRecord(const Console& console, const SurveyFrame& frame, const SurveyTotals& totals);

}  // namespace tal::talstore

#endif
