// The one seam between the manager and where permissions are kept: roles,
// entitlements, user assignments and per-role action masks.
#pragma once

#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>
#include <PM/Export.h>
#include <PM/RoleDef.h>
#include <PM/RoleEntActionAssocCacheEntry.h>
#include <PM/RoleObject.h>

#include <Defcat/Defcat.h>
#include <Util/TString.h>

#include <cstdint>
#include <vector>

namespace PM {

// An id scan over one table: the next id to try, how many records the table
// holds, and how many the scan has delivered.
struct URPStoreCursor {
    std::int32_t CurrentId = 0;
    std::int32_t Count = 0;
    std::int32_t Read = 0;
};

// A back end of the permission store. The manager owns the one it uses and
// deletes it through this base.
//
// Every operation returns PM_OK on success and a negative result code on
// failure. Failures are reported by result, never by a thrown exception; only
// an allocation failure (std::bad_alloc) can escape. An operation that writes
// one record writes nothing when it fails. No operation takes back what an
// earlier one wrote: a caller that fails half way through several writes
// keeps those that succeeded.
//
// userKey arguments are a user's record key (UM::UserManager), never the
// host's user id; -1 means any only where an operation says so. Roles and
// entitlements passed by reference to be stored are read, never changed.
// Vectors passed by pointer must not be null unless the operation says so,
// and are appended to, never cleared.
//
// The store has one role cursor and one entitlement cursor (below), so scans
// of one kind do not nest, and an operation that reads or moves a cursor
// disturbs a scan of its kind that is under way.
class PM_API URPStoreBase {
public:
    URPStoreBase() = default;
    virtual ~URPStoreBase();

    URPStoreBase(URPStoreBase const&) = delete;
    URPStoreBase& operator=(URPStoreBase const&) = delete;

    // Role scan, ascending by id. GetFirstRole starts it and stores the first
    // role in role, GetNextRole the next one: PM_OK while a role is
    // delivered. The end of the scan, also of an empty store at GetFirstRole,
    // is PM_ERROR, the same code as a failure, so any other result ends the
    // scan. At the end role is left as it was; a failure may leave it partly
    // written. The role's entitlement list is never touched.
    virtual int URPSGetFirstRole(RoleObject& role) = 0;
    virtual int URPSGetNextRole(RoleObject& role) = 0;
    // Stores in role the role whose id is m_RoleCursor.CurrentId, whatever id
    // role holds. PM_ERR_NORECORD, when there is none, leaves role as it was;
    // another failure may leave it partly written. Its list is not touched.
    virtual int URPSGetRole(RoleObject& role) = 0;
    // Deletes the role with id roleId. Its masks and assignments stay: the
    // caller deletes them (URPSDeleteRoleActionAssociations,
    // URPSDeleteUserRoleAssoc(-1, roleId)). A role that is not stored is a
    // failure, and nothing is deleted.
    virtual int URPSRemoveRoleFromDB(int roleId) = 0;
    // Stores role (id, name, description, category, visible) as a new role.
    // Fails, storing nothing, when a role with its id is stored.
    virtual int URPSAddRoleToDB(RoleDef& role) = 0;
    // Appends every role to *roles, ascending by id. For back ends that are
    // read whole rather than by scan; see the back end's header.
    virtual int URPSGetRoleList(std::vector<RoleObject>* roles) = 0;

    // Entitlement scan, ascending by id, as the role scan: PM_OK while an
    // entitlement is delivered, PM_ERROR at the end and on failure alike, but
    // an empty table gives PM_ERR_EMPTYSTORE at GetFirstEntitlement. The
    // object's m_Action is never written.
    virtual int URPSGetFirstEntitlement(EntitlementObject& entitlement) = 0;
    virtual int URPSGetNextEntitlement(EntitlementObject& entitlement) = 0;
    // Stores in entitlement the entitlement whose id is
    // m_EntitlementCursor.CurrentId; m_Action is not written. PM_ERR_NOENT,
    // when there is none, leaves it as it was; another failure may leave it
    // partly written.
    virtual int URPSGetEntitlement(EntitlementObject& entitlement) = 0;
    // Stores entitlement (id, name, category, attrs, enabled and visible; not
    // its action) as a new record. Fails, storing nothing, when its id is
    // stored. No mask is added.
    virtual int URPSAddEntitlementToDB(EntitlementDef& entitlement) = 0;
    // Replaces the stored fields of the entitlement with entitlement's id; its
    // masks stay. An id that is not stored: see the back end's header.
    virtual int URPSUpdateEntitlementToDB(EntitlementDef& entitlement) = 0;
    // Deletes the entitlement with entitlement's id (only the id is read). Its
    // masks stay: the caller deletes them
    // (URPSDeleteRoleActionAssociationsByEntitlement). An id that is not
    // stored: see the back end's header.
    virtual int URPSDeleteEntitlementToDB(EntitlementDef& entitlement) = 0;
    // Appends every entitlement to *entitlements, ascending by id, with
    // m_Action 0. For back ends that are read whole; see the back end's header.
    virtual int URPSGetEntitlementList(std::vector<EntitlementObject>* entitlements) = 0;

