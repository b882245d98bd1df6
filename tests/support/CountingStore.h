// A store that holds nothing and answers PM_ERROR to every operation. It exists
// to show that the manager releases the store it owns, through the virtual
// destructor, exactly once.
#pragma once

#include <PM/ResultCodes.h>
#include <PM/URPStoreBase.h>

namespace PMTest {

class CountingStore : public PM::URPStoreBase {
public:
    explicit CountingStore(int* destroyed) : m_Destroyed(destroyed) {}
    ~CountingStore() override { ++*m_Destroyed; }

    int URPSGetFirstRole(PM::RoleObject&) override { return PM_ERROR; }
    int URPSGetNextRole(PM::RoleObject&) override { return PM_ERROR; }
    int URPSGetRole(PM::RoleObject&) override { return PM_ERROR; }
    int URPSRemoveRoleFromDB(int) override { return PM_ERROR; }
    int URPSAddRoleToDB(PM::RoleDef&) override { return PM_ERROR; }
    int URPSGetRoleList(std::vector<PM::RoleObject>*) override { return PM_ERROR; }
    int URPSGetFirstEntitlement(PM::EntitlementObject&) override { return PM_ERROR; }
    int URPSGetNextEntitlement(PM::EntitlementObject&) override { return PM_ERROR; }
    int URPSGetEntitlement(PM::EntitlementObject&) override { return PM_ERROR; }
    int URPSAddEntitlementToDB(PM::EntitlementDef&) override { return PM_ERROR; }
    int URPSUpdateEntitlementToDB(PM::EntitlementDef&) override { return PM_ERROR; }
    int URPSDeleteEntitlementToDB(PM::EntitlementDef&) override { return PM_ERROR; }
    int URPSGetEntitlementList(std::vector<PM::EntitlementObject>*) override { return PM_ERROR; }
    int URPSDeleteUserRoleAssoc(int, int) override { return PM_ERROR; }
    int URPSAddUserRoleAssociation(int, int) override { return PM_ERROR; }
    int URPSGetRoleIdsForUser(int, std::vector<int>*) override { return PM_ERROR; }
    int URPSGetUserIdsForRole(int, std::vector<int>*) override { return PM_ERROR; }
    int URPSDeleteRoleActionAssociations(int) override { return PM_ERROR; }
    int URPSDeleteRoleActionAssociationsByEntitlement(int) override { return PM_ERROR; }
    int URPSAddRoleActionAssociation(int, int, long) override { return PM_ERROR; }
    int URPSAddRoleActionAssociationByEntitlement(int, long) override { return PM_ERROR; }
    int URPSUpdateRoleActionAssociation(int, int, long) override { return PM_ERROR; }
    int URPSReadRoleActionAssociation(int, int, long*) override { return PM_ERROR; }
    int URPSReadRoleActionAssociations(int, std::vector<PM::EntitlementObject>*,
                                       std::vector<RoleEntActionAssocCacheEntry>*) override {
        return PM_ERROR;
    }
    int URPSBuildRoleActionAssociationsCache(std::vector<RoleEntActionAssocCacheEntry>*) override {
        return PM_ERROR;
    }
    int URPSRemoveAllRoleFromDB() override { return PM_ERROR; }
    int URPSDeleteAllEntitlementToDB() override { return PM_ERROR; }
    int URPSDeleteAllUserRoleAssoc() override { return PM_ERROR; }
    int URPSDeleteAllRoleActionAssociations() override { return PM_ERROR; }
    int URPSCountrySpecificUpdate() override { return PM_ERROR; }

private:
    int* m_Destroyed;
};

} // namespace PMTest
