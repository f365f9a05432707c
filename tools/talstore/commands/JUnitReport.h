/// @file
/// Test results as JUnit XML, which build servers show.
#ifndef TALSTORE_JUNIT_REPORT_H
#define TALSTORE_JUNIT_REPORT_H

#include <string>
#include <vector>

namespace tal::talstore {

struct JUnitCase {
    enum class Verdict { Passed, Failed, Skipped };

    std::string name;
    Verdict verdict = Verdict::Passed;
    std::string message = {};  ///< Why it failed or was skipped.
};

struct JUnitSuite {
    std::string name;
    std::vector<JUnitCase> cases;
};

/// Control characters and bytes that are not UTF-8 stand there as \n or \xNN.
[[nodiscard]] std::string JUnitReport(const std::vector<JUnitSuite>& suites);

}  // namespace tal::talstore

#endif
