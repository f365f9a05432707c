#include "board/DocumentValues.h"

#include <set>

#include "board/LayoutFromXml.h"

namespace tal::talstore {

namespace {

/// Room for more than the texts themselves, so that what comes back in their place shows.
constexpr std::uint32_t kStringCapacity = 64;

}  // namespace

DocumentValues ReadDocumentValues(const StorageFile& file, const StoredContents& contents, Reported reported) {
    const ProviderSession session(ProviderOf(Format::Xml), 0, 0, file.name);
    DocumentValues values;
    LayoutWishes wishes;
    wishes.stringCapacity = kStringCapacity;
    std::vector<Finding> notOfInterest;
    for (;;) {
        values.layout = DeriveLayout(contents, wishes, notOfInterest);
        values.report = reported == Reported::Items ? RestoreItems(session, file, contents, *values.layout)
                                                    : Restore(session, file, contents, *values.layout);
        const std::size_t leftOutBefore = wishes.leftOut.size();
        for (const std::size_t index : contents.handedOn) {
            if (values.report.items[index].fate == Fate::Refused && wishes.leftOut.insert(index).second) {
                values.refused[index] = values.report.items[index].reason;
            }
        }
        if (wishes.leftOut.size() == leftOutBefore) {
            return values;
        }
    }
}

}  // namespace tal::talstore
