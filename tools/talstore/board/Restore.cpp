#include "board/Restore.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "TypeTable.h"
#include "board/Fillers.h"
#include "board/StoredPaths.h"
#include "board/Value.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;

namespace {

constexpr const char* kOutcomeNames[] = {"restored", "changed", "partly", "refused", "defaulted", "read-only", "left"};
static_assert(std::size(kOutcomeNames) == kOutcomeCount);

// ---- The layout's variables

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

bool HasNestedObjects(const host::Database& layout) {
    const auto holdsSome = [](const auto& object) {
        const auto& variables = object->Variables();
        return std::any_of(variables.begin(), variables.end(),
                           [](const auto& variable) { return host::HoldsObjects(variable->Type()); });
    };
    return std::any_of(layout.Regions().begin(), layout.Regions().end(), [&](const auto& region) {
        return std::any_of(region->Objects().begin(), region->Objects().end(), holdsSome);
    });
}

/// The message in one line.
std::string Reason(std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    const std::size_t start = message.find_first_not_of(' ');
    return start == std::string::npos ? message : message.substr(start, message.find_last_not_of(' ') - start + 1);
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
        ExplainStoredPaths();
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
        report_.items.resize(contents_.items.size());
        FollowItems();
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
        if (IsKnownWhatIsWritten(fillers)) {
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
    [[nodiscard]] bool IsKnownWhatIsWritten(const Fillers& fillers) {
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

    // ---- Items

    void FollowItems() {
        if (format_ == nullptr || format_->looksItemsUp) {
            FollowLookUps();
        } else {
            FollowItemsInTheirPlaces();
        }
    }

    /// A provider that looks items up does so in the order in which the reader hands them on.
    void FollowLookUps() {
        const std::vector<LookUp>& lookUps = report_.run.seen.lookUps;
        for (ItemReport& item : report_.items) {
            item.reason = "the reader does not take it";
        }
        auto unregisteredPath = report_.run.seen.unregisteredPaths.begin();
        for (std::size_t i = 0; i < lookUps.size() && i < contents_.handedOn.size(); ++i) {
            ItemReport& report = report_.items[contents_.handedOn[i]];
            report = {};
            report.variable = lookUps[i].variable;
            if (report.variable == nullptr) {
                report.unregisteredPath = *unregisteredPath++;
                report.reason = UnregisteredReason(report.unregisteredPath);
            } else {
                report.fate = FateOf(i);
                report.reason = report.fate == Fate::Refused ? RefusedReason(i) : "";
            }
            listEmptiedAt_ = report.variable == nullptr ? listEmptiedAt_ : ItemOf(i).listEnd;
        }
    }

    [[nodiscard]] const StoredItem& ItemOf(std::size_t lookUp) const {
        return contents_.items[contents_.handedOn[lookUp]];
    }

    /// What becomes of an item whose variable has been found.
    [[nodiscard]] Fate FateOf(std::size_t lookUp) {
        const bool isMarked = report_.run.seen.lookUps[lookUp].isMarked;
        if (isMarked || !format_->hasTexts) {
            return isMarked ? Fate::Taken : Fate::Refused;
        }
        // The first failure keeps all variables after it from being marked, whether they are taken or not.
        const bool isFirstFailure = !hasFailed_ && lookUp < contents_.handedOnInTime;
        hasFailed_ = true;
        return isFirstFailure || IsRefused(lookUp) ? Fate::Refused : Fate::Dropped;
    }

    /// Whether a board refuses the text, or the elements in its list, for the type of the variable.
    [[nodiscard]] bool IsRefused(std::size_t lookUp) const {
        const LookUp& seen = report_.run.seen.lookUps[lookUp];
        const host::TypeInfo* const type = host::FindType(seen.variable->Type());
        if (type == nullptr || type->code == VARIABLE_TYPE_OBJECT) {
            return true;
        }
        const StoredItem& item = ItemOf(lookUp);
        const std::uint32_t texts = type->isArray ? item.listEnd - std::max(item.listBegin, listEmptiedAt_) : 1;
        return type->kind == host::TypeKind::Bool && seen.setWords < std::min(texts, seen.variable->ElementCount());
    }

    [[nodiscard]] std::string RefusedReason(std::size_t lookUp) const {
        const std::uint32_t size = report_.run.seen.lookUps[lookUp].variable->SizeInBytes();
        if (format_->comparesSizes && ItemOf(lookUp).bytes.size() != size) {
            return Count(ItemOf(lookUp).bytes.size(), "byte") + " in the file, " + std::to_string(size) +
                   " in the layout";
        }
        const auto& lookUps = report_.run.seen.lookUps;
        const auto& trace = report_.run.trace;
        const std::size_t end = lookUp + 1 < lookUps.size() ? lookUps[lookUp + 1].firstRecord : trace.size();
        // The first failure is the cause; those after it pass it on.
        for (std::size_t i = lookUps[lookUp].firstRecord; i < end; ++i) {
            if (QBF_IsFailure(trace[i].code)) {
                return Reason(trace[i].message);
            }
        }
        return {};
    }

    /// A raw image has one item per variable, as far as it reaches.
    void FollowItemsInTheirPlaces() {
        std::size_t index = 0;
        VisitVariables(layout_, [&](host::Variable& variable, bool /*isWritable*/) {
            if (index < report_.items.size()) {
                report_.items[index++] = {variable.Retrieved() ? Fate::Taken : Fate::Dropped, {}, &variable, {}};
            }
        });
    }

    [[nodiscard]] std::string UnregisteredReason(const std::string& path) const {
        const bool hasPlaceholder =
            std::any_of(format_->placeholders.begin(), format_->placeholders.end(),
                        [&](const char* placeholder) { return path.find(placeholder) != std::string::npos; });
        return session_.Channel() == 0 && hasPlaceholder
                   ? "not in the layout: the path holds a placeholder for a channel, try --channel"
                   : "not in the layout";
    }

    // ---- Variables

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
        return record == trace.rend() ? "it does not say why" : Reason(record->message);
    }

    [[nodiscard]] std::string FirstRefused() const {
        for (const std::size_t index : contents_.handedOn) {
            if (report_.items[index].fate == Fate::Refused) {
                return report_.items[index].BoardPath();
            }
        }
        return "one that is not in the file's list";
    }

    // ---- Paths that are stored in one way and looked up in another

    void ExplainStoredPaths() {
        if (format_ == nullptr || !format_->looksItemsUp || IsEverythingFound() || !MayBeStoredElsewhere()) {
            return;
        }
        KnownPaths ofThisFile;
        const StoredPaths& stored =
            (knownPaths_ == nullptr ? ofThisFile : *knownPaths_).Of(*format_, session_.Channel(), layout_);
        auto path = stored.inTreeOrder.begin();
        for (VariableReport& report : report_.variables) {
            if (path != stored.inTreeOrder.end() && path->variable == report.variable) {
                ExplainDefaulted(report, path->path);
                ++path;
            }
        }
        for (std::size_t i = 0; i < report_.items.size(); ++i) {
            if (report_.items[i].fate == Fate::Ignored && !report_.items[i].BoardPath().empty()) {
                const auto found = stored.byPath.find(contents_.items[i].path);
                if (found != stored.byPath.end()) {
                    ExplainIgnored(report_.items[i], found->first, found->second->Path());
                }
            }
        }
    }

    [[nodiscard]] bool IsEverythingFound() const {
        return std::none_of(report_.items.begin(), report_.items.end(),
                            [](const ItemReport& item) { return item.fate == Fate::Ignored; }) &&
               std::none_of(report_.variables.begin(), report_.variables.end(),
                            [](const VariableReport& variable) { return variable.outcome == Outcome::Defaulted; });
    }

    /// A channel has its number in the paths that are looked up; what follows a nested object has another path in a
    /// secure file.
    [[nodiscard]] bool MayBeStoredElsewhere() const {
        return session_.Channel() != 0 || (format_->format == Format::Secure && HasNestedObjects(layout_));
    }

    void ExplainDefaulted(VariableReport& report, const std::string& storedPath) const {
        if (report.outcome != Outcome::Defaulted || storedPath == report.variable->Path()) {
            return;
        }
        if (session_.Channel() != 0) {
            report.reason += "; it is stored under a placeholder, as " + storedPath;
        } else if (format_->format == Format::Secure) {
            report.reason = "the secure format stores it as " + storedPath +
                            ", as it follows a nested object; no board finds it there";
        }
    }

    void ExplainIgnored(ItemReport& item, const std::string& storedPath, const std::string& variable) const {
        if (session_.Channel() != 0 && storedPath != variable) {
            item.reason =
                "stored under a placeholder, looked up as " + item.BoardPath() + ", while the layout has " + variable;
        } else if (format_->format == Format::Secure && session_.Channel() == 0) {
            item.reason = "this is where the secure format stores " + variable +
                          ", which follows a nested object; no board finds it there";
        }
    }

    const ProviderSession& session_;
    const FormatInfo* format_;  ///< Null for a provider without files.
    const StorageFile& file_;
    const StoredContents& contents_;
    host::Database& layout_;
    KnownPaths* knownPaths_;  ///< Null for none.
    RestoreReport report_;
    bool hasFailed_ = false;           ///< Whether the reader marks nothing any more.
    std::uint32_t listEmptiedAt_ = 0;  ///< Of all elements in the document, how many have left the reader's list.
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
