/// @file
/// Has the files of a survey judged, in several processes.
#ifndef TALSTORE_SURVEY_UNITS_H
#define TALSTORE_SURVEY_UNITS_H

#include <functional>
#include <vector>

#include "ReferenceHost.h"
#include "board/UnitReport.h"
#include "commands/Commands.h"
#include "files/FileList.h"

namespace tal::talstore {

using TakeUnit = std::function<void(UnitReport unit)>;

/// The files that are named, in the order of their names, without those that the survey writes. Throws InputError, also
/// when there is none.
[[nodiscard]] std::vector<ListedFile> UnitsOf(const SurveyOptions& options);

/// @param layout  What the boards will have.
/// @param before  What the units run; null when that is not known.
/// @param take    Gets the reports in the order of the files' names, those of an archive in its own order.
/// @return false after an interrupt. Throws InputError.
[[nodiscard]] bool JudgeUnits(const SurveyOptions& options, std::vector<ListedFile> files, const Console& console,
                              host::Database& layout, host::Database* before, const TakeUnit& take);

}  // namespace tal::talstore

#endif
