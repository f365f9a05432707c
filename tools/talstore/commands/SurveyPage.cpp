#include "commands/SurveyPage.h"

#include <string_view>

#include "commands/SurveyPageTemplate.h"
#include "commands/SurveyText.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::Markup;

namespace {

/// Enough to look at; all of them are in the answers for programs.
constexpr std::uint64_t kMostListedFiles = 1000;
/// Whatever the number of rows is.
constexpr std::size_t kMostListedBytes = std::size_t{8} << 20U;

struct HtmlAttribute {
    const char* name;
    std::string value;  ///< As text.
};

/// @param content  Is markup.
std::string Element(const char* name, const std::vector<HtmlAttribute>& attributes, const std::string& content) {
    std::string markup = std::string("<") + name;
    for (const HtmlAttribute& attribute : attributes) {
        markup += std::string(" ") + attribute.name + "=\"" + Markup(attribute.value) + '"';
    }
    return markup + '>' + content + "</" + name + '>';
}

std::string Element(const char* name, const std::string& content) {
    return Element(name, {}, content);
}

std::string Fact(const char* mark, const char* name, std::uint64_t count, std::uint64_t all) {
    const double share = all == 0 ? 0 : static_cast<double>(count) / static_cast<double>(all);
    return Element("div", {{"class", mark}},
                   Element("dt", name) +
                       Element("dd", std::to_string(count) + ' ' + Element("small", PercentText(share)))) +
           '\n';
}

/// A bar whose parts follow one another.
class Bar {
public:
    explicit Bar(const char* name) : name_(name) {}

    /// @param share  From 0 to 1, of the bar's length.
    void Add(const char* mark, double share) {
        parts_ +=
            Element("rect", {{"class", mark}, {"x", Length(begin_)}, {"width", Length(share)}, {"height", "100%"}}, "");
        begin_ += share;
    }
    [[nodiscard]] std::string Whole() const {
        return Element("svg", {{"class", name_}, {"aria-hidden", "true"}}, parts_);
    }

private:
    static std::string Length(double share) { return std::to_string(100 * share) + '%'; }

