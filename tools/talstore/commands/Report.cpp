#include "commands/Report.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "DatabaseDescription.h"
#include "TypeTable.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Count;
using tools::HexNumber;
using tools::Printable;
using tools::Quoted;

namespace {

struct SeverityStyle {
    const char* name;
    Colour colour;
};

constexpr SeverityStyle kSeverities[] = {{"note", Colour::Grey}, {"warning", Colour::Yellow}, {"error", Colour::Red}};

const SeverityStyle& StyleOf(Severity severity) {
    return kSeverities[static_cast<std::size_t>(severity)];
}

}  // namespace

void PrintAnswer(const Console& console, const std::string& command, Json answer, std::size_t answerCount) {
    constexpr int kIndentation = 2;
    Json json = {{"schema", "talstore/" + command + "/1"}};
    json.update(answer);
    console.out << json.dump(answerCount == 1 ? kIndentation : -1, ' ', false, Json::error_handler_t::replace) << '\n';
}

int ForEachFile(const std::vector<std::string>& names, const Console& console,
                const std::function<int(const std::string& name)>& command) {
    int worst = kFine;
    for (const std::string& name : names) {
        try {
            worst = std::max(worst, command(name));
        } catch (const InputError& error) {
            console.err << "talstore: " << Printable(error.what()) << '\n';
            worst = kCannot;
        }
    }
    return worst;
}

std::string PaddedHex(std::string_view bytes) {
    // A number of eight bytes is better seen as it is.
    constexpr std::size_t kShortestRun = 9;
    std::string text;
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t end = std::min(bytes.find_first_not_of('\0', i), bytes.size());
        const bool isRun = end - i >= kShortestRun;
        const std::size_t count = isRun ? end - i : std::max<std::size_t>(end - i, 1);
        text += (text.empty() ? "" : " ") +
                (isRun ? "00 x" + std::to_string(count) : tools::HexBytes(bytes.substr(i, count)));
        i += count;
    }
    return text;
}

std::string PlaceText(const Place& place) {
    return place.line != 0 ? std::to_string(place.line) + ':' + std::to_string(place.column)
                           : "byte " + std::to_string(place.offset);
}

Json PlaceJson(const Place& place) {
    Json json = {{"offset", place.offset}};
    if (place.line != 0) {
        json["line"] = place.line;
        json["column"] = place.column;
    }
    return json;
}

const char* NameOf(Severity severity) {
    return StyleOf(severity).name;
}

Json FindingsJson(const std::vector<Finding>& findings) {
    Json json = Json::array();
    for (const Finding& finding : findings) {
        Json entry = {{"severity", NameOf(finding.severity)},
                      {"code", finding.code},
                      {"place", PlaceJson(finding.place)},
                      {"message", finding.message}};
        if (!finding.path.empty()) {
            entry["path"] = finding.path;
        }
        json.push_back(std::move(entry));
    }
    return json;
}

void PrintFindings(const Console& console, const std::vector<Finding>& findings) {
    Table table;
    for (const Finding& finding : findings) {
        table.Add({{NameOf(finding.severity), StyleOf(finding.severity).colour},
                   PlaceText(finding.place),
                   Printable(finding.path),
                   MessageCell(Printable(finding.message))});
    }
    table.Print(console);
}

void TellFindings(const Console& console, const std::string& fileName, const std::vector<Finding>& findings,
                  Severity lowest) {
    for (const Finding& finding : findings) {
        if (finding.severity >= lowest) {
            console.err << "talstore: " << Printable(fileName) << ": " << PlaceText(finding.place) << ": "
                        << (finding.path.empty() ? "" : Printable(finding.path) + ": ") << Printable(finding.message)
                        << '\n';
        }
    }
}

void TellUnmatched(const Console& console, const std::string& fileName, const PathFilter& filter) {
    for (const std::string& pattern : filter.Unmatched()) {
        console.err << "talstore: " << Printable(fileName) << ": " << Printable(pattern) << ": nothing of this path\n";
    }
}

std::string Describe(const StorageFile& file, const StoredContents& contents) {
    return std::string(InfoOf(file.format).description) + ", " + Count(file.bytes.size(), "byte") + ", " +
           Count(contents.items.size(), "variable");
}

Json TraceJson(const std::vector<TraceRecord>& trace) {
    Json json = Json::array();
    for (const TraceRecord& record : trace) {
        json.push_back({{"code", record.code}, {"operation", record.operation}, {"message", record.message}});
    }
    return json;
}

void PrintTrace(const Console& console, const std::vector<TraceRecord>& trace) {
    Table table;
    for (const TraceRecord& record : trace) {
        table.Add({{HexNumber(static_cast<std::uint32_t>(record.code), 4),
                    QBF_IsFailure(record.code) ? Colour::Red : Colour::Grey},
                   Printable(record.operation),
                   MessageCell(Printable(record.message))});
    }
    table.Print(console);
}

Colour ColourOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Restored:
            return Colour::Green;
        case Outcome::ReadOnly:
            return Colour::Grey;
        case Outcome::Refused:
        case Outcome::Left:
            return Colour::Red;
        default:
            return Colour::Yellow;
    }
}

std::string CountsText(const RestoreReport& report) {
    std::string text;
    const auto counts = report.Counts();
    const auto add = [&](std::size_t count, const char* name) {
        if (count != 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + name;
        }
    };
    for (std::size_t i = 0; i < counts.size(); ++i) {
        add(counts[i], NameOf(static_cast<Outcome>(i)));
    }
    add(report.IgnoredCount(), kIgnored);
    return text.empty() ? "nothing" : text;
}

Json CountsJson(const RestoreReport& report) {
    Json json;
    const auto counts = report.Counts();
    for (std::size_t i = 0; i < counts.size(); ++i) {
        json[NameOf(static_cast<Outcome>(i))] = counts[i];
    }
    json[kIgnored] = report.IgnoredCount();
    return json;
}

Json LossesJson(const std::vector<Loss>& losses) {
    Json json = Json::array();
    for (const Loss& loss : losses) {
        json.push_back({{"kind", loss.kind}, {"path", loss.path}, {"reason", loss.reason}});
    }
    return json;
}

void AddLosses(Table& table, const std::vector<Loss>& losses) {
    for (const Loss& loss : losses) {
        table.Add({{loss.kind, Colour::Yellow}, Printable(loss.path), MessageCell(Printable(loss.reason))});
    }
}

Console BesideFile(const Console& console, const std::string& fileName) {
    return {IsStandardOutput(fileName) ? console.err : console.out, console.err, console.hasColour, console.width,
            console.showsProgress};
}

std::unique_ptr<host::Database> LoadLayout(const std::string& fileName) {
    return fileName.empty() ? nullptr : host::LoadDatabaseFromFile(fileName);
}

std::optional<Format> ParseFormat(const std::string& name) {
    if (name.empty()) {
        return std::nullopt;
    }
    if (const std::optional<Format> format = FormatNamed(name)) {
        return format;
    }
    throw InputError("unknown format " + Quoted(name));
}

}  // namespace tal::talstore
