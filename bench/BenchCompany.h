// Company files for the manager's benchmarks: made once per process from the
// shipped catalogue by the factory defaults, on disk under $TMPDIR, with ten
// roles, three users and a chosen number of bank accounts, then opened as a
// host opens them. The sphere module is the real one, serving its sample
// connected-role document.
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

// Makes, the first time it is asked for a count, a company file with the
// factory defaults, ten roles and bankAccounts accounts directly below "Bank
// Accounts" (the bulk path, then the roles' batch update), and opens it: the
// catalogue loaded, the company-file user manager in place, the manager
// created and initialised. Later calls reopen the file made before. A file
// left open by an earlier call is closed first. False, with the reason in
// *error, when any step fails.
bool OpenCompany(int bankAccounts, Users* users, std::string* error);

// Closes the company file and lets the manager and catalogue go. The files
// stay until RemoveCompanyFiles.
void CloseCompany();

// Removes every file that OpenCompany made in this process.
void RemoveCompanyFiles();

// Entitlement ids of the open company file's catalogue, in a fixed random
// order (count of them, drawn with repetition).
std::vector<int> RandomEntitlementIds(std::size_t count);

// The loop of an EstablishUser benchmark on the open company file: each
// iteration runs Init outside the timing, so that the store's mask cache is
// empty and every mask is read from the file, then times EstablishUser(user),
// inside one Host::ReadTransaction when bracketed. Closes the company file.
void EstablishRightAfterInit(benchmark::State& state, int user, bool bracketed);

// Runs the benchmarks that the command line selects, then removes the company
// files; the body of a benchmark program's main.
int RunBenchmarks(int argc, char** argv);

} // namespace Bench
