// Saving a role and its grants: the new-role and existing-role paths of
// SetRoleEntitlements, the master-to-slave mask copies, and the association
// writers they are made of.
#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include "Diagnostics.h"
#include "permissionmanager/EntitlementLists.h"

#include <cstdlib>
#include <memory>
#include <set>

namespace PM {

namespace {

// Each master's mask in an edit is also written to its slaves, rows in this
// order and slaves in the order given. No slave is a master, so nothing chains.
struct SlaveRow {
    int master;
    int slaves[3];
    int slaveCount;
};

SlaveRow const kSlaveTable[] = {
    {132, {68, 70, 71}, 3}, {117, {26}, 1},     {118, {104, 107}, 2},   {9, {15}, 1},
    {109, {34, 31}, 2},     {110, {33, 35}, 2}, {111, {41, 76, 75}, 3}, {112, {36, 37, 42}, 3},
    {113, {39, 40, 32}, 3}, {160, {167}, 1},    {161, {168}, 1},        {28, {58}, 1},
    {20, {30}, 1},
};

// The first row with this id, or null; a linear search from the front.
EntitlementDef const* FindFirst(std::vector<EntitlementDef> const& list, int id) {
    for (EntitlementDef const& row : list) {
        if (row.GetId() == id) {
            return &row;
        }
    }
    return nullptr;
}

// Whether the first connected entitlement, in set and key order, that stands
// in both lists has a different mask in each; ids missing from either list
// are passed over. Key text that is no number reads as id 0.
bool ConnectedEntitlementChanged(std::set<ConnectedEntitlementSet> const& sets,
                                 std::vector<EntitlementDef> const& current,
                                 std::vector<EntitlementDef> const& edited) {
    for (ConnectedEntitlementSet const& ids : sets) {
        for (ConnectedEntitlementSet::value_type const& key : ids) {
            int id = std::atoi(key.first.c_str());
            EntitlementDef const* before = FindFirst(current, id);
            EntitlementDef const* after = FindFirst(edited, id);
            if (before != nullptr && after != nullptr &&
                before->GetAction() != after->GetAction()) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

int PermissionManager::SetRoleEntitlements(RoleDef& role,
                                           std::vector<EntitlementDef>& entitlements) {
    // By name, whatever the id; checked before the length.
    if (role.isRoleAdmin()) {
        return PM_ERR_ADMINROLE;
    }
    std::size_t nameLength = role.GetName().GetLength();
    if (nameLength == 0 || nameLength > static_cast<std::size_t>(kMaxRoleNameLength)) {
        return PM_ERR_BADROLENAME;
    }
    m_ConnectedEntitlementsEdited = false;
    FetchConnectedEntitlementIDList();

    int rcode = PM_OK;
    // Only the id decides: a negative or unknown id is a new role, and the
    // name plays no part, so two roles may come to share one.
    RoleObject* cached = LookupRoleInCache(role.GetId());
    if (cached == nullptr) {
        int roleId = GetNextRoleId();
        role.SetId(roleId);
        rcode = URPStore != nullptr ? URPStore->URPSAddRoleToDB(role) : PM_ERROR;
        if (rcode != PM_OK && !PM_RAISE("rcode == PM_OK")) {
            return rcode;
        }
        // Every catalogue entitlement gets an association: the cached action
        // unless the caller gave one. Ids not in the catalogue are dropped.
        std::unique_ptr<std::vector<EntitlementDef>> working(
            CopyEntitlementObjectList(EntitlementCache));
        if (working == nullptr) {
            working.reset(new std::vector<EntitlementDef>());
        }
        for (EntitlementDef const& row : entitlements) {
            if (row.GetId() < 0) {
                continue;
            }
            EntitlementDef* target = FindEntitlementDefById(working.get(), row.GetId());
            if (target != nullptr) {
                target->SetAction(row.GetAction());
            }
        }
        rcode = AddRoleActionAssociations(roleId, *working);
        if (rcode != PM_OK) {
            PM_RAISE("rcode == PM_OK"); // goes on whatever the handler answers
        }
        // A failure from here on leaves the role in the store but not in the
        // cache, so the next new role can be given the same id.
        rcode = SlaveEntitlements(roleId, entitlements);
        if (rcode != PM_OK) {
            return rcode;
        }
        rcode = AddRoleCacheEntry(role, *working);
        if (rcode != PM_OK) {
            return rcode;
        }
        AnalyzeAvailRoleForTracking();
        return roleId;
    }

    int roleId = cached->GetId();
    if (URPStore != nullptr) {
        // One read whose result is not used. It stays: it rewinds the store's
        // one entitlement cursor, which a store or a caller counting store
        // calls can see.
        EntitlementObject unused;
        URPStore->URPSGetFirstEntitlement(unused);
    }
    // The role's visible rows as they stand, read before anything is written;
    // an invisible connected entitlement is therefore never found edited.
    std::unique_ptr<std::vector<EntitlementDef>> current(GetEntitlements(roleId, -1, true));
    if (current != nullptr &&
        ConnectedEntitlementChanged(m_ConnectedEntitlementSets, *current, entitlements)) {
        // Stays set even when a later step of this pass fails.
        m_ConnectedEntitlementsEdited = true;
        CheckAndSetConnectedRoleFlag(&role, roleId, false);
    }
    // The record is rewritten by removal and addition; the id stays, and the
    // role's associations and assignments, which are other records, stay too.
    rcode = URPStore != nullptr ? URPStore->URPSRemoveRoleFromDB(roleId) : PM_ERROR;
    if (rcode != PM_OK && !PM_RAISE("rcode == PM_OK")) {
        return rcode;
    }
    rcode = URPStore != nullptr ? URPStore->URPSAddRoleToDB(role) : PM_ERROR;
    if (rcode != PM_OK && !PM_RAISE("rcode == PM_OK")) {
        return rcode;
    }
    // Every row is written as handed in. Unlike the new-role path this does
    // not skip ids below 0, so heading rows of a merged listing reach the
    // store as entitlement id -1; that stays, as no entitlement has the id
    // and nothing reads the row. Catalogue rows not in the list keep theirs.
    for (EntitlementDef const& row : entitlements) {
        if (URPStore == nullptr) {
            return PM_ERROR;
        }
        rcode = URPStore->URPSUpdateRoleActionAssociation(roleId, row.GetId(), row.GetAction());
        if (rcode != PM_OK) {
            // The fallback adds mask 0, not the mask asked for: on purpose, a
            // failed update leaves an association that grants nothing.
            rcode = URPStore->URPSAddRoleActionAssociation(roleId, row.GetId(), 0);
            if (rcode != PM_OK) {
                return rcode;
            }
        }
    }
    rcode = SlaveEntitlements(roleId, entitlements);
    if (rcode != PM_OK) {
        return rcode;
    }
    rcode = ModifyRoleCacheEntry(role);
    if (rcode != PM_OK) {
        return rcode;
    }
    AnalyzeAvailRoleForTracking();
    return roleId;
}

int PermissionManager::SlaveEntitlements(int roleId, std::vector<EntitlementDef>& entitlements) {
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    // Written after the role's own rows, so a mask the caller gave a slave
    // is overwritten when its master is in the list too. All bits are copied,
    // whatever actions the slave offers.
    for (SlaveRow const& row : kSlaveTable) {
        EntitlementDef const* master = FindFirst(entitlements, row.master);
        if (master == nullptr) {
            continue;
        }
        for (int i = 0; i < row.slaveCount; ++i) {
            int rcode = URPStore->URPSUpdateRoleActionAssociation(roleId, row.slaves[i],
                                                                  master->GetAction());
            if (rcode != PM_OK) {
                return rcode;
            }
        }
    }
    return PM_OK;
}

int PermissionManager::AddRoleActionAssociations(int roleId,
                                                 std::vector<EntitlementDef>& entitlements) {
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    for (EntitlementDef const& row : entitlements) {
        int rcode = URPStore->URPSAddRoleActionAssociation(roleId, row.GetId(), row.GetAction());
        if (rcode != PM_OK) {
            return rcode;
        }
    }
    return PM_OK;
}

// Writes def's action for every cached role to the store. Despite the name no
// cached row changes: masks are not cached in the role list.
int PermissionManager::ModifyRolesInRoleCache(EntitlementDef& def, bool writeToStore) {
    if (RoleCache == nullptr || !writeToStore) {
        return PM_OK;
    }
    for (RoleObject const& row : *RoleCache) {
        if (URPStore == nullptr) {
            return PM_ERROR;
        }
        int rcode =
            URPStore->URPSUpdateRoleActionAssociation(row.GetId(), def.GetId(), def.GetAction());
        if (rcode != PM_OK) {
            return rcode;
        }
    }
    return PM_OK;
}

// Adds (where ModifyRolesInRoleCache updates) one association; the role list
// is left alone.
int PermissionManager::ModifyOneRoleInRoleCache(int roleId, EntitlementDef& def) {
    if (roleId < 0 || URPStore == nullptr) {
        return PM_ERROR;
    }
    return URPStore->URPSAddRoleActionAssociation(roleId, def.GetId(), def.GetAction());
}

bool PermissionManager::isEntitlementsSameAsDefault(std::vector<int> const& ids) {
    // Repetition is not noticed: {109, 109, 109} passes.
    if (ids.size() != 3) {
        return false;
    }
    for (int id : ids) {
        if (id != 109 && id != 110 && id != 112) {
            return false;
        }
    }
    return true;
}

int PermissionManager::UpdateRoleActionAssociation(int roleId, int entitlementId, long action) {
    return URPStore != nullptr
               ? URPStore->URPSUpdateRoleActionAssociation(roleId, entitlementId, action)
               : PM_ERROR;
}

int PermissionManager::DeleteRoleActionAssociations(int roleId) {
    return URPStore != nullptr ? URPStore->URPSDeleteRoleActionAssociations(roleId) : PM_ERROR;
}

} // namespace PM
