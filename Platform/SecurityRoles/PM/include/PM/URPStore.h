// The store that carries the system: roles, entitlements, assignments and
// action masks in the four record tables of the open company file.
#pragma once

#include <PM/Export.h>
#include <PM/RoleEntitlementActionCache.h>
#include <PM/URPStoreBase.h>

#include <vector>

namespace PM {

// What this back end adds to the contract of URPStoreBase.
//
// Every record operation is passed a null transaction and is complete when it
// returns; the store opens no transaction of its own, so only one the host
// holds around a call can take back what a failed multi-step caller wrote.
// Codes of the record layer never reach the caller: a failed record operation
// is PM_ERROR. A name or description of kRecordTextBufferSize bytes or more is
// stored empty.
//
// Masks pass through m_RoleEntitlementActionCache, which follows the mask
// table on every single-mask write and is emptied when an entitlement changes.
class PM_API URPStore : public URPStoreBase {
public:
    URPStore(); // both cursors at -1, empty cache
    ~URPStore() override;

    // Walks ids from 0 upward, skipping ids without a role, until as many
    // roles as GetFirstRole counted have been delivered: a role stored under
    // a negative id is counted but never reached, and the walk does not end.
    int URPSGetFirstRole(RoleObject& role) override;
    int URPSGetNextRole(RoleObject& role) override;
    int URPSGetRole(RoleObject& role) override;
    // PM_ERR_NORECORD when there is no such role. The role's cached masks are
    // dropped.
    int URPSRemoveRoleFromDB(int roleId) override;
    int URPSAddRoleToDB(RoleDef& role) override;
    // Whole-list operations belong to the preference-index back end: PM_ERROR,
    // the vector untouched.
    int URPSGetRoleList(std::vector<RoleObject>* roles) override;

    // Walks three id bands: the catalogue's from 0, then from 100000, then the
    // dynamic one from 300000. The first missing id above
    // m_StaticEntitlementLimit jumps to 100000, the first above 100000 jumps
    // to 300000; from there ids go up without bound until the counted number
    // has been delivered. An entitlement stored past such a gap within a band
    // is skipped, and the walk then does not end.
    int URPSGetFirstEntitlement(EntitlementObject& entitlement) override;
    int URPSGetNextEntitlement(EntitlementObject& entitlement) override;
    int URPSGetEntitlement(EntitlementObject& entitlement) override;
    int URPSAddEntitlementToDB(EntitlementDef& entitlement) override;
    // An id that is not stored gives PM_OK and writes nothing. Both empty the
    // whole mask cache on success; the mask table is untouched.
    int URPSUpdateEntitlementToDB(EntitlementDef& entitlement) override;
    int URPSDeleteEntitlementToDB(EntitlementDef& entitlement) override;
    int URPSGetEntitlementList(std::vector<EntitlementObject>* entitlements) override;

    // The wildcard works on one side only. Two real values delete nothing and
    // give PM_OK; (-1, -1) deletes the assignments filed under role -1 and
    // under user key -1, not all of them.
    int URPSDeleteUserRoleAssoc(int userKey, int roleId) override;
    int URPSAddUserRoleAssociation(int userKey, int roleId) override;
    // Both count the assignments, then probe from 0 upward (role ids for a
    // user, record keys for a role) until as many have been found: an
    // assignment under a negative id or key keeps the walk from ending.
    int URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) override;
    int URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) override;

    // Drops the role's cached masks as well.
    int URPSDeleteRoleActionAssociations(int roleId) override;
    // Always PM_OK, even when the delete failed, and the whole cache is
    // emptied.
    int URPSDeleteRoleActionAssociationsByEntitlement(int eId) override;
    // The result reports the table; a cache conflict is raised, not returned.
    int URPSAddRoleActionAssociation(int roleId, int eId, long eAction) override;
    // 63 (full) for role 0, for every role when eId is 180, and for the roles
    // named "External Accountant" or "OrvaneApp" (case ignored) when eId is
    // 185; eAction for the rest. A store without roles gives PM_ERROR. Runs a
    // role scan, so no other may be under way.
    int URPSAddRoleActionAssociationByEntitlement(int eId, long eAction) override;
    int URPSUpdateRoleActionAssociation(int roleId, int eId, long eAction) override;
    // PM_ERROR with -1 in *eAction for no record and a failed load alike.
    // Hits cost no record access; misses are not remembered.
    int URPSReadRoleActionAssociation(int roleId, int entitlementId, long* eAction) override;
    // entries is neither read nor written, and the cache is not used. The
    // walk over the role's masks jumps bands as the entitlement scan does but
    // stops at the first missing id above 300000; masks it did not reach are
    // logged, not set, and the result is still PM_OK.
    int URPSReadRoleActionAssociations(int roleId, std::vector<EntitlementObject>* entitlements,
                                       std::vector<RoleEntActionAssocCacheEntry>* entries) override;
    // PM_ERROR, the vector untouched, as for the other whole-list operations.
    int URPSBuildRoleActionAssociationsCache(
        std::vector<RoleEntActionAssocCacheEntry>* entries) override;

    // None of the whole-table deletes touches the cache, which goes stale until
    // an entitlement changes or the store is replaced (removing a role drops
    // only that role's masks).
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
