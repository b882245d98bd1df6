// One company file opened the way a host opens it: the catalogue loaded, the
// company file open, the company's users installed, the permission manager
// created and initialised. Every pmctl command works inside a Session.
#pragma once

#include <PM/PermissionManager.h>

#include <memory>
#include <ostream>
#include <string>

namespace Pmctl {

// The version record of a company file: its name ("PermissionData-27-216")
// and the version and entitlement count read from it; -1 when there is none.
struct VersionRecord {
    std::string name;
    int version = -1;
    int entitlementCount = -1;
};

class Session {
public:
    // A new company file at path with the factory defaults of the catalogue
    // and an administrator named adminName, who holds the Admin role. Refuses
    // a path that exists. Null, with the reason written to err, on failure.
    static std::unique_ptr<Session> Create(std::string const& path, std::string const& catalogue,
                                           std::string const& adminName, std::ostream& err);
    // An existing company file, upgraded to the catalogue's version by Init.
    // A file whose stored version is newer than the catalogue's is refused:
    // Init would merge it back and drop what the older catalogue lacks.
    // Null, with the reason written to err, on failure; the file is then as it was.
    static std::unique_ptr<Session> Open(std::string const& path, std::string const& catalogue,
                                         std::ostream& err);
    // Terminates the manager, closes the company file and unloads the catalogue.
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    PM::PermissionManager& Manager() { return PM::PermissionManager::GetThePermissionManager(); }
    std::string const& Path() const { return m_Path; }

    // The version record as the file held it when it was opened, before Init
    // (for a created file: as written).
    VersionRecord const& FoundVersion() const { return m_FoundVersion; }
    // The catalogue's permission data version.
    int CatalogueVersion() const { return m_CatalogueVersion; }
    // Whether Init changed the version record: it upgraded the stored data.
    bool UpgradedOnOpen() const { return m_UpgradedOnOpen; }
    // Runs Init again, after bulk writes that bypassed the caches; false with
    // the reason on err.
    bool Reload(std::ostream& err);

private:
    explicit Session(std::string path) : m_Path(std::move(path)) {}

    std::string m_Path;
    VersionRecord m_FoundVersion;
    int m_CatalogueVersion = -1;
    bool m_UpgradedOnOpen = false;
};

// The version record (entitlement 0) of the open company file.
VersionRecord ReadVersionRecord();
// The catalogue that ships with pmctl.
std::string DefaultCataloguePath();

} // namespace Pmctl
