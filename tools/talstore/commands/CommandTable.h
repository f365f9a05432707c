/// @file
/// The commands: one row for each, from which the command line, the help and the completion are made.
#ifndef TALSTORE_COMMAND_TABLE_H
#define TALSTORE_COMMAND_TABLE_H

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "commands/Commands.h"

namespace tal::talstore {

/// What a shell offers for a word.
enum class Offer { Words, Files, Commands, Paths, Settings };

/// Where a word of the command line goes: a flag, a number, a text, or the texts of an option that may be repeated.
using Target = std::variant<bool*, std::uint32_t*, std::string*, std::vector<std::string>*>;

struct OptionInfo {
    const char* name;      ///< "--layout"
    const char* argument;  ///< "DESCRIPTION"; null for a flag.
    std::string help;
    Target target;
    Offer offer = Offer::Words;  ///< The words of the row, if it has some.
    bool isRequired = false;
    std::vector<std::string> words = {};  ///< The only ones that it takes; empty for any.
    std::uint32_t least = 0;              ///< Of a number.
    std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    const char* shortName = nullptr;  ///< "-q"; null for none.
};

/// @return whether the word begins as an option does.
[[nodiscard]] inline bool IsOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-';
}

/// A word that is no option; one with several texts takes all that follow.
struct OperandInfo {
    const char* name;
    const char* help;
    Target target;
    bool isRequired = true;
    Offer offer = Offer::Files;
    std::vector<std::string> words = {};  ///< What a shell offers.
};

struct CommandInfo {
    const char* name;
    const char* summary;
    std::vector<OperandInfo> operands;
    std::vector<OptionInfo> options;
    const char* examples;
    const char* notes;  ///< Empty for none.
    std::function<int(const Console& console)> run;
    bool isShown = true;                     ///< False for what only the completion calls.
    std::shared_ptr<void> commandLine = {};  ///< What the targets and `run` refer to.
};

[[nodiscard]] std::vector<CommandInfo> Commands();

/// @return null when there is none of that name.
[[nodiscard]] const CommandInfo* FindCommand(const std::vector<CommandInfo>& commands, std::string_view name);

/// "unknown command 'sho'; did you mean 'show'?"
[[nodiscard]] std::string UnknownCommand(const std::string& name);

/// @param option  "--layout", also with a value as in "--layout=board.json".
/// @return null when the command has none of that name.
[[nodiscard]] const OptionInfo* FindOption(const CommandInfo& command, std::string_view option);

/// "talstore show [OPTIONS] FILE..."
[[nodiscard]] std::string UsageOf(const CommandInfo& command);

/// The names of the commands, without those that only programs call.
[[nodiscard]] std::vector<std::string> NamesOfCommands();

/// Its own and the one that all commands have.
[[nodiscard]] std::vector<std::string> NamesOfOptions(const CommandInfo& command);

[[nodiscard]] inline bool TakesSeveral(const Target& target) {
    return std::holds_alternative<std::vector<std::string>*>(target);
}

/// The options that every command has.
constexpr const char* kHelpOption = "--help";
constexpr const char* kVersionOption = "--version";

}  // namespace tal::talstore

#endif
