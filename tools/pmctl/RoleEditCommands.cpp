// pmctl roles list, edit and copy: the role listing and the one way the
// library saves a role and its grants.
#include "Actions.h"
#include "CommandSupport.h"

#include <host/json/StrictJson.h>

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>

namespace Pmctl {

namespace {

namespace StrictJson = Host::StrictJson;

// One grant asked for: the entitlement as it was named, and the new mask.
struct Grant {
    std::string named;
    long mask;
};

// The mask that value at where stands for: an array of action words, a string
// of words or a mask from 0 to 127.
long ReadMask(StrictJson::Value const& value, std::string const& where) {
    if (value.is_number_integer() && value.get<long>() >= 0 && value.get<long>() <= 127) {
        return value.get<long>();
    }
    if (value.is_number()) {
        StrictJson::Fail(where, "mask " + value.dump() +
                                    " is not an action (masks are whole numbers from 0 to 127)");
    }
    std::string words;
    if (value.is_string()) {
        words = StrictJson::TextOf(value, where);
    } else if (value.is_array()) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            words +=
                (i == 0 ? "" : ",") + StrictJson::TextOf(value[i], StrictJson::Element(where, i));
        }
        words = value.empty() ? "none" : words;
    }
    long mask = 0;
    std::string error;
    if (!ParseActions(words, &mask, &error)) {
        StrictJson::Fail(where, error);
    }
    return mask;
}

// The grants of a JSON file: either {"ENTITLEMENT": ACTIONS, ...} with ACTIONS
// an array of words, a string of words or a mask, or the output of roles show
// --json, {"entitlements": [{"id" or "name", "actions" or "mask"}, ...]}, whose
// other keys are ignored. A key given twice is refused: the later grant would
// win without a word.
bool ReadJsonGrants(std::string const& path, std::vector<Grant>* grants, Io io) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        io.err << "pmctl: " << path << ": cannot read the file\n";
        return false;
    }
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    try {
        StrictJson::Value const json = StrictJson::Parse(text);
        StrictJson::Object const root(json, "$");
        StrictJson::Value const* rows = root.Find("entitlements");
        if (rows == nullptr) {
            for (auto const& item : json.items()) {
                grants->push_back(
                    {item.key(), ReadMask(item.value(), StrictJson::Member("$", item.key()))});
            }
            return true;
        }
        StrictJson::ArrayOf(*rows, root.Path("entitlements"));
        for (std::size_t i = 0; i < rows->size(); ++i) {
            StrictJson::Object const row((*rows)[i],
                                         StrictJson::Element(root.Path("entitlements"), i));
            StrictJson::Value const* id = row.Find("id");
            StrictJson::Value const* name = row.Find("name");
            Grant grant{"", 0};
            if (id != nullptr && id->is_number_integer()) {
                grant.named = "#" + std::to_string(id->get<long>());
            } else if (name != nullptr && name->is_string()) {
                grant.named = name->get<std::string>();
            } else {
                StrictJson::Fail(row.Path(), "expected an \"id\" or a \"name\"");
            }
            char const* key = row.Find("actions") != nullptr ? "actions" : "mask";
            StrictJson::Value const* value = row.Find(key);
            grant.mask = value != nullptr ? ReadMask(*value, row.Path(key))
                                          : ReadMask(StrictJson::Value(), row.Path());
            grants->push_back(grant);
        }
        return true;
    } catch (StrictJson::Fault const& fault) {
        io.err << "pmctl: " << fault.Message(path) << "\n";
        return false;
    }
}

} // namespace

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
                     Io io) {
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
        std::vector<Grant> grants;
        for (std::string const& text : grantTexts) {
            std::size_t equals = text.rfind('=');
            std::string error;
            Grant grant{text.substr(0, equals == std::string::npos ? 0 : equals), 0};
            if (equals == std::string::npos || grant.named.empty()) {
                Complain(io, args.file)
                    << "a grant is ENTITLEMENT=ACTIONS, not \"" << text << "\"\n";
                return kExitBadInput;
            }
            if (!ParseActions(text.substr(equals + 1), &grant.mask, &error)) {
                Complain(io, args.file) << "in \"" << text << "\": " << error << "\n";
                return kExitBadInput;
            }
            grants.push_back(grant);
        }
        if (!jsonFile.empty() && !ReadJsonGrants(jsonFile, &grants, io)) {
            return kExitBadInput;
        }
        if (grants.empty()) {
            Complain(io, args.file) << "nothing to change: give --grant or --from-json\n";
            return kExitBadInput;
        }
        // Every entitlement is found, and named once, before the role is written.
        std::vector<PM::EntitlementDef> rows;
        std::map<int, std::string> named;
        for (Grant const& grant : grants) {
            PM::EntitlementDef def;
            if (!FindEntitlement(session, grant.named, &def, io)) {
                return kExitBadInput;
            }
            if (def.GetId() == PM::kEntitlementVersionId) {
                Complain(io, args.file)
                    << "\"" << grant.named << "\" is the version record, not an entitlement\n";
                return kExitBadInput;
            }
            if (!named.emplace(def.GetId(), grant.named).second) {
                Complain(io, args.file) << def.GetName() << " is granted twice\n";
                return kExitBadInput;
            }
            def.SetAction(static_cast<int>(grant.mask));
            rows.push_back(def);
        }
        std::vector<long> before;
        for (PM::EntitlementDef const& row : rows) {
            before.push_back(RoleMask(session, roleId, row.GetId()));
        }
        int result = manager.SetRoleEntitlements(*role, rows);
        if (result < 0) {
            Complain(io, args.file)
                << "the role " << roleName << " could not be saved (result " << result << ")\n";
            return kExitFailed;
        }
        io.out << "saved the role " << roleName << ":\n";
        for (std::size_t i = 0; i < rows.size(); ++i) {
            long mask = RoleMask(session, roleId, rows[i].GetId());
            io.out << "  " << rows[i].GetName() << ": " << DescribeGrant(mask);
            if (mask != before[i]) {
                io.out << " (was " << DescribeGrant(before[i]) << ")";
            }
            io.out << "\n";
        }
        if (manager.IsConnectedEntitlementsEdited()) {
            io.out << "  a connected entitlement changed: the role's connected-role state was "
                      "recomputed\n";
        }
        return kExitOk;
    });
}

