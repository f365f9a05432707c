#include "board/ChangeValues.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <map>
#include <optional>
#include <set>

#include "TypeTable.h"
#include "board/TextPlaces.h"
#include "board/Value.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Count;

namespace {

/// Bytes of the file, and what shall stand there instead.
struct Patch {
    Range place;
    std::string bytes;
};

/// A file as a board sees it.
struct Look {
    std::unique_ptr<host::Database> layout;
    StoredContents contents;
    RestoreReport report;
};

Look LookAt(const ProviderSession& session, const StorageFile& file, std::unique_ptr<host::Database> layout) {
    Look look;
    look.layout = std::move(layout);
    look.contents = Inspect(file, look.layout.get());
    look.report = Restore(session, file, look.contents, *look.layout);
    return look;
}

/// The shortest text that stands for the very same number; the writer's own has seven digits.
template <class Real>
std::string ExactText(Real value, const std::string& written) {
    if (static_cast<Real>(std::strtod(written.c_str(), nullptr)) == value) {
        return written;
    }
    char text[40];
    return {text, std::to_chars(text, std::end(text), value).ptr};
}

std::string ExactTextOf(const host::TypeInfo& type, const char* element, const std::string& written) {
    return type.elementSize == sizeof(float) ? ExactText(host::ReadElement<float>(element), written)
                                             : ExactText(host::ReadElement<double>(element), written);
}

/// @return what a document has for the value, one text per element: what the library writes, and of reals as many
///         digits as they need. None when no document can hold it.
std::optional<std::vector<std::string>> TextsOf(const ProviderSession& session, const host::Variable& value) {
    host::Database alone;
    alone.AddRegion("R").AddObject("O").Raw("v", value.Type(), value.ElementCount(), value.Bytes());
    const StorageFile file = {"value", session.Store(alone).bytes.value_or(""), Format::Xml};
    const StoredContents contents = Inspect(file, &alone);
    if (!contents.isWhole || contents.items.size() != 1) {
        return std::nullopt;
    }
    const TextList& stored = contents.items.front().texts;
    std::vector<std::string> texts(stored.begin(), stored.end());
    const host::TypeInfo* const type = host::FindType(value.Type());
    if (type != nullptr && type->kind == host::TypeKind::Real) {
        for (std::size_t i = 0; i < texts.size(); ++i) {
            texts[i] = ExactTextOf(*type, BytesOf(value).data() + i * type->elementSize, texts[i]);
        }
    }
    return texts;
}

class FileChanger {
public:
    FileChanger(const ProviderSession& session, const StorageFile& file, const MakeLayout& makeLayout)
        : session_(session),
          file_(file),
          makeLayout_(makeLayout),
          before_(LookAt(session, file, makeLayout())),
          wanted_(makeLayout()) {}

    ChangedFile ChangeAll(const std::vector<std::pair<std::string, std::string>>& values) {
        for (const auto& [path, text] : values) {
            // What is asked for last counts.
            if (std::find(paths_.begin(), paths_.end(), path) == paths_.end()) {
                paths_.push_back(path);
            }
            SetValue(wanted_->At(path), text);
        }
        if (!before_.contents.isWhole && !before_.report.failure.empty()) {
            Refuse({}, "no board can read the file: " + before_.report.failure);
            return std::move(changed_);
        }
        FindItems();
        if (InfoOf(file_.format).hasTexts) {
            PatchTexts();
        } else {
            PatchBytes();
        }
        OrderPatches();
        if (changed_.refused.empty()) {
            Apply();
            ReadBack();
        }
        return std::move(changed_);
    }

private:
    [[nodiscard]] const VariableReport& ReportOf(const std::string& path) const {
        const auto& reports = before_.report.variables;
        return *std::find_if(reports.begin(), reports.end(),
                             [&](const VariableReport& report) { return report.variable->Path() == path; });
    }

    void Refuse(const std::string& path, const std::string& reason) {
        changed_.refused.push_back({NameOf(Outcome::Refused), path, reason});
    }

    /// Finds what the board takes for each variable.
    void FindItems() {
        for (const std::string& path : paths_) {
            const VariableReport& report = ReportOf(path);
            if (!report.variable->Retrieved() || report.outcome == Outcome::Partly || report.item == kNone) {
                Refuse(path, report.reason.empty() ? "the file has no value of its own for it" : report.reason);
            } else {
                items_[path] = report.item;
                changed_.changes.push_back({path, report.variable->Type(), std::string(BytesOf(*report.variable)),
                                            std::string(BytesOf(wanted_->At(path)))});
            }
        }
    }

    [[nodiscard]] static bool IsChange(const Change& change) {
        return !IsSameValue(change.type, change.before, change.after);
    }

