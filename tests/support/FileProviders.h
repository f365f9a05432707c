/// The three file providers behind one shape, for tests of what all of them do.
#ifndef TAL_TEST_FILE_PROVIDERS_H
#define TAL_TEST_FILE_PROVIDERS_H

#include <ostream>

#include "Device/DeviceSupport/DeviceSupport.h"

namespace tal::test {

struct FileProvider {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider** out);
    const char* defaultFile;                ///< Of location 0.
    void (*useFile)(const char* fileName);  ///< Names the file of location 0.

    /// @return the table of the provider, which is initialised and uses its default files.
    [[nodiscard]] IStorageProvider* Prepare() const {
        IStorageProvider* table = nullptr;
        getInterface(&table);
        table->Initialize(0);
        return table;
    }

    /// @return the table of the provider, which is initialised and uses `fileName` for location 0.
    [[nodiscard]] IStorageProvider* Prepare(const char* fileName) const {
        IStorageProvider* const table = Prepare();
        useFile(fileName);
        return table;
    }
};

inline void PrintTo(const FileProvider& provider, std::ostream* stream) {
    *stream << provider.name;
}

constexpr FileProvider kXmlFiles = {
    "Xml", CXmlFileStorageProvider_GetInterface, "storage_calibration_database.xml", [](const char* fileName) {
        CXmlFileStorageProviderBase_SetStorageFilenames(fileName, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                        nullptr, nullptr, nullptr);
    }};
constexpr FileProvider kBinaryFiles = {
    "Binary", CBinaryFileStorageProvider_GetInterface, "storage_calibration_database.bin",
    [](const char* fileName) { CBinaryFileStorageProvider_SetStorageFilenames(fileName, "", ""); }};
constexpr FileProvider kSecureFiles = {
    "Secure", CSecureBinaryFileStorageProvider_GetInterface, "storage_calibration_database.sbin",
    [](const char* fileName) { CSecureBinaryFileStorageProvider_SetStorageFilenames(fileName, "", ""); }};
constexpr FileProvider kFileProviders[] = {kXmlFiles, kBinaryFiles, kSecureFiles};

}  // namespace tal::test

#endif
