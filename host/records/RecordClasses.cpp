// The record classes over the open company file. Each operation asks the fault
// plan first, when a test has installed one, then runs one cached statement
// (which commits by itself unless a bracket is open); the transaction
// argument is always null and is ignored.
#include "CachedStatement.h"
#include "Connection.h"
#include "FaultPlan.h"

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>

#include <sqlite3.h>

#include <cstring>
#include <string>

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
const char kRoleActionAdd[] =
    "INSERT INTO role_actions (role_id, entitlement_id, action_type) VALUES (?, ?, ?)";
const char kRoleActionUpdate[] =
    "UPDATE role_actions SET action_type = ?3 WHERE role_id = ?1 AND entitlement_id = ?2";
const char kRoleActionDeleteByRole[] = "DELETE FROM role_actions WHERE role_id = ?";
const char kRoleActionDeleteByEntitlement[] = "DELETE FROM role_actions WHERE entitlement_id = ?";
const char kRoleActionDeleteAll[] = "DELETE FROM role_actions";
const char kRoleActionCountByRole[] = "SELECT count(*) FROM role_actions WHERE role_id = ?";

// Every failed record operation ends here, so that a write bracket knows
// that the change it holds is not whole.
Util::Status Failure(int rc) {
    Host::detail::NoteFailedOperation();
    return Util::Status(false, rc);
}

// One record operation on one cached statement: asks the fault plan, binds
// the parameters in order, steps, and resets the statement when it ends, so
// that no read stays open between operations.
class RecordStatement {
public:
    RecordStatement(char const* operation, char const* sql) {
        Host::FaultPlan::Fault fault = Host::FaultPlan::kFail;
        Host::FaultPlan* plan = Host::FaultPlan::Installed();
        if (plan != nullptr && plan->ShouldInject(operation, &fault)) {
            m_Outcome =
                fault == Host::FaultPlan::kNotFound ? Util::Status::RecordNotFound() : Failure(-1);
            return;
        }
        int rc = SQLITE_OK;
        m_Statement = Host::detail::CachedStatement(sql, &rc);
        if (m_Statement == nullptr) {
            m_Outcome = Failure(rc);
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
    Util::Status const& Outcome() const { return m_Outcome; }

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
        return rc == SQLITE_DONE ? Util::Status::GetSucceeded() : Failure(rc);
    }
    // Runs a write that must find its row: kRecordNotFound when none changed.
    Util::Status RunOnExisting() {
        Util::Status status = Run();
        if (status.Succeeded() && sqlite3_changes(sqlite3_db_handle(m_Statement)) == 0) {
            status = Util::Status::RecordNotFound();
        }
        return status;
    }
    // Runs a count query into *count.
    Util::Status Count(long* count) {
        if (count == nullptr) {
            return Failure(SQLITE_MISUSE);
        }
        int rc = Step();
        if (rc != SQLITE_ROW) {
            return Failure(rc);
        }
        *count = static_cast<long>(sqlite3_column_int64(m_Statement, 0));
        return Util::Status::GetSucceeded();
    }

    long Integer(int column) const {
        return static_cast<long>(sqlite3_column_int64(m_Statement, column));
    }
    short Flag(int column) const {
        return static_cast<short>(sqlite3_column_int(m_Statement, column));
    }
    // False for a text that would not fit the record layer's text buffer.
    bool Text(int column, std::string* text) const {
        char const* bytes = reinterpret_cast<char const*>(sqlite3_column_text(m_Statement, column));
        int size = sqlite3_column_bytes(m_Statement, column);
        if (size >= kRecordTextBufferSize) {
            return false;
        }
        text->assign(bytes != nullptr ? bytes : "", static_cast<std::size_t>(size));
        return true;
    }

private:
    void Remember(int rc) {
        if (m_BindError == SQLITE_OK) {
            m_BindError = rc;
        }
    }

    sqlite3_stmt* m_Statement = nullptr;
    Util::Status m_Outcome = Util::Status::GetFailed();
    int m_Bound = 0;
    int m_BindError = SQLITE_OK;
};

// The outcome of a load whose row was not there, or whose step failed.
Util::Status NoRow(int rc) {
    return rc == SQLITE_DONE ? Util::Status::RecordNotFound() : Failure(rc);
}

// Stores text into *field when it fits the record layer's text buffer.
Util::Status SetText(std::string* field, char const* text) {
    if (text == nullptr || std::strlen(text) >= static_cast<std::size_t>(kRecordTextBufferSize)) {
        return Util::Status::GetFailed();
    }
    field->assign(text);
    return Util::Status::GetSucceeded();
}

long GetText(std::string const& field, char* buffer) {
    if (buffer == nullptr) {
        return -1;
    }
    std::memcpy(buffer, field.c_str(), field.size() + 1);
    return 0;
}

} // namespace

