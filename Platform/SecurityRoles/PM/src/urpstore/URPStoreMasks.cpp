// The record-backed store's single-mask operations, which keep the mask cache
// in step with the table, and the deletes of masks by role and by entitlement.
#include <PM/URPStore.h>

#include "Diagnostics.h"
#include "RecordStatus.h"

#include <Records/DMUSRRoleAction.h>

namespace PM {

int URPStore::ResetRoleActionAssociationCache() {
    m_RoleEntitlementActionCache.Clear();
    return PM_OK;
}

int URPStore::URPSAddRoleActionAssociation(int roleId, int eId, long eAction) {
    DMUSRRoleAction record;
    record.SetRoleId(roleId);
    record.SetEntitlementId(eId);
    record.SetActionType(eAction);
    if (record.Add(nullptr).Failed()) {
        return PM_ERROR;
    }
    if (m_RoleEntitlementActionCache.Add(roleId, eId, eAction) != PM_OK) {
        // The table has the record and the result reports the table, so the
        // handler's answer changes nothing; the cache keeps its old mask.
        PM_RAISE("m_RoleEntitlementActionCache.Add(roleId, eId, eAction) == PM_OK");
    }
    return PM_OK;
}

int URPStore::URPSUpdateRoleActionAssociation(int roleId, int eId, long eAction) {
    DMUSRRoleAction record;
    record.SetRoleId(roleId);
    record.SetEntitlementId(eId);
    record.SetActionType(eAction);
    Util::Status status(record.Update(nullptr));
    if (IsRecordNotFound(status)) {
        status = record.Add(nullptr);
    }
    if (status.Failed()) {
        return PM_ERROR;
    }
    // The one place where a cached mask is replaced.
    if (long* cached = m_RoleEntitlementActionCache.Find(roleId, eId)) {
        *cached = eAction;
        return PM_OK;
    }
    return m_RoleEntitlementActionCache.Add(roleId, eId, eAction);
}

int URPStore::URPSReadRoleActionAssociation(int roleId, int entitlementId, long* eAction) {
    *eAction = -1;
    if (long const* cached = m_RoleEntitlementActionCache.Find(roleId, entitlementId)) {
        *eAction = *cached;
        return PM_OK;
    }
    DMUSRRoleAction record;
    Util::Status status(record.Load(roleId, entitlementId, nullptr));
    if (status.Failed() || IsRecordNotFound(status)) {
        // No record and a failed load look the same to the caller, and neither
        // is remembered: the next read asks the table again.
        return PM_ERROR;
    }
    *eAction = record.GetActionType();
    if (m_RoleEntitlementActionCache.Add(roleId, entitlementId, *eAction) != PM_OK) {
        PM_RAISE("m_RoleEntitlementActionCache.Add(roleId, entitlementId, *eAction) == PM_OK");
    }
    return PM_OK;
}

int URPStore::URPSDeleteRoleActionAssociations(int roleId) {
    DMUSRRoleAction record;
    if (record.Delete(roleId, nullptr).Failed()) {
        return PM_ERROR;
    }
    return m_RoleEntitlementActionCache.Remove(roleId);
}

int URPStore::URPSDeleteRoleActionAssociationsByEntitlement(int eId) {
    DMUSRRoleAction record;
    // The outcome is deliberately not looked at: whatever the table did, the
    // cache is emptied, so it can hold no mask the table has lost.
    record.DeleteByEntitlementId(eId, nullptr);
    ResetRoleActionAssociationCache();
    return PM_OK;
}

} // namespace PM
