/// @file
/// A checker for hosts: walks a database through the functions of HostDatabase.h and says which rules of the contract
/// it breaks. It is for development and tests, takes C++17 and POSIX, and nothing but this header.
///
///     for (const tal::HostFinding& finding : tal::CheckHost(&database)) {
///         std::fprintf(stderr, "%s\n", tal::ToText(finding).c_str());
///     }
///
/// The check runs in a child process. A host that crashes, throws or never returns is a finding like any other, and the
/// database of the calling process is not touched. Call it before other threads work with the database.
#ifndef TAL_CHECK_HOST_H
#define TAL_CHECK_HOST_H

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"

namespace tal {

/// What a host has to keep to, in the order in which it is looked at. RuleText says each in a sentence.
enum class HostRule : unsigned char {
    FunctionsReturn,
    FunctionsSucceed,
    ResultCodes,
    TextListRoom,
    TextListContents,
    RegionList,
    ObjectList,
    Names,
    NamesFit,
    Iterations,
    Types,
    Sizes,
    Contents,
    StringsEnd,
    Nesting,
    NestedLast,
    PathsUnique,
    PathsFound,
    UnknownPaths,
    Defaults,
    Marks
};

/// One breach of a rule.
struct HostFinding {
    HostRule rule;
    std::string path;  ///< Region, objects and variable, as far as the check had come; empty for the whole database.
    std::string seen;  ///< What was seen there.
};

struct HostCheckOptions {
    unsigned seconds = 60;            ///< A check that takes longer hangs in a function of the host.
    std::size_t variables = 1000000;  ///< An iteration that hands out more never ends.
    std::size_t findings = 100;       ///< More are not reported.
    /// For a debugger: runs in the calling process. Then a crash is one, `seconds` does not count, the marks are
    /// cleared in the end, and the values are put back.
    bool inThisProcess = false;
};

/// @return a name for the rule, such as "nested-last".
[[nodiscard]] inline const char* RuleName(HostRule rule);

/// @return the rule as a sentence.
[[nodiscard]] inline const char* RuleText(HostRule rule);

/// @return the finding in one line: "Config/Radio/Gain: sizes: 8 bytes for 1 x 4. The size is ...".
[[nodiscard]] inline std::string ToText(const HostFinding& finding);

/// Checks everything that is in the database, and the functions over it.
/// @param database  As it is handed to a provider. Borrowed for the call.
/// @return the breaches in the order in which they were met; none for a host that keeps every rule. After a crash the
///         rest has not been looked at. Throws std::system_error where there is no process or memory to be had.
[[nodiscard]] inline std::vector<HostFinding> CheckHost(CDatabase* database, const HostCheckOptions& options = {});

namespace detail {

struct HostRuleRow {
    HostRule rule;
    const char* name;
    const char* text;
};

constexpr HostRuleRow kHostRules[] = {
    {HostRule::FunctionsReturn, "functions-return", "Every function returns: no crash, no exception, no endless loop."},
    {HostRule::FunctionsSucceed, "functions-succeed",
     "For what is in the database, every function answers with a success."},
    {HostRule::ResultCodes, "result-codes",
     "No function answers a code from 0x80000000 up, which would count as a success."},
    {HostRule::TextListRoom, "text-list-room", "A CList needs no more room than 16 words."},
    {HostRule::TextListContents, "text-list-contents",
     "A CList keeps its items in order, hands out the last one with QBF_W_END_OF_LIST, and is empty when it is all "
     "zero "
     "or destructed."},
    {HostRule::RegionList, "region-list",
     "The list of regions is circular, its sentinel is the database itself, and every node has an element."},
    {HostRule::ObjectList, "object-list",
     "The list of a region's objects is circular, its sentinel is the region's second word after one reserved word, "
     "and "
     "every node has an element."},
    {HostRule::Names, "names", "Every name is a text with a NUL at its end, and stays what and where it is."},
    {HostRule::NamesFit, "names-fit",
     "Names and paths are within the limits of the formats: 39 characters for a region, 119 for an object or variable, "
     "510 for a path."},
    {HostRule::Iterations, "iterations",
     "An iteration hands out every variable once, the last one together with QBF_W_END_OF_VARIABLES, and the same ones "
     "every time."},
    {HostRule::Types, "types", "The type code is one of the 23."},
    {HostRule::Sizes, "sizes", "The size in bytes is the width of the type times the number of elements."},
    {HostRule::Contents, "contents",
     "Content addresses are not null unless the size is 0, are aligned for their type, stay, and can be read and "
     "written."},
    {HostRule::StringsEnd, "strings-end", "A STRING has a NUL within its size."},
    {HostRule::Nesting, "nesting", "No object is inside itself, and at most five are inside one another."},
    {HostRule::NestedLast, "nested-last",
     "A nested object or object array is the last variable of its object: secure files lose what comes after it."},
    {HostRule::PathsUnique, "paths-unique", "No two variables have the same path."},
    {HostRule::PathsFound, "paths-found", "Every variable is found under its path."},
    {HostRule::UnknownPaths, "unknown-paths", "A path that no variable has is answered with a failure."},
    {HostRule::Defaults, "defaults",
     "CDatabase_SetNotRetrievedVariablesToDefault gives every variable without a mark its default."},
    {HostRule::Marks, "marks",
     "CVariable_SetRetrieved keeps a variable from its default until CDatabase_SetAsNotRetrieved."},
};

constexpr bool HasARowPerRuleInOrder() {
    for (std::size_t i = 0; i < sizeof kHostRules / sizeof *kHostRules; ++i) {
        if (static_cast<std::size_t>(kHostRules[i].rule) != i) {
            return false;
        }
    }
    return kHostRules[sizeof kHostRules / sizeof *kHostRules - 1].rule == HostRule::Marks;
}
static_assert(HasARowPerRuleInOrder(), "RowOf goes by the number");

/// Where the check is. In memory that both processes see, so that the parent knows it when the child is gone.
struct HostCheckStep {
    HostRule rule;    ///< What is broken if the process ends here.
    bool isFinished;  ///< The whole check.
    char doing[80];
    char path[1024];

