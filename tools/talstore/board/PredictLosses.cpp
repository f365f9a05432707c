#include "board/PredictLosses.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>

#include "TypeTable.h"
#include "board/ProviderSession.h"
#include "board/Restore.h"
#include "board/TypeChange.h"
#include "common/Text.h"
#include "formats/StorageFile.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

constexpr const char* kIgnored = "ignored";

/// What becomes of one layout's files in a board with another one, or the same.
struct Outlook {
    std::vector<PredictedLoss> losses;
    std::set<const host::Variable*> reached;  ///< Variables that something in the file is for.
    std::set<std::string> twice;              ///< Paths of several things: nothing about them is certain.
    std::set<std::string> astray;             ///< What is stored for these variables reaches others.
    Certainty fails = Certainty::No;

    void Reach(const host::Variable& from, const host::Variable& to) {
        if (!reached.insert(&to).second) {
            twice.insert(to.Path());
        }
        if (from.Path() != to.Path()) {
            astray.insert(from.Path());
        }
    }

    void Add(const std::string& path, const Effects& effects) {
        for (const Effect& effect : effects) {
            losses.push_back({path, NameOf(effect.outcome), effect.isCertain, effect.reason});
        }
    }
    void Ignore(const host::Variable& variable, const std::string& reason) {
        losses.push_back({variable.Path(), kIgnored, true, reason});
    }
};

// ---- Documents and secure files, which go by path

/// What a file has for a variable of the layout that stored it, and what the provider finds under its path.
struct StoredVariable {
    const host::Variable* from;
    const host::Variable* found = nullptr;
    bool isLookedUp = false;
};

/// What the library stores for the layout. Which paths a file has does not depend on the values, unless they make a
/// document that cannot be read; so all of them are empty.
StorageFile FileOf(const ProviderSession& session, Format format, host::Database& layout) {
    layout.SetAllToZero();
    return {"file", session.Store(layout).bytes.value_or(""), format};
}

class LookUps {
public:
    LookUps(const ProviderSession& session, const StorageFile& file, const StoredContents& contents,
            host::Database& layout)
        : found_(contents.items.size()) {
        const Run run = session.Retrieve(file.bytes, layout);
        const std::size_t count = std::min(run.seen.lookUps.size(), contents.handedOn.size());
        for (std::size_t i = 0; i < count; ++i) {
            found_[contents.handedOn[i]] = run.seen.lookUps[i].variable;
        }
    }

    /// @return none when the provider does not look the item up; null when it finds nothing.
    [[nodiscard]] std::optional<const host::Variable*> At(std::size_t item) const {
        return item < found_.size() ? found_[item] : std::nullopt;
    }

private:
    std::vector<std::optional<const host::Variable*>> found_;
};

/// Follows the reader through a document that a layout has stored. The items of a document come in the order in which
/// the layout's variables begin.
class DocumentReader {
public:
    explicit DocumentReader(const LookUps& lookUps) : lookUps_(lookUps) {}

    Outlook Read(const host::Database& stored) {
        for (const auto& region : stored.Regions()) {
            for (const auto& object : region->Objects()) {
                ReadObject(*object);
            }
        }
        return std::move(outlook_);
    }

private:
    void ReadObject(const host::Object& object) {
        if (!object.Writable()) {
            return;
        }
        for (const auto& variable : object.Variables()) {
            if (variable->Type() == VARIABLE_TYPE_OBJECT) {
                ReadObject(*variable->Objects().front());
            } else {
                ReadVariable(*variable);
            }
        }
    }

    void ReadVariable(const host::Variable& variable) {
        const std::optional<const host::Variable*> found = lookUps_.At(item_++);
        // What is nested too deep fails as it begins, before whatever it holds.
        if (!found) {
            Fail(Certainty::Yes, variable.Path());
            outlook_.Ignore(variable, "the reader does not take it");
        }
        ReadTexts(variable);
        if (found) {
            EndVariable(variable, *found);
        }
    }

