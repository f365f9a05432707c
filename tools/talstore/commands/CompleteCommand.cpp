#include <algorithm>

#include "commands/CommandTable.h"

namespace tal::talstore {

namespace {

/// A shell takes "--layout=board.json" and "PATH=VALUE" apart at the sign.
std::vector<std::string> Joined(const std::vector<std::string>& words) {
    std::vector<std::string> joined;
    bool isValue = false;
    for (const std::string& word : words) {
        if (word == "=" && !joined.empty()) {
            isValue = !IsOption(joined.back());
            joined.back() += isValue ? word : "";
            if (!isValue && &word == &words.back()) {
                joined.emplace_back();
            }
        } else if (isValue) {
            joined.back() += word;
            isValue = false;
        } else {
            joined.push_back(word);
        }
    }
    return joined;
}

/// A command's line up to the cursor.
class Line {
public:
    /// @param words  At least the command and the word that is begun.
    Line(const CommandInfo& command, const std::vector<std::string>& words) : command_(command), begun_(words.back()) {
        for (std::size_t i = 1; i + 1 < words.size(); ++i) {
            Follow(words[i]);
        }
    }

    void Offer(const Console& console) const {
        if (open_ != nullptr) {
            OfferFor(console, open_->offer, open_->words);
        } else if (const OperandInfo* const operand = NextOperand(); operand != nullptr && !IsOption(begun_)) {
            OfferFor(console, operand->offer, {});
        } else {
            OfferFor(console, talstore::Offer::Words, NamesOfOptions(command_));
        }
    }

private:
    void Follow(const std::string& word) {
        if (open_ != nullptr) {
            open_ = nullptr;
        } else if (IsOption(word)) {
            const OptionInfo* const option = FindOption(command_, word);
            open_ = option != nullptr && option->argument != nullptr ? option : nullptr;
        } else {
            operands_.push_back(word);
        }
    }

    /// The last operand may take several words.
    [[nodiscard]] const OperandInfo* NextOperand() const {
        const auto& operands = command_.operands;
        if (operands_.size() < operands.size()) {
            return &operands[operands_.size()];
        }
        return !operands.empty() && TakesSeveral(operands.back().target) ? &operands.back() : nullptr;
    }

    void OfferFor(const Console& console, talstore::Offer offer, const std::vector<std::string>& words) const {
        if (offer == talstore::Offer::Files) {
            console.out << "files\n";
            return;
        }
        console.out << "words\n";
        for (const std::string& word : offer == talstore::Offer::Commands ? NamesOfCommands() : words) {
            if (word.compare(0, begun_.size(), begun_) == 0) {
                console.out << word << '\n';
            }
        }
    }

    const CommandInfo& command_;
    std::string begun_;
    const OptionInfo* open_ = nullptr;  ///< The option whose argument comes next.
    std::vector<std::string> operands_;
};

/// The tool itself, whose only operand is a command.
CommandInfo Tool() {
    static bool isVersion = false;
    static std::string command;
    return {"talstore",
            "",
            {{"COMMAND", "", &command, true, Offer::Commands}},
            {{kVersionOption, nullptr, "", &isVersion}},
            "",
            "",
            nullptr};
}

}  // namespace

int Complete(const CompleteOptions& options, const Console& console) {
    Arguments arguments;
    const std::vector<CommandInfo> commands = Commands(arguments);
    std::vector<std::string> words = Joined(options.words);
    const CommandInfo* const command = words.size() > 1 ? FindCommand(commands, words.front()) : nullptr;
    if (command != nullptr) {
        Line(*command, words).Offer(console);
    } else if (words.size() == 1) {
        words.insert(words.begin(), "talstore");
        Line(Tool(), words).Offer(console);
    }
    return kFine;
}

}  // namespace tal::talstore
