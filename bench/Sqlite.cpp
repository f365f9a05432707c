/// SQLite: one row per variable, its path the key, in one transaction.

#include <sqlite3.h>

#include <cstdio>

#include "ReferenceHost.h"
#include "TypeTable.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

constexpr const char* kFile = "sqlite.db";

void Execute(sqlite3* connection, const char* statement) {
    Require(sqlite3_exec(connection, statement, nullptr, nullptr, nullptr) == SQLITE_OK, statement);
}

sqlite3* Open() {
    sqlite3* connection = nullptr;
    Require(sqlite3_open(kFile, &connection) == SQLITE_OK, "sqlite open");
    Execute(connection, "PRAGMA synchronous=OFF; PRAGMA journal_mode=OFF");
    return connection;
}

void Store(const host::Database& database) {
    std::remove(kFile);
    sqlite3* const connection = Open();
    Execute(connection, "CREATE TABLE variables (path TEXT PRIMARY KEY, value BLOB) WITHOUT ROWID; BEGIN");
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(connection, "INSERT INTO variables VALUES (?, ?)", -1, &insert, nullptr);
    for (const host::Variable* const variable : database.Variables()) {
        if (host::HoldsObjects(variable->Type())) {
            continue;
        }
        sqlite3_bind_text(insert, 1, variable->Path().data(), static_cast<int>(variable->Path().size()), SQLITE_STATIC);
        sqlite3_bind_blob(insert, 2, variable->Content(), static_cast<int>(variable->SizeInBytes()), SQLITE_STATIC);
        Require(sqlite3_step(insert) == SQLITE_DONE, "sqlite insert");
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    Execute(connection, "COMMIT");
    sqlite3_close(connection);
}

void Retrieve(const host::Database& database) {
    sqlite3* const connection = Open();
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(connection, "SELECT path, value FROM variables", -1, &select, nullptr);
    while (sqlite3_step(select) == SQLITE_ROW) {
        const auto* const path = reinterpret_cast<const char*>(sqlite3_column_text(select, 0));
        host::Variable& variable = Registered(database, path);
        std::memcpy(variable.Content(), sqlite3_column_blob(select, 1), variable.SizeInBytes());
        variable.SetRetrieved(true);
    }
    sqlite3_finalize(select);
    sqlite3_close(connection);
}

void Add(host::Database& database, Contenders& contenders) {
    Store(database);
    contenders.push_back({"secure store", "SQLite", Role::Alternative, kFile, [&] { Store(database); }});
    contenders.push_back({"secure retrieve", "SQLite", Role::Alternative, kFile,
                          [&] { Restore(database.Handle(), [&] { Retrieve(database); }); }});
}

const RegisterAlternative registered(Add);

}  // namespace

}  // namespace tal::bench