    /// The reader keeps the value that it has read last, and the elements since the last array began.
    void ReadTexts(const host::Variable& variable) {
        texts_.value = nullptr;
        const host::TypeInfo& type = *host::FindType(variable.Type());
        if (!type.isArray) {
            texts_.value = &variable;
            return;
        }
        texts_.elements = nullptr;
        for (const auto& object : variable.Objects()) {
            ReadObject(*object);
        }
        if (type.kind != host::TypeKind::Object && variable.ElementCount() != 0) {
            texts_.elements = &variable;
        }
    }

    void EndVariable(const host::Variable& from, const host::Variable* found) {
        const bool hasValue = !host::HoldsObjects(from.Type());
        if (found == nullptr) {
            // Its elements stay until a variable that is found has taken them.
            if (hasValue) {
                outlook_.Ignore(from, "not in the layout");
            }
            return;
        }
        Take(from, *found, hasValue);
        texts_.elements = nullptr;
    }

    void Take(const host::Variable& from, const host::Variable& to, bool hasValue) {
        if (to.Type() == VARIABLE_TYPE_OBJECT_ARRAY) {
            if (hasValue) {
                outlook_.Ignore(from, "the layout has an array of objects there");
            }
            return;
        }
        if (to.Type() == VARIABLE_TYPE_OBJECT) {
            outlook_.Add(to.Path(), {{Outcome::Refused, true, "the layout has an object there"}});
            Fail(Certainty::Yes, to.Path());
            return;
        }
        outlook_.Reach(from, to);
        const Effects effects = EffectsOnTexts(from, texts_, to);
        const Certainty refusal = RefusalAmong(effects);
        AddUnlessDropped(to.Path(), effects, refusal);
        Fail(refusal, to.Path());
    }

    /// A variable that fails is refused, and after it every other one is dropped.
    void AddUnlessDropped(const std::string& path, const Effects& effects, Certainty refusal) {
        const bool isEverythingDropped = outlook_.fails == Certainty::Yes;
        for (const Effect& effect : effects) {
            const bool isRefused = effect.outcome == Outcome::Refused;
            if (isRefused || !isEverythingDropped) {
                const bool isCertain = effect.isCertain && (isRefused || outlook_.fails == Certainty::No);
                outlook_.Add(path, {{effect.outcome, isCertain, effect.reason}});
            }
        }
        if (outlook_.fails != Certainty::No && refusal != Certainty::Yes) {
            outlook_.Add(path, {{Outcome::Defaulted, isEverythingDropped && refusal == Certainty::No,
                                 "its value is dropped, since an earlier variable failed: " + failed_}});
        }
    }

    static Certainty RefusalAmong(const Effects& effects) {
        const auto refused = std::find_if(effects.begin(), effects.end(),
                                          [](const Effect& effect) { return effect.outcome == Outcome::Refused; });
        return refused == effects.end() ? Certainty::No : refused->isCertain ? Certainty::Yes : Certainty::Maybe;
    }

    /// Nothing after a failed variable is marked as retrieved.
    void Fail(Certainty certainty, const std::string& path) {
        if (certainty > outlook_.fails) {
            outlook_.fails = certainty;
            failed_ = path;
        }
    }

    const LookUps& lookUps_;
    std::size_t item_ = 0;
    TextsAtHand texts_;
    std::string failed_;
    Outlook outlook_;
};

/// Each record of a secure file is for itself.
Outlook ReadRecords(const LookUps& lookUps, const host::Database& stored) {
    Outlook outlook;
    std::size_t item = 0;
    VisitVariables(stored, [&](const host::Variable& from, bool isWritable) {
        if (!isWritable) {
            return;
        }
        const host::Variable* const found = lookUps.At(item++).value_or(nullptr);
        if (found == nullptr) {
            outlook.Ignore(from, "not in the layout");
            return;
        }
        outlook.Reach(from, *found);
        if (host::HoldsObjects(found->Type())) {
            outlook.Add(found->Path(), {{Outcome::Refused, true, "the layout has objects there"}});
        } else if (from.SizeInBytes() != found->SizeInBytes()) {
            outlook.Add(found->Path(), {{Outcome::Refused, true,
                                         Count(from.SizeInBytes(), "byte") + " in the file, " +
                                             std::to_string(found->SizeInBytes()) + " in the layout"}});
        } else {
            outlook.Add(found->Path(), EffectsOnBytes(from, *found));
        }
    });
    return outlook;
}

