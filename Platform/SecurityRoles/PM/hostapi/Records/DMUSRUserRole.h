// Assignment table of the company file: one record per (user record key, role).
// UserId holds the user's record key, never the host's user id.
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Util/Status.h>

// The conventions of DMUSRRole.h. -1 is an ordinary value here, not a
// wildcard.
class DMUSRUserRole {
public:
    DMUSRUserRole();
    virtual ~DMUSRUserRole();

    // Succeeds, with the fields set to the pair, when the user has the role;
    // kRecordNotFound when not.
    Util::Status Load(long userKey, long roleId, DBMgr::DMTransaction* txn);
    // Stores the pair in the fields; fails when it is stored.
    Util::Status Add(DBMgr::DMTransaction* txn);
    // Delete every assignment of the role, of the user, or of the table; they
    // succeed also when there is none.
    Util::Status DeleteByRoleId(long roleId, DBMgr::DMTransaction* txn);
    Util::Status DeleteByUserId(long userKey, DBMgr::DMTransaction* txn);
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
    // Store the number of the user's (the role's) assignments in *count (not
    // null); on failure *count is left as it was.
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
