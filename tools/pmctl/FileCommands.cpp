// pmctl create, info, reset and upgrade: the company file as a whole.
#include "CommandSupport.h"

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <host/catalogue/Catalogue.h>

#include <filesystem>
#include <sstream>

namespace Pmctl {

namespace {

struct Counts {
    int catalogueEntitlements = 0; // ids below 300000, the version record among them
    int bankAccounts = 0;          // live dynamic entitlements
    int removedBankAccounts = 0;   // blanked ones, which keep their ids
    int roles = 0;
    int invisibleRoles = 0;
    int users = 0;
};

Counts Count(Session& session) {
    Counts counts;
    PM::PermissionManager& manager = session.Manager();
    if (std::vector<PM::EntitlementObject>* cache = manager.GetEntitlementCache()) {
        for (PM::EntitlementObject const& row : *cache) {
            if (row.m_Id < PM::kFirstDynamicEntitlementId) {
                ++counts.catalogueEntitlements;
            } else if (row.m_Enabled) {
                ++counts.bankAccounts;
            } else {
                ++counts.removedBankAccounts;
            }
        }
    }
    if (std::vector<PM::RoleObject>* roles = manager.GetRoleCache()) {
        for (PM::RoleObject const& role : *roles) {
            ++counts.roles;
            counts.invisibleRoles += role.IsVisible() ? 0 : 1;
        }
    }
    counts.users = static_cast<int>(Host::ListCompanyUsers().size());
    return counts;
}

std::string CatalogueOf(FileArgs const& args) {
    return args.catalogue.empty() ? DefaultCataloguePath() : args.catalogue;
}

std::string Version(VersionRecord const& record) {
    if (record.name.empty()) {
        return "none";
    }
    if (record.version < 0) {
        return "unreadable (\"" + record.name + "\")";
    }
    return std::to_string(record.version) + " (" + std::to_string(record.entitlementCount) +
           " catalogue entitlements)";
}

} // namespace

int CreateCommand(FileArgs const& args, std::string const& adminName, Io io) {
    std::error_code error;
    if (std::filesystem::exists(args.file, error) || std::filesystem::is_symlink(args.file)) {
        Complain(io, args.file) << "the file exists already; create never overwrites a file\n";
        return kExitBadInput;
    }
    if (adminName.empty()) {
        Complain(io, args.file) << "the administrator needs a name\n";
        return kExitBadInput;
    }
    std::string catalogue = CatalogueOf(args);
    Host::CatalogueResult check = Host::LoadCatalogueFile(catalogue);
    Host::UnloadCatalogue();
    if (!check.ok) {
        io.err << "pmctl: " << check.message << "\n";
        return kExitBadInput;
    }
    std::ostringstream reason;
    std::unique_ptr<Session> session = Session::Create(args.file, catalogue, adminName, reason);
    if (session == nullptr) {
        io.err << "pmctl: " << reason.str();
        return kExitFailed;
    }
    Host::CatalogueInfo info = Host::GetCatalogueInfo();
    Counts counts = Count(*session);
    io.out << "created " << args.file << " from " << info.sourceName << " (version "
           << info.permissionDataVersion << "): " << counts.catalogueEntitlements
           << " entitlements, " << counts.roles << " roles; administrator " << adminName
           << " (user " << Host::FindCompanyUser(adminName) << ") holds Admin\n";
    return kExitOk;
}

int InfoCommand(FileArgs const& args, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    if (session == nullptr) {
        return kExitBadInput;
    }
    Host::CatalogueInfo info = Host::GetCatalogueInfo();
    Counts counts = Count(*session);
    VersionRecord const& found = session->FoundVersion();
    if (args.json) {
        Json json;
        json["file"] = args.file;
        json["catalogue"] = {{"source", info.sourceName},
                             {"product", info.product},
                             {"version", info.permissionDataVersion},
                             {"entitlements", info.featureCount}};
        json["storedVersion"] = found.version;
        json["upgradedOnOpen"] = session->UpgradedOnOpen();
        json["entitlements"] = {{"catalogue", counts.catalogueEntitlements},
                                {"bankAccounts", counts.bankAccounts},
                                {"removedBankAccounts", counts.removedBankAccounts}};
        json["roles"] = {{"total", counts.roles}, {"invisible", counts.invisibleRoles}};
        json["users"] = counts.users;
        PrintJson(json, io);
        return kExitOk;
    }
    io.out << "company file    " << args.file << "\n"
           << "catalogue       " << info.sourceName << ": "
           << (info.product.empty() ? "(no product name)" : info.product) << ", version "
           << info.permissionDataVersion << "\n"
           << "stored version  " << Version(found) << "\n"
           << "upgrade on open "
           << (session->UpgradedOnOpen()
                   ? "yes, to version " + std::to_string(session->CatalogueVersion())
                   : std::string("no"))
           << "\n"
           << "entitlements    " << counts.catalogueEntitlements << " from the catalogue, "
           << counts.bankAccounts << " bank accounts";
    if (counts.removedBankAccounts > 0) {
        io.out << " (and " << counts.removedBankAccounts << " removed)";
    }
    io.out << "\nroles           " << counts.roles;
    if (counts.invisibleRoles > 0) {
        io.out << " (" << counts.invisibleRoles << " invisible)";
    }
    io.out << "\nusers           " << counts.users << "\n";
    return kExitOk;
}

int ResetCommand(FileArgs const& args, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    if (session == nullptr) {
        return kExitBadInput;
    }
    PM::PermissionManager& manager = session->Manager();
    int result = manager.ResetToFactoryDefaults();
    if (result == PM_OK) {
        result = manager.SetDefaultRoles();
    }
    if (result != PM_OK) {
        Complain(io, args.file) << "the reset failed (result " << result
                                << "); the file may be left partly emptied, run reset again\n";
        return kExitFailed;
    }
    Counts counts = Count(*session);
    io.out << "reset " << args.file << " to the factory defaults: " << counts.catalogueEntitlements
           << " entitlements, " << counts.roles << " roles; bank accounts removed\n";
    for (Host::CompanyUser const& user : Host::ListCompanyUsers()) {
        std::vector<int> roles = UserRoleIds(*session, user.userId);
        io.out << "  " << user.name << ": "
               << (roles.empty() ? std::string("no role") : RoleName(*session, roles.front()))
               << "\n";
    }
    return kExitOk;
}

int UpgradeCommand(FileArgs const& args, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    if (session == nullptr) {
        return kExitBadInput;
    }
    VersionRecord now = ReadVersionRecord();
    if (!session->UpgradedOnOpen()) {
        io.out << args.file << " is at version " << Version(now) << " already; nothing to do\n";
        return kExitOk;
    }
    io.out << "upgraded " << args.file << " from version " << Version(session->FoundVersion())
           << " to " << Version(now) << "\n";
    return kExitOk;
}

} // namespace Pmctl
