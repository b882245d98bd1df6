// pmctl roles show and roles delete.
#include "Actions.h"
#include "CommandSupport.h"
#include "EntitlementTree.h"

#include <PM/PermissionManager.h>

namespace Pmctl {

int RolesShowCommand(FileArgs const& args, std::string const& roleText, Io io) {
    return RunRead(args, io, [&](Session& session) {
        int roleId = -1;
        std::string roleName;
        if (!FindRole(session, roleText, &roleId, &roleName, io)) {
            return kExitBadInput;
        }
        std::vector<TreeRow> rows;
        if (!RoleTree(session, roleId, &rows)) {
            Complain(io, args.file) << "cannot list the entitlements of " << roleName << "\n";
            return kExitFailed;
        }
        if (args.json) {
            Json list = Json::array();
            for (TreeRow const& row : rows) {
                list.push_back({{"id", row.id},
                                {"name", row.name},
                                {"fullName", row.fullName},
                                {"parent", row.parent},
                                {"depth", row.depth},
                                {"mask", row.mask},
                                {"actions", ActionArray(row.mask)}});
            }
            PrintJson({{"role", {{"id", roleId}, {"name", roleName}}}, {"entitlements", list}}, io);
            return kExitOk;
        }
        io.out << roleName << " (role " << roleId << ")\n";
        PrintTree(rows, io.out);
        return kExitOk;
    });
}

int RolesDeleteCommand(FileArgs const& args, std::string const& roleText, Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        int roleId = -1;
        std::string roleName;
        if (!FindRole(session, roleText, &roleId, &roleName, io)) {
            return kExitBadInput;
        }
        PM::PermissionManager& manager = session.Manager();
        std::unique_ptr<PM::RoleDef> role(manager.GetRoleDef(roleId));
        if (role != nullptr && (role->isRoleAdmin() || role->isRoleExternalAccountant()) &&
            !args.force) {
            Complain(io, args.file) << "the role " << roleName
                                    << " is one of the two predefined roles that the office "
                                       "needs; --force deletes it anyway\n";
            return kExitBadInput;
        }
        std::unique_ptr<std::vector<int>> users(manager.GetUsersUsingRole(roleId));
        int result = manager.DeleteRole(roleId);
        if (result != PM_OK) {
            Complain(io, args.file)
                << "cannot delete the role " << roleName << " (" << Result(result) << ")\n";
            return kExitFailed;
        }
        io.out << "deleted the role " << roleName << " (role " << roleId << ")";
        if (users != nullptr && !users->empty()) {
            std::vector<Host::CompanyUser> const everyone = Host::ListCompanyUsers();
            std::string names;
            for (int userId : *users) {
                std::string name = "user " + std::to_string(userId);
                for (Host::CompanyUser const& user : everyone) {
                    name = user.userId == userId ? user.name : name;
                }
                names += (names.empty() ? "" : ", ") + name;
            }
            io.out << "; it was taken from " << names;
        }
        io.out << "\n";
        return kExitOk;
    });
}

} // namespace Pmctl
