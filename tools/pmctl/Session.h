// One company file opened for one pmctl command, the way a host opens it
// (Host::Company): for a read, a snapshot in memory that nothing reaches the
// file from; for a change, one write bracket that Commit writes whole.
#pragma once

#include <host/company/Company.h>
#include <host/records/CompanyTables.h>

#include <PM/PermissionManager.h>

#include <memory>
#include <ostream>
#include <string>

namespace Pmctl {

using Host::ReadVersionRecord;
using Host::VersionRecord;

enum class Access {
    kRead,   // a snapshot: an older file is not upgraded, nothing is written
    kChange, // one write bracket; an older file is upgraded inside it
};

// Why a session could not be opened, and the exit code that says so: 2 when
// the file or the catalogue was refused, 1 when it could not be done now
// (another program writing, a failed load).
struct OpenFailure {
    std::string message;
    int exitCode = 2;
};

// The catalogue is a path; empty means the one that ships with pmctl.
class Session {
public:
    // A new company file at path with the factory defaults of the catalogue
    // and an administrator named adminName, who holds the Admin role. It
    // appears at path only at Commit. Null, with the reason, on failure.
    static std::unique_ptr<Session> Create(std::string const& path, std::string const& catalogue,
                                           std::string const& adminName, OpenFailure* failure);
    // An existing company file. A file whose stored version is newer than
    // the catalogue's is refused: Init would merge it back and drop what the
    // older catalogue lacks. Null, with the reason, on failure; the file is
    // then as it was.
    static std::unique_ptr<Session> Open(std::string const& path, std::string const& catalogue,
                                         Access access, OpenFailure* failure);
    // As a desktop keeps it open: each record operation commits by itself.
    static std::unique_ptr<Session> OpenLive(std::string const& path, std::string const& catalogue,
                                             OpenFailure* failure);

    PM::PermissionManager& Manager() { return m_Company->Manager(); }
    std::string const& Path() const { return m_Company->Path(); }
    Host::Company& Company() { return *m_Company; }

    // The version record as the file held it when it was opened, before Init
    // (for a created file: as written).
    VersionRecord const& FoundVersion() const { return m_Company->FoundVersion(); }
    // The catalogue's permission data version.
    int CatalogueVersion() const { return m_Company->CatalogueVersion(); }
    // Whether Init upgraded the stored data: for a change, in the bracket; for
    // a read, in the snapshot only (the next change will upgrade the file).
    bool UpgradedOnOpen() const { return m_Company->UpgradedOnOpen(); }
    // Runs Init again, after bulk writes that bypassed the caches; false with
    // the reason on err.
    bool Reload(std::ostream& err);
    // Writes the change; false with what failed in *error, and then nothing
    // of it is in the file.
    bool Commit(std::string* error) { return m_Company->Commit(error); }

    // The file's tables as the change found them, read inside its bracket
    // before Init (so before an upgrade on the way); empty for a created
    // file. Null, with the reason in *error, when they could not be read or
    // the session is not a change.
    Host::CompanyTables const* TablesBefore(std::string* error) const {
        *error = m_TablesBeforeError;
        return m_TablesBeforeError.empty() ? &m_TablesBefore : nullptr;
    }

private:
    explicit Session(std::unique_ptr<Host::Company> company) : m_Company(std::move(company)) {}
    // The session of a company that started, or null with its problem in
    // *failure.
    static std::unique_ptr<Session> Started(std::unique_ptr<Host::Company> company,
                                            Host::CompanyProblem const& problem,
                                            OpenFailure* failure);

    std::unique_ptr<Host::Company> m_Company;
    Host::CompanyTables m_TablesBefore;
    std::string m_TablesBeforeError;
};

// The catalogue that ships with pmctl.
std::string DefaultCataloguePath();

} // namespace Pmctl
