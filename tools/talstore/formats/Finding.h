/// @file
/// What is noteworthy in a storage file, with its place.
#ifndef TALSTORE_FINDING_H
#define TALSTORE_FINDING_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace tal::talstore {

/// A place in a file.
struct Place {
    std::uint64_t offset = 0;  ///< In bytes, from 0.
    std::uint32_t line = 0;    ///< From 1; 0 in files that have no lines.
    std::uint32_t column = 0;  ///< From 1.
};

enum class Severity {
    Note,     ///< Worth knowing, nothing is lost.
    Warning,  ///< Something is not as a board would write it, or will not come back as it is written.
    Error     ///< A board will not read this, or nothing after it.
};

struct Finding {
    Severity severity;
    const char* code;  ///< Names the kind of the finding for programs, "secure.end-marker".
    Place place;
    std::string path;     ///< Of the variable or object, empty when it is about neither.
    std::string message;  ///< May hold text from the file: not yet printable.
};

[[nodiscard]] inline bool HasProblem(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.severity != Severity::Note; });
}

}  // namespace tal::talstore

#endif
