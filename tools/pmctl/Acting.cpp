// Establishing a user and an application's context for the commands that
// report the library's decisions: check, explain, who-can and rights.
#include "Acting.h"

#include "Actions.h"

#include <PM/PermissionManager.h>

#include <host/catalogue/Catalogue.h>
#include <host/records/Transactions.h>

namespace Pmctl {

bool CheckApplication(FileArgs const& args, std::string const& application, Io io) {
    if (application.empty()) {
        return true;
    }
    std::string known;
    for (Host::CatalogueApplicationInfo const& app : Host::GetCatalogueInfo().applications) {
        if (app.id == application) {
            return true;
        }
        known += (known.empty() ? "" : ", ") + app.id;
    }
    Complain(io, args.file) << "no integrated application named \"" << application
                            << "\" in the catalogue (applications: "
                            << (known.empty() ? "none" : known) << ")\n";
    return false;
}

bool EstablishAs(FileArgs const& args, Session& session, Host::CompanyUser const& user,
                 std::string const& application, Io io) {
    PM::PermissionManager& manager = session.Manager();
    Host::ForgetRecordFailure();
    if (manager.EstablishUser(user.userId) != PM_OK) {
        Complain(io, args.file) << "cannot establish the user " << user.name
                                << Host::LastRecordFailureWords() << "\n";
        return false;
    }
    if (!application.empty() && manager.SetContext(application.c_str()).Failed()) {
        Complain(io, args.file) << "cannot act as " << application << "\n";
        return false;
    }
    return true;
}

int ApplicationRoleId(Session& session, std::string const& application) {
    Host::CatalogueInfo const info = Host::GetCatalogueInfo();
    for (Host::CatalogueApplicationInfo const& app : info.applications) {
        for (Host::CatalogueRoleInfo const& role : info.roles) {
            if (app.id == application && !app.useRole.empty() && role.id == app.useRole) {
                int id = session.Manager().LookupRole(role.name.c_str());
                return id == PM_ERROR ? -1 : id;
            }
        }
    }
    return -1;
}

bool ParseOneAction(FileArgs const& args, std::string const& command, std::string const& word,
                    long* mask, Io io) {
    *mask = ActionMask(word);
    if (*mask != 0) {
        return true;
    }
    std::string error;
    long ignored = 0;
    ParseActions(word, &ignored, &error);
    Complain(io, args.file) << (error.empty()
                                    ? command + " asks about one action, not \"" + word + "\""
                                    : error)
                            << "\n";
    return false;
}

long AllowedMask(Session& session, int entitlementId) {
    long mask = 0;
    for (ActionName const& action : ActionNames()) {
        mask |= session.Manager().IsAccessAllowed(entitlementId, action.mask) ? action.mask : 0;
    }
    return mask;
}

} // namespace Pmctl
