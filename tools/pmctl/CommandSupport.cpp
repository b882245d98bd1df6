// Lookups, action words and printing shared by pmctl's commands.
#include "CommandSupport.h"

#include "Actions.h"

#include <PM/ActionMask.h>
#include <PM/PermissionManager.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sstream>
#include <strings.h>

namespace Pmctl {

std::unique_ptr<Session> OpenSession(FileArgs const& args, Io io) {
    std::string catalogue = args.catalogue.empty() ? DefaultCataloguePath() : args.catalogue;
    std::ostringstream reason;
    std::unique_ptr<Session> session = Session::Open(args.file, catalogue, reason);
    if (session == nullptr) {
        io.err << "pmctl: " << reason.str();
    }
    return session;
}

std::ostream& Complain(Io io, std::string const& file) {
    return io.err << "pmctl: " << file << ": ";
}

bool ParseInt(std::string const& text, int* value) {
    if (text.empty() || text.size() > 11) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || parsed < INT_MIN || parsed > INT_MAX ||
        !(text[0] == '-' || (text[0] >= '0' && text[0] <= '9'))) {
        return false;
    }
    *value = static_cast<int>(parsed);
    return true;
}

bool FindUser(Session& session, std::string const& text, Host::CompanyUser* user, Io io) {
    int id = -1;
    bool numeric = ParseInt(text, &id);
    for (Host::CompanyUser const& candidate : Host::ListCompanyUsers()) {
        if (candidate.name == text || (numeric && candidate.userId == id)) {
            *user = candidate;
            return true;
        }
    }
    Complain(io, session.Path()) << "no user named \"" << text << "\"\n";
    return false;
}

bool FindRole(Session& session, std::string const& text, int* roleId, std::string* name, Io io) {
    PM::PermissionManager& manager = session.Manager();
    int id = text.empty() ? PM_ERROR : manager.LookupRole(text.c_str());
    int number = -1;
    if (id == PM_ERROR && ParseInt(text, &number) && number >= 0) {
        std::unique_ptr<PM::RoleDef> role(manager.GetRoleDef(number));
        if (role != nullptr) {
            id = number;
        }
    }
    if (id == PM_ERROR) {
        Complain(io, session.Path()) << "no role named \"" << text << "\"\n";
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
    PM::EntitlementDef found;
    found.SetId(PM_ERR_NOENT);
    if (!text.empty() && text.find_first_not_of(' ') != std::string::npos) {
        found = manager.FindEntitlementDefByName(text.c_str());
    }
    int number = -1;
    if (found.GetId() == PM_ERR_NOENT && ParseInt(text, &number) && number >= 0) {
        found = manager.FindEntitlementDefById(number);
        if (found.GetId() != PM_ERR_NOENT && found.IsDynamicEntitlement()) {
            // By id the library gives the short name; the full one is what
            // people and the other lookups know.
            std::vector<PM::EntitlementDef> list;
            for (PM::EntitlementObject& row : *manager.GetEntitlementCache()) {
                list.push_back(PM::EntitlementDef(row));
            }
            found.SetName(manager.GetFullEntName(&list, &found));
        }
    }
    if (found.GetId() == PM_ERR_NOENT || (found.IsDynamicEntitlement() && !found.IsEnabled())) {
        Complain(io, session.Path()) << "no entitlement named \"" << text << "\"\n";
        return false;
    }
    *def = found;
    return true;
}

bool ParseActions(std::string const& text, long* mask, std::string* error) {
    long result = 0;
    std::istringstream in(text);
    std::string word;
    bool any = false;
    while (std::getline(in, word, ',')) {
        std::size_t first = word.find_first_not_of(" \t");
        std::size_t last = word.find_last_not_of(" \t");
        word = first == std::string::npos ? "" : word.substr(first, last - first + 1);
        any = true;
        if (strcasecmp(word.c_str(), "none") == 0) {
            continue;
        }
        if (strcasecmp(word.c_str(), "full") == 0) {
            result |= PM::kActionFull;
            continue;
        }
        long bit = ActionMask(word);
        if (bit == 0) {
            std::string known;
            for (ActionName const& action : ActionNames()) {
                known += std::string(known.empty() ? "" : ", ") + action.name;
            }
            *error = "unknown action \"" + word + "\" (actions: " + known + ", none, full)";
            return false;
        }
        result |= bit;
    }
    if (!any) {
        *error = "no action given (actions are words such as view,create; or none, full)";
        return false;
    }
    *mask = result;
    return true;
}

Json ActionArray(long mask) {
    Json words = Json::array();
    for (ActionName const& action : ActionNames()) {
        if ((mask & action.mask) != 0) {
            words.push_back(action.name);
        }
    }
    return words;
}

std::string RoleName(Session& session, int roleId) {
    std::unique_ptr<PM::RoleDef> role(session.Manager().GetRoleDef(roleId));
    return role == nullptr ? "role " + std::to_string(roleId) : std::string(role->GetName());
}

std::vector<int> UserRoleIds(Session& session, int userId) {
    std::unique_ptr<std::vector<int>> ids(session.Manager().GetUserRoleIds(userId));
    return ids == nullptr ? std::vector<int>() : *ids;
}

std::string BankFullName(std::string const& account) {
    return "Bank Registers:" + account;
}

void PrintJson(Json const& json, Io io) {
    io.out << json.dump(2) << "\n";
}

} // namespace Pmctl
