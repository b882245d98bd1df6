// A second process on a company file, for the two-process tests: it opens the
// file as a host does and makes one change, then reports on standard output.
//
//   company_file_writer add-role PATH BUSY_MS
//       adds role record 9 "Outsider" through the record layer, waiting at
//       most BUSY_MS for a lock; prints "open ok", then "status ok 0" or
//       "status failed CODE", then "waited MS".
//   company_file_writer delete-role PATH ROLE_ID
//   company_file_writer edit-role PATH ROLE_ID NAME [ENTITLEMENT=MASK ...]
//       runs the library on the file (with the fault loops' catalogue): Init,
//       then DeleteRole, or SetRoleEntitlements with the new name and the
//       masks given; prints "result N".
//
// Exit status 0 when the file opened, 1 when it did not, 2 for bad arguments.
#include "FaultLoop.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>

#include <Records/DMUSRRole.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

int AddRole(std::string const& path, int busyMs) {
    Host::SetCompanyFileBusyTimeout(busyMs);
    Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
    std::cout << "open " << (opened.ok ? "ok" : opened.message) << "\n";
    if (!opened.ok) {
        return 1;
    }
    DMUSRRole role;
    role.SetRoleId(9);
    role.SetCategoryType(0);
    role.SetIsVisible(1);
    role.SetName("Outsider");
    role.SetDescription("");
    auto start = std::chrono::steady_clock::now();
    Util::Status status = role.Add(nullptr);
    auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    std::cout << "status " << (status.Succeeded() ? "ok " : "failed ") << status.GetStatusCode()
              << "\nwaited " << waited.count() << "\n";
    Host::CloseCompanyFile();
    return 0;
}

int RunLibrary(std::string const& path, int roleId, char const* newName,
               std::vector<std::string> const& masks) {
    if (!Host::LoadCatalogueText(PMFault::kSmallCatalogue, "faults.json").ok) {
        return 2;
    }
    Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
    if (!opened.ok) {
        std::cout << "open " << opened.message << "\n";
        return 1;
    }
    Host::UseCompanyUserManager();
    PM_InitComponent();
    PM::PermissionManager& manager = PM::PermissionManager::GetThePermissionManager();
    int result = manager.Init();
    if (result == PM_OK && newName == nullptr) {
        result = manager.DeleteRole(roleId);
    } else if (result == PM_OK) {
        PM::RoleDef* role = manager.GetRoleDef(roleId);
        if (role == nullptr) {
            result = PM_ERR_NORECORD;
        } else {
            role->SetName(newName);
            std::vector<PM::EntitlementDef> grants;
            for (std::string const& mask : masks) {
                PM::EntitlementDef grant;
                grant.SetId(std::atoi(mask.c_str()));
                grant.SetAction(std::atoi(mask.c_str() + mask.find('=') + 1));
                grants.push_back(grant);
            }
            result = manager.SetRoleEntitlements(*role, grants);
            delete role;
        }
    }
    std::cout << "result " << result << "\n";
    PM_UninitComponent();
    Host::CloseCompanyFile();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 3 && args[0] == "add-role") {
        return AddRole(args[1], std::atoi(args[2].c_str()));
    }
    if (args.size() == 3 && args[0] == "delete-role") {
        return RunLibrary(args[1], std::atoi(args[2].c_str()), nullptr, {});
    }
    if (args.size() >= 4 && args[0] == "edit-role") {
        return RunLibrary(args[1], std::atoi(args[2].c_str()), args[3].c_str(),
                          std::vector<std::string>(args.begin() + 4, args.end()));
    }
    std::cerr << "usage: company_file_writer add-role PATH BUSY_MS | delete-role PATH ROLE_ID | "
                 "edit-role PATH ROLE_ID NAME [ENTITLEMENT=MASK ...]\n";
    return 2;
}
