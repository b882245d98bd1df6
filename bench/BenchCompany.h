// Companies for the manager's benchmarks: made once per process from the
// shipped catalogue by the factory defaults, with ten roles, three users and a
// chosen number of bank accounts, then opened as a host opens them. On SQLite
// each count is a file of its own under $TMPDIR; on the server the one
// database that PM_TEST_POSTGRES_URI names holds one company at a time, and is
// emptied and filled again when another count is asked for. The sphere module
// is the real one, serving its sample connected-role document.
#pragma once

#include <PM/PermissionManager.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace Bench {

// The users of a benchmark company file (host user ids).
struct Users {
    int admin = -1; // role 0, "Admin"
    int oneRole = -1;
    int threeRoles = -1;
};

// Which engine of the record layer holds a benchmark company.
enum class Engine { kSqlite, kServer };

// "SQLite" or "Server", as benchmark names show the engine.
char const* EngineName(Engine engine);

// PM_TEST_POSTGRES_URI, or empty when it is not set.
std::string ServerUri();

// Makes, the first time it is asked for a count on an engine, a company with
// the factory defaults, ten roles and bankAccounts accounts directly below
// "Bank Accounts" (the bulk path, then the roles' batch update), all of it one
// change, and opens it live: the catalogue loaded, the company-file user
// manager in place, the manager created and initialised. Later calls reopen
// the company made before. A company left open by an earlier call is closed
// first. On the server, making a company first empties the database (every
// table in its public schema is dropped). False, with the reason in *error,
// when any step fails or, for the server, PM_TEST_POSTGRES_URI is not set.
bool OpenCompany(Engine engine, int bankAccounts, Users* users, std::string* error);
// The same on SQLite.
bool OpenCompany(int bankAccounts, Users* users, std::string* error);

// Closes the company file and lets the manager and catalogue go. The files
// stay until RemoveCompanyFiles.
void CloseCompany();

// Removes every file that OpenCompany made in this process; a server company
// stays in its database.
void RemoveCompanyFiles();

// Entitlement ids of the open company file's catalogue, in a fixed random
// order (count of them, drawn with repetition).
std::vector<int> RandomEntitlementIds(std::size_t count);

// The loop of an EstablishUser benchmark on the open company: each iteration
// runs Init outside the timing, so that the store's mask cache is empty and
// every mask is read from the company, then times EstablishUser(user), inside
// one Host::ReadTransaction when bracketed. Counts the statements sent to the
// server per EstablishUser (0 on SQLite). Closes the company.
void EstablishRightAfterInit(benchmark::State& state, int user, bool bracketed);

// Statements sent to the server since the open company connected; 0 on
// SQLite.
long StatementsSent();

// Runs the benchmarks that the command line selects, then removes the company
// files; the body of a benchmark program's main.
int RunBenchmarks(int argc, char** argv);

} // namespace Bench
