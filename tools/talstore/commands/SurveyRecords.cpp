#include "commands/SurveyRecords.h"

#include <nlohmann/json.hpp>

#include "DatabaseDescription.h"
#include "commands/Report.h"
#include "common/Text.h"

namespace tal::talstore {

namespace {

void PrintRecord(const Console& console, const char* record, const Json& content) {
    constexpr std::size_t kOneOfSeveral = 2;
    Json json = {{"record", record}};
    json.update(content);
    PrintAnswer(console, "survey", std::move(json), kOneOfSeveral);
}

void AddSizes(Json& json, const std::optional<std::uint64_t>& bytesInFile,
              const std::optional<std::uint64_t>& bytesInLayout) {
    if (bytesInFile && bytesInLayout) {
        json["bytesInFile"] = *bytesInFile;
        json["bytesInLayout"] = *bytesInLayout;
    }
}

Json FileJson(const UnitReport& unit) {
    if (!unit.IsReadable()) {
        return {{"file", unit.file}, {"problem", unit.problem}};
    }
    Json counts;
    for (std::size_t i = 0; i < unit.counts.size(); ++i) {
        counts[NameOf(static_cast<Outcome>(i))] = unit.counts[i];
    }
    return {{"file", unit.file},           {"format", unit.format}, {"size", unit.size},
            {"channel", unit.channel},     {"damage", unit.damage}, {"counts", std::move(counts)},
            {"losses", unit.losses.size()}};
}

Json LossJson(const UnitReport& unit, const UnitLoss& loss) {
    Json json = {{"file", unit.file}, {"kind", loss.kind}, {"path", loss.path}, {"reason", loss.reason}};
    if (!loss.cause.empty()) {
        json["cause"] = loss.cause;
    }
    AddSizes(json, loss.bytesInFile, loss.bytesInLayout);
    return json;
}

Json ExamplesJson(const SurveyTally& tally) {
    Json json = Json::array();
    for (const SurveyExample& example : tally.examples) {
        Json entry = {{"file", example.file}};
        if (!example.reason.empty()) {
            entry["reason"] = example.reason;
        }
        json.push_back(std::move(entry));
    }
    return json;
}

Json RowJson(const SurveyTotals& totals, const LossRow& row) {
    Json json = {{"kind", row.kind}, {"path", row.path}, {"reason", row.reason}};
    AddSizes(json, row.bytesInFile, row.bytesInLayout);
    json["units"] = row.units.count;
    json["share"] = totals.ShareOf(row);
    json["examples"] = ExamplesJson(row.units);
    return json;
}

}  // namespace

std::string DigestOf(const host::Database& layout) {
    // The 64-bit hash of Fowler, Noll and Vo, variant 1a.
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : host::DescribeDatabase(layout).dump()) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    return tools::HexNumber(static_cast<std::uint32_t>(hash >> 32U)) +
           tools::HexNumber(static_cast<std::uint32_t>(hash)).substr(2);
}

void PrintUnitRecords(const Console& console, const UnitReport& unit) {
    PrintRecord(console, "file", FileJson(unit));
    for (const UnitLoss& loss : unit.losses) {
        PrintRecord(console, "loss", LossJson(unit, loss));
    }
}

void PrintSummaryRecord(const Console& console, const SurveyFrame& frame, const SurveyTotals& totals) {
    Json unreadable = Json::array();
    for (const UnreadableRow* const row : totals.UnreadableRows()) {
        unreadable.push_back(
            {{"reason", row->reason}, {"files", row->files.count}, {"examples", ExamplesJson(row->files)}});
    }
    Json losses = Json::array();
    for (const LossRow* const row : totals.Rows()) {
        losses.push_back(RowJson(totals, *row));
    }
    PrintRecord(console, "summary",
                {{"layout", frame.layout},
                 {"digest", frame.digest},
                 {"complete", frame.isComplete},
                 {"files", totals.FileCount()},
                 {"unreadable", totals.UnreadableCount()},
                 {"units", totals.UnitCount()},
                 {"lossless", totals.LosslessCount()},
                 {"damaged", {{"units", totals.Damaged().count}, {"examples", ExamplesJson(totals.Damaged())}}},
                 {"problems", std::move(unreadable)},
                 {"losses", std::move(losses)}});
}

}  // namespace tal::talstore
