// The one seam between the manager and where permissions are kept: roles,
// entitlements, user assignments and per-role action masks.
#pragma once

#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>
#include <PM/Export.h>
#include <PM/RoleDef.h>
#include <PM/RoleEntActionAssocCacheEntry.h>
#include <PM/RoleObject.h>

#include <Defcat/Defcat.h>
#include <Util/TString.h>

#include <cstdint>
#include <vector>

namespace PM {

// An id scan over one table: the next id to try, how many records the table
// holds, and how many the scan has delivered.
struct URPStoreCursor {
    std::int32_t CurrentId = 0;
    std::int32_t Count = 0;
    std::int32_t Read = 0;
};

// Every operation returns PM_OK or a negative result code and never throws.
// User arguments are record keys, not host user ids; -1 means any where the
// operation says so. The store has one role cursor and one entitlement cursor,
// so scans of one kind do not nest.
class PM_API URPStoreBase {
public:
    URPStoreBase() = default;
    virtual ~URPStoreBase();

    URPStoreBase(URPStoreBase const&) = delete;
    URPStoreBase& operator=(URPStoreBase const&) = delete;

    virtual int URPSGetFirstRole(RoleObject& role) = 0;
    virtual int URPSGetNextRole(RoleObject& role) = 0;
    virtual int URPSGetRole(RoleObject& role) = 0;
    virtual int URPSRemoveRoleFromDB(int roleId) = 0;
    virtual int URPSAddRoleToDB(RoleDef& role) = 0;
    virtual int URPSGetRoleList(std::vector<RoleObject>* roles) = 0;
    virtual int URPSGetFirstEntitlement(EntitlementObject& entitlement) = 0;
    virtual int URPSGetNextEntitlement(EntitlementObject& entitlement) = 0;
    virtual int URPSGetEntitlement(EntitlementObject& entitlement) = 0;
    virtual int URPSAddEntitlementToDB(EntitlementDef& entitlement) = 0;
    virtual int URPSUpdateEntitlementToDB(EntitlementDef& entitlement) = 0;
    virtual int URPSDeleteEntitlementToDB(EntitlementDef& entitlement) = 0;
    virtual int URPSGetEntitlementList(std::vector<EntitlementObject>* entitlements) = 0;
    virtual int URPSDeleteUserRoleAssoc(int userKey, int roleId) = 0;
    virtual int URPSAddUserRoleAssociation(int userKey, int roleId) = 0;
    virtual int URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) = 0;
    virtual int URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) = 0;
    virtual int URPSDeleteRoleActionAssociations(int roleId) = 0;
    virtual int URPSDeleteRoleActionAssociationsByEntitlement(int eId) = 0;
    virtual int URPSAddRoleActionAssociation(int roleId, int eId, long eAction) = 0;
    virtual int URPSAddRoleActionAssociationByEntitlement(int eId, long eAction) = 0;
    virtual int URPSUpdateRoleActionAssociation(int roleId, int eId, long eAction) = 0;
    virtual int URPSReadRoleActionAssociation(int roleId, int eId, long* eAction) = 0;
    virtual int
    URPSReadRoleActionAssociations(int roleId, std::vector<EntitlementObject>* entitlements,
                                   std::vector<RoleEntActionAssocCacheEntry>* entries) = 0;
    virtual int
    URPSBuildRoleActionAssociationsCache(std::vector<RoleEntActionAssocCacheEntry>* entries) = 0;
    virtual int URPSRemoveAllRoleFromDB() = 0;
    virtual int URPSDeleteAllEntitlementToDB() = 0;
    virtual int URPSDeleteAllUserRoleAssoc() = 0;
    virtual int URPSDeleteAllRoleActionAssociations() = 0;
    virtual int URPSCountrySpecificUpdate() = 0;

    // Version check and upgrade of the stored permission data against the
    // definition catalogue; they work through the operations above.
    int URPSCheckURPVersionDoUpdateIfNeeded();
    int URPSGetURPVersionFromADR(int* urpVersion);
    int URPSGetURPVersionFromCompanyFile(int* urpVersion);
    int URPSGetEntitlementCountFromCompanyFile(int* urpEntCount);
    int URPSGetVersionFromEntitlementName(TString name); // the version, not a result code
    int URPSUpdatePermissionData();

    // Import from the definition catalogue. The two lists are allocated with
    // new and belong to the caller.
    std::vector<EntitlementDef>* URPSGetEntitlementListFromADR();
    std::vector<EntitlementDef>* URPSGetEntitlementListFromTable();
    int URPSSetDefaultEntitlements();
    int URPSSetDefaultRoles();
    int URPSSetSingleDefaultRole(const TString& roleCatalogueId, int roleId);
    int URPSSetDefaultEntitlementsForRole(auto_init_ptr<Defcat::Role> role, int roleId);

    // Scan state; the record-backed store starts both CurrentIds at -1.
    URPStoreCursor m_RoleCursor;
    URPStoreCursor m_EntitlementCursor;
    bool m_PassedStaticBand = false;
    bool m_PassedMiddleBand = false;
    // Highest id for which a miss does not yet end the catalogue band; written
    // by the manager when it opens the store.
    std::int32_t m_StaticEntitlementLimit = 0;
};

} // namespace PM
