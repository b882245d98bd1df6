// The record-backed store's walks by id: the loads under the cursors, the role
// and entitlement scans, the assignment lookups, and the two operations that
// run over a whole table of roles or masks.
#include <PM/ActionMask.h>
#include <PM/Constants.h>
#include <PM/URPStore.h>

#include "Diagnostics.h"
#include "RecordStatus.h"

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>
#include <UM/UserManager.h>
#include <Util/StringCompare.h>

namespace PM {

namespace {

// Entitlements whose masks are given whole to every role, or to the roles
// named below as well as role 0, when they are added to an existing store.
const int kFullForEveryRoleEntitlementId = 180;
const int kFullForNamedRolesEntitlementId = 185;
const char kExternalAccountantRoleName[] = "External Accountant";
const char kOrvaneAppRoleName[] = "OrvaneApp";

bool NameIs(TString const& name, char const* fixed) {
    return Util::CompareStrings(name, fixed, Util::kCaseInsensitive) == Util::kStringEqual;
}

long MaskForNewEntitlement(RoleObject const& role, int eId, long eAction) {
    if (eId == kFullForEveryRoleEntitlementId || role.GetId() == kRoleIdLow) {
        return kActionFull;
    }
    if (eId == kFullForNamedRolesEntitlementId &&
        (NameIs(role.GetName(), kExternalAccountantRoleName) ||
         NameIs(role.GetName(), kOrvaneAppRoleName))) {
        return kActionFull;
    }
    return eAction;
}

} // namespace

int URPStore::URPSGetRole(RoleObject& role) {
    DMUSRRole record;
    Util::Status status(record.Load(m_RoleCursor.CurrentId, nullptr));
    if (status.Failed()) {
        return PM_ERROR;
    }
    if (IsRecordNotFound(status)) {
        return PM_ERR_NORECORD;
    }
    role.SetId(static_cast<int>(record.GetRoleId()));
    role.SetCategory(static_cast<int>(record.GetCategoryType()));
    role.SetVisible(FlagFromRecord(record.GetIsVisible()));
    char text[kRecordTextBufferSize] = {};
    if (record.GetName(text) != 0) {
        return PM_ERROR;
    }
    role.SetName(text);
    if (record.GetDescription(text) != 0) {
        return PM_ERROR;
    }
    role.SetDescription(text);
    return PM_OK;
}

int URPStore::URPSGetEntitlement(EntitlementObject& entitlement) {
    DMUSREntitlement record;
    Util::Status status(record.Load(m_EntitlementCursor.CurrentId, nullptr));
    if (status.Failed()) {
        return PM_ERROR;
    }
    if (IsRecordNotFound(status)) {
        return PM_ERR_NOENT;
    }
    entitlement.m_Id = static_cast<std::int32_t>(record.GetEntitlementId());
    entitlement.m_Category = static_cast<std::int32_t>(record.GetCategoryType());
    entitlement.m_Attrs = static_cast<std::int32_t>(record.GetAttributesId());
    entitlement.m_Visible = FlagFromRecord(record.GetIsVisible());
    entitlement.m_Enabled = FlagFromRecord(record.GetIsEnabled());
    char text[kRecordTextBufferSize] = {};
    if (record.GetName(text) != 0) {
        return PM_ERROR;
    }
    entitlement.m_Name = text;
    return PM_OK;
}

int URPStore::URPSGetFirstRole(RoleObject& role) {
    m_RoleCursor.CurrentId = 0;
    m_RoleCursor.Read = 0;
    DMUSRRole record;
    long count = 0;
    Util::Status status(record.GetCount(&count, nullptr));
    m_RoleCursor.Count = static_cast<std::int32_t>(count);
    if (status.Failed() || count == 0) {
        // An empty table is reported like a failure: there is no end mark of
        // its own for the role scan.
        return PM_ERROR;
    }
    return URPSGetNextRole(role);
}

int URPStore::URPSGetNextRole(RoleObject& role) {
    if (m_RoleCursor.Read >= m_RoleCursor.Count) {
        return PM_ERROR; // the end of the scan, indistinguishable from a failure
    }
    int result = URPSGetRole(role);
    // Ids are not dense. The walk has no upper bound on the id: it ends only
    // when Count records have been delivered, so a count that overstates the
    // table makes it run on.
    while (result == PM_ERR_NORECORD) {
        ++m_RoleCursor.CurrentId;
        result = URPSGetRole(role);
    }
    if (result != PM_OK) {
        return result;
    }
    ++m_RoleCursor.CurrentId;
    ++m_RoleCursor.Read;
    return PM_OK;
}

int URPStore::URPSGetFirstEntitlement(EntitlementObject& entitlement) {
    m_EntitlementCursor.CurrentId = 0;
    m_EntitlementCursor.Read = 0;
    m_PassedStaticBand = false;
    m_PassedMiddleBand = false;
    DMUSREntitlement record;
    long count = 0;
    Util::Status status(record.GetCount(&count, nullptr));
    m_EntitlementCursor.Count = static_cast<std::int32_t>(count);
    if (status.Failed()) {
        return PM_ERROR;
    }
    if (count == 0) {
        return PM_ERR_EMPTYSTORE; // unlike the role scan, an empty table has its own code
    }
    return URPSGetNextEntitlement(entitlement);
}

int URPStore::URPSGetNextEntitlement(EntitlementObject& entitlement) {
    if (m_EntitlementCursor.Read >= m_EntitlementCursor.Count) {
        return PM_ERROR;
    }
    int result = URPSGetEntitlement(entitlement);
    while (result == PM_ERR_NOENT) {
        // Three id bands: the catalogue's up to the limit, one from 100000 and
        // the dynamic one from 300000. Only a miss jumps, so ids above the
        // limit without a gap are still delivered, and the first miss above
        // it ends the catalogue band. After the second jump the walk has no
        // upper bound: it ends when Count records have been delivered.
        std::int32_t& id = m_EntitlementCursor.CurrentId;
        if (id > m_StaticEntitlementLimit && !m_PassedStaticBand) {
            m_PassedStaticBand = true;
            id = kEntitlementRootId;
        } else if (id > kEntitlementRootId && !m_PassedMiddleBand) {
            m_PassedMiddleBand = true;
            id = kFirstDynamicEntitlementId;
        } else {
            ++id;
        }
        result = URPSGetEntitlement(entitlement);
    }
    if (result != PM_OK) {
        return result;
    }
    ++m_EntitlementCursor.CurrentId;
    ++m_EntitlementCursor.Read;
    return PM_OK;
}

int URPStore::URPSGetRoleIdsForUser(int userKey, std::vector<int>* roleIds) {
    DMUSRUserRole record;
    long count = 0;
    if (record.GetUserRoleCountByUserId(&count, userKey, nullptr).Failed()) {
        return PM_ERROR;
    }
    // The table cannot be walked, so role ids are probed from 0 upward until
    // as many assignments as counted have been found.
    long found = 0;
    for (int roleId = kRoleIdLow; found < count; ++roleId) {
        Util::Status status(record.Load(userKey, roleId, nullptr));
        if (IsRecordNotFound(status)) {
            continue;
        }
        if (status.Failed()) {
            return PM_ERROR;
        }
        roleIds->push_back(roleId);
        ++found;
    }
    return PM_OK;
}

int URPStore::URPSGetUserIdsForRole(int roleId, std::vector<int>* userIds) {
    DMUSRUserRole record;
    long count = 0;
    if (record.GetUserRoleCountByRoleId(&count, roleId, nullptr).Failed()) {
        return PM_ERROR;
    }
    long found = 0;
    for (int userKey = 0; found < count; ++userKey) {
        Util::Status status(record.Load(userKey, roleId, nullptr));
        if (IsRecordNotFound(status)) {
            continue;
        }
        if (status.Failed()) {
            return PM_ERROR;
        }
        // The table holds record keys; callers of this one operation get the
        // host's user ids.
        userIds->push_back(UM::UserManager::GetTheUserManager().GetUserForDBRecKey(userKey));
        ++found;
    }
    return PM_OK;
}

int URPStore::URPSAddRoleActionAssociationByEntitlement(int eId, long eAction) {
    RoleObject role;
    int result = URPSGetFirstRole(role);
    if (result != PM_OK) {
        return result; // a store without roles gives PM_ERROR
    }
    do {
        result = URPSAddRoleActionAssociation(role.GetId(), eId,
                                              MaskForNewEntitlement(role, eId, eAction));
        if (result != PM_OK) {
            return result; // the roles already done keep their new masks
        }
    } while (URPSGetNextRole(role) == PM_OK);
    return PM_OK;
}

int URPStore::URPSReadRoleActionAssociations(int roleId,
                                             std::vector<EntitlementObject>* entitlements,
                                             std::vector<RoleEntActionAssocCacheEntry>*) {
    DMUSRRoleAction record;
    long count = 0;
    if (record.GetRoleActionCountByRoleId(&count, roleId, nullptr).Failed()) {
        return PM_ERROR;
    }
    bool passedStaticBand = false;
    bool passedMiddleBand = false;
    long found = 0;
    int id = 0;
    while (found < count) {
        Util::Status status(record.Load(roleId, id, nullptr));
        if (!IsRecordNotFound(status)) {
            if (status.Failed()) {
                return PM_ERROR;
            }
            // A linear search per record: the walk is quadratic by design.
            if (entitlements != nullptr) {
                for (EntitlementObject& entitlement : *entitlements) {
                    if (entitlement.m_Id == id) {
                        entitlement.m_Action = static_cast<std::int32_t>(record.GetActionType());
                        break;
                    }
                }
            }
            ++found; // counted whether or not the list holds the entitlement
            ++id;
            continue;
        }
        // Unlike the cursor scan this walk is bounded: the first miss above
        // 300000 ends it, so in the dynamic band only 300000 itself may be
        // missing.
        if (id > m_StaticEntitlementLimit && !passedStaticBand) {
            passedStaticBand = true;
            id = kEntitlementRootId;
        } else if (id >= kFirstCategoryEntId && !passedMiddleBand) {
            passedMiddleBand = true;
            id = kFirstDynamicEntitlementId;
        } else if (id > kFirstDynamicEntitlementId) {
            break;
        } else {
            ++id;
        }
    }
    if (found < count) {
        // Reported and otherwise accepted: the masks that were found are set.
        PM_LOG(kLogPathURPStore, kLevelSevereWarning, kEventProblem)
        ("Permissions Engine:  Number of entitlements does not match expected entitlements");
    }
    return PM_OK;
}

} // namespace PM
