/// The dummy provider: five operations that do nothing and succeed.

#include "Device/DeviceSupport/private/StandardStreams.h"
#include "Device/DeviceSupport/private/Tracing.h"

namespace {

IStorageProvider providerInterface;

QBFResult Initialize(StorageLocation /*location*/) {
    return QBF_OK;
}

QBFResult ReserveWritableSpace(StorageLocation /*location*/, unsigned long /*size*/) {
    return QBF_OK;
}

QBFResult StoreAll(StorageLocation /*location*/, CDatabase* /*database*/, unsigned long /*channelInjector*/) {
    return QBF_OK;
}

QBFResult RetrieveAll(StorageLocation /*location*/, CDatabase* /*database*/, unsigned long /*channelInjector*/) {
    return QBF_OK;
}

QBFResult StoreAllWritable(StorageLocation /*location*/, CVariable** /*variables*/, unsigned long /*count*/) {
    return QBF_OK;
}

}  // namespace

QBFResult CDummyStorageProvider_GetInterface(IStorageProvider** out) {
    providerInterface = {Initialize, ReserveWritableSpace, StoreAll, RetrieveAll, StoreAllWritable};
    *out = &providerInterface;
    return QBF_OK;
}
