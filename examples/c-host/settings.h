/// @file
/// A host in plain C: settings.c has the contract's functions over them, main.c stores and restores them.
#ifndef C_HOST_SETTINGS_H
#define C_HOST_SETTINGS_H

#include <stdint.h>

#include "Device/DeviceSupport/HostDatabase.h"

#ifdef __cplusplus
extern "C" {
#endif

/// What the process keeps. Everything but a STRING has a size that its type gives; see the page on writing a host.
struct Settings {
    uint32_t gain;
    uint32_t isEnabled;
    char label[16];
    float offsets[3];
    uint16_t delays[2];
};
extern struct Settings settings;

/// @return the database over `settings`, whose addresses stay the same for as long as the process lives.
CDatabase* SettingsDatabase(void);

#ifdef __cplusplus
}
#endif

#endif
