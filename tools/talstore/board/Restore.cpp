#include "board/Restore.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "TypeTable.h"
#include "board/ExplainStoredPaths.h"
#include "board/Fillers.h"
#include "board/ItemReports.h"
#include "board/Value.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;

namespace {

constexpr const char* kOutcomeNames[] = {"restored", "changed", "partly", "refused", "defaulted", "read-only", "left"};
static_assert(std::size(kOutcomeNames) == kOutcomeCount);

void VisitObject(const host::Object& object, bool isWritable, const VariableVisitor& visit) {
    const bool isObjectWritable = isWritable && object.Writable();
    for (const auto& variable : object.Variables()) {
        if (!host::HoldsObjects(variable->Type())) {
            visit(*variable, isObjectWritable);
        }
        for (const auto& nested : variable->Objects()) {
            VisitObject(*nested, isObjectWritable, visit);
        }
    }
}

/// Of the items that were stored for a variable, the last one.
class LastItems {
public:
    explicit LastItems(const std::vector<ItemReport>& items) {
        indices_.reserve(items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].variable != nullptr) {
                indices_.emplace_back(items[i].variable, i);
            }
        }
        std::sort(indices_.begin(), indices_.end());
    }

    /// @return kNone when there is none.
    [[nodiscard]] std::size_t Of(const host::Variable& variable) const {
        const auto after = std::upper_bound(indices_.begin(), indices_.end(), std::pair(&variable, kNone));
        return after != indices_.begin() && std::prev(after)->first == &variable ? std::prev(after)->second : kNone;
    }

private:
    std::vector<std::pair<const host::Variable*, std::size_t>> indices_;
};

class Restoration {
public:
    Restoration(const ProviderSession& session, const StorageFile& file, const StoredContents& contents,
                host::Database& layout, KnownPaths* knownPaths)
        : session_(session),
          format_(session.Provider().format),
          file_(file),
          contents_(contents),
          layout_(layout),
          knownPaths_(knownPaths) {}

    RestoreReport Report() {
        const std::vector<std::string> overFillers = RetrieveOverFillers();
        ReportItems();
        ReportVariables(overFillers);
        ExplainStoredPaths(report_, session_, contents_, layout_, knownPaths_);
        return std::move(report_);
    }

    /// What becomes of variables is left out, and so is the look for it.
    RestoreReport ReportOfItems() {
        report_.run = session_.Retrieve(file_.bytes, layout_);
        ReportItems();
        return std::move(report_);
    }

private:
    void ReportItems() {
        if (QBF_IsFailure(report_.run.result)) {
            report_.failure = ReasonForFailure();
        }
        report_.items = ReportsOfItems(session_, contents_, report_.run, layout_);
    }

    /// Retrieves over fillers and, if these do not tell what has been written, once more over the defaults.
    /// @return what the first retrieve left in each variable; nothing when it tells all.
    std::vector<std::string> RetrieveOverFillers() {
        Fillers fillers(layout_, format_);
        if (format_ != nullptr && !format_->looksItemsUp) {
            AvoidItemsInTheirPlaces(fillers);
        }
        Expected expected = {contents_, fillers};
        report_.run = session_.Retrieve(file_.bytes, layout_, &expected);
        std::vector<std::string> values;
        if (ReplaceFillers(fillers)) {
            return values;
        }
        VisitVariables(layout_,
                       [&](host::Variable& variable, bool /*isWritable*/) { values.emplace_back(BytesOf(variable)); });
        layout_.ResetToDefaults();
        report_.run = session_.Retrieve(file_.bytes, layout_);
        return values;
    }

    void AvoidItemsInTheirPlaces(Fillers& fillers) const {
        std::size_t index = 0;
        VisitVariables(layout_, [&](const host::Variable& variable, bool /*isWritable*/) {
            if (index < contents_.items.size()) {
                fillers.Avoid(variable, contents_.items[index++]);
            }
        });
    }

