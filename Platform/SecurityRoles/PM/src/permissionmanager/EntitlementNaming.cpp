// Short and full names of dynamic entitlements, and the user and role
// differentiator.
#include <PM/Constants.h>
#include <PM/PermissionManager.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"

namespace PM {

namespace {
char const kFullNameHead[] = "Bank Registers";
char const kSeparatorText[] = ":";
} // namespace

TString PermissionManager::GetShortEntName(TString name) {
    char const* text = name.c_str();
    char const* last = Util::ReverseFindCharacter(text, kFullNameSeparator, Util::kCaseSensitive);
    if (last == nullptr) {
        return name;
    }
    std::size_t start = static_cast<std::size_t>(last - text) + 1;
    return name.Mid(start, name.GetLength() - start);
}

TString PermissionManager::GetFullParentEntName(std::vector<EntitlementDef>* list,
                                                EntitlementDef const* ent) {
    TString path;
    int parent = ent->GetCategory();
    int level = 1;
    while (parent != BankAccountsEntitlementId) {
        EntitlementDef* row = FindEntitlementDefById(list, parent);
        if (row == nullptr) {
            // A missing ancestor shortens the name: no head, trailing ':' kept.
            return path;
        }
        TString prefix = GetShortEntName(row->GetName());
        prefix += kSeparatorText;
        prefix += path;
        path = prefix;
        parent = row->GetCategory();
        ++level;
        // The depth is reported, not enforced: the walk goes on for as long
        // as ancestors are found, so a cycle in the category fields shows in
        // the log only.
        if (level > kMaxFullNameDepth) {
            PM_LOG(kLogPathPermissionManager, kLevelUnexpected, kEventProblem)
            ("Corrupt account permission encountered. Permissions for this file may need to be "
             "reset. Contact customer support.");
        }
    }
    TString full(kFullNameHead);
    full += kSeparatorText;
    full += path;
    return full.Mid(0, full.GetLength() - 1);
}

TString PermissionManager::GetFullEntName(std::vector<EntitlementDef>* list,
                                          EntitlementDef const* ent) {
    TString name = ent->GetName();
    if (name.IsEmpty()) {
        name = " ";
    }
    TString full = GetFullParentEntName(list, ent);
    full += kSeparatorText;
    full += name;
    return full;
}

TString PermissionManager::GetDifferentiatorAppendwithUserandRoleName(TString name) {
    // Unlike the entitlement form, this marks an already marked name again.
    name += "*";
    return name;
}

TString PermissionManager::GetDifferentiatorAppendwithUserandRoleName(TString name,
                                                                      TString differentiator) {
    name += differentiator;
    return name;
}

} // namespace PM
