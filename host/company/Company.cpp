// The host's start-up and teardown of one company, for pmctl, the tests, the
// benchmarks and the fuzzers alike.
#include "Company.h"

#include <host/catalogue/Catalogue.h>
#include <host/loader/ModuleLoaderHooks.h>
#include <host/records/CompanyFile.h>
#include <host/records/FilesBeside.h>
#include <host/records/postgres/ServerLocation.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

#include <PM/Constants.h>
#include <Records/DMUSREntitlement.h>
#include <Records/RecordText.h>

#include <cstdlib>
#include <sstream>
#include <sys/stat.h>
#include <vector>

namespace Host {

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

// "company file" or "company database", as the location names one.
std::string Kind(std::string const& location) {
    return IsServerLocation(location) ? "company database" : "company file";
}

CatalogueResult LoadCatalogue(CompanyOptions const& options) {
    return options.catalogueText.empty()
               ? LoadCatalogueFile(options.catalogue)
               : LoadCatalogueText(options.catalogueText, options.catalogue);
}

} // namespace

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

std::unique_ptr<Company> Company::Begin(std::string const& path, CompanyOptions const& options,
                                        char const* verb, CompanyProblem* problem) {
    if (IsCompanyFileOpen()) {
        problem->message = std::string("Cannot ") + verb + " " + Kind(path) + " '" +
                           MaskedLocation(path) + "': the company file '" +
                           CurrentCompanyFilePath() + "' is open.";
        return nullptr;
    }
    std::unique_ptr<Company> company(new Company());
    company->m_Path = path;
    company->m_Access = options.access;
    if (!options.moduleDirectory.empty()) {
        SetModuleSearchPath(options.moduleDirectory);
    }
    CatalogueResult catalogue = LoadCatalogue(options);
    if (!catalogue.ok) {
        problem->message = catalogue.message;
        return nullptr;
    }
    return company;
}

std::unique_ptr<Company> Company::Open(std::string const& path, CompanyOptions const& options,
                                       CompanyProblem* problem) {
    std::unique_ptr<Company> company = Begin(path, options, "open", problem);
    if (company == nullptr) {
        return nullptr;
    }
    if (options.access != CompanyAccess::kSnapshot && !IsServerLocation(path)) {
        // A create killed between naming its file and dropping the build's
        // name leaves the file with two names, which a change refuses.
        RemoveAbandonedFiles(path);
    }
    CompanyFileResult file = options.access == CompanyAccess::kSnapshot
                                 ? OpenCompanyFileSnapshot(path)
                                 : OpenCompanyFile(path);
    if (!file.ok) {
        problem->refused = !file.busy;
        problem->message = file.message;
        return nullptr;
    }
    if (options.access == CompanyAccess::kOneChange) {
        company->m_Change.reset(new WriteTransaction());
        if (company->m_Change->BeginResult() != kBracketOk) {
            problem->refused = false;
            problem->message = "Cannot change " + Kind(path) + " '" + MaskedLocation(path) +
                               "': " + DescribeWriteFailure(company->m_Change->BeginResult()) + ".";
            return nullptr;
        }
    }
    ForgetRecordFailure();
    company->m_FoundVersion = ReadVersionRecord();
    company->m_CatalogueVersion = GetCatalogueInfo().permissionDataVersion;
    if (company->m_FoundVersion.version > company->m_CatalogueVersion) {
        problem->message = "Cannot open " + Kind(path) + " '" + MaskedLocation(path) +
                           "': its permission data is version " +
                           std::to_string(company->m_FoundVersion.version) +
                           ", newer than version " + std::to_string(company->m_CatalogueVersion) +
                           " of the catalogue " + options.catalogue +
                           "; open it with the catalogue it was written with.";
        return nullptr;
    }
    if (options.beforeInit) {
        options.beforeInit();
    }
    if (!company->Start(&problem->message)) {
        problem->refused = false;
        return nullptr;
    }
    company->m_UpgradedOnOpen = ReadVersionRecord().name != company->m_FoundVersion.name;
    // The library passes over some failed reads (Init goes on without the
    // entitlement count): an open during which the engine failed one (a
    // lost connection, an I/O error) is refused rather than left with part
    // of the permission data, or taken for an upgrade.
    if (LastRecordFailure() > 0) {
        problem->refused = false;
        problem->message = "Cannot open company file '" + MaskedLocation(path) +
                           "': the permission data could not be loaded" + LastRecordFailureWords() +
                           ".";
        return nullptr;
    }
    return company;
}

bool Company::Start(std::string* error) {
    UseCompanyUserManager();
    PM_InitComponent();
    int result = Manager().Init();
    if (result != PM_OK) {
        *error = "Cannot open " + Kind(m_Path) + " '" + MaskedLocation(m_Path) +
                 "': the permission data could not be loaded (result " + std::to_string(result) +
                 ")" + LastRecordFailureWords() + ".";
        return false;
    }
    return true;
}

