/// @file
/// What a survey writes beside its answer.
#ifndef TALSTORE_SURVEY_OUTPUTS_H
#define TALSTORE_SURVEY_OUTPUTS_H

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "board/UnitReport.h"
#include "commands/Commands.h"
#include "commands/SurveyDatabase.h"
#include "commands/SurveyPage.h"

namespace tal::talstore {

/// Throws InputError for outputs that would replace something else than themselves.
void RequireOutputs(const SurveyOptions& options);

/// The page and the database, as far as they are asked for. One that fails later on does not end the survey: it is left
/// out, and its problem kept.
class SurveyOutputs {
public:
    /// Throws InputError where they cannot be written. From here on drafts stand beside them.
    SurveyOutputs(const SurveyOptions& options, std::ostream& standardOutput);

    /// @param totals  Count the unit already.
    void Add(const UnitReport& unit, const SurveyTotals& totals);
    void PutInPlace(const SurveyFrame& frame, const SurveyTotals& totals);

    /// What went wrong, with the names of the files.
    [[nodiscard]] const std::vector<std::string>& Problems() const { return problems_; }

private:
    /// Has the output do something, if it is there and still whole.
    template <class Output, class Use>
    void Have(std::optional<Output>& output, const Use& use);

    std::optional<SurveyDatabase> database_;
    std::optional<SurveyPage> page_;
    std::vector<std::string> problems_;
};

}  // namespace tal::talstore

#endif
