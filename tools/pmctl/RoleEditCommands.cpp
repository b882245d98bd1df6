// pmctl roles list and edit: the role listing, and a role's grants saved.
#include "Actions.h"
#include "CommandSupport.h"
#include "RoleGrants.h"

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <iomanip>

namespace Pmctl {

int RolesListCommand(FileArgs const& args, bool all, Io io) {
    return RunRead(args, io, [&](Session& session) {
        PM::PermissionManager& manager = session.Manager();
        std::unique_ptr<std::vector<PM::RoleDef>> roles(manager.GetAvailableRoles(
            PM::kListIncludeAdmin, all ? PM::kListIncludeInvisible : PM::kListExcludeInvisible));
        if (roles == nullptr) {
            Complain(io, args.file) << "cannot list the roles\n";
            return kExitFailed;
        }
        auto users = [&](int roleId) {
            std::unique_ptr<std::vector<int>> ids(manager.GetUsersUsingRole(roleId));
            return ids == nullptr ? 0 : static_cast<int>(ids->size());
        };
        // Full access as a reader takes it: the six actions on every visible
        // entitlement. The library's own full-access flag says less (some
        // action on one of the reports of every transaction); JSON gives it
        // under that meaning.
        auto fullAccess = [&](int roleId) {
            std::unique_ptr<std::vector<PM::EntitlementDef>> rows(
                manager.GetSortedEntitlements(roleId));
            bool every = rows != nullptr && !rows->empty();
            for (std::size_t i = 0; every && i < rows->size(); ++i) {
                every = (*rows)[i].IsActionFull();
            }
            return every;
        };
        if (args.json) {
            Json list = Json::array();
            for (PM::RoleDef const& role : *roles) {
                list.push_back({{"id", role.GetId()},
                                {"name", std::string(role.GetName())},
                                {"description", std::string(role.GetDescription())},
                                {"visible", role.GetVisible()},
                                {"fullAccess", fullAccess(role.GetId())},
                                {"allTransactionsReports", role.GetIsFullAccess()},
                                {"connected", role.GetIsConnectedRole()},
                                {"users", users(role.GetId())}});
            }
            PrintJson(list, io);
            return kExitOk;
        }
        io.out << std::left << std::setw(5) << "id" << std::setw(31) << "role" << std::setw(7)
               << "users"
               << "notes\n";
        for (PM::RoleDef const& role : *roles) {
            std::string notes;
            notes += role.GetVisible() ? "" : " invisible";
            notes += fullAccess(role.GetId()) ? " full-access" : "";
            notes += role.GetIsConnectedRole() ? " connected" : "";
            io.out << std::setw(5) << role.GetId() << std::setw(31) << role.GetName()
                   << std::setw(7) << users(role.GetId()) << notes.substr(notes.empty() ? 0 : 1)
                   << "\n";
        }
        return kExitOk;
    });
}

int RolesEditCommand(FileArgs const& args, std::string const& roleText,
                     std::vector<std::string> const& grantTexts, std::string const& jsonFile,
                     bool recursive, Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        int roleId = -1;
        std::string roleName;
        if (!FindRole(session, roleText, &roleId, &roleName, io)) {
            return kExitBadInput;
        }
        PM::PermissionManager& manager = session.Manager();
        std::unique_ptr<PM::RoleDef> role(manager.GetRoleDef(roleId));
        if (role == nullptr) {
            Complain(io, args.file) << "cannot read the role " << roleName << "\n";
            return kExitFailed;
        }
        if (role->isRoleAdmin()) {
            Complain(io, args.file) << "the role " << roleName
                                    << " holds every action on everything and cannot be edited\n";
            return kExitBadInput;
        }
        std::vector<Grant> grants(grantTexts.size());
        for (std::size_t i = 0; i < grantTexts.size(); ++i) {
            if (!ParseGrant(args.file, grantTexts[i], &grants[i], io)) {
                return kExitBadInput;
            }
        }
        if (!jsonFile.empty() && !ReadJsonGrants(jsonFile, &grants, io)) {
            return kExitBadInput;
        }
        if (grants.empty()) {
            Complain(io, args.file) << "nothing to change: give --grant or --from-json\n";
            return kExitBadInput;
        }
        // Every entitlement is found, and named once, before the role is written.
        std::vector<GrantedRow> granted;
        if (!ResolveGrants(session, roleId, grants, recursive, &granted, io)) {
            return kExitBadInput;
        }
        std::vector<PM::EntitlementDef> rows(granted.size());
        std::vector<long> before;
        for (std::size_t i = 0; i < granted.size(); ++i) {
            rows[i].SetId(granted[i].id);
            rows[i].SetAction(static_cast<int>(granted[i].mask));
            before.push_back(RoleMask(session, roleId, granted[i].id));
        }
        int result = manager.SetRoleEntitlements(*role, rows);
        if (result < 0) {
            Complain(io, args.file)
                << "the role " << roleName << " could not be saved (" << Result(result) << ")\n";
            return kExitFailed;
        }
        // Each entitlement named and each that changed, when they are a short
        // list; otherwise how many changed. The rest is counted.
        std::vector<long> after;
        std::size_t changed = 0, listed = 0;
        for (std::size_t i = 0; i < granted.size(); ++i) {
            after.push_back(RoleMask(session, roleId, granted[i].id));
            changed += after[i] != before[i];
            listed += granted[i].named || after[i] != before[i];
        }
        std::size_t const kListed = 20;
        io.out << "saved the role " << roleName << ":\n";
        for (std::size_t i = 0; i < granted.size() && listed <= kListed; ++i) {
            if (granted[i].named || after[i] != before[i]) {
                io.out << "  " << granted[i].fullName << ": " << DescribeGrant(after[i]);
                io.out << (after[i] == before[i] ? "" : " (was " + DescribeGrant(before[i]) + ")")
                       << "\n";
            }
        }
        if (listed > kListed && changed != 0) {
            io.out << "  " << changed << (changed == 1 ? " entitlement" : " entitlements")
                   << " changed (roles show lists them)\n";
        }
        std::size_t held = granted.size() - (listed > kListed ? changed : listed);
        if (held != 0) {
            io.out << "  " << held << (listed > kListed ? "" : " more")
                   << (held == 1 ? " entitlement" : " entitlements") << " held that already\n";
        }
        if (manager.IsConnectedEntitlementsEdited()) {
            io.out << "  a connected entitlement changed: the role's connected-role state was "
                      "recomputed\n";
        }
        return kExitOk;
    });
}

} // namespace Pmctl
