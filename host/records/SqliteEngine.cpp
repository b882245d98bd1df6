// The SQLite engine's bracket steps and its plain statements: what the
// brackets (Transactions.cpp) and the tools ask of an SQLite company file.
#include "Connection.h"
#include "SchemaUpgrade.h"

#include <sqlite3.h>

#include <string>

namespace Host {
namespace detail {

static_assert(kEngineOk == SQLITE_OK && kEngineAbandoned == SQLITE_ABORT &&
                  kEngineTextTooLong == SQLITE_TOOBIG && kEngineNoCompanyOpen == SQLITE_MISUSE,
              "the record layer's own codes are SQLite's");

namespace {

int Run(sqlite3* db, std::string const& sql) {
    return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
}

std::string SavepointName(int depth) {
    return "pm_bracket_" + std::to_string(depth);
}

} // namespace

int BeforeStatement(Connection& connection, sqlite3_stmt* statement) {
    return BeforeStatement(static_cast<Engine&>(connection), sqlite3_stmt_readonly(statement) == 0);
}

bool Connection::InTransaction() {
    return db != nullptr && sqlite3_get_autocommit(db) == 0;
}

int Connection::BeginRead() {
    bracketMasks.clear();
    return Run(db, "BEGIN");
}

void Connection::EndRead() {
    bracketMasks.clear();
    if (Run(db, "COMMIT") != SQLITE_OK) {
        Run(db, "ROLLBACK");
    }
}

int Connection::BeginWrite() {
    // Waits up to the busy timeout for another writer's lock.
    return Run(db, "BEGIN IMMEDIATE");
}

int Connection::Savepoint(int depth) {
    return Run(db, "SAVEPOINT " + SavepointName(depth));
}

int Connection::Release(int depth) {
    return Run(db, "RELEASE " + SavepointName(depth));
}

void Connection::RollbackTo(int depth) {
    Run(db, "ROLLBACK TO " + SavepointName(depth));
    Run(db, "RELEASE " + SavepointName(depth));
}

int Connection::Commit() {
    return Run(db, "COMMIT");
}

void Connection::Rollback() {
    Run(db, "ROLLBACK");
}

// The code of the error that ended a transaction SQLite rolled back by itself.
int Connection::LostTransactionCode() {
    int code = sqlite3_extended_errcode(db);
    return code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE ? SQLITE_ABORT : code;
}

int Connection::UpgradeSchema() {
    return detail::UpgradeSchema(db);
}

int Connection::SchemaVersion() {
    TextRows rows;
    std::string error;
    return Execute("PRAGMA user_version", &rows, &error) && rows.size() == 1 ? std::stoi(rows[0][0])
                                                                             : -1;
}

bool Connection::Execute(std::string const& sql, TextRows* rows, std::string* error) {
    auto row = [](void* out, int columns, char** values, char**) {
        std::vector<std::string> fields;
        for (int i = 0; i < columns; ++i) {
            fields.emplace_back(values[i] != nullptr ? values[i] : "NULL");
        }
        static_cast<TextRows*>(out)->push_back(fields);
        return 0;
    };
    bracketMasks.clear(); // sql may write masks, or end the transaction
    char* message = nullptr;
    if (sqlite3_exec(db, sql.c_str(), row, rows, &message) == SQLITE_OK) {
        return true;
    }
    *error = message != nullptr ? message : sqlite3_errmsg(db);
    sqlite3_free(message);
    return false;
}

} // namespace detail
} // namespace Host
