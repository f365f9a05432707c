/// @file
/// The answer of a survey as a page for a browser, whole in one file.
#ifndef TALSTORE_SURVEY_PAGE_H
#define TALSTORE_SURVEY_PAGE_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "board/UnitReport.h"
#include "commands/SurveyRecords.h"
#include "commands/SurveyTotals.h"
#include "files/WholeFile.h"

namespace tal::talstore {

/// What surrounds the rows, style and script among it, stands in SurveyPage.html. All that comes from files is text
/// there.
class SurveyPage {
public:
    /// @param fileName  Is replaced once the survey is done, whether it was interrupted or not. Throws InputError.
    SurveyPage(const std::string& fileName, std::ostream& standardOutput) : file_(fileName, standardOutput, false) {}

    /// @param totals  Count the unit already.
    void Add(const UnitReport& unit, const SurveyTotals& totals);
    /// Throws InputError.
    void PutInPlace(const SurveyFrame& frame, const SurveyTotals& totals);

private:
    /// The files of a row, as far as they are listed: a line each.
    struct FileList {
        std::uint64_t count = 0;
        std::string markup;
    };

    void List(const SurveyTally& tally, const std::string& file, const std::string& reason);

    void WriteSections(const SurveyFrame& frame, const SurveyTotals& totals);
    void WriteLosses(const SurveyFrame& frame, const SurveyTotals& totals, bool isAccepted);
    void WriteProblems(const SurveyTotals& totals);
    /// Of a row, and as many after it that say the same of other variables.
    [[nodiscard]] std::string LossCells(const SurveyFrame& frame, const SurveyTotals& totals,
                                        const std::vector<const LossRow*>& rows, std::size_t begin, std::size_t count);
    [[nodiscard]] std::string FilesCell(const SurveyTally& tally);

    OutputFile file_;
    std::unordered_map<const SurveyTally*, FileList> lists_;
    std::size_t listedBytes_ = 0;
};

}  // namespace tal::talstore

#endif
