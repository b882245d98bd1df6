// Factory defaults: filling an empty company file from the catalogue,
// emptying the store, and bringing one catalogue role into a company file.
#include <Defcat/Defcat.h>
#include <PM/PermissionManager.h>
#include <UM/UserManager.h>

#include "Diagnostics.h"

namespace PM {

int PermissionManager::SetDefaultRoles() {
    int result = InitializeURPStore();
    if (result != PM_OK) {
        return result;
    }
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    // Refused on a populated file: the entitlement import fills an empty
    // table only. What a failure leaves written stays.
    result = URPStore->URPSSetDefaultEntitlements();
    if (result != PM_OK) {
        return result;
    }
    result = URPStore->URPSSetDefaultRoles();
    if (result != PM_OK) {
        return result;
    }
    result = Init();
    if (result != PM_OK) {
        return result;
    }
    int adminUser = UM::UserManager::GetTheUserManager().GetAdminUserId();
    if (adminUser == -1) {
        return PM_OK;
    }
    return SetRoleForUser(adminUser, 0); // the first default role is the Admin role
}

int PermissionManager::ResetToFactoryDefaults() {
    // In spite of its name this only empties the store; the caches keep the
    // old catalogue until SetDefaultRoles fills and reloads.
    if (URPStore == nullptr) {
        return PM_OK;
    }
    int result = URPStore->URPSDeleteAllUserRoleAssoc();
    if (result == PM_OK) {
        result = URPStore->URPSDeleteAllRoleActionAssociations();
    }
    if (result == PM_OK) {
        result = URPStore->URPSRemoveAllRoleFromDB();
    }
    if (result == PM_OK) {
        result = DeleteAllEntitlements();
    }
    return result;
}

int PermissionManager::AddRoleEntitlementsFromADR(TString roleCatalogueId) {
    auto_init_ptr<Defcat::Role> catalogueRole = Defcat::Role::FindByID(roleCatalogueId);
    if (catalogueRole.get() == nullptr) {
        return PM_ERROR;
    }
    int existing = LookupRole(catalogueRole->GetName());
    if (existing != PM_ERROR) {
        return existing;
    }
    if (URPStore == nullptr) {
        if (!PM_RAISE("pDb != NULL")) {
            PM_LOG(kLogPathPermissionManager, kLevelUnexpected, kEventProblem)("pDb is NULL");
        }
        return PM_ERROR; // no store to write to
    }
    // The role list is not reloaded here: two calls without an Init between
    // them would be handed the same id.
    int roleId = GetNextRoleId();
    if (URPStore->URPSSetSingleDefaultRole(roleCatalogueId, roleId) == PM_ERROR) {
        return PM_ERROR;
    }
    return roleId;
}

} // namespace PM
