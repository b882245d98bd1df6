// Dynamic (bank-account) entitlements: the next free id, creation one at a time
// with full bookkeeping or in bulk as bare store rows, the soft delete and the wipe.
#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include "Diagnostics.h"
#include "permissionmanager/DynamicEntitlementLookup.h"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace PM {

namespace {

char const kDeletedEntitlementName[] = " "; // one blank

} // namespace

int PermissionManager::GetNextDynamicEntId() {
    if (EntitlementCache == nullptr || EntitlementCache->empty()) {
        return kFirstDynamicEntitlementId;
    }
    // Static ids take part, and so do blanked entitlements: their ids are
    // never handed out again.
    std::int32_t highest = kFirstDynamicEntitlementId - 1;
    for (EntitlementObject const& row : *EntitlementCache) {
        highest = std::max(highest, row.m_Id);
    }
    // Past the 32-bit range the id wraps to a negative value, which the
    // callers refuse.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(highest) + 1u);
}

int PermissionManager::AddDynamicEntitlement(TString name, TString parentName) {
    auto reload = [this] { return SetupEntitlementCaches(); };
    EntitlementDef parent;
    if (FindEntitlementWithReload(*this, parentName, reload, &parent) != PM_OK) {
        return PM_ERROR;
    }
    int const id = GetNextDynamicEntId();
    if (id < kFirstDynamicEntitlementId) {
        return PM_ERROR; // the highest id has wrapped over
    }
    EntitlementDef entitlement;
    entitlement.SetName(GetShortEntName(name));
    entitlement.SetId(id);
    entitlement.SetCategory(parent.GetId());
    entitlement.SetAttrs(parent.GetAttrs());
    entitlement.ClearAction(); // the roles' associations grant, not the record
    entitlement.SetEnabled(true);
    entitlement.SetVisible(true);
    entitlement.SetMixed(false);

    // Store row, entitlement cache, every role's association; the established
    // user's table follows whatever happened to those three.
    int result = AddEntitlement(entitlement);
    if (result != PM_OK) {
        // A refused id most likely means the cache has fallen behind the
        // store: reload, take a fresh id and try exactly once more.
        if (SetupEntitlementCaches() != PM_ERROR ||
            PM_RAISE("SetupEntitlementCaches() != PM_ERROR")) {
            entitlement.SetId(GetNextDynamicEntId());
            result = AddEntitlement(entitlement);
        }
    }
    if (result == PM_OK) {
        result = AddEntitlementCacheEntry(entitlement);
    }
    if (result == PM_OK) {
        result = SetDynamicEntitlement(name, parentName, EActionSettingInherit);
    }

    std::map<int, long>* table = GetCurrentActionCache();
    if (table != nullptr) {
        // The parent's entry in the table decides; only without one are the
        // user's roles asked, and their masks on the parent ORed.
        long action = 0;
        std::map<int, long>::const_iterator parentRow = table->find(parent.GetId());
        if (parentRow != table->end()) {
            action = parentRow->second;
        } else if (URPStore != nullptr) {
            std::unique_ptr<std::vector<int>> roleIds(GetRoleIdsForUser(EstablishedUser));
            if (roleIds != nullptr) {
                for (int roleId : *roleIds) {
                    long mask = 0;
                    if (URPStore->URPSReadRoleActionAssociation(roleId, parent.GetId(), &mask) !=
                        PM_OK) {
                        mask = 0; // the store leaves -1 behind a failed read
                    }
                    action |= mask;
                }
            }
        }
        table->emplace(entitlement.GetId(), action); // an id already there keeps its action
        CurrentContext->ActionIndex.Rebuild(table);
    }
    return result;
}

int PermissionManager::AddDynamicEntitlementRapidly(TString name, int id, int parentId, int attrs) {
    if (id < kFirstDynamicEntitlementId) {
        return PM_ERROR;
    }
    // The name is written as given, separators included; no cache entry, no
    // association and no table entry: the caller follows up in bulk.
    EntitlementDef entitlement;
    entitlement.SetName(name);
    entitlement.SetId(id);
    entitlement.SetCategory(parentId);
    entitlement.ClearAction();
    entitlement.SetAttrs(attrs);
    entitlement.SetEnabled(true);
    entitlement.SetVisible(true);
    entitlement.SetMixed(false);
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    return URPStore->URPSAddEntitlementToDB(entitlement);
}

int PermissionManager::DeleteDynamicEntitlement(TString name) {
    // Whatever the name finds is blanked, catalogue entitlements included.
    EntitlementDef old;
    if (FindEntitlementWithReload(
            *this, name, [this] { return SetupEntitlementCaches(); }, &old) != PM_OK) {
        return PM_ERROR;
    }
    // A soft delete: row, cache entry and associations stay, so the id is
    // never used again.
    EntitlementDef blank;
    blank.SetId(old.GetId());
    blank.SetCategory(old.GetCategory());
    blank.SetName(kDeletedEntitlementName);
    blank.ClearAction();
    // A plain subtraction, not a bit operation: stored blanked rows carry
    // exactly this value, whatever bits the old attrs held.
    blank.SetAttrs(old.GetAttrs() - 1);
    blank.SetEnabled(false);
    blank.SetVisible(false);
    blank.SetMixed(false);
    int result = UpdateEntitlement(blank);
    if (result != PM_OK) {
        return result;
    }
    result = ModifyEntitlementCacheEntry(blank);
    if (result != PM_OK) {
        return result;
    }
    if (RoleCache == nullptr) {
        return PM_OK;
    }
    for (RoleObject const& role : *RoleCache) {
        result = URPStore->URPSUpdateRoleActionAssociation(role.GetId(), blank.GetId(), 0);
        if (result != PM_OK) {
            return result;
        }
    }
    return PM_OK;
}

int PermissionManager::DeleteAllDynamicBankAccntEntitlements() {
    if (EntitlementCache == nullptr || EntitlementCache->empty()) {
        return PM_ERROR;
    }
    bool deletedAny = false;
    std::size_t const length = EntitlementCache->size();
    for (std::size_t index = 0; index < length; ++index) {
        EntitlementObject& row = (*EntitlementCache)[index];
        if (row.m_Id < kFirstDynamicEntitlementId) {
            continue;
        }
        // Only the entitlement row goes; the masks stay in their table. A
        // failure leaves earlier rows deleted and the caches stale.
        int result = DeleteEntitlement(EntitlementDef(row));
        if (result != PM_OK) {
            return result;
        }
        deletedAny = true;
    }
    // A wipe that finds nothing to wipe is reported as a failure, and the
    // caches are not rebuilt.
    if (!deletedAny) {
        return PM_ERROR;
    }
    return Init();
}

} // namespace PM
