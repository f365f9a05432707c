#include "board/Losses.h"

#include "board/Value.h"

namespace tal::talstore {

namespace {

std::vector<Loss> LossesOfWriting(const host::Database& stored, const RestoreReport& restored,
                                  IsOfInterest isOfInterest) {
    std::vector<Loss> losses;
    std::size_t index = 0;
    VisitVariables(stored, [&](host::Variable& was, bool /*isWritable*/) {
        const VariableReport& report = restored.variables[index++];
        const host::Variable& is = *report.variable;
        if (!isOfInterest(was, report)) {
            return;
        }
        if (!is.Retrieved()) {
            losses.push_back({"lost", was.Path(), ValueText(was) + ": " + report.reason});
        } else if (!IsSameValue(was.Type(), BytesOf(was), BytesOf(is))) {
            losses.push_back({"altered", was.Path(), ValueText(was) + " becomes " + ValueText(is)});
        }
    });
    return losses;
}

/// The texts that make a document unreadable.
std::vector<Loss> UnwritableTexts(const host::Database& stored) {
    std::vector<Loss> losses;
    VisitVariables(stored, [&](host::Variable& variable, bool isWritable) {
        const bool isText = variable.Type() == VARIABLE_TYPE_STRING && isWritable;
        if (isText && variable.Text().find_first_of("<&") != std::string::npos) {
            losses.push_back(
                {"unwritable", variable.Path(), ValueText(variable) + ": a document cannot hold '<' or '&'"});
        }
    });
    return losses;
}

}  // namespace

std::vector<Loss> LossesOfReading(const StoredContents& contents, const RestoreReport& report, bool isDamaged) {
    std::vector<Loss> losses;
    for (const VariableReport& variable : report.variables) {
        const bool isOfFile = isDamaged || variable.item != kNone || variable.outcome == Outcome::Left;
        if (isOfFile && !IsAsExpected(variable.outcome)) {
            losses.push_back({NameOf(variable.outcome), variable.variable->Path(), variable.reason});
        }
    }
    for (const std::size_t index : report.LostItems()) {
        losses.push_back({kIgnored, contents.items[index].path, report.items[index].reason});
    }
    return losses;
}

ReadBack ReadBackFrom(const ProviderSession& session, const StorageFile& file, const host::Database& stored,
                      host::Database& layout, IsOfInterest isOfInterest) {
    ReadBack readBack;
    const StoredContents contents = Inspect(file, &layout);
    readBack.report = Restore(session, file, contents, layout);
    readBack.losses =
        readBack.IsReadable() ? LossesOfWriting(stored, readBack.report, isOfInterest) : UnwritableTexts(stored);
    return readBack;
}

}  // namespace tal::talstore
