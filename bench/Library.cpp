/// The library's own providers.

#include "Device/DeviceSupport/DeviceSupport.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

constexpr StorageLocation kCalibration = 0;

struct Format {
    const char* name;
    QBFResult (*getInterface)(IStorageProvider**);
    const char* fileName;
};

constexpr Format kFormats[] = {
    {"xml", CXmlFileStorageProvider_GetInterface, "storage_calibration_database.xml"},
    {"binary", CBinaryFileStorageProvider_GetInterface, "storage_calibration_database.bin"},
    {"secure", CSecureBinaryFileStorageProvider_GetInterface, "storage_calibration_database.sbin"}};

void AddFormat(const Format& format, CDatabase* database, Contenders& contenders) {
    IStorageProvider* provider = nullptr;
    format.getInterface(&provider);
    provider->Initialize(kCalibration);
    const auto store = [provider, database] {
        Require(!QBF_IsFailure(provider->StoreAll(kCalibration, database, 0)), "store");
    };
    const auto retrieve = [provider, database] {
        Require(!QBF_IsFailure(provider->RetrieveAll(kCalibration, database, 0)), "retrieve");
    };
    const auto storeSynced = [store] {
        SetSyncing(true);
        store();
        SetSyncing(false);
    };
    store();
    const std::string name = format.name;
    contenders.push_back({name + " store", "library", Role::Library, format.fileName, store});
    contenders.push_back({name + " store", "library, synced", Role::Synced, format.fileName, storeSynced});
    contenders.push_back({name + " retrieve", "library", Role::Library, format.fileName, retrieve});
}

}  // namespace

void AddLibrary(CDatabase* database, Contenders& contenders) {
    for (const Format& format : kFormats) {
        AddFormat(format, database, contenders);
    }
}

}  // namespace tal::bench
