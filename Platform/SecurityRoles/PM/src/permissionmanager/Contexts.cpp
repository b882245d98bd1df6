// Permission contexts: the chain of whose behalf the host acts on, and the
// action tables the contexts own. The Tallyframe context stands for the
// logged-in user; each integrated application acts under its catalogue role.
#include <Defcat/Defcat.h>
#include <PM/PermissionManager.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"

#include <memory>
#include <new>

namespace PM {

namespace {

char const kTallyframeContextName[] = "Tallyframe";

// Context names compare with case: "App" and "app" are two contexts.
bool SameContextName(char const* a, char const* b) {
    return Util::CompareStrings(a, b, Util::kCaseSensitive) == Util::kStringEqual;
}

} // namespace

std::map<int, long>* PermissionManager::CreateNewActionCache() {
    std::unique_ptr<std::map<int, long>> table(new (std::nothrow) std::map<int, long>());
    if (table == nullptr || SortedEntitlements.empty()) {
        return nullptr; // no table while no entitlements are loaded
    }
    for (EntitlementDef const& entitlement : SortedEntitlements) {
        table->emplace(entitlement.GetId(), 0L);
    }
    return table.release();
}

Util::Status PermissionManager::AddRolesActionValuesToActionCache(std::map<int, long>*& table,
                                                                  int role) {
    Util::Status status = Util::Status::GetFailed();
    if (table == nullptr) {
        table = CreateNewActionCache();
        if (table == nullptr) {
            PM_RAISE("pActions != NULL");
            return status; // no table to merge into, whatever the handler said
        }
    }
    // The stored masks alone decide: the role "Admin" gets 63 because 63 is
    // what the store holds for it.
    std::unique_ptr<std::vector<EntitlementDef>> pEntList(GetEntitlements(role, -1, false));
    if (pEntList == nullptr && !PM_RAISE("pEntList != NULL")) {
        delete table;
        table = nullptr;
        return status;
    }
    if (pEntList != nullptr) {
        // The table's rows by id, so that each of a role's thousands of masks
        // finds its row without a search of the map.
        typedef std::map<int, long>::iterator Row;
        IdBands<Row> rows;
        bool const laidOut = rows.Layout(*table, table->end(), [](Row row) { return row; });
        for (EntitlementDef const& entitlement : *pEntList) {
            Row const* slot = laidOut ? rows.Find(entitlement.GetId()) : nullptr;
            Row actionIter = slot != nullptr ? *slot
                             : laidOut       ? table->end()
                                             : table->find(entitlement.GetId());
            if (actionIter == table->end()) {
                if (!PM_RAISE("actionIter!=pActions->end()")) {
                    delete table;
                    table = nullptr;
                    return status;
                }
                continue;
            }
            // Roles combine by OR: no role takes away what another grants.
            actionIter->second |= entitlement.GetAction();
        }
    }
    status = Util::Status::GetSucceeded();
    return status;
}

PermissionContextObject* PermissionManager::GetContextObject(TString const& appName) {
    if ((ContextCache == nullptr || appName.IsEmpty()) &&
        !PM_RAISE("(pCache != NULL) && !appName.IsEmpty()")) {
        return nullptr;
    }
    if (ContextCache != nullptr) {
        for (PermissionContextObject* context : *ContextCache) {
            if (SameContextName(context->AppName, appName)) {
                return context; // built once, kept as it is
            }
        }
    }
    auto_init_ptr<Defcat::SDKApplication> application = Defcat::SDKApplication::FindByID(appName);
    if (application.get() == nullptr) {
        return nullptr;
    }
    TString useRole = application->GetUseRole();
    if (useRole.IsEmpty()) {
        return nullptr;
    }
    auto_init_ptr<Defcat::Role> catalogueRole = Defcat::Role::FindByID(useRole);
    if (catalogueRole.get() == nullptr) {
        return nullptr;
    }
    TString roleName = catalogueRole->GetName();

    int roleId = LookupRole(roleName);
    if (roleId == -1) {
        // The application's role is not in this company file yet: add it from
        // the catalogue and reload the role list.
        if (URPStore != nullptr) {
            int newId = GetNextRoleId();
            if (URPStore->URPSSetSingleDefaultRole(useRole, newId) == PM_ERROR) {
                PM_LOG(kLogPathPermissionManager, kLevelError, kEventProblem)
                ("Failed to set default role %s.", roleName.c_str());
                // The id stays in hand; the table cannot be built for a role
                // that exists nowhere, and that failure shows below.
                roleId = newId;
            } else {
                delete RoleCache;
                RoleCache = nullptr;
                RoleCache = CacheRoles();
                if (RoleCache == nullptr && !PM_RAISE("pRolecache != NULL")) {
                    return nullptr;
                }
                roleId = LookupRole(roleName);
            }
        }
        if (roleId == -1) {
            PM_LOG(kLogPathPermissionManager, kLevelError, kEventProblem)
            ("Failed to get role %s.", roleName.c_str());
            return nullptr;
        }
    }

    std::map<int, long>* table = nullptr;
    if (AddRolesActionValuesToActionCache(table, roleId).Failed()) {
        PM_LOG(kLogPathPermissionManager, kLevelError, kEventProblem)
        ("Failed to build permission table for role %s.", roleName.c_str());
        return nullptr;
    }
    PermissionContextObject* pContext = new (std::nothrow) PermissionContextObject();
    if (pContext == nullptr || ContextCache == nullptr) {
        if (pContext == nullptr) {
            PM_RAISE("pContext != NULL");
        }
        delete pContext;
        delete table;
        return nullptr;
    }
    pContext->AppName = appName;
    pContext->ActionTable = table;
    pContext->ActionIndex.Rebuild(table);
    ContextCache->push_back(pContext);
    PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
    ("A new permission context is added for %s", appName.c_str());
    return pContext;
}

Util::Status PermissionManager::SetContext(TString const& appName) {
    Util::Status status = Util::Status::GetFailed();
    if (CurrentContext != nullptr && SameContextName(CurrentContext->AppName, appName)) {
        // Repeats are not counted: a nested set of the same context is an
        // error the caller must not balance with a RestoreContext.
        PM_LOG(kLogPathPermissionManager, kLevelError, kEventProblem)
        ("The permission context %s has been double set.", appName.c_str());
        return status;
    }
    if (CurrentContext == nullptr) {
        PM_LOG(kLogPathPermissionManager, kLevelUnexpected, kEventProblem)
        ("Missing current permission context.");
    }
    PermissionContextObject* context = GetContextObject(appName);
    if (context == nullptr) {
        PM_LOG(kLogPathPermissionManager, kLevelError, kEventProblem)
        ("Failed to set permission context to %s", appName.c_str());
        return status;
    }
    context->PreviousContext = CurrentContext;
    CurrentContext = context;
    status = Util::Status::GetSucceeded();
    PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
    ("Set permission context to %s", appName.c_str());
    return status;
}

Util::Status PermissionManager::SetContextToTallyframe() {
    // The catalogue does not know "Tallyframe" as an application: only
    // EstablishUser creates that context, so before it this call fails.
    return SetContext(TString(kTallyframeContextName));
}

bool PermissionManager::IsInTallyframeContext() const {
    return CurrentContext != nullptr &&
           SameContextName(CurrentContext->AppName, kTallyframeContextName);
}

Util::Status PermissionManager::RestoreContext() {
    Util::Status status = Util::Status::GetFailed();
    if (CurrentContext == nullptr) {
        PM_LOG(kLogPathPermissionManager, kLevelUnexpected, kEventProblem)
        ("Missing current permission context.");
        return status;
    }
    PermissionContextObject* left = CurrentContext;
    if (left->PreviousContext == nullptr) {
        PM_LOG(kLogPathPermissionManager, kLevelError, kEventProblem)
        ("Failed to restore permission context.");
        return status;
    }
    CurrentContext = left->PreviousContext;
    left->PreviousContext = nullptr;
    status = Util::Status::GetSucceeded();
    PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
    ("Restore permission context from %s to %s", left->AppName.c_str(),
     CurrentContext->AppName.c_str());
    return status;
}

Util::Status PermissionManager::SetActionCacheForTallyframeContext(std::map<int, long>* table) {
    Util::Status status = Util::Status::GetFailed();
    if (table == nullptr || ContextCache == nullptr) {
        PM_RAISE("pActionList != NULL && pCache != NULL");
        delete table;
        return status; // nothing to install or nowhere to keep it
    }
    if (ContextCache->empty()) {
        // The first user: the Tallyframe context is created at the bottom of
        // the chain.
        PermissionContextObject* pContext = new (std::nothrow) PermissionContextObject();
        if (pContext == nullptr) {
            PM_RAISE("pContext != NULL");
            delete table;
            return status;
        }
        pContext->AppName = kTallyframeContextName;
        pContext->ActionTable = table;
        pContext->ActionIndex.Rebuild(table);
        ContextCache->push_back(pContext);
        CurrentContext = pContext;
        pContext->PreviousContext = nullptr;
        status = Util::Status::GetSucceeded();
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("A new permission context is added for %s", kTallyframeContextName);
        return status;
    }
    if (IsInTallyframeContext()) {
        delete CurrentContext->ActionTable;
        CurrentContext->ActionTable = table;
        CurrentContext->ActionIndex.Rebuild(table);
        status = Util::Status::GetSucceeded();
        PM_LOG(kLogPathPermissionManager, kLevelProgress, kEventProgress)
        ("permission table has been reset for TF permission context.");
        return status;
    }
    PM_LOG(kLogPathPermissionManager, kLevelError, kEventProblem)
    ("Wrong context to reset permission table.");
    delete table; // offered to nobody else: released here
    return status;
}

} // namespace PM
