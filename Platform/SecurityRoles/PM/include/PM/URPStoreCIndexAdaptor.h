// The store over the host's preference-index store: a thin forwarder.
#pragma once

#include <PM/Export.h>
#include <PM/URPStoreBase.h>

#include <vector>

class URPStoreCIndex;

namespace PM {

// Passes arguments and results through to m_CIndexStore unchanged, so where
// URPStoreBase leaves a result to the back end it is the one URPStoreCIndex.h
// states: a missing entitlement fails update and delete, two real values
// delete one assignment and (-1, -1) all of them, and
// URPSReadRoleActionAssociations also appends an entry per mask. Every
// forward gives PM_ERROR when m_CIndexStore is null.
//
// The preference-index store has no cursors, so the six cursor operations
// report success and deliver nothing (a GetFirst/GetNext loop over this store
// never ends, URPSGetEntitlementListFromTable's included: read it through the
// whole-list operations). The four operations it does not offer
// (URPSDeleteRoleActionAssociationsByEntitlement,
// URPSAddRoleActionAssociationByEntitlement, URPSReadRoleActionAssociation,
// which leaves *eAction untouched, and URPSCountrySpecificUpdate) report
// PM_ERROR.
class PM_API URPStoreCIndexAdaptor : public URPStoreBase {
public:
    URPStoreCIndexAdaptor();           // m_CIndexStore stays null when it cannot be allocated
    ~URPStoreCIndexAdaptor() override; // deletes m_CIndexStore

    int URPSGetFirstRole(RoleObject& role) override;
    int URPSGetNextRole(RoleObject& role) override;
    int URPSGetRole(RoleObject& role) override;
    int URPSRemoveRoleFromDB(int roleId) override;
    int URPSAddRoleToDB(RoleDef& role) override;
    int URPSGetRoleList(std::vector<RoleObject>* roles) override;
    int URPSGetFirstEntitlement(EntitlementObject& entitlement) override;
    int URPSGetNextEntitlement(EntitlementObject& entitlement) override;
    int URPSGetEntitlement(EntitlementObject& entitlement) override;
    int URPSAddEntitlementToDB(EntitlementDef& entitlement) override;
    int URPSUpdateEntitlementToDB(EntitlementDef& entitlement) override;
    int URPSDeleteEntitlementToDB(EntitlementDef& entitlement) override;
    int URPSGetEntitlementList(std::vector<EntitlementObject>* entitlements) override;
    int URPSDeleteUserRoleAssoc(int userKey, int roleId) override;
    int URPSAddUserRoleAssociation(int userKey, int roleId) override;
    int URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) override;
    int URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) override;
    int URPSDeleteRoleActionAssociations(int roleId) override;
    int URPSDeleteRoleActionAssociationsByEntitlement(int eId) override;
    int URPSAddRoleActionAssociation(int roleId, int eId, long eAction) override;
    int URPSAddRoleActionAssociationByEntitlement(int eId, long eAction) override;
    int URPSUpdateRoleActionAssociation(int roleId, int eId, long eAction) override;
    int URPSReadRoleActionAssociation(int roleId, int eId, long* eAction) override;
    int URPSReadRoleActionAssociations(int roleId, std::vector<EntitlementObject>* entitlements,
                                       std::vector<RoleEntActionAssocCacheEntry>* entries) override;
    int URPSBuildRoleActionAssociationsCache(
        std::vector<RoleEntActionAssocCacheEntry>* entries) override;
    int URPSRemoveAllRoleFromDB() override;
    int URPSDeleteAllEntitlementToDB() override;
    int URPSDeleteAllUserRoleAssoc() override;
    int URPSDeleteAllRoleActionAssociations() override;
    int URPSCountrySpecificUpdate() override;

    // Owned: created by the constructor, deleted by the destructor.
    URPStoreCIndex* m_CIndexStore;
};

} // namespace PM
