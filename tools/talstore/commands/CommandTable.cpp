#include "commands/CommandTable.h"

#include <algorithm>

#include "board/ProviderSession.h"
#include "commands/ResultCodes.h"
#include "commands/Suggestion.h"

namespace tal::talstore {

namespace {

std::vector<std::string> FormatNames() {
    std::vector<std::string> names;
    for (const FormatInfo& format : Formats()) {
        names.emplace_back(format.name);
    }
    return names;
}

std::vector<std::string> ProviderNames() {
    std::vector<std::string> names;
    for (const ProviderInfo& provider : Providers()) {
        names.emplace_back(provider.name);
    }
    return names;
}

std::string ProviderHelp() {
    std::string help = "Which provider; without it, what the file tells";
    for (const ProviderInfo& provider : Providers()) {
        help += std::string("\n") + provider.name + ": " + provider.summary;
    }
    return help;
}

OptionInfo LayoutOption(std::string& target, bool isRequired = false) {
    return {"--layout", "DESCRIPTION", "The board's database: a JSON description", &target, Offer::Files, isRequired};
}

OptionInfo FormatOption(std::string& target) {
    return {"--format",   "FORMAT",     "What the file is, where its content does not tell: xml, secure or binary",
            &target,      Offer::Words, false,
            FormatNames()};
}

OptionInfo ChannelOption(std::uint32_t& target) {
    return {"--channel", "N", "The channel whose number stands in names for X; 0 for none", &target};
}

OptionInfo JsonOption(bool& target) {
    return {"--json", nullptr, "Print JSON for programs", &target};
}

OptionInfo TraceOption(bool& target) {
    return {"--trace", nullptr, "Show what the provider traces", &target};
}

OptionInfo PathOption(std::vector<std::string>& target) {
    return {"--path", "PATTERN", "Only these paths: one, all in a region or an object, or a glob; may be repeated",
            &target, Offer::Paths};
}

OptionInfo AcceptOption(std::string& target) {
    return {"--accept", "FILE", "Losses that were decided on, as JSON", &target, Offer::Files};
}

OptionInfo SetOption(std::vector<std::string>& target) {
    return {"--set", "PATH=VALUE", "A value: 16, 0x10, 1.5, true, text, [1, 2, 3]; may be repeated", &target,
            Offer::Settings};
}

using Options = std::vector<OptionInfo>;

Options Joined(Options options, const Options& more) {
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

Options CommonOf(CommonOptions& common, bool needsLayout = false) {
    return {LayoutOption(common.layout, needsLayout), FormatOption(common.format), ChannelOption(common.channel),
            JsonOption(common.asJson)};
}

Options DriveOf(DriveOptions& drive) {
    return {LayoutOption(drive.layout, true),
            {"--provider", "NAME", ProviderHelp(), &drive.provider, Offer::Words, false, ProviderNames()},
            {"--location", "N", "The storage location, 0 unless given", &drive.location},
            ChannelOption(drive.channel),
            TraceOption(drive.showsTrace),
            JsonOption(drive.asJson)};
}

Options ManyFilesOf(ManyFilesOptions& files) {
    constexpr std::uint32_t kMostJobs = 1024;
    constexpr std::uint32_t kLongestTimeout = 86400;
    OptionInfo null = {"--null", nullptr, "The names in LIST end with a NUL each, as find -print0 writes them",
                       &files.endsWithNul};
    null.shortName = "-0";
    return {{"--channel-from", "REGEX",
             "Where in a file's name its channel stands: an extended regular expression, whose first group, or "
             "else all that it matches, is the number",
             &files.channelPattern},
            {"--files-from", "LIST", "A file with more paths, one in a line; - is standard input", &files.listName,
             Offer::Files},
            null,
            {"--jobs",
             "N",
             "The number of processes that read files; one per core unless given",
             &files.jobs,
             Offer::Words,
             false,
             {},
             1,
             kMostJobs},
            {"--timeout",
             "SECONDS",
             "How long one file may take, 60 unless given",
             &files.timeout,
             Offer::Words,
             false,
             {},
             1,
             kLongestTimeout}};
}

constexpr char kFileHelp[] = "A storage file; - is standard input";
constexpr char kFilesHelp[] = "One or more storage files; - is standard input";
constexpr char kOutputHelp[] = "The file to write; - is standard output";

CommandInfo ShowRow(ShowOptions& options) {
    return {"show",
            "Show what a file holds: path, type, size and value of every variable",
            {{"FILE", kFilesHelp, &options.files}},
            Joined(CommonOf(options.common), {PathOption(options.common.paths)}),
            "  talstore show unit.xml\n"
            "  talstore show unit.sbin --layout board.json     values with their types\n"
            "  talstore show unit.bin --layout board.json\n"
            "  ssh unit cat storage.sbin | talstore show - --json\n",
            "",
            [&](const Console& console) { return Show(options, console); }};
}

CommandInfo GetRow(GetOptions& options) {
    return {"get",
            "Print the bare values of some variables",
            {{"FILE", kFileHelp, &options.file},
             {"PATH", "A path, a region or an object for all in it, or a glob", &options.paths, true, Offer::Paths}},
            CommonOf(options.common),
            "  talstore get unit.xml Config/Radio/Gain\n"
            "  talstore get unit.sbin Config/Radio/Gain --layout board.json\n"
            "  talstore get unit.sbin '*Gain' --layout board.json --json\n",
            "Each value is a line of its own, a text without quotes. The exit status is 1 when the file lacks a path.",
            [&](const Console& console) { return Get(options, console); }};
}

CommandInfo SetRow(SetOptions& options) {
    return {"set",
            "Change values in a file and leave every other byte as it is",
            {{"FILE", "The file to change", &options.file},
             {"PATH=VALUE", "A value: 16, 0x10, 1.5, true, text, [1, 2, 3]", &options.settings, true, Offer::Settings}},
            CommonOf(options.common, true),
            "  talstore set unit.sbin Config/Radio/Gain=40 --layout board.json\n"
            "  talstore set unit.xml --layout board.json Config/Radio/Site=north\n",
            "The file is read back before it is replaced. When one of the values cannot be changed, or anything else "
            "would come back as another value, nothing is written and the exit status is 1.",
            [&](const Console& console) { return Set(options, console); }};
}

CommandInfo CheckRow(CheckOptions& options) {
    return {
        "check",
        "Find what is wrong with a file, and what a board with a layout would keep of it",
        {{"FILE", kFilesHelp, &options.files}},
        Joined(CommonOf(options.common), {PathOption(options.common.paths),
                                          {"--all", nullptr, "List the restored variables, too", &options.showsAll}}),
        "  talstore check unit.xml\n"
        "  talstore check unit.sbin --layout new.json     what would an upgrade lose?\n"
        "  talstore check unit.bin --layout board.json --all\n",
        "",
        [&](const Console& console) { return Check(options, console); }};
}

CommandInfo SurveyRow(SurveyOptions& options) {
    return {
        "survey",
        "Find what boards with a layout would lose of many files, in how many of them",
        {{"PATH", "Storage files, folders and archives that hold some", &options.files.paths, false}},
        Joined(
            Joined(CommonOf(options.common), ManyFilesOf(options.files)),
            {AcceptOption(options.accepted),
             {"--from", "DESCRIPTION", "What the units run now, for --values", &options.before, Offer::Files},
             {"--values", nullptr, "Count how often a unit had another value than it gets", &options.comparesValues},
             {"--csv", nullptr, "Print comma-separated values for a spreadsheet", &options.asCsv},
             {"--sqlite", "FILE", "Write what every file loses to a database of SQLite, too", &options.database,
              Offer::Files},
             {"--html", "FILE", "Write a page for a browser, too; - is standard output", &options.page, Offer::Files},
             {"--partial", nullptr, "Print what --merge takes; the status is 0 whatever is lost", &options.isPartial},
             {"--merge", nullptr, "Each PATH is the answer of a survey with --partial", &options.merges}}),
        "  talstore survey returned/ --layout new.json     what would an upgrade lose?\n"
        "  talstore survey returned.tar.gz --layout new.json --from old.json --values\n"
        "  find returned -name '*.sbin' -print0 |\n"
        "      talstore survey --files-from - -0 --layout new.json --json\n"
        "  talstore survey returned/ --layout new.json --channel-from 'ch([0-9]+)'\n"
        "  talstore survey --merge north.jsonl south.jsonl --html fleet.html\n",
        "The exit status is 1 when a unit loses something that is not accepted, and 2 when a file cannot be read. "
        "After Ctrl-C what is done is told, and marked as incomplete. Folders are walked for regular files; those "
        "in an archive (.tar, .tar.gz, .tgz, .zip) are named ARCHIVE:FILE. A file that is neither recognised nor "
        "named as a raw image cannot be read, unless --format says what all files are.",
        [&](const Console& console) { return Survey(options, console); }};
}

OptionInfo FormatOfSideOption(const char* name, const char* side, std::string& target) {
    OptionInfo option = FormatOption(target);
    option.name = name;
    option.help = std::string("What ") + side + " is, where its content does not tell";
    return option;
}

CommandInfo DiffRow(DiffOptions& options) {
    OptionInfo quiet = {"--quiet", nullptr, "Say only whether they differ", &options.isQuiet};
    quiet.shortName = "-q";
    return {"diff",
            "Compare two files by path, also across formats",
            {{"A", kFileHelp, &options.first}, {"B", kFileHelp, &options.second}},
            Joined(CommonOf(options.common),
                   {FormatOfSideOption("--format-a", "A", options.firstFormat),
                    FormatOfSideOption("--format-b", "B", options.secondFormat),
                    PathOption(options.common.paths),
                    {"--all", nullptr, "Count read-only variables that one of the formats never stores, too",
                     &options.countsAll},
                    {"--summary", nullptr, "Print the counts only", &options.isSummary},
                    quiet}),
            "  talstore diff before.xml after.xml\n"
            "  talstore diff unit.xml unit.sbin --path Config/Radio\n"
            "  talstore diff a.bin b.bin --layout board.json --summary\n"
            "  talstore diff -q a.sbin b.sbin && echo the same\n",
            "Where one of the files is an XML document, what no document can tell apart is the same: reals have seven "
            "digits there, and a BOOL is true or false.",
            [&](const Console& console) { return Diff(options, console); }};
}

CommandInfo CompareLayoutsRow(CompareLayoutsOptions& options) {
    OptionInfo format = FormatOption(options.format);
    format.help = "Only files of this format: xml, secure or binary";
    return {"compare-layouts",
            "Say what any file of one layout loses in a board with another one",
            {{"OLD", "The description of the boards that store the files", &options.before},
             {"NEW", "The description of the board that retrieves them", &options.after}},
            {format,
             ChannelOption(options.channel),
             JsonOption(options.asJson),
             AcceptOption(options.accepted),
             {"--junit", "FILE", "Write the answer as JUnit XML for a build server", &options.junit, Offer::Files}},
            "  talstore compare-layouts old.json new.json\n"
            "  talstore compare-layouts old.json new.json --format secure --accept ok.json\n"
            "  talstore compare-layouts old.json new.json --junit layouts.xml || exit 1\n",
            "No file is needed. What a format does not bring back whatever the layout is, as the digits of a real "
            "beyond the seventh in a document, is not listed. The exit status is 1 when something is lost that is not "
            "accepted, or the retrieve fails where it did not before.",
            [&](const Console& console) { return CompareLayouts(options, console); }};
}

CommandInfo ConvertRow(ConvertOptions& options) {
    return {
        "convert",
        "Retrieve a file by one provider, store it by another, and list what could not be carried",
        {{"PATH",
          "A storage file and the file to write; or files, folders and archives that hold some, and the folder to "
          "write; "
          "- is standard input and output",
          &options.files.paths, false}},
        Joined(Joined(CommonOf(options.common, true), ManyFilesOf(options.files)),
               {{"--to", "FORMAT", "What the output shall be, where its name does not tell", &options.outputFormat,
                 Offer::Words, false, FormatNames()},
                SetOption(options.settings),
                {"--from", "DESCRIPTION", "The database of the board that stored the input, where it is another one",
                 &options.oldLayout, Offer::Files},
                {"--rename", "MAP", "A JSON object of old and new paths, of variables, objects or regions",
                 &options.renames, Offer::Files},
                {"--in-place", nullptr, "Replace every file by what it is converted to; no PATH is an output",
                 &options.isInPlace},
                {"--force", nullptr, "Replace a file that is there", &options.isForced}}),
        "  talstore convert unit.bin unit.xml --layout board.json\n"
        "  talstore convert unit.xml unit.dat --to secure --layout board.json\n"
        "  talstore convert old.sbin new.sbin --from old.json --layout new.json \\\n"
        "      --rename renamed.json\n"
        "  talstore convert returned/ upgraded/ --from old.json --layout new.json\n"
        "  talstore convert returned.tar.gz upgraded/ --from old.json --layout new.json\n",
        "An output that no board could read is not written, and a file that is there is replaced with --force only. Of "
        "folders and archives every file is converted, into its own format unless --to is given, and has its name in "
        "the folder to write. A damaged file is not replaced by --in-place. "
        "The formats of their files are those of a survey.",
        [&](const Console& console) { return Convert(options, console); }};
}

CommandInfo RecoverRow(RecoverOptions& options) {
    return {
        "recover",
        "Show what a damaged file holds beyond what a board restores of it",
        {{"FILE", kFileHelp, &options.file}},
        CommonOf(options.common, true),
        "  talstore recover returned.sbin --layout board.json\n"
        "  talstore recover cut.xml --layout board.json --json\n",
        "Nothing is written. What a board would not restore is marked. The exit status is 1 when there is such, or a "
        "variable is not found.",
        [&](const Console& console) { return RecoverFile(options, console); }};
}

CommandInfo StoreRow(StoreOptions& options) {
    return {"store",
            "Store a database that holds its defaults and what --set says",
            {{"FILE", kOutputHelp, &options.drive.file, false}},
            Joined(DriveOf(options.drive), {SetOption(options.settings),
                                            {"--force", nullptr, "Replace a file that is there", &options.isForced}}),
            "  talstore store unit.xml --layout board.json\n"
            "  talstore store unit.sbin --layout board.json --set Config/Radio/Gain=40\n"
            "  talstore store out.xml --layout board.json --location 7     a read-only one\n",
            "A store that fails leaves FILE as it was. A file that is there is replaced with --force only: all that it "
            "holds "
            "would be lost. To change single values, see 'talstore help set'.",
            [&](const Console& console) { return Store(options, console); }};
}

CommandInfo RetrieveRow(DriveOptions& options) {
    return {"retrieve",
            "Retrieve a file into a database and show what each variable ends with",
            {{"FILE", kFileHelp, &options.file, false}},
            Joined(DriveOf(options), {PathOption(options.paths)}),
            "  talstore retrieve unit.sbin --layout board.json\n"
            "  talstore retrieve unit.xml --layout board.json --location 8\n"
            "  talstore retrieve --provider board --layout board.json --trace\n",
            "The exit status is 1 when the provider reports a failure.",
            [&](const Console& console) { return Retrieve(options, console); }};
}

CommandInfo BoardRow(BoardOptions& options) {
    OptionInfo layout = LayoutOption(options.layout);
    layout.help += "; without it, one that fits";
    Options row = {layout,
                   {"--channels", "N", "The number of radio channels, 1 unless given", &options.channelCount},
                   {"--variant", "N", "The hardware variant, 0 unless given", &options.variant}};
    for (std::size_t i = 0; i < kBoardCodeCount; ++i) {
        const BoardCode& code = kBoardCodes[i];
        row.push_back(
            {code.option, "N", std::string("The hardware code of the ") + (code.option + 2), &options.codes[i]});
    }
    return {"board",
            "Play a board and show the fourteen variables that it sets",
            {},
            Joined(row, {TraceOption(options.showsTrace), JsonOption(options.asJson)}),
            "  talstore board --variant 0x05 --channels 2\n"
            "  talstore board --variant 5 --mcb 17 --layout board.json\n",
            "",
            [&](const Console& console) { return Board(options, console); }};
}

CommandInfo LayoutRow(LayoutOptions& options) {
    constexpr std::uint32_t kMostElements = 1048576;
    return {"layout",
            "Make a description from an XML document",
            {{"FILE", "An XML document; - is standard input", &options.file}},
            {{"--output", "FILE", "The file to write; standard output unless given", &options.output, Offer::Files},
             {"--string-capacity",
              "N",
              "Bytes for a string with its NUL, 256 unless given",
              &options.stringCapacity,
              Offer::Words,
              false,
              {},
              1,
              kMostElements},
             {"--defaults", nullptr, "Take the document's values as defaults", &options.withDefaults}},
            "  talstore layout unit.xml --output board.json\n"
            "  talstore layout unit.xml --defaults --string-capacity 64\n",
            "A document does not tell how long strings may be, what read-only objects hold and how the variables of "
            "nested objects are named: look the description through before you rely on it.",
            [&](const Console& console) { return Layout(options, console); }};
}

CommandInfo ExplainRow(ExplainOptions& options) {
    return {"explain",
            "Say what a result code means, what is lost and what to do",
            {{"TEXT", "A code in any spelling, or a line of a trace; - is standard input", &options.words, true,
              Offer::Words, NamesOfResultCodes()}},
            {JsonOption(options.asJson)},
            "  talstore explain 0x8010\n"
            "  talstore explain QBF_E_CORRUPT\n"
            "  talstore retrieve unit.xml --layout board.json 2>&1 | talstore explain -\n",
            "",
            [&](const Console& console) { return Explain(options, console); }};
}

CommandInfo HelpRow(HelpOptions& options) {
    return {"help",
            "Show what a command does, its options and examples",
            {{"COMMAND", "A command; without it, all are listed", &options.command, false, Offer::Commands}},
            {},
            "  talstore help\n"
            "  talstore help check\n",
            "",
            [&](const Console& console) { return Help(options, console); }};
}

CommandInfo CompleteRow(CompleteOptions& options) {
    return {"complete",
            "Print what a shell may offer for the last word",
            {{"WORD", "The words of the line up to the cursor", &options.words, false, Offer::Words}},
            {},
            "  talstore complete -- check unit.sbin --lay\n",
            "",
            [&](const Console& console) { return Complete(options, console); },
            false};
}

/// The row, which keeps what it refers to.
template <class CommandLine>
CommandInfo RowOf(CommandInfo (*row)(CommandLine& commandLine)) {
    const auto commandLine = std::make_shared<CommandLine>();
    CommandInfo command = row(*commandLine);
    command.commandLine = commandLine;
    return command;
}

}  // namespace

std::vector<CommandInfo> Commands() {
    return {RowOf(ShowRow),           RowOf(GetRow),      RowOf(SetRow),
            RowOf(CheckRow),          RowOf(SurveyRow),   RowOf(DiffRow),
            RowOf(CompareLayoutsRow), RowOf(ConvertRow),  RowOf(RecoverRow),
            RowOf(StoreRow),          RowOf(RetrieveRow), RowOf(BoardRow),
            RowOf(LayoutRow),         RowOf(ExplainRow),  RowOf(HelpRow),
            RowOf(CompleteRow)};
}

const CommandInfo* FindCommand(const std::vector<CommandInfo>& commands, std::string_view name) {
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [&](const CommandInfo& command) { return command.name == name; });
    return found == commands.end() ? nullptr : &*found;
}

std::string UnknownCommand(const std::string& name) {
    return "unknown command '" + name + '\'' + Suggestion(name, NamesOfCommands());
}

const OptionInfo* FindOption(const CommandInfo& command, std::string_view option) {
    const std::string_view name = option.substr(0, option.find('='));
    const auto found = std::find_if(command.options.begin(), command.options.end(), [&](const OptionInfo& candidate) {
        return candidate.name == name || (candidate.shortName != nullptr && candidate.shortName == name);
    });
    return found == command.options.end() ? nullptr : &*found;
}

std::vector<std::string> NamesOfCommands() {
    std::vector<std::string> names;
    for (const CommandInfo& command : Commands()) {
        if (command.isShown) {
            names.emplace_back(command.name);
        }
    }
    return names;
}

std::vector<std::string> NamesOfOptions(const CommandInfo& command) {
    std::vector<std::string> names = {kHelpOption};
    for (const OptionInfo& option : command.options) {
        names.emplace_back(option.name);
    }
    return names;
}

std::string UsageOf(const CommandInfo& command) {
    std::string usage = std::string("talstore ") + command.name;
    for (const OptionInfo& option : command.options) {
        usage += option.isRequired ? std::string(" ") + option.name + ' ' + option.argument : "";
    }
    usage += command.options.empty() ? "" : " [OPTIONS]";
    for (const OperandInfo& operand : command.operands) {
        const std::string name = std::string(operand.name) + (TakesSeveral(operand.target) ? "..." : "");
        usage += ' ' + (operand.isRequired ? name : '[' + name + ']');
    }
    return usage;
}

}  // namespace tal::talstore
