// One company opened the way a host opens it, in one place: the catalogue
// loaded, the module path set, the company file open (for one whole change, as
// a snapshot, or live), the company's user manager installed, the permission
// manager created and initialised; and all of it let go, in the reverse
// order, when the Company is destroyed. At most one Company lives at a time
// in a process, as the library's manager is a singleton.
#pragma once

#include <PM/PermissionManager.h>

#include <functional>
#include <memory>
#include <string>

namespace Host {

class WriteTransaction;

// The version record of a company file (entitlement 0): its name
// ("PermissionData-27-216") and the version and entitlement count read from
// it; -1 when there is none or it cannot be read.
struct VersionRecord {
    std::string name;
    int version = -1;
    int entitlementCount = -1;
};

// The version record of the open company file.
VersionRecord ReadVersionRecord();

enum class CompanyAccess {
    // One whole change: every record operation, the upgrade that Init may
    // make among them, joins one write bracket; Commit writes it all, and
    // destroying the Company without Commit leaves the file as it was.
    kOneChange,
    // A copy in memory of the file: nothing reaches the file, whatever the
    // library writes (an upgrade, an application's role). A read-only file
    // can be opened so.
    kSnapshot,
    // As a desktop keeps a company open: each record operation commits by
    // itself, unless the host brackets a run of them.
    kLive,
};

// Why a company could not be opened or created: a whole sentence that names
// the file or database (a server URI with its password masked), and whether
// the file, the database or the catalogue was refused (bad input: a database
// that is not empty for a create, a password the server turned down) or the
// work could not be done now (another program writing, a failed load, a
// server that cannot be reached).
struct CompanyProblem {
    std::string message;
    bool refused = true;
};

struct CompanyOptions {
    std::string catalogue;       // the catalogue file, or the name its text goes by
    std::string catalogueText;   // the catalogue itself; empty: read the file
    std::string moduleDirectory; // where modules are found; empty: as set before
    CompanyAccess access = CompanyAccess::kOneChange;
    // Called by Open once the file is open (for kOneChange: inside the write
    // bracket) and before the manager's Init, which may upgrade the stored
    // data: where a host that records what a change did reads the file as it
    // was. Empty: nothing.
    std::function<void()> beforeInit;
};

class Company {
public:
    // Opens the company file at path. Refused, with the reason in *problem,
    // when the catalogue cannot be
    // loaded, the file is not a company file, the write bracket cannot begin
    // (another program is writing: "another program is writing this company
    // file; try again"), the stored permission data is newer than the
    // catalogue's (Init would merge it back to the older catalogue), or Init
    // fails or a read of the engine failed on the way (a lost connection).
    // A refused open leaves the file as it was.
    static std::unique_ptr<Company> Open(std::string const& path, CompanyOptions const& options,
                                         CompanyProblem* problem);
    // A new company file for path, built under a temporary name beside it:
    // the schema, an administrator named adminName, and the catalogue's
    // factory defaults, which give the administrator the Admin role. Only
    // Commit puts it at path; destroying the Company before leaves no file.
    // Refused when path exists. With kLive the record operations commit one
    // by one into the file being built (for measuring what the bracket saves);
    // otherwise they form one change.
    static std::unique_ptr<Company> Create(std::string const& path, CompanyOptions const& options,
                                           std::string const& adminName, CompanyProblem* problem);
    // In memory: the schema, an administrator named adminName, a manager and,
    // with factoryDefaults, the catalogue's defaults (SetDefaultRoles, which
    // ends with Init); without, an empty company whose manager has not run
    // Init. options.access is ignored. For tests, benchmarks and fuzzing.
    static std::unique_ptr<Company> CreateInMemory(CompanyOptions const& options,
                                                   std::string const& adminName,
                                                   CompanyProblem* problem,
                                                   bool factoryDefaults = true);
    // Takes back what was not committed, terminates the manager, closes the
    // file, and unloads the user manager and the catalogue.
    ~Company();
    Company(Company const&) = delete;
    Company& operator=(Company const&) = delete;

    PM::PermissionManager& Manager() { return PM::PermissionManager::GetThePermissionManager(); }
    std::string const& Path() const { return m_Path; }
    // For a created company, the temporary file it is built in until Commit.
    std::string const& BuildPath() const { return m_BuildPath; }
    // The user id of the administrator named at Create.
    int AdminUserId() const { return m_AdminUserId; }

    // The version record as the file held it when opened, before Init.
    VersionRecord const& FoundVersion() const { return m_FoundVersion; }
    // The catalogue's permission data version.
    int CatalogueVersion() const { return m_CatalogueVersion; }
    // Whether Init changed the version record: it upgraded the stored data
    // (for a snapshot: the copy, so the file will be upgraded by the next
    // change).
    bool UpgradedOnOpen() const { return m_UpgradedOnOpen; }

    // Writes the change to the file: kOneChange commits the bracket, Create
    // also gives the file its name. A change during which a record operation
    // failed is not written: the library passes over some failures, so it may
    // not be whole. False, with what failed in *error in an
    // administrator's words ("the disk is full"), and then nothing of the
    // change is in the file. kSnapshot and kLive: true, nothing to do.
    bool Commit(std::string* error);

private:
    Company() = default;
    // What every way in shares: no other company file open, the module path,
    // the catalogue. Null, with the reason (verb: "open", "create"), when
    // one of them fails.
    static std::unique_ptr<Company> Begin(std::string const& path, CompanyOptions const& options,
                                          char const* verb, CompanyProblem* problem);
    bool Start(std::string* error);

    std::string m_Path;
    std::string m_BuildPath;
    CompanyAccess m_Access = CompanyAccess::kLive;
    std::unique_ptr<WriteTransaction> m_Change;
    int m_AdminUserId = -1;
    VersionRecord m_FoundVersion;
    int m_CatalogueVersion = -1;
    bool m_UpgradedOnOpen = false;
    bool m_Committed = false;
};

} // namespace Host
