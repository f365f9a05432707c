/// How many of their cases the tests try that have one for every byte of a file.
#ifndef TAL_TEST_CASE_STEP_H
#define TAL_TEST_CASE_STEP_H

#include <cstddef>
#include <cstdlib>

namespace tal::test {

/// @return how far it is from one case to the next: 1, so that none is left out, unless TAL_TRY_ONE_CASE_IN has another
/// number. For runs beside one that leaves none out: emulated, or with counters.
[[nodiscard]] inline std::size_t CaseStep() {
    constexpr int kDecimal = 10;
    const char* const number = std::getenv("TAL_TRY_ONE_CASE_IN");
    const std::size_t step = number != nullptr ? std::strtoul(number, nullptr, kDecimal) : 1;
    return step != 0 ? step : 1;
}

}  // namespace tal::test

#endif
