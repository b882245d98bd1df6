// One (role, entitlement, action) row, as whole-list store back ends deliver it.
#pragma once

#include <PM/Export.h>

#include <cstdint>

class PM_API RoleEntActionAssocCacheEntry {
public:
    RoleEntActionAssocCacheEntry() = default; // role and entitlement -1, action 0
    RoleEntActionAssocCacheEntry(RoleEntActionAssocCacheEntry const&) = default;
    RoleEntActionAssocCacheEntry& operator=(RoleEntActionAssocCacheEntry const&) = default;
    ~RoleEntActionAssocCacheEntry() = default;

    int GetRoleId() const { return m_RoleId; }
    void SetRoleId(int roleId) { m_RoleId = roleId; }
    int GetEntId() const { return m_EntId; }
    void SetEntId(int entId) { m_EntId = entId; }
    int GetAction() const { return m_Action; }
    void SetAction(int action) { m_Action = action; }

private:
    std::int32_t m_RoleId = -1;
    std::int32_t m_EntId = -1;
    std::int32_t m_Action = 0;
};
