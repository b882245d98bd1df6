// pmctl users, assign and unassign: the company's users and their roles.
#include "CommandSupport.h"

#include <PM/PermissionManager.h>

#include <algorithm>
#include <iomanip>
#include <memory>
#include <strings.h>

namespace Pmctl {

namespace {

bool Holds(std::vector<int> const& roles, int roleId) {
    return std::find(roles.begin(), roles.end(), roleId) != roles.end();
}

std::string JoinRoleNames(Session& session, std::vector<int> const& roles) {
    std::string names;
    for (int role : roles) {
        names += (names.empty() ? "" : ", ") + RoleName(session, role);
    }
    return names.empty() ? "-" : names;
}

} // namespace

int UsersListCommand(FileArgs const& args, Io io) {
    return RunRead(args, io, [&](Session& session) {
        std::vector<Host::CompanyUser> users = Host::ListCompanyUsers();
        if (args.json) {
            Json list = Json::array();
            for (Host::CompanyUser const& user : users) {
                Json roles = Json::array();
                for (int role : UserRoleIds(session, user.userId)) {
                    roles.push_back({{"id", role}, {"name", RoleName(session, role)}});
                }
                list.push_back({{"id", user.userId},
                                {"name", user.name},
                                {"admin", user.isAdmin},
                                {"roles", roles}});
            }
            PrintJson(list, io);
            return kExitOk;
        }
        std::size_t width = 4;
        for (Host::CompanyUser const& user : users) {
            width = std::max(width, user.name.size());
        }
        io.out << std::left << std::setw(6) << "id" << std::setw(static_cast<int>(width) + 2)
               << "user" << std::setw(7) << "admin"
               << "roles\n";
        for (Host::CompanyUser const& user : users) {
            io.out << std::setw(6) << user.userId << std::setw(static_cast<int>(width) + 2)
                   << user.name << std::setw(7) << (user.isAdmin ? "yes" : "")
                   << JoinRoleNames(session, UserRoleIds(session, user.userId)) << "\n";
        }
        return kExitOk;
    });
}

int UsersAddCommand(FileArgs const& args, std::string const& name, bool isAdmin, Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        std::string error;
        if (!CheckName("user name", name, &error)) {
            Complain(io, args.file) << error << "\n";
            return kExitBadInput;
        }
        int number = -1;
        if (ParseHashId(name, &number)) {
            Complain(io, args.file)
                << "a user name cannot be \"" << name << "\": #N names the user whose id is N\n";
            return kExitBadInput;
        }
        for (Host::CompanyUser const& user : Host::ListCompanyUsers()) {
            if (strcasecmp(user.name.c_str(), name.c_str()) == 0) {
                Complain(io, args.file)
                    << "there is a user named \"" << user.name << "\" already"
                    << (user.name == name ? ""
                                          : " (user names are compared without regard to case)")
                    << "\n";
                return kExitBadInput;
            }
        }
        // An administrator of the company file who holds no role may do
        // nothing that the permission manager decides: --admin gives Admin.
        PM::PermissionManager& manager = session.Manager();
        int adminRole = -1;
        for (PM::RoleObject const& role : *manager.GetRoleCache()) {
            std::unique_ptr<PM::RoleDef> def(manager.GetRoleDef(role.GetId()));
            if (adminRole < 0 && def != nullptr && def->isRoleAdmin()) {
                adminRole = role.GetId();
            }
        }
        if (isAdmin && adminRole < 0) {
            Complain(io, args.file)
                << "there is no Admin role to give \"" << name << "\"; nothing was changed\n";
            return kExitFailed;
        }
        std::string why;
        int userId = Host::AddCompanyUser(name, isAdmin, &why);
        if (userId == -1) {
            Complain(io, args.file) << "cannot add the user \"" << name << "\": " << why << "\n";
            return kExitFailed;
        }
        int result = isAdmin ? manager.SetRoleForUser(userId, adminRole) : PM_OK;
        if (result != PM_OK) {
            Complain(io, args.file)
                << "cannot give " << name << " the role " << RoleName(session, adminRole) << " ("
                << Result(result) << "); nothing was changed\n";
            return kExitFailed;
        }
        io.out << "added user " << name << " (id " << userId << (isAdmin ? ", administrator" : "")
               << "); the user holds "
               << (isAdmin ? RoleName(session, adminRole) : std::string("no role yet")) << "\n";
        return kExitOk;
    });
}

