// The access decision: answered from the current context's action table in
// memory, without a store access or an allocation.
#include <PM/ActionMask.h>
#include <PM/PermissionManager.h>

namespace PM {

std::map<int, long>* PermissionManager::GetCurrentActionCache() {
    if (CurrentContext == nullptr) {
        return nullptr;
    }
    return CurrentContext->ActionTable;
}

namespace {

// The row of entitlementId in table, or null. While a user is established a
// current context with a table exists (EstablishUser provides it; only Init
// and Term remove it, and both reset the user), so neither decision tests for
// a missing table.
long const* FindRow(std::map<int, long> const& table, int entitlementId) {
    std::map<int, long>::const_iterator row = table.find(entitlementId);
    return row == table.end() ? nullptr : &row->second;
}

} // namespace

bool PermissionManager::IsAccessAllowed(int entitlementId, long actionMask) {
    if (EstablishedUser < 0) {
        return true; // no user: everything is allowed
    }
    if (entitlementId < 0) {
        return false;
    }
    long const* row = FindRow(*GetCurrentActionCache(), entitlementId);
    if (row == nullptr) {
        return false;
    }
    if (actionMask == 0) {
        // Any of the six standard actions; Custom alone does not count.
        return (*row & kActionFull) != 0;
    }
    return (*row & actionMask) != 0;
}

bool PermissionManager::IsFullAccess(int entitlementId) {
    if (EstablishedUser < 0) {
        return true;
    }
    if (entitlementId < 0) {
        return false;
    }
    long const* row = FindRow(*GetCurrentActionCache(), entitlementId);
    // Exactly the six actions: 127 (six plus Custom) is not full access here,
    // though EntitlementDef::IsActionFull calls it full. Both tests stand.
    return row != nullptr && *row == kActionFull;
}

} // namespace PM
