// pmctl roles create, copy, rename and describe: a role's record (name and
// description), saved through the library's one way of saving a role.
#include "CommandSupport.h"

#include <host/catalogue/Catalogue.h>

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <Records/RecordText.h>

#include <strings.h>

namespace Pmctl {

namespace {

// A name the library saves for a role, which no role but self (-1: none)
// holds, compared without case as the library compares names. False with the
// reason on io.err.
bool CheckRoleName(Session& session, std::string const& name, int self, Io io) {
    std::string error;
    if (!CheckName("role name", name, &error)) {
        Complain(io, session.Path()) << error << "\n";
        return false;
    }
    int number = -1;
    if (ParseHashId(name, &number)) {
        Complain(io, session.Path())
            << "a role name cannot be \"" << name << "\": #N names the role whose id is N\n";
        return false;
    }
    if (name.size() > static_cast<std::size_t>(PM::kMaxRoleNameLength)) {
        Complain(io, session.Path()) << "a role name has 1 to " << PM::kMaxRoleNameLength
                                     << " characters: \"" << name << "\"\n";
        return false;
    }
    int holder = session.Manager().LookupRole(name.c_str());
    if (holder != PM_ERROR && holder != self) {
        Complain(io, session.Path()) << "there is a role named \"" << name << "\" already\n";
        return false;
    }
    return true;
}

// A description the company file keeps as it is: empty, or a name-like text
// that fits the record's text field (a longer one would be stored empty).
bool CheckDescription(Session& session, std::string const& description, Io io) {
    std::string error;
    if (!description.empty() && !CheckName("description", description, &error)) {
        Complain(io, session.Path()) << error << "\n";
        return false;
    }
    if (description.size() >= static_cast<std::size_t>(kRecordTextBufferSize)) {
        Complain(io, session.Path()) << "a description has at most " << kRecordTextBufferSize - 1
                                     << " bytes; this one has " << description.size() << "\n";
        return false;
    }
    return true;
}

// Saves role with the masks of rows; the role's id, or a negative result
// with the reason on io.err.
int Save(Session& session, PM::RoleDef& role, std::vector<PM::EntitlementDef>& rows, Io io) {
    int result = session.Manager().SetRoleEntitlements(role, rows);
    if (result < 0) {
        Complain(io, session.Path())
            << "the role " << role.GetName() << " could not be saved (" << Result(result) << ")\n";
    }
    return result;
}

// A new role named name: like the role named likeText, with its actions on
// every entitlement and its description, or (likeText empty) with no action
// anywhere; description, when given, replaces the description. Exit code;
// the new role's id in *id, the like role's name in *likeName.
int CreateRole(Session& session, std::string const& name, std::string const& likeText,
               std::optional<std::string> const& description, int* id, std::string* likeName,
               Io io) {
    std::string error;
    if (!CheckName("role name", name, &error)) {
        Complain(io, session.Path()) << error << "\n";
        return kExitBadInput;
    }
    PM::PermissionManager& manager = session.Manager();
    int likeId = -1;
    if (!likeText.empty() && !FindRole(session, likeText, &likeId, likeName, io)) {
        return kExitBadInput;
    }
    if (!CheckRoleName(session, name, -1, io) ||
        (description && !CheckDescription(session, *description, io))) {
        return kExitBadInput;
    }
    std::unique_ptr<PM::RoleDef> like(likeId < 0 ? new PM::RoleDef() : manager.GetRoleDef(likeId));
    // A new role gets a mask on every entitlement: the like role's, or 0.
    std::unique_ptr<std::vector<PM::EntitlementDef>> rows(
        manager.GetEntitlements(likeId, -1, false));
    if (like == nullptr || rows == nullptr) {
        Complain(io, session.Path()) << "cannot read the role " << *likeName << "\n";
        return kExitFailed;
    }
    for (PM::EntitlementDef& row : *rows) {
        row.SetAction(likeId < 0 ? 0 : row.GetAction());
    }
    PM::RoleDef role;
    role.SetName(name.c_str());
    role.SetDescription(description ? TString(description->c_str()) : like->GetDescription());
    // The catalogue's roles have category 0.
    role.SetCategory(likeId < 0 ? 0 : like->GetCategory());
    *id = Save(session, role, *rows, io);
    return *id < 0 ? kExitFailed : kExitOk;
}

// Finds the role named roleText and its record: exit code.
int ReadRole(Session& session, std::string const& roleText, std::unique_ptr<PM::RoleDef>* role,
             Io io) {
    int roleId = -1;
    std::string roleName;
    if (!FindRole(session, roleText, &roleId, &roleName, io)) {
        return kExitBadInput;
    }
    role->reset(session.Manager().GetRoleDef(roleId));
    if (*role == nullptr) {
        Complain(io, session.Path()) << "cannot read the role " << roleName << "\n";
        return kExitFailed;
    }
    return kExitOk;
}

// The role Admin: the library saves no role of that name, and knows the role
// by that name alone. change: what cannot be done to it.
bool RefusedForAdmin(Session& session, PM::RoleDef& role, char const* change, Io io) {
    if (role.isRoleAdmin()) {
        Complain(io, session.Path())
            << "the role " << role.GetName()
            << " holds every action on everything and cannot be edited, " << change << "\n";
        return true;
    }
    return false;
}

} // namespace

int RolesCreateCommand(FileArgs const& args, std::string const& name, std::string const& like,
                       std::optional<std::string> const& description, Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        int id = -1;
        std::string likeName;
        int code = CreateRole(session, name, like, description, &id, &likeName, io);
        if (code == kExitOk) {
            io.out << "created the role " << name << " (role " << id << ")";
            io.out << (like.empty() ? ", with no action anywhere" : ", with the actions of ")
                   << likeName << "\n";
        }
        return code;
    });
}

