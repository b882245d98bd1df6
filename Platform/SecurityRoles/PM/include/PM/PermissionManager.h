// The permission manager: the one object through which the host asks whether
// the current user may do an action on an entitlement.
//
// Life cycle: PM_InitComponent creates the singleton; Init with a company file
// open loads the caches; EstablishUser builds the user's action table; then any
// number of IsAccessAllowed / IsFullAccess questions, answered from memory;
// Term when the file closes; PM_UninitComponent at the end. Everything runs on
// the host's thread, one call at a time.
#pragma once

#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>
#include <PM/Export.h>
#include <PM/PermissionContextObject.h>
#include <PM/ResultCodes.h>
#include <PM/RoleObject.h>
#include <PM/URPStoreBase.h>
#include <Util/TString.h>

#include <map>
#include <set>
#include <string>
#include <vector>

// The component's C entries: create the singleton once, destroy it once. A
// second call of either does nothing.
extern "C" {
PM_API void PM_InitComponent(void);
PM_API void PM_UninitComponent(void);
}

namespace PM {

PM_API void InitComponent(void);   // the same as PM_InitComponent
PM_API void UninitComponent(void); // the same as PM_UninitComponent

// Which back end the manager's store is.
enum DataStorageClass {
    kDataStorageNone = 0,
    kDataStorageRecords = 1, // URPStore over the company file's record tables
    kDataStorageCIndex = 2,  // URPStoreCIndexAdaptor over the preference-index store
};

// Entitlement id (decimal text) to minimum action (decimal text).
typedef std::map<std::string, std::string> ConnectedEntitlementSet;

class PermissionManagerTestAccess;

class PM_API PermissionManager {
public:
    // The singleton; created when there is none yet, so a caller that never saw
    // PM_InitComponent still gets an object.
    static PermissionManager& GetThePermissionManager();

    PermissionManager();
    // Shares the caches, the store and the contexts with other (the pointers are
    // copied) and copies the value members. Only one of the two may be
    // destroyed, since each destructor deletes what the pointers reach.
    PermissionManager(PermissionManager const& other);
    ~PermissionManager();
    PermissionManager& operator=(PermissionManager const&) = delete;

    void InitComponent(void);

    // The access decision. With no user established every question is
    // answered yes. actionMask 0 asks for any of the six standard actions;
    // a mask of several bits asks for at least one of them.
    bool IsAccessAllowed(int entitlementId, long actionMask);
    // Whether the current table holds exactly the six actions (63) for the id.
    bool IsFullAccess(int entitlementId);

    std::vector<RoleObject>* GetRoleCache() { return RoleCache; }
    void SetRoleCache(std::vector<RoleObject>* cache) { RoleCache = cache; }
    std::vector<EntitlementObject>* GetEntitlementCache() { return EntitlementCache; }
    void SetEntitlementCache(std::vector<EntitlementObject>* cache) { EntitlementCache = cache; }
    int GetEstablishedUser() const { return EstablishedUser; }
    void SetEstablishedUser(int user) { EstablishedUser = user; }
    bool IsInitialized() const { return Initialized; }
    void SetInitialized(bool initialized) { Initialized = initialized; }
    URPStoreBase* GetURPStore() { return URPStore; }
    void SetURPStore(URPStoreBase* store) { URPStore = store; }
    DataStorageClass GetDSAccessType() const { return DSAccessType; }
    void SetDSAccessType(DataStorageClass type) { DSAccessType = type; }
    std::vector<PermissionContextObject*>* GetContextCache() { return ContextCache; }
    void SetContextCache(std::vector<PermissionContextObject*>* cache) { ContextCache = cache; }
    PermissionContextObject* GetCurrentContext() { return CurrentContext; }
    void SetCurrentContext(PermissionContextObject* context) { CurrentContext = context; }

private:
    friend class PermissionManagerTestAccess;

    // The current context's table; null without a current context.
    std::map<int, long>* GetCurrentActionCache();
    // Destroys every context and its table; the list stays, empty.
    void ClearContextCache();
    // ClearContextCache, then frees the list itself.
    void DestroyContextCache();
    std::vector<EntitlementDef>& GetSortedEntitlements() { return SortedEntitlements; }

    std::vector<RoleObject>* RoleCache;
    std::vector<EntitlementObject>* EntitlementCache;
    int EstablishedUser;
    bool Initialized;
    URPStoreBase* URPStore;
    DataStorageClass DSAccessType;
    std::vector<EntitlementDef> SortedEntitlements;
    std::vector<PermissionContextObject*>* ContextCache;
    PermissionContextObject* CurrentContext;
    bool m_ConnectedEntitlementsEdited;
    std::set<ConnectedEntitlementSet> m_ConnectedEntitlementSets;
    TString m_ConnectedRoleSuffix;
    std::set<int> m_PmCombiRoles;
    std::set<int> m_PpCombiRoles;
    std::set<int> m_OtherCombiRoles;
    std::vector<std::vector<int>> m_CustomRoleCombinations;
};

} // namespace PM
