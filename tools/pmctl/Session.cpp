// Opening and closing a company file for pmctl's commands.
#include "Session.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

namespace Pmctl {

namespace {

bool LoadCatalogue(std::string const& catalogue, std::ostream& err) {
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
    return PMCTL_DEFAULT_CATALOGUE;
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
    Host::UseCompanyUserManager();
    PM_InitComponent();
    int result = session->Manager().Init();
    if (result != PM_OK) {
        err << path << ": the permission data could not be loaded (result " << result << ")\n";
        return nullptr;
    }
    return session;
}

Session::~Session() {
    Release(); // destroying the manager lets go of its store and caches
}

} // namespace Pmctl