    void Enter(HostRule broken, const char* what, const std::string& where) {
        rule = broken;
        Copy(doing, what);
        Copy(path, where.c_str());
    }

private:
    template <std::size_t Size>
    static void Copy(char (&to)[Size], const char* from) {
        std::strncpy(to, from, Size - 1);
        to[Size - 1] = '\0';
    }
};

using HostReport = std::function<void(const HostFinding&)>;

inline std::string Hex(QBFResult code) {
    std::string digits;
    do {
        digits.insert(digits.begin(), "0123456789abcdef"[code % 16]);
        code /= 16;
    } while (code != 0);
    return "0x" + digits;
}

class HostChecker {
public:
    HostChecker(CDatabase* database, const HostCheckOptions& options, HostCheckStep& step, HostReport report)
        : database_(database), options_(options), step_(step), report_(std::move(report)) {}

    /// No exception of the host gets out.
    void Run() {
        try {
            CheckTextList();
            CheckDatabase();
        } catch (...) {
            Report(HostRule::FunctionsReturn, step_.path, std::string("an exception left ") + step_.doing);
        }
        step_.isFinished = true;
    }

private:
    /// Wide enough for any text that a format takes, so that a name that never ends is one.
    static constexpr std::size_t kLongestName = 4096;
    static constexpr std::size_t kDeepestNesting = 5;
    static constexpr QBFResult kLargestCode = 0x7FFFFFFF;

    struct NameSeen {
        const char* address;
        std::string text;
        std::string path;
    };
    struct VariableSeen {
        CVariable* variable;
        std::string path;
    };
    /// A variable whose content may be read and written as it says.
    struct Value {
        CVariable* variable;
        std::string path;
        bool isString;
        unsigned char* content;
        std::size_t sizeInBytes;
        std::vector<unsigned char> before = {};
        std::vector<unsigned char> defaultBytes = {};
    };
    /// The room of the library's that a list is constructed in, and what stands around it.
    struct ListRoom {
        alignas(std::max_align_t) unsigned char before[256];
        alignas(std::max_align_t) unsigned char list[16 * sizeof(void*)];
        unsigned char after[4096];
    };

    void Report(HostRule rule, const std::string& path, const std::string& seen) {
        if (findings_ < options_.findings) {
            ++findings_;
            report_({rule, path, seen});
        }
    }

    /// Calls a function that answers a code.
    template <class Call>
    QBFResult Ask(const char* function, const std::string& path, Call call) {
        step_.Enter(HostRule::FunctionsReturn, function, path);
        // As for the library, only the low 32 bits count.
        const QBFResult code = static_cast<std::uint32_t>(call());
        if (code > kLargestCode) {
            Report(HostRule::ResultCodes, path, std::string(function) + " answers " + Hex(code));
        }
        return code;
    }

