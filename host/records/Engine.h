// The seam between the host's record layer and the database that holds the
// open company: an SQLite company file (Connection.h) or a PostgreSQL
// database (postgres/ServerConnection.h), chosen by the location it was
// opened at. The record classes, the users table and the brackets work only
// through this interface; what each engine does underneath is its own.
// Private to the host.
//
// Every operation here means the same on both engines:
// - Outside a write bracket each operation commits by itself; inside one it
//   joins the bracket's transaction. Transactions.cpp decides, through
//   BeforeStatement (Connection.h), and the engine calls it before each
//   statement.
// - "Not found" is no failure: Util::Status::RecordNotFound(), nothing
//   written.
// - A failure is Status(false, code) with the engine's code: an SQLite result
//   code, or a server code that carries the server's SQLSTATE
//   (postgres/ServerCodes.h). DescribeWriteFailure (Transactions.h) puts
//   either in words.
#pragma once

#include <host/users/CompanyUsers.h>

#include <Util/Status.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Host {
namespace detail {

// The codes both engines answer for the record layer's own refusals. They are
// SQLite's numbers, which the record layer has always answered.
const int kEngineOk = 0;
const int kEngineAbandoned = 4;      // SQLITE_ABORT: a bracket ended without Commit
const int kEngineTextTooLong = 18;   // SQLITE_TOOBIG: a text past the record buffer
const int kEngineNoCompanyOpen = 21; // SQLITE_MISUSE: no company open, or not this one

// Where the users table's numbers start: user ids from 101, record keys from
// 1, so that an id is never a key of the same user.
const int kFirstUserId = 101;
const int kFirstRecordKey = 1;

struct RoleRow {
    long roleId = 0;
    long categoryType = 0;
    short isVisible = 0;
    std::string name;
    std::string description;
};

struct EntitlementRow {
    long entitlementId = 0;
    long categoryType = 0;
    long attributesId = 0;
    short isVisible = 0;
    short isEnabled = 0;
    std::string name;
};

// The rows a delete or a count takes, and what its key names.
enum class Selection {
    kRole,               // key: role id; a delete that finds none is not found
    kAllRoles,           // no key
    kEntitlement,        // key: entitlement id; a delete that finds none is not found
    kAllEntitlements,    // no key
    kAssignmentsOfUser,  // key: user record key
    kAssignmentsOfRole,  // key: role id
    kAllAssignments,     // no key
    kMasksOfRole,        // key: role id
    kMasksOfEntitlement, // key: entitlement id
    kAllMasks,           // no key
};

// One number of the users table, by a number.
enum class UserLookup {
    kRecordKeyOfUser, // parameter: user id
    kUserOfRecordKey, // parameter: record key
    kFirstAdmin,      // no parameter: the admin user with the lowest id
};

// Rows as text, a column's NULL as "NULL".
using TextRows = std::vector<std::vector<std::string>>;

class Engine {
public:
    virtual ~Engine() = default;

    // --- The four permission tables. A load fills *row (or *actionType) only
    // when it finds the row; a text that does not fit the record buffer is
    // the caller's to refuse.
    virtual Util::Status LoadRole(long roleId, RoleRow* row) = 0;
    virtual Util::Status AddRole(RoleRow const& row) = 0;
    virtual Util::Status LoadEntitlement(long entitlementId, EntitlementRow* row) = 0;
    virtual Util::Status AddEntitlement(EntitlementRow const& row) = 0;
    virtual Util::Status UpdateEntitlement(EntitlementRow const& row) = 0;
    virtual Util::Status LoadAssignment(long userKey, long roleId) = 0;
    virtual Util::Status AddAssignment(long userKey, long roleId) = 0;
    virtual Util::Status LoadMask(long roleId, long entitlementId, long* actionType) = 0;
    virtual Util::Status AddMask(long roleId, long entitlementId, long actionType) = 0;
    virtual Util::Status UpdateMask(long roleId, long entitlementId, long actionType) = 0;
    virtual Util::Status Delete(Selection rows, long key) = 0;
    virtual Util::Status Count(Selection rows, long key, long* count) = 0;

    // --- The users table. InsertUser gives the user the next id and record
    // key, which are never issued twice, and is called inside a write
    // bracket: kEngineOk, or the failing code with *error in words ("a user
    // named 'x' exists already").
    virtual int InsertUser(std::string const& name, bool isAdmin, std::string* error) = 0;
    // Whether a user was removed.
    virtual bool DeleteUser(int userId) = 0;
    virtual std::vector<CompanyUser> Users() = 0;
    // The user id for a name, or -1.
    virtual int FindUser(std::string const& name) = 0;
    // The number asked for, or -1.
    virtual int LookUpUser(UserLookup lookup, int parameter) = 0;
    virtual std::vector<OrphanAssignment> OrphanAssignments() = 0;

    // --- What the brackets (Transactions.cpp) ask of the engine. Each
    // answers kEngineOk or the failing code.
    // Whether a transaction is open and still usable on the connection.
    virtual bool InTransaction() = 0;
    // A transaction that only reads and sees one snapshot.
    virtual int BeginRead() = 0;
    // Ends it; the engine forgets what it kept of the snapshot.
    virtual void EndRead() = 0;
    // A transaction that writes, once no other program's write bracket holds
    // the company: waits up to the busy timeout, then fails as busy.
    virtual int BeginWrite() = 0;
    virtual int Savepoint(int depth) = 0;
    virtual int Release(int depth) = 0;
    // Takes back what was written since the savepoint, and drops it.
    virtual void RollbackTo(int depth) = 0;
    virtual int Commit() = 0;
    virtual void Rollback() = 0;
    // The code of what ended a transaction that is gone without Commit.
    virtual int LostTransactionCode() = 0;
    // Inside a write transaction just begun: brings a company of an older
    // schema to this host's (kSchemaVersion), as the transaction's first
    // write; nothing for one of this schema.
    virtual int UpgradeSchema() = 0;
    // The schema version the open company holds; -1 when it cannot be read.
    virtual int SchemaVersion() = 0;

    // Runs sql as it is (one statement or several separated by ';', without
    // parameters and without transaction control) on the connection, inside
    // whatever transaction is open, bypassing the brackets. For tests and
    // tools that read or set up tables wholesale. False with *error set when
    // a statement fails; *rows then holds what the earlier ones yielded.
    virtual bool Execute(std::string const& sql, TextRows* rows, std::string* error) = 0;

    // Which open this is: a new number at every open, so that a bracket can
    // tell that the company it began on was closed under it. 0 while closed.
    std::uint64_t generation = 0;
    // A read transaction that a ReadTransaction began; the engine forgets it
    // when the connection closes.
    bool readTransactionOpen = false;
};

// The engine of the open company; null when none is open.
Engine* CurrentEngine();
// A number no open had before.
std::uint64_t NextGeneration();

// text as an SQL string literal for Execute: quotes doubled, which both
// engines read back byte for byte (the server keeps backslashes as they are).
// Numbers may go quoted too: both engines take a quoted number for an
// integer column.
std::string SqlLiteral(std::string const& text);

} // namespace detail
} // namespace Host
