#include "commands/CommandLine.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <new>

#include "commands/CommandTable.h"
#include "commands/Suggestion.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/Interrupt.h"

namespace tal::talstore {

using tools::Printable;

namespace {

constexpr const char* kEndOfOptions = "--";

/// @return what is wrong with the word; empty when nothing is.
std::string ProblemOfWord(const OptionInfo& option, const std::string& word) {
    const bool isKnown = std::find(option.words.begin(), option.words.end(), word) != option.words.end();
    return isKnown ? "" : '\'' + word + "' is none of " + tools::Listed(option.words) + Suggestion(word, option.words);
}

/// The same for a number.
std::string ProblemOfNumber(const OptionInfo& option, const std::string& text) {
    constexpr int kAnyBase = 0;
    char* end = nullptr;
    // What is too large for any number comes back as the largest.
    const unsigned long long number = std::strtoull(text.c_str(), &end, kAnyBase);
    const bool isNumber = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0 && *end == '\0';
    return isNumber && number >= option.least && number <= option.most
               ? ""
               : '\'' + text + "' is no number from " + std::to_string(option.least) + " to " +
                     std::to_string(option.most);
}

void AddOption(CLI::App& parser, const OptionInfo& option) {
    if (bool* const* const flag = std::get_if<bool*>(&option.target)) {
        parser.add_flag((option.shortName == nullptr ? "" : option.shortName + std::string(",")) + option.name, **flag);
    } else if (std::uint32_t* const* const number = std::get_if<std::uint32_t*>(&option.target)) {
        parser.add_option(option.name, **number)->check([&option](const std::string& text) {
            return ProblemOfNumber(option, text);
        });
    } else if (std::string* const* const text = std::get_if<std::string*>(&option.target)) {
        CLI::Option* const added = parser.add_option(option.name, **text);
        if (!option.words.empty()) {
            added->check([&option](const std::string& word) { return ProblemOfWord(option, word); });
        }
    } else {
        parser.add_option(option.name, *std::get<std::vector<std::string>*>(option.target))->expected(1)->take_all();
    }
}

/// @param name  Any; what people call it may hold what the parser does not take.
void AddOperand(CLI::App& parser, const OperandInfo& operand, const std::string& name) {
    if (TakesSeveral(operand.target)) {
        parser.add_option(name, *std::get<std::vector<std::string>*>(operand.target));
    } else {
        parser.add_option(name, *std::get<std::string*>(operand.target));
    }
}

std::string OperandName(std::size_t index) {
    return "operand" + std::to_string(index);
}

void RequireWhatIsNeeded(const CommandInfo& command, const CLI::App& parser) {
    for (std::size_t i = 0; i < command.operands.size(); ++i) {
        if (command.operands[i].isRequired && parser.count(OperandName(i)) == 0) {
            throw UseError(std::string(command.operands[i].name) + " is missing");
        }
    }
    for (const OptionInfo& option : command.options) {
        if (option.isRequired && parser.count(option.name) == 0) {
            throw UseError(std::string(option.name) + " is missing");
        }
    }
}

void Parse(const CommandInfo& command, std::vector<std::string> words) {
    CLI::App parser;
    parser.set_help_flag();
    for (std::size_t i = 0; i < command.operands.size(); ++i) {
        AddOperand(parser, command.operands[i], OperandName(i));
    }
    for (const OptionInfo& option : command.options) {
        AddOption(parser, option);
    }
    parser.allow_extras();
    // The parser takes the last word first.
    std::reverse(words.begin(), words.end());
    try {
        parser.parse(words);
    } catch (const CLI::ParseError& error) {
        throw UseError(error.what());
    }
    RequireWhatIsNeeded(command, parser);
    for (const std::string& surplus : parser.remaining()) {
        if (surplus != kEndOfOptions) {
            throw UseError("'" + surplus + "' is one word too many");
        }
    }
}

/// Says in one form what is wrong with the options, and in its own words.
/// @return whether help is asked for.
bool LookThrough(const CommandInfo& command, const std::vector<std::string>& words) {
    for (std::size_t i = 0; i < words.size() && words[i] != kEndOfOptions; ++i) {
        const std::string& word = words[i];
        if (!IsOption(word)) {
            continue;
        }
        if (word == kHelpOption || word == "-h") {
            return true;
        }
        const OptionInfo* const option = FindOption(command, word);
        if (option == nullptr) {
            const std::string name = word.substr(0, word.find('='));
            throw UseError("unknown option '" + name + '\'' + Suggestion(name, NamesOfOptions(command)));
        }
        const bool isArgumentNext = option->argument != nullptr && word == option->name;
        if (isArgumentNext && ++i == words.size()) {
            throw UseError(std::string(option->name) + " needs its " + option->argument);
        }
    }
    return false;
}

class CommandLine {
public:
    explicit CommandLine(const Console& console) : console_(console) {}

    int Run(std::vector<std::string> words) {
        try {
            return RunCommand(std::move(words));
        } catch (const UseError& error) {
            console_.err << "talstore: " << Printable(error.what()) << "\nusage: " << usage_ << '\n';
            return kCannot;
        }
    }

private:
    int RunCommand(std::vector<std::string> words) {
        if (words.empty()) {
            throw UseError("a command is needed");
        }
        const std::string name = words.front();
        words.erase(words.begin());
        if (name == kHelpOption || name == "-h") {
            return Help({}, console_);
        }
        if (name == kVersionOption) {
            console_.out << "talstore " TALSTORE_VERSION "\n";
            return kFine;
        }
        const CommandInfo* const command = FindCommand(commands_, name);
        if (command == nullptr) {
            throw UseError(IsOption(name) ? "unknown option '" + name + '\'' : UnknownCommand(name));
        }
        usage_ = UsageOf(*command);
        if (LookThrough(*command, words)) {
            return Help({name}, console_);
        }
        Parse(*command, std::move(words));
        return command->run(console_);
    }

    const Console& console_;
    std::vector<CommandInfo> commands_ = Commands();
    std::string usage_ = "talstore COMMAND [OPTIONS] [FILE...]";
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