    /// Gives the variables that nobody has looked up the defaults that a board has held all the time.
    /// @return false when a filler is in another variable, too, of which nobody knows then what has been written.
    [[nodiscard]] bool ReplaceFillers(const Fillers& fillers) {
        std::vector<host::Variable*> filled;
        VisitVariables(layout_, [&](host::Variable& variable, bool /*isWritable*/) {
            if (fillers.AreIn(variable)) {
                filled.push_back(&variable);
            }
        });
        if (!IsNoneLookedUp(filled)) {
            return false;
        }
        for (host::Variable* const variable : filled) {
            variable->SetToDefault();
        }
        return true;
    }

    /// A provider that looks items up writes nothing else.
    [[nodiscard]] bool IsNoneLookedUp(const std::vector<host::Variable*>& variables) const {
        if (variables.empty()) {
            return true;
        }
        std::vector<const host::Variable*> found;
        for (const LookUp& lookUp : report_.run.seen.lookUps) {
            found.push_back(lookUp.variable);
        }
        std::sort(found.begin(), found.end());
        return format_ != nullptr && format_->looksItemsUp &&
               std::none_of(variables.begin(), variables.end(), [&](const host::Variable* variable) {
                   return std::binary_search(found.begin(), found.end(), variable);
               });
    }

    void ReportVariables(const std::vector<std::string>& overFillers) {
        const LastItems lastItems(report_.items);
        VisitVariables(layout_, [&](host::Variable& variable, bool isWritable) {
            VariableReport report;
            report.variable = &variable;
            report.isStored = isWritable || format_ == nullptr || format_->storesReadOnlyObjects;
            report.item = lastItems.Of(variable);
            if (variable.Retrieved()) {
                const std::string_view bytes = BytesOf(variable);
                JudgeRestored(report, overFillers.empty() ? bytes : overFillers[report_.variables.size()]);
            } else {
                JudgeNotRestored(report);
            }
            report_.variables.push_back(std::move(report));
        });
    }

    void JudgeRestored(VariableReport& report, std::string_view other) const {
        report.outcome = Outcome::Restored;
        const std::string_view bytes = BytesOf(*report.variable);
        std::size_t untouched = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            untouched += bytes[i] != other[i] ? 1 : 0;
        }
        if (untouched != 0) {
            report.outcome = Outcome::Partly;
            report.reason = std::to_string(untouched) + " of " + Count(bytes.size(), "byte") +
                            " are not in the file and keep what the board held";
        } else if (format_ != nullptr && report.item != kNone && format_->hasTexts) {
            CompareWithDocument(report, contents_.items[report.item]);
        }
    }

    static void CompareWithDocument(VariableReport& report, const StoredItem& item) {
        const host::Variable& variable = *report.variable;
        const bool isArray = host::FindType(variable.Type()) != nullptr && host::FindType(variable.Type())->isArray;
        if (isArray && item.texts.size() > variable.ElementCount()) {
            report.outcome = Outcome::Changed;
            report.reason = Count(item.texts.size(), "element") + " in the document, " +
                            std::to_string(variable.ElementCount()) + " in the layout";
        } else if (!IsValueOfTexts(variable.Type(), BytesOf(variable), item.texts)) {
            report.outcome = Outcome::Changed;
            report.reason = "comes back as " + ValueText(variable.Type(), BytesOf(variable));
        }
    }

    void JudgeNotRestored(VariableReport& report) const {
        const ItemReport* const item = report.item == kNone ? nullptr : &report_.items[report.item];
        if (!report_.run.seen.isDefaulted) {
            report.outcome = Outcome::Left;
            report.reason = report_.failure.empty() ? "the provider leaves it as it is"
                                                    : "the board gives up before it sets the defaults";
        } else if (item == nullptr) {
            report.outcome = report.isStored ? Outcome::Defaulted : Outcome::ReadOnly;
            report.reason = !report.isStored     ? "in a read-only object, which is never stored"
                            : format_ == nullptr ? "the provider does not set it"
                            : IsFileRead()       ? "not in the file"
                                                 : "the file is not read";
        } else if (item->fate == Fate::Refused) {
            report.outcome = Outcome::Refused;
            report.reason = item->reason;
        } else {
            report.reason = format_ != nullptr && !format_->looksItemsUp
                                ? "the file ends inside it"
                                : "its value is dropped, since an earlier variable failed: " + FirstRefused();
        }
    }

    /// A retrieve that cannot open its file takes nothing of it.
    [[nodiscard]] bool IsFileRead() const {
        const Seen& seen = report_.run.seen;
        const bool hasTouchedAnything = !seen.lookUps.empty() || seen.hasMarked;
        return !QBF_IsFailure(report_.run.result) || hasTouchedAnything || contents_.handedOn.empty();
    }

    /// What made the retrieve fail. The operation itself, which speaks first, only passes that on.
    [[nodiscard]] std::string ReasonForFailure() const {
        const auto& trace = report_.run.trace;
        const auto record = std::find_if(trace.rbegin(), trace.rend(), [&](const TraceRecord& candidate) {
            return QBF_IsFailure(candidate.code) && candidate.operation != report_.run.operation;
        });
        return record == trace.rend() ? "it does not say why" : record->MessageInOneLine();
    }

    [[nodiscard]] std::string FirstRefused() const {
        for (const std::size_t index : contents_.handedOn) {
            if (report_.items[index].fate == Fate::Refused) {
                return report_.items[index].BoardPath();
            }
        }
        return "one that is not in the file's list";
    }

    const ProviderSession& session_;
    const FormatInfo* format_;  ///< Null for a provider without files.
    const StorageFile& file_;
    const StoredContents& contents_;
    host::Database& layout_;
    KnownPaths* knownPaths_;  ///< Null for none.
    RestoreReport report_;
};

}  // namespace

