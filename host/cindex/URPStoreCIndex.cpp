// The reference host's preference-index store: roles, entitlements,
// assignments and masks in maps in memory, gone with the object. operator= is
// the permission library's.
#include <URPStoreCIndex.h>

#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>
#include <PM/RoleDef.h>
#include <PM/RoleEntActionAssocCacheEntry.h>
#include <PM/RoleObject.h>
#include <UM/UserManager.h>
#include <Util/TString.h>

#include <climits>
#include <map>
#include <set>
#include <utility>

// Every operation returns 0 on success and -1 on failure. An operation on one
// key that is not there (remove, update, delete) fails, and so does adding a
// key that is; operations on many rows succeed even when they touch none.
// Lists are appended to, never cleared, in ascending key order.

namespace {

const int kDone = 0;
const int kFailed = -1;

struct RoleRow {
    TString name;
    TString description;
    int category;
    bool visible;
};

struct Index {
    std::map<int, RoleRow> roles;
    std::map<int, PM::EntitlementObject> entitlements; // action unused: 0
    std::set<std::pair<int, int>> assignments;         // (user record key, role id)
    std::map<std::pair<int, int>, long> masks;         // (role id, entitlement id) -> mask
};

Index& IndexOf(void* index) {
    return *static_cast<Index*>(index);
}

PM::EntitlementObject RowOf(PM::EntitlementDef const& entitlement) {
    PM::EntitlementObject row;
    row.m_Name = entitlement.GetName();
    row.m_Id = entitlement.GetId();
    row.m_Category = entitlement.GetCategory();
    row.m_Attrs = static_cast<int>(entitlement.GetAttrs());
    row.m_Enabled = entitlement.IsEnabled();
    row.m_Visible = entitlement.IsVisible();
    return row;
}

} // namespace

URPStoreCIndex::URPStoreCIndex() : m_Index(new Index) {}

URPStoreCIndex::~URPStoreCIndex() {
    delete static_cast<Index*>(m_Index);
}

int URPStoreCIndex::URPSAddRole(PM::RoleDef& role) {
    RoleRow row{role.GetName(), role.GetDescription(), role.GetCategory(), role.GetVisible()};
    return IndexOf(m_Index).roles.emplace(role.GetId(), row).second ? kDone : kFailed;
}

int URPStoreCIndex::URPSRemoveRole(int roleId) {
    return IndexOf(m_Index).roles.erase(roleId) == 1 ? kDone : kFailed;
}

int URPStoreCIndex::URPSGetRoleList(std::vector<PM::RoleObject>* roles) {
    if (roles == nullptr) {
        return kFailed;
    }
    for (auto const& entry : IndexOf(m_Index).roles) {
        PM::RoleObject role;
        role.SetId(entry.first);
        role.SetName(entry.second.name);
        role.SetDescription(entry.second.description);
        role.SetCategory(entry.second.category);
        role.SetVisible(entry.second.visible);
        roles->push_back(role);
    }
    return kDone;
}

int URPStoreCIndex::URPSRemoveAllRole() {
    IndexOf(m_Index).roles.clear();
    return kDone;
}

int URPStoreCIndex::URPSAddEntitlement(PM::EntitlementDef& entitlement) {
    return IndexOf(m_Index).entitlements.emplace(entitlement.GetId(), RowOf(entitlement)).second
               ? kDone
               : kFailed;
}

int URPStoreCIndex::URPSUpdateEntitlement(PM::EntitlementDef& entitlement) {
    auto row = IndexOf(m_Index).entitlements.find(entitlement.GetId());
    if (row == IndexOf(m_Index).entitlements.end()) {
        return kFailed;
    }
    row->second = RowOf(entitlement);
    return kDone;
}

int URPStoreCIndex::URPSDeleteEntitlement(PM::EntitlementDef& entitlement) {
    return IndexOf(m_Index).entitlements.erase(entitlement.GetId()) == 1 ? kDone : kFailed;
}

int URPStoreCIndex::URPSGetEntitlementList(std::vector<PM::EntitlementObject>* entitlements) {
    if (entitlements == nullptr) {
        return kFailed;
    }
    for (auto const& entry : IndexOf(m_Index).entitlements) {
        entitlements->push_back(entry.second);
    }
    return kDone;
}

int URPStoreCIndex::URPSDeleteAllEntitlement() {
    IndexOf(m_Index).entitlements.clear();
    return kDone;
}

