// The role listings for the host's screens: copies of the cached roles as
// RoleDef, with the full-access and connected-role fields filled in.
#include <PM/PermissionManager.h>
#include <Util/StringCompare.h>

#include "roleobject/NameOrder.h"

#include <memory>
#include <new>

namespace PM {

std::vector<RoleDef>* PermissionManager::GetAvailableRoles(EListIncludeAdmin includeAdmin,
                                                           EListIncludeInvisible includeInvisible) {
    std::unique_ptr<std::vector<RoleDef>> result(new (std::nothrow) std::vector<RoleDef>());
    if (result == nullptr || RoleCache == nullptr) {
        return result.release();
    }
    // In the cache's order: a role renamed since the last load keeps its place.
    for (RoleObject& row : *RoleCache) {
        bool isAdmin = Util::CompareStrings(row.GetName(), "Admin", Util::kCaseInsensitive) ==
                       Util::kStringEqual;
        // Only the value 1 excludes. "Admin" is judged by its own switch alone,
        // whatever its visible flag.
        bool taken = isAdmin ? includeAdmin != kListExcludeAdmin
                             : includeInvisible != kListExcludeInvisible || row.IsVisible();
        if (!taken) {
            continue;
        }
        std::unique_ptr<RoleDef> def(row.RoleDefFactory());
        if (def == nullptr) {
            return nullptr;
        }
        GetIfFullAccessIsAllowed(def.get(), row.GetId());
        CheckAndSetConnectedRoleFlag(def.get(), row.GetId(), true);
        result->push_back(*def);
    }
    return result.release();
}

std::vector<RoleDef>* PermissionManager::GetUserRoles(int userId) {
    std::unique_ptr<std::vector<RoleDef>> result(new (std::nothrow) std::vector<RoleDef>());
    if (result == nullptr || userId < 0) {
        return result.release();
    }
    std::unique_ptr<std::vector<int>> roleIds(GetRoleIdsForUser(userId));
    if (roleIds == nullptr) {
        return result.release();
    }
    for (int roleId : *roleIds) {
        std::unique_ptr<RoleDef> def(GetRoleDef(roleId));
        // Both are called also for a null record: they look the role up
        // themselves, and find nothing for a role that is not cached.
        GetIfFullAccessIsAllowed(def.get(), roleId);
        CheckAndSetConnectedRoleFlag(def.get(), roleId, true);
        if (def == nullptr) {
            return nullptr; // an assignment to an uncached role fails the whole call
        }
        result->push_back(*def);
    }
    SortInNameOrder(*result);
    return result.release();
}

} // namespace PM