    /// A host that answers one of the codes that count as successes has meant a failure.
    static bool IsMeantAsFailure(QBFResult code) { return code >= QBF_E_FAILED; }

    /// Calls a function that has no reason to fail.
    template <class Call>
    bool Succeeds(const char* function, const std::string& path, Call call) {
        const QBFResult code = Ask(function, path, call);
        if (IsMeantAsFailure(code) && code <= kLargestCode) {
            Report(HostRule::FunctionsSucceed, path, std::string(function) + " answers " + Hex(code));
        }
        return !IsMeantAsFailure(code);
    }

    /// Tries the list in which the XML reader collects the texts of an array.
    void CheckTextList() {
        static ListRoom room;
        std::memset(&room, kCanary, sizeof room);
        std::memset(room.list, 0, sizeof room.list);
        auto* const list = reinterpret_cast<CList*>(room.list);
        ExpectItems(list, {}, "a list that is all zero");
        Ask("CList_Construct", {}, [=] { return CList_Construct(list); });
        ExpectItems(list, {}, "a list that has been constructed");

        int texts[3] = {};
        std::vector<void*> pushed;
        for (int& text : texts) {
            if (!Succeeds("CList_PushTail", {}, [&] { return CList_PushTail(list, &text); })) {
                return;
            }
            pushed.push_back(&text);
            ExpectItems(list, pushed, "a list of " + std::to_string(pushed.size()));
        }
        Ask("CList_Destruct", {}, [=] { return CList_Destruct(list); });
        ExpectItems(list, {}, "a list that has been destructed");
        Ask("CList_Destruct", {}, [=] { return CList_Destruct(list); });
        if (!IsCanary(room.before) || !IsCanary(room.after)) {
            Report(HostRule::TextListRoom, {}, "the memory beside the list has been written to");
        }
    }

    static constexpr unsigned char kCanary = 0xC5;

    template <std::size_t Size>
    static bool IsCanary(const unsigned char (&bytes)[Size]) {
        return std::all_of(bytes, bytes + Size, [](unsigned char byte) { return byte == kCanary; });
    }

    void ExpectItems(CList* list, const std::vector<void*>& expected, const std::string& what) {
        HostIterator iterator = nullptr;
        QBFResult code =
            Ask("CList_StartIterationFromHead", {}, [&] { return CList_StartIterationFromHead(list, &iterator); });
        std::vector<void*> items;
        while (!IsMeantAsFailure(code) && code != QBF_W_END_OF_LIST && items.size() <= expected.size()) {
            void* item = nullptr;
            code = Ask("CList_GetNext", {}, [&] { return CList_GetNext(list, &item, &iterator); });
            items.push_back(item);
        }
        const bool isEmpty = expected.empty() && items.empty() && code == QBF_E_NO_NAME;
        if (items != expected || (code != QBF_W_END_OF_LIST && !isEmpty)) {
            Report(HostRule::TextListContents, {},
                   what + " hands out " + std::to_string(items.size()) + " items, the last answer is " + Hex(code));
        }
    }

    void CheckDatabase() {
        if (database_ == nullptr) {
            Report(HostRule::RegionList, {}, "the database is null");
            return;
        }
        for (void* region : ElementsOf(database_, database_, HostRule::RegionList, {})) {
            CheckRegion(static_cast<CStorageRegion*>(region));
        }
        CheckThatNamesStay();
        CheckPaths();
        CheckDefaultsAndMarks();
    }

    /// @param owner  The database or region that the list belongs to.
    /// @return the elements of a list that is whole, none of any other.
    std::vector<void*> ElementsOf(const void* sentinelAddress, const void* owner, HostRule rule,
                                  const std::string& path) {
        step_.Enter(rule, "reading the list", path);
        const auto* const sentinel = static_cast<const HostListNode*>(sentinelAddress);
        std::set<const HostListNode*> nodes;
        std::vector<void*> elements;
        for (const HostListNode* node = sentinel->next; node != sentinel; node = node->next) {
            const char* const problem = ProblemOfNode(node, owner, nodes.insert(node).second);
            if (problem != nullptr) {
                Report(rule, path, std::string(problem) + " after " + std::to_string(elements.size()) + " nodes");
                return {};
            }
            elements.push_back(node->element);
        }
        if (std::count(elements.begin(), elements.end(), nullptr) != 0) {
            Report(rule, path, "a node has no element");
            return {};
        }
        return elements;
    }

