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
#include <PM/RoleDef.h>
#include <PM/RoleObject.h>
#include <PM/URPStoreBase.h>
#include <Util/Status.h>
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

// How SetDynamicEntitlement brings a child's masks in line with its parent's.
enum ActionSettingMode {
    EActionSettingInherit = 0,   // each role's new association takes the parent's action
    EActionSettingReconcile = 1, // existing associations of child and parent are made equal
};

// Arguments of GetAvailableRoles. Only the value 1 has an effect, and it
// excludes; every other value includes.
enum EListIncludeAdmin {
    kListIncludeAdmin = 0,
    kListExcludeAdmin = 1,
};
enum EListIncludeInvisible {
    kListIncludeInvisible = 0,
    kListExcludeInvisible = 1,
};

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

    // Start and stop. Init (with a company file open) replaces the store,
    // brings the stored permission data up to the catalogue's version, loads
    // the entitlement and role lists and starts an empty context list; 0 or a
    // negative code. Afterwards no user is established. Term lets go of the
    // store and empties the caches; it is safe without Init.
    int Init();
    void Term();

    // Binds the manager to a user (host user id) and builds the user's action
    // table: the union of the masks of all the user's roles. 0, or -1 with no
    // user established (everything allowed) afterwards.
    int EstablishUser(int user);
    // Whether any of the user's roles is the role "Admin".
    bool DoesUserHaveAdmin(int user);

    // Permission contexts: on whose behalf the host acts. SetContext puts the
    // named integrated application's context on top of the chain (building its
    // table from the application's catalogue role the first time);
    // RestoreContext pops one level.
    Util::Status SetContext(TString const& appName);
    Util::Status RestoreContext();
    Util::Status SetContextToTallyframe();
    bool IsInTallyframeContext() const;

    // Entitlement finds. A missed find returns a record whose id is
    // PM_ERR_NOENT. By name, a dynamic entitlement is found by its full name;
    // by id, it comes back with its short name.
    EntitlementDef FindEntitlementDefById(int id);
    // Pointer into list (not a copy), or null.
    EntitlementDef* FindEntitlementDefById(std::vector<EntitlementDef>* list, int id);
    EntitlementDef FindEntitlementDefByName(TString const& name);
    // A new record from the entitlement cache, owned by the caller, or null.
    EntitlementDef* GetEntitlementDef(int id);
    int GetFirstEntitlement(EntitlementObject& entitlement);

    // Names of dynamic entitlements: "Bank Registers", the ancestors' short
    // names and the entitlement's own, joined by ':'. Ancestors are looked up
    // by id in list.
    TString GetFullEntName(std::vector<EntitlementDef>* list, EntitlementDef const* ent);
    TString GetDifferentiatorAppendwithUserandRoleName(TString name);
    TString GetDifferentiatorAppendwithUserandRoleName(TString name, TString differentiator);

    // Roles and assignments. Lists returned by pointer are new and belong to
    // the caller, and so does a RoleDef from GetRoleDef.
    int DeleteRole(int roleId);
    RoleDef* GetRoleDef(int roleId);
    int LookupRole(TString const& name); // the role id, or PM_ERROR
    int SetRoleForUser(int userId, int roleId);
    int PurgeUserOfRoles(int userId);
    std::vector<int>* GetUserRoleIds(int userId);
    std::vector<int>* GetUsersUsingRole(int roleId);

    // The role view: all entitlements (roleId -1: the catalogue as cached) or
    // a role's view with that role's stored masks; category -1 is flat, a
    // category id lists its subtree. New list owned by the caller, or null.
    std::vector<EntitlementDef>* GetEntitlements(int roleId, int category, bool visibleOnly);
    // The stored mask of one role on one entitlement; the store's result.
    int GetRoleActionAssociation(int role, int entitlement, long* action);

    // Listings for the host's screens. GetSortedEntitlements: the whole tree
    // below the root as the role sees it (roleId below 0: the cached actions).
    // MergeEntitlements: for each category a heading row (id -1, the label),
    // then its subtree. New lists owned by the caller, or null.
    std::vector<EntitlementDef>* GetSortedEntitlements(int roleId);
    std::vector<EntitlementDef>* MergeEntitlements(int roleId, std::vector<int>* categoryList,
                                                   std::vector<TString>* labelList);

    // Role listings, with the full-access and connected-role fields filled
    // in. New lists owned by the caller, or null.
    std::vector<RoleDef>* GetAvailableRoles(EListIncludeAdmin includeAdmin,
                                            EListIncludeInvisible includeInvisible);
    std::vector<RoleDef>* GetUserRoles(int userId);

    // Saves a role and its grants, new (negative or unknown id) or existing.
    // The role's id on success (role gets it filled in when new); otherwise
    // PM_ERR_ADMINROLE, PM_ERR_BADROLENAME, PM_ERROR or the store's result.
    // The edit reaches the access decision at the next EstablishUser.
    int SetRoleEntitlements(RoleDef& role, std::vector<EntitlementDef>& entitlements);
    // True for exactly three ids, each of them 109, 110 or 112.
    bool isEntitlementsSameAsDefault(std::vector<int> const& ids);
    // Whether the last SetRoleEntitlements changed a connected entitlement.
    bool IsConnectedEntitlementsEdited() const { return m_ConnectedEntitlementsEdited; }

    // Connected roles: the configuration read once from the sibling module,
    // and the flags it sets on role records. role may be null: the role is
    // then looked up by roleId.
    void FetchConnectedEntitlementIDList();
    bool CheckAndSetConnectedRoleFlag(RoleDef* role, int roleId, bool appendSuffix);
    bool GetIfFullAccessIsAllowed(RoleDef* role, int roleId);

    // Dynamic (bank-account) entitlements, ids from 300000. Names are full
    // names ("Bank Registers:Checking"); results are PM_OK or a negative code.
    int GetNextDynamicEntId();
    int AddDynamicEntitlement(TString name, TString parentName);
    // Store row only: no cache entry, association or table entry. The caller
    // counts the ids up itself and follows with the batch update and a reload.
    int AddDynamicEntitlementRapidly(TString name, int id, int parentId, int attrs);
    int DeleteDynamicEntitlement(TString name);  // blanks it; the id is never reused
    int DeleteAllDynamicBankAccntEntitlements(); // removes them all, then Init
    int UpdateDynamicEntitlement(TString oldName, TString newName);
    int UpdateDynamicEntitlementForRolesInBatch(int firstId, int count);

    // Checks that the role "Admin" holds 63 on every enabled entitlement and
    // the role "External Accountant" on its share of the tree; with repair,
    // writes what is missing. True when something was short or the check
    // could not be made.
    bool VerifyAdminRoleAccess(bool repair);
    bool VerifyExternalAccountantRoleAccess(bool repair);

    // Usage facts about the five employee and payroll entitlements, sent to
    // the sibling module. GetCustomEmpPayrollEntCombination returns a block
    // of six bytes from new[], which the caller deletes.
    int AnalyzeUserRoleForFactTracking(int roleId, bool classifyOnly);
    void AnalyzeAvailRoleForTracking();
    void UpdateRolesInTracking(int classification, int roleId);
    void UpdateUserFactsToDB();
    char* GetCustomEmpPayrollEntCombination(int index);

    // Factory defaults: fill an empty company file from the catalogue and give
    // the admin user role 0; empty the store; bring one catalogue role in.
    int SetDefaultRoles();
    int ResetToFactoryDefaults();
    int AddRoleEntitlementsFromADR(TString roleCatalogueId);

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

    // Start and stop.
    int InitializeURPStore();
    int SetDataStorageAccessClass(DataStorageClass storageClass);
    int CheckURPVersionDoUpdateIfNeeded();

    // Contexts and action tables.
    PermissionContextObject* GetContextObject(TString const& appName);
    std::map<int, long>* CreateNewActionCache();
    Util::Status AddRolesActionValuesToActionCache(std::map<int, long>*& table, int role);
    Util::Status SetActionCacheForTallyframeContext(std::map<int, long>* table);

    // Entitlement cache.
    int SetupEntitlementCaches();
    std::vector<EntitlementObject>* CacheEntitlements();
    void SetupSortedEntitlements();
    int AddEntitlementCacheEntry(EntitlementDef const& def);
    int ModifyEntitlementCacheEntry(EntitlementDef const& def);
    int AddEntitlement(EntitlementDef def);
    int UpdateEntitlement(EntitlementDef def);
    int DeleteEntitlement(EntitlementDef def);
    int GetEntitlement(EntitlementObject& entitlement);
    int GetNextEntitlement(EntitlementObject& entitlement);
    int DeleteAllEntitlements();

    // Entitlement naming.
    TString GetFullParentEntName(std::vector<EntitlementDef>* list, EntitlementDef const* ent);
    TString GetShortEntName(TString name);

    // Role cache and assignment.
    std::vector<RoleObject>* CacheRoles();
    int AddRoleCacheEntry(RoleDef& role, std::vector<EntitlementDef>& entitlements);
    int ModifyRoleCacheEntry(RoleDef& role);
    int DeleteRoleCacheEntry(int roleId);
    int DeleteRole(int roleId, bool protectAdmin);
    int DeleteAllRoles();
    RoleObject* LookupRoleInCache(int roleId);
    int GetNextRoleId();
    std::vector<int>* GetRoleIdsForUser(int userId);
    std::vector<int>* GetUserIdsForRole(int roleId);
    int DeleteUserRoleAssocByRole(int roleId);
    int DeleteUserRoleAssocByUser(int userId);
    int AddRoleToDB(RoleDef& role);
    int RemoveRoleFromDB(int roleId);
    int GetFirstRole(RoleObject& role);
    int GetNextRole(RoleObject& role);
    int GetRole(RoleObject& role);
    int AddUserRoleAssociation(int userKey, int roleId);
    int DeleteUserRoleAssoc(int userKey, int roleId);

    // Role editing.
    int SlaveEntitlements(int roleId, std::vector<EntitlementDef>& entitlements);
    int AddRoleActionAssociations(int roleId, std::vector<EntitlementDef>& entitlements);
    int ModifyRolesInRoleCache(EntitlementDef& def, bool writeToStore);
    int ModifyOneRoleInRoleCache(int roleId, EntitlementDef& def);
    int UpdateRoleActionAssociation(int roleId, int entitlementId, long action);
    int DeleteRoleActionAssociations(int roleId);

    // Dynamic entitlements.
    int SetDynamicEntitlement(TString child, TString parent, ActionSettingMode mode);

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
