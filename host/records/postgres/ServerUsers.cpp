// The users table of a company on a server: the same numbering as on a file
// (ids from 101, record keys from 1, neither issued twice), kept by the same
// counters.
#include "ServerConnection.h"

#include "../Connection.h"
#include "../Transactions.h"
#include "ServerCodes.h"

namespace Host {
namespace detail {

namespace {

// The write bracket around an insert holds the company's lock, so that no
// other desktop takes the same numbers meanwhile.
const ServerStatement kInsertUser = {
    "pm_user_insert",
    "INSERT INTO users (user_id, record_key, name, is_admin) VALUES ("
    "GREATEST(COALESCE((SELECT MAX(user_id) FROM users), $1 - 1), "
    "COALESCE((SELECT value FROM host_counters WHERE name = 'user_id'), $1 - 1)) + 1, "
    "GREATEST(COALESCE((SELECT MAX(record_key) FROM users), $2 - 1), "
    "COALESCE((SELECT value FROM host_counters WHERE name = 'record_key'), $2 - 1)) + 1, "
    "$3, $4) ON CONFLICT DO NOTHING"};
const ServerStatement kKeepCounters = {
    "pm_user_counters",
    "INSERT INTO host_counters (name, value) SELECT 'user_id', user_id FROM users "
    "WHERE name = $1 UNION ALL SELECT 'record_key', record_key FROM users WHERE name = $1 "
    "ON CONFLICT (name) DO UPDATE SET value = excluded.value"};
const ServerStatement kDeleteUser = {"pm_user_delete", "DELETE FROM users WHERE user_id = $1"};
const ServerStatement kListUsers = {
    "pm_user_list", "SELECT user_id, record_key, name, is_admin FROM users ORDER BY user_id"};
const ServerStatement kUserByName = {"pm_user_by_name",
                                     "SELECT user_id FROM users WHERE name = $1"};
const ServerStatement kKeyForUser = {"pm_user_key",
                                     "SELECT record_key FROM users WHERE user_id = $1"};
const ServerStatement kUserForKey = {"pm_user_of_key",
                                     "SELECT user_id FROM users WHERE record_key = $1"};
const ServerStatement kAdminUser = {
    "pm_user_admin", "SELECT user_id FROM users WHERE is_admin = 1 ORDER BY user_id LIMIT 1"};
const ServerStatement kOrphanAssignments = {
    "pm_user_orphans",
    "SELECT a.user_key, a.role_id, CASE WHEN u.record_key IS NULL THEN 1 ELSE 0 END, "
    "CASE WHEN r.role_id IS NULL THEN 1 ELSE 0 END FROM user_roles a "
    "LEFT JOIN users u ON u.record_key = a.user_key LEFT JOIN roles r ON r.role_id = a.role_id "
    "WHERE u.record_key IS NULL OR r.role_id IS NULL ORDER BY a.user_key, a.role_id"};

// The first column of the first row as a number, or -1.
int FirstNumber(pqxx::result const& rows) {
    return rows.empty() || rows[0][0].is_null() ? -1 : rows[0][0].as<int>();
}

// Runs a lookup for the user manager, whose answers cannot carry a failure
// (-1 is "no such user"): a lookup whose connection was found lost (the
// server restarted meanwhile) is asked once more, on a new connection, so
// that a login does not take the failure for a user with no roles. A read
// changes nothing, so asking twice is safe; a transaction that the lost
// connection took with it fails as before, at its next statement or commit.
template <typename... Args>
int LookUp(ServerConnection& connection, ServerStatement const& statement, pqxx::result* rows,
           Args const&... args) {
    int code = connection.Run(statement, rows, args...);
    if (code != kEngineOk && SqlStateOf(code).compare(0, 2, "08") == 0) {
        code = connection.Run(statement, rows, args...);
    }
    return code;
}

} // namespace

int ServerConnection::InsertUser(std::string const& name, bool isAdmin, std::string* error) {
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = Run(kInsertUser, &result, kFirstUserId, kFirstRecordKey, name, isAdmin ? 1 : 0);
    }
    if (code == kEngineOk && result.affected_rows() == 0) {
        *error = "a user named '" + name + "' exists already";
        return Refuse("23505", "duplicate key value: users already holds name '" + name + "'")
            .GetStatusCode();
    }
    if (code == kEngineOk) {
        code = Run(kKeepCounters, &result, name);
    }
    if (code != kEngineOk) {
        *error = DescribeWriteFailure(code);
    }
    return code;
}

bool ServerConnection::DeleteUser(int userId) {
    pqxx::result result;
    return Gate(true) == kEngineOk && Run(kDeleteUser, &result, userId) == kEngineOk &&
           result.affected_rows() == 1;
}

std::vector<CompanyUser> ServerConnection::Users() {
    std::vector<CompanyUser> users;
    pqxx::result rows;
    if (Gate(false) != kEngineOk || LookUp(*this, kListUsers, &rows) != kEngineOk) {
        return users;
    }
    for (auto const& row : rows) {
        CompanyUser user;
        user.userId = row[0].as<int>();
        user.recordKey = row[1].as<int>();
        user.name = row[2].c_str();
        user.isAdmin = row[3].as<int>() == 1;
        users.push_back(user);
    }
    return users;
}

int ServerConnection::FindUser(std::string const& name) {
    pqxx::result rows;
    if (Gate(false) != kEngineOk || LookUp(*this, kUserByName, &rows, name) != kEngineOk) {
        return -1;
    }
    return FirstNumber(rows);
}

int ServerConnection::LookUpUser(UserLookup lookup, int parameter) {
    pqxx::result rows;
    int code = Gate(false);
    if (code != kEngineOk) {
        return -1;
    }
    switch (lookup) {
    case UserLookup::kRecordKeyOfUser:
        code = LookUp(*this, kKeyForUser, &rows, parameter);
        break;
    case UserLookup::kUserOfRecordKey:
        code = LookUp(*this, kUserForKey, &rows, parameter);
        break;
    case UserLookup::kFirstAdmin:
        code = LookUp(*this, kAdminUser, &rows);
        break;
    }
    return code == kEngineOk ? FirstNumber(rows) : -1;
}

std::vector<OrphanAssignment> ServerConnection::OrphanAssignments() {
    std::vector<OrphanAssignment> orphans;
    pqxx::result rows;
    if (Gate(false) != kEngineOk || Run(kOrphanAssignments, &rows) != kEngineOk) {
        return orphans;
    }
    for (auto const& row : rows) {
        OrphanAssignment orphan;
        orphan.recordKey = row[0].as<int>();
        orphan.roleId = row[1].as<int>();
        orphan.userGone = row[2].as<int>() != 0;
        orphan.roleGone = row[3].as<int>() != 0;
        orphans.push_back(orphan);
    }
    return orphans;
}

} // namespace detail
} // namespace Host
