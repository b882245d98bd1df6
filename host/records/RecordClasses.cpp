// The record classes over the open company, on whichever engine holds it
// (Engine.h). Each operation asks the fault plan first, when a test has
// installed one, then runs on the engine (which commits by itself unless a
// bracket is open); the transaction argument is always null and is ignored.
#include "Connection.h"
#include "Engine.h"
#include "FaultPlan.h"

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>

#include <cstring>
#include <string>

namespace {

using Host::detail::Engine;
using Host::detail::Selection;

// Every failed record operation ends here, so that a write bracket knows
// that the change it holds is not whole.
Util::Status Counted(Util::Status const& status) {
    if (status.Failed()) {
        Host::detail::NoteFailedOperation(status.GetStatusCode());
    }
    return status;
}

// The engine an operation is to run on, or null with *outcome set: the fault
// plan's answer, or the failure of no company being open.
Engine* EngineFor(char const* operation, Util::Status* outcome) {
    Host::FaultPlan::Fault fault = Host::FaultPlan::kFail;
    Host::FaultPlan* plan = Host::FaultPlan::Installed();
    if (plan != nullptr && plan->ShouldInject(operation, &fault)) {
        *outcome = fault == Host::FaultPlan::kNotFound ? Util::Status::RecordNotFound()
                                                       : Counted(Util::Status(false, -1));
        return nullptr;
    }
    Engine* engine = Host::detail::CurrentEngine();
    if (engine == nullptr) {
        *outcome = Counted(Util::Status(false, Host::detail::kEngineNoCompanyOpen));
    }
    return engine;
}

// A load found its row (not merely succeeded).
bool Found(Util::Status const& status) {
    return status.Succeeded() && status.GetStatusCode() == 0;
}

bool Fits(std::string const& text) {
    return text.size() < static_cast<std::size_t>(kRecordTextBufferSize);
}

Util::Status TooLong() {
    return Counted(Util::Status(false, Host::detail::kEngineTextTooLong));
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

// An entitlement record's fields as a row.
Host::detail::EntitlementRow RowOf(long id, long category, long attributes, short visible,
                                   short enabled, std::string const& name) {
    Host::detail::EntitlementRow row;
    row.entitlementId = id;
    row.categoryType = category;
    row.attributesId = attributes;
    row.isVisible = visible;
    row.isEnabled = enabled;
    row.name = name;
    return row;
}

// Runs a delete of the selected rows.
Util::Status Delete(char const* operation, Selection rows, long key) {
    Util::Status outcome;
    Engine* engine = EngineFor(operation, &outcome);
    return engine != nullptr ? Counted(engine->Delete(rows, key)) : outcome;
}

// Counts the selected rows into *count (not null).
Util::Status Count(char const* operation, Selection rows, long key, long* count) {
    Util::Status outcome;
    Engine* engine = EngineFor(operation, &outcome);
    if (engine == nullptr) {
        return outcome;
    }
    if (count == nullptr) {
        return Counted(Util::Status(false, Host::detail::kEngineNoCompanyOpen));
    }
    return Counted(engine->Count(rows, key, count));
}

} // namespace

// ---------------------------------------------------------------------------
// DMUSRRole

DMUSRRole::DMUSRRole() : m_RoleId(0), m_CategoryType(0), m_IsVisible(0) {}

DMUSRRole::~DMUSRRole() = default;

Util::Status DMUSRRole::Load(long roleId, DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSRRole::Load", &outcome);
    if (engine == nullptr) {
        return outcome;
    }
    Host::detail::RoleRow row;
    Util::Status status = Counted(engine->LoadRole(roleId, &row));
    if (!Found(status)) {
        return status;
    }
    if (!Fits(row.name) || !Fits(row.description)) {
        return TooLong();
    }
    m_RoleId = roleId;
    m_CategoryType = row.categoryType;
    m_IsVisible = row.isVisible;
    m_Name.swap(row.name);
    m_Description.swap(row.description);
    return status;
}

Util::Status DMUSRRole::Add(DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSRRole::Add", &outcome);
    if (engine == nullptr) {
        return outcome;
    }
    Host::detail::RoleRow row;
    row.roleId = m_RoleId;
    row.categoryType = m_CategoryType;
    row.isVisible = m_IsVisible;
    row.name = m_Name;
    row.description = m_Description;
    return Counted(engine->AddRole(row));
}

Util::Status DMUSRRole::Delete(DBMgr::DMTransaction*) {
    return ::Delete("DMUSRRole::Delete", Selection::kRole, m_RoleId);
}

Util::Status DMUSRRole::DeleteAll(DBMgr::DMTransaction*) {
    return ::Delete("DMUSRRole::DeleteAll", Selection::kAllRoles, 0);
}

Util::Status DMUSRRole::GetCount(long* count, DBMgr::DMTransaction*) {
    return ::Count("DMUSRRole::GetCount", Selection::kAllRoles, 0, count);
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
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSREntitlement::Load", &outcome);
    if (engine == nullptr) {
        return outcome;
    }
    Host::detail::EntitlementRow row;
    Util::Status status = Counted(engine->LoadEntitlement(entitlementId, &row));
    if (!Found(status)) {
        return status;
    }
    if (!Fits(row.name)) {
        return TooLong();
    }
    m_EntitlementId = entitlementId;
    m_CategoryType = row.categoryType;
    m_AttributesId = row.attributesId;
    m_IsVisible = row.isVisible;
    m_IsEnabled = row.isEnabled;
    m_Name.swap(row.name);
    return status;
}

Util::Status DMUSREntitlement::Add(DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSREntitlement::Add", &outcome);
    return engine == nullptr ? outcome
                             : Counted(engine->AddEntitlement(RowOf(m_EntitlementId, m_CategoryType,
                                                                    m_AttributesId, m_IsVisible,
                                                                    m_IsEnabled, m_Name)));
}

Util::Status DMUSREntitlement::Update(DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSREntitlement::Update", &outcome);
    return engine == nullptr ? outcome
                             : Counted(engine->UpdateEntitlement(
                                   RowOf(m_EntitlementId, m_CategoryType, m_AttributesId,
                                         m_IsVisible, m_IsEnabled, m_Name)));
}

Util::Status DMUSREntitlement::Delete(DBMgr::DMTransaction*) {
    return ::Delete("DMUSREntitlement::Delete", Selection::kEntitlement, m_EntitlementId);
}

Util::Status DMUSREntitlement::DeleteAll(DBMgr::DMTransaction*) {
    return ::Delete("DMUSREntitlement::DeleteAll", Selection::kAllEntitlements, 0);
}

Util::Status DMUSREntitlement::GetCount(long* count, DBMgr::DMTransaction*) {
    return ::Count("DMUSREntitlement::GetCount", Selection::kAllEntitlements, 0, count);
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
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSRUserRole::Load", &outcome);
    if (engine == nullptr) {
        return outcome;
    }
    Util::Status status = Counted(engine->LoadAssignment(userKey, roleId));
    if (Found(status)) {
        m_UserId = userKey;
        m_RoleId = roleId;
    }
    return status;
}

Util::Status DMUSRUserRole::Add(DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSRUserRole::Add", &outcome);
    return engine == nullptr ? outcome : Counted(engine->AddAssignment(m_UserId, m_RoleId));
}

Util::Status DMUSRUserRole::DeleteByRoleId(long roleId, DBMgr::DMTransaction*) {
    return ::Delete("DMUSRUserRole::DeleteByRoleId", Selection::kAssignmentsOfRole, roleId);
}

Util::Status DMUSRUserRole::DeleteByUserId(long userKey, DBMgr::DMTransaction*) {
    return ::Delete("DMUSRUserRole::DeleteByUserId", Selection::kAssignmentsOfUser, userKey);
}

Util::Status DMUSRUserRole::DeleteAll(DBMgr::DMTransaction*) {
    return ::Delete("DMUSRUserRole::DeleteAll", Selection::kAllAssignments, 0);
}

Util::Status DMUSRUserRole::GetUserRoleCountByUserId(long* count, long userKey,
                                                     DBMgr::DMTransaction*) {
    return ::Count("DMUSRUserRole::GetUserRoleCountByUserId", Selection::kAssignmentsOfUser,
                   userKey, count);
}

Util::Status DMUSRUserRole::GetUserRoleCountByRoleId(long* count, long roleId,
                                                     DBMgr::DMTransaction*) {
    return ::Count("DMUSRUserRole::GetUserRoleCountByRoleId", Selection::kAssignmentsOfRole, roleId,
                   count);
}

// ---------------------------------------------------------------------------
// DMUSRRoleAction

DMUSRRoleAction::DMUSRRoleAction() : m_RoleId(0), m_EntitlementId(0), m_ActionType(0) {}

DMUSRRoleAction::~DMUSRRoleAction() = default;

Util::Status DMUSRRoleAction::Load(long roleId, long entitlementId, DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSRRoleAction::Load", &outcome);
    if (engine == nullptr) {
        return outcome;
    }
    long actionType = 0;
    Util::Status status = Counted(engine->LoadMask(roleId, entitlementId, &actionType));
    if (Found(status)) {
        m_RoleId = roleId;
        m_EntitlementId = entitlementId;
        m_ActionType = actionType;
    }
    return status;
}

Util::Status DMUSRRoleAction::Add(DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSRRoleAction::Add", &outcome);
    return engine == nullptr ? outcome
                             : Counted(engine->AddMask(m_RoleId, m_EntitlementId, m_ActionType));
}

Util::Status DMUSRRoleAction::Update(DBMgr::DMTransaction*) {
    Util::Status outcome;
    Engine* engine = EngineFor("DMUSRRoleAction::Update", &outcome);
    return engine == nullptr ? outcome
                             : Counted(engine->UpdateMask(m_RoleId, m_EntitlementId, m_ActionType));
}

Util::Status DMUSRRoleAction::Delete(long roleId, DBMgr::DMTransaction*) {
    return ::Delete("DMUSRRoleAction::Delete", Selection::kMasksOfRole, roleId);
}

Util::Status DMUSRRoleAction::DeleteByEntitlementId(long entitlementId, DBMgr::DMTransaction*) {
    return ::Delete("DMUSRRoleAction::DeleteByEntitlementId", Selection::kMasksOfEntitlement,
                    entitlementId);
}

Util::Status DMUSRRoleAction::DeleteAll(DBMgr::DMTransaction*) {
    return ::Delete("DMUSRRoleAction::DeleteAll", Selection::kAllMasks, 0);
}

Util::Status DMUSRRoleAction::GetRoleActionCountByRoleId(long* count, long roleId,
                                                         DBMgr::DMTransaction*) {
    return ::Count("DMUSRRoleAction::GetRoleActionCountByRoleId", Selection::kMasksOfRole, roleId,
                   count);
}
