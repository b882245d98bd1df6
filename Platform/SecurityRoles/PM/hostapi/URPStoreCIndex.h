// The host's preference-index store: the back end behind the library's
// URPStoreCIndexAdaptor. Every operation returns 0 on success.
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
    URPStoreCIndex();
    ~URPStoreCIndex();
    // Copies the one member; this operator is provided by the library.
    URPStoreCIndex& operator=(URPStoreCIndex const& other);

    int URPSAddRole(PM::RoleDef& role);
    int URPSRemoveRole(int roleId);
    int URPSGetRoleList(std::vector<PM::RoleObject>* roles);
    int URPSRemoveAllRole();
    int URPSAddEntitlement(PM::EntitlementDef& entitlement);
    int URPSUpdateEntitlement(PM::EntitlementDef& entitlement);
    int URPSDeleteEntitlement(PM::EntitlementDef& entitlement);
    int URPSGetEntitlementList(std::vector<PM::EntitlementObject>* entitlements);
    int URPSDeleteAllEntitlement();
    int URPSAddUserRoleAssociation(int userKey, int roleId);
    int URPSDeleteUserRoleAssoc(int userKey, int roleId);
    int URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds);
    int URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds);
    int URPSDeleteAllUserRoleAssoc();
    int URPSAddRoleActionAssociation(int roleId, int entitlementId, long action);
    int URPSUpdateRoleActionAssociation(int roleId, int entitlementId, long action);
    int URPSDeleteRoleActionAssociations(int roleId);
    int URPSReadRoleActionAssociations(int roleId, std::vector<PM::EntitlementObject>* entitlements,
                                       std::vector<RoleEntActionAssocCacheEntry>* entries);
    int URPSBuildRoleActionAssociationsCache(std::vector<RoleEntActionAssocCacheEntry>* entries);
    int URPSDeleteAllRoleActionAssociations();

private:
    void* m_Index;
};