int UsersRemoveCommand(FileArgs const& args, std::string const& userText, Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        Host::CompanyUser user;
        if (!FindUser(session, userText, &user, io)) {
            return kExitBadInput;
        }
        std::vector<Host::CompanyUser> users = Host::ListCompanyUsers();
        bool otherAdmin = std::any_of(users.begin(), users.end(), [&](Host::CompanyUser const& u) {
            return u.isAdmin && u.userId != user.userId;
        });
        if (user.isAdmin && !otherAdmin) {
            Complain(io, args.file)
                << user.name << " is the only administrator and cannot be removed\n";
            return kExitBadInput;
        }
        if (!KeepsAnAdminHolder(session, args, user, UserRoleIds(session, user.userId), io)) {
            return kExitBadInput;
        }
        // The assignments are filed under the user's record key, which goes
        // with the user: purged first, while the key can still be found, and
        // in the same change, so that no assignment outlives its user.
        int result = session.Manager().PurgeUserOfRoles(user.userId);
        if (result != PM_OK) {
            Complain(io, args.file)
                << "cannot take the roles of " << user.name << " away (" << Result(result) << ")\n";
            return kExitFailed;
        }
        if (!Host::RemoveCompanyUser(user.userId)) {
            Complain(io, args.file) << "cannot remove the user " << user.name << "\n";
            return kExitFailed;
        }
        io.out << "removed user " << user.name << " (id " << user.userId << ")\n";
        return kExitOk;
    });
}

int AssignCommand(FileArgs const& args, std::string const& userText, std::string const& roleText,
                  Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        Host::CompanyUser user;
        int roleId = -1;
        std::string roleName;
        if (!FindUser(session, userText, &user, io) ||
            !FindRole(session, roleText, &roleId, &roleName, io)) {
            return kExitBadInput;
        }
        if (Holds(UserRoleIds(session, user.userId), roleId)) {
            io.out << user.name << " holds " << roleName << " already\n";
            return kExitOk;
        }
        int result = session.Manager().SetRoleForUser(user.userId, roleId);
        if (result != PM_OK) {
            Complain(io, args.file) << "cannot give " << user.name << " the role " << roleName
                                    << " (" << Result(result) << ")\n";
            return kExitFailed;
        }
        io.out << user.name << " now holds "
               << JoinRoleNames(session, UserRoleIds(session, user.userId)) << "\n";
        return kExitOk;
    });
}

int UnassignCommand(FileArgs const& args, std::string const& userText, std::string const& roleText,
                    Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        Host::CompanyUser user;
        int roleId = -1;
        std::string roleName;
        if (!FindUser(session, userText, &user, io) ||
            (!roleText.empty() && !FindRole(session, roleText, &roleId, &roleName, io))) {
            return kExitBadInput;
        }
        std::vector<int> held = UserRoleIds(session, user.userId);
        if (!roleText.empty() && !Holds(held, roleId)) {
            Complain(io, args.file) << user.name << " does not hold the role " << roleName << "\n";
            return kExitBadInput;
        }
        std::vector<int> taken = roleText.empty() ? held : std::vector<int>{roleId};
        if (!KeepsAnAdminHolder(session, args, user, taken, io)) {
            return kExitBadInput;
        }
        PM::PermissionManager& manager = session.Manager();
        // The store deletes assignments by user or by role only, never one
        // pair: to take one role away, purge all of the user's roles and give
        // back the others, all in this one change.
        int result = manager.PurgeUserOfRoles(user.userId);
        for (int role : held) {
            if (result == PM_OK && role != roleId && !roleText.empty()) {
                result = manager.SetRoleForUser(user.userId, role);
            }
        }
        if (result != PM_OK) {
            Complain(io, args.file)
                << "the roles of " << user.name << " could not be written back (" << Result(result)
                << "); nothing was changed\n";
            return kExitFailed;
        }
        std::vector<int> now = UserRoleIds(session, user.userId);
        io.out << user.name << " now holds "
               << (now.empty() ? "no role" : JoinRoleNames(session, now)) << "\n";
        return kExitOk;
    });
}

} // namespace Pmctl
