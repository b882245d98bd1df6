// The entitlement tree of a role, with the depth of each row.
#include "EntitlementTree.h"

#include "Actions.h"
#include "BankAccounts.h"

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <algorithm>
#include <map>
#include <memory>

namespace Pmctl {

bool RoleTree(Session& session, int roleId, std::vector<TreeRow>* rows) {
    std::unique_ptr<std::vector<PM::EntitlementDef>> list(
        session.Manager().GetSortedEntitlements(roleId));
    if (list == nullptr) {
        return false;
    }
    // A parent comes before its children, so its depth is known when they come.
    // So is its index, whose row holds the full name that a sub-account's
    // extends.
    std::map<int, std::size_t> rowOf;
    rows->clear();
    for (PM::EntitlementDef const& def : *list) {
        std::map<int, std::size_t>::const_iterator parent = rowOf.find(def.GetCategory());
        TreeRow const* above = parent == rowOf.end() ? nullptr : &(*rows)[parent->second];
        std::string name(def.GetName());
        bool account = def.IsDynamicEntitlement();
        std::string fullName = !account                             ? name
                               : above != nullptr && above->account ? above->fullName + ":" + name
                                                                    : BankFullName(name);
        rowOf[def.GetId()] = rows->size();
        rows->push_back({def.GetId(), def.GetCategory(), above == nullptr ? 0 : above->depth + 1,
                         name, fullName, account, roleId < 0 ? 0 : def.GetAction()});
    }
    return true;
}

std::vector<std::string> TreePrefixes(std::vector<TreeRow> const& rows) {
    // Walking backwards, a row is the last of its siblings when no row of
    // its depth came after it since the last shallower row.
    std::vector<bool> last(rows.size());
    std::vector<bool> seen;
    for (std::size_t i = rows.size(); i-- > 0;) {
        std::size_t depth = static_cast<std::size_t>(rows[i].depth);
        seen.resize(std::max(seen.size(), depth + 1), false);
        last[i] = !seen[depth];
        seen[depth] = true;
        seen.resize(depth + 1);
    }
    std::vector<std::string> prefixes;
    std::vector<bool> open; // per level: whether a later sibling still follows
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::size_t depth = static_cast<std::size_t>(rows[i].depth);
        open.resize(depth);
        std::string prefix;
        for (bool more : open) {
            prefix += more ? "\u2502   " : "    ";
        }
        prefix += last[i] ? "\u2514\u2500\u2500 " : "\u251c\u2500\u2500 ";
        open.push_back(!last[i]);
        prefixes.push_back(prefix);
    }
    return prefixes;
}

void PrintTree(std::vector<TreeRow> const& rows, std::ostream& out) {
    std::vector<std::string> prefixes = TreePrefixes(rows);
    std::size_t width = 0;
    for (TreeRow const& row : rows) {
        width = std::max(width, 4 * static_cast<std::size_t>(row.depth + 1) + row.name.size());
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        std::size_t shown = 4 * static_cast<std::size_t>(rows[i].depth + 1) + rows[i].name.size();
        out << prefixes[i] << rows[i].name << std::string(width + 2 - shown, ' ')
            << (rows[i].mask == 0 ? "-" : DescribeGrant(rows[i].mask)) << "\n";
    }
}

} // namespace Pmctl