    const char* name_;
    std::string parts_;
    double begin_ = 0;
};

std::string Facts(const SurveyTotals& totals) {
    const std::uint64_t all = totals.FileCount();
    Bar bar("fleet");
    std::string facts = Element("div", Element("dt", "Files") + Element("dd", std::to_string(all))) + '\n';
    const auto add = [&](const char* mark, const char* name, std::uint64_t count) {
        facts += Fact(mark, name, count, all);
        bar.Add(mark, all == 0 ? 0 : static_cast<double>(count) / static_cast<double>(all));
    };
    add("none", "Lose nothing", totals.LosslessCount());
    if (totals.AcceptedCount() != 0) {
        add("accepted", "Lose what is accepted", totals.AcceptedCount());
    }
    add("some", "Lose something", totals.LosingCount());
    add("unreadable", "Cannot be read", totals.UnreadableCount());
    return Element("dl", {{"class", "facts"}}, '\n' + facts) + '\n' + bar.Whole() + '\n';
}

std::string PageHeading(const SurveyFrame& frame, const SurveyTotals& totals) {
    std::string about = "Every file is one unit.";
    if (!frame.before.empty()) {
        about += " The units run " + Element("code", Markup(frame.before)) +
                 "; differing are those that had another value than they get.";
    }
    const std::string warning =
        Element("strong", "Incomplete.") + " The survey was interrupted; this is what was done until then.";
    return Element("h1", "What boards with " + Element("code", Markup(frame.layout)) + " would lose") + '\n' +
           Element("p", {{"class", "about"}}, about) + '\n' +
           (frame.isComplete ? "" : Element("p", {{"class", "warning"}}, warning) + '\n') + Facts(totals);
}

std::string Colophon() {
    return "Written by talstore " TALSTORE_VERSION ". A row lists its first " + std::to_string(kMostListedFiles) +
           " files, as long as the lists of the page take less than " + std::to_string(kMostListedBytes >> 20U) +
           " MiB. The answer for programs has all of them: <code>--json</code>, <code>--sqlite</code>.";
}

struct Column {
    const char* heading;
    const char* kind;  ///< The class that says how wide it is, and more; empty for what is left.
    bool isSorted = false;
};

std::string TableStart(const char* kind, const std::string& caption, const std::vector<Column>& columns) {
    std::string headings;
    for (const Column& column : columns) {
        std::vector<HtmlAttribute> attributes = {{"scope", "col"}, {"class", column.kind}};
        if (column.isSorted) {
            attributes.push_back({"aria-sort", "descending"});
        }
        headings += Element("th", attributes, column.heading);
    }
    return Element("h2", caption) + "\n<div class=\"frame\">\n<table class=\"" + kind + "\">\n" +
           Element("caption", caption) + "\n<thead class=\"still\">\n" + Element("tr", headings) +
           "\n</thead>\n<tbody>\n";
}

constexpr const char* kTableEnd = "</tbody>\n</table>\n</div>\n</section>\n";

std::string NumberCell(const char* label, std::uint64_t number) {
    const std::string text = std::to_string(number);
    return Element("td", {{"class", "number"}, {"data-label", label}, {"data-value", text}}, text);
}

/// Its lines may end after a slash.
std::string PathMarkup(const std::string& path) {
    std::string markup;
    for (const char character : Markup(path)) {
        markup += character == '/' ? "/<wbr>" : std::string(1, character);
    }
    return Element("code", Element("bdi", markup));
}

std::string KindCell(const std::string& kind) {
    return Element("td", {{"class", "kinds searched"}}, Element("span", {{"class", "kind " + kind}}, Markup(kind)));
}

/// Can be scrolled with the keyboard.
std::string Lines(const std::string& markup) {
    return Element("pre", {{"tabindex", "0"}}, markup);
}

std::string VariableCell(const std::vector<const LossRow*>& rows, std::size_t begin, std::size_t count) {
    std::string content = PathMarkup(rows[begin]->path);
    if (count != 1) {
        std::string paths;
        for (std::size_t i = begin; i < begin + count; ++i) {
            paths += Markup(rows[i]->path) + '\n';
        }
        content = Element("details", Element("summary", tools::Count(count, "variable")) + Lines(paths));
    }
    return Element("th", {{"scope", "row"}, {"class", "variable searched"}}, content);
}

std::string ShareCell(double share) {
    Bar bar("bar");
    bar.Add("part", share);
    return Element("td", {{"class", "share"}, {"data-label", "Share"}, {"data-value", std::to_string(share)}},
                   PercentText(share) + bar.Whole());
}

std::string Unmatched(const std::vector<AcceptedLoss>& unmatched) {
    if (unmatched.empty()) {
        return "";
    }
    std::string rows;
    for (const AcceptedLoss& loss : unmatched) {
        rows += Element("tr", Element("th", {{"scope", "row"}, {"class", "variable"}}, PathMarkup(loss.variable)) +
                                  KindCell(loss.kind) + Element("td", {{"class", "reason"}}, Markup(loss.reason))) +
                '\n';
    }
    return "<section>\n" +
           TableStart("", "Accepted, but in no unit",
                      {{"Variable", "variable"}, {"What happens", "kinds"}, {"Why it is accepted", ""}}) +
           rows + kTableEnd;
}

}  // namespace

void SurveyPage::Add(const UnitReport& unit, const SurveyTotals& totals) {
    if (!unit.IsReadable()) {
        List(totals.TallyOf(unit.problem), unit.file, "");
        return;
    }
    if (!unit.damage.empty()) {
        List(totals.Damaged(), unit.file, unit.damage);
    }
    for (const UnitLoss& loss : unit.losses) {
        List(totals.TallyOf(loss), unit.file, loss.cause.empty() ? "" : loss.reason);
    }
}

void SurveyPage::List(const SurveyTally& tally, const std::string& file, const std::string& reason) {
    FileList& list = lists_[&tally];
    if (list.count == kMostListedFiles || list.count + 1 < tally.count || listedBytes_ >= kMostListedBytes) {
        return;
    }
    const std::size_t sizeBefore = list.markup.size();
    list.markup += Markup(file) + (reason.empty() ? "" : "  (" + Markup(reason) + ')') + '\n';
    listedBytes_ += list.markup.size() - sizeBefore;
    ++list.count;
}

void SurveyPage::PutInPlace(const SurveyFrame& frame, const SurveyTotals& totals) {
    std::string_view rest = kSurveyPageTemplate;
    for (std::size_t begin = 0; (begin = rest.find("{{")) != std::string_view::npos;) {
        const std::size_t end = rest.find("}}", begin);
        const std::string_view name = rest.substr(begin + 2, end - begin - 2);
        file_.Write(rest.substr(0, begin));
        rest.remove_prefix(end + 2);
        if (name == "title") {
            file_.Write("What boards with " + Markup(frame.layout) + " would lose");
        } else if (name == "heading") {
            file_.Write(PageHeading(frame, totals));
        } else if (name == "sections") {
            WriteSections(frame, totals);
        } else if (name == "colophon") {
            file_.Write(Colophon());
        }
    }
    file_.Write(rest);
    file_.PutInPlace();
}

