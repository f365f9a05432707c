#include <algorithm>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/DiffSide.h"
#include "commands/Input.h"
#include "commands/PathFilter.h"
#include "commands/Report.h"
#include "commands/ShownDifferences.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;
using tools::Printable;

namespace {

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
    const DiffSide& first;
    const DiffSide& second;

    /// What a document cannot tell apart is the same when one of the files is a document.
    [[nodiscard]] std::optional<Difference> Compare(const DiffEntry& a, const DiffEntry& b) const {
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

    void Add(Difference difference, const DiffEntry* a, const DiffEntry* b) {
        ++counts_[static_cast<std::size_t>(difference)];
        if (options_.IsBrief()) {
            return;
        }
        const DifferenceStyle& style = kDifferences[static_cast<std::size_t>(difference)];
        const DiffEntry& any = a != nullptr ? *a : *b;
        const auto typeOf = [&](const DiffEntry* entry, const DiffEntry* other) {
            return entry->type || other == nullptr ? entry->type : other->type;
        };
        if (options_.common.asJson) {
            json_.push_back({{"kind", style.code},
                             {"path", any.path},
                             {"a", a == nullptr ? Json(nullptr) : a->ToJson(typeOf(a, b))},
                             {"b", b == nullptr ? Json(nullptr) : b->ToJson(typeOf(b, a))}});
        } else {
            const auto textOf = [&](const DiffEntry* entry, const DiffEntry* other) {
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

    void Print(const Console& console, const DiffSide& first, const DiffSide& second) const {
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
    static std::string SizeText(Difference difference, const DiffEntry& entry) {
        return difference == Difference::Size && entry.bytes ? Count(entry.bytes->size(), "byte") + ": " : "";
    }

    static Json SideJson(const DiffSide& side) {
        return {{"file", side.Name()}, {"format", side.Format().name}, {"whole", side.IsWhole()}};
    }

    void PrintAsJson(const Console& console, const DiffSide& first, const DiffSide& second) const {
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

void CompareSides(const DiffSide& first, const DiffSide& second, const std::unordered_set<std::string>& neverStored,
                  Differences& differences) {
    const auto isNeverStored = [&](const DiffEntry& entry, const DiffSide& holder) {
        return holder.Format().storesReadOnlyObjects && neverStored.count(entry.path) != 0;
    };
    const Comparison comparison = {first, second};
    for (const DiffEntry& a : first.Entries()) {
        const DiffEntry* const b = second.Find(a.path);
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
    for (const DiffEntry& b : second.Entries()) {
        if (first.Find(b.path) == nullptr && isNeverStored(b, second)) {
            differences.CountReadOnly();
        } else if (first.Find(b.path) == nullptr) {
            differences.Add(Difference::OnlyInSecond, nullptr, &b);
        }
    }
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
    const DiffSide first(*firstFile, std::move(firstContents), options.common.channel, layout.get(), filter);
    firstFile.reset();
    const DiffSide second(*secondFile, ofSecond.Take(), options.common.channel, layout.get(), filter);
    secondFile.reset();
    Differences differences(options);
    CompareSides(first, second, NeverStored(options, layout.get(), first.Format(), second.Format()), differences);
    differences.Print(console, first, second);
    for (const DiffSide* const side : {&first, &second}) {
        if (!side->IsWhole()) {
            TellFindings(console, side->Name(), side->Findings());
        }
    }
    TellUnmatched(console, options.first + ", " + options.second, filter);
    const bool areBothWhole = first.IsWhole() && second.IsWhole();
    return differences.AreNone() && areBothWhole && filter.Unmatched().empty() ? kFine : kProblems;
}

}  // namespace tal::talstore
