#include <nlohmann/json.hpp>
#include <unordered_map>
#include <unordered_set>

#include "TypeTable.h"
#include "board/DocumentValues.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/PathFilter.h"
#include "commands/Report.h"
#include "commands/ShownDifferences.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::HexBytes;
using tools::Printable;
using tools::Quoted;

namespace {

/// One variable's value on one side.
struct Entry {
    std::string path;
    std::optional<VariableType> type;
    /// As a board reads it; none for a document's value that no board takes.
    std::optional<std::string_view> bytes;
    std::vector<std::string> texts;  ///< Of a document's value that no board takes.

    /// Of a variable whose type may be known only on the other side.
    [[nodiscard]] std::string Text(std::optional<VariableType> knownType) const {
        if (!bytes) {
            return texts.empty() ? "" : Quoted(texts.front());
        }
        return knownType ? ValueText(*knownType, *bytes) : PaddedHex(*bytes);
    }
    [[nodiscard]] Json ToJson(std::optional<VariableType> knownType) const {
        if (!bytes) {
            return texts;
        }
        return knownType ? Json(ValueJson(*knownType, *bytes)) : Json({{"hex", HexBytes(*bytes)}});
    }
};

/// One of the two files, with everything that its entries refer to.
class Side {
public:
    /// @param layout  Null for none; both sides may have the same one after each other.
    Side(const std::string& name, const std::string& format, const CommonOptions& options, host::Database* layout,
         PathFilter& filter)
        : file_(LoadStorageFile(name, ParseFormat(format.empty() ? options.format : format), layout != nullptr)),
          contents_(Inspect(file_, layout)) {
        // Only a channel makes a board look a document's variables up in another place.
        if (layout != nullptr && (!IsXml() || options.channel != 0)) {
            const ProviderSession session(ProviderOf(file_.format), 0, options.channel, file_.name);
            restored_ = Restore(session, file_, contents_, *layout);
        }
        if (layout != nullptr) {
            VisitVariables(*layout, [&](const host::Variable& variable, bool isWritable) {
                if (!isWritable) {
                    readOnly_.insert(variable.Path());
                }
            });
        }
        if (IsXml()) {
            document_ = ReadDocumentValues(file_, contents_);
        }
        entries_.reserve(contents_.items.size());
        for (std::size_t i = 0; i < contents_.items.size(); ++i) {
            if (HasValue(contents_.items[i])) {
                Entry entry = EntryOf(i);
                if (filter.Takes(entry.path)) {
                    Add(std::move(entry));
                }
            }
        }
        KeepOnlyWhatIsCompared();
    }

    [[nodiscard]] const StorageFile& File() const { return file_; }
    [[nodiscard]] const StoredContents& Contents() const { return contents_; }
    /// In the order of the file.
    [[nodiscard]] const std::vector<Entry>& Entries() const { return entries_; }
    /// @return null when there is none.
    [[nodiscard]] const Entry* Find(const std::string& path) const {
        const auto found = indices_.find(path);
        return found == indices_.end() ? nullptr : &entries_[found->second];
    }
    /// Whether the board has the variable in a read-only object.
    [[nodiscard]] bool IsReadOnly(const std::string& path) const { return readOnly_.count(path) != 0; }
    [[nodiscard]] bool StoresReadOnly() const { return InfoOf(file_.format).storesReadOnlyObjects; }
    [[nodiscard]] bool IsXml() const { return InfoOf(file_.format).hasTexts; }

private:
    static bool HasValue(const StoredItem& item) {
        VariableType type = 0;
        return !item.holdsObjects && !(host::FindTypeByName(item.type, type) && host::HoldsObjects(type));
    }

    /// Of two variables with the same path the last one counts.
    void Add(Entry entry) {
        const auto found = indices_.find(entry.path);
        if (found == indices_.end()) {
            // There is room for all of them, so the path stays where it is.
            entries_.push_back(std::move(entry));
            indices_.emplace(entries_.back().path, entries_.size() - 1);
        } else {
            Entry& before = entries_[found->second];
            before.type = entry.type;
            before.bytes = entry.bytes;
            before.texts = std::move(entry.texts);
        }
    }

    /// All of this beside all of the other file would take twice the memory.
    void KeepOnlyWhatIsCompared() {
        contents_.nodes = {};
        contents_.items = {};
        contents_.handedOn = {};
        restored_ = {};
        document_.report = {};
    }

