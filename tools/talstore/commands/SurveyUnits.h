/// @file
/// Has the files of a survey judged, in several processes.
#ifndef TALSTORE_SURVEY_UNITS_H
#define TALSTORE_SURVEY_UNITS_H

#include <functional>

#include "ReferenceHost.h"
#include "board/UnitReport.h"
#include "commands/Commands.h"

namespace tal::talstore {

using TakeUnit = std::function<void(UnitReport unit)>;

/// @param layout  What the boards will have.
/// @param before  What the units run; null when that is not known.
/// @param take    Gets the reports in the order of the files' names, those of an archive in its own order.
/// @return false after an interrupt. Throws InputError.
[[nodiscard]] bool JudgeUnits(const SurveyOptions& options, const Console& console, host::Database& layout,
                              host::Database* before, const TakeUnit& take);

}  // namespace tal::talstore

#endif
