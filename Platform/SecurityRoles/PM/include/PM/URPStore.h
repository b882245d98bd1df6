// The store that carries the system: roles, entitlements, assignments and
// action masks in the four record tables of the open company file.
#pragma once

#include <PM/Export.h>
#include <PM/RoleEntitlementActionCache.h>
#include <PM/URPStoreBase.h>

#include <vector>

namespace PM {

// Every record operation stands alone (null transaction) and commits by
// itself, so nothing a failed multi-step caller wrote is undone. Codes of the
// record layer never reach the caller: a failed record operation is PM_ERROR,
// and "not found" becomes PM_ERR_NORECORD (roles), PM_ERR_NOENT (entitlements)
// or a skipped id in a scan.
class PM_API URPStore : public URPStoreBase {
public:
    URPStore(); // both cursors at -1, empty cache
    ~URPStore() override;

    // Role scan by id: GetFirst counts the table (an empty table is PM_ERROR),
    // GetNext skips missing ids and returns PM_ERROR once Count records have
    // been delivered, the same code as a failure.
    int URPSGetFirstRole(RoleObject& role) override;
    int URPSGetNextRole(RoleObject& role) override;
    // Loads the role at m_RoleCursor.CurrentId, whatever id the object holds.
    // PM_ERR_NORECORD leaves the object as it was; a failed text read leaves
    // the fields copied before it. The object's entitlement list is untouched.
    int URPSGetRole(RoleObject& role) override;
    // PM_ERR_NORECORD when there is no such role. The role's masks and
    // assignments stay in their tables; its cached masks are dropped.
    int URPSRemoveRoleFromDB(int roleId) override;
    int URPSAddRoleToDB(RoleDef& role) override;
    // Whole-list operations belong to the preference-index back end: PM_ERROR,
    // the vector untouched.
    int URPSGetRoleList(std::vector<RoleObject>* roles) override;

    // Entitlement scan by id across the three id bands; an empty table is
    // PM_ERR_EMPTYSTORE.
    int URPSGetFirstEntitlement(EntitlementObject& entitlement) override;
    int URPSGetNextEntitlement(EntitlementObject& entitlement) override;
    // Loads the entitlement at m_EntitlementCursor.CurrentId; PM_ERR_NOENT
    // when there is none. The object's action is never written.
    int URPSGetEntitlement(EntitlementObject& entitlement) override;
    int URPSAddEntitlementToDB(EntitlementDef& entitlement) override;
    // Both empty the whole mask cache on success; the mask table is untouched.
    int URPSUpdateEntitlementToDB(EntitlementDef& entitlement) override;
    int URPSDeleteEntitlementToDB(EntitlementDef& entitlement) override;
    int URPSGetEntitlementList(std::vector<EntitlementObject>* entitlements) override;

    // -1 is a wildcard, for one side only: (-1, r) deletes role r's
    // assignments, (u, -1) user u's. Two real values delete nothing.
    int URPSDeleteUserRoleAssoc(int userKey, int roleId) override;
    int URPSAddUserRoleAssociation(int userKey, int roleId) override;
    // Both append to the vector, which must not be null, and never clear it.
    int URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) override;
    // Takes a role id and gives back host user ids, not record keys.
    int URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) override;

    // Mask operations; the cache follows the table.
    int URPSDeleteRoleActionAssociations(int roleId) override;
    // Always PM_OK, and the whole cache is emptied.
    int URPSDeleteRoleActionAssociationsByEntitlement(int eId) override;
    // The result reports the table; a cache conflict is raised, not returned.
    int URPSAddRoleActionAssociation(int roleId, int eId, long eAction) override;
    // Gives eId to every role: 63 for role 0 (and the fixed exceptions), eAction
    // for the rest. Uses the role cursor, so no role scan may be under way.
    int URPSAddRoleActionAssociationByEntitlement(int eId, long eAction) override;
    // Updates the mask, or adds it when the pair is not stored.
    int URPSUpdateRoleActionAssociation(int roleId, int eId, long eAction) override;
    // PM_OK with the mask, or PM_ERROR with -1 for no record and a failed load
    // alike. Hits cost no record access; misses are not remembered.
    int URPSReadRoleActionAssociation(int roleId, int entitlementId, long* eAction) override;
    // Sets the action of each listed entitlement that the role has a mask for;
    // entries is neither read nor written. Does not use the cache.
    int URPSReadRoleActionAssociations(int roleId, std::vector<EntitlementObject>* entitlements,
                                       std::vector<RoleEntActionAssocCacheEntry>* entries) override;
    int URPSBuildRoleActionAssociationsCache(
        std::vector<RoleEntActionAssocCacheEntry>* entries) override;

    // Whole-table deletes. None of them touches the cache, which goes stale
    // until a role is removed, an entitlement changes or the store is replaced.
    int URPSRemoveAllRoleFromDB() override;
    int URPSDeleteAllEntitlementToDB() override;
    int URPSDeleteAllUserRoleAssoc() override;
    int URPSDeleteAllRoleActionAssociations() override;

    int URPSCountrySpecificUpdate() override; // nothing to do: PM_OK

    // Owned by the store and gone with it; never written to the company file.
    RoleEntitlementActionCache m_RoleEntitlementActionCache;

private:
    int ResetRoleActionAssociationCache(); // empties the cache; PM_OK
};

} // namespace PM