    [[nodiscard]] bool IsRestored() const { return !restored_.items.empty(); }

    Entry EntryOf(std::size_t index) const {
        const StoredItem& item = contents_.items[index];
        Entry entry = {item.path, std::nullopt, std::nullopt, {}};
        if (IsRestored() && !restored_.items[index].BoardPath().empty()) {
            entry.path = restored_.items[index].BoardPath();
        }
        if (IsXml()) {
            const host::Variable* const variable = document_.report.items[index].variable;
            if (variable != nullptr && variable->Retrieved()) {
                entry.type = variable->Type();
                entry.bytes = BytesOf(*variable);
            } else {
                entry.texts.assign(item.texts.begin(), item.texts.end());
            }
            return entry;
        }
        entry.bytes = item.bytes;
        const host::Variable* const variable = IsRestored() ? restored_.items[index].variable : nullptr;
        if (variable != nullptr && variable->SizeInBytes() == item.bytes.size()) {
            entry.type = variable->Type();
        }
        return entry;
    }

    StorageFile file_;
    StoredContents contents_;
    RestoreReport restored_;
    DocumentValues document_;
    std::unordered_set<std::string> readOnly_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string_view, std::size_t> indices_;  ///< By the paths of the entries.
};

enum class Difference { OnlyInFirst, OnlyInSecond, Value, Size };

struct DifferenceStyle {
    const char* text;
    const char* code;  ///< For programs.
    Colour colour;
};
constexpr DifferenceStyle kDifferences[] = {{"only in A", "onlyInA", Colour::Red},
                                            {"only in B", "onlyInB", Colour::Green},
                                            {"differs", "differs", Colour::Yellow},
                                            {"size differs", "sizeDiffers", Colour::Yellow}};

struct Comparison {
    const Side& first;
    const Side& second;

    /// What a document cannot tell apart is the same when one of the files is a document.
    [[nodiscard]] std::optional<Difference> Compare(const Entry& a, const Entry& b) const {
        if (!a.bytes || !b.bytes) {
            const bool isSame = !a.bytes && !b.bytes && a.texts == b.texts;
            return isSame ? std::nullopt : std::optional(Difference::Value);
        }
        const std::optional<VariableType> type = a.type ? a.type : b.type;
        const bool isDocument = first.IsXml() || second.IsXml();
        if (isDocument && type == VARIABLE_TYPE_STRING) {
            return AreSameInXml(*type, *a.bytes, *b.bytes) ? std::nullopt : std::optional(Difference::Value);
        }
        if (a.bytes->size() != b.bytes->size()) {
            return Difference::Size;
        }
        const bool hasSameType = !a.type || !b.type || *a.type == *b.type;
        const bool isSame = isDocument && type ? AreSameInXml(*type, *a.bytes, *b.bytes) : *a.bytes == *b.bytes;
        return hasSameType && isSame ? std::nullopt : std::optional(Difference::Value);
    }
};

/// Collects the differences for both kinds of output.
class Differences {
public:
    explicit Differences(const DiffOptions& options) : options_(options) {}

    void Add(Difference difference, const Entry* a, const Entry* b) {
        ++counts_[static_cast<std::size_t>(difference)];
        if (options_.IsBrief()) {
            return;
        }
        const DifferenceStyle& style = kDifferences[static_cast<std::size_t>(difference)];
        const Entry& any = a != nullptr ? *a : *b;
        const auto typeOf = [&](const Entry* entry, const Entry* other) {
            return entry->type || other == nullptr ? entry->type : other->type;
        };
        if (options_.common.asJson) {
            json_.push_back({{"kind", style.code},
                             {"path", any.path},
                             {"a", a == nullptr ? Json(nullptr) : a->ToJson(typeOf(a, b))},
                             {"b", b == nullptr ? Json(nullptr) : b->ToJson(typeOf(b, a))}});
        } else {
            const auto textOf = [&](const Entry* entry, const Entry* other) {
                return entry == nullptr ? "-" : SizeText(difference, *entry) + entry->Text(typeOf(entry, other));
            };
            shown_.Add({{style.text, style.colour}, Printable(any.path), textOf(a, b), textOf(b, a)});
        }
    }

