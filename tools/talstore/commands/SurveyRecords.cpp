#include "commands/SurveyRecords.h"

#include <nlohmann/json.hpp>
#include <utility>

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
    Json json = {{"file", unit.file}};
    if (!unit.archive.empty()) {
        json["archive"] = unit.archive;
    }
    if (!unit.nameBytes.empty()) {
        json["nameBytes"] = tools::HexBytes(unit.nameBytes);
    }
    if (!unit.IsReadable()) {
        json["problem"] = unit.problem;
        return json;
    }
    Json counts;
    for (std::size_t i = 0; i < unit.counts.size(); ++i) {
        counts[NameOf(static_cast<Outcome>(i))] = unit.counts[i];
    }
    json["format"] = unit.format;
    json["size"] = unit.size;
    json["channel"] = unit.channel;
    json["damage"] = unit.damage;
    json["counts"] = std::move(counts);
    json["losses"] = unit.losses.size();
    return json;
}

Json LossJson(const UnitReport& unit, const UnitLoss& loss) {
    Json json = {{"file", unit.file}, {"kind", loss.kind}, {"path", loss.path}, {"reason", loss.reason}};
    if (!loss.cause.empty()) {
        json["cause"] = loss.cause;
    }
    AddSizes(json, loss.bytesInFile, loss.bytesInLayout);
    if (loss.differs) {
        json["differs"] = *loss.differs;
    }
    if (!loss.accepted.empty()) {
        json["accepted"] = loss.accepted;
    }
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

Json RowJson(const SurveyFrame& frame, const SurveyTotals& totals, const LossRow& row) {
    Json json = {{"kind", row.kind}, {"path", row.path}, {"reason", row.reason}};
    AddSizes(json, row.bytesInFile, row.bytesInLayout);
    json["units"] = row.units.count;
    json["share"] = totals.ShareOf(row);
    if (!frame.before.empty()) {
        json["differing"] = row.differing;
    }
    if (!row.accepted.empty()) {
        json["accepted"] = row.accepted;
    }
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
        losses.push_back(RowJson(frame, totals, *row));
    }
    Json json = {{"layout", frame.layout}, {"digest", frame.digest}};
    if (!frame.before.empty()) {
        json["from"] = frame.before;
    }
    json.update({{"complete", frame.isComplete},
                 {"files", totals.FileCount()},
                 {"unreadable", totals.UnreadableCount()},
                 {"units", totals.UnitCount()},
                 {"lossless", totals.LosslessCount()},
                 {"accepted", totals.AcceptedCount()},
                 {"damaged", {{"units", totals.Damaged().count}, {"examples", ExamplesJson(totals.Damaged())}}},
                 {"problems", std::move(unreadable)},
                 {"losses", std::move(losses)},
                 {"unmatched", UnmatchedJson(frame.unmatched)}});
    PrintRecord(console, "summary", json);
}

}  // namespace tal::talstore
