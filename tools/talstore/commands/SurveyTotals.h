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

constexpr std::size_t kMostExamples = 3;

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
    std::string accepted;  ///< Why it is fine; empty when nobody has decided on it.
    SurveyTally units = {};
    std::uint64_t differing = 0;  ///< The units that had another value than they get.
};

/// Files that cannot be read for one reason.
struct UnreadableRow {
    std::string reason;
    SurveyTally files = {};
};

/// A board that gives up leaves all of its variables, which one line tells.
/// @return how many rows, from that one on, are of the same units and say the same of a variable each; at least 1.
[[nodiscard]] std::size_t CountSameLeft(const std::vector<const LossRow*>& rows, std::size_t begin);

class SurveyTotals {
public:
    void Add(const UnitReport& unit);

    [[nodiscard]] std::uint64_t FileCount() const { return fileCount_; }
    [[nodiscard]] std::uint64_t UnreadableCount() const { return unreadableCount_; }
    /// Those that were judged.
    [[nodiscard]] std::uint64_t UnitCount() const { return fileCount_ - unreadableCount_; }
    [[nodiscard]] std::uint64_t LosslessCount() const { return losslessCount_; }
    /// The units that lose something, and nothing but what is accepted.
    [[nodiscard]] std::uint64_t AcceptedCount() const { return acceptedCount_; }
    /// The units that lose something else.
    [[nodiscard]] std::uint64_t LosingCount() const { return UnitCount() - losslessCount_ - acceptedCount_; }
    /// The units whose file a reader does not read to its end.
    [[nodiscard]] const SurveyTally& Damaged() const { return damaged_; }

    /// The most frequent ones first.
    [[nodiscard]] std::vector<const LossRow*> Rows() const;
    /// Only those that are accepted, or the others.
    [[nodiscard]] std::vector<const LossRow*> Rows(bool isAccepted) const;
    [[nodiscard]] std::vector<const UnreadableRow*> UnreadableRows() const;

    /// The tally that counts the loss, or the problem, of a unit that was added; it stays where it is.
    [[nodiscard]] const SurveyTally& TallyOf(const UnitLoss& loss) const;
    [[nodiscard]] const SurveyTally& TallyOf(const std::string& problem) const;

    /// Of all units that were judged, from 0 to 1.
    [[nodiscard]] double ShareOf(const LossRow& row) const;

private:
    std::uint64_t fileCount_ = 0;
    std::uint64_t unreadableCount_ = 0;
    std::uint64_t losslessCount_ = 0;
    std::uint64_t acceptedCount_ = 0;
    SurveyTally damaged_;
    std::unordered_map<std::string, LossRow> rows_;
    std::unordered_map<std::string, UnreadableRow> unreadable_;
};

}  // namespace tal::talstore

#endif
