// The checks that the roles "Admin" and "External Accountant" hold full rights
// where they must, reporting a shortfall or writing the full mask on request.
#include <PM/ActionMask.h>
#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include "Diagnostics.h"

#include <memory>

namespace PM {

namespace {

int const kAdminRoleId = kRoleIdLow;
char const kExternalAccountantRoleName[] = "External Accountant";
// The External Accountant's share is the category of this entitlement and
// the subtrees beneath that category's entries.
char const kBankRegistersName[] = "Bank Registers";

enum class FullMaskWrite { kUpdated, kAdded, kFailed };

// An update first; only when it gives PM_ERROR an add. Any other code of the
// update counts as corrected.
FullMaskWrite WriteFullMask(URPStoreBase& db, int roleId, int entitlementId) {
    if (db.URPSUpdateRoleActionAssociation(roleId, entitlementId, kActionFull) != PM_ERROR) {
        return FullMaskWrite::kUpdated;
    }
    if (db.URPSAddRoleActionAssociation(roleId, entitlementId, kActionFull) != PM_ERROR) {
        return FullMaskWrite::kAdded;
    }
    return FullMaskWrite::kFailed;
}

// Entitlements that are not enabled are exempt, blanked ones among them.
bool IsShort(EntitlementDef const& entry) {
    return entry.IsEnabled() && entry.GetAction() != kActionFull;
}

} // namespace

// Both checks read the masks from the store and write straight to it: the
// role cache and the established user's table are not refreshed. The result
// is true when something was short, also after a repair, or when the check
// could not be made.

bool PermissionManager::VerifyAdminRoleAccess(bool repair) {
    std::unique_ptr<std::vector<EntitlementDef>> list(GetEntitlements(kAdminRoleId, -1, false));
    if (list == nullptr || URPStore == nullptr) {
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("Permissions:  ERROR, cannot get the admin's permission records or the database "
         "adapter");
        return true;
    }
    bool lacking = false;
    for (EntitlementDef const& entry : *list) {
        if (!IsShort(entry)) {
            continue;
        }
        lacking = true;
        if (!repair) {
            continue;
        }
        switch (WriteFullMask(*URPStore, kAdminRoleId, entry.GetId())) {
        case FullMaskWrite::kUpdated:
            PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
            ("Permissions:  Corrected admin entitlement permissions on %s",
             entry.GetName().c_str());
            break;
        case FullMaskWrite::kAdded:
            break; // a correction by the add is not logged; that quiet success stays
        case FullMaskWrite::kFailed:
            PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
            ("Permissions:  ERROR, failed to correct admin's access for entitlement:  %s",
             entry.GetName().c_str());
            break;
        }
    }
    if (lacking && !repair) {
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("Permissions:  The admin role is lacking permissions to one or more entitlements.");
    }
    return lacking;
}

bool PermissionManager::VerifyExternalAccountantRoleAccess(bool repair) {
    int const roleId = LookupRole(kExternalAccountantRoleName);
    if (roleId == PM_ERROR) {
        // The doubled word and the misspelling stand: this is the text that
        // hosts and support tools look for.
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("Permissions: Failed to find the the External Accoutant role");
        return true;
    }
    EntitlementDef bankRegisters = FindEntitlementDefByName(kBankRegistersName);
    if (bankRegisters.GetId() == PM_ERR_NOENT) {
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("Permissions: \"%s\" does not have an associated entitlement.", kBankRegistersName);
        return true;
    }
    // Filtered by the category of "Bank Registers", not by its id: the list
    // holds that category's entries and the visible subtrees beneath them,
    // the live dynamic entitlements among them.
    std::unique_ptr<std::vector<EntitlementDef>> list(
        GetEntitlements(roleId, bankRegisters.GetCategory(), false));
    if (list == nullptr || URPStore == nullptr) {
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("Permissions: ERROR, cannot get the external accountant's entitlement records or "
         "pURPStore pointer");
        return true;
    }
    bool lacking = false;
    for (EntitlementDef const& entry : *list) {
        if (!IsShort(entry)) {
            continue;
        }
        lacking = true;
        if (!repair) {
            continue;
        }
        switch (WriteFullMask(*URPStore, roleId, entry.GetId())) {
        case FullMaskWrite::kUpdated:
            PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
            ("Permissions: Corrected external accountant entitlement permissions on %s",
             entry.GetName().c_str());
            break;
        case FullMaskWrite::kAdded:
            break; // quiet, as for the admin role
        case FullMaskWrite::kFailed:
            PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
            ("Permissions: ERROR, failed to correct external accountant's access for "
             "entitlement: %s",
             entry.GetName().c_str());
            break;
        }
    }
    if (lacking && !repair) {
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("Permissions: The external accountant role is lacking permissions to one or more "
         "entitlements.");
    }
    return lacking;
}

} // namespace PM
