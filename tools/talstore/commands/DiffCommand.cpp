#include <algorithm>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "TypeTable.h"
#include "board/DocumentValues.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/Input.h"
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

/// One variable's value on one side. What it refers to is kept by its side.
struct Entry {
    KeptText path;
    std::optional<VariableType> type;
    /// As a board reads it; none for a document's value that no board takes.
    std::optional<std::string_view> bytes;
    TextList texts;  ///< Of a document's value that no board takes.

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

/// One of the two files. It keeps no more than what is compared: all of one file beside all of the other would take
/// twice the memory.
class Side {
public:
    /// @param layout  Null for none; both sides may have the same one after each other.
    Side(const StorageFile& file, StoredContents contents, std::uint32_t channel, host::Database* layout,
         PathFilter& filter)
        : name_(file.name), format_(InfoOf(file.format)), isWhole_(contents.isWhole) {
        RestoreReport restored;
        // Only a channel makes a board look a document's variables up in another place.
        if (layout != nullptr && (!IsXml() || channel != 0)) {
            const ProviderSession session(ProviderOf(file.format), 0, channel, file.name);
            restored = Restore(session, file, contents, *layout);
        }
        RestoreReport read;
        std::unique_ptr<host::Database> document;
        if (IsXml()) {
            DocumentValues values = ReadDocumentValues(file, contents);
            read = std::move(values.report);
            document = std::move(values.layout);
        }
        KeepEntries(contents, restored, read, filter);
        findings_ = std::move(contents.findings);
    }

    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] const FormatInfo& Format() const { return format_; }
    [[nodiscard]] bool IsXml() const { return format_.hasTexts; }
    [[nodiscard]] bool IsWhole() const { return isWhole_; }
    [[nodiscard]] const std::vector<Finding>& Findings() const { return findings_; }
    /// In the order of the file.
    [[nodiscard]] const std::vector<Entry>& Entries() const { return entries_; }
    /// @return null when there is none.
    [[nodiscard]] const Entry* Find(std::string_view path) const {
        const std::size_t found = index_.Find(entries_, path);
        return found == PathIndex::kNotFound ? nullptr : &entries_[found];
    }

private:
    static bool HasValue(const StoredItem& item) {
        VariableType type = 0;
        return !item.holdsObjects && !(host::FindTypeByName(item.type, type) && host::HoldsObjects(type));
    }

    /// @param restored  With the layout; empty for none.
    /// @param read      Of a document, as a board reads it that has its variables.
    void KeepEntries(const StoredContents& contents, const RestoreReport& restored, const RestoreReport& read,
                     PathFilter& filter) {
        entries_.reserve(contents.items.size());
        for (std::size_t i = 0; i < contents.items.size(); ++i) {
            const StoredItem& item = contents.items[i];
            const bool isElsewhere = !restored.items.empty() && !restored.items[i].BoardPath().empty();
            const std::string_view path = isElsewhere ? restored.items[i].BoardPath() : std::string_view(item.path);
            if (HasValue(item) && (filter.TakesAll() || filter.Takes(std::string(path)))) {
                Entry entry = IsXml()
                                  ? EntryOfTexts(item, read.items[i].variable)
                                  : EntryOfBytes(item, restored.items.empty() ? nullptr : restored.items[i].variable);
                entry.path = kept_.Keep(path);
                Add(entry);
            }
        }
    }

    Entry EntryOfTexts(const StoredItem& item, const host::Variable* variable) {
        if (variable != nullptr && variable->Retrieved()) {
            return {{}, variable->Type(), kept_.Keep(BytesOf(*variable)), {}};
        }
        std::vector<KeptText> texts;
        for (const std::string_view text : item.texts) {
            texts.push_back(kept_.Keep(text));
        }
        return {{}, std::nullopt, std::nullopt, kept_.KeepList(texts)};
    }

    Entry EntryOfBytes(const StoredItem& item, const host::Variable* variable) {
        const bool hasType = variable != nullptr && variable->SizeInBytes() == item.bytes.size();
        return {{}, hasType ? std::optional(variable->Type()) : std::nullopt, kept_.Keep(item.bytes), {}};
    }

