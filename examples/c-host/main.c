/// @file
/// Stores the settings through every file provider and brings them back. Ends with status 0 when they came back whole.
#include <stdio.h>
#include <string.h>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "settings.h"

static const struct Settings changed = {99, 0, "south", {0.5F, 0.25F, -1.5F}, {10, 300}};

static int HoldsChanges(void) {
    return settings.gain == changed.gain && settings.isEnabled == changed.isEnabled &&
           strcmp(settings.label, changed.label) == 0 && settings.offsets[0] == changed.offsets[0] &&
           settings.offsets[1] == changed.offsets[1] && settings.offsets[2] == changed.offsets[2] &&
           settings.delays[0] == changed.delays[0] && settings.delays[1] == changed.delays[1];
}

static int ComesBack(const char* name, IStorageProvider* provider) {
    settings = changed;
    const QBFResult stored = provider->StoreAll(0, SettingsDatabase(), 0);
    memset(&settings, 0, sizeof settings);
    const QBFResult retrieved = provider->RetrieveAll(0, SettingsDatabase(), 0);
    const int isWhole = !QBF_IsFailure(stored) && !QBF_IsFailure(retrieved) && HoldsChanges();
    printf("%s: %s\n", name, isWhole ? "came back whole" : "DID NOT COME BACK");
    return isWhole;
}

int main(void) {
    IStorageProvider* xml = NULL;
    CXmlFileStorageProvider_GetInterface(&xml);
    xml->Initialize(0);
    CXmlFileStorageProviderBase_SetStorageFilenames("c-host.xml", NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
    IStorageProvider* binary = NULL;
    CBinaryFileStorageProvider_GetInterface(&binary);
    binary->Initialize(0);
    CBinaryFileStorageProvider_SetStorageFilenames("c-host.bin", "", "");
    IStorageProvider* secure = NULL;
    CSecureBinaryFileStorageProvider_GetInterface(&secure);
    secure->Initialize(0);
    CSecureBinaryFileStorageProvider_SetStorageFilenames("c-host.sbin", "", "");

    int isFine = ComesBack("XML", xml);
    isFine &= ComesBack("binary", binary);
    isFine &= ComesBack("secure", secure);
    remove("c-host.xml");
    remove("c-host.bin");
    remove("c-host.sbin");
    return isFine ? 0 : 1;
}
