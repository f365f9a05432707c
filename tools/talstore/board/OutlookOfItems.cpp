#include <algorithm>
#include <optional>

#include "TypeTable.h"
#include "board/Outlook.h"
#include "board/ProviderSession.h"
#include "board/Restore.h"

namespace tal::talstore {

namespace {

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
            outlook.Add(found->Path(), {{Outcome::Refused, true, SizesText(from.SizeInBytes(), found->SizeInBytes())}});
        } else {
            outlook.Add(found->Path(), EffectsOnBytes(from, *found));
        }
    });
    return outlook;
}

}  // namespace

Outlook OutlookOfItems(const ProviderSession& session, const StorageFile& file, const StoredContents& contents,
                       const host::Database& stored, host::Database& layout) {
    const LookUps lookUps(session, file, contents, layout);
    return InfoOf(file.format).hasTexts ? DocumentReader(lookUps).Read(stored) : ReadRecords(lookUps, stored);
}

}  // namespace tal::talstore
