// The manager's hot path and its start: IsAccessAllowed (a hit, a miss, no
// user), EstablishUser for users of one and of three roles right after Init,
// and Init on a company file reopened from disk; the last two also with the
// call bracketed in one read transaction, as a host brackets a login. The company file is made
// from the shipped catalogue (see BenchCompany.h).
//
// Run: build/bin/manager_bench [--benchmark_repetitions=5]
#include "BenchCompany.h"

#include <host/records/CompanyFile.h>

#include <PM/PermissionManager.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

namespace {

PM::PermissionManager& Manager() {
    return PM::PermissionManager::GetThePermissionManager();
}

// Ids drawn at random from the catalogue, so that the map search is not
// answered from one hot cache line; a power of two, for a cheap wrap.
const std::size_t kIdCount = 4096;

bool Open(benchmark::State& state, Bench::Users* users) {
    std::string error;
    if (!Bench::OpenCompany(0, users, &error)) {
        state.SkipWithError(error.c_str());
        return false;
    }
    return true;
}

// Asks about the ids in turn; how many were allowed is checked against what
// the case expects, so that the loop is not optimised away or wrong.
void AskInTurn(benchmark::State& state, std::vector<int> const& ids, long mask,
               bool expectAllowed) {
    std::size_t i = 0;
    std::size_t allowed = 0;
    std::size_t asked = 0;
    for (auto _ : state) {
        bool answer = Manager().IsAccessAllowed(ids[i], mask);
        benchmark::DoNotOptimize(answer);
        allowed += answer;
        ++asked;
        i = (i + 1) & (kIdCount - 1);
    }
    if (allowed != (expectAllowed ? asked : 0)) {
        state.SkipWithError("an answer differed from what the table holds");
    }
}

// Asks about ids at random from the catalogue (shifted by offset), with the
// administrator logged in or, when establish is false, no user at all.
void AskAbout(benchmark::State& state, bool establish, int offset, bool expectAllowed) {
    Bench::Users users;
    if (!Open(state, &users)) {
        return;
    }
    if (establish && Manager().EstablishUser(users.admin) != PM_OK) {
        state.SkipWithError("EstablishUser failed");
        Bench::CloseCompany();
        return;
    }
    std::vector<int> ids = Bench::RandomEntitlementIds(kIdCount);
    for (int& id : ids) {
        id += offset;
    }
    AskInTurn(state, ids, 1, expectAllowed);
    Bench::CloseCompany();
}

// The administrator holds 63 on every entitlement: View is always there.
void BM_IsAccessAllowed_Hit(benchmark::State& state) {
    AskAbout(state, true, 0, true);
}
// Ids between the bands, where no entitlement exists: no row, refused.
void BM_IsAccessAllowed_Miss(benchmark::State& state) {
    AskAbout(state, true, 150000, false);
}
void BM_IsAccessAllowed_NoUser(benchmark::State& state) {
    AskAbout(state, false, 0, true);
}

// Whether the benchmark brackets the measured call in one read transaction of
// the company file, as a host does around a login (Host::ReadTransaction).
bool Bracketed(benchmark::State const& state) {
    return state.range(0) != 0;
}

// EstablishUser right after Init: the store's mask cache is empty, so every
// mask is read from the company file once.
void EstablishAfterInit(benchmark::State& state, bool threeRoles) {
    Bench::Users users;
    if (Open(state, &users)) {
        Bench::EstablishRightAfterInit(state, threeRoles ? users.threeRoles : users.oneRole,
                                       Bracketed(state));
    }
}

void BM_EstablishUser_OneRole(benchmark::State& state) {
    EstablishAfterInit(state, false);
}
void BM_EstablishUser_ThreeRoles(benchmark::State& state) {
    EstablishAfterInit(state, true);
}

// Init as a host runs it when it opens a company file: the file is closed and
// opened again outside the timing.
void BM_Init_OnReopen(benchmark::State& state) {
    Bench::Users users;
    if (!Open(state, &users)) {
        return;
    }
    std::string const path = Host::CurrentCompanyFilePath();
    for (auto _ : state) {
        state.PauseTiming();
        Manager().Term();
        Host::CloseCompanyFile();
        Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
        state.ResumeTiming();
        std::unique_ptr<Host::ReadTransaction> reads(Bracketed(state) ? new Host::ReadTransaction
                                                                      : nullptr);
        if (!opened.ok || Manager().Init() != PM_OK) {
            state.SkipWithError("reopen or Init failed");
            break;
        }
    }
    Bench::CloseCompany();
}

BENCHMARK(BM_IsAccessAllowed_Hit);
BENCHMARK(BM_IsAccessAllowed_Miss);
BENCHMARK(BM_IsAccessAllowed_NoUser);
BENCHMARK(BM_EstablishUser_OneRole)
    ->ArgName("bracketed")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EstablishUser_ThreeRoles)
    ->ArgName("bracketed")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Init_OnReopen)->ArgName("bracketed")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return Bench::RunBenchmarks(argc, argv);
}