    void CountSame() { ++sameCount_; }
    void CountReadOnly() { ++readOnlyCount_; }

    [[nodiscard]] bool AreNone() const {
        return std::all_of(std::begin(counts_), std::end(counts_), [](std::size_t count) { return count == 0; });
    }

    void Print(const Console& console, const Side& first, const Side& second) const {
        if (options_.common.asJson) {
            PrintAsJson(console, first, second);
            return;
        }
        if (options_.isQuiet) {
            console.out << (AreNone() ? ""
                                      : Printable(options_.first) + " and " + Printable(options_.second) + " differ\n");
            return;
        }
        shown_.Print(console);
        console.out << sameCount_ << " the same";
        for (std::size_t i = 0; i < std::size(kDifferences); ++i) {
            console.out << ", " << counts_[i] << ' ' << kDifferences[i].text;
        }
        console.out << (readOnlyCount_ == 0 ? ""
                                            : ", " + std::to_string(readOnlyCount_) +
                                                  " read-only, which one of the formats never stores")
                    << '\n';
    }

private:
    static std::string SizeText(Difference difference, const Entry& entry) {
        return difference == Difference::Size && entry.bytes ? Count(entry.bytes->size(), "byte") + ": " : "";
    }

    static Json SideJson(const Side& side) {
        return {{"file", side.File().name}, {"format", NameOf(side.File().format)}, {"whole", side.Contents().isWhole}};
    }

    void PrintAsJson(const Console& console, const Side& first, const Side& second) const {
        Json counts = {{"same", sameCount_}};
        for (std::size_t i = 0; i < std::size(kDifferences); ++i) {
            counts[kDifferences[i].code] = counts_[i];
        }
        counts["readOnly"] = readOnlyCount_;
        Json json = {{"a", SideJson(first)}, {"b", SideJson(second)}, {"counts", std::move(counts)}};
        if (!options_.IsBrief()) {
            json["differences"] = json_;
        }
        PrintAnswer(console, "diff", json);
    }

    const DiffOptions& options_;
    std::size_t counts_[std::size(kDifferences)] = {};
    std::size_t sameCount_ = 0;
    std::size_t readOnlyCount_ = 0;
    ShownDifferences shown_;
    Json json_ = Json::array();
};

/// Whether one format stores the variables of read-only objects and the other one does not.
bool IsNeverStored(const DiffOptions& options, const Entry& entry, const Side& holder, const Side& other) {
    return !options.countsAll && holder.IsReadOnly(entry.path) && holder.StoresReadOnly() && !other.StoresReadOnly();
}

}  // namespace

int Diff(const DiffOptions& options, const Console& console) {
    const auto layout = LoadLayout(options.common.layout);
    PathFilter filter(options.common.paths);
    const Side first(options.first, options.firstFormat, options.common, layout.get(), filter);
    const Side second(options.second, options.secondFormat, options.common, layout.get(), filter);
    const Comparison comparison = {first, second};
    Differences differences(options);
    for (const Entry& a : first.Entries()) {
        const Entry* const b = second.Find(a.path);
        if (b == nullptr && IsNeverStored(options, a, first, second)) {
            differences.CountReadOnly();
        } else if (b == nullptr) {
            differences.Add(Difference::OnlyInFirst, &a, nullptr);
        } else if (const auto difference = comparison.Compare(a, *b)) {
            differences.Add(*difference, &a, b);
        } else {
            differences.CountSame();
        }
    }
    for (const Entry& b : second.Entries()) {
        if (first.Find(b.path) == nullptr && IsNeverStored(options, b, second, first)) {
            differences.CountReadOnly();
        } else if (first.Find(b.path) == nullptr) {
            differences.Add(Difference::OnlyInSecond, nullptr, &b);
        }
    }
    differences.Print(console, first, second);
    for (const Side* const side : {&first, &second}) {
        if (!side->Contents().isWhole) {
            TellFindings(console, side->File().name, side->Contents().findings);
        }
    }
    TellUnmatched(console, options.first + ", " + options.second, filter);
    const bool areBothWhole = first.Contents().isWhole && second.Contents().isWhole;
    return differences.AreNone() && areBothWhole && filter.Unmatched().empty() ? kFine : kProblems;
}

}  // namespace tal::talstore