    static const char* ProblemOfNode(const HostListNode* node, const void* owner, bool isNew) {
        if (node == nullptr) {
            return "a null pointer stands where the next node should,";
        }
        if (node == owner) {
            return "the list comes back to the first word of its owner, which is not the sentinel,";
        }
        return isNew ? nullptr : "the list goes in a circle without its sentinel";
    }

    void CheckRegion(CStorageRegion* region) {
        const std::string path = NameOf("CStorageRegion_GetName", {}, kLongestRegionName,
                                        [=](char** name) { return CStorageRegion_GetName(region, name); });
        void* const* const words = reinterpret_cast<void* const*>(region);
        for (void* object : ElementsOf(words + 1, region, HostRule::ObjectList, path)) {
            securePath_ = path + '/';
            CheckObject(static_cast<CStorageObject*>(object), path + '/');
        }
    }

    static constexpr std::size_t kLongestRegionName = 39;
    static constexpr std::size_t kLongestOtherName = 119;
    static constexpr std::size_t kLongestPath = 510;

    /// @return the name, or a question mark when it cannot be had.
    template <class GetName>
    std::string NameOf(const char* function, const std::string& prefix, std::size_t longest, GetName getName) {
        char* name = nullptr;
        if (!Succeeds(function, prefix + '?', [&] { return getName(&name); })) {
            return "?";
        }
        if (name == nullptr) {
            Report(HostRule::Names, prefix + '?', std::string(function) + " hands out a null pointer");
            return "?";
        }
        step_.Enter(HostRule::Names, "reading the name", prefix + '?');
        std::string text(name, strnlen(name, kLongestName));
        if (text.size() == kLongestName) {
            Report(HostRule::Names, prefix + '?', "no NUL within " + std::to_string(kLongestName) + " characters");
        } else if (text.size() > longest) {
            Report(HostRule::NamesFit, prefix + text, "a name of " + std::to_string(text.size()) + " characters");
        }
        names_.push_back({name, text, prefix + text});
        return text;
    }

    /// @param prefix  What stands before the object's name in its path.
    void CheckObject(CStorageObject* object, const std::string& prefix) {
        const std::string name = NameOf("CStorageObject_GetName", prefix, kLongestOtherName,
                                        [=](char** out) { return CStorageObject_GetName(object, out); });
        const std::string path = prefix + name;
        if (std::find(holders_.begin(), holders_.end(), object) != holders_.end()) {
            Report(HostRule::Nesting, path, "the object is inside itself");
            return;
        }
        if (holders_.size() == kDeepestNesting) {
            Report(HostRule::Nesting, path, "this is the sixth object inside one another");
        }
        holders_.push_back(object);
        // As the secure provider does: it appends the name of every object that it enters, and never takes one off.
        securePath_ += name + '/';
        step_.Enter(HostRule::FunctionsReturn, "CStorageObject_IsWritable", path);
        const bool wasWritable = std::exchange(isWritable_, isWritable_ && CStorageObject_IsWritable(object) != 0);
        for (CVariable* variable : VariablesOf(object, path)) {
            CheckVariable(variable, path + '/');
        }
        isWritable_ = wasWritable;
        holders_.pop_back();
    }

    std::vector<CVariable*> VariablesOf(CStorageObject* object, const std::string& path) {
        std::vector<CVariable*> first;
        std::vector<CVariable*> second;
        if (!Iterate(object, path, first) || !Iterate(object, path, second)) {
            return {};
        }
        if (first != second) {
            Report(HostRule::Iterations, path, "the second iteration hands out other variables than the first");
            return {};
        }
        return first;
    }

