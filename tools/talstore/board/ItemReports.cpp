#include "board/ItemReports.h"

#include <algorithm>
#include <string>
#include <utility>

#include "TypeTable.h"

namespace tal::talstore {

namespace {

class ItemFollower {
public:
    ItemFollower(const ProviderSession& session, const StoredContents& contents, const Run& run,
                 const host::Database& layout)
        : session_(session),
          format_(session.Provider().format),
          contents_(contents),
          run_(run),
          layout_(layout),
          reports_(contents.items.size()) {}

    std::vector<ItemReport> Follow() {
        if (format_ == nullptr || format_->looksItemsUp) {
            FollowLookUps();
        } else {
            FollowItemsInTheirPlaces();
        }
        return std::move(reports_);
    }

private:
    /// A provider that looks items up does so in the order in which the reader hands them on.
    void FollowLookUps() {
        const std::vector<LookUp>& lookUps = run_.seen.lookUps;
        for (ItemReport& item : reports_) {
            item.reason = "the reader does not take it";
        }
        auto unregisteredPath = run_.seen.unregisteredPaths.begin();
        for (std::size_t i = 0; i < lookUps.size() && i < contents_.handedOn.size(); ++i) {
            ItemReport& report = reports_[contents_.handedOn[i]];
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
        const bool isMarked = run_.seen.lookUps[lookUp].isMarked;
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
        const LookUp& seen = run_.seen.lookUps[lookUp];
        const host::TypeInfo* const type = host::FindType(seen.variable->Type());
        if (type == nullptr || type->code == VARIABLE_TYPE_OBJECT) {
            return true;
        }
        const StoredItem& item = ItemOf(lookUp);
        const std::uint32_t texts = type->isArray ? item.listEnd - std::max(item.listBegin, listEmptiedAt_) : 1;
        return type->kind == host::TypeKind::Bool && seen.setWords < std::min(texts, seen.variable->ElementCount());
    }

    [[nodiscard]] std::string RefusedReason(std::size_t lookUp) const {
        const std::uint32_t size = run_.seen.lookUps[lookUp].variable->SizeInBytes();
        if (format_->comparesSizes && ItemOf(lookUp).bytes.size() != size) {
            return SizesText(ItemOf(lookUp).bytes.size(), size);
        }
        const auto& lookUps = run_.seen.lookUps;
        const auto& trace = run_.trace;
        const std::size_t end = lookUp + 1 < lookUps.size() ? lookUps[lookUp + 1].firstRecord : trace.size();
        // The first failure is the cause; those after it pass it on.
        for (std::size_t i = lookUps[lookUp].firstRecord; i < end; ++i) {
            if (QBF_IsFailure(trace[i].code)) {
                return trace[i].MessageInOneLine();
            }
        }
        return {};
    }

    /// A raw image has one item per variable, as far as it reaches.
    void FollowItemsInTheirPlaces() {
        std::size_t index = 0;
        VisitVariables(layout_, [&](host::Variable& variable, bool /*isWritable*/) {
            if (index < reports_.size()) {
                reports_[index++] = {variable.Retrieved() ? Fate::Taken : Fate::Dropped, {}, &variable, {}};
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

    const ProviderSession& session_;
    const FormatInfo* format_;  ///< Null for a provider without files.
    const StoredContents& contents_;
    const Run& run_;
    const host::Database& layout_;
    std::vector<ItemReport> reports_;
    bool hasFailed_ = false;           ///< Whether the reader marks nothing any more.
    std::uint32_t listEmptiedAt_ = 0;  ///< Of all elements in the document, how many have left the reader's list.
};

}  // namespace

std::vector<ItemReport> ReportsOfItems(const ProviderSession& session, const StoredContents& contents, const Run& run,
                                       const host::Database& layout) {
    return ItemFollower(session, contents, run, layout).Follow();
}

}  // namespace tal::talstore
