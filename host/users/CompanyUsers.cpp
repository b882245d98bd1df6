// The users table of the company file and the user manager that reads it:
// the functions over whichever engine holds the open company, and the SQLite
// engine's statements (the server's are in host/records/postgres/).
#include <host/records/CachedStatement.h>
#include <host/records/CompanyFile.h>
#include <host/records/Connection.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

#include <sqlite3.h>

namespace Host {

namespace {

using detail::kFirstRecordKey;
using detail::kFirstUserId;

// The highest user id and record key ever issued, kept apart from the users
// so that a removed user's key, under which assignments were filed, is never
// given to a new user. Files made before it have none until the first add.
const char kCreateCounters[] = "CREATE TABLE IF NOT EXISTS host_counters "
                               "(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID";
const char kInsertUser[] =
    "INSERT INTO users (user_id, record_key, name, is_admin) VALUES ("
    "MAX(COALESCE((SELECT MAX(user_id) FROM users), ?1 - 1), "
    "COALESCE((SELECT value FROM host_counters WHERE name = 'user_id'), ?1 - 1)) + 1, "
    "MAX(COALESCE((SELECT MAX(record_key) FROM users), ?2 - 1), "
    "COALESCE((SELECT value FROM host_counters WHERE name = 'record_key'), ?2 - 1)) + 1, ?3, ?4)";
const char kKeepCounters[] =
    "INSERT INTO host_counters (name, value) SELECT 'user_id', user_id FROM users "
    "WHERE name = ?1 UNION ALL SELECT 'record_key', record_key FROM users WHERE name = ?1 "
    "ON CONFLICT (name) DO UPDATE SET value = excluded.value";
const char kDeleteUser[] = "DELETE FROM users WHERE user_id = ?1";
const char kListUsers[] = "SELECT user_id, record_key, name, is_admin FROM users ORDER BY user_id";
const char kUserByName[] = "SELECT user_id FROM users WHERE name = ?1";
const char kKeyForUser[] = "SELECT record_key FROM users WHERE user_id = ?1";
const char kUserForKey[] = "SELECT user_id FROM users WHERE record_key = ?1";
const char kOrphanAssignments[] =
    "SELECT a.user_key, a.role_id, u.record_key IS NULL, r.role_id IS NULL FROM user_roles a "
    "LEFT JOIN users u ON u.record_key = a.user_key LEFT JOIN roles r ON r.role_id = a.role_id "
    "WHERE u.record_key IS NULL OR r.role_id IS NULL ORDER BY a.user_key, a.role_id";
const char kAdminUser[] = "SELECT user_id FROM users WHERE is_admin = 1 ORDER BY user_id LIMIT 1";

// Resets a cached statement when the caller is done with it.
class StatementUse {
public:
    explicit StatementUse(char const* sql) { m_Statement = detail::CachedStatement(sql, &m_Rc); }
    ~StatementUse() {
        if (m_Statement != nullptr) {
            sqlite3_reset(m_Statement);
            sqlite3_clear_bindings(m_Statement);
        }
    }
    StatementUse(StatementUse const&) = delete;
    StatementUse& operator=(StatementUse const&) = delete;
    sqlite3_stmt* get() const { return m_Statement; }
    // Why there is no statement: no file open, or a write bracket refusing.
    int rc() const { return m_Rc; }

private:
    sqlite3_stmt* m_Statement;
    int m_Rc = SQLITE_OK;
};

std::string Refusal(int rc) {
    return rc == SQLITE_MISUSE && !IsCompanyFileOpen() ? std::string("no company file is open")
                                                       : std::string(sqlite3_errstr(rc));
}

// The single integer a one-parameter query yields, or -1.
int QueryInt(char const* sql, int parameter, bool bind) {
    StatementUse statement(sql);
    if (statement.get() == nullptr) {
        return -1;
    }
    if (bind) {
        sqlite3_bind_int(statement.get(), 1, parameter);
    }
    if (sqlite3_step(statement.get()) != SQLITE_ROW) {
        return -1;
    }
    return sqlite3_column_int(statement.get(), 0);
}

CompanyUserManager gCompanyUserManager;

} // namespace

// ---------------------------------------------------------------------------
// The users of the open company, on its engine.

int AddCompanyUser(std::string const& name, bool isAdmin, std::string* error) {
    if (name.empty()) {
        *error = "a user needs a name";
        return -1;
    }
    detail::Engine* engine = detail::CurrentEngine();
    if (engine == nullptr) {
        *error = "no company file is open";
        return -1;
    }
    // The row and the counters go in together, or neither does.
    WriteTransaction bracket;
    if (bracket.BeginResult() != kBracketOk) {
        *error = DescribeWriteFailure(bracket.BeginResult());
        return -1;
    }
    if (engine->InsertUser(name, isAdmin, error) != detail::kEngineOk) {
        return -1;
    }
    int rc = bracket.Commit();
    if (rc != kBracketOk) {
        *error = DescribeWriteFailure(rc);
        return -1;
    }
    return FindCompanyUser(name);
}

bool RemoveCompanyUser(int userId) {
    detail::Engine* engine = detail::CurrentEngine();
    return engine != nullptr && engine->DeleteUser(userId);
}

std::vector<CompanyUser> ListCompanyUsers() {
    detail::Engine* engine = detail::CurrentEngine();
    return engine != nullptr ? engine->Users() : std::vector<CompanyUser>();
}

int FindCompanyUser(std::string const& name) {
    detail::Engine* engine = detail::CurrentEngine();
    return engine != nullptr ? engine->FindUser(name) : -1;
}

std::vector<OrphanAssignment> FindOrphanAssignments() {
    detail::Engine* engine = detail::CurrentEngine();
    return engine != nullptr ? engine->OrphanAssignments() : std::vector<OrphanAssignment>();
}

namespace {

int LookUp(detail::UserLookup lookup, int parameter) {
    detail::Engine* engine = detail::CurrentEngine();
    return engine != nullptr ? engine->LookUpUser(lookup, parameter) : -1;
}

} // namespace

int CompanyUserManager::GetDBRecKeyForUser(int userId) {
    return LookUp(detail::UserLookup::kRecordKeyOfUser, userId);
}

int CompanyUserManager::GetUserForDBRecKey(int recordKey) {
    return LookUp(detail::UserLookup::kUserOfRecordKey, recordKey);
}

int CompanyUserManager::GetAdminUserId() {
    return LookUp(detail::UserLookup::kFirstAdmin, 0);
}

void UseCompanyUserManager() {
    SetUserManager(&gCompanyUserManager);
}

// ---------------------------------------------------------------------------
// The users table of an SQLite company file.

namespace detail {

// Adds the row and keeps the counters, inside the caller's bracket.
int Connection::InsertUser(std::string const& name, bool isAdmin, std::string* error) {
    // Files made before the counters have none until their first user add.
    if (sqlite3_exec(db, kCreateCounters, nullptr, nullptr, nullptr) != SQLITE_OK) {
        *error = sqlite3_errmsg(db);
        return sqlite3_extended_errcode(db);
    }
    StatementUse insert(kInsertUser);
    if (insert.get() == nullptr) {
        *error = Refusal(insert.rc());
        return insert.rc();
    }
    sqlite3_bind_int(insert.get(), 1, kFirstUserId);
    sqlite3_bind_int(insert.get(), 2, kFirstRecordKey);
    sqlite3_bind_text(insert.get(), 3, name.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(insert.get(), 4, isAdmin ? 1 : 0);
    int rc = sqlite3_step(insert.get());
    if (rc != SQLITE_DONE) {
        *error = (rc & 0xFF) == SQLITE_CONSTRAINT ? "a user named '" + name + "' exists already"
                                                  : std::string(sqlite3_errstr(rc));
        return rc;
    }
    StatementUse keep(kKeepCounters);
    rc = keep.get() == nullptr ? keep.rc() : SQLITE_OK;
    if (rc == SQLITE_OK) {
        sqlite3_bind_text(keep.get(), 1, name.c_str(), -1, SQLITE_TRANSIENT);
        rc = sqlite3_step(keep.get());
    }
    if (rc != SQLITE_DONE) {
        *error = sqlite3_errstr(rc);
        return rc;
    }
    return SQLITE_OK;
}

bool Connection::DeleteUser(int userId) {
    StatementUse statement(kDeleteUser);
    if (statement.get() == nullptr) {
        return false;
    }
    sqlite3_bind_int(statement.get(), 1, userId);
    return sqlite3_step(statement.get()) == SQLITE_DONE && sqlite3_changes(db) == 1;
}

std::vector<CompanyUser> Connection::Users() {
    std::vector<CompanyUser> users;
    StatementUse statement(kListUsers);
    if (statement.get() == nullptr) {
        return users;
    }
    while (sqlite3_step(statement.get()) == SQLITE_ROW) {
        CompanyUser user;
        user.userId = sqlite3_column_int(statement.get(), 0);
        user.recordKey = sqlite3_column_int(statement.get(), 1);
        user.name = reinterpret_cast<char const*>(sqlite3_column_text(statement.get(), 2));
        user.isAdmin = sqlite3_column_int(statement.get(), 3) == 1;
        users.push_back(user);
    }
    return users;
}

int Connection::FindUser(std::string const& name) {
    StatementUse statement(kUserByName);
    if (statement.get() == nullptr) {
        return -1;
    }
    sqlite3_bind_text(statement.get(), 1, name.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(statement.get()) != SQLITE_ROW) {
        return -1;
    }
    return sqlite3_column_int(statement.get(), 0);
}

int Connection::LookUpUser(UserLookup lookup, int parameter) {
    switch (lookup) {
    case UserLookup::kRecordKeyOfUser:
        return QueryInt(kKeyForUser, parameter, true);
    case UserLookup::kUserOfRecordKey:
        return QueryInt(kUserForKey, parameter, true);
    case UserLookup::kFirstAdmin:
        return QueryInt(kAdminUser, 0, false);
    }
    return -1;
}

std::vector<OrphanAssignment> Connection::OrphanAssignments() {
    std::vector<OrphanAssignment> orphans;
    StatementUse statement(kOrphanAssignments);
    while (statement.get() != nullptr && sqlite3_step(statement.get()) == SQLITE_ROW) {
        OrphanAssignment orphan;
        orphan.recordKey = sqlite3_column_int(statement.get(), 0);
        orphan.roleId = sqlite3_column_int(statement.get(), 1);
        orphan.userGone = sqlite3_column_int(statement.get(), 2) != 0;
        orphan.roleGone = sqlite3_column_int(statement.get(), 3) != 0;
        orphans.push_back(orphan);
    }
    return orphans;
}

} // namespace detail

} // namespace Host