    /// @return whether the iteration went as it should.
    bool Iterate(CStorageObject* object, const std::string& path, std::vector<CVariable*>& variables) {
        HostIterator iterator = nullptr;
        QBFResult code = Ask("CStorageObject_GetVariableIterator", path,
                             [&] { return CStorageObject_GetVariableIterator(object, &iterator); });
        std::set<CVariable*> seen;
        while (!IsMeantAsFailure(code) && code != QBF_W_END_OF_VARIABLES) {
            CVariable* variable = nullptr;
            code = Ask("CStorageObject_GetNextVariable", path,
                       [&] { return CStorageObject_GetNextVariable(object, &variable, &iterator); });
            const char* problem = nullptr;
            if (IsMeantAsFailure(code)) {
                break;
            }
            if (variable == nullptr) {
                problem = "no variable comes";
            } else if (!seen.insert(variable).second) {
                problem = "a variable comes for the second time";
            } else if (seen.size() > options_.variables) {
                problem = "there is no end";
            }
            if (problem != nullptr) {
                Report(HostRule::Iterations, path,
                       std::string(problem) + " after " + std::to_string(variables.size()) + ", with " + Hex(code));
                return false;
            }
            variables.push_back(variable);
        }
        if (IsMeantAsFailure(code)) {
            Report(HostRule::Iterations, path,
                   Hex(code) + " is answered after " + std::to_string(variables.size()) + " variables");
        }
        return !IsMeantAsFailure(code);
    }

    void CheckVariable(CVariable* variable, const std::string& prefix) {
        const std::string name = NameOf("CVariable_GetName", prefix, kLongestOtherName,
                                        [=](char** out) { return CVariable_GetName(variable, out); });
        const std::string path = prefix + name;
        if (!pathsSeen_.insert(path).second) {
            Report(HostRule::PathsUnique, path, "the path comes for the second time");
        }
        variables_.push_back({variable, path});
        step_.Enter(HostRule::FunctionsReturn, "CVariable_GetType", path);
        const VariableType type = CVariable_GetType(variable);
        if (type > VARIABLE_TYPE_OBJECT_ARRAY) {
            Report(HostRule::Types, path, "type code " + std::to_string(type));
            return;
        }
        step_.Enter(HostRule::FunctionsReturn, "CVariable_GetNoOfElements", path);
        const std::uint32_t elementCount = CVariable_GetNoOfElements(variable);
        step_.Enter(HostRule::FunctionsReturn, "CVariable_GetSizeInBytes", path);
        const std::uint32_t sizeInBytes = CVariable_GetSizeInBytes(variable);
        // What has no elements needs no content.
        void* content = nullptr;
        if (!HandsOutContent(variable, path, type == VARIABLE_TYPE_OBJECT || sizeInBytes != 0, &content)) {
            return;
        }
        if (type == VARIABLE_TYPE_OBJECT) {
            CheckObject(static_cast<CStorageObject*>(content), prefix);
        } else if (!HasSize(type, elementCount, sizeInBytes, path) || !IsAligned(content, type, path)) {
            return;
        } else if (type == VARIABLE_TYPE_OBJECT_ARRAY) {
            CheckElements(content, elementCount, path, prefix);
        } else {
            CheckSecurePath(path, name);
            CheckValue(
                {variable, path, type == VARIABLE_TYPE_STRING, static_cast<unsigned char*>(content), sizeInBytes});
        }
    }

    bool HandsOutContent(CVariable* variable, const std::string& path, bool isNeeded, void** content) {
        void* again = nullptr;
        for (void** address : {content, &again}) {
            if (!Succeeds("CVariable_GetContentAddress", path,
                          [=] { return CVariable_GetContentAddress(variable, address); })) {
                return false;
            }
        }
        if (*content == nullptr && isNeeded) {
            Report(HostRule::Contents, path, "the content address is null");
            return false;
        }
        if (*content != again) {
            Report(HostRule::Contents, path, "the second content address is another one than the first");
            return false;
        }
        return true;
    }

    static std::size_t WidthOf(VariableType type) {
        constexpr std::size_t kWidths[] = {
            1, 1, 2, 2, 4, 4, 1, 1, 2, 2, 4, 4, 4, 4, 1, 1, 1, 4, 4, 8, 8, 0, sizeof(void*)};
        static_assert(sizeof kWidths / sizeof *kWidths == VARIABLE_TYPE_OBJECT_ARRAY + 1);
        return kWidths[type];
    }

    /// Up to FLOAT and DOUBLE, scalars have even codes and their arrays the next odd ones; STRING makes it the reverse.
    static bool IsScalar(VariableType type) {
        return type < VARIABLE_TYPE_STRING ? type % 2 == 0
                                           : type == VARIABLE_TYPE_FLOAT || type == VARIABLE_TYPE_DOUBLE;
    }

