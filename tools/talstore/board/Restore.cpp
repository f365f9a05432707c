#include "board/Restore.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <unordered_map>

#include "TypeTable.h"
#include "board/Value.h"
#include "common/Text.h"
#include "formats/InspectSecure.h"

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

/// Every byte differs from the default.
void SetToOppositeOfDefault(host::Variable& variable) {
    const std::uint8_t* const bytes = variable.DefaultContent();
    for (std::size_t i = 0; i < variable.SizeInBytes(); ++i) {
        variable.Set(static_cast<std::uint8_t>(~bytes[i]), i);
    }
}

// ---- Reading the trace

/// @return what stands between the two texts, of which the first one begins the message.
std::optional<std::string> Between(const std::string& message, std::string_view before, std::string_view after) {
    if (message.compare(0, before.size(), before) != 0) {
        return std::nullopt;
    }
    const std::size_t end = after.empty() ? message.size() : message.rfind(after);
    return end == std::string::npos || end < before.size()
               ? std::nullopt
               : std::optional(message.substr(before.size(), end - before.size()));
}

/// The message in one line.
std::string Reason(std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    const std::size_t start = message.find_first_not_of(' ');
    return start == std::string::npos ? message : message.substr(start, message.find_last_not_of(' ') - start + 1);
}

/// @return the path, if the record says that it is not registered.
std::optional<std::string> UnregisteredPath(const TraceRecord& record) {
    constexpr std::string_view kText = " contains variable that is not registered (";
    const std::size_t start = record.message.find(kText);
    return start == std::string::npos ? std::nullopt : Between(record.message.substr(start), kText, ")");
}

class Restoration {
public:
    Restoration(const ProviderSession& session, const StorageFile& file, const StoredContents& contents,
                host::Database& layout)
        : session_(session), format_(session.Provider().format), file_(file), contents_(contents), layout_(layout) {}

    RestoreReport Report() {
        session_.PutFile(file_.bytes);
        const std::vector<std::string> opposite = RetrieveOverOpposites();
        layout_.ResetToDefaults();
        report_.run = session_.Retrieve(layout_);
        if (QBF_IsFailure(report_.run.result)) {
            report_.failure = ReasonForFailure();
        }
        report_.items.resize(contents_.items.size());
        FollowItems();
        ReportVariables(opposite);
        ExplainStoredPaths();
        return std::move(report_);
    }

private:
    std::vector<std::string> RetrieveOverOpposites() {
        VisitVariables(layout_,
                       [](host::Variable& variable, bool /*isWritable*/) { SetToOppositeOfDefault(variable); });
        static_cast<void>(session_.Retrieve(layout_));
        std::vector<std::string> values;
        VisitVariables(layout_,
                       [&](host::Variable& variable, bool /*isWritable*/) { values.emplace_back(BytesOf(variable)); });
        return values;
    }

    // ---- Items

    void FollowItems() {
        if (format_ == Format::Xml) {
            FollowXmlItems();
        } else if (format_ == Format::Secure) {
            FollowSecureItems();
        } else if (format_ == Format::Binary) {
            FollowBinaryItems();
        }
        for (ItemReport& item : report_.items) {
            if (item.boardPath.empty()) {
                item.reason = "the reader does not take it";
            } else if (item.fate != Fate::Ignored) {
                item.variable = layout_.Find(item.boardPath);
            }
        }
    }

    /// The report of the item that the reader handles next; null when the trace tells of more items than there are.
    ItemReport* NextItem(std::string boardPath, Fate fate, std::string reason) {
        if (handled_ == contents_.handedOn.size()) {
            return nullptr;
        }
        ItemReport& item = report_.items[contents_.handedOn[handled_++]];
        item = {fate, std::move(boardPath), nullptr, std::move(reason)};
        return &item;
    }

