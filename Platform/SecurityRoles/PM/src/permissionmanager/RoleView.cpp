// The role view of the entitlements: the catalogue as one role sees it, with
// the masks read from the store at the moment of the call (role masks are not
// cached in the role list).
#include <PM/Constants.h>
#include <PM/PermissionManager.h>
#include <PM/RoleObject.h>

#include "Diagnostics.h"
#include "permissionmanager/EntitlementLists.h"

#include <memory>
#include <new>

namespace PM {

std::vector<EntitlementDef>* PermissionManager::GetEntitlements(int roleId, int category,
                                                                bool visibleOnly) {
    if (roleId == -1) {
        // The catalogue as cached; category and visibleOnly play no part.
        return CopyEntitlementObjectList(EntitlementCache);
    }
    RoleObject* role = LookupRoleInCache(roleId);
    if (role == nullptr) {
        return nullptr;
    }
    std::vector<EntitlementDef>* list = role->EntitlementDefFactory(category, visibleOnly);
    if (list == nullptr) {
        PM_RAISE("entlist != NULL");
    }
    return list;
}

int PermissionManager::GetRoleActionAssociation(int role, int entitlement, long* action) {
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    return URPStore->URPSReadRoleActionAssociation(role, entitlement, action);
}

std::vector<EntitlementDef>* RoleObject::EntitlementDefFactory(int category, bool visibleOnly) {
    std::unique_ptr<std::vector<EntitlementDef>> result(new (std::nothrow)
                                                            std::vector<EntitlementDef>());
    if (result == nullptr) {
        PM_RAISE("edlist != NULL");
        return nullptr;
    }
    PermissionManager& manager = PermissionManager::GetThePermissionManager();
    std::unique_ptr<std::vector<EntitlementDef>> defaultEdlist(
        manager.GetEntitlements(-1, -1, true));
    if (defaultEdlist == nullptr) {
        PM_RAISE("defaultEdlist.get() != NULL");
        return result.release(); // the empty result, whatever the handler said
    }
    for (EntitlementDef& entitlement : *defaultEdlist) {
        if (visibleOnly && !entitlement.IsVisible()) {
            continue;
        }
        if (category >= 0 && entitlement.GetCategory() != category) {
            continue;
        }
        if (m_Id >= 0) {
            long action = 0;
            // Without a stored mask the record keeps the cached action.
            if (manager.GetRoleActionAssociation(m_Id, entitlement.GetId(), &action) == PM_OK) {
                entitlement.SetAction(static_cast<int>(action));
            }
        }
        result->push_back(entitlement);
        // Only ids from kFirstCategoryEntId up have children in a listing;
        // the inner call always asks for visible entitlements.
        if (entitlement.GetId() >= kFirstCategoryEntId && category != -1) {
            std::unique_ptr<std::vector<EntitlementDef>> children(
                EntitlementDefFactory(entitlement.GetId(), true));
            if (children != nullptr) {
                result->insert(result->end(), children->begin(), children->end());
            }
        }
    }
    return result.release();
}

} // namespace PM
