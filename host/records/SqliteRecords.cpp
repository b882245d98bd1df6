// The SQLite engine's record operations: each runs one cached statement on the
// open company file, which commits by itself unless a bracket is open. Inside
// a read bracket's transaction a mask load fetches all masks of the role, and
// the bracket's later loads of that role are answered from them: a login
// reads every mask of each of the user's roles, and one scan of a role costs
// what a few dozen single-key loads do.
#include "CachedStatement.h"
#include "Connection.h"

#include <sqlite3.h>

#include <algorithm>
#include <string>
#include <utility>

namespace Host {
namespace detail {

namespace {

// Roles.
const char kRoleLoad[] =
    "SELECT category_type, is_visible, name, description FROM roles WHERE role_id = ?";
const char kRoleAdd[] = "INSERT INTO roles (role_id, category_type, is_visible, name, description) "
                        "VALUES (?, ?, ?, ?, ?)";
const char kRoleDelete[] = "DELETE FROM roles WHERE role_id = ?";
const char kRoleDeleteAll[] = "DELETE FROM roles";
const char kRoleCount[] = "SELECT count(*) FROM roles";

// Entitlements.
const char kEntitlementLoad[] = "SELECT category_type, attributes_id, is_visible, is_enabled, name "
                                "FROM entitlements WHERE entitlement_id = ?";
const char kEntitlementAdd[] = "INSERT INTO entitlements (entitlement_id, category_type, "
                               "attributes_id, is_visible, is_enabled, name) "
                               "VALUES (?, ?, ?, ?, ?, ?)";
const char kEntitlementUpdate[] = "UPDATE entitlements SET category_type = ?2, attributes_id = ?3, "
                                  "is_visible = ?4, is_enabled = ?5, name = ?6 "
                                  "WHERE entitlement_id = ?1";
const char kEntitlementDelete[] = "DELETE FROM entitlements WHERE entitlement_id = ?";
const char kEntitlementDeleteAll[] = "DELETE FROM entitlements";
const char kEntitlementCount[] = "SELECT count(*) FROM entitlements";

// Assignments of users (by record key) to roles.
const char kUserRoleLoad[] = "SELECT 1 FROM user_roles WHERE user_key = ? AND role_id = ?";
const char kUserRoleAdd[] = "INSERT INTO user_roles (user_key, role_id) VALUES (?, ?)";
const char kUserRoleDeleteByRole[] = "DELETE FROM user_roles WHERE role_id = ?";
const char kUserRoleDeleteByUser[] = "DELETE FROM user_roles WHERE user_key = ?";
const char kUserRoleDeleteAll[] = "DELETE FROM user_roles";
const char kUserRoleCountByUser[] = "SELECT count(*) FROM user_roles WHERE user_key = ?";
const char kUserRoleCountByRole[] = "SELECT count(*) FROM user_roles WHERE role_id = ?";

// Action masks of roles on entitlements.
const char kRoleActionLoad[] =
    "SELECT action_type FROM role_actions WHERE role_id = ? AND entitlement_id = ?";
const char kRoleActionFetch[] = "SELECT entitlement_id, action_type FROM role_actions "
                                "WHERE role_id = ? ORDER BY entitlement_id";
const char kRoleActionAdd[] =
    "INSERT INTO role_actions (role_id, entitlement_id, action_type) VALUES (?, ?, ?)";
const char kRoleActionUpdate[] =
    "UPDATE role_actions SET action_type = ?3 WHERE role_id = ?1 AND entitlement_id = ?2";
const char kRoleActionDeleteByRole[] = "DELETE FROM role_actions WHERE role_id = ?";
const char kRoleActionDeleteByEntitlement[] = "DELETE FROM role_actions WHERE entitlement_id = ?";
const char kRoleActionDeleteAll[] = "DELETE FROM role_actions";
const char kRoleActionCountByRole[] = "SELECT count(*) FROM role_actions WHERE role_id = ?";

// The statement of each selection, for a delete and for a count (null where
// the record classes have none), and whether it takes the key.
struct SelectionStatements {
    char const* remove;
    char const* count;
    bool keyed;
};

SelectionStatements StatementsOf(Selection rows) {
    switch (rows) {
    case Selection::kRole:
        return {kRoleDelete, nullptr, true};
    case Selection::kAllRoles:
        return {kRoleDeleteAll, kRoleCount, false};
    case Selection::kEntitlement:
        return {kEntitlementDelete, nullptr, true};
    case Selection::kAllEntitlements:
        return {kEntitlementDeleteAll, kEntitlementCount, false};
    case Selection::kAssignmentsOfUser:
        return {kUserRoleDeleteByUser, kUserRoleCountByUser, true};
    case Selection::kAssignmentsOfRole:
        return {kUserRoleDeleteByRole, kUserRoleCountByRole, true};
    case Selection::kAllAssignments:
        return {kUserRoleDeleteAll, nullptr, false};
    case Selection::kMasksOfRole:
        return {kRoleActionDeleteByRole, kRoleActionCountByRole, true};
    case Selection::kMasksOfEntitlement:
        return {kRoleActionDeleteByEntitlement, nullptr, true};
    case Selection::kAllMasks:
        return {kRoleActionDeleteAll, nullptr, false};
    }
    return {nullptr, nullptr, false};
}

// One record operation on one cached statement: binds the parameters in
// order, steps, and resets the statement when it ends, so that no read stays
// open between operations.
class RecordStatement {
public:
    explicit RecordStatement(char const* sql) {
        m_Statement = sql != nullptr ? CachedStatement(sql, &m_Rc) : nullptr;
        if (sql == nullptr) {
            m_Rc = SQLITE_MISUSE;
        }
    }
    ~RecordStatement() {
        if (m_Statement != nullptr) {
            sqlite3_reset(m_Statement);
            sqlite3_clear_bindings(m_Statement); // text is bound without a copy
        }
    }
    RecordStatement(RecordStatement const&) = delete;
    RecordStatement& operator=(RecordStatement const&) = delete;