    /// Of two variables with the same path the last one counts, in the place of the first.
    void Add(const Entry& entry) {
        entries_.push_back(entry);
        const std::size_t before = index_.Add(entries_, entries_.size() - 1);
        if (before != PathIndex::kNotFound) {
            entries_[before] = entry;
            entries_.pop_back();
        }
    }

    std::string name_;
    const FormatInfo& format_;
    bool isWhole_;
    std::vector<Finding> findings_;
    KeptTexts kept_;
    std::vector<Entry> entries_;
    PathIndex index_;
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
            const bool isSame =
                !a.bytes && !b.bytes && std::equal(a.texts.begin(), a.texts.end(), b.texts.begin(), b.texts.end());
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
        return {{"file", side.Name()}, {"format", side.Format().name}, {"whole", side.IsWhole()}};
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

/// The variables in read-only objects, where only one of the formats stores these.
std::unordered_set<std::string> NeverStored(const DiffOptions& options, const host::Database* layout,
                                            const FormatInfo& first, const FormatInfo& second) {
    std::unordered_set<std::string> paths;
    if (layout != nullptr && first.storesReadOnlyObjects != second.storesReadOnlyObjects && !options.countsAll) {
        VisitVariables(*layout, [&](const host::Variable& variable, bool isWritable) {
            if (!isWritable) {
                paths.insert(variable.Path());
            }
        });
    }
    return paths;
}

std::unique_ptr<const StorageFile> Load(const std::string& name, const std::string& format,
                                        const CommonOptions& options) {
    return std::make_unique<const StorageFile>(
        LoadBesideLayout(name, format.empty() ? options.format : format, options.layout));
}

}  // namespace

int Diff(const DiffOptions& options, const Console& console) {
    auto firstFile = Load(options.first, options.firstFormat, options.common);
    auto secondFile = Load(options.second, options.secondFormat, options.common);
    std::unique_ptr<host::Database> layout;
    Inspection ofFirst(*firstFile, layout);
    layout = LoadLayout(options.common.layout);
    const bool isLayoutOfUse =
        options.common.channel != 0 || !InfoOf(firstFile->format).hasTexts || !InfoOf(secondFile->format).hasTexts;
    if (!isLayoutOfUse) {
        layout.reset();
    }
    PathFilter filter(options.common.paths);
    StoredContents firstContents = ofFirst.Take();
    // While the library retrieves the first file, the second one is inspected.
    Inspection ofSecond(*secondFile, layout);
    const Side first(*firstFile, std::move(firstContents), options.common.channel, layout.get(), filter);
    firstFile.reset();
    const Side second(*secondFile, ofSecond.Take(), options.common.channel, layout.get(), filter);
    secondFile.reset();
    const auto neverStored = NeverStored(options, layout.get(), first.Format(), second.Format());
    const auto isNeverStored = [&](const Entry& entry, const Side& holder) {
        return holder.Format().storesReadOnlyObjects && neverStored.count(entry.path) != 0;
    };
    const Comparison comparison = {first, second};
    Differences differences(options);
    for (const Entry& a : first.Entries()) {
        const Entry* const b = second.Find(a.path);
        if (b == nullptr && isNeverStored(a, first)) {
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
        if (first.Find(b.path) == nullptr && isNeverStored(b, second)) {
            differences.CountReadOnly();
        } else if (first.Find(b.path) == nullptr) {
            differences.Add(Difference::OnlyInSecond, nullptr, &b);
        }
    }
    differences.Print(console, first, second);
    for (const Side* const side : {&first, &second}) {
        if (!side->IsWhole()) {
            TellFindings(console, side->Name(), side->Findings());
        }
    }
    TellUnmatched(console, options.first + ", " + options.second, filter);
    const bool areBothWhole = first.IsWhole() && second.IsWhole();
    return differences.AreNone() && areBothWhole && filter.Unmatched().empty() ? kFine : kProblems;
}

}  // namespace tal::talstore
