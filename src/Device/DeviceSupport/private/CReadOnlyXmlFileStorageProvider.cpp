/// The read-only configuration of the XML provider: retrieves like the base, lets every store succeed without effect.

#include "Device/DeviceSupport/private/StandardStreams.h"
#include "Device/DeviceSupport/private/Tracing.h"

namespace {

struct ReadOnlyXmlTraces {
    static constexpr const char* kSource = "src/Device/DeviceSupport/private/CReadOnlyXmlFileStorageProvider";
    static constexpr const char* kGetInterface = "CReadOnlyXmlFileStorageProvider_GetInterface";
    static constexpr const char* kReserveWritableSpace = "CReadOnlyXmlFileStorageProvider_ReserveWritableSpace";
    static constexpr const char* kStoreAll = "CReadOnlyXmlFileStorageProvider_StoreAll";
    static constexpr const char* kStoreAllWritable = "CReadOnlyXmlFileStorageProvider_StoreAllWritable";
};

IStorageProvider providerInterface;

QBFResult ReserveWritableSpace(StorageLocation /*location*/, unsigned long /*size*/) {
    DS_TRACE(ReadOnlyXmlTraces, kReserveWritableSpace, QBF_I_INFO, "Ignoring ReserveWritableSpace operation");
    return QBF_OK;
}

QBFResult StoreAll(StorageLocation /*location*/, CDatabase* /*database*/, unsigned long /*channelInjector*/) {
    DS_TRACE(ReadOnlyXmlTraces, kStoreAll, QBF_I_INFO, "Ignoring StoreAll operation");
    return QBF_OK;
}

QBFResult StoreAllWritable(StorageLocation /*location*/, CVariable** /*variables*/, unsigned long /*count*/) {
    DS_TRACE(ReadOnlyXmlTraces, kStoreAllWritable, QBF_I_INFO, "Ignoring StoreAllWritable operation");
    return QBF_OK;
}

}  // namespace

void CReadOnlyXmlFileStorageProvider_SetStorageFilenames(const char* file0, const char* file1, const char* file2,
                                                         const char* file3, const char* file4, const char* file5,
                                                         const char* file6, const char* file7, const char* file8,
                                                         const char* file9) {
    CXmlFileStorageProviderBase_SetStorageFilenames(file0, file1, file2, file3, file4, file5, file6, file7, file8,
                                                    file9);
}

QBFResult CReadOnlyXmlFileStorageProvider_GetInterface(IStorageProvider** out) {
    DS_TRACE(ReadOnlyXmlTraces, kGetInterface, QBF_I_INFO,
             "CReadOnlyXmlFileStorageProvider_GetInterface: Setting storage filenames...");
    CXmlFileStorageProviderBase_SetStorageFilenames("storage_calibration_database.xml", "storage_hardware_database.xml",
                                                    nullptr, nullptr, "storage_application_configuration.xml",
                                                    "CommonBoard.xml", "MicrowaveBoard.xml", "MicrowaveBoard.xml",
                                                    "MicrowaveBoard.xml", "/lib/firmware/bin/Drivers.xml");
    IStorageProvider* base = nullptr;
    const QBFResult result = CXmlFileStorageProviderBase_GetInterface(&base);
    if (QBF_IsFailure(result)) {
        DS_TRACE(ReadOnlyXmlTraces, kGetInterface, result, "Could not get base class interface");
        return result;
    }
    providerInterface = {base->Initialize, ReserveWritableSpace, StoreAll, base->RetrieveAll, StoreAllWritable};
    *out = &providerInterface;
    return QBF_OK;
}