    // False when the operation is not to run; Outcome() is then its status.
    bool Ready() const { return m_Statement != nullptr; }
    Util::Status Outcome() const { return Util::Status(false, m_Rc); }

    RecordStatement& Bind(long value) {
        Remember(sqlite3_bind_int64(m_Statement, ++m_Bound, value));
        return *this;
    }
    RecordStatement& Bind(std::string const& text) {
        Remember(sqlite3_bind_text(m_Statement, ++m_Bound, text.data(),
                                   static_cast<int>(text.size()), SQLITE_STATIC));
        return *this;
    }

    // SQLITE_ROW, SQLITE_DONE or an error code.
    int Step() { return m_BindError != SQLITE_OK ? m_BindError : sqlite3_step(m_Statement); }

    // Runs a write to its end.
    Util::Status Run() {
        int rc = Step();
        return rc == SQLITE_DONE ? Util::Status::GetSucceeded() : Util::Status(false, rc);
    }
    // Runs a write that must find its row: kRecordNotFound when none changed.
    Util::Status RunOnExisting() {
        Util::Status status = Run();
        if (status.Succeeded() && sqlite3_changes(sqlite3_db_handle(m_Statement)) == 0) {
            status = Util::Status::RecordNotFound();
        }
        return status;
    }
    // Runs a load: not found when it yields no row.
    Util::Status RunLoad() {
        int rc = Step();
        if (rc == SQLITE_ROW) {
            return Util::Status::GetSucceeded();
        }
        return rc == SQLITE_DONE ? Util::Status::RecordNotFound() : Util::Status(false, rc);
    }

    long Integer(int column) const {
        return static_cast<long>(sqlite3_column_int64(m_Statement, column));
    }
    short Flag(int column) const {
        return static_cast<short>(sqlite3_column_int(m_Statement, column));
    }
    std::string Text(int column) const {
        char const* bytes = reinterpret_cast<char const*>(sqlite3_column_text(m_Statement, column));
        int size = sqlite3_column_bytes(m_Statement, column);
        return std::string(bytes != nullptr ? bytes : "", static_cast<std::size_t>(size));
    }

private:
    void Remember(int rc) {
        if (m_BindError == SQLITE_OK) {
            m_BindError = rc;
        }
    }

