// Usage facts: roles classified by their rights on the five employee and
// payroll entitlements, and the counts and custom combinations sent to the
// sphere module. Nothing here affects an access decision.
#include <PM/ActionMask.h>
#include <PM/PermissionManager.h>

#include "Diagnostics.h"
#include "permissionmanager/SphereModule.h"

#include <Loader/Itoa.h>
#include <Loader/ModuleLoader.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace PM {

namespace {

// Employees, Timesheets, Pay Employees, Time Reports, Payroll Taxes.
const int kTrackedIds[] = {109, 110, 111, 112, 113};
const int kTrackedCount = 5;

// Classifications, and the facts that count them.
const int kClassNone = 0;
const int kClassOther = 1;
const int kClassPayrollManager = 2;   // all five in full
const int kClassPayrollProcessor = 3; // 109, 110 and 111 in full, nothing else

// The combination text: one character per tracked id, in this order. 112
// stands second, not in numeric order; the module reads the text by
// position, so the order stays.
const int kCombinationOrder[] = {109, 112, 110, 111, 113};
char const kNoCombination[] = "00000";

char const kCustomRoleFact[] = "UM_CUSTOM_ROLE_ENTITLEMENT";

bool IsTracked(int id) {
    return std::find(std::begin(kTrackedIds), std::end(kTrackedIds), id) != std::end(kTrackedIds);
}

bool IsPayrollProcessing(int id) {
    return id == 109 || id == 110 || id == 111;
}

// Roles 1, 4 and 6 holding exactly three of 109, 110 and 112 count as the
// default roles of those ids, not as custom roles. Known by id alone, whatever
// the role is called now; repetition isn't noticed.
bool IsDefaultRoleCombination(int roleId, std::vector<int> const& ids) {
    if (roleId != 1 && roleId != 4 && roleId != 6) {
        return false;
    }
    return ids.size() == 3 && std::all_of(ids.begin(), ids.end(), [](int id) {
               return id == 109 || id == 110 || id == 112;
           });
}

// Sends one count with index 0.
void SendCount(UpdateUMFactsFn update, char const* fact, std::size_t count) {
    char digits[12] = {0}; // room for any int
    _itoa(static_cast<int>(count), digits, 10);
    update(fact, digits, 0);
}

} // namespace

int PermissionManager::AnalyzeUserRoleForFactTracking(int roleId, bool classifyOnly) {
    std::unique_ptr<RoleDef> role(GetRoleDef(roleId));
    if (role == nullptr) {
        return kClassNone;
    }
    // Visible entitlements only: a tracked one that isn't visible is absent.
    std::unique_ptr<std::vector<EntitlementDef>> listed(
        GetThePermissionManager().GetSortedEntitlements(role->GetId()));
    std::vector<EntitlementDef> const none;
    std::vector<EntitlementDef> const& entitlements = listed != nullptr ? *listed : none;

    int full = 0;
    for (EntitlementDef const& entitlement : entitlements) {
        if (IsTracked(entitlement.GetId()) && entitlement.GetAction() == kActionFull &&
            ++full == kTrackedCount) {
            return kClassPayrollManager;
        }
    }
    int granted = 0;
    for (EntitlementDef const& entitlement : entitlements) {
        if (IsTracked(entitlement.GetId()) && entitlement.GetAction() > 0) {
            ++granted;
        }
    }
    int processing = 0;
    for (EntitlementDef const& entitlement : entitlements) {
        if (IsPayrollProcessing(entitlement.GetId()) && entitlement.GetAction() == kActionFull) {
            ++processing;
        }
        if (processing == 3 && granted == 3) {
            return kClassPayrollProcessor;
        }
    }
    std::vector<int> combination;
    int count = 0;
    for (EntitlementDef const& entitlement : entitlements) {
        if (IsTracked(entitlement.GetId()) && entitlement.GetAction() >= 1) {
            ++count;
            if (!classifyOnly) {
                combination.push_back(entitlement.GetId());
            }
        }
    }
    int result = count >= 1 ? kClassOther : kClassNone;
    if (result == kClassOther && !classifyOnly) {
        if (IsDefaultRoleCombination(role->GetId(), combination)) {
            return result;
        }
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("Custom role found: %s", role->GetName().c_str());
        m_CustomRoleCombinations.push_back(combination);
    }
    return result;
}

