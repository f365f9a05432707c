#include "commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <new>

#include "board/ProviderSession.h"
#include "commands/Commands.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/Interrupt.h"

namespace tal::talstore {

using tools::Printable;

namespace {

constexpr char kLayoutHelp[] = "The board's database: a JSON description";
constexpr char kFormatHelp[] = "What the file is, where its content does not tell: xml, secure or binary";
constexpr char kChannelHelp[] = "The channel whose number stands in names for X; 0 for none";

constexpr char kAbout[] =
    "Looks into the storage files of a board: shows, checks, compares and converts them.\n"
    "XML documents and secure binary files are recognised by their content; a raw binary file needs --layout.\n"
    "Whatever a command says about restoring comes from the library itself.";

constexpr char kExitStatuses[] =
    "Exit status: 0 fine, 1 differences or problems were found, 2 wrong use or input that cannot be read,\n"
    "130 Ctrl-C. A file named - is standard input.";

class CommandLine {
public:
    explicit CommandLine(const Console& console) : console_(console), app_(kAbout, "talstore") {
        app_.set_version_flag("--version", "talstore " TALSTORE_VERSION);
        app_.footer(std::string("Examples:\n"
                                "  talstore show unit.xml\n"
                                "  talstore check unit.sbin --layout board.json\n"
                                "  talstore COMMAND --help\n\n") +
                    kExitStatuses);
        app_.get_formatter()->column_width(28);
        AddShow();
        AddCheck();
        AddDiff();
        AddConvert();
        AddStore();
        AddRetrieve();
        AddBoard();
        AddLayout();
    }

    int Run(std::vector<std::string> arguments) {
        // The parser takes the last argument first.
        std::reverse(arguments.begin(), arguments.end());
        try {
            app_.parse(arguments);
            if (!run_) {
                throw InputError("a command is needed; --help lists them");
            }
            return run_();
        } catch (const CLI::ParseError& error) {
            return app_.exit(error, console_.out, console_.err) == 0 ? kFine : kCannot;
        }
    }

private:
    CLI::App& Add(const char* name, const char* description, const char* examples) {
        CLI::App& command = *app_.add_subcommand(name, description);
        command.footer(std::string("Examples:\n") + examples + "\n" + kExitStatuses);
        return command;
    }

    static std::vector<std::string> FormatNames() {
        std::vector<std::string> names;
        for (const FormatInfo& format : Formats()) {
            names.emplace_back(format.name);
        }
        return names;
    }

    static void AddJson(CLI::App& command, CommonOptions& options) {
        command.add_flag("--json", options.asJson, "Print JSON for programs");
    }

    static void AddCommon(CLI::App& command, CommonOptions& options) {
        command.add_option("--layout", options.layout, kLayoutHelp)->type_name("DESCRIPTION");
        command.add_option("--format", options.format, kFormatHelp)
            ->check(CLI::IsMember(FormatNames()))
            ->type_name("FORMAT");
        command.add_option("--channel", options.channel, kChannelHelp)->type_name("N");
        AddJson(command, options);
    }

    static void AddFile(CLI::App& command, const char* name, std::string& file) {
        command.add_option(name, file, "A storage file")->required()->type_name("");
    }

    static void AddFiles(CLI::App& command, std::vector<std::string>& files) {
        command.add_option("FILE", files, "One or more storage files")->required()->type_name("");
    }

    void AddShow() {
        CLI::App& command = Add("show", "Show what a file holds: path, type, size and value of every variable",
                                "  talstore show unit.xml\n"
                                "  talstore show unit.sbin --layout board.json     values with their types\n"
                                "  talstore show unit.bin --layout board.json\n"
                                "  ssh unit cat storage.sbin | talstore show - --json\n");
        AddFiles(command, show_.files);
        AddCommon(command, show_.common);
        command.callback([this] { run_ = [this] { return Show(show_, console_); }; });
    }

    void AddCheck() {
        CLI::App& command =
            Add("check", "Find what is wrong with a file, and what a board with a layout would keep of it",
                "  talstore check unit.xml\n"
                "  talstore check unit.sbin --layout new-release.json     what would an upgrade lose?\n"
                "  talstore check unit.bin --layout board.json --all\n");
        AddFiles(command, check_.files);
        AddCommon(command, check_.common);
        command.add_flag("--all", check_.showsAll, "List the restored variables, too");
        command.callback([this] { run_ = [this] { return Check(check_, console_); }; });
    }

    void AddDiff() {
        CLI::App& command =
            Add("diff", "Compare two files by path, also across formats",
                "  talstore diff before.xml after.xml\n"
                "  talstore diff unit.xml unit.sbin\n"
                "  talstore diff a.bin b.bin --layout board.json --summary\n\n"
                "Where one of the files is an XML document, what no document can tell apart is the same:\n"
                "reals have seven digits there, and a BOOL is true or false.\n");
        AddFile(command, "A", diff_.first);
        AddFile(command, "B", diff_.second);
        AddCommon(command, diff_.common);
        command.add_flag("--summary", diff_.isSummary, "Print the counts only");
        command.callback([this] { run_ = [this] { return Diff(diff_, console_); }; });
    }

    void AddConvert() {
        CLI::App& command =
            Add("convert", "Retrieve a file by one provider, store it by another, and list what could not be carried",
                "  talstore convert unit.bin unit.xml --layout board.json\n"
                "  talstore convert unit.xml unit.dat --to secure --layout board.json\n\n"
                "An output that no board could read is not written.\n");
        AddFile(command, "A", convert_.input);
        command.add_option("B", convert_.output, "The file to write; - is standard output")->required()->type_name("");
        AddCommon(command, convert_.common);
        command.get_option("--layout")->required();
        command.add_option("--to", convert_.outputFormat, "What B shall be, where its name does not tell")
            ->check(CLI::IsMember(FormatNames()))
            ->type_name("FORMAT");
        command.callback([this] { run_ = [this] { return Convert(convert_, console_); }; });
    }

