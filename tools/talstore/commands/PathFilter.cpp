#include "commands/PathFilter.h"

#include <fnmatch.h>

#include <algorithm>

#include "formats/Paths.h"

namespace tal::talstore {

namespace {

std::string WithoutSlash(const std::string& pattern) {
    return !pattern.empty() && pattern.back() == '/' ? pattern.substr(0, pattern.size() - 1) : pattern;
}

/// A name may hold what a glob takes for its own, so the path as it stands comes first.
bool Matches(const std::string& path, const std::string& pattern) {
    return IsAtOrIn(path, pattern) || fnmatch(pattern.c_str(), path.c_str(), FNM_LEADING_DIR) == 0;
}

}  // namespace

PathFilter::PathFilter(const std::vector<std::string>& patterns) {
    for (const std::string& pattern : patterns) {
        patterns_.push_back({WithoutSlash(pattern)});
    }
}

bool PathFilter::Takes(const std::string& path) {
    bool isTaken = patterns_.empty();
    for (Pattern& pattern : patterns_) {
        if (Matches(path, pattern.text)) {
            pattern.hasMatched = true;
            isTaken = true;
        }
    }
    return isTaken;
}

std::vector<std::string> PathFilter::Unmatched() const {
    std::vector<std::string> unmatched;
    for (const Pattern& pattern : patterns_) {
        if (!pattern.hasMatched) {
            unmatched.push_back(pattern.text);
        }
    }
    return unmatched;
}

void KeepOnly(PathFilter& filter, std::vector<Finding>& findings) {
    const auto isOfAnother = [&](const Finding& finding) {
        return !finding.path.empty() && !filter.Takes(finding.path);
    };
    findings.erase(std::remove_if(findings.begin(), findings.end(), isOfAnother), findings.end());
}

void KeepOnly(PathFilter& filter, const StoredContents& contents, RestoreReport& report) {
    if (filter.TakesAll()) {
        return;
    }
    const auto isOfAnother = [&](const VariableReport& variable) { return !filter.Takes(variable.variable->Path()); };
    report.variables.erase(std::remove_if(report.variables.begin(), report.variables.end(), isOfAnother),
                           report.variables.end());
    for (std::size_t i = 0; i < report.items.size(); ++i) {
        ItemReport& item = report.items[i];
        if (!filter.Takes(item.BoardPath().empty() ? contents.items[i].path : item.BoardPath())) {
            item.fate = Fate::Taken;
        }
    }
}

}  // namespace tal::talstore
