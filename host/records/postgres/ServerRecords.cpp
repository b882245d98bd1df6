// The server engine's record operations. Outside a read bracket each is one
// prepared statement; inside one, loads are answered from what the bracket
// fetched of its snapshot: a whole table, or all rows of one user or role.
#include "ServerConnection.h"

#include "../Connection.h"

#include <string>

namespace Host {
namespace detail {

namespace {

// Roles.
const ServerStatement kRoleLoad = {
    "pm_role_load",
    "SELECT category_type, is_visible, name, description FROM roles WHERE role_id = $1"};
const ServerStatement kRoleFetch = {
    "pm_role_fetch", "SELECT role_id, category_type, is_visible, name, description FROM roles"};
const ServerStatement kRoleAdd = {
    "pm_role_add", "INSERT INTO roles (role_id, category_type, is_visible, name, description) "
                   "VALUES ($1, $2, $3, $4, $5) ON CONFLICT DO NOTHING"};

// Entitlements.
const ServerStatement kEntitlementLoad = {
    "pm_entitlement_load", "SELECT category_type, attributes_id, is_visible, is_enabled, name "
                           "FROM entitlements WHERE entitlement_id = $1"};
const ServerStatement kEntitlementFetch = {
    "pm_entitlement_fetch",
    "SELECT entitlement_id, category_type, attributes_id, is_visible, is_enabled, name "
    "FROM entitlements"};
const ServerStatement kEntitlementAdd = {
    "pm_entitlement_add",
    "INSERT INTO entitlements (entitlement_id, category_type, attributes_id, is_visible, "
    "is_enabled, name) VALUES ($1, $2, $3, $4, $5, $6) ON CONFLICT DO NOTHING"};
const ServerStatement kEntitlementUpdate = {
    "pm_entitlement_update",
    "UPDATE entitlements SET category_type = $2, attributes_id = $3, is_visible = $4, "
    "is_enabled = $5, name = $6 WHERE entitlement_id = $1"};

// Assignments of users (by record key) to roles.
const ServerStatement kUserRoleLoad = {
    "pm_user_role_load", "SELECT 1 FROM user_roles WHERE user_key = $1 AND role_id = $2"};
const ServerStatement kUserRoleFetch = {"pm_user_role_fetch",
                                        "SELECT role_id FROM user_roles WHERE user_key = $1"};
const ServerStatement kUserRoleAdd = {
    "pm_user_role_add",
    "INSERT INTO user_roles (user_key, role_id) VALUES ($1, $2) ON CONFLICT DO NOTHING"};

// Action masks of roles on entitlements.
const ServerStatement kRoleActionLoad = {
    "pm_role_action_load",
    "SELECT action_type FROM role_actions WHERE role_id = $1 AND entitlement_id = $2"};
const ServerStatement kRoleActionFetch = {
    "pm_role_action_fetch",
    "SELECT entitlement_id, action_type FROM role_actions WHERE role_id = $1"};
const ServerStatement kRoleActionAdd = {
    "pm_role_action_add", "INSERT INTO role_actions (role_id, entitlement_id, action_type) "
                          "VALUES ($1, $2, $3) ON CONFLICT DO NOTHING"};
const ServerStatement kRoleActionUpdate = {
    "pm_role_action_update",
    "UPDATE role_actions SET action_type = $3 WHERE role_id = $1 AND entitlement_id = $2"};

Util::Status Failure(int code) {
    return Util::Status(false, code);
}

std::string Text(pqxx::field const& field) {
    return std::string(field.c_str(), field.size());
}

RoleRow RoleFrom(pqxx::row const& row, long roleId, int first) {
    RoleRow role;
    role.roleId = roleId;
    role.categoryType = row[first].as<long>();
    role.isVisible = row[first + 1].as<short>();
    role.name = Text(row[first + 2]);
    role.description = Text(row[first + 3]);
    return role;
}

EntitlementRow EntitlementFrom(pqxx::row const& row, long entitlementId, int first) {
    EntitlementRow entitlement;
    entitlement.entitlementId = entitlementId;
    entitlement.categoryType = row[first].as<long>();
    entitlement.attributesId = row[first + 1].as<long>();
    entitlement.isVisible = row[first + 2].as<short>();
    entitlement.isEnabled = row[first + 3].as<short>();
    entitlement.name = Text(row[first + 4]);
    return entitlement;
}

// The outcome of an insert that skipped a conflict: the failure of a key that
// is stored, as the server would have reported it.
Util::Status Inserted(ServerConnection& connection, pqxx::result const& result, char const* table,
                      std::string const& key) {
    if (result.affected_rows() != 0) {
        return Util::Status::GetSucceeded();
    }
    return connection.Refuse("23505", "duplicate key value: " + std::string(table) +
                                          " already holds " + key);
}

Util::Status Changed(pqxx::result const& result) {
    return result.affected_rows() == 0 ? Util::Status::RecordNotFound()
                                       : Util::Status::GetSucceeded();
}

} // namespace

Util::Status ServerConnection::FetchRoles() {
    if (m_Snapshot.rolesFetched) {
        return Util::Status::GetSucceeded();
    }
    pqxx::result rows;
    int code = Run(kRoleFetch, &rows);
    if (code != kEngineOk) {
        return Failure(code);
    }
    for (auto const& row : rows) {
        long roleId = row[0].as<long>();
        m_Snapshot.roles.emplace(roleId, RoleFrom(row, roleId, 1));
    }
    m_Snapshot.rolesFetched = true;
    return Util::Status::GetSucceeded();
}

Util::Status ServerConnection::FetchEntitlements() {
    if (m_Snapshot.entitlementsFetched) {
        return Util::Status::GetSucceeded();
    }
    pqxx::result rows;
    int code = Run(kEntitlementFetch, &rows);
    if (code != kEngineOk) {
        return Failure(code);
    }
    for (auto const& row : rows) {
        long entitlementId = row[0].as<long>();
        m_Snapshot.entitlements.emplace(entitlementId, EntitlementFrom(row, entitlementId, 1));
    }
    m_Snapshot.entitlementsFetched = true;
    return Util::Status::GetSucceeded();
}

Util::Status ServerConnection::LoadRole(long roleId, RoleRow* row) {
    int code = Gate(false);
    if (code != kEngineOk) {
        return Failure(code);
    }
    if (Snapshotting()) {
        Util::Status fetched = FetchRoles();
        if (fetched.Failed()) {
            return fetched;
        }
        auto found = m_Snapshot.roles.find(roleId);
        if (found == m_Snapshot.roles.end()) {
            return Util::Status::RecordNotFound();
        }
        *row = found->second;
        return Util::Status::GetSucceeded();
    }
    pqxx::result rows;
    code = Run(kRoleLoad, &rows, roleId);
    if (code != kEngineOk) {
        return Failure(code);
    }
    if (rows.empty()) {
        return Util::Status::RecordNotFound();
    }
    *row = RoleFrom(rows[0], roleId, 0);
    return Util::Status::GetSucceeded();
}

Util::Status ServerConnection::AddRole(RoleRow const& row) {
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = Run(kRoleAdd, &result, row.roleId, row.categoryType, row.isVisible, row.name,
                   row.description);
    }
    return code != kEngineOk
               ? Failure(code)
               : Inserted(*this, result, "roles", "role_id " + std::to_string(row.roleId));
}

Util::Status ServerConnection::LoadEntitlement(long entitlementId, EntitlementRow* row) {
    int code = Gate(false);
    if (code != kEngineOk) {
        return Failure(code);
    }
    if (Snapshotting()) {
        Util::Status fetched = FetchEntitlements();
        if (fetched.Failed()) {
            return fetched;
        }
        auto found = m_Snapshot.entitlements.find(entitlementId);
        if (found == m_Snapshot.entitlements.end()) {
            return Util::Status::RecordNotFound();
        }
        *row = found->second;
        return Util::Status::GetSucceeded();
    }
    pqxx::result rows;
    code = Run(kEntitlementLoad, &rows, entitlementId);
    if (code != kEngineOk) {
        return Failure(code);
    }
    if (rows.empty()) {
        return Util::Status::RecordNotFound();
    }
    *row = EntitlementFrom(rows[0], entitlementId, 0);
    return Util::Status::GetSucceeded();
}

Util::Status ServerConnection::AddEntitlement(EntitlementRow const& row) {
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = Run(kEntitlementAdd, &result, row.entitlementId, row.categoryType, row.attributesId,
                   row.isVisible, row.isEnabled, row.name);
    }
    return code != kEngineOk ? Failure(code)
                             : Inserted(*this, result, "entitlements",
                                        "entitlement_id " + std::to_string(row.entitlementId));
}

