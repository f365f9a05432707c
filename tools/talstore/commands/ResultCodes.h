/// @file
/// What results mean: the one table of it, which docs/result-codes.md shows.
#ifndef TALSTORE_RESULT_CODES_H
#define TALSTORE_RESULT_CODES_H

#include <cstdint>
#include <string>
#include <vector>

#include "Device/DeviceSupport/HostDatabase.h"

namespace tal::talstore {

struct ResultCode {
    const char* name;
    std::uint32_t value;
    const char* from;
    const char* cause;
    const char* lost;
    const char* remedy;
};

[[nodiscard]] const std::vector<ResultCode>& ResultCodes();
[[nodiscard]] std::vector<std::string> NamesOfResultCodes();

/// @return null when there is no code of that value.
[[nodiscard]] const ResultCode* FindResultCode(std::uint32_t value);

/// @param text  A code in any spelling ("0x8000", "8000", "32768", "QBF_E_FAILED", "e_failed"), or a line that holds
/// one
///              as a trace does.
/// @return the first code of it; null when there is none.
[[nodiscard]] const ResultCode* FindResultCode(const std::string& text);

/// "QBF_E_FAILED (0x8000)"
[[nodiscard]] std::string SpelledOut(const ResultCode& code);

/// The same, "QBF_OK" for this one, and "result 0x9000" for what has no name.
[[nodiscard]] std::string ResultText(QBFResult result);

}  // namespace tal::talstore

#endif
