#include <algorithm>
#include <nlohmann/json.hpp>

#include "Device/DeviceSupport/HwNames.h"
#include "board/Value.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "common/Text.h"
#include "corebsp/corebsp.h"

namespace tal::talstore {

using tools::Count;
using tools::HexNumber;

namespace {

constexpr std::size_t kLongestBoardText = 64;

/// The fourteen variables that the board-support provider fills, with what a board needs for them.
std::unique_ptr<host::Database> BoardLayout() {
    auto database = std::make_unique<host::Database>();
    host::Region& board = database->AddRegion("HDBCommonBoard");
    board.AddObject("Capabilities.CB.Channel1").U32("NumberOfChannels");
    board.AddObject("BroadcomConfiguration")
        .String("BcmMedia", kLongestBoardText)
        .String("BcmAccessName", kLongestBoardText)
        .String("BcmResetAccessName", kLongestBoardText)
        .String("BcmMessageReady", kLongestBoardText);
    host::Object& codes = board.AddObject("HardwareCodes");
    for (const char* const name : {"HwIdMajor", "HwIdMinor", "HwCodeMcb", "HwCodeNab", "HwCodeTraf", "HwCodeDsp",
                                   "HwCodeSupp", "HwCodeRab", "HwCodeAux"}) {
        codes.U32(name);
    }
    return database;
}

void PlayBoard(const BoardOptions& options) {
    BspHwRecord record = {};
    record.words[0] = options.variant;
    for (std::size_t i = 0; i < kBoardCodeCount; ++i) {
        record.words[kBoardCodes[i].word] = options.codes[i];
    }
    CoreBsp_setBoard(options.channelCount, &record);
}

std::string VariantText(std::uint32_t variant) {
    const char* const name = HwNameFromValue(HW_NAMES_HW_VARIANT, static_cast<std::int32_t>(variant));
    return HexNumber(variant, 2) + (name == nullptr ? " (no name)" : std::string(" (") + name + ')');
}

/// What the provider did with one of its variables.
struct HardwareRow {
    std::string path;
    const host::Variable* variable;  ///< Null when the layout does not have it.

    [[nodiscard]] bool IsSet() const { return variable != nullptr && variable->Retrieved(); }
    [[nodiscard]] std::string State() const {
        if (variable == nullptr) {
            return "not in the layout";
        }
        return IsSet() ? "set" : "not set: the board does not set a " + TypeText(*variable);
    }
};

std::vector<HardwareRow> HardwareRows(host::Database& layout) {
    std::vector<HardwareRow> rows;
    BoardLayout()->ForEachVariable([&](const std::string& path, host::Variable& /*variable*/) {
        rows.push_back({path, layout.Find(path)});
    });
    return rows;
}

Json BoardJson(const BoardOptions& options, const std::vector<HardwareRow>& rows, const Run& run) {
    Json variables = Json::array();
    for (const HardwareRow& row : rows) {
        Json entry = {{"path", row.path}, {"set", row.IsSet()}};
        if (row.IsSet()) {
            entry["value"] = ValueJson(row.variable->Type(), BytesOf(*row.variable));
        } else {
            entry["reason"] = row.State();
        }
        variables.push_back(std::move(entry));
    }
    Json json = {{"channels", options.channelCount},
                 {"variant", options.variant},
                 {"result", run.result},
                 {"variables", std::move(variables)}};
    if (options.showsTrace) {
        json["trace"] = TraceJson(run.trace);
    }
    return json;
}

void PrintBoard(const Console& console, const BoardOptions& options, const std::vector<HardwareRow>& rows,
                const Run& run) {
    if (options.showsTrace) {
        PrintTrace(console, run.trace);
    }
    console.out << "a board of variant " << VariantText(options.variant) << " with "
                << Count(options.channelCount, "channel") << '\n';
    Table table({"PATH", "TYPE", "VALUE", "STATE"});
    for (const HardwareRow& row : rows) {
        table.Add({row.path,
                   row.variable == nullptr ? "-" : TypeText(*row.variable),
                   ValueCell(row.IsSet() ? ValueText(*row.variable) : "-"),
                   {row.State(), row.IsSet() ? Colour::Green : Colour::Yellow, Fit::Message}});
    }
    table.Print(console);
}

}  // namespace

int Board(const BoardOptions& options, const Console& console) {
    const auto layout = options.layout.empty() ? BoardLayout() : LoadLayout(options.layout);
    PlayBoard(options);
    ProviderSession session(*FindProvider("board"), 0, 0, {});
    if (options.showsTrace) {
        session.KeepWholeTrace();
    }
    const Run run = session.Retrieve({}, *layout);
    const std::vector<HardwareRow> rows = HardwareRows(*layout);
    if (options.asJson) {
        PrintAnswer(console, "board", BoardJson(options, rows, run));
    } else {
        PrintBoard(console, options, rows, run);
    }
    const bool isEverythingSet =
        std::all_of(rows.begin(), rows.end(), [](const HardwareRow& row) { return row.IsSet(); });
    return isEverythingSet && !QBF_IsFailure(run.result) ? kFine : kProblems;
}

}  // namespace tal::talstore
