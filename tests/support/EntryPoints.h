/// The entry points of all providers, for tests of what all of them do.
#ifndef TAL_TEST_ENTRY_POINTS_H
#define TAL_TEST_ENTRY_POINTS_H

#include <ostream>

#include "Device/DeviceSupport/DeviceSupport.h"

namespace tal::test {

struct EntryPoint {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider** out);
};

inline void PrintTo(const EntryPoint& entryPoint, std::ostream* stream) {
    *stream << entryPoint.name;
}

/// The XML base has no file names of its own, but those of the configuration before it.
constexpr EntryPoint kEntryPoints[] = {{"Xml", CXmlFileStorageProvider_GetInterface},
                                       {"XmlBase", CXmlFileStorageProviderBase_GetInterface},
                                       {"ReadOnlyXml", CReadOnlyXmlFileStorageProvider_GetInterface},
                                       {"Binary", CBinaryFileStorageProvider_GetInterface},
                                       {"Secure", CSecureBinaryFileStorageProvider_GetInterface},
                                       {"Board", ReadOnlyZorBspStorageProvider_getInterface},
                                       {"Dummy", CDummyStorageProvider_GetInterface}};

}  // namespace tal::test

#endif
