#include "commands/SurveyOutputs.h"

#include "files/InputError.h"
#include "files/Outputs.h"

namespace tal::talstore {

void RequireOutputs(const SurveyOptions& options) {
    std::vector<std::string> read = {options.common.layout, options.before, options.accepted, options.files.listName};
    if (options.merges) {
        read.insert(read.end(), options.files.paths.begin(), options.files.paths.end());
    }
    if (!options.page.empty()) {
        RequireReplaceable(options.page, kHtmlPage, read);
    }
    if (!options.database.empty()) {
        RequireRegularFile(options.database);
        RequireReplaceable(options.database, kSqliteDatabase, read);
    }
    if (AreSameFile(options.page, options.database)) {
        RefuseFile(options.database, "is named for another output, too");
    }
}

SurveyOutputs::SurveyOutputs(const SurveyOptions& options, std::ostream& standardOutput) {
    if (!options.database.empty()) {
        database_.emplace(options.database);
    }
    if (!options.page.empty()) {
        page_.emplace(options.page, standardOutput);
    }
}

void SurveyOutputs::Add(const UnitReport& unit, const SurveyTotals& totals) {
    Have(database_, [&](SurveyDatabase& database) { database.Add(unit); });
    Have(page_, [&](SurveyPage& page) { page.Add(unit, totals); });
}

void SurveyOutputs::PutInPlace(const SurveyFrame& frame, const SurveyTotals& totals) {
    Have(database_, [&](SurveyDatabase& database) { database.PutInPlace(); });
    Have(page_, [&](SurveyPage& page) { page.PutInPlace(frame, totals); });
}

template <class Output, class Use>
void SurveyOutputs::Have(std::optional<Output>& output, const Use& use) {
    if (!output) {
        return;
    }
    try {
        use(*output);
    } catch (const InputError& error) {
        problems_.emplace_back(error.what());
        output.reset();
    }
}

}  // namespace tal::talstore
