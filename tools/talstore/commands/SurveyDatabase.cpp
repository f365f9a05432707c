#include "commands/SurveyDatabase.h"

#include <sqlite3.h>

#include <optional>

#include "files/InputError.h"

namespace tal::talstore {

namespace {

/// Nobody else reads the draft, and it is synced before it is in place.
constexpr char kTables[] =
    "PRAGMA journal_mode = OFF;"
    "PRAGMA synchronous = OFF;"
    "BEGIN;"
    "CREATE TABLE files (id INTEGER PRIMARY KEY, name TEXT NOT NULL, archive TEXT, problem TEXT, format TEXT,"
    "  size INTEGER, channel INTEGER, damage TEXT);"
    "CREATE TABLE variables (id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE);"
    "CREATE TABLE outcomes (file INTEGER NOT NULL REFERENCES files, variable INTEGER NOT NULL REFERENCES variables,"
    "  kind TEXT NOT NULL, reason TEXT NOT NULL, bytesInFile INTEGER, bytesInLayout INTEGER, differs INTEGER,"
    "  accepted TEXT);";

/// Filled tables are indexed faster than indexed ones are filled.
constexpr char kIndexes[] =
    "CREATE INDEX filesByName ON files (name);"
    "CREATE INDEX outcomesByFile ON outcomes (file);"
    "CREATE INDEX outcomesByVariable ON outcomes (variable, kind);"
    "COMMIT;";

/// Binds one value after another.
class Binding {
public:
    explicit Binding(sqlite3_stmt* statement) : statement_(statement) {}

    Binding& Number(std::int64_t number) {
        sqlite3_bind_int64(statement_, ++place_, number);
        return *this;
    }
    template <class Value>
    Binding& OptionalNumber(const std::optional<Value>& number) {
        return number ? Number(static_cast<std::int64_t>(*number)) : Null();
    }
    Binding& Text(const std::string& text) {
        sqlite3_bind_text64(statement_, ++place_, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        return *this;
    }
    /// NULL for an empty one.
    Binding& OptionalText(const std::string& text) { return text.empty() ? Null() : Text(text); }

private:
    Binding& Null() {
        sqlite3_bind_null(statement_, ++place_);
        return *this;
    }

    sqlite3_stmt* statement_;
    int place_ = 0;
};

}  // namespace

SurveyDatabase::SurveyDatabase(std::string fileName)
    : fileName_(std::move(fileName)),
      draft_(fileName_),
      database_(nullptr, sqlite3_close),
      addFile_(nullptr, sqlite3_finalize),
      addVariable_(nullptr, sqlite3_finalize),
      addOutcome_(nullptr, sqlite3_finalize) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(draft_.Path().c_str(), &opened);
    database_.reset(opened);
    Require(result == SQLITE_OK);
    Execute(kTables);
    addFile_ = Prepare("INSERT INTO files VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
    addVariable_ = Prepare("INSERT INTO variables VALUES (?, ?)");
    addOutcome_ = Prepare("INSERT INTO outcomes VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
}

void SurveyDatabase::Add(const UnitReport& unit) {
    Binding file(addFile_.get());
    file.Number(++fileCount_).Text(unit.file).OptionalText(unit.archive).OptionalText(unit.problem);
    if (unit.IsReadable()) {
        file.Text(unit.format)
            .Number(static_cast<std::int64_t>(unit.size))
            .Number(static_cast<std::int64_t>(unit.channel))
            .OptionalText(unit.damage);
    }
    Run(addFile_);
    for (const UnitLoss& loss : unit.losses) {
        const std::int64_t variable = NumberOf(loss.path);
        Binding(addOutcome_.get())
            .Number(fileCount_)
            .Number(variable)
            .Text(loss.kind)
            .Text(loss.reason)
            .OptionalNumber(loss.bytesInFile)
            .OptionalNumber(loss.bytesInLayout)
            .OptionalNumber(loss.differs)
            .OptionalText(loss.accepted);
        Run(addOutcome_);
    }
}

void SurveyDatabase::PutInPlace() {
    Execute(kIndexes);
    addFile_.reset();
    addVariable_.reset();
    addOutcome_.reset();
    Require(sqlite3_close(database_.release()) == SQLITE_OK);
    draft_.PutInPlace();
}

void SurveyDatabase::Require(bool isFine) const {
    if (!isFine) {
        RefuseFile(fileName_, database_ == nullptr ? "could not be written" : sqlite3_errmsg(database_.get()));
    }
}

void SurveyDatabase::Execute(const char* statements) const {
    Require(sqlite3_exec(database_.get(), statements, nullptr, nullptr, nullptr) == SQLITE_OK);
}

SurveyDatabase::Statement SurveyDatabase::Prepare(const char* statement) const {
    sqlite3_stmt* prepared = nullptr;
    Require(sqlite3_prepare_v2(database_.get(), statement, -1, &prepared, nullptr) == SQLITE_OK);
    return {prepared, sqlite3_finalize};
}

void SurveyDatabase::Run(const Statement& statement) const {
    Require(sqlite3_step(statement.get()) == SQLITE_DONE);
    sqlite3_reset(statement.get());
    sqlite3_clear_bindings(statement.get());
}

std::int64_t SurveyDatabase::NumberOf(const std::string& path) {
    const auto [known, isNew] = variables_.try_emplace(path, static_cast<std::int64_t>(variables_.size()) + 1);
    if (isNew) {
        Binding(addVariable_.get()).Number(known->second).Text(path);
        Run(addVariable_);
    }
    return known->second;
}

}  // namespace tal::talstore