Util::Status ServerConnection::UpdateEntitlement(EntitlementRow const& row) {
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = Run(kEntitlementUpdate, &result, row.entitlementId, row.categoryType,
                   row.attributesId, row.isVisible, row.isEnabled, row.name);
    }
    return code != kEngineOk ? Failure(code) : Changed(result);
}

Util::Status ServerConnection::LoadAssignment(long userKey, long roleId) {
    int code = Gate(false);
    if (code != kEngineOk) {
        return Failure(code);
    }
    pqxx::result rows;
    if (Snapshotting()) {
        auto fetched = m_Snapshot.rolesOfUser.find(userKey);
        if (fetched == m_Snapshot.rolesOfUser.end()) {
            code = Run(kUserRoleFetch, &rows, userKey);
            if (code != kEngineOk) {
                return Failure(code);
            }
            std::set<long>& roles = m_Snapshot.rolesOfUser[userKey];
            for (auto const& row : rows) {
                roles.insert(row[0].as<long>());
            }
            fetched = m_Snapshot.rolesOfUser.find(userKey);
        }
        return fetched->second.count(roleId) != 0 ? Util::Status::GetSucceeded()
                                                  : Util::Status::RecordNotFound();
    }
    code = Run(kUserRoleLoad, &rows, userKey, roleId);
    if (code != kEngineOk) {
        return Failure(code);
    }
    return rows.empty() ? Util::Status::RecordNotFound() : Util::Status::GetSucceeded();
}