    bool HasSize(VariableType type, std::uint32_t elementCount, std::uint32_t sizeInBytes, const std::string& path) {
        const std::uint64_t elements = IsScalar(type) ? 1 : elementCount;
        if (sizeInBytes == elements * WidthOf(type)) {
            return true;
        }
        Report(HostRule::Sizes, path,
               std::to_string(sizeInBytes) + " bytes for " + std::to_string(elements) + " x " +
                   std::to_string(WidthOf(type)));
        return false;
    }

    bool IsAligned(const void* content, VariableType type, const std::string& path) {
        if (reinterpret_cast<std::uintptr_t>(content) % std::min(WidthOf(type), alignof(double)) == 0) {
            return true;
        }
        Report(HostRule::Contents, path, "the content is not aligned to " + std::to_string(WidthOf(type)) + " bytes");
        return false;
    }

    void CheckElements(void* content, std::uint32_t elementCount, const std::string& path, const std::string& prefix) {
        step_.Enter(HostRule::Contents, "reading the pointers to objects", path);
        std::vector<CStorageObject*> elements(elementCount);
        std::copy_n(static_cast<CStorageObject**>(content), elementCount, elements.begin());
        secureBase_ = securePath_;
        for (CStorageObject* element : elements) {
            if (element == nullptr) {
                Report(HostRule::Contents, path, "a pointer to an object is null");
                continue;
            }
            // One base for the whole walk, so that an array inside an element takes it from the outer one.
            securePath_ = secureBase_;
            CheckObject(element, prefix);
        }
    }

    void CheckSecurePath(const std::string& path, const std::string& name) {
        if (path.size() > kLongestPath) {
            Report(HostRule::NamesFit, path, "a path of " + std::to_string(path.size()) + " characters");
        }
        if (isWritable_ && securePath_ + name != path) {
            Report(HostRule::NestedLast, path, "secure files have it as " + securePath_ + name);
        }
    }

    void CheckValue(Value value) {
        step_.Enter(HostRule::Contents, "reading the content", value.path);
        value.before = BytesOf(value);
        step_.Enter(HostRule::Contents, "writing the content", value.path);
        volatile unsigned char* const content = value.content;
        for (std::size_t i = 0; i < value.sizeInBytes; ++i) {
            content[i] = value.before[i];
        }
        if (value.isString && std::count(value.before.begin(), value.before.end(), 0) == 0) {
            Report(HostRule::StringsEnd, value.path, "no NUL within " + std::to_string(value.sizeInBytes) + " bytes");
        }
        values_.push_back(std::move(value));
    }

    void CheckThatNamesStay() {
        for (const NameSeen& name : names_) {
            step_.Enter(HostRule::Names, "reading the name again", name.path);
            if (name.text.compare(0, std::string::npos, name.address, strnlen(name.address, kLongestName)) != 0) {
                Report(HostRule::Names, name.path, "the name has become another text");
            }
        }
    }

    void CheckPaths() {
        Succeeds("CDatabase_UpdatePathHashTable", {}, [=] { return CDatabase_UpdatePathHashTable(database_); });
        for (const VariableSeen& seen : variables_) {
            CVariable* found = nullptr;
            const QBFResult code = LookUp(seen.path, &found);
            if (!IsMeantAsFailure(code) && found != seen.variable && NamesOneOnly(seen.path)) {
                Report(HostRule::PathsFound, seen.path, "another variable is found");
            }
        }
        // Objects are not looked up by any provider, so a table may leave them out.
        for (const Value& value : values_) {
            CVariable* found = nullptr;
            const QBFResult code = LookUp(value.path, &found);
            if (IsMeantAsFailure(code)) {
                Report(HostRule::PathsFound, value.path, "CDatabase_GetVariableByPath answers " + Hex(code));
            }
        }
        CVariable* found = nullptr;
        const std::string unknown = "check-host/has/no such variable";
        if (!IsMeantAsFailure(LookUp(unknown, &found))) {
            Report(HostRule::UnknownPaths, unknown, "a success is answered");
        }
    }

    [[nodiscard]] bool NamesOneOnly(const std::string& path) const {
        return std::count_if(variables_.begin(), variables_.end(),
                             [&](const VariableSeen& seen) { return seen.path == path; }) == 1;
    }

    QBFResult LookUp(const std::string& path, CVariable** variable) {
        return Ask("CDatabase_GetVariableByPath", path,
                   [&] { return CDatabase_GetVariableByPath(database_, path.c_str(), variable); });
    }

