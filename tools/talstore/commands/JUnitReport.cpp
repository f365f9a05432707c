#include "commands/JUnitReport.h"

#include <algorithm>

#include "common/Text.h"

namespace tal::talstore {

namespace {

std::string Attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + tools::Markup(value) + '"';
}

std::size_t CountOf(const std::vector<JUnitCase>& cases, JUnitCase::Verdict verdict) {
    return static_cast<std::size_t>(std::count_if(
        cases.begin(), cases.end(), [&](const JUnitCase& candidate) { return candidate.verdict == verdict; }));
}

std::string CaseText(const JUnitSuite& suite, const JUnitCase& one) {
    const std::string start = "    <testcase" + Attribute("classname", suite.name) + Attribute("name", one.name);
    if (one.verdict == JUnitCase::Verdict::Passed) {
        return start + "/>\n";
    }
    const std::string element = one.verdict == JUnitCase::Verdict::Failed ? "failure" : "skipped";
    return start + ">\n      <" + element + Attribute("message", one.message) + "/>\n    </testcase>\n";
}

std::string SuiteText(const JUnitSuite& suite) {
    std::string text = "  <testsuite" + Attribute("name", suite.name) +
                       Attribute("tests", std::to_string(suite.cases.size())) +
                       Attribute("failures", std::to_string(CountOf(suite.cases, JUnitCase::Verdict::Failed))) +
                       Attribute("errors", "0") +
                       Attribute("skipped", std::to_string(CountOf(suite.cases, JUnitCase::Verdict::Skipped))) + ">\n";
    for (const JUnitCase& one : suite.cases) {
        text += CaseText(suite, one);
    }
    return text + "  </testsuite>\n";
}

}  // namespace

std::string JUnitReport(const std::vector<JUnitSuite>& suites) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
    for (const JUnitSuite& suite : suites) {
        text += SuiteText(suite);
    }
    return text + "</testsuites>\n";
}

}  // namespace tal::talstore
