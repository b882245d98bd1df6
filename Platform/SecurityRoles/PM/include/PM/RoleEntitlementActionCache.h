// The action masks the record-backed store has seen, by role and entitlement.
#pragma once

#include <PM/Export.h>

#include <cstddef>
#include <map>

namespace PM {

// Write-through, read-through cache in front of the mask table. It starts
// empty, fills by use and never holds a negative entry: a role without a
// cached mask has no entry at all. Entries leave only by whole role or all at
// once, so no role is ever left with an empty inner map.
class PM_API RoleEntitlementActionCache {
public:
    typedef std::map<int, long> EntitlementActions;        // entitlement id -> action mask
    typedef std::map<int, EntitlementActions> RoleActions; // role id -> its masks

    // PM_OK when the pair is new or already holds eAction. PM_ERROR when it
    // holds another mask, which stays: a difference means cache and table have
    // parted, and callers raise it rather than paper over it.
    int Add(int roleId, int eId, long eAction);
    // Drops every mask of the role. Always PM_OK.
    int Remove(int roleId);
    void Clear() { m_RoleActions.clear(); }

    // The cached mask of one pair, or null. Valid until the cache next changes.
    long* Find(int roleId, int eId);
    long const* Find(int roleId, int eId) const;

    bool HasRole(int roleId) const { return m_RoleActions.count(roleId) != 0; }
    std::size_t GetRoleCount() const { return m_RoleActions.size(); }

private:
    RoleActions m_RoleActions;
};

} // namespace PM