    sqlite3_stmt* m_Statement = nullptr;
    int m_Rc = SQLITE_OK;
    int m_Bound = 0;
    int m_BindError = SQLITE_OK;
};

} // namespace

Util::Status Connection::LoadRole(long roleId, RoleRow* row) {
    RecordStatement statement(kRoleLoad);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    Util::Status status = statement.Bind(roleId).RunLoad();
    if (status.Succeeded() && status.GetStatusCode() == 0) {
        row->roleId = roleId;
        row->categoryType = statement.Integer(0);
        row->isVisible = statement.Flag(1);
        row->name = statement.Text(2);
        row->description = statement.Text(3);
    }
    return status;
}

Util::Status Connection::AddRole(RoleRow const& row) {
    RecordStatement statement(kRoleAdd);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(row.roleId)
        .Bind(row.categoryType)
        .Bind(row.isVisible)
        .Bind(row.name)
        .Bind(row.description)
        .Run();
}

Util::Status Connection::LoadEntitlement(long entitlementId, EntitlementRow* row) {
    RecordStatement statement(kEntitlementLoad);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    Util::Status status = statement.Bind(entitlementId).RunLoad();
    if (status.Succeeded() && status.GetStatusCode() == 0) {
        row->entitlementId = entitlementId;
        row->categoryType = statement.Integer(0);
        row->attributesId = statement.Integer(1);
        row->isVisible = statement.Flag(2);
        row->isEnabled = statement.Flag(3);
        row->name = statement.Text(4);
    }
    return status;
}

Util::Status Connection::AddEntitlement(EntitlementRow const& row) {
    RecordStatement statement(kEntitlementAdd);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(row.entitlementId)
        .Bind(row.categoryType)
        .Bind(row.attributesId)
        .Bind(row.isVisible)
        .Bind(row.isEnabled)
        .Bind(row.name)
        .Run();
}

Util::Status Connection::UpdateEntitlement(EntitlementRow const& row) {
    RecordStatement statement(kEntitlementUpdate);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(row.entitlementId)
        .Bind(row.categoryType)
        .Bind(row.attributesId)
        .Bind(row.isVisible)
        .Bind(row.isEnabled)
        .Bind(row.name)
        .RunOnExisting();
}

Util::Status Connection::LoadAssignment(long userKey, long roleId) {
    RecordStatement statement(kUserRoleLoad);
    return statement.Ready() ? statement.Bind(userKey).Bind(roleId).RunLoad() : statement.Outcome();
}

Util::Status Connection::AddAssignment(long userKey, long roleId) {
    RecordStatement statement(kUserRoleAdd);
    return statement.Ready() ? statement.Bind(userKey).Bind(roleId).Run() : statement.Outcome();
}

Util::Status Connection::FetchMasks(long roleId, MaskRows const** masks) {
    auto fetched = bracketMasks.find(roleId);
    if (fetched == bracketMasks.end()) {
        RecordStatement statement(kRoleActionFetch);
        if (!statement.Ready()) {
            return statement.Outcome();
        }
        statement.Bind(roleId);
        MaskRows rows;
        int rc = SQLITE_ROW;
        while ((rc = statement.Step()) == SQLITE_ROW) {
            rows.emplace_back(statement.Integer(0), statement.Integer(1));
        }
        if (rc != SQLITE_DONE) {
            return Util::Status(false, rc);
        }
        fetched = bracketMasks.emplace(roleId, std::move(rows)).first;
    }
    *masks = &fetched->second;
    return Util::Status::GetSucceeded();
}

Util::Status Connection::LoadMask(long roleId, long entitlementId, long* actionType) {
    // The first read of a read bracket begins its transaction (in the gate
    // that RecordStatement passes) and runs alone; the later ones of the
    // bracket share the role's fetched masks.
    if (readTransactionOpen && InTransaction()) {
        int gate = BeforeStatement(*this, false);
        if (gate != kEngineOk) {
            return Util::Status(false, gate);
        }
        MaskRows const* masks = nullptr;
        Util::Status fetched = FetchMasks(roleId, &masks);
        if (fetched.Failed()) {
            return fetched;
        }
        auto found = std::lower_bound(
            masks->begin(), masks->end(), entitlementId,
            [](std::pair<long, long> const& row, long id) { return row.first < id; });
        if (found == masks->end() || found->first != entitlementId) {
            return Util::Status::RecordNotFound();
        }
        *actionType = found->second;
        return Util::Status::GetSucceeded();
    }
    RecordStatement statement(kRoleActionLoad);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    Util::Status status = statement.Bind(roleId).Bind(entitlementId).RunLoad();
    if (status.Succeeded() && status.GetStatusCode() == 0) {
        *actionType = statement.Integer(0);
    }
    return status;
}

Util::Status Connection::AddMask(long roleId, long entitlementId, long actionType) {
    RecordStatement statement(kRoleActionAdd);
    return statement.Ready() ? statement.Bind(roleId).Bind(entitlementId).Bind(actionType).Run()
                             : statement.Outcome();
}

Util::Status Connection::UpdateMask(long roleId, long entitlementId, long actionType) {
    RecordStatement statement(kRoleActionUpdate);
    return statement.Ready()
               ? statement.Bind(roleId).Bind(entitlementId).Bind(actionType).RunOnExisting()
               : statement.Outcome();
}

Util::Status Connection::Delete(Selection rows, long key) {
    SelectionStatements sql = StatementsOf(rows);
    RecordStatement statement(sql.remove);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    if (sql.keyed) {
        statement.Bind(key);
    }
    bool mustExist = rows == Selection::kRole || rows == Selection::kEntitlement;
    return mustExist ? statement.RunOnExisting() : statement.Run();
}

Util::Status Connection::Count(Selection rows, long key, long* count) {
    SelectionStatements sql = StatementsOf(rows);
    RecordStatement statement(sql.count);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    if (sql.keyed) {
        statement.Bind(key);
    }
    int rc = statement.Step();
    if (rc != SQLITE_ROW) {
        return Util::Status(false, rc);
    }
    *count = statement.Integer(0);
    return Util::Status::GetSucceeded();
}

} // namespace detail
} // namespace Host
