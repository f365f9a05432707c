/// @file
/// The answer of a survey as a database for questions of its own.
#ifndef TALSTORE_SURVEY_DATABASE_H
#define TALSTORE_SURVEY_DATABASE_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "board/UnitReport.h"
#include "files/WholeFile.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tal::talstore {

/// Tables files, variables and outcomes, the last with a row per loss of a file.
class SurveyDatabase {
public:
    /// @param fileName  Of a regular file, or one that is not there; it is replaced once the survey is done. Throws
    ///                  InputError.
    explicit SurveyDatabase(std::string fileName);

    /// Throws InputError.
    void Add(const UnitReport& unit);
    void PutInPlace();

private:
    using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

    void Require(bool isFine) const;
    void Execute(const char* statements) const;
    [[nodiscard]] Statement Prepare(const char* statement) const;
    void Run(const Statement& statement) const;
    [[nodiscard]] std::int64_t NumberOf(const std::string& path);

    std::string fileName_;
    Draft draft_;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> database_;
    Statement addFile_;
    Statement addVariable_;
    Statement addOutcome_;
    std::unordered_map<std::string, std::int64_t> variables_;  ///< By path.
    std::int64_t fileCount_ = 0;
};

}  // namespace tal::talstore

#endif
