#include <algorithm>
#include <set>

#include "board/Restore.h"
#include "commands/CommandTable.h"
#include "commands/Report.h"

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

/// @return the paths of the layout, or else of the file; none when neither can be read.
std::vector<std::string> PathsToOffer(const std::string& layoutName, const std::string& fileName) {
    std::vector<std::string> paths;
    try {
        if (const auto layout = LoadLayout(layoutName)) {
            VisitVariables(*layout, [&](const host::Variable& variable, bool /*isWritable*/) {
                paths.push_back(variable.Path());
            });
        } else if (!fileName.empty() && fileName != "-") {
            const StorageFile file = LoadStorageFile(fileName, std::nullopt, false);
            for (const StoredItem& item : Inspect(file, nullptr).items) {
                paths.push_back(item.path);
            }
        }
    } catch (const std::exception&) {
        // Whoever has pressed a key does not want to read what is wrong.
        paths.clear();
    }
    return paths;
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
            OfferFor(console, operand->offer, operand->words);
        } else {
            OfferFor(console, talstore::Offer::Words, NamesOfOptions(command_));
        }
    }

private:
    void Follow(const std::string& word) {
        if (open_ != nullptr) {
            layout_ = open_->name == std::string("--layout") ? word : layout_;
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
        const bool isPath = offer == talstore::Offer::Paths || offer == talstore::Offer::Settings;
        console.out << (isPath ? "paths\n" : "words\n");
        const std::vector<std::string> candidates = isPath                               ? NextPartsOfPaths(offer)
                                                    : offer == talstore::Offer::Commands ? NamesOfCommands()
                                                                                         : words;
        for (const std::string& word : candidates) {
            if (word.compare(0, begun_.size(), begun_) == 0) {
                console.out << word << '\n';
            }
        }
    }

    /// A file may have thousands of paths, so they are offered down to the next '/'.
    [[nodiscard]] std::vector<std::string> NextPartsOfPaths(talstore::Offer offer) const {
        std::set<std::string> parts;
        for (const std::string& path : PathsToOffer(layout_, operands_.empty() ? "" : operands_.front())) {
            const std::size_t slash = path.find('/', std::min(begun_.size(), path.size()));
            const bool isWhole = slash == std::string::npos;
            parts.insert(isWhole ? path + (offer == talstore::Offer::Settings ? "=" : "") : path.substr(0, slash + 1));
        }
        return {parts.begin(), parts.end()};
    }

    const CommandInfo& command_;
    std::string begun_;
    const OptionInfo* open_ = nullptr;  ///< The option whose argument comes next.
    std::string layout_;
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
    const std::vector<CommandInfo> commands = Commands();
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
