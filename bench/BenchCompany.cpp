// Benchmark companies: made once per engine and bank-account count, reopened
// for every benchmark that asks for that count; the server's database holds
// the count made last.
#include "BenchCompany.h"

#include <host/company/Company.h>
#include <host/records/Transactions.h>
#include <host/records/postgres/ServerConnection.h>
#include <host/records/postgres/ServerLocation.h>
#include <host/users/CompanyUsers.h>

#include <PM/Constants.h>
#include <PM/RoleDef.h>

#include <benchmark/benchmark.h>
#include <pqxx/pqxx>

#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <unistd.h>

namespace Bench {

namespace {

std::map<int, std::string> g_Made; // bank-account count: path of the SQLite file
int g_ServerHolds = -1;            // the count the server's database holds; -1: none yet
std::unique_ptr<Host::Company> g_Company;

std::string PathFor(int bankAccounts) {
    char const* directory = std::getenv("TMPDIR");
    return std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") +
           "/pm_manager_bench_" + std::to_string(::getpid()) + "_" + std::to_string(bankAccounts) +
           ".pmco";
}

void RemoveFile(std::string const& path) {
    for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
        ::unlink((path + suffix).c_str());
    }
}

PM::PermissionManager& Manager() {
    return PM::PermissionManager::GetThePermissionManager();
}

// The catalogue and the module, as a host opens a company; the module serves
// its sample document.
Host::CompanyOptions Options(Host::CompanyAccess access) {
    ::setenv("SPHERE_MGMT_CONNECTED_ROLES", PM_BENCH_CONNECTED_ROLES, 1);
    Host::CompanyOptions options;
    options.catalogue = PM_BENCH_CATALOGUE;
    options.moduleDirectory = PM_BENCH_MODULE_DIR;
    options.access = access;
    return options;
}

// A new role named name with the masks that the role from holds.
bool CopyRole(char const* from, char const* name, std::string* error) {
    int fromId = Manager().LookupRole(from);
    std::unique_ptr<std::vector<PM::EntitlementDef>> grants(
        Manager().GetEntitlements(fromId, -1, false));
    if (fromId == PM_ERROR || grants == nullptr) {
        *error = std::string("no role ") + from + " to copy";
        return false;
    }
    PM::RoleDef role;
    role.SetName(name);
    role.SetDescription("A role made for the benchmark");
    if (Manager().SetRoleEntitlements(role, *grants) < 0) {
        *error = std::string("could not save the role ") + name;
        return false;
    }
    return true;
}

bool Assign(int user, char const* roleName, std::string* error) {
    int role = Manager().LookupRole(roleName);
    if (role == PM_ERROR || Manager().SetRoleForUser(user, role) != PM_OK) {
        *error = std::string("could not give the role ") + roleName;
        return false;
    }
    return true;
}

// Drops every table of the server database's public schema, so that a
// company can be made in it.
bool EmptyServerDatabase(std::string const& uri, std::string* error) {
    try {
        pqxx::connection connection(uri);
        pqxx::nontransaction work(connection);
        work.exec("SET client_min_messages = warning; DROP SCHEMA IF EXISTS public CASCADE; "
                  "CREATE SCHEMA public");
        return true;
    } catch (std::exception const& failure) {
        *error = "cannot empty the database " + Host::MaskedLocation(uri) + ": " +
                 Host::ScrubSecret(failure.what(), uri);
        return false;
    }
}

// Makes a new company at location (an SQLite path, or an emptied server
// database), all of it one change.
bool Make(std::string const& location, int bankAccounts, std::string* error) {
    if (Host::IsServerLocation(location)) {
        if (!EmptyServerDatabase(location, error)) {
            return false;
        }
    } else {
        RemoveFile(location);
    }
    Host::CompanyProblem problem;
    g_Company = Host::Company::Create(location, Options(Host::CompanyAccess::kOneChange), "admin",
                                      &problem);
    if (g_Company == nullptr) {
        *error = problem.message;
        return false;
    }
    int one = Host::AddCompanyUser("clerk", false, error);
    int three = Host::AddCompanyUser("manager", false, error);
    if (one < 0 || three < 0) {
        return false;
    }
    // The shipped defaults hold eight roles; two more make ten.
    if (!CopyRole("Sales", "Sales East", error) || !CopyRole("Purchasing", "Receiving", error) ||
        !Assign(one, "Sales", error) || !Assign(three, "Sales", error) ||
        !Assign(three, "Purchasing", error) || !Assign(three, "Bookkeeper", error)) {
        return false;
    }
    if (bankAccounts > 0) {
        long attrs = Manager().FindEntitlementDefById(PM::BankAccountsEntitlementId).GetAttrs();
        for (int i = 0; i < bankAccounts; ++i) {
            std::string name = "Account " + std::to_string(i);
            if (Manager().AddDynamicEntitlementRapidly(
                    name.c_str(), PM::kFirstDynamicEntitlementId + i, PM::BankAccountsEntitlementId,
                    static_cast<int>(attrs)) != PM_OK) {
                *error = "could not add " + name;
                return false;
            }
        }
        if (Manager().UpdateDynamicEntitlementForRolesInBatch(PM::kFirstDynamicEntitlementId,
                                                              bankAccounts) != PM_OK) {
            *error = "the roles' batch update failed";
            return false;
        }
    }
    bool committed = g_Company->Commit(error);
    CloseCompany();
    return committed;
}

} // namespace

