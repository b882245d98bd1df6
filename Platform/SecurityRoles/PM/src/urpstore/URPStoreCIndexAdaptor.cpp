// The preference-index adaptor: forwards to the host's URPStoreCIndex, with
// fixed answers for what that store does not offer.
#include <PM/URPStoreCIndexAdaptor.h>

#include <PM/ResultCodes.h>
#include <URPStoreCIndex.h>

#include <new>
#include <utility>

namespace PM {

namespace {

// One forward: the CIndex store's own result, or PM_ERROR when the adaptor
// has no store because its allocation failed.
template <class Operation, class... Args>
int Forward(URPStoreCIndex* store, Operation operation, Args&&... args) {
    if (store == nullptr) {
        return PM_ERROR;
    }
    return (store->*operation)(std::forward<Args>(args)...);
}

} // namespace

URPStoreCIndexAdaptor::URPStoreCIndexAdaptor() : m_CIndexStore(new (std::nothrow) URPStoreCIndex) {}

URPStoreCIndexAdaptor::~URPStoreCIndexAdaptor() {
    delete m_CIndexStore;
}

// No cursors behind this store: success, and the object stays as it was.

int URPStoreCIndexAdaptor::URPSGetFirstRole(RoleObject&) {
    return PM_OK;
}

int URPStoreCIndexAdaptor::URPSGetNextRole(RoleObject&) {
    return PM_OK;
}

int URPStoreCIndexAdaptor::URPSGetRole(RoleObject&) {
    return PM_OK;
}

int URPStoreCIndexAdaptor::URPSGetFirstEntitlement(EntitlementObject&) {
    return PM_OK;
}

int URPStoreCIndexAdaptor::URPSGetNextEntitlement(EntitlementObject&) {
    return PM_OK;
}

int URPStoreCIndexAdaptor::URPSGetEntitlement(EntitlementObject&) {
    return PM_OK;
}

// Not offered by the preference-index store.

int URPStoreCIndexAdaptor::URPSDeleteRoleActionAssociationsByEntitlement(int) {
    return PM_ERROR;
}

int URPStoreCIndexAdaptor::URPSAddRoleActionAssociationByEntitlement(int, long) {
    return PM_ERROR;
}

int URPStoreCIndexAdaptor::URPSReadRoleActionAssociation(int, int, long*) {
    return PM_ERROR; // *eAction untouched
}

int URPStoreCIndexAdaptor::URPSCountrySpecificUpdate() {
    return PM_ERROR;
}

// Forwards.

int URPStoreCIndexAdaptor::URPSRemoveRoleFromDB(int roleId) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSRemoveRole, roleId);
}

int URPStoreCIndexAdaptor::URPSAddRoleToDB(RoleDef& role) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSAddRole, role);
}

int URPStoreCIndexAdaptor::URPSGetRoleList(std::vector<RoleObject>* roles) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSGetRoleList, roles);
}

int URPStoreCIndexAdaptor::URPSAddEntitlementToDB(EntitlementDef& entitlement) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSAddEntitlement, entitlement);
}

int URPStoreCIndexAdaptor::URPSUpdateEntitlementToDB(EntitlementDef& entitlement) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSUpdateEntitlement, entitlement);
}

int URPStoreCIndexAdaptor::URPSDeleteEntitlementToDB(EntitlementDef& entitlement) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSDeleteEntitlement, entitlement);
}

int URPStoreCIndexAdaptor::URPSGetEntitlementList(std::vector<EntitlementObject>* entitlements) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSGetEntitlementList, entitlements);
}

int URPStoreCIndexAdaptor::URPSDeleteUserRoleAssoc(int userKey, int roleId) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSDeleteUserRoleAssoc, userKey, roleId);
}

int URPStoreCIndexAdaptor::URPSAddUserRoleAssociation(int userKey, int roleId) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSAddUserRoleAssociation, userKey, roleId);
}

int URPStoreCIndexAdaptor::URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSGetRoleIdsForUser, userKey, roleIds);
}

int URPStoreCIndexAdaptor::URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSGetUserIdsForRole, roleId, userIds);
}

int URPStoreCIndexAdaptor::URPSDeleteRoleActionAssociations(int roleId) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSDeleteRoleActionAssociations, roleId);
}

int URPStoreCIndexAdaptor::URPSAddRoleActionAssociation(int roleId, int eId, long eAction) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSAddRoleActionAssociation, roleId, eId,
                   eAction);
}

int URPStoreCIndexAdaptor::URPSUpdateRoleActionAssociation(int roleId, int eId, long eAction) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSUpdateRoleActionAssociation, roleId, eId,
                   eAction);
}

int URPStoreCIndexAdaptor::URPSReadRoleActionAssociations(
    int roleId, std::vector<EntitlementObject>* entitlements,
    std::vector<RoleEntActionAssocCacheEntry>* entries) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSReadRoleActionAssociations, roleId,
                   entitlements, entries);
}

int URPStoreCIndexAdaptor::URPSBuildRoleActionAssociationsCache(
    std::vector<RoleEntActionAssocCacheEntry>* entries) {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSBuildRoleActionAssociationsCache, entries);
}

int URPStoreCIndexAdaptor::URPSRemoveAllRoleFromDB() {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSRemoveAllRole);
}

int URPStoreCIndexAdaptor::URPSDeleteAllEntitlementToDB() {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSDeleteAllEntitlement);
}

int URPStoreCIndexAdaptor::URPSDeleteAllUserRoleAssoc() {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSDeleteAllUserRoleAssoc);
}

int URPStoreCIndexAdaptor::URPSDeleteAllRoleActionAssociations() {
    return Forward(m_CIndexStore, &URPStoreCIndex::URPSDeleteAllRoleActionAssociations);
}

} // namespace PM
