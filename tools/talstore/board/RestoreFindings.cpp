#include "board/RestoreFindings.h"

#include <algorithm>

#include "TypeTable.h"
#include "board/Value.h"
#include "common/Text.h"

namespace tal::talstore {

using tools::EndsInsideCharacter;

namespace {

void CheckText(const StoredItem& item, const host::Variable& variable, std::vector<Finding>& findings) {
    // What a document holds is read up to the capacity, and always ends with a NUL.
    const std::string_view bytes = item.bytes.empty() ? BytesOf(variable) : item.bytes;
    const std::size_t end = bytes.find('\0');
    if (end == std::string_view::npos && !bytes.empty()) {
        findings.push_back({Severity::Warning, "string.no-nul", item.place, item.path,
                            "the text has no NUL: a document that is stored from it goes on with what lies after it"});
    }
    if (EndsInsideCharacter(bytes.substr(0, end))) {
        findings.push_back({Severity::Warning, "string.cut", item.place, item.path,
                            "the text ends inside a character: no board could read a document with it"});
    }
}

bool IsArray(const host::Variable& variable) {
    const host::TypeInfo* const type = host::FindType(variable.Type());
    return type != nullptr && type->isArray && type->kind != host::TypeKind::Object;
}

}  // namespace

std::optional<Finding> FindNothingRestored(const StoredContents& contents, const RestoreReport& report) {
    const bool isAnythingFound = std::any_of(report.items.begin(), report.items.end(),
                                             [](const ItemReport& item) { return item.fate != Fate::Ignored; });
    const bool isAnythingExpected = std::any_of(report.variables.begin(), report.variables.end(),
                                                [](const VariableReport& variable) { return variable.isStored; });
    const bool isRead = contents.isWhole && report.failure.empty();
    if (isAnythingFound || !isAnythingExpected || !isRead) {
        return std::nullopt;
    }
    return Finding{Severity::Error, "nothing-found", {}, {}, "nothing in it belongs to this layout"};
}

std::string DamageOf(const StoredContents& contents, const RestoreReport& report) {
    if (!report.failure.empty()) {
        return report.failure;
    }
    if (contents.isWhole) {
        return {};
    }
    const auto error = std::find_if(contents.findings.begin(), contents.findings.end(),
                                    [](const Finding& finding) { return finding.severity == Severity::Error; });
    return error == contents.findings.end() ? "a reader stops before its end" : error->message;
}

std::vector<Finding> FindInValues(const StoredContents& contents, const RestoreReport& report) {
    std::vector<Finding> findings;
    std::size_t lostArray = kNone;
    for (const std::size_t index : contents.handedOn) {
        const StoredItem& item = contents.items[index];
        const host::Variable* const variable = report.items[index].variable;
        if (variable != nullptr && variable->Type() == VARIABLE_TYPE_STRING) {
            CheckText(item, *variable, findings);
        }
        if (variable != nullptr && IsArray(*variable) && !item.isArray && lostArray != kNone) {
            findings.push_back({Severity::Warning, "xml.foreign-elements", item.place, item.path,
                                "it has no elements of its own and takes those of " +
                                    std::string(contents.items[lostArray].path) + ", which the layout does not have"});
        }
        // Elements stay until a variable that is registered has been there, or the next array begins.
        if (item.isArray || variable != nullptr) {
            lostArray = variable == nullptr && !item.holdsObjects ? index : kNone;
        }
    }
    return findings;
}

}  // namespace tal::talstore