Util::Status ServerConnection::AddAssignment(long userKey, long roleId) {
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = Run(kUserRoleAdd, &result, userKey, roleId);
    }
    return code != kEngineOk ? Failure(code)
                             : Inserted(*this, result, "user_roles",
                                        "(user_key, role_id) (" + std::to_string(userKey) + ", " +
                                            std::to_string(roleId) + ")");
}

Util::Status ServerConnection::LoadMask(long roleId, long entitlementId, long* actionType) {
    int code = Gate(false);
    if (code != kEngineOk) {
        return Failure(code);
    }
    pqxx::result rows;
    if (Snapshotting()) {
        auto fetched = m_Snapshot.masksOfRole.find(roleId);
        if (fetched == m_Snapshot.masksOfRole.end()) {
            code = Run(kRoleActionFetch, &rows, roleId);
            if (code != kEngineOk) {
                return Failure(code);
            }
            std::unordered_map<long, long>& masks = m_Snapshot.masksOfRole[roleId];
            masks.reserve(rows.size());
            for (auto const& row : rows) {
                masks.emplace(row[0].as<long>(), row[1].as<long>());
            }
            fetched = m_Snapshot.masksOfRole.find(roleId);
        }
        auto found = fetched->second.find(entitlementId);
        if (found == fetched->second.end()) {
            return Util::Status::RecordNotFound();
        }
        *actionType = found->second;
        return Util::Status::GetSucceeded();
    }
    code = Run(kRoleActionLoad, &rows, roleId, entitlementId);
    if (code != kEngineOk) {
        return Failure(code);
    }
    if (rows.empty()) {
        return Util::Status::RecordNotFound();
    }
    *actionType = rows[0][0].as<long>();
    return Util::Status::GetSucceeded();
}

Util::Status ServerConnection::AddMask(long roleId, long entitlementId, long actionType) {
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = Run(kRoleActionAdd, &result, roleId, entitlementId, actionType);
    }
    return code != kEngineOk ? Failure(code)
                             : Inserted(*this, result, "role_actions",
                                        "(role_id, entitlement_id) (" + std::to_string(roleId) +
                                            ", " + std::to_string(entitlementId) + ")");
}

Util::Status ServerConnection::UpdateMask(long roleId, long entitlementId, long actionType) {
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = Run(kRoleActionUpdate, &result, roleId, entitlementId, actionType);
    }
    return code != kEngineOk ? Failure(code) : Changed(result);
}

} // namespace detail
} // namespace Host