    void PatchBytes() {
        for (const Change& change : changed_.changes) {
            const std::string_view bytes = before_.contents.items[items_[change.path]].bytes;
            const auto begin = static_cast<std::size_t>(bytes.data() - file_.bytes.data());
            if (IsChange(change)) {
                patches_.push_back({{begin, begin + bytes.size()}, change.after});
            }
        }
    }

    void PatchTexts() {
        std::set<std::size_t> items;
        for (const auto& [path, item] : items_) {
            items.insert(item);
        }
        auto places = FindTextPlaces(file_.bytes, items);
        for (const Change& change : changed_.changes) {
            if (IsChange(change)) {
                PatchText(change, places[items_[change.path]]);
            }
        }
    }

    void PatchText(const Change& change, const std::vector<Range>& places) {
        const host::Variable& wanted = wanted_->At(change.path);
        const std::optional<std::vector<std::string>> texts = TextsOf(session_, wanted);
        if (!texts) {
            Refuse(change.path, ValueText(wanted) + ": a document cannot hold '<' or '&'");
            return;
        }
        if (places.size() != texts->size()) {
            Refuse(change.path, Count(places.size(), "text") + " in the document, " + Count(texts->size(), "element") +
                                    " in the layout");
            return;
        }
        const std::size_t elementSize = change.after.size() / std::max<std::size_t>(texts->size(), 1);
        for (std::size_t i = 0; i < places.size(); ++i) {
            const bool isElementChanged =
                change.before.compare(i * elementSize, elementSize, change.after, i * elementSize, elementSize) != 0;
            if (isElementChanged) {
                patches_.push_back({places[i], (*texts)[i]});
            }
        }
    }

    /// A document may have elements within elements, and then one text is a part of another.
    void OrderPatches() {
        std::sort(patches_.begin(), patches_.end(),
                  [](const Patch& a, const Patch& b) { return a.place.begin < b.place.begin; });
        const auto overlap = std::adjacent_find(patches_.begin(), patches_.end(), [](const Patch& a, const Patch& b) {
            return b.place.begin < a.place.end;
        });
        if (overlap != patches_.end()) {
            Refuse({}, "one of the texts stands within another");
        }
    }

    void Apply() {
        std::size_t position = 0;
        for (const Patch& patch : patches_) {
            changed_.bytes.append(file_.bytes, position, patch.place.begin - position);
            changed_.bytes += patch.bytes;
            changed_.differingBytes += std::max(patch.bytes.size(), patch.place.end - patch.place.begin);
            position = patch.place.end;
        }
        changed_.bytes.append(file_.bytes, position);
    }

    /// Compares whatever a board gets from the file before and after.
    void ReadBack() {
        const StorageFile file = {file_.name, changed_.bytes, file_.format};
        const Look after = LookAt(session_, file, makeLayout_());
        if (after.report.run.result != before_.report.run.result ||
            after.contents.items.size() != before_.contents.items.size()) {
            Refuse({}, "no board could read the file any more" +
                           (after.report.failure.empty() ? "" : ": " + after.report.failure));
            return;
        }
        for (std::size_t i = 0; i < after.report.items.size(); ++i) {
            if (after.report.items[i].fate != before_.report.items[i].fate) {
                Refuse(std::string(after.contents.items[i].path), "a board would no longer do with it what it does");
            }
        }
        for (std::size_t i = 0; i < after.report.variables.size(); ++i) {
            Compare(before_.report.variables[i], after.report.variables[i]);
        }
    }

    void Compare(const VariableReport& before, const VariableReport& after) {
        const host::Variable& variable = *after.variable;
        const bool isWanted = items_.count(variable.Path()) != 0;
        const std::string_view expected = BytesOf(isWanted ? wanted_->At(variable.Path()) : *before.variable);
        const bool isSame = isWanted ? IsSameValue(variable.Type(), expected, BytesOf(variable))
                                     : expected == BytesOf(variable) && before.outcome == after.outcome;
        if (!isSame || variable.Retrieved() != before.variable->Retrieved()) {
            Refuse(variable.Path(),
                   (isWanted ? ValueText(variable.Type(), expected) + " would come back as " + ValueText(variable)
                             : "it would become " + ValueText(variable)));
        }
    }

    const ProviderSession& session_;
    const StorageFile& file_;
    const MakeLayout& makeLayout_;
    Look before_;
    std::unique_ptr<host::Database> wanted_;
    std::vector<std::string> paths_;
    std::map<std::string, std::size_t> items_;
    std::vector<Patch> patches_;
    ChangedFile changed_;
};

}  // namespace

ChangedFile ChangeValues(const ProviderSession& session, const StorageFile& file, const MakeLayout& makeLayout,
                         const std::vector<std::pair<std::string, std::string>>& values) {
    return FileChanger(session, file, makeLayout).ChangeAll(values);
}

}  // namespace tal::talstore
