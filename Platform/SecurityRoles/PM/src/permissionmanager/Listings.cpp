// The entitlement listings for the host's screens: the whole tree as one role
// sees it, and the flat list of labelled sections that MergeEntitlements makes.
#include <PM/Constants.h>
#include <PM/PermissionManager.h>
#include <PM/RoleObject.h>

#include "Diagnostics.h"

#include <memory>
#include <new>

namespace PM {

namespace {

// The role a listing is built for when the id is negative: a scratch role
// with id -1 holding a copy of the cached rows, so that its view carries the
// cached actions. Null when it cannot be made.
RoleObject* NewScratchRole(std::vector<EntitlementObject>* entitlementCache) {
    RoleObject* scratch = new (std::nothrow) RoleObject();
    if (scratch != nullptr) {
        scratch->init();
        if (entitlementCache != nullptr && scratch->GetEntitlementObjList() != nullptr) {
            *scratch->GetEntitlementObjList() = *entitlementCache;
        }
    }
    return scratch;
}

// The made-up row that opens a section: it stands for no entitlement, so its
// id is -1, which no real row has.
EntitlementDef HeadingRow(TString const& label, int category) {
    EntitlementDef heading;
    heading.SetName(label);
    heading.SetId(-1);
    heading.SetCategory(category);
    heading.SetAction(0);
    heading.SetAttrs(0);
    heading.SetEnabled(false);
    heading.SetVisible(true);
    heading.SetMixed(false);
    return heading;
}

} // namespace

std::vector<EntitlementDef>* PermissionManager::GetSortedEntitlements(int roleId) {
    // A cached role is used in place; the scratch role goes on every way out.
    std::unique_ptr<RoleObject> scratch(roleId < 0 ? NewScratchRole(EntitlementCache) : nullptr);
    RoleObject* source = roleId < 0 ? scratch.get() : LookupRoleInCache(roleId);
    if (source == nullptr) {
        return nullptr;
    }
    // Visible rows only: an invisible entitlement goes with its subtree.
    std::vector<EntitlementDef>* sortedList =
        source->EntitlementDefFactory(kEntitlementRootId, true);
    if (sortedList == nullptr) {
        PM_RAISE("sortedList != NULL");
    }
    return sortedList;
}

std::vector<EntitlementDef>* PermissionManager::MergeEntitlements(int roleId,
                                                                  std::vector<int>* categoryList,
                                                                  std::vector<TString>* labelList) {
    if (categoryList == nullptr && !PM_RAISE("categoryList != NULL")) {
        return nullptr;
    }
    if (labelList == nullptr && !PM_RAISE("labelList != NULL")) {
        return nullptr;
    }
    // An accepted null list is treated as empty; mismatched lists are no
    // fault worth an assertion, just no listing.
    if (categoryList == nullptr || labelList == nullptr || categoryList->empty() ||
        labelList->empty() || categoryList->size() != labelList->size()) {
        return nullptr;
    }
    std::unique_ptr<RoleObject> scratch(roleId < 0 ? NewScratchRole(EntitlementCache) : nullptr);
    RoleObject* source = roleId < 0 ? scratch.get() : LookupRoleInCache(roleId);
    if (source == nullptr) {
        return nullptr;
    }
    std::unique_ptr<std::vector<EntitlementDef>> masteredl(new (std::nothrow)
                                                               std::vector<EntitlementDef>());
    if (masteredl == nullptr) {
        PM_RAISE("masteredl != NULL");
        return nullptr; // nothing to fill, whatever the handler said
    }
    for (std::size_t i = 0; i < categoryList->size(); ++i) {
        int category = (*categoryList)[i];
        masteredl->push_back(HeadingRow((*labelList)[i], category));
        // The category's own row is not part of its subtree; a category that
        // yields nothing still keeps its heading. Duplicates stay.
        std::unique_ptr<std::vector<EntitlementDef>> edlforcat(
            source->EntitlementDefFactory(category, true));
        if (edlforcat == nullptr) {
            if (!PM_RAISE("edlforcat != NULL")) {
                return nullptr;
            }
            continue;
        }
        masteredl->insert(masteredl->end(), edlforcat->begin(), edlforcat->end());
    }
    return masteredl.release();
}

} // namespace PM
