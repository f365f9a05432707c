#include <nlohmann/json.hpp>

#include "Commands.h"
#include "DatabaseDescription.h"
#include "DocumentValues.h"
#include "InspectXml.h"
#include "LayoutFromXml.h"
#include "Report.h"

namespace tal::talstore {

int Layout(const LayoutOptions& options, const Console& console) {
    const StorageFile file = LoadStorageFile(options.file, Format::Xml, false);
    const StoredContents contents = InspectXml(file.bytes);
    LayoutWishes wishes;
    wishes.stringCapacity = options.stringCapacity;
    DocumentValues values;
    if (options.withDefaults) {
        values = ReadDocumentValues(file, contents);
        wishes.values = values.layout.get();
    }
    std::vector<Finding> findings;
    const nlohmann::ordered_json layout = DeriveLayout(contents, wishes, findings);
    // Whatever is handed out can be used.
    static_cast<void>(host::LoadDatabase(layout));
    WriteWholeFile(options.output, layout.dump(2) + '\n', console.out);

    if (!contents.isWhole) {
        findings.insert(findings.end(), contents.findings.begin(), contents.findings.end());
    }
    TellFindings(console, file.name, findings, Severity::Note);
    return HasProblem(findings) ? kProblems : kFine;
}

}  // namespace tal::talstore