// ---------------------------------------------------------------------------
// DMUSRRole

DMUSRRole::DMUSRRole() : m_RoleId(0), m_CategoryType(0), m_IsVisible(0) {}

DMUSRRole::~DMUSRRole() = default;

Util::Status DMUSRRole::Load(long roleId, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRole::Load", kRoleLoad);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    int rc = statement.Bind(roleId).Step();
    if (rc != SQLITE_ROW) {
        return NoRow(rc);
    }
    std::string name;
    std::string description;
    if (!statement.Text(2, &name) || !statement.Text(3, &description)) {
        return Failure(SQLITE_TOOBIG);
    }
    m_RoleId = roleId;
    m_CategoryType = statement.Integer(0);
    m_IsVisible = statement.Flag(1);
    m_Name.swap(name);
    m_Description.swap(description);
    return Util::Status::GetSucceeded();
}

Util::Status DMUSRRole::Add(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRole::Add", kRoleAdd);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_RoleId)
        .Bind(m_CategoryType)
        .Bind(m_IsVisible)
        .Bind(m_Name)
        .Bind(m_Description)
        .Run();
}

Util::Status DMUSRRole::Delete(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRole::Delete", kRoleDelete);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_RoleId).RunOnExisting();
}

Util::Status DMUSRRole::DeleteAll(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRole::DeleteAll", kRoleDeleteAll);
    return statement.Ready() ? statement.Run() : statement.Outcome();
}

Util::Status DMUSRRole::GetCount(long* count, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRole::GetCount", kRoleCount);
    return statement.Ready() ? statement.Count(count) : statement.Outcome();
}

Util::Status DMUSRRole::SetName(char const* name) {
    return SetText(&m_Name, name);
}

Util::Status DMUSRRole::SetDescription(char const* description) {
    return SetText(&m_Description, description);
}

long DMUSRRole::GetName(char* buffer) const {
    return GetText(m_Name, buffer);
}

long DMUSRRole::GetDescription(char* buffer) const {
    return GetText(m_Description, buffer);
}

// ---------------------------------------------------------------------------
// DMUSREntitlement

DMUSREntitlement::DMUSREntitlement()
    : m_EntitlementId(0), m_CategoryType(0), m_AttributesId(0), m_IsEnabled(0), m_IsVisible(0) {}

DMUSREntitlement::~DMUSREntitlement() = default;

Util::Status DMUSREntitlement::Load(long entitlementId, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSREntitlement::Load", kEntitlementLoad);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    int rc = statement.Bind(entitlementId).Step();
    if (rc != SQLITE_ROW) {
        return NoRow(rc);
    }
    std::string name;
    if (!statement.Text(4, &name)) {
        return Failure(SQLITE_TOOBIG);
    }
    m_EntitlementId = entitlementId;
    m_CategoryType = statement.Integer(0);
    m_AttributesId = statement.Integer(1);
    m_IsVisible = statement.Flag(2);
    m_IsEnabled = statement.Flag(3);
    m_Name.swap(name);
    return Util::Status::GetSucceeded();
}

Util::Status DMUSREntitlement::Add(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSREntitlement::Add", kEntitlementAdd);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_EntitlementId)
        .Bind(m_CategoryType)
        .Bind(m_AttributesId)
        .Bind(m_IsVisible)
        .Bind(m_IsEnabled)
        .Bind(m_Name)
        .Run();
}

Util::Status DMUSREntitlement::Update(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSREntitlement::Update", kEntitlementUpdate);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_EntitlementId)
        .Bind(m_CategoryType)
        .Bind(m_AttributesId)
        .Bind(m_IsVisible)
        .Bind(m_IsEnabled)
        .Bind(m_Name)
        .RunOnExisting();
}

Util::Status DMUSREntitlement::Delete(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSREntitlement::Delete", kEntitlementDelete);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_EntitlementId).RunOnExisting();
}

Util::Status DMUSREntitlement::DeleteAll(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSREntitlement::DeleteAll", kEntitlementDeleteAll);
    return statement.Ready() ? statement.Run() : statement.Outcome();
}

Util::Status DMUSREntitlement::GetCount(long* count, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSREntitlement::GetCount", kEntitlementCount);
    return statement.Ready() ? statement.Count(count) : statement.Outcome();
}

