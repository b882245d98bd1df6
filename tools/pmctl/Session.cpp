// Opening company files for pmctl's commands through the host's start-up.
#include "Session.h"

#include <host/records/Transactions.h>
#include <host/records/postgres/ServerLocation.h>

#include <filesystem>
#include <system_error>

namespace Pmctl {

namespace {

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

Host::CompanyOptions Options(std::string const& catalogue, Host::CompanyAccess access) {
    Host::CompanyOptions options;
    options.catalogue = catalogue.empty() ? DefaultCataloguePath() : catalogue;
    // Where the library finds the sphere module ("SphereMgmt.DLL").
    options.moduleDirectory = Installed(PMCTL_INSTALLED_MODULE_DIR, PMCTL_MODULE_DIR);
    options.access = access;
    return options;
}

} // namespace

std::string DefaultCataloguePath() {
    return Installed(PMCTL_INSTALLED_CATALOGUE, PMCTL_DEFAULT_CATALOGUE);
}

bool Session::Reload(std::ostream& err) {
    int result = Manager().Init();
    if (result != PM_OK) {
        err << Host::MaskedLocation(Path()) << ": the permission data could not be loaded (result "
            << result << Host::LastRecordFailureWords() << ")\n";
        return false;
    }
    return true;
}

std::unique_ptr<Session> Session::Create(std::string const& path, std::string const& catalogue,
                                         std::string const& adminName, OpenFailure* failure) {
    Host::CompanyProblem problem;
    return Started(Host::Company::Create(path, Options(catalogue, Host::CompanyAccess::kOneChange),
                                         adminName, &problem),
                   problem, failure);
}

std::unique_ptr<Session> Session::Open(std::string const& path, std::string const& catalogue,
                                       Access access, OpenFailure* failure) {
    Host::CompanyProblem problem;
    Host::CompanyAccess const opened =
        access == Access::kRead ? Host::CompanyAccess::kSnapshot : Host::CompanyAccess::kOneChange;
    Host::CompanyOptions options = Options(catalogue, opened);
    Host::CompanyTables before;
    std::string error = "the file was opened for reading";
    if (access == Access::kChange) {
        options.beforeInit = [&] {
            error.clear();
            Host::ReadCompanyTables(&before, &error);
        };
    }
    std::unique_ptr<Session> session =
        Started(Host::Company::Open(path, options, &problem), problem, failure);
    if (session != nullptr) {
        session->m_TablesBefore = std::move(before);
        session->m_TablesBeforeError = error;
    }
    return session;
}

std::unique_ptr<Session> Session::OpenLive(std::string const& path, std::string const& catalogue,
                                           OpenFailure* failure) {
    Host::CompanyProblem problem;
    return Started(
        Host::Company::Open(path, Options(catalogue, Host::CompanyAccess::kLive), &problem),
        problem, failure);
}

std::unique_ptr<Session> Session::Started(std::unique_ptr<Host::Company> company,
                                          Host::CompanyProblem const& problem,
                                          OpenFailure* failure) {
    if (company == nullptr) {
        failure->message = problem.message;
        failure->exitCode = problem.refused ? 2 : 1;
        return nullptr;
    }
    return std::unique_ptr<Session>(new Session(std::move(company)));
}

} // namespace Pmctl
