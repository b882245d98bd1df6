// Keeping the roles' masks on dynamic entitlements in step with the tree: a new
// child inherits its parent's, a rename or move of an entitlement, the
// reconciling of child and parent, and the bulk follow-up of the rapid add.
#include <PM/Constants.h>
#include <PM/PermissionManager.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"
#include "permissionmanager/DynamicEntitlementLookup.h"

#include <cstdint>
#include <memory>

namespace PM {

namespace {

// The text up to the last separator. A name without one is its own parent
// path; a name whose only separator stands first has an empty one.
TString ParentPath(TString const& name) {
    char const* text = name.c_str();
    char const* last = Util::ReverseFindCharacter(text, kFullNameSeparator, Util::kCaseSensitive);
    if (last == nullptr) {
        return name;
    }
    return name.Mid(0, static_cast<std::size_t>(last - text));
}

// One role's masks on child and parent made equal. Masks are compared as
// signed numbers, not as sets of bits: 6 counts as more than 5.
int ReconcileRole(PermissionManager& manager, URPStoreBase& db, int roleId,
                  EntitlementDef const& parent, EntitlementDef const& child) {
    long parentAction = 0;
    long childAction = 0;
    if (db.URPSReadRoleActionAssociation(roleId, parent.GetId(), &parentAction) != PM_OK ||
        db.URPSReadRoleActionAssociation(roleId, child.GetId(), &childAction) != PM_OK) {
        return PM_ERROR;
    }
    if (childAction > parentAction) {
        // The child never exceeds its parent.
        return db.URPSUpdateRoleActionAssociation(roleId, child.GetId(), parentAction) == PM_OK
                   ? PM_OK
                   : PM_ERROR;
    }
    if (childAction == parentAction) {
        return PM_OK;
    }
    // A parent is pulled down to a child that has less.
    int result = db.URPSUpdateRoleActionAssociation(roleId, parent.GetId(), childAction);
    if (result != PM_OK) {
        return result;
    }
    // The walk compares higher and higher ancestors but writes only the
    // grandparent, whichever ancestor it has reached. Stored permission data
    // has been shaped by exactly this, so it stays.
    int const grandparentId = parent.GetCategory();
    for (EntitlementDef ancestor = manager.FindEntitlementDefById(grandparentId);
         ancestor.GetId() != PM_ERR_NOENT;
         ancestor = manager.FindEntitlementDefById(ancestor.GetCategory())) {
        long ancestorAction = 0;
        result = db.URPSReadRoleActionAssociation(roleId, ancestor.GetId(), &ancestorAction);
        if (result != PM_OK) {
            return result;
        }
        if (childAction > ancestorAction) {
            break;
        }
        if (childAction < ancestorAction) {
            result = db.URPSUpdateRoleActionAssociation(roleId, grandparentId, childAction);
            if (result != PM_OK) {
                return result;
            }
        }
    }
    return PM_OK;
}

// The established user's table after a move: the child is lowered to the
// parent, or the parent to the child. PM_ERROR, with the table untouched,
// when either has no entry.
int ReconcileActionTable(PermissionManager& manager, std::map<int, long>& table, int childId,
                         EntitlementDef const& parent) {
    std::map<int, long>::iterator childRow = table.find(childId);
    std::map<int, long>::iterator parentRow = table.find(parent.GetId());
    if (childRow == table.end() || parentRow == table.end()) {
        return PM_ERROR;
    }
    long const childAction = childRow->second;
    long const parentAction = parentRow->second;
    if (childAction > parentAction) {
        childRow->second = parentAction;
        return PM_OK;
    }
    if (childAction == parentAction) {
        return PM_OK;
    }
    parentRow->second = childAction;
    // The ancestor walk starts with L at 0 and stops once P > L, so any parent
    // action above 0 ends it before the first ancestor: in working data only
    // the direct parent is lowered. The test stays in this form so that the
    // table after a move is the one the host has always been given.
    int result = PM_OK;
    long ancestorAction = 0; // L
    for (EntitlementDef ancestor = manager.FindEntitlementDefById(parent.GetCategory());
         ancestor.GetId() != PM_ERR_NOENT && !(parentAction > ancestorAction);
         ancestor = manager.FindEntitlementDefById(ancestor.GetCategory())) {
        std::map<int, long>::iterator row = table.find(ancestor.GetId());
        if (row == table.end()) {
            result = PM_ERROR; // reported at the end; the walk goes on
            continue;
        }
        ancestorAction = row->second;
        if (result == PM_OK && parentAction < ancestorAction) {
            row->second = parentAction;
        }
    }
    return result;
}

} // namespace

int PermissionManager::SetDynamicEntitlement(TString child, TString parent,
                                             ActionSettingMode mode) {
    EntitlementDef parentEDef = FindEntitlementDefByName(parent);
    if (parentEDef.GetId() == PM_ERR_NOENT && !PM_RAISE("parentEDef.GetId() != PM_ERR_NOENT")) {
        return PM_ERROR;
    }
    EntitlementDef childEDef = FindEntitlementDefByName(child);
    if (childEDef.GetId() == PM_ERR_NOENT && !PM_RAISE("childEDef.GetId() != PM_ERR_NOENT")) {
        return PM_ERROR;
    }
    URPStoreBase* db = URPStore;
    if (db == nullptr && !PM_RAISE("db != NULL")) {
        return PM_ERROR;
    }
    // Past an accepted "db != NULL" every role's first read fails: no roles,
    // or a mode that does nothing, still give PM_OK.

    if (mode == EActionSettingInherit) {
        // A role with trouble does not stop the others; the last failure is
        // the result.
        int result = PM_OK;
        if (RoleCache != nullptr) {
            for (RoleObject const& role : *RoleCache) {
                long action = 0;
                int status = db == nullptr ? PM_ERROR
                                           : db->URPSReadRoleActionAssociation(
                                                 role.GetId(), parentEDef.GetId(), &action);
                if (status == PM_OK) {
                    status =
                        db->URPSAddRoleActionAssociation(role.GetId(), childEDef.GetId(), action);
                }
                if (status != PM_OK) {
                    result = status;
                }
            }
        }
        return result;
    }
    if (mode == EActionSettingReconcile) {
        // The first failing role ends the call; the roles before it stay
        // reconciled.
        if (RoleCache != nullptr) {
            for (RoleObject const& role : *RoleCache) {
                if (db == nullptr) {
                    return PM_ERROR;
                }
                int result = ReconcileRole(*this, *db, role.GetId(), parentEDef, childEDef);
                if (result != PM_OK) {
                    return result;
                }
            }
        }
        return PM_OK;
    }
    return PM_OK; // any other mode does nothing
}

int PermissionManager::UpdateDynamicEntitlement(TString oldName, TString newName) {
    // Whatever the old name finds is updated, catalogue entitlements included.
    auto reload = [this] { return SetupEntitlementCaches(); };
    EntitlementDef old;
    if (FindEntitlementWithReload(*this, oldName, reload, &old) != PM_OK) {
        return PM_ERROR;
    }
    TString const newPath = ParentPath(newName);
    EntitlementDef newParent;
    if (FindEntitlementWithReload(*this, newPath, reload, &newParent) != PM_OK) {
        return PM_ERROR;
    }
    // Paths compare without case: a change of case alone is no move.
    bool const moved = Util::CompareStrings(ParentPath(oldName), newPath, Util::kCaseInsensitive) !=
                       Util::kStringEqual;

    EntitlementDef updated;
    updated.SetId(old.GetId());
    updated.SetName(GetShortEntName(newName));
    updated.SetCategory(newParent.GetId());
    updated.SetAttrs(old.GetAttrs());
    updated.SetEnabled(old.IsEnabled());
    updated.SetVisible(old.IsVisible());
    // A move gives the record the new parent's record action, before any
    // role is reconciled.
    updated.SetAction(moved ? newParent.GetAction() : old.GetAction());
    updated.SetMixed(false);

    int result = UpdateEntitlement(updated);
    if (result != PM_OK) {
        return result; // nothing has changed in memory
    }
    result = ModifyEntitlementCacheEntry(updated);
    if (result != PM_OK) {
        return result;
    }
    if (!moved) {
        return PM_OK; // a rename: no association is written, the table stays
    }
    // Descendants follow by their category, which does not change; their full
    // names are rebuilt by the caches.
    result = SetDynamicEntitlement(newName, newPath, EActionSettingReconcile);
    if (result != PM_OK) {
        return result;
    }
    std::map<int, long>* table = GetCurrentActionCache();
    if (table == nullptr) {
        return PM_OK;
    }
    result = ReconcileActionTable(*this, *table, updated.GetId(), newParent);
    CurrentContext->ActionIndex.Rebuild(table);
    return result;
}

int PermissionManager::UpdateDynamicEntitlementForRolesInBatch(int firstId, int count) {
    if (URPStore == nullptr) {
        PM_RAISE("db != NULL");
        return PM_ERROR; // nothing to write to, whatever the handler said
    }
    if (RoleCache == nullptr || RoleCache->empty()) {
        return PM_ERROR;
    }
    // The result of the last store call; a count of 0 or less leaves the
    // initial PM_ERROR though nothing failed.
    int result = PM_ERROR;
    std::int64_t const end = static_cast<std::int64_t>(firstId) + count;
    for (RoleObject const& role : *RoleCache) {
        // One list per role, not one per entitlement.
        std::unique_ptr<std::vector<EntitlementDef>> pEntList(
            GetEntitlements(role.GetId(), -1, false));
        if (pEntList == nullptr && !PM_RAISE("pEntList != NULL")) {
            return PM_ERROR;
        }
        EntitlementDef* pBankAccountsEDef =
            FindEntitlementDefById(pEntList.get(), BankAccountsEntitlementId);
        if (pBankAccountsEDef == nullptr) {
            PM_RAISE("pBankAccountsEDef != NULL");
            return PM_ERROR; // no action to pass on, whatever the handler said
        }
        long const action = pBankAccountsEDef->GetAction();
        for (std::int64_t id = firstId; id < end; ++id) {
            result =
                URPStore->URPSAddRoleActionAssociation(role.GetId(), static_cast<int>(id), action);
            if (result != PM_OK) {
                return result;
            }
        }
    }
    return result;
}

} // namespace PM
