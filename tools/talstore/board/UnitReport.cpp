#include "board/UnitReport.h"

#include <algorithm>
#include <unordered_set>

#include "TypeTable.h"
#include "board/RestoreFindings.h"
#include "board/Value.h"
#include "common/Text.h"
#include "files/Packed.h"

namespace tal::talstore {

using tools::ValidUtf8;

namespace {

/// What a unit has with the layout before, and what it gets.
class ValuesBefore {
public:
    /// @param before  Null when it is not known.
    ValuesBefore(host::Database* before, host::Database& after) : before_(before), after_(after) {}

    void Read(const StorageFile& file, const ProviderSession& session) {
        if (before_ != nullptr) {
            before_->ResetToDefaults();
            static_cast<void>(session.Retrieve(file.bytes, *before_));
        }
    }

    /// @return none when the layout before has no such variable.
    [[nodiscard]] std::optional<bool> Differs(const std::string& path) const {
        const host::Variable* const was = before_ == nullptr ? nullptr : before_->Find(path);
        if (was == nullptr || host::HoldsObjects(was->Type())) {
            return std::nullopt;
        }
        const host::Variable* const is = after_.Find(path);
        if (is == nullptr) {
            return !IsSameValue(was->Type(), BytesOf(*was), DefaultOf(*was));
        }
        const bool isComparable = was->Type() == is->Type() && was->SizeInBytes() == is->SizeInBytes();
        return isComparable ? !IsSameValue(was->Type(), BytesOf(*was), BytesOf(*is))
                            : ValueText(*was) != ValueText(*is);
    }

private:
    static std::string_view DefaultOf(const host::Variable& variable) {
        return {reinterpret_cast<const char*>(variable.DefaultContent()), variable.SizeInBytes()};
    }

    host::Database* before_;
    host::Database& after_;
};

/// Finds the losses of one file.
class LossFinder {
public:
    LossFinder(const FormatInfo& format, const StoredContents& contents, const RestoreReport& report,
               const ValuesBefore& valuesBefore)
        : format_(format), contents_(contents), report_(report), valuesBefore_(valuesBefore) {}

    std::vector<UnitLoss> Find() {
        for (const VariableReport& variable : report_.variables) {
            if (!IsAsExpected(variable.outcome)) {
                AddVariable(variable);
            }
        }
        for (const std::size_t index : report_.LostItems()) {
            const ItemReport& item = report_.items[index];
            Add({item.KindOfLoss(), contents_.items[index].path, item.reason}, item.BoardPath());
        }
        AddSurplusItems();
        return std::move(losses_);
    }

private:
    /// A path that the file has several times is one loss.
    /// @param boardPath  Where a board looks it up.
    void Add(UnitLoss loss, const std::string& boardPath) {
        loss.path = ValidUtf8(loss.path);
        loss.reason = ValidUtf8(loss.reason);
        if (known_.insert(loss.kind + '\0' + loss.path + '\0' + loss.Cause()).second) {
            loss.differs = valuesBefore_.Differs(boardPath);
            losses_.push_back(std::move(loss));
        }
    }

    void AddVariable(const VariableReport& variable) {
        UnitLoss loss = {NameOf(variable.outcome), variable.variable->Path(), variable.reason};
        const StoredItem* const item = variable.item == kNone ? nullptr : &contents_.items[variable.item];
        if (variable.outcome == Outcome::Changed && !(item != nullptr && HasTooManyElements(variable, *item))) {
            loss.cause = "comes back as another value";
        }
        if (variable.outcome == Outcome::Refused) {
            const std::uint64_t size = variable.variable->SizeInBytes();
            if (format_.comparesSizes && item != nullptr && item->bytes.size() != size) {
                loss.bytesInFile = item->bytes.size();
                loss.bytesInLayout = size;
            } else {
                loss.cause = "the board does not take its value";
            }
        }
        Add(std::move(loss), variable.variable->Path());
    }

    static bool HasTooManyElements(const VariableReport& variable, const StoredItem& item) {
        const host::TypeInfo* const type = host::FindType(variable.variable->Type());
        return type != nullptr && type->isArray && item.texts.size() > variable.variable->ElementCount();
    }

    /// Of a path that the file has several times one item may be taken, and another one not.
    void AddSurplusItems() {
        const std::vector<std::size_t> lost = report_.LostItems();
        for (std::size_t i = 0; i < report_.items.size(); ++i) {
            const ItemReport& item = report_.items[i];
            const bool isReported =
                item.fate == Fate::Taken || std::binary_search(lost.begin(), lost.end(), i) || IsLost(item.variable);
            if (!isReported) {
                Add({NameOf(Outcome::Refused), item.BoardPath(), "one of its items in the file is not taken"},
                    item.BoardPath());
            }
        }
    }

