#include <algorithm>

#include "commands/CommandTable.h"
#include "commands/Suggestion.h"
#include "commands/UseError.h"
#include "commands/Wrap.h"

namespace tal::talstore {

namespace {

constexpr std::size_t kHelpWidth = 80;
constexpr std::size_t kHelpColumn = 26;

constexpr char kAbout[] =
    "Looks into the storage files of a board: shows, checks, compares, changes and converts them. XML documents and "
    "secure binary files are recognised by their content; a raw binary file needs --layout. Whatever a command says "
    "about restoring comes from the library itself.";

constexpr char kExitStatuses[] =
    "Exit status: 0 fine, 1 differences or problems were found, 2 wrong use or input that cannot be read, 130 Ctrl-C.";

void PrintParagraph(const Console& console, std::string_view text) {
    console.out << '\n';
    for (const std::string& line : Wrapped(text, kHelpWidth)) {
        console.out << line << '\n';
    }
}

/// "  --channel N           The channel whose number ..."
void PrintEntry(const Console& console, const std::string& name, const std::string& help) {
    std::string start = "  " + name;
    if (start.size() + 2 > kHelpColumn) {
        console.out << start << '\n';
        start.clear();
    }
    for (const std::string& line : Wrapped(help, kHelpWidth - kHelpColumn)) {
        console.out << start << std::string(kHelpColumn - start.size(), ' ') << line << '\n';
        start.clear();
    }
}

void PrintOptions(const Console& console, const CommandInfo& command) {
    console.out << "\nOptions:\n";
    for (const OptionInfo& option : command.options) {
        std::string names = option.shortName == nullptr ? "" : std::string(option.shortName) + ", ";
        names += option.name;
        if (option.argument != nullptr) {
            names += std::string(" ") + option.argument;
        }
        PrintEntry(console, names, option.help + (option.isRequired ? " (required)" : ""));
    }
    PrintEntry(console, "-h, --help", "Print this help");
}

void PrintCommand(const Console& console, const CommandInfo& command) {
    console.out << "Usage: " << UsageOf(command) << '\n';
    PrintParagraph(console, command.summary + std::string("."));
    if (!command.operands.empty()) {
        console.out << '\n';
    }
    for (const OperandInfo& operand : command.operands) {
        PrintEntry(console, operand.name, operand.help);
    }
    PrintOptions(console, command);
    console.out << "\nExamples:\n" << command.examples;
    if (*command.notes != '\0') {
        PrintParagraph(console, command.notes);
    }
    PrintParagraph(console, kExitStatuses);
}

void PrintTool(const Console& console, const std::vector<CommandInfo>& commands) {
    console.out << "Usage: talstore COMMAND [OPTIONS] [FILE...]\n";
    PrintParagraph(console, kAbout);
    console.out << "\nCommands:\n";
    for (const CommandInfo& command : commands) {
        if (command.isShown) {
            PrintEntry(console, command.name, command.summary);
        }
    }
    console.out << "\nOptions:\n";
    PrintEntry(console, "-h, --help", "Print this help, or that of the command before it");
    PrintEntry(console, "--version", "Print the version");
    console.out << "\nExamples:\n"
                   "  talstore show unit.xml\n"
                   "  talstore check unit.sbin --layout board.json\n"
                   "  talstore help check\n";
    PrintParagraph(console, kExitStatuses);
}

}  // namespace

int Help(const HelpOptions& options, const Console& console) {
    const std::vector<CommandInfo> commands = Commands();
    if (options.command.empty()) {
        PrintTool(console, commands);
        return kFine;
    }
    const CommandInfo* const command = FindCommand(commands, options.command);
    if (command == nullptr) {
        throw UseError(UnknownCommand(options.command));
    }
    PrintCommand(console, *command);
    return kFine;
}

}  // namespace tal::talstore