char const* EngineName(Engine engine) {
    return engine == Engine::kServer ? "Server" : "SQLite";
}

std::string ServerUri() {
    char const* uri = std::getenv("PM_TEST_POSTGRES_URI");
    return uri != nullptr ? uri : "";
}

bool OpenCompany(int bankAccounts, Users* users, std::string* error) {
    return OpenCompany(Engine::kSqlite, bankAccounts, users, error);
}

bool OpenCompany(Engine engine, int bankAccounts, Users* users, std::string* error) {
    CloseCompany();
    bool const server = engine == Engine::kServer;
    std::string const location = server ? ServerUri() : PathFor(bankAccounts);
    if (location.empty()) {
        *error = "PM_TEST_POSTGRES_URI is not set (bench/run-scale-bench.sh sets it)";
        return false;
    }
    bool const made = server ? g_ServerHolds == bankAccounts : g_Made.count(bankAccounts) != 0;
    if (!made) {
        g_ServerHolds = server ? -1 : g_ServerHolds;
        if (!Make(location, bankAccounts, error)) {
            CloseCompany();
            if (!server) {
                RemoveFile(location);
            }
            return false;
        }
        if (server) {
            g_ServerHolds = bankAccounts;
        } else {
            g_Made[bankAccounts] = location;
        }
    }
    Host::CompanyProblem problem;
    g_Company = Host::Company::Open(location, Options(Host::CompanyAccess::kLive), &problem);
    if (g_Company == nullptr) {
        *error = problem.message;
        return false;
    }
    users->admin = Host::FindCompanyUser("admin");
    users->oneRole = Host::FindCompanyUser("clerk");
    users->threeRoles = Host::FindCompanyUser("manager");
    return true;
}

void CloseCompany() {
    g_Company.reset();
}

void RemoveCompanyFiles() {
    for (auto const& made : g_Made) {
        RemoveFile(made.second);
    }
    g_Made.clear();
}

void EstablishRightAfterInit(benchmark::State& state, int user, bool bracketed) {
    long statements = 0;
    for (auto _ : state) {
        state.PauseTiming();
        int init = Manager().Init();
        long const before = StatementsSent();
        state.ResumeTiming();
        {
            std::unique_ptr<Host::ReadTransaction> reads(bracketed ? new Host::ReadTransaction
                                                                   : nullptr);
            if (init != PM_OK || Manager().EstablishUser(user) != PM_OK) {
                state.SkipWithError("Init or EstablishUser failed");
                break;
            }
        }
        statements += StatementsSent() - before;
    }
    state.counters["statements"] =
        benchmark::Counter(static_cast<double>(statements), benchmark::Counter::kAvgIterations);
    CloseCompany();
}

long StatementsSent() {
    Host::detail::ServerConnection* server = Host::detail::OpenServerConnection();
    return server != nullptr ? server->StatementsSent() : 0;
}

int RunBenchmarks(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    RemoveCompanyFiles();
    return 0;
}

std::vector<int> RandomEntitlementIds(std::size_t count) {
    std::vector<int> known;
    std::unique_ptr<std::vector<PM::EntitlementDef>> all(Manager().GetEntitlements(-1, -1, false));
    if (all != nullptr) {
        for (PM::EntitlementDef const& def : *all) {
            known.push_back(def.GetId());
        }
    }
    std::vector<int> ids;
    if (known.empty()) {
        return ids;
    }
    std::mt19937 random(20261123);
    std::uniform_int_distribution<std::size_t> pick(0, known.size() - 1);
    for (std::size_t i = 0; i < count; ++i) {
        ids.push_back(known[pick(random)]);
    }
    return ids;
}

} // namespace Bench