    [[nodiscard]] bool IsLost(const host::Variable* variable) {
        if (lostVariables_.empty()) {
            for (const VariableReport& report : report_.variables) {
                if (!IsAsExpected(report.outcome)) {
                    lostVariables_.insert(report.variable);
                }
            }
        }
        return lostVariables_.count(variable) != 0;
    }

    const FormatInfo& format_;
    const StoredContents& contents_;
    const RestoreReport& report_;
    const ValuesBefore& valuesBefore_;
    std::vector<UnitLoss> losses_;
    std::unordered_set<std::string> known_;
    std::unordered_set<const host::Variable*> lostVariables_;
};

/// The texts of a report, or of one that cannot be changed.
template <class Report>
auto TextsOf(Report& unit) {
    return std::array{&unit.file, &unit.archive, &unit.nameBytes, &unit.problem, &unit.format, &unit.damage};
}

}  // namespace

void UnitReport::SetNames(const std::string& ofFile, const std::string& ofArchive) {
    nameBytes.clear();
    file = ValidUtf8(ofFile);
    archive = ValidUtf8(ofArchive);
    const std::string& order = ofArchive.empty() ? ofFile : ofArchive;
    nameBytes = Order() == order ? "" : order;
}

UnitReport UnitJudge::Judge(const StorageFile& file, std::uint32_t channel) {
    layout_.ResetToDefaults();
    const StoredContents contents = Inspect(file, &layout_);
    const ProviderSession session(ProviderOf(file.format), 0, channel, file.name);
    const RestoreReport report = Restore(session, file, contents, layout_, &paths_);
    UnitReport unit;
    unit.SetNames(file.name, {});
    unit.format = NameOf(file.format);
    unit.size = file.bytes.size();
    unit.channel = channel;
    unit.damage = ValidUtf8(DamageOf(contents, report));
    const auto counts = report.Counts();
    std::copy(counts.begin(), counts.end(), unit.counts.begin());
    ValuesBefore valuesBefore(before_, layout_);
    valuesBefore.Read(file, session);
    unit.losses = LossFinder(InfoOf(file.format), contents, report, valuesBefore).Find();
    return unit;
}

std::string Packed(const UnitReport& unit) {
    Packer packer;
    const auto packOptional = [&](const std::optional<std::uint64_t>& number) {
        packer.Number(number ? 1 : 0);
        packer.Number(number.value_or(0));
    };
    for (const std::string* const text : TextsOf(unit)) {
        packer.Text(*text);
    }
    packer.Number(unit.size);
    packer.Number(unit.channel);
    for (const std::uint64_t count : unit.counts) {
        packer.Number(count);
    }
    packer.Number(unit.losses.size());
    for (const UnitLoss& loss : unit.losses) {
        for (const std::string* const text : {&loss.kind, &loss.path, &loss.reason, &loss.cause}) {
            packer.Text(*text);
        }
        packOptional(loss.bytesInFile);
        packOptional(loss.bytesInLayout);
        packOptional(loss.differs);
    }
    return packer.Take();
}

UnitReport UnpackedUnit(std::string_view bytes) {
    Unpacker unpacker(bytes);
    const auto unpackOptional = [&] {
        const bool isThere = unpacker.Number() != 0;
        const std::uint64_t size = unpacker.Number();
        return isThere ? std::optional(size) : std::nullopt;
    };
    UnitReport unit;
    for (std::string* const text : TextsOf(unit)) {
        *text = unpacker.Text();
    }
    unit.size = unpacker.Number();
    unit.channel = unpacker.Number();
    for (std::uint64_t& count : unit.counts) {
        count = unpacker.Number();
    }
    unit.losses.resize(static_cast<std::size_t>(unpacker.Number()));
    for (UnitLoss& loss : unit.losses) {
        for (std::string* const text : {&loss.kind, &loss.path, &loss.reason, &loss.cause}) {
            *text = unpacker.Text();
        }
        loss.bytesInFile = unpackOptional();
        loss.bytesInLayout = unpackOptional();
        const std::optional<std::uint64_t> differs = unpackOptional();
        loss.differs = differs ? std::optional(*differs != 0) : std::nullopt;
    }
    return unit;
}

}  // namespace tal::talstore