    /// Fills the values twice, each time with something else: what is a default is the same both times.
    void CheckDefaultsAndMarks() {
        FillValues(0x5A);
        const bool isFirstDone = ClearMarks() && SetDefaults();
        for (Value& value : values_) {
            value.defaultBytes = BytesOf(value);
        }
        FillValues(0x25);
        if (isFirstDone && ClearMarks() && SetDefaults() &&
            HoldDefaults(HostRule::Defaults, "what was there before is still there")) {
            CheckMarks();
        }
        for (const Value& value : values_) {
            std::copy(value.before.begin(), value.before.end(), value.content);
        }
    }

    void CheckMarks() {
        FillValues(0x5A);
        for (const Value& value : values_) {
            Succeeds("CVariable_SetRetrieved", value.path, [&] { return CVariable_SetRetrieved(value.variable, 1); });
        }
        SetDefaults();
        for (const Value& value : values_) {
            if (!IsFilled(value, 0x5A)) {
                Report(HostRule::Marks, value.path, "the default is given although the variable has its mark");
            }
        }
        ClearMarks();
        SetDefaults();
        HoldDefaults(HostRule::Marks, "the mark is still there after CDatabase_SetAsNotRetrieved");
    }

    bool HoldDefaults(HostRule rule, const char* otherwise) {
        bool isWhole = true;
        for (const Value& value : values_) {
            if (BytesOf(value) != value.defaultBytes) {
                Report(rule, value.path, otherwise);
                isWhole = false;
            }
        }
        return isWhole;
    }

    bool ClearMarks() {
        return Succeeds("CDatabase_SetAsNotRetrieved", {}, [=] { return CDatabase_SetAsNotRetrieved(database_); });
    }

    bool SetDefaults() {
        return Succeeds("CDatabase_SetNotRetrievedVariablesToDefault", {},
                        [=] { return CDatabase_SetNotRetrievedVariablesToDefault(database_); });
    }

    /// A string keeps its NUL.
    static std::size_t FilledSize(const Value& value) {
        return value.isString && value.sizeInBytes != 0 ? value.sizeInBytes - 1 : value.sizeInBytes;
    }

    static bool IsFilled(const Value& value, unsigned char byte) {
        const unsigned char* const end = value.content + FilledSize(value);
        return std::all_of(static_cast<const unsigned char*>(value.content), end,
                           [byte](unsigned char other) { return other == byte; }) &&
               std::all_of(end, static_cast<const unsigned char*>(value.content) + value.sizeInBytes,
                           [](unsigned char other) { return other == 0; });
    }

    void FillValues(unsigned char byte) {
        for (const Value& value : values_) {
            std::fill_n(value.content, FilledSize(value), byte);
            std::fill(value.content + FilledSize(value), value.content + value.sizeInBytes,
                      static_cast<unsigned char>(0));
        }
    }

    static std::vector<unsigned char> BytesOf(const Value& value) {
        return {value.content, value.content + value.sizeInBytes};
    }

    CDatabase* database_;
    HostCheckOptions options_;
    HostCheckStep& step_;
    HostReport report_;
    std::size_t findings_ = 0;
    std::vector<NameSeen> names_;
    std::vector<VariableSeen> variables_;
    std::vector<Value> values_;
    std::set<std::string> pathsSeen_;
    std::vector<CStorageObject*> holders_;  ///< The objects that the walk is inside of.
    bool isWritable_ = true;                ///< Every one of them.
    std::string securePath_;
    std::string secureBase_;
};

[[noreturn]] inline void ThrowErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Where the child process is, in memory that both see.
class SharedStep {
public:
    SharedStep()
        : memory_(mmap(nullptr, sizeof(HostCheckStep), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        if (memory_ == MAP_FAILED) {
            ThrowErrno("mmap");
        }
    }
    SharedStep(const SharedStep&) = delete;
    SharedStep& operator=(const SharedStep&) = delete;
    ~SharedStep() { munmap(memory_, sizeof(HostCheckStep)); }

    [[nodiscard]] HostCheckStep& Get() const { return *static_cast<HostCheckStep*>(memory_); }

private:
    void* memory_;
};

class FindingsPipe {
public:
    FindingsPipe() {
        if (pipe(ends_) != 0) {
            ThrowErrno("pipe");
        }
    }
    FindingsPipe(const FindingsPipe&) = delete;
    FindingsPipe& operator=(const FindingsPipe&) = delete;
    ~FindingsPipe() {
        close(ends_[0]);
        CloseForWriting();
    }

