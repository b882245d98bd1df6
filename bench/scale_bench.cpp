// How the manager's costs grow with the bank accounts of a company file: with
// 0, 1,000 and 5,000 account entitlements (and ten roles), Init, EstablishUser
// for a user of three roles right after Init, GetSortedEntitlements of one
// role, GetAvailableRoles (each after one warm-up call) and one
// AddDynamicEntitlement. Init and EstablishUser are measured also bracketed in
// one read transaction, as a host brackets opening a file and a login. The
// company files are made from the shipped catalogue (see BenchCompany.h).
//
// Run: build/bin/scale_bench [--benchmark_repetitions=5]
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

bool Open(benchmark::State& state, Bench::Users* users) {
    std::string error;
    if (!Bench::OpenCompany(static_cast<int>(state.range(0)), users, &error)) {
        state.SkipWithError(error.c_str());
        return false;
    }
    return true;
}

// Whether the measured call is bracketed in one read transaction of the
// company file, as a host brackets opening a file or a login
// (Host::ReadTransaction).
bool Bracketed(benchmark::State const& state) {
    return state.range(1) != 0;
}

void BM_Init(benchmark::State& state) {
    Bench::Users users;
    if (!Open(state, &users)) {
        return;
    }
    for (auto _ : state) {
        std::unique_ptr<Host::ReadTransaction> reads(Bracketed(state) ? new Host::ReadTransaction
                                                                      : nullptr);
        if (Manager().Init() != PM_OK) {
            state.SkipWithError("Init failed");
            break;
        }
    }
    Bench::CloseCompany();
}

void BM_EstablishUser_ThreeRoles(benchmark::State& state) {
    Bench::Users users;
    if (Open(state, &users)) {
        Bench::EstablishRightAfterInit(state, users.threeRoles, Bracketed(state));
    }
}

// The listing of the "Sales" role: every visible entitlement below the root,
// bank accounts included, each with the role's mask.
void BM_GetSortedEntitlements(benchmark::State& state) {
    Bench::Users users;
    if (!Open(state, &users)) {
        return;
    }
    int role = Manager().LookupRole("Sales");
    std::unique_ptr<std::vector<PM::EntitlementDef>> warmUp(Manager().GetSortedEntitlements(role));
    std::size_t const expected = warmUp == nullptr ? 0 : warmUp->size();
    if (expected < static_cast<std::size_t>(state.range(0))) {
        state.SkipWithError("the listing misses bank accounts");
        Bench::CloseCompany();
        return;
    }
    for (auto _ : state) {
        std::unique_ptr<std::vector<PM::EntitlementDef>> list(
            Manager().GetSortedEntitlements(role));
        if (list == nullptr || list->size() != expected) {
            state.SkipWithError("the listing changed");
            break;
        }
    }
    state.counters["rows"] = static_cast<double>(expected);
    Bench::CloseCompany();
}

void BM_GetAvailableRoles(benchmark::State& state) {
    Bench::Users users;
    if (!Open(state, &users)) {
        return;
    }
    PM::EListIncludeAdmin const all = PM::kListIncludeAdmin;
    PM::EListIncludeInvisible const visibleAndNot = PM::kListIncludeInvisible;
    std::unique_ptr<std::vector<PM::RoleDef>> warmUp(
        Manager().GetAvailableRoles(all, visibleAndNot));
    if (warmUp == nullptr || warmUp->size() != 10) {
        state.SkipWithError("the company file should list ten roles");
        Bench::CloseCompany();
        return;
    }
    for (auto _ : state) {
        std::unique_ptr<std::vector<PM::RoleDef>> roles(
            Manager().GetAvailableRoles(all, visibleAndNot));
        if (roles == nullptr || roles->size() != 10) {
            state.SkipWithError("the listing changed");
            break;
        }
    }
    Bench::CloseCompany();
}

// One more account per iteration, with the user established as a host has
// it: the store row, the lists, every role's mask and the user's table.
void BM_AddDynamicEntitlement(benchmark::State& state) {
    Bench::Users users;
    if (!Open(state, &users)) {
        return;
    }
    if (Manager().EstablishUser(users.threeRoles) != PM_OK) {
        state.SkipWithError("EstablishUser failed");
        Bench::CloseCompany();
        return;
    }
    int added = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::string name = "Bank Registers:New account " + std::to_string(added++);
        state.ResumeTiming();
        // A role that holds no mask on "Bank Accounts" is reported as a
        // failure and gets none on the account: the result is not the test.
        benchmark::DoNotOptimize(Manager().AddDynamicEntitlement(name.c_str(), "Bank Accounts"));
        state.PauseTiming();
        bool added = Manager().FindEntitlementDefByName(name.c_str()).GetId() != PM_ERR_NOENT;
        state.ResumeTiming();
        if (!added) {
            state.SkipWithError("AddDynamicEntitlement added nothing");
            break;
        }
    }
    // The accounts added here stay in that file: later runs of this benchmark
    // start from a slightly larger one, which the figures can bear.
    Bench::CloseCompany();
}

void Counts(benchmark::internal::Benchmark* b) {
    b->ArgName("accounts")->Arg(0)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);
}

void CountsBracketed(benchmark::internal::Benchmark* b) {
    b->ArgNames({"accounts", "bracketed"})
        ->ArgsProduct({{0, 1000, 5000}, {0, 1}})
        ->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Init)->Apply(CountsBracketed);
BENCHMARK(BM_EstablishUser_ThreeRoles)->Apply(CountsBracketed);
BENCHMARK(BM_GetSortedEntitlements)->Apply(Counts);
BENCHMARK(BM_GetAvailableRoles)->Apply(Counts);
BENCHMARK(BM_AddDynamicEntitlement)->Apply(Counts);

} // namespace

int main(int argc, char** argv) {
    return Bench::RunBenchmarks(argc, argv);
}
