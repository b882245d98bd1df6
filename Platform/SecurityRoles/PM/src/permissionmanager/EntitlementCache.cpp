// The two in-memory lists of entitlements: EntitlementCache as the store
// delivers it, SortedEntitlements in name order with full names for dynamic
// entitlements; their loading, patching and the finds that read them.
#include <PM/PermissionManager.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"
#include "permissionmanager/EntitlementLists.h"
#include "roleobject/NameOrder.h"

#include <algorithm>
#include <memory>
#include <new>

namespace PM {

std::vector<EntitlementDef>* CopyEntitlementObjectList(std::vector<EntitlementObject>* source) {
    if (source == nullptr) {
        return nullptr;
    }
    std::vector<EntitlementDef>* copy = new (std::nothrow) std::vector<EntitlementDef>();
    if (copy == nullptr) {
        return nullptr;
    }
    copy->reserve(source->size());
    for (EntitlementObject& row : *source) {
        copy->push_back(EntitlementDef(row));
    }
    return copy;
}

std::vector<EntitlementObject>* PermissionManager::CacheEntitlements() {
    std::unique_ptr<std::vector<EntitlementObject>> list(new (std::nothrow)
                                                             std::vector<EntitlementObject>());
    if (list == nullptr) {
        PM_RAISE("entlist != NULL");
        return nullptr; // nothing to fill, whatever the handler said
    }
    // A read failure ends the load with what it has, unsorted when it came at
    // the first read: the load itself still succeeds.
    if (DSAccessType == kDataStorageRecords) {
        if (URPStore == nullptr) {
            return list.release();
        }
        EntitlementObject row; // reused from row to row; the store leaves its action 0
        if (URPStore->URPSGetFirstEntitlement(row) != PM_OK) {
            return list.release();
        }
        do {
            list->push_back(row);
        } while (URPStore->URPSGetNextEntitlement(row) == PM_OK);
    } else if (DSAccessType == kDataStorageCIndex) {
        if (URPStore == nullptr || URPStore->URPSGetEntitlementList(list.get()) != PM_OK) {
            return list.release();
        }
    }
    SortInNameOrder(*list);
    return list.release();
}

int PermissionManager::SetupEntitlementCaches() {
    // The old rows go before the store is read, so a failing reload leaves no
    // stale list behind.
    delete EntitlementCache;
    EntitlementCache = nullptr;
    std::vector<EntitlementObject>* cache = CacheEntitlements();
    if (cache == nullptr && !PM_RAISE("entcache != NULL")) {
        return PM_ERROR;
    }
    EntitlementCache = cache;
    SetupSortedEntitlements();
    return PM_OK;
}

void PermissionManager::SetupSortedEntitlements() {
    SortedEntitlements.clear();
    if (EntitlementCache == nullptr) {
        return;
    }
    // Parents are resolved in a copy that holds the stored names, so a full
    // name does not depend on how far the sorted list has grown.
    std::unique_ptr<std::vector<EntitlementDef>> working(
        CopyEntitlementObjectList(EntitlementCache));
    if (working == nullptr) {
        return;
    }
    SortedEntitlements.reserve(EntitlementCache->size());
    for (EntitlementObject& row : *EntitlementCache) {
        EntitlementDef def(row);
        if (def.IsDynamicEntitlement()) {
            def.SetName(GetFullEntName(working.get(), &def));
        }
        SortedEntitlements.push_back(def);
    }
    SortInNameOrder(SortedEntitlements);
}

int PermissionManager::AddEntitlementCacheEntry(EntitlementDef const& def) {
    if (EntitlementCache == nullptr && !PM_RAISE("entlist != NULL")) {
        return PM_ERROR;
    }
    if (EntitlementCache != nullptr) {
        // Appended, not sorted: listings show a new row after the loaded ones
        // until the next reload.
        EntitlementObject row;
        row.m_Name = def.GetName();
        row.m_Id = def.GetId();
        row.m_Category = def.GetCategory();
        row.m_Action = def.GetAction();
        row.m_Attrs = static_cast<std::int32_t>(def.GetAttrs());
        row.m_Enabled = def.IsEnabled();
        row.m_Visible = def.IsVisible();
        EntitlementCache->push_back(row);
    }
    EntitlementDef sorted(def);
    if (def.IsDynamicEntitlement()) {
        // Resolved against the sorted list before the new row is in it; the
        // short-name step strips the full names the parents carry there.
        sorted.SetName(GetFullEntName(&SortedEntitlements, &def));
    }
    SortedEntitlements.push_back(sorted);
    SortInNameOrder(SortedEntitlements);
    return PM_OK;
}

int PermissionManager::ModifyEntitlementCacheEntry(EntitlementDef const& def) {
    if (EntitlementCache == nullptr && !PM_RAISE("entlist != NULL")) {
        return PM_ERROR;
    }
    if (EntitlementCache != nullptr) {
        // Overwritten in place, also on a rename: the row keeps its position.
        for (EntitlementObject& row : *EntitlementCache) {
            if (row.m_Id == def.GetId()) {
                row.m_Name = def.GetName();
                row.m_Category = def.GetCategory();
                row.m_Enabled = def.IsEnabled();
                row.m_Visible = def.IsVisible();
                row.m_Action = def.GetAction();
                row.m_Attrs = static_cast<std::int32_t>(def.GetAttrs());
                break;
            }
        }
    }
    EntitlementDef* sorted = FindEntitlementDefById(&SortedEntitlements, def.GetId());
    if (sorted == nullptr) {
        return PM_OK;
    }
    TString name =
        def.IsDynamicEntitlement() ? GetFullEntName(&SortedEntitlements, &def) : def.GetName();
    *sorted = def;
    sorted->SetName(name);
    SortInNameOrder(SortedEntitlements); // a rename can move the row
    return PM_OK;
}

EntitlementDef PermissionManager::FindEntitlementDefByName(TString const& name) {
    EntitlementDef notFound;
    notFound.SetId(PM_ERR_NOENT);
    std::vector<EntitlementDef>::iterator first = std::lower_bound(
        SortedEntitlements.begin(), SortedEntitlements.end(), name,
        [](EntitlementDef const& row, TString const& key) {
            return Util::CompareStrings(row.GetName(), key, Util::kCaseInsensitive) ==
                   Util::kStringLess;
        });
    if (first == SortedEntitlements.end() ||
        Util::CompareStrings(first->GetName(), name, Util::kCaseInsensitive) !=
            Util::kStringEqual) {
        return notFound;
    }
    return *first;
}

EntitlementDef PermissionManager::FindEntitlementDefById(int id) {
    EntitlementDef* row = FindEntitlementDefById(&SortedEntitlements, id);
    if (row == nullptr) {
        EntitlementDef notFound;
        notFound.SetId(PM_ERR_NOENT);
        return notFound;
    }
    EntitlementDef found(*row);
    if (found.IsDynamicEntitlement()) {
        // By id a dynamic entitlement comes back with its short name, by name
        // with its full name: the two finds hand back different forms.
        found.SetName(GetShortEntName(found.GetName()));
    }
    return found;
}

EntitlementDef* PermissionManager::FindEntitlementDefById(std::vector<EntitlementDef>* list,
                                                          int id) {
    if (list == nullptr) {
        return nullptr;
    }
    for (EntitlementDef& row : *list) {
        if (row.GetId() == id) {
            return &row;
        }
    }
    return nullptr;
}

EntitlementDef* PermissionManager::GetEntitlementDef(int id) {
    if (EntitlementCache == nullptr || id < 0) {
        return nullptr;
    }
    for (EntitlementObject& row : *EntitlementCache) {
        if (row.m_Id == id) {
            EntitlementDef* def = new (std::nothrow) EntitlementDef(row);
            if (def == nullptr) {
                PM_RAISE("edobject != NULL");
            }
            return def;
        }
    }
    return nullptr;
}

// Thin forwards to the store. They never touch the lists: a caller that uses
// them owes the lists an update.

int PermissionManager::AddEntitlement(EntitlementDef def) {
    return URPStore != nullptr ? URPStore->URPSAddEntitlementToDB(def) : PM_ERROR;
}

int PermissionManager::UpdateEntitlement(EntitlementDef def) {
    return URPStore != nullptr ? URPStore->URPSUpdateEntitlementToDB(def) : PM_ERROR;
}

int PermissionManager::DeleteEntitlement(EntitlementDef def) {
    return URPStore != nullptr ? URPStore->URPSDeleteEntitlementToDB(def) : PM_ERROR;
}

int PermissionManager::GetEntitlement(EntitlementObject& entitlement) {
    return URPStore != nullptr ? URPStore->URPSGetEntitlement(entitlement) : PM_ERROR;
}

int PermissionManager::GetFirstEntitlement(EntitlementObject& entitlement) {
    return URPStore != nullptr ? URPStore->URPSGetFirstEntitlement(entitlement) : PM_ERROR;
}

int PermissionManager::GetNextEntitlement(EntitlementObject& entitlement) {
    return URPStore != nullptr ? URPStore->URPSGetNextEntitlement(entitlement) : PM_ERROR;
}

int PermissionManager::DeleteAllEntitlements() {
    // Without a store there is nothing to delete, and that counts as done.
    return URPStore != nullptr ? URPStore->URPSDeleteAllEntitlementToDB() : PM_OK;
}

} // namespace PM
