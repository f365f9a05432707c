#include "commands/SurveyTotals.h"

#include <algorithm>
#include <tuple>

namespace tal::talstore {

namespace {

std::string KeyOf(const UnitLoss& loss) {
    std::string key;
    for (const std::string* const part : {&loss.kind, &loss.path, &loss.Cause(), &loss.accepted}) {
        key.append(*part).push_back('\0');
    }
    return key;
}

bool LosesOnlyWhatIsAccepted(const UnitReport& unit) {
    return unit.damage.empty() && std::none_of(unit.losses.begin(), unit.losses.end(),
                                               [](const UnitLoss& loss) { return loss.accepted.empty(); });
}

}  // namespace

void SurveyTally::Add(SurveyExample example) {
    ++count;
    const auto place = std::upper_bound(examples.begin(), examples.end(), example);
    if (place != examples.end() || examples.size() < kMostExamples) {
        examples.insert(place, std::move(example));
        examples.resize(std::min(examples.size(), kMostExamples));
    }
}

std::size_t CountSameLeft(const std::vector<const LossRow*>& rows, std::size_t begin) {
    const auto isSame = [&](const LossRow* row) {
        return row->kind == rows[begin]->kind && row->reason == rows[begin]->reason &&
               row->units.count == rows[begin]->units.count &&
               row->units.examples.front().file == rows[begin]->units.examples.front().file;
    };
    if (rows[begin]->kind != NameOf(Outcome::Left)) {
        return 1;
    }
    const auto first = rows.begin() + static_cast<std::ptrdiff_t>(begin);
    return static_cast<std::size_t>(std::find_if_not(first, rows.end(), isSame) - first);
}

void SurveyTotals::Add(const UnitReport& unit) {
    ++fileCount_;
    if (!unit.IsReadable()) {
        ++unreadableCount_;
        unreadable_.try_emplace(unit.problem, UnreadableRow{unit.problem}).first->second.files.Add({unit.file, {}});
        return;
    }
    if (unit.LosesNothing()) {
        ++losslessCount_;
    } else if (LosesOnlyWhatIsAccepted(unit)) {
        ++acceptedCount_;
    }
    if (!unit.damage.empty()) {
        damaged_.Add({unit.file, unit.damage});
    }
    for (const UnitLoss& loss : unit.losses) {
        LossRow& row = rows_[KeyOf(loss)];
        if (row.units.count == 0) {
            row = {loss.kind, loss.path, loss.Cause(), loss.bytesInFile, loss.bytesInLayout, loss.accepted};
        }
        row.units.Add({unit.file, loss.cause.empty() ? "" : loss.reason});
        row.differing += loss.differs.value_or(false) ? 1 : 0;
    }
}

std::vector<const LossRow*> SurveyTotals::Rows() const {
    std::vector<const LossRow*> rows;
    for (const auto& [key, row] : rows_) {
        rows.push_back(&row);
    }
    std::sort(rows.begin(), rows.end(), [](const LossRow* a, const LossRow* b) {
        return a->units.count != b->units.count ? a->units.count > b->units.count
                                                : std::tie(a->kind, a->path, a->reason, a->accepted) <
                                                      std::tie(b->kind, b->path, b->reason, b->accepted);
    });
    return rows;
}

std::vector<const LossRow*> SurveyTotals::Rows(bool isAccepted) const {
    std::vector<const LossRow*> rows = Rows();
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [&](const LossRow* row) { return row->accepted.empty() == isAccepted; }),
               rows.end());
    return rows;
}

std::vector<const UnreadableRow*> SurveyTotals::UnreadableRows() const {
    std::vector<const UnreadableRow*> rows;
    for (const auto& [reason, row] : unreadable_) {
        rows.push_back(&row);
    }
    std::sort(rows.begin(), rows.end(), [](const UnreadableRow* a, const UnreadableRow* b) {
        return a->files.count != b->files.count ? a->files.count > b->files.count : a->reason < b->reason;
    });
    return rows;
}

const SurveyTally& SurveyTotals::TallyOf(const UnitLoss& loss) const {
    return rows_.at(KeyOf(loss)).units;
}

const SurveyTally& SurveyTotals::TallyOf(const std::string& problem) const {
    return unreadable_.at(problem).files;
}

double SurveyTotals::ShareOf(const LossRow& row) const {
    return static_cast<double>(row.units.count) / static_cast<double>(UnitCount());
}

}  // namespace tal::talstore
