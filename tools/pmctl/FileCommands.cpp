// pmctl create, info, reset and upgrade: the company file as a whole.
#include "ChangeHistory.h"
#include "CommandSupport.h"
#include "Verification.h"

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <host/catalogue/Catalogue.h>

#include <sstream>
#include <sys/stat.h>

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
    struct stat existing;
    if (!OnServer(args.file) && ::lstat(args.file.c_str(), &existing) == 0) {
        Complain(io, args.file) << "the file exists already; create never overwrites a file\n";
        return kExitBadInput;
    }
    std::string error;
    if (!CheckName("administrator's name", adminName, &error)) {
        Complain(io, args.file) << error << "\n";
        return kExitBadInput;
    }
    OpenFailure failure;
    std::unique_ptr<Session> session =
        Session::Create(args.file, args.catalogue, adminName, &failure);
    if (session == nullptr) {
        io.err << "pmctl: " << failure.message << "\n";
        return failure.exitCode;
    }
    RemoveOnInterrupt(session->Company().BuildPath());
    Host::CatalogueInfo info = Host::GetCatalogueInfo();
    Counts counts = Count(*session);
    std::ostringstream told;
    told << Shown(args.file) << " from " << info.sourceName << " (version "
         << info.permissionDataVersion << "): " << counts.catalogueEntitlements << " entitlements, "
         << counts.roles << " roles; administrator " << adminName << " (user "
         << session->Company().AdminUserId() << ") holds Admin\n";
    Json record;
    if (!RecordCreation(args, !args.dryRun, &record, &error)) {
        Complain(io, args.file) << "nothing was created: " << error << "\n";
        return kExitFailed;
    }
    // With --json the record alone on standard output, the words beside it.
    std::ostream& says = args.json ? io.err : io.out;
    if (args.dryRun) {
        says << "would create " << told.str() << "(dry run: "
             << (OnServer(args.file) ? "nothing was written to the database"
                                     : "no file was written")
             << ")\n";
    } else if (!session->Commit(&error)) {
        Complain(io, args.file) << "nothing was created: " << error << "\n";
        return kExitFailed;
    } else {
        RemoveOnInterrupt(std::string());
        says << "created " << told.str();
    }
    if (args.json) {
        PrintRecordJson(record, io);
    }
    return kExitOk;
}

int InfoCommand(FileArgs const& args, Io io) {
    return RunRead(args, io, [&](Session& session) {
        Host::CatalogueInfo info = Host::GetCatalogueInfo();
        Counts counts = Count(session);
        VersionRecord const& found = session.FoundVersion();
        if (args.json) {
            Json json;
            json["file"] = Shown(args.file);
            json["catalogue"] = {{"source", info.sourceName},
                                 {"product", info.product},
                                 {"version", info.permissionDataVersion},
                                 {"entitlements", info.featureCount}};
            json["storedVersion"] = found.version;
            json["upgradeOnNextChange"] = session.UpgradedOnOpen();
            json["entitlements"] = {{"catalogue", counts.catalogueEntitlements},
                                    {"bankAccounts", counts.bankAccounts},
                                    {"removedBankAccounts", counts.removedBankAccounts}};
            json["roles"] = {{"total", counts.roles}, {"invisible", counts.invisibleRoles}};
            json["users"] = counts.users;
            PrintJson(json, io);
            return kExitOk;
        }
        io.out << (OnServer(args.file) ? "database        " : "company file    ")
               << Shown(args.file) << "\n"
               << "catalogue       " << info.sourceName << ": "
               << (info.product.empty() ? "(no product name)" : info.product) << ", version "
               << info.permissionDataVersion << "\n"
               << "stored version  " << Version(found) << "\n"
               << "upgrade         "
               << (session.UpgradedOnOpen()
                       ? "to version " + std::to_string(session.CatalogueVersion()) +
                             " on the next change"
                       : std::string("none needed"))
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
    });
}

int ResetCommand(FileArgs const& args, Io io) {
    ChangeOptions options;
    options.backup = true;
    return RunChange(
        args, io,
        [&](Session& session, Io io) {
            PM::PermissionManager& manager = session.Manager();
            int result = manager.ResetToFactoryDefaults();
            if (result == PM_OK) {
                result = manager.SetDefaultRoles();
            }
            if (result != PM_OK) {
                Complain(io, args.file)
                    << "the reset failed (" << Result(result) << "); nothing was changed\n";
                return kExitFailed;
            }
            Counts counts = Count(session);
            io.out << "reset " << Shown(args.file)
                   << " to the factory defaults: " << counts.catalogueEntitlements
                   << " entitlements, " << counts.roles << " roles; bank accounts removed\n";
            for (Host::CompanyUser const& user : Host::ListCompanyUsers()) {
                std::vector<int> roles = UserRoleIds(session, user.userId);
                io.out << "  " << user.name << ": "
                       << (roles.empty() ? std::string("no role")
                                         : RoleName(session, roles.front()))
                       << "\n";
            }
            return kExitOk;
        },
        options);
}

int UpgradeCommand(FileArgs const& args, Io io) {
    ChangeOptions options;
    options.saysUpgrade = true;
    return RunChange(
        args, io,
        [&](Session& session, Io io) {
            VersionRecord now = ReadVersionRecord();
            if (!session.UpgradedOnOpen()) {
                io.out << Shown(args.file) << " is at version " << Version(now)
                       << " already; nothing to do\n";
                return kExitOk;
            }
            io.out << "upgraded " << Shown(args.file) << " from version "
                   << Version(session.FoundVersion()) << " to " << Version(now) << "\n";
            // An upgrade can leave the predefined roles short of an
            // entitlement it added: mended in the same change.
            Findings mended = RepairAll(session);
            PrintFindings(mended, false, io);
            if (!mended.InOrder()) {
                Complain(io, args.file)
                    << "the upgrade could not be completed; nothing was changed\n";
                return kExitFailed;
            }
            return kExitOk;
        },
        options);
}

} // namespace Pmctl
