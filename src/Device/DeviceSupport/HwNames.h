/// @file
/// The names of the values of a board's enumerations: hardware variant, chips, board name, restart cause and so on.
///
/// Every table assigns its names to the values 0, 1, 2 and so on without a gap. The assignments are fixed; new names
/// are only ever appended. No provider writes any of these names into a database. Usable from C and from C++, at any
/// time while the library is loaded, from several threads at once.
#ifndef TAL_HW_NAMES_H
#define TAL_HW_NAMES_H

#include <stdint.h>

#include "Device/DeviceSupport/DeviceSupport.h"

/// Selects an enumeration. In brackets the number of its values.
typedef uint32_t HwNameTable;
enum HwNameTableNumber {
    HW_NAMES_HW_VARIANT = 0,        ///< The hardware variant, word 0 of the board's hardware record [18].
    HW_NAMES_RADIO_REVISION = 1,    ///< The radio revision [7].
    HW_NAMES_SWITCH_CHIP = 2,       ///< The switch chip, 0 for none [4].
    HW_NAMES_MODEM_CHIP = 3,        ///< The modem chip, 0 for none [7].
    HW_NAMES_BOARD_NAME = 4,        ///< The board name, 0 for none [23].
    HW_NAMES_ACCESS_TYPE = 5,       ///< How a chip is reached, 0 for none [4].
    HW_NAMES_PTP_ACCESS = 6,        ///< How the time protocol is reached, 0 for none [3].
    HW_NAMES_RADIO_GENERATION = 7,  ///< The radio generation [2].
    HW_NAMES_UNIT_GENERATION = 8,   ///< The unit generation [3].
    HW_NAMES_RESTART_CAUSE = 9      ///< The cause of the last restart [4].
};

#ifdef __cplusplus
extern "C" {
#endif

/// The name of a value.
/// @return the NUL-terminated name, which belongs to the library and lives until it is unloaded; null when the table
///         or the value does not exist.
TAL_DEVICE_SUPPORT_API const char* HwNameFromValue(HwNameTable table, int32_t value);

/// The value of a name, compared exactly.
/// @param name   NUL-terminated, or null, which is no name.
/// @param value  Receives the value; not checked for null. Not written when there is no such table or name.
/// @return 1 when the name was found, 0 otherwise.
TAL_DEVICE_SUPPORT_API int HwNameToValue(HwNameTable table, const char* name, int32_t* value);

#ifdef __cplusplus
}
#endif

#endif
