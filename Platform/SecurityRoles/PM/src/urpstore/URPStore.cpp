// The record-backed store: construction, single-record operations on roles,
// entitlements and assignments, the whole-table deletes and the stubs.
#include <PM/URPStore.h>

#include "RecordStatus.h"

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>

namespace PM {

namespace {

// Every field, in the order the table expects. The result of SetName is not
// looked at: it fails only for a text too long for the table, and the record
// is then written without it.
void FillEntitlementRecord(DMUSREntitlement& record, EntitlementDef const& entitlement) {
    record.SetEntitlementId(entitlement.GetId());
    record.SetCategoryType(entitlement.GetCategory());
    record.SetIsEnabled(FlagToRecord(entitlement.IsEnabled()));
    record.SetIsVisible(FlagToRecord(entitlement.IsVisible()));
    record.SetAttributesId(entitlement.GetAttrs());
    record.SetName(entitlement.GetName());
}

} // namespace

URPStore::URPStore() {
    m_RoleCursor.CurrentId = -1;
    m_EntitlementCursor.CurrentId = -1;
}

URPStore::~URPStore() {
    ResetRoleActionAssociationCache();
}

int URPStore::URPSAddRoleToDB(RoleDef& role) {
    DMUSRRole record;
    record.SetRoleId(role.GetId());
    record.SetCategoryType(role.GetCategory());
    record.SetIsVisible(FlagToRecord(role.GetVisible()));
    // Text results ignored, as for entitlements.
    record.SetDescription(role.GetDescription());
    record.SetName(role.GetName());
    return ResultOf(record.Add(nullptr));
}

int URPStore::URPSRemoveRoleFromDB(int roleId) {
    DMUSRRole record;
    record.SetRoleId(roleId);
    Util::Status status(record.Delete(nullptr));
    if (status.Failed()) {
        return PM_ERROR;
    }
    if (IsRecordNotFound(status)) {
        return PM_ERR_NORECORD;
    }
    // Masks and assignments are the caller's to delete; only the cache
    // forgets the role here.
    return m_RoleEntitlementActionCache.Remove(roleId);
}

int URPStore::URPSAddEntitlementToDB(EntitlementDef& entitlement) {
    DMUSREntitlement record;
    FillEntitlementRecord(record, entitlement);
    // Adding an entitlement changes no mask, so the cache stays as it is.
    return ResultOf(record.Add(nullptr));
}

int URPStore::URPSUpdateEntitlementToDB(EntitlementDef& entitlement) {
    DMUSREntitlement record;
    FillEntitlementRecord(record, entitlement);
    if (record.Update(nullptr).Failed()) {
        return PM_ERROR;
    }
    // The cache cannot forget one entitlement across roles, so any change to
    // an entitlement, even of its name alone, empties it.
    return ResetRoleActionAssociationCache();
}

int URPStore::URPSDeleteEntitlementToDB(EntitlementDef& entitlement) {
    DMUSREntitlement record;
    // The key alone would do; the whole record is set as for add and update.
    FillEntitlementRecord(record, entitlement);
    if (record.Delete(nullptr).Failed()) {
        return PM_ERROR;
    }
    return ResetRoleActionAssociationCache();
}

int URPStore::URPSAddUserRoleAssociation(int userKey, int roleId) {
    DMUSRUserRole record;
    record.SetRoleId(roleId);
    record.SetUserId(userKey);
    return ResultOf(record.Add(nullptr));
}

int URPStore::URPSDeleteUserRoleAssoc(int userKey, int roleId) {
    DMUSRUserRole record;
    Util::Status status(Util::Status::GetSucceeded());
    if (userKey == -1) {
        status = record.DeleteByRoleId(roleId, nullptr);
    }
    if (roleId == -1) {
        status = record.DeleteByUserId(userKey, nullptr);
    }
    // The table offers no delete of one pair, so two real values delete
    // nothing and still succeed. Only the last delete decides the result.
    return ResultOf(status);
}

// The whole-table deletes leave the mask cache as it stands. Their callers
// replace the store, and the cache with it, before masks are read again; a
// store kept alive after them answers from the stale cache.

int URPStore::URPSRemoveAllRoleFromDB() {
    DMUSRRole record;
    return ResultOf(record.DeleteAll(nullptr));
}

int URPStore::URPSDeleteAllEntitlementToDB() {
    DMUSREntitlement record;
    return ResultOf(record.DeleteAll(nullptr));
}

int URPStore::URPSDeleteAllUserRoleAssoc() {
    DMUSRUserRole record;
    return ResultOf(record.DeleteAll(nullptr));
}

int URPStore::URPSDeleteAllRoleActionAssociations() {
    DMUSRRoleAction record;
    return ResultOf(record.DeleteAll(nullptr));
}

// The whole-list operations serve the preference-index back end only; the
// manager reads this store through the cursors and must not call them here.

int URPStore::URPSGetRoleList(std::vector<RoleObject>*) {
    return PM_ERROR;
}

int URPStore::URPSGetEntitlementList(std::vector<EntitlementObject>*) {
    return PM_ERROR;
}

int URPStore::URPSBuildRoleActionAssociationsCache(std::vector<RoleEntActionAssocCacheEntry>*) {
    return PM_ERROR;
}

// No country needs an update of the record tables.
int URPStore::URPSCountrySpecificUpdate() {
    return PM_OK;
}

} // namespace PM
