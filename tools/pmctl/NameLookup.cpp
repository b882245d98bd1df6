// Finding users, roles and entitlements by what people type: a name compared
// without regard to ASCII case (as the library compares role and entitlement
// names), an id only when written "#N". A name made of digits is a name.
#include "CommandSupport.h"

#include "EntitlementTree.h"
#include "Suggest.h"

#include <PM/PermissionManager.h>

#include <algorithm>

namespace Pmctl {

namespace {

char Folded(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameName(std::string const& a, std::string const& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return Folded(x) == Folded(y);
           });
}

// Whether tail is the last levels of fullName: "Payroll" or "Checking:Payroll"
// of "Bank Registers:Checking:Payroll".
bool IsTail(std::string const& fullName, std::string const& tail) {
    std::size_t const at = fullName.size() - tail.size();
    return !tail.empty() && fullName.size() > tail.size() && fullName[at - 1] == ':' &&
           SameName(fullName.substr(at), tail);
}

// For a name of digits that is no name but is the id of something: the hint
// that ids are written "#N". Else the closest name, if any is close.
std::string Hint(std::string const& text, std::string const& nameOfId,
                 std::vector<std::string> const& names) {
    if (!nameOfId.empty()) {
        return " (did you mean #" + text + ", which is " + nameOfId + "?)";
    }
    return DidYouMean(text, names);
}

// The id that a name of digits would be, had it been written "#N"; -1 when
// the text is not digits.
int DigitsAsId(std::string const& text) {
    int id = -1;
    bool digits = !text.empty() && std::all_of(text.begin(), text.end(),
                                               [](char c) { return c >= '0' && c <= '9'; });
    return digits && ParseInt(text, &id) ? id : -1;
}

// A dynamic entitlement's full name; by id the library gives the short one.
TString FullName(PM::PermissionManager& manager, PM::EntitlementDef const& def) {
    std::vector<PM::EntitlementDef> list;
    for (PM::EntitlementObject& row : *manager.GetEntitlementCache()) {
        list.push_back(PM::EntitlementDef(row));
    }
    return manager.GetFullEntName(&list, &def);
}

// The live entitlement with that id, with its full name; id PM_ERR_NOENT when
// there is none (a removed bank account included).
PM::EntitlementDef LiveEntitlement(PM::PermissionManager& manager, int id) {
    PM::EntitlementDef found = manager.FindEntitlementDefById(id);
    if (found.GetId() != PM_ERR_NOENT && found.IsDynamicEntitlement()) {
        if (found.IsEnabled()) {
            found.SetName(FullName(manager, found));
        } else {
            found.SetId(PM_ERR_NOENT);
        }
    }
    return found;
}

} // namespace

bool ParseHashId(std::string const& text, int* id) {
    int value = -1;
    if (text.size() < 2 || text[0] != '#' || text[1] < '0' || text[1] > '9' ||
        !ParseInt(text.substr(1), &value)) {
        return false;
    }
    *id = value;
    return true;
}

bool FindUser(Session& session, std::string const& text, Host::CompanyUser* user, Io io) {
    std::vector<Host::CompanyUser> const users = Host::ListCompanyUsers();
    int id = -1;
    if (ParseHashId(text, &id)) {
        for (Host::CompanyUser const& candidate : users) {
            if (candidate.userId == id) {
                *user = candidate;
                return true;
            }
        }
        Complain(io, session.Path()) << "no user #" << id << "\n";
        return false;
    }
    // Users added before names were compared without case may differ only
    // in case: the exact name tells them apart.
    std::vector<Host::CompanyUser> matches;
    for (Host::CompanyUser const& candidate : users) {
        if (candidate.name == text) {
            *user = candidate;
            return true;
        }
        if (SameName(candidate.name, text)) {
            matches.push_back(candidate);
        }
    }
    if (matches.size() == 1) {
        *user = matches.front();
        return true;
    }
    if (matches.size() > 1) {
        std::string list;
        for (Host::CompanyUser const& match : matches) {
            list += (list.empty() ? "" : ", ") + match.name + " (#" + std::to_string(match.userId) +
                    ")";
        }
        Complain(io, session.Path()) << "\"" << text << "\" names more than one user: " << list
                                     << "; give the exact name or the #id\n";
        return false;
    }
    std::vector<std::string> names;
    std::string nameOfId;
    for (Host::CompanyUser const& candidate : users) {
        names.push_back(candidate.name);
        nameOfId = candidate.userId == DigitsAsId(text) ? candidate.name : nameOfId;
    }
    Complain(io, session.Path()) << "no user named \"" << text << "\""
                                 << Hint(text, nameOfId, names) << "\n";
    return false;
}

