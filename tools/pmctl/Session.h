// One company file opened the way a host opens it: the catalogue loaded, the
// company file open, the company's users installed, the permission manager
// created and initialised. Every pmctl command works inside a Session.
#pragma once

#include <PM/PermissionManager.h>

#include <memory>
#include <ostream>
#include <string>

namespace Pmctl {

class Session {
public:
    // A new company file at path with the factory defaults of the catalogue
    // and an administrator named adminName, who holds the Admin role. Refuses
    // a path that exists. Null, with the reason written to err, on failure.
    static std::unique_ptr<Session> Create(std::string const& path, std::string const& catalogue,
                                           std::string const& adminName, std::ostream& err);
    // An existing company file, upgraded to the catalogue's version by Init.
    // Null, with the reason written to err, on failure; the file is then as it was.
    static std::unique_ptr<Session> Open(std::string const& path, std::string const& catalogue,
                                         std::ostream& err);
    // Terminates the manager, closes the company file and unloads the catalogue.
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    PM::PermissionManager& Manager() { return PM::PermissionManager::GetThePermissionManager(); }
    std::string const& Path() const { return m_Path; }

private:
    explicit Session(std::string path) : m_Path(std::move(path)) {}
    std::string m_Path;
};

// The catalogue that ships with pmctl.
std::string DefaultCataloguePath();

} // namespace Pmctl
