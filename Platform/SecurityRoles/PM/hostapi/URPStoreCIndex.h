// The host's preference-index store: the back end behind the library's
// URPStoreCIndexAdaptor, which passes every result on as a result code. So
// every operation returns 0 (PM_OK) on success and -1 (PM_ERROR) on failure,
// and a failed one changes nothing. Lists are appended to, never cleared, in
// ascending key order; a null list fails unless the operation says otherwise.
// userKey is a user's record key.
#pragma once

#include <vector>

namespace PM {
class RoleDef;
class RoleObject;
class EntitlementDef;
class EntitlementObject;
} // namespace PM
class RoleEntActionAssocCacheEntry;

class URPStoreCIndex {
public:
    // An empty store, which owns its index. The adaptor creates one and
    // deletes it with itself.
    URPStoreCIndex();
    ~URPStoreCIndex();
    // Defined by the library, not the host: copies m_Index, so both objects
    // then share one index, and this one's old index is neither released nor
    // reachable. The library never assigns one store to another.
    URPStoreCIndex& operator=(URPStoreCIndex const& other);

    // Stores role (id, name, description, category, visible) as a new role;
    // -1 when its id is stored. role is not changed.
    int URPSAddRole(PM::RoleDef& role);
    // Removes the role; -1 when there is none. Its masks and assignments stay.
    int URPSRemoveRole(int roleId);
    // Appends every role, by id, with the fields URPSAddRole stored.
    int URPSGetRoleList(std::vector<PM::RoleObject>* roles);
    // Removes every role; 0 also when there is none.
    int URPSRemoveAllRole();
    // Stores entitlement (id, name, category, attrs, enabled, visible) as a
    // new entitlement; -1 when its id is stored.
    int URPSAddEntitlement(PM::EntitlementDef& entitlement);
    // Replaces the stored fields of the entitlement with entitlement's id; -1
    // when there is none.
    int URPSUpdateEntitlement(PM::EntitlementDef& entitlement);
    // Deletes the entitlement with entitlement's id; -1 when there is none.
    // Its masks stay.
    int URPSDeleteEntitlement(PM::EntitlementDef& entitlement);
    // Appends every entitlement, by id, with m_Action 0.
    int URPSGetEntitlementList(std::vector<PM::EntitlementObject>* entitlements);
    // Deletes every entitlement; 0 also when there is none.
    int URPSDeleteAllEntitlement();
    // Stores the assignment; -1 when it is stored.
    int URPSAddUserRoleAssociation(int userKey, int roleId);
    // -1 on either side stands for any: deletes every matching assignment, 0
    // also when none matched. Two real values delete that one assignment, -1
    // when it is not stored.
    int URPSDeleteUserRoleAssoc(int userKey, int roleId);
    // Appends the user's role ids, ascending.
    int URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds);
    // Appends, by record key, the host user ids of the role's users: each key
    // translated by UM::UserManager::GetUserForDBRecKey (-1 when unknown).
    int URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds);
    // Deletes every assignment; 0 also when there is none.
    int URPSDeleteAllUserRoleAssoc();
    // Stores action as the mask of the pair; -1 when the pair has one.
    int URPSAddRoleActionAssociation(int roleId, int entitlementId, long action);
    // Stores action as the mask of the pair, adding it when the pair has none.
    int URPSUpdateRoleActionAssociation(int roleId, int entitlementId, long action);
    // Deletes every mask of the role; 0 also when it has none.
    int URPSDeleteRoleActionAssociations(int roleId);
    // For each mask of the role, by entitlement id: sets m_Action of the first
    // entitlement in *entitlements with that id, and appends an entry (role,
    // entitlement, mask) to *entries. Either may be null; 0.
    int URPSReadRoleActionAssociations(int roleId, std::vector<PM::EntitlementObject>* entitlements,
                                       std::vector<RoleEntActionAssocCacheEntry>* entries);
    // Appends an entry (role, entitlement, mask) per stored mask, by role and
    // then entitlement.
    int URPSBuildRoleActionAssociationsCache(std::vector<RoleEntActionAssocCacheEntry>* entries);
    // Deletes every mask; 0 also when there is none.
    int URPSDeleteAllRoleActionAssociations();

private:
    void* m_Index; // the host's index; the destructor releases it
};