int RolesCopyCommand(FileArgs const& args, std::string const& sourceText, std::string const& name,
                     Io io) {
    return RunChange(args, io, [&](Session& session, Io io) {
        std::string error;
        if (!CheckName("role name", name, &error)) {
            Complain(io, args.file) << error << "\n";
            return kExitBadInput;
        }
        int sourceId = -1;
        std::string sourceName;
        if (!FindRole(session, sourceText, &sourceId, &sourceName, io)) {
            return kExitBadInput;
        }
        PM::PermissionManager& manager = session.Manager();
        if (name.size() > static_cast<std::size_t>(PM::kMaxRoleNameLength)) {
            Complain(io, args.file) << "a role name has 1 to " << PM::kMaxRoleNameLength
                                    << " characters: \"" << name << "\"\n";
            return kExitBadInput;
        }
        if (manager.LookupRole(name.c_str()) != PM_ERROR) {
            Complain(io, args.file) << "there is a role named \"" << name << "\" already\n";
            return kExitBadInput;
        }
        std::unique_ptr<PM::RoleDef> source(manager.GetRoleDef(sourceId));
        std::unique_ptr<std::vector<PM::EntitlementDef>> rows(
            manager.GetEntitlements(sourceId, -1, false));
        if (source == nullptr || rows == nullptr) {
            Complain(io, args.file) << "cannot read the role " << sourceName << "\n";
            return kExitFailed;
        }
        PM::RoleDef copy;
        copy.SetName(name.c_str());
        copy.SetDescription(source->GetDescription());
        copy.SetCategory(source->GetCategory());
        int result = manager.SetRoleEntitlements(copy, *rows);
        if (result < 0) {
            Complain(io, args.file)
                << "the role " << name << " could not be saved (result " << result << ")\n";
            return kExitFailed;
        }
        io.out << "copied " << sourceName << " to " << name << " (role " << result << ")\n";
        return kExitOk;
    });
}

} // namespace Pmctl
