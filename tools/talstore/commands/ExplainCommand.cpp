#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "commands/ResultCodes.h"
#include "commands/Suggestion.h"
#include "commands/UseError.h"
#include "commands/Wrap.h"
#include "common/Text.h"
#include "files/WholeFile.h"

namespace tal::talstore {

using tools::Printable;

namespace {

constexpr std::size_t kExplanationWidth = 80;
constexpr std::size_t kLabelColumn = 8;

/// The texts to explain: what the command line says, or each line of standard input.
std::vector<std::string> TextsOf(const ExplainOptions& options) {
    std::string joined;
    for (const std::string& word : options.words) {
        joined += (joined.empty() ? "" : " ") + word;
    }
    if (joined != "-") {
        return {joined};
    }
    std::istringstream input(ReadWholeFile("-"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(input, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The codes in the order in which they come, each once.
std::vector<const ResultCode*> CodesIn(const std::vector<std::string>& texts) {
    std::vector<const ResultCode*> codes;
    for (const std::string& text : texts) {
        const ResultCode* const code = FindResultCode(text);
        if (code != nullptr && std::find(codes.begin(), codes.end(), code) == codes.end()) {
            codes.push_back(code);
        }
    }
    return codes;
}

void PrintPart(const Console& console, const char* label, const char* text) {
    std::string start = label;
    for (const std::string& line : Wrapped(text, kExplanationWidth - kLabelColumn)) {
        console.out << start << std::string(kLabelColumn - start.size(), ' ') << line << '\n';
        start.clear();
    }
}

void Print(const Console& console, const ResultCode& code) {
    console.out << Coloured(console, SpelledOut(code), Colour::Bold) << ", "
                << (QBF_IsFailure(code.value) ? "a failure" : "no failure") << ", " << code.from << '\n';
    PrintPart(console, "means", code.cause);
    PrintPart(console, "lost", code.lost);
    PrintPart(console, "do", code.remedy);
}

Json CodesJson(const std::vector<const ResultCode*>& codes) {
    Json json = Json::array();
    for (const ResultCode* const code : codes) {
        json.push_back({{"name", code->name},
                        {"value", code->value},
                        {"failure", QBF_IsFailure(code->value)},
                        {"from", code->from},
                        {"cause", code->cause},
                        {"lost", code->lost},
                        {"remedy", code->remedy}});
    }
    return json;
}

}  // namespace

int Explain(const ExplainOptions& options, const Console& console) {
    const std::vector<std::string> texts = TextsOf(options);
    const std::vector<const ResultCode*> codes = CodesIn(texts);
    if (options.asJson) {
        PrintAnswer(console, "explain", {{"codes", CodesJson(codes)}});
    } else {
        for (const ResultCode* const code : codes) {
            console.out << (code == codes.front() ? "" : "\n");
            Print(console, *code);
        }
    }
    if (codes.empty()) {
        console.err << "talstore: no result code in "
                    << (texts.size() == 1 ? '\'' + Printable(texts.front()) + '\'' : "it")
                    << (texts.size() == 1 ? Suggestion(texts.front(), NamesOfResultCodes()) : "") << '\n';
    }
    return codes.empty() ? kProblems : kFine;
}

}  // namespace tal::talstore
