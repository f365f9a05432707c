/// @file
/// The part of a file or a layout that somebody asks for.
#ifndef TALSTORE_PATH_FILTER_H
#define TALSTORE_PATH_FILTER_H

#include <string>
#include <vector>

#include "board/Restore.h"
#include "formats/Finding.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

/// Takes the paths that match any of its patterns, or all when it has none. A pattern is a path, the path of a region
/// or an object for all that is in it, or a glob: '*' stands for anything, '/' included.
class PathFilter {
public:
    explicit PathFilter(const std::vector<std::string>& patterns);

    /// Remembers which patterns match.
    [[nodiscard]] bool Takes(const std::string& path);

    /// The patterns that have matched nothing so far.
    [[nodiscard]] std::vector<std::string> Unmatched() const;

    [[nodiscard]] bool TakesAll() const { return patterns_.empty(); }

private:
    struct Pattern {
        std::string text;
        bool hasMatched = false;
    };
    std::vector<Pattern> patterns_;
};

/// Forgets the findings about other paths. What is about the whole file stays.
void KeepOnly(PathFilter& filter, std::vector<Finding>& findings);

/// Forgets the variables of other paths. Items of other paths count as taken.
void KeepOnly(PathFilter& filter, const StoredContents& contents, RestoreReport& report);

}  // namespace tal::talstore

#endif
