// The company functions that CompanyFile.cpp calls for a server location:
// the one open server company of the process.
#include "ServerCompany.h"

#include "../Connection.h"
#include "ServerCodes.h"
#include "ServerConnection.h"
#include "ServerLocation.h"
#include "ServerSchema.h"

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
    result.unreachable = unreachable;
    result.message =
        std::string("Cannot ") + verb + " company database '" + shown + "': " + reason + ".";
    return result;
}

CompanyFileResult Open(std::string const& uri, bool snapshot) {
    std::string shown = MaskedLocation(uri);
    if (IsCompanyFileOpen()) {
        return Refused("open", shown,
                       "the company file '" + CurrentCompanyFilePath() + "' is open");
    }
    std::string reason;
    bool unreachable = false;
    std::unique_ptr<ServerConnection> connection =
        ServerConnection::Connect(uri, &reason, &unreachable);
    if (connection != nullptr) {
        reason = CheckCompanyDatabase(*connection);
    }
    if (reason.empty() && snapshot) {
        int code = connection->BeginSession();
        if (code != kEngineOk) {
            reason = "it cannot be read: " + DescribeServerCode(code);
        }
    }
    if (!reason.empty()) {
        return Refused("open", shown, reason, unreachable);
    }
    connection->generation = NextGeneration();
    OpenCompany() = std::move(connection);
    CompanyFileResult result;
    result.ok = true;
    return result;
}

} // namespace

ServerConnection* OpenServerConnection() {
    return OpenCompany().get();
}

CompanyFileResult CreateServerCompany(std::string const& uri) {
    std::string shown = MaskedLocation(uri);
    if (IsCompanyFileOpen()) {
        return Refused("create", shown,
                       "the company file '" + CurrentCompanyFilePath() + "' is open");
    }
    std::string reason;
    bool unreachable = false;
    std::unique_ptr<ServerConnection> connection =
        ServerConnection::Connect(uri, &reason, &unreachable);
    if (connection != nullptr) {
        reason = CheckEmptyDatabase(*connection);
    }
    if (!reason.empty()) {
        return Refused("create", shown, reason, unreachable);
    }
    connection->SetSchemaPending();
    connection->generation = NextGeneration();
    OpenCompany() = std::move(connection);
    CompanyFileResult result;
    result.ok = true;
    return result;
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
