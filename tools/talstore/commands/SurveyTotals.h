/// @file
/// What many units have in common: the rows of a survey.
#ifndef TALSTORE_SURVEY_TOTALS_H
#define TALSTORE_SURVEY_TOTALS_H

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "board/UnitReport.h"

namespace tal::talstore {

/// One of the files that a row counts.
struct SurveyExample {
    std::string file;
    std::string reason;  ///< Empty when that of the row says it all.

    [[nodiscard]] bool operator<(const SurveyExample& other) const {
        return file != other.file ? file < other.file : reason < other.reason;
    }
};

/// How many files, and the first few of them by name, whatever the order in which they are counted.
struct SurveyTally {
    std::uint64_t count = 0;
    std::vector<SurveyExample> examples = {};

    void Add(SurveyExample example);
};

struct LossRow {
    std::string kind;  ///< As of a UnitLoss.
    std::string path;
    std::string reason;
    std::optional<std::uint64_t> bytesInFile;
    std::optional<std::uint64_t> bytesInLayout;
    SurveyTally units = {};
};

/// Files that cannot be read for one reason.
struct UnreadableRow {
    std::string reason;
    SurveyTally files = {};
};

class SurveyTotals {
public:
    void Add(const UnitReport& unit);

    [[nodiscard]] std::uint64_t FileCount() const { return fileCount_; }
    [[nodiscard]] std::uint64_t UnreadableCount() const { return unreadableCount_; }
    /// Those that were judged.
    [[nodiscard]] std::uint64_t UnitCount() const { return fileCount_ - unreadableCount_; }
    [[nodiscard]] std::uint64_t LosslessCount() const { return losslessCount_; }
    /// The units whose file a reader does not read to its end.
    [[nodiscard]] const SurveyTally& Damaged() const { return damaged_; }

    /// The most frequent ones first.
    [[nodiscard]] std::vector<const LossRow*> Rows() const;
    [[nodiscard]] std::vector<const UnreadableRow*> UnreadableRows() const;

    /// Of all units that were judged, from 0 to 1.
    [[nodiscard]] double ShareOf(const LossRow& row) const;

private:
    std::uint64_t fileCount_ = 0;
    std::uint64_t unreadableCount_ = 0;
    std::uint64_t losslessCount_ = 0;
    SurveyTally damaged_;
    std::unordered_map<std::string, LossRow> rows_;
    std::unordered_map<std::string, UnreadableRow> unreadable_;
};

}  // namespace tal::talstore

#endif
