#include "commands/ResultCodes.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::HexNumber;

const std::vector<ResultCode>& ResultCodes() {
    static const std::vector<ResultCode> codes = {
        {"QBF_OK", 0x0000, "returned by everything",
         "Success. From the host's iterations: more follow. Never traced as such.", "Nothing.", "none"},
        {"QBF_N_NOTICE", 0x0100, "traced by the secure provider",
         "The directory could not be opened to be synced; so at every store.",
         "Nothing, unless power fails right after the store: a new file may then be gone.",
         "Sync it yourself where that matters: atomic-replacement.md."},
        {"QBF_N_NOTICE_2", 0x0101, "traced by the secure provider",
         "The file holds a variable that the database does not register.",
         "The value of that variable, which no variable of the database takes.",
         "Expected after a layout change. Otherwise see the path in the record: nested objects before it, channel "
         "number."},
        {"QBF_I_INFO", 0x0800, "traced by all but the dummy provider", "Entry and progress lines, ignored operations.",
         "Nothing.", "none"},
        {"QBF_I_DETAIL", 0x0820, "traced by the XML reader",
         "What happens to each variable, also that one is not registered.",
         "Nothing by itself. A variable that is not registered is skipped, with its value.",
         "Admit this level to find out why a variable was not restored."},
        {"QBF_W_WARNING", 0x1000, "traced by the XML reader and both binary formats",
         "An array that the host's list calls nameless; an object that could not be processed; an iteration that "
         "failed; a secure path that was cut.",
         "The elements of the array, the rest of the object, or the end of the path that is named.",
         "The record before names the cause."},
        {"QBF_W_END_OF_LIST", 0x1002, "returned by the host's CList_... functions",
         "The list is empty, or this was its last item.", "Nothing.", "none"},
        {"QBF_W_END_OF_VARIABLES", 0x1004, "returned by the host's iteration over variables",
         "There is no variable, or this was the last one.", "Nothing.", "none"},
        {"QBF_W_NOT_SUPPORTED", 0x1008,
         "returned by ReserveWritableSpace and StoreAllWritable of the XML, binary and secure provider",
         "The operation is not offered.", "Nothing.", "Use StoreAll. It is no failure."},
        {"QBF_E_FAILED", 0x8000, "returned by StoreAll and RetrieveAll, traced by all but the dummy provider",
         "Anything failed. In the trace: a file that cannot be read or closed, a document that does not parse, a host "
         "call that failed, a variable that could not be converted.",
         "After a store: what could not be had or written. After a retrieve: what is named, with XML also all after "
         "it.",
         "Read the records before; for what a failed retrieve leaves behind see promises.md, 9 and 10."},
        {"QBF_E_INVALID_ARGUMENT", 0x8002,
         "traced by the file providers and by the board-support class, whose members also return it",
         "A location that the provider does not have; a null database; a mode that is not offered; a board variable "
         "that is not registered or has another type; a hardware variant above 255.",
         "The whole operation: no file is opened. Of a board variable its value alone.",
         "Use a location of the provider: writing-a-host.md. Register the variable with the type expected."},
        {"QBF_E_NO_NAME", 0x8004,
         "traced by the file providers; may be returned by the host's list, which is then taken for empty",
         "The host did not hand out the name of a region, object or variable, or no variable at all. After a region "
         "without a name no further region is stored.",
         "What is in the nameless region, object or variable.", "Mend the host: every name has to be available."},
        {"QBF_E_OPEN_FAILED", 0x8005, "traced by the file providers",
         "The file could not be opened: for writing, and in the binary and secure provider also for reading.",
         "After a store: all of it. After a retrieve: nothing is read.",
         "The record has the name and errno. Without a file to read the database holds its defaults."},
        {"QBF_E_IO", 0x800A, "traced by the binary and the secure provider",
         "A short read or write, a failed flush (secure), a variable that was not updated (secure).",
         "The variables that are named, and after a short read with the secure provider all after them.",
         "After a store: free space, store again. After a retrieve: the file is truncated, or its layout another one."},
        {"QBF_E_BAD_TYPE", 0x800B,
         "traced by the XML and the secure provider and by the board-support class, whose members also return it",
         "A type code that is not defined; an array element that is neither TRUE nor FALSE; a record for a variable "
         "that holds "
         "objects; a board variable without an address.",
         "That variable; in an XML retrieve also all after it.", "Mend the host's type, or the document."},
        {"QBF_E_NOT_FOUND", 0x800E, "traced by the XML reader",
         "An element without the attribute name. What is beneath it is passed over, and the retrieve does not fail for "
         "it.",
         "What is in the element, down to its end.", "Mend the document."},
        {"QBF_E_NO_STORAGE_FILE", 0x800F, "traced by the XML provider; its RetrieveAll returns QBF_E_FAILED",
         "There was no usable file; every variable was set to its default.", "Nothing of a file: there was none.",
         "Expected on a first start."},
        {"QBF_E_CORRUPT", 0x8010, "traced by the secure provider",
         "A record without its start marker, or with a path length above 510. Nothing after it was read, nothing was "
         "defaulted.",
         "Everything from the place of the damage on.",
         "Replace the file. Default the database if it may hold anything else."},
        {"QBF_E_SIZE_MISMATCH", 0x8011, "traced by the secure provider",
         "A stored variable has another size than the registered one; it gets its default.",
         "The stored value of that variable.", "Expected after a layout change."},
    };
    return codes;
}

