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

    // The manager's state in labelled fields, "none" for a missing list:
    // "init=1 user=3 store=yes entitlements=232 sorted=232 roles=8 contexts=1 current=Tallyframe".
    std::string State() {
        PermissionManager& m = m_Manager;
        auto size = [](auto* list) { return list ? std::to_string(list->size()) : "none"; };
        return "init=" + std::to_string(m.IsInitialized()) +
               " user=" + std::to_string(m.GetEstablishedUser()) +
               " store=" + (m.GetURPStore() ? "yes" : "no") +
               " entitlements=" + size(m.GetEntitlementCache()) +
               " sorted=" + size(&m.SortedEntitlements) + " roles=" + size(m.GetRoleCache()) +
               " contexts=" + size(m.GetContextCache()) + " current=" +
               (m.GetCurrentContext() ? m.GetCurrentContext()->AppName.c_str() : "none");
    }

    std::map<int, long>* GetCurrentActionCache() { return m_Manager.GetCurrentActionCache(); }
    std::vector<EntitlementDef>& SortedEntitlements() { return m_Manager.SortedEntitlements; }
    std::set<ConnectedEntitlementSet>& ConnectedEntitlementSets() {
        return m_Manager.m_ConnectedEntitlementSets;
    }
    int GetNextRoleId() { return m_Manager.GetNextRoleId(); }

    // Puts a new context with the given table (and its index) on top of the
    // chain, creating the context list when there is none. The manager owns
    // the context.
    PermissionContextObject* PushContext(char const* name, std::map<int, long> const& table) {
        if (m_Manager.ContextCache == nullptr) {
            m_Manager.ContextCache = new std::vector<PermissionContextObject*>();
        }
        PermissionContextObject* context = new PermissionContextObject();
        context->AppName = name;
        context->ActionTable = new std::map<int, long>(table);
        context->ActionIndex.Rebuild(context->ActionTable);
        context->PreviousContext = m_Manager.CurrentContext;
        m_Manager.ContextCache->push_back(context);
        m_Manager.CurrentContext = context;
        return context;
    }

private:
    PermissionManager& m_Manager;
};

} // namespace PM