void VisitVariables(const host::Database& layout, const VariableVisitor& visit) {
    for (const auto& region : layout.Regions()) {
        for (const auto& object : region->Objects()) {
            VisitObject(*object, true, visit);
        }
    }
}

const char* NameOf(Outcome outcome) {
    return kOutcomeNames[static_cast<std::size_t>(outcome)];
}

std::string SizesText(std::size_t bytesInFile, std::size_t bytesInLayout) {
    return Count(bytesInFile, "byte") + " in the file, " + std::to_string(bytesInLayout) + " in the layout";
}

std::array<std::size_t, kOutcomeCount> RestoreReport::Counts() const {
    std::array<std::size_t, kOutcomeCount> counts = {};
    for (const VariableReport& variable : variables) {
        ++counts[static_cast<std::size_t>(variable.outcome)];
    }
    return counts;
}

std::size_t RestoreReport::IgnoredCount() const {
    return static_cast<std::size_t>(
        std::count_if(items.begin(), items.end(), [](const ItemReport& item) { return item.fate == Fate::Ignored; }));
}

std::vector<std::size_t> RestoreReport::LostItems() const {
    std::vector<std::size_t> lost;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool hasNoValue = items[i].variable == nullptr || host::HoldsObjects(items[i].variable->Type());
        const bool isLost = items[i].fate == Fate::Refused || items[i].fate == Fate::Ignored;
        if (isLost && hasNoValue) {
            lost.push_back(i);
        }
    }
    return lost;
}

bool RestoreReport::IsClean() const {
    return std::all_of(variables.begin(), variables.end(),
                       [](const VariableReport& variable) { return IsAsExpected(variable.outcome); }) &&
           std::all_of(items.begin(), items.end(), [](const ItemReport& item) { return item.fate == Fate::Taken; });
}

RestoreReport Restore(const ProviderSession& session, const StorageFile& file, const StoredContents& contents,
                      host::Database& layout, KnownPaths* paths) {
    return Restoration(session, file, contents, layout, paths).Report();
}

RestoreReport RestoreItems(const ProviderSession& session, const StorageFile& file, const StoredContents& contents,
                           host::Database& layout) {
    return Restoration(session, file, contents, layout, nullptr).ReportOfItems();
}

}  // namespace tal::talstore
