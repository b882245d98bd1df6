// The mask cache: two ordered levels, role then entitlement.
#include <PM/ResultCodes.h>
#include <PM/RoleEntitlementActionCache.h>

namespace PM {

int RoleEntitlementActionCache::Add(int roleId, int eId, long eAction) {
    RoleActions::iterator role = m_RoleActions.find(roleId);
    if (role == m_RoleActions.end()) {
        m_RoleActions.emplace(roleId, EntitlementActions{{eId, eAction}});
        return PM_OK;
    }
    // One search: where the pair is, or where it goes.
    EntitlementActions::iterator entry = role->second.lower_bound(eId);
    if (entry == role->second.end() || entry->first != eId) {
        role->second.emplace_hint(entry, eId, eAction);
        return PM_OK;
    }
    // Never overwritten here; URPStore::URPSUpdateRoleActionAssociation is the
    // one writer that replaces a cached mask.
    return entry->second == eAction ? PM_OK : PM_ERROR;
}

int RoleEntitlementActionCache::Remove(int roleId) {
    m_RoleActions.erase(roleId);
    return PM_OK;
}

long* RoleEntitlementActionCache::Find(int roleId, int eId) {
    RoleActions::iterator role = m_RoleActions.find(roleId);
    if (role == m_RoleActions.end()) {
        return nullptr;
    }
    EntitlementActions::iterator entry = role->second.find(eId);
    return entry == role->second.end() ? nullptr : &entry->second;
}

long const* RoleEntitlementActionCache::Find(int roleId, int eId) const {
    return const_cast<RoleEntitlementActionCache*>(this)->Find(roleId, eId);
}

} // namespace PM
