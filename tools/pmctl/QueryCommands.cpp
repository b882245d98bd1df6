// pmctl who-can and rights: the access decision asked the other way round,
// for every user of an entitlement and for every entitlement of a user. The
// answers are the library's (EstablishUser, then IsAccessAllowed); the roles
// shown beside them explain where they come from.
#include "Acting.h"
#include "Actions.h"
#include "CommandSupport.h"
#include "EntitlementTree.h"

#include <PM/PermissionManager.h>

#include <algorithm>
#include <iomanip>

namespace Pmctl {

namespace {

struct RoleGrant {
    int role;
    std::string name;
    long mask;
};

// One user who may: what the library allows, and the user's roles that
// grant what was asked.
struct Holder {
    Host::CompanyUser user;
    long allowed;
    std::vector<RoleGrant> through;
};

Json RoleGrantJson(RoleGrant const& grant) {
    return {{"id", grant.role},
            {"name", grant.name},
            {"mask", grant.mask},
            {"actions", ActionArray(grant.mask)}};
}

void PrintHolders(std::vector<Holder> const& holders, Io io) {
    if (holders.empty()) {
        io.out << "  nobody\n";
        return;
    }
    std::size_t name = 0, actions = 0;
    for (Holder const& holder : holders) {
        name = std::max(name, holder.user.name.size());
        actions = std::max(actions, DescribeGrant(holder.allowed).size());
    }
    for (Holder const& holder : holders) {
        std::string roles;
        for (RoleGrant const& grant : holder.through) {
            roles += (roles.empty() ? "" : ", ") + grant.name;
        }
        io.out << "  " << std::left << std::setw(static_cast<int>(name) + 2) << holder.user.name
               << std::setw(static_cast<int>(actions) + 2) << DescribeGrant(holder.allowed)
               << (roles.empty() ? "" : "through " + roles) << "\n";
    }
}

} // namespace

int WhoCanCommand(FileArgs const& args, std::string const& entitlementText,
                  std::string const& action, std::string const& application, Io io) {
    return RunRead(args, io, [&](Session& session) {
        PM::EntitlementDef entitlement;
        if (!FindEntitlement(session, entitlementText, &entitlement, io) ||
            !CheckApplication(args, application, io)) {
            return kExitBadInput;
        }
        long asked = 0;
        if (!action.empty() && !ParseOneAction(args, "who-can", action, &asked, io)) {
            return kExitBadInput;
        }
        int const id = entitlement.GetId();
        std::vector<Holder> holders;
        for (Host::CompanyUser const& user : Host::ListCompanyUsers()) {
            if (!EstablishAs(args, session, user, application, io)) {
                return kExitFailed;
            }
            // Without an action: anything at all, the custom action too.
            long allowed = AllowedMask(session, id);
            // The next user is established under no application's context.
            if (!application.empty()) {
                session.Manager().RestoreContext();
            }
            if ((asked == 0 ? allowed : allowed & asked) == 0) {
                continue;
            }
            Holder holder{user, allowed, {}};
            // While an application acts, what it may do comes through its
            // role alone.
            std::vector<int> roles = UserRoleIds(session, user.userId);
            if (!application.empty()) {
                roles = {ApplicationRoleId(session, application)};
            }
            for (int role : roles) {
                long mask = RoleMask(session, role, id);
                if ((asked == 0 ? mask : mask & asked) != 0) {
                    holder.through.push_back({role, RoleName(session, role), mask});
                }
            }
            holders.push_back(holder);
        }
        if (args.json) {
            Json users = Json::array();
            for (Holder const& holder : holders) {
                Json roles = Json::array();
                for (RoleGrant const& grant : holder.through) {
                    roles.push_back(RoleGrantJson(grant));
                }
                users.push_back({{"id", holder.user.userId},
                                 {"name", holder.user.name},
                                 {"mask", holder.allowed},
                                 {"actions", ActionArray(holder.allowed)},
                                 {"roles", roles}});
            }
            PrintJson({{"entitlement", std::string(entitlement.GetName())},
                       {"entitlementId", id},
                       {"action", asked == 0 ? "" : DescribeMask(asked)},
                       {"application", application},
                       {"users", users}},
                      io);
            return kExitOk;
        }
        io.out << "who may " << (asked == 0 ? "do anything on" : DescribeMask(asked)) << " "
               << entitlement.GetName() << " (entitlement " << id << ")"
               << (application.empty() ? "" : " while " + application + " acts") << ":\n";
        PrintHolders(holders, io);
        return kExitOk;
    });
}

int RightsCommand(FileArgs const& args, std::string const& userText, std::string const& application,
                  Io io) {
    return RunRead(args, io, [&](Session& session) {
        Host::CompanyUser user;
        if (!FindUser(session, userText, &user, io) || !CheckApplication(args, application, io)) {
            return kExitBadInput;
        }
        std::vector<TreeRow> rows;
        if (!RoleTree(session, -1, &rows)) {
            Complain(io, args.file) << "cannot list the entitlements\n";
            return kExitFailed;
        }
        // One table built, then questions answered from memory: a few per row
        // even at thousands of bank accounts.
        if (!EstablishAs(args, session, user, application, io)) {
            return kExitFailed;
        }
        for (TreeRow& row : rows) {
            row.mask = AllowedMask(session, row.id);
        }
        std::vector<RoleGrant> roles;
        if (application.empty()) {
            for (int role : UserRoleIds(session, user.userId)) {
                roles.push_back({role, RoleName(session, role), 0});
            }
        } else {
            int role = ApplicationRoleId(session, application);
            roles.push_back({role, RoleName(session, role), 0});
        }
        if (args.json) {
            Json list = Json::array(), held = Json::array();
            for (RoleGrant const& role : roles) {
                held.push_back({{"id", role.role}, {"name", role.name}});
            }
            for (TreeRow const& row : rows) {
                list.push_back({{"id", row.id},
                                {"name", row.name},
                                {"fullName", row.fullName},
                                {"depth", row.depth},
                                {"mask", row.mask},
                                {"actions", ActionArray(row.mask)}});
            }
            PrintJson({{"user", {{"id", user.userId}, {"name", user.name}}},
                       {"application", application},
                       {"roles", held},
                       {"entitlements", list}},
                      io);
            return kExitOk;
        }
        std::string names;
        for (RoleGrant const& role : roles) {
            names += (names.empty() ? "" : ", ") + role.name;
        }
        if (application.empty()) {
            io.out << user.name << " (user " << user.userId << "; "
                   << (roles.empty() ? "no role" : "roles: " + names) << ")\n";
        } else {
            io.out << application << " for " << user.name << " (its role " << names << ")\n";
        }
        PrintTree(rows, io.out);
        return kExitOk;
    });
}

} // namespace Pmctl