Util::Status DMUSREntitlement::SetName(char const* name) {
    return SetText(&m_Name, name);
}

long DMUSREntitlement::GetName(char* buffer) const {
    return GetText(m_Name, buffer);
}

// ---------------------------------------------------------------------------
// DMUSRUserRole

DMUSRUserRole::DMUSRUserRole() : m_UserId(0), m_RoleId(0) {}

DMUSRUserRole::~DMUSRUserRole() = default;

Util::Status DMUSRUserRole::Load(long userKey, long roleId, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRUserRole::Load", kUserRoleLoad);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    int rc = statement.Bind(userKey).Bind(roleId).Step();
    if (rc != SQLITE_ROW) {
        return NoRow(rc);
    }
    m_UserId = userKey;
    m_RoleId = roleId;
    return Util::Status::GetSucceeded();
}

Util::Status DMUSRUserRole::Add(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRUserRole::Add", kUserRoleAdd);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_UserId).Bind(m_RoleId).Run();
}

Util::Status DMUSRUserRole::DeleteByRoleId(long roleId, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRUserRole::DeleteByRoleId", kUserRoleDeleteByRole);
    return statement.Ready() ? statement.Bind(roleId).Run() : statement.Outcome();
}

Util::Status DMUSRUserRole::DeleteByUserId(long userKey, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRUserRole::DeleteByUserId", kUserRoleDeleteByUser);
    return statement.Ready() ? statement.Bind(userKey).Run() : statement.Outcome();
}

Util::Status DMUSRUserRole::DeleteAll(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRUserRole::DeleteAll", kUserRoleDeleteAll);
    return statement.Ready() ? statement.Run() : statement.Outcome();
}

Util::Status DMUSRUserRole::GetUserRoleCountByUserId(long* count, long userKey,
                                                     DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRUserRole::GetUserRoleCountByUserId", kUserRoleCountByUser);
    return statement.Ready() ? statement.Bind(userKey).Count(count) : statement.Outcome();
}

Util::Status DMUSRUserRole::GetUserRoleCountByRoleId(long* count, long roleId,
                                                     DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRUserRole::GetUserRoleCountByRoleId", kUserRoleCountByRole);
    return statement.Ready() ? statement.Bind(roleId).Count(count) : statement.Outcome();
}

// ---------------------------------------------------------------------------
// DMUSRRoleAction

DMUSRRoleAction::DMUSRRoleAction() : m_RoleId(0), m_EntitlementId(0), m_ActionType(0) {}

DMUSRRoleAction::~DMUSRRoleAction() = default;

Util::Status DMUSRRoleAction::Load(long roleId, long entitlementId, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRoleAction::Load", kRoleActionLoad);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    int rc = statement.Bind(roleId).Bind(entitlementId).Step();
    if (rc != SQLITE_ROW) {
        return NoRow(rc);
    }
    m_RoleId = roleId;
    m_EntitlementId = entitlementId;
    m_ActionType = statement.Integer(0);
    return Util::Status::GetSucceeded();
}

Util::Status DMUSRRoleAction::Add(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRoleAction::Add", kRoleActionAdd);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_RoleId).Bind(m_EntitlementId).Bind(m_ActionType).Run();
}

Util::Status DMUSRRoleAction::Update(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRoleAction::Update", kRoleActionUpdate);
    if (!statement.Ready()) {
        return statement.Outcome();
    }
    return statement.Bind(m_RoleId).Bind(m_EntitlementId).Bind(m_ActionType).RunOnExisting();
}

Util::Status DMUSRRoleAction::Delete(long roleId, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRoleAction::Delete", kRoleActionDeleteByRole);
    return statement.Ready() ? statement.Bind(roleId).Run() : statement.Outcome();
}

Util::Status DMUSRRoleAction::DeleteByEntitlementId(long entitlementId, DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRoleAction::DeleteByEntitlementId",
                              kRoleActionDeleteByEntitlement);
    return statement.Ready() ? statement.Bind(entitlementId).Run() : statement.Outcome();
}

Util::Status DMUSRRoleAction::DeleteAll(DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRoleAction::DeleteAll", kRoleActionDeleteAll);
    return statement.Ready() ? statement.Run() : statement.Outcome();
}

Util::Status DMUSRRoleAction::GetRoleActionCountByRoleId(long* count, long roleId,
                                                         DBMgr::DMTransaction*) {
    RecordStatement statement("DMUSRRoleAction::GetRoleActionCountByRoleId",
                              kRoleActionCountByRole);
    return statement.Ready() ? statement.Bind(roleId).Count(count) : statement.Outcome();
}