    [[nodiscard]] std::string UnregisteredReason(const std::string& path) const {
        const bool hasPlaceholder = format_ == Format::Xml ? path.find("channel.X.") != std::string::npos
                                                           : path.find("Channel.X.") != std::string::npos ||
                                                                 path.find("CalibrationTabRfX") != std::string::npos;
        return session_.Channel() == 0 && hasPlaceholder
                   ? "not in the layout: the path holds a placeholder for a channel, try --channel"
                   : "not in the layout";
    }

    /// Each variable begins with a record of its path; what follows up to the next one is about it.
    void FollowXmlItems() {
        ItemReport* item = nullptr;
        for (const TraceRecord& record : report_.run.trace) {
            const bool isAboutVariable = record.operation == "CXmlFileStorageProviderBase_UpdateVariable" ||
                                         record.operation == "CXmlFileStorageProviderBase_UpdateArray";
            if (!isAboutVariable) {
                continue;
            }
            if (const auto path = Between(record.message, "Variable path ", "")) {
                item = NextItem(*path, Fate::Taken, {});
            } else if (item != nullptr && UnregisteredPath(record)) {
                item->fate = Fate::Ignored;
                item->reason = UnregisteredReason(item->boardPath);
            } else if (item != nullptr && QBF_IsFailure(record.code) && item->fate == Fate::Taken) {
                item->fate = Fate::Refused;
                item->reason = Reason(record.message);
            }
        }
    }

    void FollowSecureItems() {
        for (const TraceRecord& record : report_.run.trace) {
            if (const auto taken = Between(record.message, "Restoring variable ", ": ")) {
                NextItem(*taken, Fate::Taken, {});
            } else if (const auto refused =
                           Between(record.message, "*ERROR* Variable not restored: size mismatch: path ",
                                   ", size from file: ")) {
                NextItem(*refused, Fate::Refused, {});
            } else if (const auto ignored = UnregisteredPath(record)) {
                NextItem(*ignored, Fate::Ignored, UnregisteredReason(*ignored));
            }
        }
        for (std::size_t i = 0; i < report_.items.size(); ++i) {
            ItemReport& item = report_.items[i];
            if (const host::Variable* const variable = layout_.Find(item.boardPath);
                variable != nullptr && item.fate == Fate::Refused) {
                item.reason = Count(contents_.items[i].bytes.size(), "byte") + " in the file, " +
                              std::to_string(variable->SizeInBytes()) + " in the layout";
            }
        }
    }

    void FollowBinaryItems() {
        for (const StoredItem& item : contents_.items) {
            NextItem(item.path, Fate::Taken, {});
        }
    }

    // ---- Variables

