// Establishing the logged-in user: the user's roles become one action table,
// built once, from which the access decision answers.
#include <PM/PermissionManager.h>

#include "Diagnostics.h"

#include <memory>

namespace PM {

int PermissionManager::EstablishUser(int user) {
    if (!Initialized) {
        return -1;
    }
    // From here on a failure leaves no user, which allows everything.
    EstablishedUser = -1;
    std::unique_ptr<std::vector<int>> roleIds(GetRoleIdsForUser(user));
    if (roleIds == nullptr) {
        return -1;
    }
    std::map<int, long>* table = nullptr; // the first role's merge creates it
    for (int roleId : *roleIds) {
        if (AddRolesActionValuesToActionCache(table, roleId).Failed()) {
            return -1; // the table is gone with the failure
        }
    }
    roleIds.reset();
    if (table == nullptr) {
        // A user without roles may do nothing: every row 0. That is not the
        // same as no user at all.
        table = CreateNewActionCache();
    }
    // The context owns the table from here on, also when it refuses it.
    if (SetActionCacheForTallyframeContext(table).Failed()) {
        return -1;
    }
    EstablishedUser = user;
    return 0;
}

bool PermissionManager::DoesUserHaveAdmin(int user) {
    std::unique_ptr<std::vector<int>> roleIds(GetRoleIdsForUser(user));
    if (roleIds == nullptr) {
        return false;
    }
    bool isAdmin = false;
    for (int roleId : *roleIds) {
        std::unique_ptr<RoleDef> role(GetRoleDef(roleId));
        if (role == nullptr) {
            if (!PM_RAISE("role != NULL")) {
                return false;
            }
            continue;
        }
        isAdmin = role->isRoleAdmin();
        if (isAdmin) {
            break;
        }
    }
    return isAdmin;
}

} // namespace PM
