// The find by full name that the dynamic-entitlement operations share: on a
// miss the entitlement caches are reloaded once and the name is looked up again.
#pragma once

#include <PM/PermissionManager.h>
#include <PM/ResultCodes.h>

namespace PM {

// reload is the manager's SetupEntitlementCaches, handed in as a callable
// because it is private. PM_OK with *found filled in; PM_ERROR when the reload
// failed or the name is still missing after it. The reload is the recovery
// from a cache that has fallen behind the store.
template <typename Reload>
int FindEntitlementWithReload(PermissionManager& manager, TString const& name, Reload reload,
                              EntitlementDef* found) {
    *found = manager.FindEntitlementDefByName(name);
    if (found->GetId() != PM_ERR_NOENT) {
        return PM_OK;
    }
    if (reload() != PM_OK) {
        return PM_ERROR;
    }
    *found = manager.FindEntitlementDefByName(name);
    return found->GetId() != PM_ERR_NOENT ? PM_OK : PM_ERROR;
}

} // namespace PM
