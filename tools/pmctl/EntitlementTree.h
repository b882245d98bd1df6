// The entitlement tree as one role sees it, for roles show and matrix.
#pragma once

#include "Session.h"

#include <ostream>
#include <string>
#include <vector>

namespace Pmctl {

struct TreeRow {
    int id;
    int parent;
    int depth;            // 0 for the categories right below the root
    std::string name;     // as the tree shows it: a bank account's own name
    std::string fullName; // as every command takes it: "Bank Registers:Checking:Payroll"
    bool account;         // a bank account (an entitlement made at run time)
    long mask;            // the role's actions
};

// The visible entitlements below the root, each before its children, with
// the role's masks (roleId below 0: none). False when the library gives no
// list (an unknown role).
bool RoleTree(Session& session, int roleId, std::vector<TreeRow>* rows);

// The drawing in front of each row's name ("│   ├── "): 4 columns a level.
std::vector<std::string> TreePrefixes(std::vector<TreeRow> const& rows);

// The rows as a tree, one a line: the drawing, the name, and in one column
// the row's actions ("full", "view,print") or "-" for none.
void PrintTree(std::vector<TreeRow> const& rows, std::ostream& out);

} // namespace Pmctl