int RolesCopyCommand(FileArgs const& args, std::string const& source, std::string const& name,
                     Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        int id = -1;
        std::string sourceName;
        int code = CreateRole(session, name, source, std::nullopt, &id, &sourceName, io);
        if (code == kExitOk) {
            io.out << "copied " << sourceName << " to " << name << " (role " << id << ")\n";
        }
        return code;
    });
}

namespace {

// The integrated application that acts under the role of this name, or ""
// when none does: the library finds an application's role by its name, and
// makes a new one with the catalogue's defaults when it is not there.
std::string ApplicationActingAs(std::string const& roleName) {
    Host::CatalogueInfo const info = Host::GetCatalogueInfo();
    for (Host::CatalogueApplicationInfo const& app : info.applications) {
        for (Host::CatalogueRoleInfo const& role : info.roles) {
            if (!app.useRole.empty() && role.id == app.useRole &&
                strcasecmp(role.name.c_str(), roleName.c_str()) == 0) {
                return app.id;
            }
        }
    }
    return std::string();
}

} // namespace

int RolesRenameCommand(FileArgs const& args, std::string const& roleText,
                       std::string const& newName, Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        std::unique_ptr<PM::RoleDef> role;
        int code = ReadRole(session, roleText, &role, io);
        if (code != kExitOk ||
            RefusedForAdmin(session, *role, "nor renamed: it is known by that name", io)) {
            return code != kExitOk ? code : kExitBadInput;
        }
        std::string const oldName(role->GetName());
        if (role->isRoleExternalAccountant() && !args.force) {
            Complain(io, args.file) << "the role " << oldName
                                    << " is one of the two predefined roles that the office "
                                       "needs, known by its name; --force renames it anyway\n";
            return kExitBadInput;
        }
        std::string const application = ApplicationActingAs(oldName);
        if (!application.empty() && !args.force) {
            Complain(io, args.file) << "the role " << oldName << " is the one that " << application
                                    << " acts under, found by its name; renamed, " << application
                                    << " would get a new role with the catalogue's defaults; "
                                       "--force renames it anyway\n";
            return kExitBadInput;
        }
        if (!CheckRoleName(session, newName, role->GetId(), io)) {
            return kExitBadInput;
        }
        if (newName == oldName) {
            io.out << "the role " << oldName << " (role " << role->GetId()
                   << ") has that name already\n";
            return kExitOk;
        }
        role->SetName(newName.c_str());
        std::vector<PM::EntitlementDef> grantsKept;
        if (Save(session, *role, grantsKept, io) < 0) {
            return kExitFailed;
        }
        io.out << "renamed the role " << oldName << " to " << newName << " (role " << role->GetId()
               << ")\n";
        return kExitOk;
    });
}

int RolesDescribeCommand(FileArgs const& args, std::string const& roleText,
                         std::string const& description, Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        std::unique_ptr<PM::RoleDef> role;
        int code = ReadRole(session, roleText, &role, io);
        if (code != kExitOk || RefusedForAdmin(session, *role, "nor described anew", io)) {
            return code != kExitOk ? code : kExitBadInput;
        }
        if (!CheckDescription(session, description, io)) {
            return kExitBadInput;
        }
        role->SetDescription(description.c_str());
        std::vector<PM::EntitlementDef> grantsKept;
        if (Save(session, *role, grantsKept, io) < 0) {
            return kExitFailed;
        }
        io.out << (description.empty() ? "cleared the description of " : "described ")
               << "the role " << role->GetName() << " (role " << role->GetId() << ")";
        io.out << (description.empty() ? "" : ": " + description) << "\n";
        return kExitOk;
    });
}

} // namespace Pmctl
