/// The read-only configuration of the XML provider: retrieves like the base, lets every store succeed without effect.

#include "Device/DeviceSupport/private/Tracing.h"

namespace {

constexpr char kTraceSource[] = "src/Device/DeviceSupport/private/CReadOnlyXmlFileStorageProvider";

IStorageProvider readOnlyInterface;

QBFResult ReserveWritableSpace(StorageLocation /*location*/, unsigned long /*size*/) {
    DS_TRACE("CReadOnlyXmlFileStorageProvider_ReserveWritableSpace", QBF_I_INFO,
             "Ignoring ReserveWritableSpace operation");
    return QBF_OK;
}

QBFResult StoreAll(StorageLocation /*location*/, CDatabase* /*database*/, unsigned long /*channelInjector*/) {
    DS_TRACE("CReadOnlyXmlFileStorageProvider_StoreAll", QBF_I_INFO, "Ignoring StoreAll operation");
    return QBF_OK;
}

QBFResult StoreAllWritable(StorageLocation /*location*/, CVariable** /*variables*/, unsigned long /*count*/) {
    DS_TRACE("CReadOnlyXmlFileStorageProvider_StoreAllWritable", QBF_I_INFO, "Ignoring StoreAllWritable operation");
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
    DS_TRACE("CReadOnlyXmlFileStorageProvider_GetInterface", QBF_I_INFO,
             "CReadOnlyXmlFileStorageProvider_GetInterface: Setting storage filenames...");
    CXmlFileStorageProviderBase_SetStorageFilenames("storage_calibration_database.xml", "storage_hardware_database.xml",
                                                    nullptr, nullptr, "storage_application_configuration.xml",
                                                    "CommonBoard.xml", "MicrowaveBoard.xml", "MicrowaveBoard.xml",
                                                    "MicrowaveBoard.xml", "/lib/firmware/bin/Drivers.xml");
    IStorageProvider* base = nullptr;
    const QBFResult result = CXmlFileStorageProviderBase_GetInterface(&base);
    if (QBF_IsFailure(result)) {
        DS_TRACE("CReadOnlyXmlFileStorageProvider_GetInterface", result, "Could not get base class interface");
        return result;
    }
    readOnlyInterface = {base->Initialize, ReserveWritableSpace, StoreAll, base->RetrieveAll, StoreAllWritable};
    *out = &readOnlyInterface;
    return QBF_OK;
}
