#include "HeadersFromC.h"

#include "Device/DeviceSupport/DeviceSupport.h"
#include "Device/DeviceSupport/HostDatabase.h"
#include "Device/DeviceSupport/HwNames.h"

unsigned long DriveDummyFromC(void) {
    IStorageProvider* provider = 0;
    QBFResult results = CDummyStorageProvider_GetInterface(&provider);
    results |= provider->Initialize(0);
    results |= provider->ReserveWritableSpace(0, 16);
    results |= provider->StoreAll(0, 0, 0);
    results |= provider->RetrieveAll(0, 0, 0);
    results |= provider->StoreAllWritable(0, 0, 0);
    return results;
}

unsigned long SetFileNamesFromC(void) {
    CXmlFileStorageProviderBase_SetStorageFilenames(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    CReadOnlyXmlFileStorageProvider_SetStorageFilenames(0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    CBinaryFileStorageProvider_SetStorageFilenames("a", "b", "c");
    CSecureBinaryFileStorageProvider_SetStorageFilenames("a", "b", "c");
    CSecureBinaryFileStorageProvider_SetChannelNumber(0);
    return 5;
}

unsigned long CallEntryPointsFromC(void) {
    QBFResult (*const entryPoints[])(IStorageProvider**) = {
        CXmlFileStorageProviderBase_GetInterface,      CXmlFileStorageProvider_GetInterface,
        CReadOnlyXmlFileStorageProvider_GetInterface,  CBinaryFileStorageProvider_GetInterface,
        CSecureBinaryFileStorageProvider_GetInterface, CDummyStorageProvider_GetInterface,
        ReadOnlyZorBspStorageProvider_getInterface,
    };
    unsigned long filledTables = 0;
    for (unsigned long i = 0; i < sizeof entryPoints / sizeof entryPoints[0]; ++i) {
        IStorageProvider* provider = 0;
        const QBFResult result = entryPoints[i](&provider);
        filledTables += result == QBF_OK && provider->Initialize && provider->ReserveWritableSpace &&
                        provider->StoreAll && provider->RetrieveAll && provider->StoreAllWritable;
    }
    return filledTables;
}

unsigned long WalkListFromC(void) {
    int element = QBF_W_END_OF_LIST;
    HostListNode sentinel = {0, 0, 0};
    HostListNode node = {&sentinel, &sentinel, &element};
    sentinel.next = &node;
    unsigned long elements = 0;
    for (const HostListNode* at = sentinel.next; at != &sentinel; at = at->next) {
        elements += at->element == &element && VARIABLE_TYPE_OBJECT_ARRAY == 22;
    }
    return elements;
}

bool SuccessIsToldFromFailureInC(void) {
    return QBF_IsFailure(QBF_E_FAILED) && !QBF_IsFailure(QBF_W_NOT_SUPPORTED);
}

const char* HwNameFromC(void) {
    return HwNameFromValue(HW_NAMES_HW_VARIANT, 0);
}