std::vector<std::string> NamesOfResultCodes() {
    std::vector<std::string> names;
    for (const ResultCode& code : ResultCodes()) {
        names.emplace_back(code.name);
    }
    return names;
}

const ResultCode* FindResultCode(std::uint32_t value) {
    const auto& codes = ResultCodes();
    const auto found =
        std::find_if(codes.begin(), codes.end(), [&](const ResultCode& code) { return code.value == value; });
    return found == codes.end() ? nullptr : &*found;
}

namespace {

std::string InCapitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::optional<std::uint32_t> NumberIn(const std::string& word, int base) {
    char* end = nullptr;
    const unsigned long long number = std::strtoull(word.c_str(), &end, base);
    const bool isNumber = !word.empty() && std::isxdigit(static_cast<unsigned char>(word[0])) != 0 && *end == '\0';
    return isNumber && number <= UINT32_MAX ? std::optional(static_cast<std::uint32_t>(number)) : std::nullopt;
}

const ResultCode* FindByNumber(const std::string& word, int base) {
    const std::optional<std::uint32_t> number = NumberIn(word, base);
    return number ? FindResultCode(*number) : nullptr;
}

const ResultCode* FindByName(const std::string& word) {
    const std::string name = InCapitals(word);
    const auto& codes = ResultCodes();
    const auto found = std::find_if(codes.begin(), codes.end(), [&](const ResultCode& code) {
        const std::string whole = code.name;
        return name == whole || "QBF_" + name == whole;
    });
    return found == codes.end() ? nullptr : &*found;
}

/// The words of a line, of what results are written with.
std::vector<std::string> WordsOf(const std::string& text) {
    std::vector<std::string> words(1);
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_') {
            words.back() += c;
        } else if (!words.back().empty()) {
            words.emplace_back();
        }
    }
    return words;
}

bool IsHexadecimal(const std::string& word) {
    return word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
}

}  // namespace

const ResultCode* FindResultCode(const std::string& text) {
    const std::vector<std::string> words = WordsOf(text);
    const bool isSingleWord = words.size() == 1 || (words.size() == 2 && words.back().empty());
    if (isSingleWord) {
        // A number without a prefix is most often meant as it stands in a trace.
        for (const int base : {0, 16}) {
            if (const ResultCode* const code = FindByNumber(words.front(), base)) {
                return code;
            }
        }
        return FindByName(words.front());
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        // In a sentence only what cannot be anything else, or stands where a trace has the code.
        const bool isMarked = i > 0 && (InCapitals(words[i - 1]) == "CODE" || InCapitals(words[i - 1]) == "QBFRESULT");
        const ResultCode* const code = isMarked || IsHexadecimal(words[i])   ? FindByNumber(words[i], 16)
                                       : words[i].compare(0, 4, "QBF_") == 0 ? FindByName(words[i])
                                                                             : nullptr;
        if (code != nullptr) {
            return code;
        }
    }
    return nullptr;
}

std::string SpelledOut(const ResultCode& code) {
    return code.name + (" (" + HexNumber(code.value, 4)) + ')';
}

std::string ResultText(QBFResult result) {
    const auto value = static_cast<std::uint32_t>(result);
    if (value == QBF_OK) {
        return "QBF_OK";
    }
    const ResultCode* const code = FindResultCode(value);
    return code == nullptr ? "result " + HexNumber(value, 4) : SpelledOut(*code);
}

}  // namespace tal::talstore
