// pmctl check and explain: the access decision as the host meets it, and
// where a user's rights on one entitlement come from.
#include "Acting.h"
#include "Actions.h"
#include "CommandSupport.h"

#include <PM/PermissionManager.h>

#include <algorithm>
#include <iomanip>
#include <memory>

namespace Pmctl {

int CheckCommand(FileArgs const& args, std::string const& userText,
                 std::string const& entitlementText, std::string const& action,
                 std::string const& application, Io io) {
    return RunRead(args, io, [&](Session& session) {
        Host::CompanyUser user;
        PM::EntitlementDef entitlement;
        if (!FindUser(session, userText, &user, io) ||
            !FindEntitlement(session, entitlementText, &entitlement, io)) {
            return kExitBadInput;
        }
        long mask = 0;
        if (!ParseOneAction(args, "check", action, &mask, io)) {
            return kExitBadInput;
        }
        if (!CheckApplication(args, application, io)) {
            return kExitBadInput;
        }
        if (!EstablishAs(args, session, user, application, io)) {
            return kExitFailed;
        }
        PM::PermissionManager& manager = session.Manager();
        bool allowed = manager.IsAccessAllowed(entitlement.GetId(), mask);
        std::string who = application.empty() ? user.name : application + " for " + user.name;
        if (args.json) {
            PrintJson({{"user", user.name},
                       {"application", application},
                       {"entitlement", std::string(entitlement.GetName())},
                       {"entitlementId", entitlement.GetId()},
                       {"action", DescribeMask(mask)},
                       {"allowed", allowed}},
                      io);
        } else {
            io.out << (allowed ? "allowed" : "denied") << ": " << who
                   << (allowed ? " may " : " may not ") << DescribeMask(mask) << " "
                   << entitlement.GetName() << "\n";
        }
        return allowed ? kExitOk : kExitFailed;
    });
}

namespace {

// A role's actions on one entitlement, and whether the user holds the role.
struct Grant {
    int role;
    std::string name;
    long mask;
    bool held;
};

Json GrantJson(Grant const& grant) {
    return {{"id", grant.role},
            {"name", grant.name},
            {"mask", grant.mask},
            {"actions", ActionArray(grant.mask)}};
}

// The roles a user could be given or holds: the visible ones, and the
// invisible ones the user holds, in the library's order, each with its mask
// on the entitlement.
std::vector<Grant> CandidateRoles(Session& session, int entitlementId,
                                  std::vector<int> const& held) {
    std::vector<Grant> roles;
    std::unique_ptr<std::vector<PM::RoleDef>> list(
        session.Manager().GetAvailableRoles(PM::kListIncludeAdmin, PM::kListIncludeInvisible));
    for (PM::RoleDef const& role : list == nullptr ? std::vector<PM::RoleDef>() : *list) {
        bool holds = std::find(held.begin(), held.end(), role.GetId()) != held.end();
        if (holds || role.GetVisible()) {
            roles.push_back({role.GetId(), RoleName(session, role.GetId()),
                             RoleMask(session, role.GetId(), entitlementId), holds});
        }
    }
    return roles;
}

// "  NAME  ACTIONS" for each grant, the names padded to at least width; with
// held, a third column says whether the user holds the role.
void PrintGrants(std::vector<Grant> const& grants, std::size_t width, bool held, Io io) {
    std::size_t actions = 0;
    for (Grant const& grant : grants) {
        width = std::max(width, grant.name.size());
        actions = std::max(actions, DescribeGrant(grant.mask).size());
    }
    for (Grant const& grant : grants) {
        io.out << "  " << std::left << std::setw(static_cast<int>(width) + 2) << grant.name;
        if (held) {
            io.out << std::setw(static_cast<int>(actions) + 2) << DescribeGrant(grant.mask)
                   << (grant.held ? "held" : "not held") << "\n";
        } else {
            io.out << DescribeGrant(grant.mask) << "\n";
        }
    }
}

} // namespace

int ExplainCommand(FileArgs const& args, std::string const& userText,
                   std::string const& entitlementText, std::string const& action,
                   std::string const& application, Io io) {
    return RunRead(args, io, [&](Session& session) {
        Host::CompanyUser user;
        PM::EntitlementDef entitlement;
        if (!FindUser(session, userText, &user, io) ||
            !FindEntitlement(session, entitlementText, &entitlement, io)) {
            return kExitBadInput;
        }
        long focus = 0;
        if ((!action.empty() && !ParseOneAction(args, "explain", action, &focus, io)) ||
            !CheckApplication(args, application, io)) {
            return kExitBadInput;
        }
        int const id = entitlement.GetId();
        std::vector<int> const held = UserRoleIds(session, user.userId);
        std::vector<Grant> grants;
        long together = 0;
        for (int role : held) {
            grants.push_back({role, RoleName(session, role), RoleMask(session, role, id), true});
            together |= grants.back().mask;
        }
        std::vector<Grant> const candidates = CandidateRoles(session, id, held);

        // The decision is the library's; the roles are the explanation.
        if (!EstablishAs(args, session, user, application, io)) {
            return kExitFailed;
        }
        long const allowed = AllowedMask(session, id);
        Grant appRole{-1, "", 0, false};
        if (!application.empty()) {
            appRole.role = ApplicationRoleId(session, application);
            appRole.name = RoleName(session, appRole.role);
            appRole.mask = RoleMask(session, appRole.role, id);
        }
        // Without an action in focus, the question is every action that some
        // role grants here: one that none grants is denied to everybody.
        long asked = focus == 0 ? appRole.mask : focus;
        for (Grant const& role : candidates) {
            asked |= focus == 0 ? role.mask : 0;
        }
        long const denied = asked & ~allowed;
        std::vector<Grant> granting;
        for (Grant const& role : candidates) {
            if ((role.mask & denied) != 0) {
                granting.push_back(role);
            }
        }

        if (args.json) {
            Json roles = Json::array(), grantedBy = Json::array();
            for (Grant const& grant : grants) {
                roles.push_back(GrantJson(grant));
            }
            for (Grant const& grant : granting) {
                grantedBy.push_back(GrantJson(grant));
                grantedBy.back()["held"] = grant.held;
            }
            PrintJson({{"user", user.name},
                       {"entitlement", std::string(entitlement.GetName())},
                       {"entitlementId", id},
                       {"roles", roles},
                       {"mask", together},
                       {"actions", ActionArray(together)},
                       {"application", application},
                       {"applicationRole", application.empty() ? Json() : GrantJson(appRole)},
                       {"action", focus == 0 ? "" : DescribeMask(focus)},
                       {"allowedActions", ActionArray(allowed)},
                       {"deniedActions", ActionArray(denied)},
                       {"grantedBy", grantedBy}},
                      io);
            return kExitOk;
        }
        io.out << user.name << " on " << entitlement.GetName() << " (entitlement " << id << "):\n";
        if (grants.empty()) {
            io.out << "  holds no role, so may do nothing\n";
        } else {
            grants.push_back({-1, "together", together, false});
            PrintGrants(grants, 8, false, io);
        }
        if (!application.empty()) {
            io.out << "while " << application << " acts, only its role " << appRole.name
                   << " counts: " << DescribeGrant(appRole.mask) << "\n";
        }
        std::string const who = application.empty() ? user.name : application + " for " + user.name;
        if (denied == 0) {
            if (focus != 0) {
                io.out << "allowed: " << who << " may " << DescribeMask(focus) << " "
                       << entitlement.GetName() << "\n";
            }
            return kExitOk;
        }
        bool const one = (denied & (denied - 1)) == 0;
        io.out << "denied: " << who << " may not " << DescribeMask(denied) << " "
               << entitlement.GetName() << "; ";
        if (granting.empty()) {
            io.out << "no role grants " << (one ? "it" : "them") << "\n";
            return kExitOk;
        }
        io.out << "the roles that grant " << (one ? "it" : "any of them") << ":\n";
        PrintGrants(granting, 0, true, io);
        return kExitOk;
    });
}

} // namespace Pmctl
