/// @file
/// A stand-in for the board-support library: a board whose answers can be set.
#ifndef COREBSP_H
#define COREBSP_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { BSP_HW_RECORD_WORDS = 16 };

/// The unit's hardware record: the hardware variant in word 0, hardware codes in words 9 to 15.
struct BspHwRecord {
    uint32_t words[BSP_HW_RECORD_WORDS];
};

/// @return the number of radio channels; 1 unless set.
uint32_t Bsp_getNumberOfChannels(void);

/// @return the unit's hardware record, which lives as long as the library; all zero unless set.
const struct BspHwRecord* Bsp_getZorHwVariant(void);

/// Plays a board: what the two functions above answer from now on. The record is copied.
void CoreBsp_setBoard(uint32_t numberOfChannels, const struct BspHwRecord* record);

#ifdef __cplusplus
}
#endif

#endif
