// The one open company file of the process, as the record layer, the user
// manager and the brackets share it: the SQLite connection, its prepared
// statements and what the brackets have begun on it. Private to the host.
#pragma once

#include <sqlite3.h>

#include <string>
#include <unordered_map>

namespace Host {
namespace detail {

struct Connection {
    sqlite3* db = nullptr;
    std::string path; // the file's path, also for a snapshot; ":memory:" for a file in memory
    bool snapshot = false;
    std::unordered_map<char const*, sqlite3_stmt*> statements;
    // A read transaction that a ReadTransaction began; closing the connection
    // rolls it back, which loses nothing since it wrote nothing.
    bool readTransactionOpen = false;

    // Finalises the statements and closes the connection. A write transaction
    // still open is rolled back by SQLite.
    void Close();
};

Connection& CurrentConnection();

// Called before each use of a cached statement: SQLITE_OK to run it, or the
// code that refuses it (a write bracket whose transaction is gone). Inside a
// read bracket a read joins or begins the read transaction and a write ends
// it first.
int BeforeStatement(Connection& connection, sqlite3_stmt* statement);

// Ends a read bracket's transaction, so that what follows runs by itself.
void EndReadTransaction(Connection& connection);

// Called by each record operation that fails: a write bracket counts them.
void NoteFailedOperation();

// Called when the connection closes: a write bracket that began on it can no
// longer commit.
void ConnectionClosing(Connection& connection);

} // namespace detail
} // namespace Host