    static void AddDrive(CLI::App& command, DriveOptions& options) {
        std::vector<std::string> names;
        std::string help = "Which provider; without it, what the file tells";
        for (const ProviderInfo& provider : Providers()) {
            names.emplace_back(provider.name);
            help += std::string("\n") + provider.name + ": " + provider.summary;
        }
        command.add_option("--layout", options.layout, kLayoutHelp)->type_name("DESCRIPTION")->required();
        command.add_option("--provider", options.provider, help)->check(CLI::IsMember(names))->type_name("NAME");
        command.add_option("--location", options.location, "The storage location, 0 unless given")->type_name("N");
        command.add_option("--channel", options.channel, kChannelHelp)->type_name("N");
        command.add_flag("--trace", options.showsTrace, "Show what the provider traces");
        command.add_flag("--json", options.asJson, "Print JSON for programs");
    }

    void AddStore() {
        CLI::App& command =
            Add("store", "Store a database that holds its defaults and what --set says",
                "  talstore store unit.xml --layout board.json\n"
                "  talstore store unit.sbin --layout board.json --set HDBCommonBoard/HardwareCodes/HwIdMajor=0x3441\n"
                "  talstore store out.xml --layout board.json --location 7 --trace     a read-only location\n\n"
                "A store that fails leaves FILE as it was.\n");
        command.add_option("FILE", store_.drive.file, "The file to write; - is standard output")->type_name("");
        AddDrive(command, store_.drive);
        command.add_option("--set", store_.settings, "A value: 16, 0x10, 1.5, true, text, [1, 2, 3]; may be repeated")
            ->type_name("PATH=VALUE")
            ->expected(1)
            ->take_all();
        command.callback([this] { run_ = [this] { return Store(store_, console_); }; });
    }

    void AddRetrieve() {
        CLI::App& command =
            Add("retrieve", "Retrieve a file into a database and show what each variable ends with",
                "  talstore retrieve unit.sbin --layout board.json\n"
                "  talstore retrieve unit.xml --layout board.json --provider xml-read-only --location 8\n"
                "  talstore retrieve --provider board --layout board.json --trace\n\n"
                "The exit status is 1 when the provider reports a failure.\n");
        command.add_option("FILE", retrieve_.file, "A storage file")->type_name("");
        AddDrive(command, retrieve_);
        command.callback([this] { run_ = [this] { return Retrieve(retrieve_, console_); }; });
    }

    void AddBoard() {
        CLI::App& command = Add("board", "Play a board and show the fourteen variables that it sets",
                                "  talstore board --variant 0x05 --channels 2\n"
                                "  talstore board --variant 5 --mcb 17 --layout board.json\n");
        command.add_option("--layout", board_.layout, std::string(kLayoutHelp) + "; without it, one that fits")
            ->type_name("DESCRIPTION");
        command.add_option("--channels", board_.channelCount, "The number of radio channels, 1 unless given")
            ->type_name("N");
        command.add_option("--variant", board_.variant, "The hardware variant, 0 unless given")->type_name("N");
        for (std::size_t i = 0; i < kBoardCodeCount; ++i) {
            const std::string name = kBoardCodes[i].name;
            command.add_option("--" + name, board_.codes[i], "The hardware code of the " + name)->type_name("N");
        }
        command.add_flag("--trace", board_.showsTrace, "Show what the provider traces");
        command.add_flag("--json", board_.asJson, "Print JSON for programs");
        command.callback([this] { run_ = [this] { return Board(board_, console_); }; });
    }

    void AddLayout() {
        constexpr std::uint32_t kMostElements = 1048576;
        CLI::App& command =
            Add("layout", "Make a description from an XML document",
                "  talstore layout unit.xml --output board.json\n"
                "  talstore layout unit.xml --defaults --string-capacity 64\n\n"
                "A document does not tell how long strings may be, what read-only objects hold and how the variables\n"
                "of nested objects are named: look the description through before you rely on it.\n");
        command.add_option("FILE", layout_.file, "An XML document")->required()->type_name("");
        command.add_option("--output", layout_.output, "The file to write; standard output unless given")
            ->type_name("FILE");
        command
            .add_option("--string-capacity", layout_.stringCapacity,
                        "Bytes for a string with its NUL, 256 unless given")
            ->check(CLI::Range(1U, kMostElements))
            ->type_name("N");
        command.add_flag("--defaults", layout_.withDefaults, "Take the document's values as defaults");
        command.callback([this] { run_ = [this] { return Layout(layout_, console_); }; });
    }

    const Console& console_;
    CLI::App app_;
    std::function<int()> run_;
    ShowOptions show_;
    CheckOptions check_;
    DiffOptions diff_;
    ConvertOptions convert_;
    StoreOptions store_;
    DriveOptions retrieve_;
    BoardOptions board_;
    LayoutOptions layout_;
};

}  // namespace

int RunTalstore(const std::vector<std::string>& arguments, const Console& console) {
    try {
        return CommandLine(console).Run(arguments);
    } catch (const Interrupted& interrupted) {
        return kInterrupted + interrupted.signal;
    } catch (const std::bad_alloc&) {
        console.err << "talstore: out of memory\n";
    } catch (const std::exception& error) {
        console.err << "talstore: " << Printable(error.what()) << '\n';
    }
    return kCannot;
}

}  // namespace tal::talstore