std::unique_ptr<Company> Company::Create(std::string const& path, CompanyOptions const& options,
                                         std::string const& adminName, CompanyProblem* problem) {
    // A company on a server is made in its database, which the first write
    // bracket fills: there is no name to build under.
    bool server = IsServerLocation(path);
    std::string const shown = Kind(path) + " '" + MaskedLocation(path) + "'";
    struct stat info;
    if (!server && ::lstat(path.c_str(), &info) == 0) {
        problem->message = "Cannot create company file '" + path + "': the file already exists.";
        return nullptr;
    }
    if (!server) {
        RemoveAbandonedFiles(path);
    }
    std::unique_ptr<Company> company = Begin(path, options, "create", problem);
    if (company == nullptr) {
        return nullptr;
    }
    std::string build = server ? path : HiddenBeside(path, "creating");
    if (!server) {
        RemoveWithSidecars(build);
    }
    CompanyFileResult file = CreateCompanyFile(build);
    if (!file.ok) {
        // A database that holds tables already is refused; one that cannot
        // be reached, or a file that cannot be made, could not be done now.
        problem->refused = server && !file.unreachable;
        problem->message = "Cannot create " + shown + ": " + file.reason + ".";
        return nullptr;
    }
    company->m_BuildPath = server ? std::string() : build;
    if (options.access != CompanyAccess::kLive) {
        company->m_Change.reset(new WriteTransaction());
    }
    std::string why;
    UseCompanyUserManager();
    company->m_AdminUserId = AddCompanyUser(adminName, true, &why);
    if (company->m_AdminUserId == -1) {
        problem->refused = false;
        problem->message =
            "Cannot create " + shown + ": cannot add the administrator: " + why + ".";
        return nullptr;
    }
    PM_InitComponent();
    int result = company->Manager().SetDefaultRoles();
    if (result != PM_OK) {
        problem->refused = false;
        problem->message = "Cannot create " + shown +
                           ": the factory defaults could not be written (result " +
                           std::to_string(result) + ").";
        return nullptr;
    }
    company->m_CatalogueVersion = GetCatalogueInfo().permissionDataVersion;
    company->m_FoundVersion = ReadVersionRecord();
    return company;
}

std::unique_ptr<Company> Company::CreateInMemory(CompanyOptions const& options,
                                                 std::string const& adminName,
                                                 CompanyProblem* problem, bool factoryDefaults) {
    std::unique_ptr<Company> company = Begin(":memory:", options, "create", problem);
    if (company == nullptr) {
        return nullptr;
    }
    CompanyFileResult file = OpenInMemoryCompanyFile();
    if (!file.ok) {
        problem->message = file.message;
        return nullptr;
    }
    UseCompanyUserManager();
    std::string why;
    company->m_AdminUserId = AddCompanyUser(adminName, true, &why);
    PM_InitComponent();
    int result = company->m_AdminUserId == -1 ? PM_ERROR
                 : factoryDefaults            ? company->Manager().SetDefaultRoles()
                                              : PM_OK;
    if (result != PM_OK) {
        problem->refused = false;
        problem->message = "Cannot create a company in memory: " +
                           (why.empty() ? "the factory defaults could not be written (result " +
                                              std::to_string(result) + ")"
                                        : why) +
                           ".";
        return nullptr;
    }
    company->m_CatalogueVersion = GetCatalogueInfo().permissionDataVersion;
    company->m_FoundVersion = ReadVersionRecord();
    return company;
}

bool Company::Commit(std::string* error) {
    if (m_Committed || (m_Change == nullptr && m_BuildPath.empty())) {
        return true;
    }
    // The library passes over some failed reads and writes; a change during
    // which one failed is not written.
    long failed = m_Change == nullptr ? 0 : m_Change->FailedOperations();
    int rc = failed > 0 || m_Change == nullptr ? kBracketOk : m_Change->Commit();
    m_Change.reset();
    if (failed > 0) {
        *error = std::to_string(failed) + " read" + (failed == 1 ? "" : "s") + " or write" +
                 (failed == 1 ? "" : "s") +
                 " of the company failed on the way, so the change would not be whole" +
                 LastRecordFailureWords();
        return false;
    }
    if (rc != kBracketOk) {
        *error = DescribeWriteFailure(rc);
        return false;
    }
    if (!m_BuildPath.empty()) {
        Manager().Term();
        CompanyFileResult renamed = CloseAndRenameCompanyFile(m_Path);
        if (!renamed.ok) {
            *error = renamed.reason;
            return false;
        }
        m_BuildPath.clear();
    }
    m_Committed = true;
    return true;
}

Company::~Company() {
    m_Change.reset(); // takes back what was not committed
    PM_UninitComponent();
    CloseCompanyFile();
    SetUserManager(nullptr);
    UnloadCatalogue();
    if (!m_BuildPath.empty()) {
        RemoveWithSidecars(m_BuildPath);
    }
}

} // namespace Host
