// pmctl check and explain: the access decision as the host meets it, and
// where a user's rights on one entitlement come from.
#include "Actions.h"
#include "CommandSupport.h"

#include <PM/PermissionManager.h>

#include <host/catalogue/Catalogue.h>

#include <iomanip>

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
        long mask = ActionMask(action);
        if (mask == 0) {
            std::string error;
            long ignored = 0;
            ParseActions(action, &ignored, &error);
            Complain(io, args.file)
                << (error.empty() ? "check asks about one action, not \"" + action + "\"" : error)
                << "\n";
            return kExitBadInput;
        }
        if (!application.empty()) {
            std::string known;
            bool found = false;
            for (Host::CatalogueApplicationInfo const& app :
                 Host::GetCatalogueInfo().applications) {
                found = found || app.id == application;
                known += (known.empty() ? "" : ", ") + app.id;
            }
            if (!found) {
                Complain(io, args.file)
                    << "no integrated application named \"" << application
                    << "\" in the catalogue (applications: " << (known.empty() ? "none" : known)
                    << ")\n";
                return kExitBadInput;
            }
        }
        PM::PermissionManager& manager = session.Manager();
        if (manager.EstablishUser(user.userId) != PM_OK) {
            Complain(io, args.file) << "cannot establish the user " << user.name << "\n";
            return kExitFailed;
        }
        if (!application.empty() && manager.SetContext(application.c_str()).Failed()) {
            Complain(io, args.file) << "cannot act as " << application << "\n";
            return kExitFailed;
        }
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

int ExplainCommand(FileArgs const& args, std::string const& userText,
                   std::string const& entitlementText, Io io) {
    return RunRead(args, io, [&](Session& session) {
        Host::CompanyUser user;
        PM::EntitlementDef entitlement;
        if (!FindUser(session, userText, &user, io) ||
            !FindEntitlement(session, entitlementText, &entitlement, io)) {
            return kExitBadInput;
        }
        struct Grant {
            int role;
            std::string name;
            long mask;
        };
        std::vector<Grant> grants;
        long together = 0;
        for (int role : UserRoleIds(session, user.userId)) {
            long mask = RoleMask(session, role, entitlement.GetId());
            grants.push_back({role, RoleName(session, role), mask});
            together |= mask;
        }
        if (args.json) {
            Json roles = Json::array();
            for (Grant const& grant : grants) {
                roles.push_back({{"id", grant.role},
                                 {"name", grant.name},
                                 {"mask", grant.mask},
                                 {"actions", ActionArray(grant.mask)}});
            }
            PrintJson({{"user", user.name},
                       {"entitlement", std::string(entitlement.GetName())},
                       {"entitlementId", entitlement.GetId()},
                       {"roles", roles},
                       {"mask", together},
                       {"actions", ActionArray(together)}},
                      io);
            return kExitOk;
        }
        io.out << user.name << " on " << entitlement.GetName() << " (entitlement "
               << entitlement.GetId() << "):\n";
        if (grants.empty()) {
            io.out << "  holds no role, so may do nothing\n";
            return kExitOk;
        }
        std::size_t width = 8;
        for (Grant const& grant : grants) {
            width = std::max(width, grant.name.size());
        }
        for (Grant const& grant : grants) {
            io.out << "  " << std::left << std::setw(static_cast<int>(width) + 2) << grant.name
                   << DescribeGrant(grant.mask) << "\n";
        }
        io.out << "  " << std::setw(static_cast<int>(width) + 2) << "together"
               << DescribeGrant(together) << "\n";
        return kExitOk;
    });
}

} // namespace Pmctl
