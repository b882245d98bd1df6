// Mask table of the company file: one action mask per (role, entitlement).
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Util/Status.h>

class DMUSRRoleAction {
public:
    DMUSRRoleAction();
    virtual ~DMUSRRoleAction();

    // kRecordNotFound when the pair does not exist.
    Util::Status Load(long roleId, long entitlementId, DBMgr::DMTransaction* txn);
    Util::Status Add(DBMgr::DMTransaction* txn);
    // kRecordNotFound when the pair does not exist; nothing is added then.
    Util::Status Update(DBMgr::DMTransaction* txn);
    Util::Status Delete(long roleId, DBMgr::DMTransaction* txn); // all masks of a role
    Util::Status DeleteByEntitlementId(long entitlementId, DBMgr::DMTransaction* txn);
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
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
