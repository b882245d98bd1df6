// Mask table of the company file: one action mask per (role, entitlement).
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Util/Status.h>

// The conventions of DMUSRRole.h.
class DMUSRRoleAction {
public:
    DMUSRRoleAction();
    virtual ~DMUSRRoleAction();

    // Fills the fields from the mask of the pair; kRecordNotFound when the
    // pair has none.
    Util::Status Load(long roleId, long entitlementId, DBMgr::DMTransaction* txn);
    // Stores the fields as a new mask; fails when the pair has one.
    Util::Status Add(DBMgr::DMTransaction* txn);
    // Stores ActionType as the mask of the pair (RoleId, EntitlementId);
    // kRecordNotFound when the pair has none, and nothing is added then.
    Util::Status Update(DBMgr::DMTransaction* txn);
    // Delete every mask of the role, of the entitlement, or of the table;
    // they succeed also when there is none.
    Util::Status Delete(long roleId, DBMgr::DMTransaction* txn);
    Util::Status DeleteByEntitlementId(long entitlementId, DBMgr::DMTransaction* txn);
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
    // Stores the number of the role's masks in *count (not null); on failure
    // *count is left as it was.
    Util::Status GetRoleActionCountByRoleId(long* count, long roleId, DBMgr::DMTransaction* txn);

    void SetRoleId(long roleId) { m_RoleId = roleId; }
    void SetEntitlementId(long id) { m_EntitlementId = id; }
    void SetActionType(long action) { m_ActionType = action; }
    long GetRoleId() const { return m_RoleId; }
    long GetEntitlementId() const { return m_EntitlementId; }
    long GetActionType() const { return m_ActionType; }

private:
    long m_RoleId;
    long m_EntitlementId;
    long m_ActionType;
};
