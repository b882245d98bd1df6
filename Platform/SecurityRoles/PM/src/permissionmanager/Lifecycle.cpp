// Starting and stopping the manager on a company file: the store, the version
// check and upgrade, and the loading and release of the caches.
#include <PM/PermissionManager.h>
#include <PM/URPStore.h>
#include <PM/URPStoreCIndexAdaptor.h>

#include "Diagnostics.h"

#include <new>

namespace PM {

int PermissionManager::SetDataStorageAccessClass(DataStorageClass storageClass) {
    if (URPStore != nullptr) {
        delete URPStore;
        URPStore = nullptr;
        DSAccessType = kDataStorageNone;
    }
    // The old store is gone before the class is checked: an unknown class
    // leaves the manager with no store at all.
    if (storageClass == kDataStorageRecords) {
        URPStore = new (std::nothrow) PM::URPStore();
    } else if (storageClass == kDataStorageCIndex) {
        URPStore = new (std::nothrow) URPStoreCIndexAdaptor();
    } else {
        return -1;
    }
    DSAccessType = storageClass == kDataStorageRecords ? kDataStorageRecords : kDataStorageCIndex;
    if (URPStore != nullptr || PM_RAISE("GetURPStore() != NULL")) {
        return 0;
    }
    DSAccessType = kDataStorageNone;
    return -1;
}

int PermissionManager::InitializeURPStore() {
    // The record-backed store is the one that carries the system; the
    // preference-index adaptor exists but nothing here chooses it.
    int result = SetDataStorageAccessClass(kDataStorageRecords);
    if (result != 0) {
        return result;
    }
    if (URPStore == nullptr) {
        PM_RAISE("pDBStore != NULL");
        return -1;
    }
    int count = 0;
    result = URPStore->URPSGetEntitlementCountFromCompanyFile(&count);
    if (result == -1) {
        return -1; // the limit stays as it was
    }
    // An empty table and a table without a version record are no failure
    // here: the count they leave becomes the scan limit.
    URPStore->m_StaticEntitlementLimit = count;
    return 0;
}

int PermissionManager::CheckURPVersionDoUpdateIfNeeded() {
    if (URPStore == nullptr) {
        return -1;
    }
    return URPStore->URPSCheckURPVersionDoUpdateIfNeeded();
}

int PermissionManager::Init() {
    EstablishedUser = -1;
    DSAccessType = kDataStorageNone;
    Initialized = false;
    // A new store on every Init; its result is judged by whether a store
    // exists, not by the code.
    InitializeURPStore();
    if (URPStore == nullptr) {
        return -1;
    }
    int result = URPStore->URPSCheckURPVersionDoUpdateIfNeeded();
    if (result != 0) {
        return result;
    }
    result = SetupEntitlementCaches();
    if (result != 0) {
        return result;
    }
    delete RoleCache;
    RoleCache = nullptr;
    RoleCache = CacheRoles();
    if (RoleCache == nullptr && !PM_RAISE("rolecache != NULL")) {
        return -1;
    }
    DestroyContextCache();
    std::vector<PermissionContextObject*>* pCache =
        new (std::nothrow) std::vector<PermissionContextObject*>();
    if (pCache == nullptr && !PM_RAISE("pCache != NULL")) {
        return -1;
    }
    // Allowed on without a list: the context operations check for one.
    ContextCache = pCache;
    CurrentContext = nullptr;
    Initialized = true;
    return 0;
}

void PermissionManager::Term() {
    // The vectors stay allocated and empty for the next Init to replace;
    // SortedEntitlements keeps its rows until then.
    if (EntitlementCache != nullptr) {
        EntitlementCache->clear();
    }
    if (RoleCache != nullptr) {
        RoleCache->clear();
    }
    ClearContextCache();
    delete URPStore;
    URPStore = nullptr;
    EstablishedUser = -1;
    Initialized = false;
    DSAccessType = kDataStorageNone;
}

} // namespace PM