void PermissionManager::AnalyzeAvailRoleForTracking() {
    m_PmCombiRoles.clear();
    m_PpCombiRoles.clear();
    m_OtherCombiRoles.clear();
    m_CustomRoleCombinations.clear();
    // Every cached role, Admin and invisible ones included.
    std::vector<int> roleIds;
    if (RoleCache != nullptr) {
        for (RoleObject const& row : *RoleCache) {
            roleIds.push_back(row.GetId());
        }
    }
    for (int roleId : roleIds) {
        UpdateRolesInTracking(AnalyzeUserRoleForFactTracking(roleId, false), roleId);
    }
    UpdateUserFactsToDB();
}

void PermissionManager::UpdateRolesInTracking(int classification, int roleId) {
    switch (classification) {
    case kClassOther:
        m_OtherCombiRoles.insert(roleId);
        break;
    case kClassPayrollManager:
        m_PmCombiRoles.insert(roleId);
        break;
    case kClassPayrollProcessor:
        m_PpCombiRoles.insert(roleId);
        break;
    default:
        break;
    }
}

void PermissionManager::UpdateUserFactsToDB() {
    HMODULE module = LoadLibraryA(kSphereModuleName);
    if (module == nullptr) {
        return;
    }
    UpdateUMFactsFn update = GetSphereExport<UpdateUMFactsFn>(module, "UpdateUMFacts");
    if (update == nullptr) {
        FreeLibrary(module);
        return;
    }
    SendCount(update, "UM_NUM_ROLES_PP_COMBI", m_PpCombiRoles.size());
    SendCount(update, "UM_NUM_ROLES_PM_COMBI", m_PmCombiRoles.size());
    SendCount(update, "UM_NUM_ROLES_NOT_PM_PP_COMBI", m_OtherCombiRoles.size());

    std::uint32_t limit = 3;
    if (!m_CustomRoleCombinations.empty()) {
        GetMaxEntitlementsToTrackFn getLimit =
            GetSphereExport<GetMaxEntitlementsToTrackFn>(module, "GetMaxEntitlementsToTrack");
        if (getLimit == nullptr) {
            FreeLibrary(module); // the counts are out; the combinations are not sent
            return;
        }
        limit = getLimit();
    }
    std::uint32_t slot = 0;
    for (; slot < limit && slot < m_CustomRoleCombinations.size(); ++slot) {
        std::unique_ptr<char[]> text(GetCustomEmpPayrollEntCombination(static_cast<int>(slot)));
        update(kCustomRoleFact, text.get(), static_cast<int>(slot));
    }
    // The padding stops one slot short of the limit: the module's last slot
    // is written only by a real combination. Unsigned on purpose, which is
    // why the module must never answer 0.
    while (slot < limit - 1u) {
        update(kCustomRoleFact, kNoCombination, static_cast<int>(slot));
        ++slot;
    }
    FreeLibrary(module);
}

char* PermissionManager::GetCustomEmpPayrollEntCombination(int index) {
    // The index isn't checked: callers stay below the list's size.
    std::vector<int> combination = m_CustomRoleCombinations[static_cast<std::size_t>(index)];
    char* text = new char[sizeof kNoCombination];
    std::memcpy(text, kNoCombination, sizeof kNoCombination);
    for (int position = 0; position < kTrackedCount; ++position) {
        if (std::find(combination.begin(), combination.end(), kCombinationOrder[position]) !=
            combination.end()) {
            text[position] = '1';
        }
    }
    return text;
}

} // namespace PM