void SurveyPage::WriteSections(const SurveyFrame& frame, const SurveyTotals& totals) {
    if (totals.Rows().empty()) {
        file_.Write(Element("p", {{"class", "note"}}, "No unit loses anything.") + '\n');
    }
    WriteLosses(frame, totals, false);
    WriteLosses(frame, totals, true);
    WriteProblems(totals);
    file_.Write(Unmatched(frame.unmatched));
}

void SurveyPage::WriteLosses(const SurveyFrame& frame, const SurveyTotals& totals, bool isAccepted) {
    const std::vector<const LossRow*> rows = totals.Rows(isAccepted);
    if (rows.empty()) {
        return;
    }
    std::vector<Column> columns = {{"Variable", "variable"},
                                   {"What happens", "kinds"},
                                   {isAccepted ? "Why it is accepted" : "Reason", "reason"},
                                   {"Units", "number", true},
                                   {"Share", "share"}};
    if (!frame.before.empty()) {
        columns.push_back({"Differing", "number wide"});
    }
    columns.push_back({"Files", "files"});
    file_.Write("<section>\n" + TableStart("losses", isAccepted ? "Accepted losses" : "Losses", columns));
    for (std::size_t i = 0; i < rows.size();) {
        const std::size_t count = CountSameLeft(rows, i);
        file_.Write(Element("tr", LossCells(frame, totals, rows, i, count)) + '\n');
        i += count;
    }
    file_.Write(kTableEnd);
}

std::string SurveyPage::LossCells(const SurveyFrame& frame, const SurveyTotals& totals,
                                  const std::vector<const LossRow*>& rows, std::size_t begin, std::size_t count) {
    const LossRow& row = *rows[begin];
    std::string cells =
        VariableCell(rows, begin, count) + KindCell(row.kind) +
        Element("td", {{"class", "reason searched"}}, Markup(row.accepted.empty() ? row.reason : row.accepted)) +
        NumberCell("Units", row.units.count) + ShareCell(totals.ShareOf(row));
    if (!frame.before.empty()) {
        const std::vector<HtmlAttribute> ofSeveral = {
            {"class", "number"}, {"data-label", "Differing"}, {"data-value", "0"}};
        cells += count == 1 ? NumberCell("Differing", row.differing) : Element("td", ofSeveral, "-");
    }
    return cells + FilesCell(row.units);
}

void SurveyPage::WriteProblems(const SurveyTotals& totals) {
    const std::vector<const UnreadableRow*> unreadable = totals.UnreadableRows();
    if (unreadable.empty() && totals.Damaged().count == 0) {
        return;
    }
    file_.Write("<section>\n" +
                TableStart("", "Files that are not whole",
                           {{"What happens", "kinds"}, {"Reason", ""}, {"Files", "number"}, {"Which", ""}}));
    const auto write = [&](const char* what, const std::string& reason, const SurveyTally& tally) {
        file_.Write(Element("tr", Element("th", {{"scope", "row"}, {"class", "kinds"}},
                                          Element("span", {{"class", "kind left"}}, what)) +
                                      Element("td", {{"class", "reason"}}, Markup(reason)) +
                                      NumberCell("Files", tally.count) + FilesCell(tally)) +
                    '\n');
    };
    for (const UnreadableRow* const row : unreadable) {
        write("cannot be read", row->reason, row->files);
    }
    if (totals.Damaged().count != 0) {
        write("damaged", "not read to the end", totals.Damaged());
    }
    file_.Write(kTableEnd);
}

std::string SurveyPage::FilesCell(const SurveyTally& tally) {
    const SurveyExample& first = tally.examples.front();
    std::string content = Element("bdi", {{"class", "name"}}, Markup(first.file));
    if (tally.count == 1) {
        content += first.reason.empty() ? "" : " (" + Markup(first.reason) + ')';
    } else {
        const FileList& list = lists_[&tally];
        const std::uint64_t left = tally.count - list.count;
        const std::string others = "and " + std::to_string(tally.count - 1) + " more";
        content = Element(
            "details",
            Element("summary", content + ' ' + Element("span", {{"class", "more"}}, others)) + Lines(list.markup) +
                (left == 0 ? "" : Element("p", {{"class", "note"}}, "and " + std::to_string(left) + " more")));
    }
    return Element("td", {{"class", "files"}}, content);
}

}  // namespace tal::talstore