    void CloseForWriting() {
        if (ends_[1] >= 0) {
            close(std::exchange(ends_[1], -1));
        }
    }

    /// One finding: the rule's byte, then both texts with their NULs.
    void Write(const HostFinding& finding) const {
        std::string bytes(1, static_cast<char>(finding.rule));
        bytes.append(finding.path, 0, finding.path.find('\0')).append(1, '\0');
        bytes.append(finding.seen, 0, finding.seen.find('\0')).append(1, '\0');
        for (std::size_t done = 0; done < bytes.size();) {
            const ssize_t written = write(ends_[1], bytes.data() + done, bytes.size() - done);
            if (written <= 0) {
                return;
            }
            done += static_cast<std::size_t>(written);
        }
    }

    /// @return the findings that were written until everyone had closed the pipe for writing.
    [[nodiscard]] std::vector<HostFinding> ReadAll() const {
        std::string bytes;
        char piece[4096];
        for (ssize_t length = 0; (length = read(ends_[0], piece, sizeof piece)) != 0;) {
            if (length > 0) {
                bytes.append(piece, static_cast<std::size_t>(length));
            } else if (errno != EINTR) {
                ThrowErrno("read");
            }
        }
        std::vector<HostFinding> findings;
        for (std::size_t at = 0; at < bytes.size();) {
            const std::string path = bytes.c_str() + at + 1;
            const std::string seen = bytes.c_str() + at + 1 + path.size() + 1;
            findings.push_back({static_cast<HostRule>(bytes[at]), path, seen});
            at += 1 + path.size() + 1 + seen.size() + 1;
        }
        return findings;
    }

private:
    int ends_[2] = {-1, -1};
};

/// Whatever the process does about its own crashes must not happen in the child.
inline void DieQuietly(unsigned seconds) {
    for (const int number : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGALRM}) {
        std::signal(number, SIG_DFL);
    }
    sigset_t all;
    sigemptyset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    alarm(seconds);
}

inline std::string HowItEnded(int status, const HostCheckStep& step, unsigned seconds) {
    const std::string doing = step.doing;
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) {
        return doing + ": still there after " + std::to_string(seconds) + " s";
    }
    if (WIFSIGNALED(status)) {
        return doing + ": ended by signal " + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) +
               ")";
    }
    return doing + ": the process ended with status " + std::to_string(WEXITSTATUS(status));
}

inline int WaitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            ThrowErrno("waitpid");
        }
    }
    return status;
}

inline const HostRuleRow& RowOf(HostRule rule) {
    return kHostRules[static_cast<std::size_t>(rule)];
}

}  // namespace detail

inline const char* RuleName(HostRule rule) {
    return detail::RowOf(rule).name;
}

inline const char* RuleText(HostRule rule) {
    return detail::RowOf(rule).text;
}

inline std::string ToText(const HostFinding& finding) {
    return (finding.path.empty() ? "the database" : finding.path) + ": " + RuleName(finding.rule) + ": " +
           finding.seen + ". " + RuleText(finding.rule);
}

inline std::vector<HostFinding> CheckHost(CDatabase* database, const HostCheckOptions& options) {
    std::vector<HostFinding> findings;
    if (options.inThisProcess) {
        detail::HostCheckStep step = {};
        detail::HostChecker(database, options, step, [&](const HostFinding& finding) {
            findings.push_back(finding);
        }).Run();
        return findings;
    }
    const detail::SharedStep shared;
    detail::HostCheckStep& step = shared.Get();
    detail::FindingsPipe pipe;
    const pid_t child = fork();
    if (child < 0) {
        detail::ThrowErrno("fork");
    }
    if (child == 0) {
        detail::DieQuietly(options.seconds);
        detail::HostChecker(database, options, step, [&](const HostFinding& finding) { pipe.Write(finding); }).Run();
        _exit(0);
    }
    pipe.CloseForWriting();
    findings = pipe.ReadAll();
    const int status = detail::WaitFor(child);
    if (!step.isFinished) {
        findings.push_back({step.rule, step.path, detail::HowItEnded(status, step, options.seconds)});
    }
    return findings;
}

}  // namespace tal

#endif
