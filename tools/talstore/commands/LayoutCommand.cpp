#include <nlohmann/json.hpp>

#include "DatabaseDescription.h"
#include "board/DescribeLayout.h"
#include "board/DocumentValues.h"
#include "board/LayoutFromXml.h"
#include "commands/Commands.h"
#include "commands/Report.h"
#include "files/InputError.h"
#include "files/WholeFile.h"
#include "formats/InspectXml.h"

namespace tal::talstore {

int Layout(const LayoutOptions& options, const Console& console) {
    const StorageFile file = LoadStorageFile(options.file, Format::Xml, false);
    if (RecogniseFormat(file.bytes, file.name) == Format::Secure) {
        throw InputError(file.name + ": a secure binary file holds no types; only an XML document makes a description");
    }
    const StoredContents contents = InspectXml(file.bytes);
    LayoutWishes wishes;
    wishes.stringCapacity = options.stringCapacity;
    DocumentValues values;
    if (options.withDefaults) {
        values = ReadDocumentValues(file, contents);
    }
    std::vector<Finding> findings;
    // The reader may cut a text inside a character, of which JSON can hold no part.
    const std::string layout = DescribeLayout(*DeriveLayout(contents, wishes, findings), values.layout.get())
                                   .dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::ignore);
    // Whatever is handed out can be used.
    static_cast<void>(host::LoadDatabaseFromText(layout));
    WriteWholeFile(options.output, layout + '\n', console.out);

    if (!contents.isWhole) {
        findings.insert(findings.end(), contents.findings.begin(), contents.findings.end());
    }
    TellFindings(console, file.name, findings, Severity::Note);
    return HasProblem(findings) ? kProblems : kFine;
}

}  // namespace tal::talstore
