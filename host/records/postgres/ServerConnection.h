// The server engine: a company held in a PostgreSQL database, over one
// libpqxx connection (Engine.h tells what each operation means). Private to
// the host.
//
// Every statement goes through one nontransaction, and the engine sends
// BEGIN, COMMIT and SAVEPOINT itself, so that it always knows whether a
// transaction is open. Any error the server reports inside a transaction
// makes the engine roll the whole transaction back at once, as SQLite does
// after an error that ends a transaction; a key that exists is not an error
// here (the inserts skip a conflict and report it themselves), so that an Add
// of a stored key fails alone inside a bracket, as on a file. A lost
// connection fails the operation in flight with SQLSTATE 08006; the next
// operation outside a write bracket connects again.
//
// Statements are prepared on first use, once per connection. Inside a read
// bracket a load fetches the whole table (roles, entitlements), all
// assignments of the user, or all masks of the role, in one query, and
// answers the bracket's later loads from what it fetched.
#pragma once

#include "../Engine.h"

#include <pqxx/connection>
#include <pqxx/nontransaction>
#include <pqxx/result>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>

namespace Host {
namespace detail {

// A statement the engine prepares: its name on the connection and its text.
struct ServerStatement {
    char const* name;
    char const* sql;
};

class ServerConnection : public Engine {
public:
    // Connects to uri; the reason in *error (the password scrubbed) when it
    // cannot, and *unreachable (when given) set when no server answered or it
    // could not take the connection now, rather than refused it.
    static std::unique_ptr<ServerConnection> Connect(std::string const& uri, std::string* error,
                                                     bool* unreachable = nullptr);
    ~ServerConnection() override;

    std::string const& Location() const { return m_Location; }
    std::string const& ShownLocation() const { return m_Shown; }
    // The tables are to be made by the first transaction (CreateServerCompany).
    void SetSchemaPending() { m_SchemaPending = true; }
    // Makes the whole open one REPEATABLE READ transaction, rolled back when
    // the connection closes (OpenServerCompanySnapshot): brackets become
    // savepoints in it, and loads are answered from what was fetched until
    // the first write. The failing code.
    int BeginSession();
    bool IsSession() const { return m_Session; }
    // Whether the connection is there: false once it was found lost, until
    // the next statement connects again.
    bool Connected() const { return m_Connection != nullptr; }
    // The code of the last statement that failed on this connection;
    // kEngineOk while none has.
    int LastFailure() const { return m_LastFailure; }
    // Statements sent to the server since the connection was made: what a
    // test counts to see the read bracket batch its loads.
    long StatementsSent() const { return m_StatementsSent; }

    // Runs statement with args: kEngineOk with *result, or the failing code
    // (the connection made first if it was lost, outside a transaction).
    template <typename... Args>
    int Run(ServerStatement const& statement, pqxx::result* result, Args const&... args) {
        int code = Ready(&statement);
        if (code != kEngineOk) {
            return code;
        }
        try {
            ++m_StatementsSent;
            *result = m_Work->exec_prepared(statement.name, args...);
            return kEngineOk;
        } catch (...) {
            return Failed();
        }
    }
    // Runs one statement without parameters.
    int RunText(std::string const& sql, pqxx::result* result);

    Util::Status LoadRole(long roleId, RoleRow* row) override;
    Util::Status AddRole(RoleRow const& row) override;
    Util::Status LoadEntitlement(long entitlementId, EntitlementRow* row) override;
    Util::Status AddEntitlement(EntitlementRow const& row) override;
    Util::Status UpdateEntitlement(EntitlementRow const& row) override;
    Util::Status LoadAssignment(long userKey, long roleId) override;
    Util::Status AddAssignment(long userKey, long roleId) override;
    Util::Status LoadMask(long roleId, long entitlementId, long* actionType) override;
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

    bool InTransaction() override { return m_InTransaction; }
    int BeginRead() override;
    void EndRead() override;
    int BeginWrite() override;
    int Savepoint(int depth) override;
    int Release(int depth) override;
    void RollbackTo(int depth) override;
    int Commit() override;
    void Rollback() override;
    int LostTransactionCode() override { return m_LostCode; }
    // A server company is made at this host's schema, and one of another
    // version is refused when opened: nothing to bring up to date.
    int UpgradeSchema() override { return kEngineOk; }
    int SchemaVersion() override;

    bool Execute(std::string const& sql, TextRows* rows, std::string* error) override;

    // A failure that the engine found itself (a key that exists, a database
    // no longer empty): the code of sqlstate, with text remembered for it.
    Util::Status Refuse(char const* sqlstate, std::string const& text);

private:
    // What a read bracket has fetched from its snapshot.
    struct Snapshot {
        bool rolesFetched = false;
        std::map<long, RoleRow> roles;
        bool entitlementsFetched = false;
        std::map<long, EntitlementRow> entitlements;
        std::map<long, std::set<long>> rolesOfUser;                 // by user key
        std::map<long, std::unordered_map<long, long>> masksOfRole; // entitlement -> mask
    };

    explicit ServerConnection(std::string const& uri);
    // Connects (again); the failing code, with the reason remembered.
    int Reconnect();
    // Before a statement: connected (again, outside a transaction), the
    // pending tables made, the statement prepared. The failing code.
    int Ready(ServerStatement const* statement);
    // Translates the exception being handled into a code, remembers the
    // server's text, and rolls back the transaction it ended.
    int Failed();
    // Sends transaction control; the failing code.
    int Control(std::string const& sql);
    // Makes the pending tables inside the open transaction.
    int CreatePendingSchema();
    // Takes the company's lock for the open transaction: write brackets of
    // all desktops follow one another.
    int LockCompany();
    // Inside a read bracket's transaction: loads are answered from a snapshot.
    bool Snapshotting() const;
    // The gate of Transactions.cpp, then connected: the failing code.
    int Gate(bool writes);

    Util::Status FetchRoles();
    Util::Status FetchEntitlements();

    std::string m_Location;
    std::string m_Shown;
    std::unique_ptr<pqxx::connection> m_Connection;
    std::unique_ptr<pqxx::nontransaction> m_Work;
    std::set<std::string> m_Prepared;
    bool m_InTransaction = false;
    bool m_ReadOnlyTransaction = false;
    bool m_SchemaPending = false;
    bool m_SchemaInTransaction = false;
    bool m_Session = false;
    bool m_SessionWritten = false;
    int m_LostCode = kEngineAbandoned;
    int m_LastFailure = kEngineOk;
    long m_StatementsSent = 0;
    Snapshot m_Snapshot;
};

// The open server company's connection; null when none is open.
ServerConnection* OpenServerConnection();

} // namespace detail
} // namespace Host