bool FindRole(Session& session, std::string const& text, int* roleId, std::string* name, Io io) {
    PM::PermissionManager& manager = session.Manager();
    int id = -1;
    if (ParseHashId(text, &id)) {
        std::unique_ptr<PM::RoleDef> role(manager.GetRoleDef(id));
        if (role == nullptr) {
            Complain(io, session.Path()) << "no role #" << id << "\n";
            return false;
        }
    } else {
        id = text.empty() ? PM_ERROR : manager.LookupRole(text.c_str());
    }
    if (id == PM_ERROR) {
        std::vector<std::string> names;
        std::string nameOfId;
        for (PM::RoleObject const& role : *manager.GetRoleCache()) {
            names.push_back(std::string(role.GetName()));
            nameOfId = role.GetId() == DigitsAsId(text) ? std::string(role.GetName()) : nameOfId;
        }
        Complain(io, session.Path())
            << "no role named \"" << text << "\"" << Hint(text, nameOfId, names) << "\n";
        return false;
    }
    *roleId = id;
    if (name != nullptr) {
        *name = RoleName(session, id);
    }
    return true;
}

bool FindEntitlement(Session& session, std::string const& text, PM::EntitlementDef* def, Io io) {
    PM::PermissionManager& manager = session.Manager();
    int id = -1;
    if (ParseHashId(text, &id)) {
        PM::EntitlementDef found = LiveEntitlement(manager, id);
        if (found.GetId() == PM_ERR_NOENT) {
            Complain(io, session.Path()) << "no entitlement #" << id << "\n";
            return false;
        }
        *def = found;
        return true;
    }
    // The library's own lookup by full name first: it alone sees the
    // invisible entitlements.
    if (text.find_first_not_of(' ') != std::string::npos) {
        PM::EntitlementDef found = manager.FindEntitlementDefByName(text.c_str());
        if (found.GetId() != PM_ERR_NOENT && (!found.IsDynamicEntitlement() || found.IsEnabled())) {
            *def = found;
            return true;
        }
    }
    // Then the visible tree, which holds live accounts only: the full name
    // (a removed account of the same name may have hidden it above), else
    // the last levels of one.
    std::vector<TreeRow> rows;
    RoleTree(session, -1, &rows);
    std::vector<TreeRow const*> matches;
    bool whole = false;
    for (TreeRow const& row : rows) {
        if (SameName(row.fullName, text)) {
            matches = {&row};
            whole = true;
            break;
        }
        if (IsTail(row.fullName, text)) {
            matches.push_back(&row);
        }
    }
    if (matches.size() == 1) {
        *def = manager.FindEntitlementDefById(matches.front()->id);
        def->SetName(matches.front()->fullName.c_str());
        if (!whole) {
            Complain(io, session.Path())
                << "note: \"" << text << "\" is " << matches.front()->fullName << "\n";
        }
        return true;
    }
    if (matches.size() > 1) {
        // Ten are enough to show how to tell them apart.
        std::size_t const shown = std::min<std::size_t>(matches.size(), 10);
        std::string list;
        for (std::size_t i = 0; i < shown; ++i) {
            list += (list.empty() ? "" : ", ") + matches[i]->fullName;
        }
        if (shown < matches.size()) {
            list += " and " + std::to_string(matches.size() - shown) + " more";
        }
        Complain(io, session.Path())
            << "\"" << text << "\" names more than one entitlement: " << list
            << "; give the full name\n";
        return false;
    }
    // A slip in a leaf name is far from every full name, but close to a leaf.
    std::vector<std::string> fullNames, leaves;
    for (TreeRow const& row : rows) {
        fullNames.push_back(row.fullName);
        leaves.push_back(row.name);
    }
    std::string hint = DidYouMean(text, fullNames);
    std::string leaf = hint.empty() ? ClosestName(text, leaves) : "";
    if (!leaf.empty()) {
        std::size_t at = std::find(leaves.begin(), leaves.end(), leaf) - leaves.begin();
        hint = " (did you mean \"" + fullNames[at] + "\"?)";
    }
    int number = DigitsAsId(text);
    if (number >= 0) {
        PM::EntitlementDef byId = LiveEntitlement(manager, number);
        hint = byId.GetId() == PM_ERR_NOENT ? hint : Hint(text, std::string(byId.GetName()), {});
    }
    Complain(io, session.Path()) << "no entitlement named \"" << text << "\"" << hint << "\n";
    return false;
}

} // namespace Pmctl
