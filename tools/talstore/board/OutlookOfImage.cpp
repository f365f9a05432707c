#include <algorithm>
#include <cstdint>
#include <unordered_map>

#include "board/Outlook.h"
#include "board/Restore.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Printable;

namespace {

/// A variable and the place of its bytes.
struct Placed {
    const host::Variable* variable;
    std::uint64_t begin;
    [[nodiscard]] std::uint64_t End() const { return begin + variable->SizeInBytes(); }
};

std::vector<Placed> PlacesIn(const host::Database& layout) {
    std::vector<Placed> places;
    std::uint64_t position = 0;
    VisitVariables(layout, [&](const host::Variable& variable, bool /*isWritable*/) {
        places.push_back({&variable, position});
        position += variable.SizeInBytes();
    });
    return places;
}

class ImageReader {
public:
    ImageReader(const host::Database& before, const host::Database& after)
        : stored_(PlacesIn(before)),
          places_(PlacesIn(after)),
          sizesBefore_(Sizes(stored_)),
          sizesAfter_(Sizes(places_)) {}

    Outlook Read() {
        std::set<std::string> paths;
        for (const Placed& place : places_) {
            if (!paths.insert(place.variable->Path()).second) {
                outlook_.twice.insert(place.variable->Path());
            }
            ReadVariable(place);
        }
        for (const Placed& place : stored_) {
            if (sizesAfter_.count(place.variable->Path()) == 0 && taken_.count(place.variable) == 0) {
                outlook_.Ignore(*place.variable, "not in the layout");
            }
        }
        return std::move(outlook_);
    }

private:
    void ReadVariable(const Placed& place) {
        const host::Variable& to = *place.variable;
        const bool hadValue = sizesBefore_.count(to.Path()) != 0;
        if (to.SizeInBytes() == 0) {
            TakeNothing(to, hadValue);
        } else if (place.End() > (stored_.empty() ? 0 : stored_.back().End())) {
            FindTooLittle(to, hadValue);
        } else {
            TakeBytes(place);
        }
    }

    void TakeNothing(const host::Variable& to, bool hadValue) {
        outlook_.reached.insert(&to);
        if (hadValue && sizesBefore_.at(to.Path()) != 0) {
            outlook_.Add(to.Path(), {{Outcome::Changed, true, "the layout has no bytes for it"}});
        }
    }

    void FindTooLittle(const host::Variable& to, bool hadValue) {
        outlook_.fails = Certainty::Yes;
        if (hadValue) {
            outlook_.reached.insert(&to);
            outlook_.Add(to.Path(), {{Outcome::Defaulted, true, "the file ends before it, or inside it"}});
        }
    }

    void TakeBytes(const Placed& place) {
        const host::Variable& to = *place.variable;
        const std::vector<Placed> sources = StoredIn(place);
        const Placed& first = sources.front();
        outlook_.reached.insert(&to);
        if (first.begin == place.begin && first.End() == place.End() && IsTheSame(*first.variable, to)) {
            taken_.insert(first.variable);
            outlook_.Add(to.Path(), EffectsOnBytes(*first.variable, to));
        } else {
            const std::string others =
                sources.size() == 1 ? "" : " up to " + Printable(sources.back().variable->Path());
            outlook_.Add(to.Path(), {{Outcome::Changed, false,
                                      "its place holds bytes of " + Printable(first.variable->Path()) + others}});
        }
    }

    /// @return the variables whose bytes these are; at least one.
    [[nodiscard]] std::vector<Placed> StoredIn(const Placed& place) const {
        const auto isBefore = [&](const Placed& stored) { return stored.End() <= place.begin; };
        std::vector<Placed> found;
        for (auto next = std::partition_point(stored_.begin(), stored_.end(), isBefore);
             next != stored_.end() && next->begin < place.End(); ++next) {
            if (next->variable->SizeInBytes() != 0) {
                found.push_back(*next);
            }
        }
        return found;
    }

    /// A variable that has only got another name keeps its bytes.
    [[nodiscard]] bool IsTheSame(const host::Variable& from, const host::Variable& to) {
        const bool isRenamed = sizesAfter_.count(from.Path()) == 0 && sizesBefore_.count(to.Path()) == 0;
        return from.Path() == to.Path() || isRenamed;
    }

    /// Of the variables that have a value, by path.
    using SizesByPath = std::unordered_map<std::string, std::uint32_t>;

    static SizesByPath Sizes(const std::vector<Placed>& places) {
        SizesByPath sizes;
        for (const Placed& place : places) {
            sizes.emplace(place.variable->Path(), place.variable->SizeInBytes());
        }
        return sizes;
    }

    std::vector<Placed> stored_;
    std::vector<Placed> places_;
    SizesByPath sizesBefore_;
    SizesByPath sizesAfter_;
    std::set<const host::Variable*> taken_;
    Outlook outlook_;
};

}  // namespace

Outlook OutlookOfImage(const host::Database& stored, const host::Database& layout) {
    return ImageReader(stored, layout).Read();
}

}  // namespace tal::talstore
