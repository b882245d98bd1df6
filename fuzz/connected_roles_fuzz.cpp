// libFuzzer target for the connected-role reader: any text that the sphere
// module may hand over is read into connected-entitlement sets and the role
// listing is flagged by them. Nothing may crash, throw out of the library or
// read out of bounds; a role is flagged connected exactly when its description
// carries the suffix, and a blank text leaves the read's log line. Leaks are
// not looked for: the library keeps a text that it could not parse, on
// purpose, so every malformed input leaks its block.
#include "support/PermissionManagerTestAccess.h"

#include <host/company/Company.h>
#include <host/loader/ModuleLoaderHooks.h>
#include <host/util/OpsHooks.h>

#include <PM/PermissionManager.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

const char kSuffix[] = " This role needs Orvane account.";
const char kReadError[] = "UserMgmt: Error reading Connected roles from config.";

std::string g_Document; // what the module hands over for the current input
bool g_ReadErrorLogged = false;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// The module's export: the document in a block that the library frees.
extern "C" char* ServeDocument() {
    char* block = static_cast<char*>(std::malloc(g_Document.size() + 1));
    if (block != nullptr) {
        std::memcpy(block, g_Document.c_str(), g_Document.size() + 1);
    }
    return block;
}

bool EndsWith(std::string const& text, char const* suffix) {
    std::size_t const n = std::strlen(suffix);
    return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

PM::PermissionManager& Manager() {
    return PM::PermissionManager::GetThePermissionManager();
}

// Once: the shipped catalogue's factory defaults in a company file in memory,
// the module registered in process, a silent log that notes the read error.
void SetUpOnce() {
    static bool done = false;
    if (done) {
        return;
    }
    done = true;
    Host::SetLogSink([](Host::LogRecord const& record) {
        g_ReadErrorLogged = g_ReadErrorLogged || record.text == kReadError;
    });
    Host::SetVerifyHandler([](Host::VerifyReport const&) { return false; });
    Host::RegisterModule("SphereMgmt.DLL", {{"GetConnectedRolesListFromDCE",
                                             reinterpret_cast<void*>(&ServeDocument)}});
    Host::CompanyOptions options;
    options.catalogue = PM_FUZZ_CATALOGUE;
    Host::CompanyProblem problem;
    static std::unique_ptr<Host::Company> company =
        Host::Company::CreateInMemory(options, "admin", &problem);
    Require(company != nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    SetUpOnce();
    // The library reads up to the first NUL, as it would from the module.
    g_Document.assign(reinterpret_cast<char const*>(data), size);
    g_Document.resize(std::strlen(g_Document.c_str()));
    g_ReadErrorLogged = false;
    PM::PermissionManagerTestAccess(Manager()).ConnectedEntitlementSets().clear();

    Manager().FetchConnectedEntitlementIDList();
    for (PM::ConnectedEntitlementSet const& set :
         PM::PermissionManagerTestAccess(Manager()).ConnectedEntitlementSets()) {
        Require(!set.empty());
    }
    bool const anySets =
        !PM::PermissionManagerTestAccess(Manager()).ConnectedEntitlementSets().empty();

    std::unique_ptr<std::vector<PM::RoleDef>> roles(
        Manager().GetAvailableRoles(PM::kListIncludeAdmin, PM::kListIncludeInvisible));
    Require(roles != nullptr && !roles->empty());
    for (PM::RoleDef const& role : *roles) {
        std::string const description = role.GetDescription().c_str();
        Require(role.GetIsConnectedRole() == EndsWith(description, kSuffix));
        Require(anySets || !role.GetIsConnectedRole());
    }
    // A text with nothing in it cannot be read: the log line, no sets.
    if (g_Document.find_first_not_of(" \t\r\n") == std::string::npos) {
        Require(g_ReadErrorLogged && !anySets);
    }
    return 0;
}
