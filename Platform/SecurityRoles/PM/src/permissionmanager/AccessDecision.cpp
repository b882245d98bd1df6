// The access decision: answered from the current context's action table in
// memory (its flat index, ActionTableIndex.h), without a store access or an
// allocation.
#include <PM/ActionMask.h>
#include <PM/PermissionManager.h>

#if defined(__GNUC__)
#define PM_COLD __attribute__((noinline, cold))
#else
#define PM_COLD
#endif

namespace PM {

std::map<int, long>* PermissionManager::GetCurrentActionCache() {
    if (CurrentContext == nullptr) {
        return nullptr;
    }
    return CurrentContext->ActionTable;
}

namespace {

// While a user is established a current context with a table exists
// (EstablishUser provides it; only Init and Term remove it, and both reset the
// user), so neither decision tests for a missing table.
//
// The row of entitlementId in the context's map, for a table that its index
// does not hold: kept out of the decisions' straight path.
PM_COLD long const* FindInMap(PermissionContextObject const& context, int entitlementId) {
    std::map<int, long>::const_iterator row = context.ActionTable->find(entitlementId);
    return row == context.ActionTable->end() ? nullptr : &row->second;
}

} // namespace

bool PermissionManager::IsAccessAllowed(int entitlementId, long actionMask) {
    // In this order: no user allows everything (also a negative id); with a
    // user, a negative id is refused. One test for the two on the way in.
    if ((EstablishedUser | entitlementId) < 0) {
        return EstablishedUser < 0;
    }
    // With mask 0, any of the six standard actions; Custom alone does not
    // count. No row answers as a row of 0 does.
    long const asked = actionMask == 0 ? kActionFull : actionMask;
    PermissionContextObject const& context = *CurrentContext;
    if (!context.ActionIndex.Holds(context.ActionTable)) {
        long const* row = FindInMap(context, entitlementId);
        return row != nullptr && (*row & asked) != 0;
    }
    return (context.ActionIndex.Mask(entitlementId) & asked) != 0;
}

bool PermissionManager::IsFullAccess(int entitlementId) {
    if ((EstablishedUser | entitlementId) < 0) {
        return EstablishedUser < 0;
    }
    // Exactly the six actions: 127 (six plus Custom) is not full access here,
    // though EntitlementDef::IsActionFull calls it full. Both tests stand. No
    // row is no full access, as a row of 0 is.
    PermissionContextObject const& context = *CurrentContext;
    if (!context.ActionIndex.Holds(context.ActionTable)) {
        long const* row = FindInMap(context, entitlementId);
        return row != nullptr && *row == kActionFull;
    }
    return context.ActionIndex.Mask(entitlementId) == kActionFull;
}

} // namespace PM
