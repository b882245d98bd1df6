// The one open company file of the process, as the record layer, the user
// manager and the brackets share it: the SQLite connection, its prepared
// statements and what the brackets have begun on it. It is the SQLite engine
// (Engine.h): the record operations are in SqliteRecords.cpp, the users table
// in host/users/CompanyUsers.cpp, the bracket steps in SqliteEngine.cpp.
// Private to the host.
#pragma once

#include "Engine.h"

#include <sqlite3.h>

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Host {
namespace detail {

struct Connection : Engine {
    sqlite3* db = nullptr;
    std::string path; // the file's path, also for a snapshot; ":memory:" for a file in memory
    bool snapshot = false;
    std::unordered_map<char const*, sqlite3_stmt*> statements;
    // Inside a read bracket's transaction, the masks of each role that a load
    // asked for, all fetched by its first load: (entitlement id, mask) in id
    // order, the transaction's snapshot, so the bracket's later loads of that
    // role are answered without a statement. Emptied when a read transaction
    // begins or ends, and by Execute.
    using MaskRows = std::vector<std::pair<long, long>>;
    std::unordered_map<long, MaskRows> bracketMasks;

    // Finalises the statements and closes the connection. A write transaction
    // still open is rolled back by SQLite.
    void Close();

    Util::Status LoadRole(long roleId, RoleRow* row) override;
    Util::Status AddRole(RoleRow const& row) override;
    Util::Status LoadEntitlement(long entitlementId, EntitlementRow* row) override;
    Util::Status AddEntitlement(EntitlementRow const& row) override;
    Util::Status UpdateEntitlement(EntitlementRow const& row) override;
    Util::Status LoadAssignment(long userKey, long roleId) override;
    Util::Status AddAssignment(long userKey, long roleId) override;
    Util::Status LoadMask(long roleId, long entitlementId, long* actionType) override;
    // The masks of roleId in bracketMasks, fetched in one statement the
    // first time; the failing status when the fetch fails.
    Util::Status FetchMasks(long roleId, MaskRows const** masks);
    Util::Status AddMask(long roleId, long entitlementId, long actionType) override;
    Util::Status UpdateMask(long roleId, long entitlementId, long actionType) override;
    Util::Status Delete(Selection rows, long key) override;
    Util::Status Count(Selection rows, long key, long* count) override;

    int InsertUser(std::string const& name, bool isAdmin, std::string* error) override;
    bool DeleteUser(int userId) override;
    std::vector<CompanyUser> Users() override;
    int FindUser(std::string const& name) override;
    int LookUpUser(UserLookup lookup, int parameter) override;
    std::vector<OrphanAssignment> OrphanAssignments() override;

    bool InTransaction() override;
    int BeginRead() override;
    void EndRead() override;
    int BeginWrite() override;
    int Savepoint(int depth) override;
    int Release(int depth) override;
    void RollbackTo(int depth) override;
    int Commit() override;
    void Rollback() override;
    int LostTransactionCode() override;
    int UpgradeSchema() override;
    int SchemaVersion() override;

    bool Execute(std::string const& sql, TextRows* rows, std::string* error) override;
};

Connection& CurrentConnection();

// Called before each statement of a record operation or of the users table,
// on either engine: kEngineOk to run it, or the code that refuses it (a write
// bracket whose transaction is gone). Inside a read bracket a read joins or
// begins the read transaction and a write ends it first.
int BeforeStatement(Engine& engine, bool writes);
// The same for a cached SQLite statement, which tells whether it writes.
int BeforeStatement(Connection& connection, sqlite3_stmt* statement);

// Ends a read bracket's transaction, so that what follows runs by itself.
void EndReadTransaction(Engine& engine);

// Called by each record operation that fails, with its code: a write
// bracket counts them, and the last is kept (LastRecordFailure).
void NoteFailedOperation(int code);

// Called when a connection closes: a write bracket that began on it can no
// longer commit.
void ConnectionClosing(Engine& engine);

} // namespace detail
} // namespace Host
