// The one way tests reach the manager's private members.
#pragma once

#include <PM/PermissionManager.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace PM {

class PermissionManagerTestAccess {
public:
    explicit PermissionManagerTestAccess(PermissionManager& manager) : m_Manager(manager) {}

    // "initialised/user/store and class/cache rows/sorted rows/roles/contexts",
    // "-" for a null list, "+" for a current context.
    std::string State() {
        PermissionManager& m = m_Manager;
        auto rows = [](auto* list) { return list ? std::to_string(list->size()) : "-"; };
        return std::to_string(m.IsInitialized()) + "/" + std::to_string(m.GetEstablishedUser()) +
               "/" + (m.GetURPStore() ? "store" : "none") + std::to_string(m.GetDSAccessType()) +
               "/" + rows(m.GetEntitlementCache()) + "/" + rows(&m.SortedEntitlements) + "/" +
               rows(m.GetRoleCache()) + "/" + rows(m.GetContextCache()) +
               (m.GetCurrentContext() ? "+" : "");
    }

    std::map<int, long>* GetCurrentActionCache() { return m_Manager.GetCurrentActionCache(); }
    void ClearContextCache() { m_Manager.ClearContextCache(); }
    void DestroyContextCache() { m_Manager.DestroyContextCache(); }
    int SetDynamicEntitlement(TString child, TString parent, ActionSettingMode mode) {
        return m_Manager.SetDynamicEntitlement(child, parent, mode);
    }

    std::vector<EntitlementDef>& SortedEntitlements() { return m_Manager.SortedEntitlements; }
    TString GetShortEntName(TString name) { return m_Manager.GetShortEntName(name); }
    TString GetFullParentEntName(std::vector<EntitlementDef>* list, EntitlementDef const* ent) {
        return m_Manager.GetFullParentEntName(list, ent);
    }
    int AddEntitlementCacheEntry(EntitlementDef const& def) {
        return m_Manager.AddEntitlementCacheEntry(def);
    }
    int GetNextRoleId() { return m_Manager.GetNextRoleId(); }
    int SlaveEntitlements(int roleId, std::vector<EntitlementDef>& entitlements) {
        return m_Manager.SlaveEntitlements(roleId, entitlements);
    }
    int ModifyRolesInRoleCache(EntitlementDef& def, bool writeToStore) {
        return m_Manager.ModifyRolesInRoleCache(def, writeToStore);
    }
    int ModifyOneRoleInRoleCache(int roleId, EntitlementDef& def) {
        return m_Manager.ModifyOneRoleInRoleCache(roleId, def);
    }
    bool& ConnectedEntitlementsEdited() { return m_Manager.m_ConnectedEntitlementsEdited; }
    std::set<ConnectedEntitlementSet>& ConnectedEntitlementSets() {
        return m_Manager.m_ConnectedEntitlementSets;
    }
    TString& ConnectedRoleSuffix() { return m_Manager.m_ConnectedRoleSuffix; }
    std::set<int>& PmCombiRoles() { return m_Manager.m_PmCombiRoles; }
    std::set<int>& PpCombiRoles() { return m_Manager.m_PpCombiRoles; }
    std::set<int>& OtherCombiRoles() { return m_Manager.m_OtherCombiRoles; }
    std::vector<std::vector<int>>& CustomRoleCombinations() {
        return m_Manager.m_CustomRoleCombinations;
    }

    // Caches, tables and the store's set-up.
    int ModifyEntitlementCacheEntry(EntitlementDef const& def) {
        return m_Manager.ModifyEntitlementCacheEntry(def);
    }
    int AddRoleCacheEntry(RoleDef& role, std::vector<EntitlementDef>& entitlements) {
        return m_Manager.AddRoleCacheEntry(role, entitlements);
    }
    int ModifyRoleCacheEntry(RoleDef& role) { return m_Manager.ModifyRoleCacheEntry(role); }
    std::map<int, long>* CreateNewActionCache() { return m_Manager.CreateNewActionCache(); }
    int InitializeURPStore() { return m_Manager.InitializeURPStore(); }
    int SetDataStorageAccessClass(DataStorageClass c) {
        return m_Manager.SetDataStorageAccessClass(c);
    }

    // Puts a new context with the given table on top of the chain, creating
    // the context list when there is none. The manager owns the context.
    PermissionContextObject* PushContext(char const* name, std::map<int, long> const& table) {
        if (m_Manager.ContextCache == nullptr) {
            m_Manager.ContextCache = new std::vector<PermissionContextObject*>();
        }
        PermissionContextObject* context = new PermissionContextObject();
        context->AppName = name;
        context->ActionTable = new std::map<int, long>(table);
        context->PreviousContext = m_Manager.CurrentContext;
        m_Manager.ContextCache->push_back(context);
        m_Manager.CurrentContext = context;
        return context;
    }

    // Forgets the shared pointers of a copy so that its destructor leaves
    // them to the original.
    void DetachSharedPointers() {
        m_Manager.RoleCache = nullptr;
        m_Manager.EntitlementCache = nullptr;
        m_Manager.URPStore = nullptr;
        m_Manager.ContextCache = nullptr;
        m_Manager.CurrentContext = nullptr;
    }

private:
    PermissionManager& m_Manager;
};

} // namespace PM
