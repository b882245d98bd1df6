// The company functions that CompanyFile.cpp calls for a server location:
// the one open server company of the process.
#include "ServerCompany.h"

#include "../Connection.h"
#include "ServerCodes.h"
#include "ServerConnection.h"
#include "ServerLocation.h"
#include "ServerSchema.h"

#include <functional>
#include <memory>

namespace Host {
namespace detail {

namespace {

std::unique_ptr<ServerConnection>& OpenCompany() {
    static std::unique_ptr<ServerConnection> company;
    return company;
}

CompanyFileResult Refused(char const* verb, std::string const& shown, std::string const& reason,
                          bool unreachable = false) {
    CompanyFileResult result;
    result.reason = reason;
    // Not refused: the same command may work later, for every caller that
    // asks busy (CompanyFile.h).
    result.busy = unreachable;
    result.unreachable = unreachable;
    result.message =
        std::string("Cannot ") + verb + " company database '" + shown + "': " + reason + ".";
    return result;
}

// A connection to uri for verb ("open", "create") that check found fit
// (check returns the reason it is not, empty when it is); null, with the
// refusal in *refused, when no connection is to be had or check refuses.
std::unique_ptr<ServerConnection>
Connected(std::string const& uri, char const* verb,
          std::function<std::string(ServerConnection&)> const& check, CompanyFileResult* refused) {
    std::string shown = MaskedLocation(uri);
    if (IsCompanyFileOpen()) {
        *refused =
            Refused(verb, shown, "the company file '" + CurrentCompanyFilePath() + "' is open");
        return nullptr;
    }
    std::string reason;
    bool unreachable = false;
    std::unique_ptr<ServerConnection> connection =
        ServerConnection::Connect(uri, &reason, &unreachable);
    if (connection != nullptr) {
        reason = check(*connection);
        // A connection lost while checking (the server restarting), or a
        // lock another program held past the busy timeout, refuses nothing
        // about the database: the same command may work later.
        unreachable =
            !reason.empty() && (!connection->Connected() || IsBusyCode(connection->LastFailure()));
    }
    if (!reason.empty()) {
        *refused = Refused(verb, shown, reason, unreachable);
        return nullptr;
    }
    return connection;
}

// Makes connection the open company's.
CompanyFileResult Adopted(std::unique_ptr<ServerConnection> connection) {
    connection->generation = NextGeneration();
    OpenCompany() = std::move(connection);
    CompanyFileResult result;
    result.ok = true;
    return result;
}

CompanyFileResult Open(std::string const& uri, bool snapshot) {
    CompanyFileResult refused;
    std::unique_ptr<ServerConnection> connection = Connected(
        uri, "open",
        [snapshot](ServerConnection& opened) {
            std::string reason = CheckCompanyDatabase(opened);
            int code = reason.empty() && snapshot ? opened.BeginSession() : kEngineOk;
            return code != kEngineOk ? "it cannot be read: " + DescribeServerCode(code) : reason;
        },
        &refused);
    return connection == nullptr ? refused : Adopted(std::move(connection));
}

} // namespace

ServerConnection* OpenServerConnection() {
    return OpenCompany().get();
}

CompanyFileResult CreateServerCompany(std::string const& uri) {
    CompanyFileResult refused;
    std::unique_ptr<ServerConnection> connection =
        Connected(uri, "create", CheckEmptyDatabase, &refused);
    if (connection == nullptr) {
        return refused;
    }
    connection->SetSchemaPending();
    return Adopted(std::move(connection));
}

CompanyFileResult OpenServerCompany(std::string const& uri) {
    return Open(uri, false);
}

CompanyFileResult OpenServerCompanySnapshot(std::string const& uri) {
    return Open(uri, true);
}

bool ServerCompanyIsSnapshot() {
    return OpenCompany() != nullptr && OpenCompany()->IsSession();
}

void CloseServerCompany() {
    std::unique_ptr<ServerConnection>& company = OpenCompany();
    if (company != nullptr) {
        ConnectionClosing(*company);
        company.reset();
    }
}

Engine* OpenServerEngine() {
    return OpenCompany().get();
}

std::string ServerCompanyLocation() {
    return OpenCompany() != nullptr ? OpenCompany()->ShownLocation() : std::string();
}

} // namespace detail
} // namespace Host