// ---- Raw images, which go by place

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

// ---- The change

/// Forgets what would be lost without the change, too.
void LeaveOutWhatIsAlwaysLost(Outlook& outlook, const Outlook& unchanged) {
    std::set<std::string> paths = unchanged.astray;
    for (const PredictedLoss& loss : unchanged.losses) {
        if (unchanged.twice.count(loss.path) == 0) {
            paths.insert(loss.path);
        }
    }
    const auto isAlwaysLost = [&](const PredictedLoss& loss) { return paths.count(loss.path) != 0; };
    outlook.losses.erase(std::remove_if(outlook.losses.begin(), outlook.losses.end(), isAlwaysLost),
                         outlook.losses.end());
    if (unchanged.fails != Certainty::No) {
        outlook.fails = unchanged.fails == Certainty::Yes ? Certainty::No : std::min(outlook.fails, Certainty::Maybe);
    }
}

/// Of several values for one variable the last one that it takes counts.
void AddWhatHasBecomeTwice(Outlook& outlook, const Outlook& unchanged) {
    for (const std::string& path : outlook.twice) {
        if (unchanged.twice.count(path) == 0) {
            outlook.Add(path, {{Outcome::Changed, false, "it takes what is stored for another variable"}});
        }
    }
}

/// @return none when no board could read the file.
std::optional<Outlook> OutlookOfItems(Format format, std::uint32_t channel, host::Database& before,
                                      host::Database& after) {
    const ProviderSession session(ProviderOf(format), 0, channel, "file");
    const StorageFile file = FileOf(session, format, before);
    const StoredContents contents = Inspect(file, nullptr);
    if (!contents.isWhole) {
        return std::nullopt;
    }
    const auto read = [&](host::Database& layout) {
        const LookUps lookUps(session, file, contents, layout);
        return InfoOf(format).hasTexts ? DocumentReader(lookUps).Read(before) : ReadRecords(lookUps, before);
    };
    Outlook outlook = read(after);
    const Outlook unchanged = read(before);
    LeaveOutWhatIsAlwaysLost(outlook, unchanged);
    AddWhatHasBecomeTwice(outlook, unchanged);
    return outlook;
}

void Conclude(Prediction& prediction, Outlook outlook, const host::Database& after) {
    std::set<std::string> lostPaths;
    for (PredictedLoss& loss : outlook.losses) {
        lostPaths.insert(loss.path);
        loss.isCertain = loss.isCertain && outlook.twice.count(loss.path) == 0;
    }
    std::map<std::string, std::size_t> order;
    VisitVariables(after, [&](const host::Variable& variable, bool /*isWritable*/) {
        order.emplace(variable.Path(), order.size());
        const bool isReached = outlook.reached.count(&variable) != 0;
        if (isReached && lostPaths.count(variable.Path()) == 0) {
            prediction.kept.push_back(variable.Path());
        }
        prediction.absentCount += isReached ? 0 : 1;
    });
    const auto placeOf = [&](const PredictedLoss& loss) {
        const auto found = order.find(loss.path);
        return loss.kind == std::string_view(kIgnored) || found == order.end() ? order.size() : found->second;
    };
    std::stable_sort(outlook.losses.begin(), outlook.losses.end(),
                     [&](const PredictedLoss& a, const PredictedLoss& b) { return placeOf(a) < placeOf(b); });
    prediction.fails = outlook.fails;
    prediction.losses = std::move(outlook.losses);
}

}  // namespace

Prediction PredictLosses(Format format, std::uint32_t channel, host::Database& before, host::Database& after) {
    Prediction prediction;
    prediction.format = format;
    std::optional<Outlook> outlook = InfoOf(format).looksItemsUp ? OutlookOfItems(format, channel, before, after)
                                                                 : ImageReader(before, after).Read();
    prediction.isReadable = outlook.has_value();
    if (outlook) {
        Conclude(prediction, std::move(*outlook), after);
    }
    return prediction;
}

}  // namespace tal::talstore
