/// The three file providers behind one shape, for tests of what all of them do.
#ifndef TAL_TEST_FILE_PROVIDERS_H
#define TAL_TEST_FILE_PROVIDERS_H

#include <ostream>

#include "Device/DeviceSupport/DeviceSupport.h"

namespace tal::test {

struct FileProvider {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider** out);
    void (*useFile)(const char* fileName);  ///< Names the file of location 0.

    /// @return the table of the provider, which is initialised and uses `fileName` for location 0.
    [[nodiscard]] IStorageProvider* Prepare(const char* fileName) const {
        IStorageProvider* table = nullptr;
        getInterface(&table);
        table->Initialize(0);
        useFile(fileName);
        return table;
    }
};

inline void PrintTo(const FileProvider& provider, std::ostream* stream) {
    *stream << provider.name;
}

constexpr FileProvider kXmlFiles = {"Xml", CXmlFileStorageProvider_GetInterface, [](const char* fileName) {
                                        CXmlFileStorageProviderBase_SetStorageFilenames(
                                            fileName, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
                                    }};
constexpr FileProvider kBinaryFiles = {"Binary", CBinaryFileStorageProvider_GetInterface, [](const char* fileName) {
                                           CBinaryFileStorageProvider_SetStorageFilenames(fileName, "", "");
                                       }};
constexpr FileProvider kSecureFiles = {
    "Secure", CSecureBinaryFileStorageProvider_GetInterface,
    [](const char* fileName) { CSecureBinaryFileStorageProvider_SetStorageFilenames(fileName, "", ""); }};

}  // namespace tal::test

#endif
