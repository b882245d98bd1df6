// Opening and closing a company file for pmctl's commands.
#include "Session.h"

#include <host/catalogue/Catalogue.h>
#include <host/loader/ModuleLoaderHooks.h>
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

#include <PM/Constants.h>
#include <Records/DMUSREntitlement.h>
#include <Records/RecordText.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace Pmctl {

namespace {

// The fields of a version record's name, split at '-' as the library splits
// it: exactly three, or none.
std::vector<std::string> VersionFields(std::string const& name) {
    std::vector<std::string> fields;
    std::istringstream in(name);
    std::string field;
    while (std::getline(in, field, '-')) {
        if (!field.empty()) {
            fields.push_back(field);
        }
    }
    return fields.size() == 3 ? fields : std::vector<std::string>();
}

// An installed pmctl finds what it needs installed beside it (relative to
// the install prefix, the parent of its bin directory); one in the build tree
// uses the source tree's catalogue and the build's module.
std::string Installed(char const* relative, char const* fallback) {
    std::error_code error;
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        std::filesystem::path installed = exe.parent_path().parent_path() / relative;
        if (std::filesystem::exists(installed, error)) {
            return installed.string();
        }
    }
    return fallback;
}

// Where the library finds the sphere module ("SphereMgmt.DLL"), as a host
// sets it before it opens a company file.
void SetModulePath() {
    Host::SetModuleSearchPath(Installed(PMCTL_INSTALLED_MODULE_DIR, PMCTL_MODULE_DIR));
}

bool LoadCatalogue(std::string const& catalogue, std::ostream& err) {
    SetModulePath();
    Host::CatalogueResult result = Host::LoadCatalogueFile(catalogue);
    if (!result.ok) {
        err << result.message << "\n";
    }
    return result.ok;
}

void Release() {
    PM_UninitComponent();
    Host::CloseCompanyFile();
    Host::SetUserManager(nullptr);
    Host::UnloadCatalogue();
}

} // namespace

std::string DefaultCataloguePath() {
    return Installed(PMCTL_INSTALLED_CATALOGUE, PMCTL_DEFAULT_CATALOGUE);
}

VersionRecord ReadVersionRecord() {
    VersionRecord found;
    DMUSREntitlement record;
    Util::Status status = record.Load(PM::kEntitlementVersionId, nullptr);
    char name[kRecordTextBufferSize] = {};
    if (status.Failed() || status.GetStatusCode() == Util::kRecordNotFound ||
        record.GetName(name) != 0) {
        return found;
    }
    found.name = name;
    std::vector<std::string> fields = VersionFields(found.name);
    if (!fields.empty()) {
        found.version = std::atoi(fields[1].c_str());
        found.entitlementCount = std::atoi(fields[2].c_str());
    }
    return found;
}

bool Session::Reload(std::ostream& err) {
    int result = Manager().Init();
    if (result != PM_OK) {
        err << m_Path << ": the permission data could not be loaded (result " << result << ")\n";
        return false;
    }
    return true;
}

std::unique_ptr<Session> Session::Create(std::string const& path, std::string const& catalogue,
                                         std::string const& adminName, std::ostream& err) {
    if (!LoadCatalogue(catalogue, err)) {
        return nullptr;
    }
    Host::CompanyFileResult file = Host::CreateCompanyFile(path);
    if (!file.ok) {
        err << file.message << "\n";
        Host::UnloadCatalogue();
        return nullptr;
    }
    std::unique_ptr<Session> session(new Session(path));
    Host::UseCompanyUserManager();
    std::string error;
    if (Host::AddCompanyUser(adminName, true, &error) == -1) {
        err << path << ": cannot add the administrator: " << error << "\n";
        return nullptr;
    }
    PM_InitComponent();
    int result = session->Manager().SetDefaultRoles();
    if (result != PM_OK) {
        err << path << ": the factory defaults could not be written (result " << result << ")\n";
        return nullptr;
    }
    session->m_CatalogueVersion = Host::GetCatalogueInfo().permissionDataVersion;
    session->m_FoundVersion = ReadVersionRecord();
    return session;
}

std::unique_ptr<Session> Session::Open(std::string const& path, std::string const& catalogue,
                                       std::ostream& err) {
    if (!LoadCatalogue(catalogue, err)) {
        return nullptr;
    }
    Host::CompanyFileResult file = Host::OpenCompanyFile(path);
    if (!file.ok) {
        err << file.message << "\n";
        Host::UnloadCatalogue();
        return nullptr;
    }
    std::unique_ptr<Session> session(new Session(path));
    session->m_CatalogueVersion = Host::GetCatalogueInfo().permissionDataVersion;
    session->m_FoundVersion = ReadVersionRecord();
    if (session->m_FoundVersion.version > session->m_CatalogueVersion) {
        err << path << ": its permission data is version " << session->m_FoundVersion.version
            << ", newer than version " << session->m_CatalogueVersion << " of the catalogue "
            << catalogue << "; open it with the catalogue it was written with\n";
        return nullptr;
    }
    Host::UseCompanyUserManager();
    PM_InitComponent();
    int result = session->Manager().Init();
    if (result != PM_OK) {
        err << path << ": the permission data could not be loaded (result " << result << ")\n";
        return nullptr;
    }
    session->m_UpgradedOnOpen = ReadVersionRecord().name != session->m_FoundVersion.name;
    return session;
}

Session::~Session() {
    Release(); // destroying the manager lets go of its store and caches
}

} // namespace Pmctl
