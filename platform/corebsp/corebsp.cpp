#include "corebsp/corebsp.h"

namespace {

uint32_t boardChannels = 1;
BspHwRecord boardRecord = {};

}  // namespace

uint32_t Bsp_getNumberOfChannels(void) {
    return boardChannels;
}

const BspHwRecord* Bsp_getZorHwVariant(void) {
    return &boardRecord;
}

void CoreBsp_setBoard(uint32_t numberOfChannels, const BspHwRecord* record) {
    boardChannels = numberOfChannels;
    boardRecord = *record;
}