    void ReportVariables(const std::vector<std::string>& opposite) {
        std::unordered_map<const host::Variable*, std::size_t> lastItems;
        for (std::size_t i = 0; i < report_.items.size(); ++i) {
            if (report_.items[i].variable != nullptr) {
                lastItems[report_.items[i].variable] = i;
            }
        }
        VisitVariables(layout_, [&](host::Variable& variable, bool isWritable) {
            VariableReport report;
            report.variable = &variable;
            report.isStored = isWritable || (format_ != Format::Xml && format_ != Format::Secure);
            if (const auto item = lastItems.find(&variable); item != lastItems.end()) {
                report.item = item->second;
            }
            const std::string& other = opposite[report_.variables.size()];
            if (variable.Retrieved()) {
                JudgeRestored(report, other);
            } else {
                JudgeNotRestored(report, other);
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
        } else if (format_ == Format::Xml && report.item != kNone) {
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

    void JudgeNotRestored(VariableReport& report, std::string_view other) const {
        const ItemReport* const item = report.item == kNone ? nullptr : &report_.items[report.item];
        if (BytesOf(*report.variable) != other || !report.variable->HoldsDefault()) {
            report.outcome = Outcome::Left;
            report.reason = report_.failure.empty() ? "the provider leaves it as it is"
                                                    : "the board gives up before it sets the defaults";
        } else if (item == nullptr) {
            report.outcome = report.isStored ? Outcome::Defaulted : Outcome::ReadOnly;
            report.reason = !report.isStored ? "in a read-only object, which is never stored"
                            : !format_       ? "the provider does not set it"
                            : IsFileRead()   ? "not in the file"
                                             : "the file is not read";
        } else if (item->fate == Fate::Refused) {
            report.outcome = Outcome::Refused;
            report.reason = item->reason;
        } else {
            report.reason = format_ == Format::Binary
                                ? "the file ends inside it"
                                : "its value is dropped, since an earlier variable failed: " + FirstRefused();
        }
    }

    /// A retrieve that cannot open its file takes nothing of it.
    [[nodiscard]] bool IsFileRead() const {
        return !QBF_IsFailure(report_.run.result) || handled_ != 0 || contents_.handedOn.empty();
    }

    /// What made the retrieve fail, and not the record that only passes it on.
    [[nodiscard]] std::string ReasonForFailure() const {
        const auto& trace = report_.run.trace;
        const auto record = std::find_if(trace.rbegin(), trace.rend(), [](const TraceRecord& candidate) {
            return QBF_IsFailure(candidate.code) && candidate.message != "Error when calling ManageRetrieve";
        });
        return record == trace.rend() ? "it does not say why" : Reason(record->message);
    }

    [[nodiscard]] std::string FirstRefused() const {
        for (const std::size_t index : contents_.handedOn) {
            if (report_.items[index].fate == Fate::Refused) {
                return report_.items[index].boardPath;
            }
        }
        return "one that is not in the file's list";
    }

    // ---- Paths that the secure format stores in one way and looks up in another

    /// Lets the library store the layout: its records come in the order of the variables.
    void ExplainStoredPaths() {
        if (format_ != Format::Secure || IsEverythingFound()) {
            return;
        }
        const ProviderSession session(ProviderOf(Format::Secure), 0, session_.Channel(), file_.name);
        static_cast<void>(session.Store(layout_));
        const std::string stored = session.TakeFile().value_or("");
        const StoredContents records = InspectSecure(stored);
        std::unordered_map<std::string, const host::Variable*> variables;
        std::size_t index = 0;
        for (VariableReport& report : report_.variables) {
            if (report.isStored && index < records.items.size()) {
                const std::string& storedPath = records.items[index++].path;
                variables[storedPath] = report.variable;
                ExplainDefaulted(report, storedPath);
            }
        }
        for (std::size_t i = 0; i < report_.items.size(); ++i) {
            const auto found = variables.find(contents_.items[i].path);
            if (report_.items[i].fate == Fate::Ignored && found != variables.end()) {
                report_.items[i].reason = "this is where the secure format stores " + found->second->Path() +
                                          ", which follows a nested object; no board finds it there";
            }
        }
    }

    [[nodiscard]] bool IsEverythingFound() const {
        return std::none_of(report_.items.begin(), report_.items.end(),
                            [](const ItemReport& item) { return item.fate == Fate::Ignored; }) &&
               std::none_of(report_.variables.begin(), report_.variables.end(),
                            [](const VariableReport& variable) { return variable.outcome == Outcome::Defaulted; });
    }

    void ExplainDefaulted(VariableReport& report, const std::string& storedPath) const {
        if (report.outcome == Outcome::Defaulted && session_.Channel() == 0 && storedPath != report.variable->Path()) {
            report.reason = "the secure format stores it as " + storedPath +
                            ", as it follows a nested object; no board finds it there";
        }
    }

    const ProviderSession& session_;
    std::optional<Format> format_;
    const StorageFile& file_;
    const StoredContents& contents_;
    host::Database& layout_;
    RestoreReport report_;
    std::size_t handled_ = 0;
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
        if (items[i].fate != Fate::Taken && hasNoValue) {
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
                      host::Database& layout) {
    return Restoration(session, file, contents, layout).Report();
}

}  // namespace tal::talstore
