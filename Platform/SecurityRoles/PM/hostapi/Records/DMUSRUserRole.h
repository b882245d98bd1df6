// Assignment table of the company file: one record per (user record key, role).
// UserId holds the user's record key, never the host's user id.
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Util/Status.h>

class DMUSRUserRole {
public:
    DMUSRUserRole();
    virtual ~DMUSRUserRole();

    // kRecordNotFound when the pair does not exist.
    Util::Status Load(long userKey, long roleId, DBMgr::DMTransaction* txn);
    Util::Status Add(DBMgr::DMTransaction* txn);
    Util::Status DeleteByRoleId(long roleId, DBMgr::DMTransaction* txn);
    Util::Status DeleteByUserId(long userKey, DBMgr::DMTransaction* txn);
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
    Util::Status GetUserRoleCountByUserId(long* count, long userKey, DBMgr::DMTransaction* txn);
    Util::Status GetUserRoleCountByRoleId(long* count, long roleId, DBMgr::DMTransaction* txn);

    void SetUserId(long userKey) { m_UserId = userKey; }
    void SetRoleId(long roleId) { m_RoleId = roleId; }
    long GetUserId() const { return m_UserId; }
    long GetRoleId() const { return m_RoleId; }

private:
    long m_UserId;
    long m_RoleId;
};
