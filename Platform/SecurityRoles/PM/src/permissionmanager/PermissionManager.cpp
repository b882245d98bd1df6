// The manager object itself: the singleton, the component's C entries,
// construction, copy, destruction and the context list's teardown.
#include <PM/PermissionManager.h>

#include "Diagnostics.h"

#include <new>

namespace {

// The process-wide manager; null before the first creation and after
// PM_UninitComponent. Creation is not guarded: the host calls on one thread.
PM::PermissionManager* gpThePermissionManager = nullptr;

char const kConnectedRoleSuffix[] = " This role needs Orvane account.";

void CreateThePermissionManager() {
    if (gpThePermissionManager == nullptr) {
        gpThePermissionManager = new (std::nothrow) PM::PermissionManager();
    }
}

} // namespace

extern "C" {

void PM_InitComponent(void) {
    PM::InitComponent();
}

void PM_UninitComponent(void) {
    PM::UninitComponent();
}

} // extern "C"

namespace PM {

void InitComponent(void) {
    CreateThePermissionManager();
    if (gpThePermissionManager != nullptr) {
        gpThePermissionManager->InitComponent();
    }
}

void UninitComponent(void) {
    if (gpThePermissionManager != nullptr) {
        delete gpThePermissionManager;
        gpThePermissionManager = nullptr;
    }
}

PermissionManager& PermissionManager::GetThePermissionManager() {
    CreateThePermissionManager();
    if (gpThePermissionManager == nullptr) {
        // Only an allocation failure leads here; the handler's answer cannot
        // produce an object, so the caller gets what the pointer holds.
        PM_RAISE("gpThePermissionManager != NULL");
    }
    return *gpThePermissionManager;
}

PermissionManager::PermissionManager()
    : RoleCache(nullptr), EntitlementCache(nullptr), EstablishedUser(-1), Initialized(false),
      URPStore(nullptr), DSAccessType(kDataStorageNone), ContextCache(nullptr),
      CurrentContext(nullptr), m_ConnectedEntitlementsEdited(false),
      m_ConnectedRoleSuffix(kConnectedRoleSuffix) {}

PermissionManager::PermissionManager(PermissionManager const& other)
    : RoleCache(other.RoleCache), EntitlementCache(other.EntitlementCache),
      EstablishedUser(other.EstablishedUser), Initialized(other.Initialized),
      URPStore(other.URPStore), DSAccessType(other.DSAccessType),
      SortedEntitlements(other.SortedEntitlements), ContextCache(other.ContextCache),
      CurrentContext(other.CurrentContext),
      m_ConnectedEntitlementsEdited(other.m_ConnectedEntitlementsEdited),
      m_ConnectedEntitlementSets(other.m_ConnectedEntitlementSets),
      m_ConnectedRoleSuffix(other.m_ConnectedRoleSuffix), m_PmCombiRoles(other.m_PmCombiRoles),
      m_PpCombiRoles(other.m_PpCombiRoles), m_OtherCombiRoles(other.m_OtherCombiRoles),
      m_CustomRoleCombinations(other.m_CustomRoleCombinations) {}

PermissionManager::~PermissionManager() {
    delete RoleCache;
    RoleCache = nullptr;
    delete EntitlementCache;
    EntitlementCache = nullptr;
    DestroyContextCache();
    delete URPStore;
    URPStore = nullptr;
}

void PermissionManager::InitComponent(void) {}

void PermissionManager::ClearContextCache() {
    if (ContextCache != nullptr) {
        for (PermissionContextObject* context : *ContextCache) {
            delete context;
        }
        ContextCache->clear();
    }
    CurrentContext = nullptr;
}

void PermissionManager::DestroyContextCache() {
    ClearContextCache();
    delete ContextCache;
    ContextCache = nullptr;
}

} // namespace PM