int URPStoreCIndex::URPSAddUserRoleAssociation(int userKey, int roleId) {
    return IndexOf(m_Index).assignments.emplace(userKey, roleId).second ? kDone : kFailed;
}

// -1 on either side stands for any; unlike the record tables this store can
// also delete one single pair.
int URPStoreCIndex::URPSDeleteUserRoleAssoc(int userKey, int roleId) {
    std::set<std::pair<int, int>>& assignments = IndexOf(m_Index).assignments;
    if (userKey != -1 && roleId != -1) {
        return assignments.erase(std::make_pair(userKey, roleId)) == 1 ? kDone : kFailed;
    }
    for (auto pair = assignments.begin(); pair != assignments.end();) {
        bool userMatches = userKey == -1 || pair->first == userKey;
        bool roleMatches = roleId == -1 || pair->second == roleId;
        pair = userMatches && roleMatches ? assignments.erase(pair) : std::next(pair);
    }
    return kDone;
}

int URPStoreCIndex::URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) {
    if (roleIds == nullptr) {
        return kFailed;
    }
    for (auto const& pair : IndexOf(m_Index).assignments) {
        if (pair.first == userKey) {
            roleIds->push_back(pair.second);
        }
    }
    return kDone;
}

// Assignments are filed under record keys; like the record-backed store, this
// gives back the host's user ids.
int URPStoreCIndex::URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) {
    if (userIds == nullptr) {
        return kFailed;
    }
    for (auto const& pair : IndexOf(m_Index).assignments) {
        if (pair.second == roleId) {
            userIds->push_back(UM::UserManager::GetTheUserManager().GetUserForDBRecKey(pair.first));
        }
    }
    return kDone;
}

int URPStoreCIndex::URPSDeleteAllUserRoleAssoc() {
    IndexOf(m_Index).assignments.clear();
    return kDone;
}

int URPStoreCIndex::URPSAddRoleActionAssociation(int roleId, int entitlementId, long action) {
    return IndexOf(m_Index).masks.emplace(std::make_pair(roleId, entitlementId), action).second
               ? kDone
               : kFailed;
}

// Updates the mask, or adds it when the pair is not stored.
int URPStoreCIndex::URPSUpdateRoleActionAssociation(int roleId, int entitlementId, long action) {
    IndexOf(m_Index).masks[std::make_pair(roleId, entitlementId)] = action;
    return kDone;
}

int URPStoreCIndex::URPSDeleteRoleActionAssociations(int roleId) {
    std::map<std::pair<int, int>, long>& masks = IndexOf(m_Index).masks;
    masks.erase(masks.lower_bound(std::make_pair(roleId, INT_MIN)),
                masks.upper_bound(std::make_pair(roleId, INT_MAX)));
    return kDone;
}

// Sets the action of the first listed entitlement for each mask of the role,
// and appends one entry per mask; either list may be null.
int URPStoreCIndex::URPSReadRoleActionAssociations(
    int roleId, std::vector<PM::EntitlementObject>* entitlements,
    std::vector<RoleEntActionAssocCacheEntry>* entries) {
    for (auto const& mask : IndexOf(m_Index).masks) {
        if (mask.first.first != roleId) {
            continue;
        }
        if (entitlements != nullptr) {
            for (PM::EntitlementObject& entitlement : *entitlements) {
                if (entitlement.m_Id == mask.first.second) {
                    entitlement.m_Action = static_cast<int>(mask.second);
                    break;
                }
            }
        }
        if (entries != nullptr) {
            RoleEntActionAssocCacheEntry entry;
            entry.SetRoleId(roleId);
            entry.SetEntId(mask.first.second);
            entry.SetAction(static_cast<int>(mask.second));
            entries->push_back(entry);
        }
    }
    return kDone;
}

int URPStoreCIndex::URPSBuildRoleActionAssociationsCache(
    std::vector<RoleEntActionAssocCacheEntry>* entries) {
    if (entries == nullptr) {
        return kFailed;
    }
    for (auto const& mask : IndexOf(m_Index).masks) {
        RoleEntActionAssocCacheEntry entry;
        entry.SetRoleId(mask.first.first);
        entry.SetEntId(mask.first.second);
        entry.SetAction(static_cast<int>(mask.second));
        entries->push_back(entry);
    }
    return kDone;
}

int URPStoreCIndex::URPSDeleteAllRoleActionAssociations() {
    IndexOf(m_Index).masks.clear();
    return kDone;
}
