// The role view of the entitlements: the catalogue as one role sees it, with
// the masks read from the store at the moment of the call (role masks are not
// cached in the role list).
#include <PM/Constants.h>
#include <PM/PermissionManager.h>
#include <PM/RoleObject.h>

#include "Diagnostics.h"
#include "permissionmanager/EntitlementLists.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace PM {

std::vector<EntitlementDef>* PermissionManager::GetEntitlements(int roleId, int category,
                                                                bool visibleOnly) {
    if (roleId == -1) {
        // The catalogue as cached; category and visibleOnly play no part.
        return CopyEntitlementObjectList(EntitlementCache);
    }
    RoleObject* role = LookupRoleInCache(roleId);
    if (role == nullptr) {
        return nullptr;
    }
    std::vector<EntitlementDef>* list = role->EntitlementDefFactory(category, visibleOnly);
    if (list == nullptr) {
        PM_RAISE("entlist != NULL");
    }
    return list;
}

int PermissionManager::GetRoleActionAssociation(int role, int entitlement, long* action) {
    if (URPStore == nullptr) {
        return PM_ERROR;
    }
    return URPStore->URPSReadRoleActionAssociation(role, entitlement, action);
}

namespace {

// One view in the making. The view of a subtree is the view of each child in
// catalogue order, each followed by the view of its own subtree, and every
// level looks at the same catalogue: so the catalogue is copied once per view
// and the rows are indexed by category, and descending into a node costs its
// children rather than another pass over the whole catalogue (with thousands
// of bank accounts below one category, that pass made a listing quadratic).
// The rows, the masks asked for and their order are those of a fresh copy of
// the catalogue searched at every level.
class RoleView {
public:
    RoleView(PermissionManager& manager, int roleId, std::vector<EntitlementDef> const& catalogue)
        : m_Manager(manager), m_RoleId(roleId), m_Catalogue(catalogue) {}

    // Appends the rows of category (all rows for a negative one) to out, each
    // with the role's mask, and behind each row from kFirstCategoryEntId up
    // the visible rows of its own subtree, unless category is -1.
    void Append(int category, bool visibleOnly, std::vector<EntitlementDef>* out) {
        if (category < 0) {
            for (std::size_t row = 0; row < m_Catalogue.size(); ++row) {
                AppendRow(row, category, visibleOnly, out);
            }
            return;
        }
        IndexByCategory();
        auto first = std::lower_bound(m_ByCategory.begin(), m_ByCategory.end(),
                                      std::make_pair(category, std::size_t(0)));
        for (auto it = first; it != m_ByCategory.end() && it->first == category; ++it) {
            AppendRow(it->second, category, visibleOnly, out);
        }
    }

private:
    void AppendRow(std::size_t row, int category, bool visibleOnly,
                   std::vector<EntitlementDef>* out) {
        EntitlementDef const& entitlement = m_Catalogue[row];
        if (visibleOnly && !entitlement.IsVisible()) {
            return;
        }
        out->push_back(entitlement);
        if (m_RoleId >= 0) {
            long action = 0;
            // Without a stored mask the record keeps the cached action.
            if (m_Manager.GetRoleActionAssociation(m_RoleId, entitlement.GetId(), &action) ==
                PM_OK) {
                out->back().SetAction(static_cast<int>(action));
            }
        }
        // Only ids from kFirstCategoryEntId up have children in a listing;
        // below the first level only visible entitlements are listed.
        if (entitlement.GetId() >= kFirstCategoryEntId && category != -1) {
            Append(entitlement.GetId(), true, out);
        }
    }

    // (category, row) for every row, in category order and, within one
    // category, in catalogue order. Built at the first descent.
    void IndexByCategory() {
        if (!m_ByCategory.empty() || m_Catalogue.empty()) {
            return;
        }
        m_ByCategory.reserve(m_Catalogue.size());
        for (std::size_t row = 0; row < m_Catalogue.size(); ++row) {
            m_ByCategory.emplace_back(m_Catalogue[row].GetCategory(), row);
        }
        std::sort(m_ByCategory.begin(), m_ByCategory.end());
    }

    PermissionManager& m_Manager;
    int const m_RoleId;
    std::vector<EntitlementDef> const& m_Catalogue;
    std::vector<std::pair<int, std::size_t>> m_ByCategory;
};

} // namespace

std::vector<EntitlementDef>* RoleObject::EntitlementDefFactory(int category, bool visibleOnly) {
    std::unique_ptr<std::vector<EntitlementDef>> result(new (std::nothrow)
                                                            std::vector<EntitlementDef>());
    if (result == nullptr) {
        PM_RAISE("edlist != NULL");
        return nullptr;
    }
    PermissionManager& manager = PermissionManager::GetThePermissionManager();
    std::unique_ptr<std::vector<EntitlementDef>> defaultEdlist(
        manager.GetEntitlements(-1, -1, true));
    if (defaultEdlist == nullptr) {
        PM_RAISE("defaultEdlist.get() != NULL");
        return result.release(); // the empty result, whatever the handler said
    }
    RoleView(manager, m_Id, *defaultEdlist).Append(category, visibleOnly, result.get());
    return result.release();
}

} // namespace PM