    // Deletes assignments: (-1, roleId) every one of the role, (userKey, -1)
    // every one of the user; PM_OK also when there were none. Two real values,
    // or two -1: see the back end's header.
    virtual int URPSDeleteUserRoleAssoc(int userKey, int roleId) = 0;
    // Assigns the role to the user; neither is checked to exist. Fails,
    // storing nothing, when the assignment is stored.
    virtual int URPSAddUserRoleAssociation(int userKey, int roleId) = 0;
    // Appends the ids of the user's roles to *roleIds, ascending. On failure
    // *roleIds may hold some of them.
    virtual int URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) = 0;
    // Appends to *userIds, in record-key order, the host user ids (not record
    // keys) of the users assigned the role: each key is translated by
    // UM::UserManager::GetUserForDBRecKey, so a key it does not know gives -1.
    // On failure *userIds may hold some of them.
    virtual int URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) = 0;

    // Deletes every mask of the role; PM_OK also when it had none.
    virtual int URPSDeleteRoleActionAssociations(int roleId) = 0;
    // Deletes entitlement eId's mask in every role; PM_OK also when there was
    // none.
    virtual int URPSDeleteRoleActionAssociationsByEntitlement(int eId) = 0;
    // Stores eAction as the role's mask for eId. Fails, storing nothing, when
    // the pair has a mask (URPSUpdateRoleActionAssociation replaces one).
    virtual int URPSAddRoleActionAssociation(int roleId, int eId, long eAction) = 0;
    // Adds a mask for the new entitlement eId to every stored role: eAction,
    // or more where the back end's rules grant more (see its header). Stops at
    // the first failure; the roles already done keep their masks.
    virtual int URPSAddRoleActionAssociationByEntitlement(int eId, long eAction) = 0;
    // Stores eAction as the role's mask for eId, adding the pair when it has
    // no mask.
    virtual int URPSUpdateRoleActionAssociation(int roleId, int eId, long eAction) = 0;
    // PM_OK with the role's mask for eId in *eAction, which must not be null.
    // Any other result, a pair without a mask included, leaves no mask there.
    virtual int URPSReadRoleActionAssociation(int roleId, int eId, long* eAction) = 0;
    // For each mask of the role, sets m_Action of the first entitlement in
    // *entitlements with that id; the others keep theirs. Whether one entry
    // per mask is also appended to *entries is the back end's (see its
    // header). Either pointer may be null. On failure some actions may be set.
    virtual int
    URPSReadRoleActionAssociations(int roleId, std::vector<EntitlementObject>* entitlements,
                                   std::vector<RoleEntActionAssocCacheEntry>* entries) = 0;
    // Appends one entry (role, entitlement, mask) per stored mask to *entries.
    // For back ends that are read whole; see the back end's header.
    virtual int
    URPSBuildRoleActionAssociationsCache(std::vector<RoleEntActionAssocCacheEntry>* entries) = 0;

    // Whole-table deletes: every role, every entitlement (the version record
    // 0 included), every assignment, every mask. PM_OK also on an empty
    // table; each leaves the other tables as they are.
    virtual int URPSRemoveAllRoleFromDB() = 0;
    virtual int URPSDeleteAllEntitlementToDB() = 0;
    virtual int URPSDeleteAllUserRoleAssoc() = 0;
    virtual int URPSDeleteAllRoleActionAssociations() = 0;
    // The back end's country-specific changes, made after an upgrade of the
    // permission data; PM_OK when there are none.
    virtual int URPSCountrySpecificUpdate() = 0;

    // Version check and upgrade of the stored permission data against the
    // definition catalogue. They read and write through the operations above,
    // but whether there are stored entitlements at all is asked of the company
    // file's entitlement table directly, whatever the back end (so does
    // URPSSetDefaultEntitlements).
    //
    // Upgrades when the version record is missing or differs from the
    // catalogue's (URPSUpdatePermissionData, then URPSCountrySpecificUpdate
    // when it differed). PM_OK when nothing was needed (an empty table
    // included) or the upgrade succeeded; otherwise the result of the step
    // that failed, and what was written before it stays.
    int URPSCheckURPVersionDoUpdateIfNeeded();
    // PM_OK with the catalogue's permission data version in *urpVersion (0
    // when feature "0" has no version parameter). PM_ERROR, raised, for a null
    // urpVersion or a catalogue without feature "0".
    int URPSGetURPVersionFromADR(int* urpVersion);
    // PM_OK with the version of the stored version record in *urpVersion (-1
    // when its name is not three fields). PM_ERR_EMPTYSTORE for an empty
    // table, PM_ERR_NOVERSION for rows without a version record, PM_ERROR on
    // failure; *urpVersion is then untouched. Moves the entitlement cursor.
    int URPSGetURPVersionFromCompanyFile(int* urpVersion);
    // PM_OK with the entitlement count of the version record in *urpEntCount
    // (-1 when its name is not three fields). PM_ERR_NOVERSION for rows
    // without a version record, with kLegacyEntitlementCount. PM_ERR_EMPTYSTORE
    // or PM_ERROR leave *urpEntCount untouched. Moves the entitlement cursor.
    int URPSGetEntitlementCountFromCompanyFile(int* urpEntCount);
    // The version field of a version record's name ("<name>-<version>-<count>"),
    // or -1 when the name is not three hyphen-separated fields. Not a result
    // code.
    int URPSGetVersionFromEntitlementName(TString name);
    // Merges the catalogue's entitlement list into the stored one: adds what
    // is new (with masks for every role, URPSAddRoleActionAssociationByEntitlement
    // with 0), deletes what is gone (with its masks), updates what changed
    // (masks stay). PM_OK when something was written; PM_ERROR when there was
    // nothing to change or a list could not be read; otherwise the first
    // failing result, and the writes before it stay.
    int URPSUpdatePermissionData();

    // Import from the definition catalogue.
    //
    // The two lists are allocated with new and belong to the caller, who
    // deletes them; null on failure. FromADR: the features of the first grant
    // of the catalogue's base role, in catalogue order. FromTable: the stored
    // entitlements by entitlement scan (empty for an empty table), the dynamic
    // ones (300000 and up) left out unless one is the first record; a failure
    // after the first record ends the list early, as the end of the scan does.
    std::vector<EntitlementDef>* URPSGetEntitlementListFromADR();
    std::vector<EntitlementDef>* URPSGetEntitlementListFromTable();
    // Fills an empty entitlement table with the catalogue's list. PM_ERROR
    // when the company file's table holds rows, or the list is missing
    // (raised) or empty; otherwise the first failing add's result, and what was added
    // stays. Resets the entitlement cursor.
    int URPSSetDefaultEntitlements();
    // Adds the current product flavor's default roles, ids from 0 in the
    // flavor's order, each with the masks of its grants. PM_ERROR when there
    // is no flavor or no default role; otherwise the first failing result, and
    // what was written before it stays.
    int URPSSetDefaultRoles();
    // Adds catalogue role roleCatalogueId as role roleId, with its masks; it is
    // visible unless the catalogue marks it private. PM_ERROR, raised, when
    // the catalogue has no such role; otherwise as URPSSetDefaultRoles.
    int URPSSetSingleDefaultRole(const TString& roleCatalogueId, int roleId);
    // Adds one mask per feature of each of the role's grants, made of the
    // grant's user actions. PM_ERROR for a null role; a role without grants is
    // raised and gives PM_OK; otherwise the first failing add's result, and
    // the masks added before it stay.
    int URPSSetDefaultEntitlementsForRole(auto_init_ptr<Defcat::Role> role, int roleId);

    // Scan state; the record-backed store starts both CurrentIds at -1.
    URPStoreCursor m_RoleCursor;
    URPStoreCursor m_EntitlementCursor;
    bool m_PassedStaticBand = false;
    bool m_PassedMiddleBand = false;
    // Highest id for which a miss does not yet end the catalogue band; written
    // by the manager when it opens the store.
    std::int32_t m_StaticEntitlementLimit = 0;
};

} // namespace PM
