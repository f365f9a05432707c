/// What HeadersFromC.c offers: each function uses the public headers as a host in C would.
#ifndef TAL_TEST_HEADERS_FROM_C_H
#define TAL_TEST_HEADERS_FROM_C_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Drives all five operations of the dummy provider.
/// @return the bitwise or of their results.
unsigned long DriveDummyFromC(void);

/// @return how many of the seven entry points hand out a table with all its slots filled.
unsigned long CallEntryPointsFromC(void);

/// Calls the five setters of file names and channel number.
/// @return their number.
unsigned long SetFileNamesFromC(void);

/// @return the number of elements that a walk over a hand-made list meets.
unsigned long WalkListFromC(void);

/// @return whether QBF_IsFailure tells a failure and a warning apart.
bool SuccessIsToldFromFailureInC(void);

/// @return the name of the first hardware variant.
const char* HwNameFromC(void);

#ifdef __cplusplus
}
#endif

#endif
