// The role list held in memory, role deletion, and which user holds which
// roles (assignments are never cached: each question goes to the store).
#include <PM/Constants.h>
#include <PM/PermissionManager.h>
#include <UM/UserManager.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"
#include "roleobject/NameOrder.h"

#include <algorithm>
#include <memory>
#include <new>

namespace PM {

namespace {
int RecordKeyForUser(int userId) {
    return UM::UserManager::GetTheUserManager().GetDBRecKeyForUser(userId);
}
} // namespace

std::vector<RoleObject>* PermissionManager::CacheRoles() {
    std::unique_ptr<std::vector<RoleObject>> list(new (std::nothrow) std::vector<RoleObject>());
    if (list == nullptr) {
        PM_RAISE("rolelist != NULL");
        return nullptr;
    }
    if (DSAccessType == kDataStorageRecords) {
        RoleObject role; // reused from row to row; the store leaves its list alone
        if (URPStore == nullptr || URPStore->URPSGetFirstRole(role) != PM_OK) {
            return list.release(); // empty and unsorted
        }
        do {
            list->push_back(role);
        } while (URPStore->URPSGetNextRole(role) == PM_OK);
    } else if (DSAccessType == kDataStorageCIndex) {
        // The whole-list back end is asked to build its association cache
        // first; the scratch list only serves that call and is never read.
        std::unique_ptr<std::vector<RoleEntActionAssocCacheEntry>> scratch(
            new (std::nothrow) std::vector<RoleEntActionAssocCacheEntry>());
        if (scratch == nullptr && !PM_RAISE("raaCache != NULL")) {
            return nullptr;
        }
        int result = URPStore != nullptr
                         ? URPStore->URPSBuildRoleActionAssociationsCache(scratch.get())
                         : PM_ERROR;
        if (result == PM_OK) {
            result = URPStore->URPSGetRoleList(list.get());
        }
        if (result != PM_OK) {
            return list.release();
        }
    }
    SortInNameOrder(*list);
    return list.release();
}

int PermissionManager::AddRoleCacheEntry(RoleDef& role, std::vector<EntitlementDef>& entitlements) {
    if (RoleCache == nullptr) {
        // A handler that lets the program go on gets success, as for the
        // other cache edits; there is simply no list to add the row to.
        return PM_RAISE("rolelist != NULL") ? PM_OK : PM_ERROR;
    }
    RoleObject cached;
    cached.SetName(role.GetName());
    cached.SetId(role.GetId());
    cached.SetDescription(role.GetDescription());
    cached.SetCategory(role.GetCategory());
    cached.SetVisible(role.GetVisible() == 1);

    std::vector<EntitlementObject>* list = new (std::nothrow) std::vector<EntitlementObject>();
    if (list == nullptr && !PM_RAISE("pEoList != NULL")) {
        return PM_OK; // refused: nothing is added, and that is reported as done
    }
    if (list != nullptr) {
        list->reserve(entitlements.size());
        for (EntitlementDef const& def : entitlements) {
            EntitlementObject row;
            row.m_Name = def.GetName();
            row.m_Id = def.GetId();
            row.m_Category = def.GetCategory();
            row.m_Action = def.GetAction();
            row.m_Attrs = static_cast<std::int32_t>(def.GetAttrs());
            row.m_Enabled = def.IsEnabled();
            row.m_Visible = def.IsVisible();
            list->push_back(row);
        }
    }
    delete cached.GetEntitlementObjList();
    cached.SetEntitlementObjList(list);
    RoleCache->push_back(cached);
    SortInNameOrder(*RoleCache);
    return PM_OK;
}

int PermissionManager::ModifyRoleCacheEntry(RoleDef& role) {
    RoleObject* cached = LookupRoleInCache(role.GetId());
    if (cached == nullptr) {
        return PM_RAISE("roleobj != NULL") ? PM_OK : PM_ERROR;
    }
    // In place and unsorted: a renamed role keeps its position until the next
    // add or load. Its entitlement list stays as it was.
    cached->SetName(role.GetName());
    cached->SetDescription(role.GetDescription());
    cached->SetCategory(role.GetCategory());
    cached->SetVisible(role.GetVisible() == 1);
    return PM_OK;
}

int PermissionManager::DeleteRoleCacheEntry(int roleId) {
    if (roleId < 0) {
        return PM_ERROR;
    }
    if (RoleCache == nullptr) {
        return PM_RAISE("rolelist != NULL") ? PM_OK : PM_ERROR;
    }
    for (std::vector<RoleObject>::iterator row = RoleCache->begin(); row != RoleCache->end();
         ++row) {
        if (row->GetId() == roleId) {
            RoleCache->erase(row);
            break;
        }
    }
    return PM_OK;
}

int PermissionManager::DeleteRole(int roleId) {
    return DeleteRole(roleId, true);
}

int PermissionManager::DeleteRole(int roleId, bool protectAdmin) {
    if (roleId < 0) {
        return PM_ERR_PROTECTEDROLE;
    }
    std::unique_ptr<RoleDef> role(GetRoleDef(roleId));
    if (role == nullptr) {
        return PM_ERR_NORECORD;
    }
    if (role->isRoleAdmin() && protectAdmin) {
        return PM_ERR_PROTECTEDROLE; // deliberately the same code as a negative id
    }
    // Assignments, then masks, then the role record; memory last, and only
    // when every store write succeeded. Nothing undoes an earlier write.
    int result = DeleteUserRoleAssocByRole(roleId);
    if (result != PM_OK) {
        return result;
    }
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    result = URPStore->URPSDeleteRoleActionAssociations(roleId);
    if (result != PM_OK) {
        return result;
    }
    result = URPStore->URPSRemoveRoleFromDB(roleId);
    if (result != PM_OK) {
        return result;
    }
    return DeleteRoleCacheEntry(roleId);
}

int PermissionManager::DeleteAllRoles() {
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
    return result; // RoleCache is left behind the store; the caller reloads
}

RoleDef* PermissionManager::GetRoleDef(int roleId) {
    if (roleId < 0) {
        RoleDef* blank = new (std::nothrow) RoleDef();
        if (blank == nullptr) {
            PM_RAISE("role != NULL");
        }
        return blank;
    }
    RoleObject* cached = LookupRoleInCache(roleId);
    return cached != nullptr ? cached->RoleDefFactory() : nullptr;
}

int PermissionManager::LookupRole(TString const& name) {
    if (RoleCache != nullptr) {
        for (RoleObject const& row : *RoleCache) {
            if (Util::CompareStrings(row.GetName(), name, Util::kCaseInsensitive) ==
                Util::kStringEqual) {
                return row.GetId();
            }
        }
    }
    return PM_ERROR;
}

RoleObject* PermissionManager::LookupRoleInCache(int roleId) {
    if (roleId < 0 || RoleCache == nullptr) {
        return nullptr;
    }
    for (RoleObject& row : *RoleCache) {
        if (row.GetId() == roleId) {
            return &row;
        }
    }
    return nullptr;
}

int PermissionManager::GetNextRoleId() {
    // Ids are not remembered across deletions: deleting the highest role
    // gives its id to the next new one.
    int next = 0;
    if (RoleCache != nullptr) {
        for (RoleObject const& row : *RoleCache) {
            next = std::max(next, row.GetId() + 1);
        }
    }
    return next;
}

int PermissionManager::SetRoleForUser(int userId, int roleId) {
    int key = RecordKeyForUser(userId);
    if (key == -1 || URPStore == nullptr) {
        return PM_ERROR;
    }
    return URPStore->URPSAddUserRoleAssociation(key, roleId);
}

int PermissionManager::PurgeUserOfRoles(int userId) {
    return DeleteUserRoleAssocByUser(userId);
}

std::vector<int>* PermissionManager::GetUserRoleIds(int userId) {
    return GetRoleIdsForUser(userId);
}

std::vector<int>* PermissionManager::GetUsersUsingRole(int roleId) {
    return GetUserIdsForRole(roleId);
}

std::vector<int>* PermissionManager::GetRoleIdsForUser(int userId) {
    if (URPStore == nullptr) {
        return nullptr;
    }
    std::unique_ptr<std::vector<int>> roleIds(new (std::nothrow) std::vector<int>());
    if (roleIds == nullptr) {
        PM_RAISE("pRoleIds != NULL");
        return nullptr;
    }
    if (URPStore->URPSGetRoleIdsForUser(RecordKeyForUser(userId), roleIds.get()) != PM_OK) {
        return nullptr;
    }
    return roleIds.release();
}

std::vector<int>* PermissionManager::GetUserIdsForRole(int roleId) {
    if (URPStore == nullptr) {
        return nullptr;
    }
    std::unique_ptr<std::vector<int>> userIds(new (std::nothrow) std::vector<int>());
    if (userIds == nullptr) {
        PM_RAISE("pUserIds != NULL");
        return nullptr;
    }
    // The store translates record keys back: the list holds host user ids.
    if (URPStore->URPSGetUserIdsForRole(roleId, userIds.get()) != PM_OK) {
        return nullptr;
    }
    return userIds.release();
}

int PermissionManager::DeleteUserRoleAssocByRole(int roleId) {
    if (roleId < kRoleIdLow && !PM_RAISE("roleId >= kRoleIdLow")) {
        return PM_ERROR;
    }
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    return URPStore->URPSDeleteUserRoleAssoc(-1, roleId);
}

int PermissionManager::DeleteUserRoleAssocByUser(int userId) {
    if (userId < kUserIdLow && !PM_RAISE("userId >= kUserIdLow")) {
        return PM_ERROR;
    }
    int key = RecordKeyForUser(userId);
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    // The key is not tested: for an unknown user both places hold -1, and
    // nothing is deleted.
    return URPStore->URPSDeleteUserRoleAssoc(key, -1);
}

// Thin forwards to the store; none of them touches RoleCache.

int PermissionManager::AddRoleToDB(RoleDef& role) {
    return URPStore != nullptr ? URPStore->URPSAddRoleToDB(role) : PM_ERROR;
}

int PermissionManager::RemoveRoleFromDB(int roleId) {
    return URPStore != nullptr ? URPStore->URPSRemoveRoleFromDB(roleId) : PM_ERROR;
}

int PermissionManager::GetFirstRole(RoleObject& role) {
    return URPStore != nullptr ? URPStore->URPSGetFirstRole(role) : PM_ERROR;
}

int PermissionManager::GetNextRole(RoleObject& role) {
    return URPStore != nullptr ? URPStore->URPSGetNextRole(role) : PM_ERROR;
}

int PermissionManager::GetRole(RoleObject& role) {
    return URPStore != nullptr ? URPStore->URPSGetRole(role) : PM_ERROR;
}

int PermissionManager::AddUserRoleAssociation(int userKey, int roleId) {
    return URPStore != nullptr ? URPStore->URPSAddUserRoleAssociation(userKey, roleId) : PM_ERROR;
}

int PermissionManager::DeleteUserRoleAssoc(int userKey, int roleId) {
    return URPStore != nullptr ? URPStore->URPSDeleteUserRoleAssoc(userKey, roleId) : PM_ERROR;
}

} // namespace PM
