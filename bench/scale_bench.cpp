// How the manager's costs grow with the bank accounts of a company, on either
// engine of the record layer: with 0, 1,000 and 5,000 account entitlements
// (and ten roles), Init, EstablishUser for a user of three roles right after
// Init, GetSortedEntitlements of one role, GetAvailableRoles (each after one
// warm-up call), IsAccessAllowed beside a lookup in a dense array of the same
// masks, and one AddDynamicEntitlement. Init and EstablishUser are measured
// also bracketed in one read transaction, as a host brackets opening a
// company and a login. The companies are made from the shipped catalogue (see
// BenchCompany.h); at the end the run prints the figures that the targets
// name, side by side (ScaleSummary.h).
//
// Run: build/bin/scale_bench [--engine=sqlite|server|both] [benchmark flags]
// The server engine works on the database PM_TEST_POSTGRES_URI names, which
// it empties: bench/run-scale-bench.sh runs this program beside a throwaway
// PostgreSQL cluster, both engines in one run.
#include "BenchCompany.h"
#include "DenseDecision.h"
#include "ScaleSummary.h"

#include <host/records/CompanyFile.h>

#include <PM/PermissionManager.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using Bench::Engine;

PM::PermissionManager& Manager() {
    return PM::PermissionManager::GetThePermissionManager();
}

// What one benchmark case runs on: the engine and the accounts; the
// bracketing, where it matters, is the case's argument.
struct Case {
    Engine engine;
    int accounts;
};

bool Open(benchmark::State& state, Case const& on, Bench::Users* users) {
    std::string error;
    if (!Bench::OpenCompany(on.engine, on.accounts, users, &error)) {
        state.SkipWithError(error.c_str());
        return false;
    }
    return true;
}

// Whether the measured call is bracketed in one read transaction of the
// company (Host::ReadTransaction), as a host brackets opening a company or a
// login.
bool Bracketed(benchmark::State const& state) {
    return state.range(0) != 0;
}

void Init(benchmark::State& state, Case on) {
    Bench::Users users;
    if (!Open(state, on, &users)) {
        return;
    }
    long const before = Bench::StatementsSent();
    for (auto _ : state) {
        std::unique_ptr<Host::ReadTransaction> reads(Bracketed(state) ? new Host::ReadTransaction
                                                                      : nullptr);
        if (Manager().Init() != PM_OK) {
            state.SkipWithError("Init failed");
            break;
        }
    }
    state.counters["statements"] = benchmark::Counter(
        static_cast<double>(Bench::StatementsSent() - before), benchmark::Counter::kAvgIterations);
    Bench::CloseCompany();
}

void EstablishUser(benchmark::State& state, Case on) {
    Bench::Users users;
    if (Open(state, on, &users)) {
        Bench::EstablishRightAfterInit(state, users.threeRoles, Bracketed(state));
    }
}

// The listing of the "Sales" role: every visible entitlement below the root,
// bank accounts included, each with the role's mask.
void GetSortedEntitlements(benchmark::State& state, Case on) {
    Bench::Users users;
    if (!Open(state, on, &users)) {
        return;
    }
    int role = Manager().LookupRole("Sales");
    std::unique_ptr<std::vector<PM::EntitlementDef>> warmUp(Manager().GetSortedEntitlements(role));
    std::size_t const expected = warmUp == nullptr ? 0 : warmUp->size();
    if (expected < static_cast<std::size_t>(on.accounts)) {
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

void GetAvailableRoles(benchmark::State& state, Case on) {
    Bench::Users users;
    if (!Open(state, on, &users)) {
        return;
    }
    PM::EListIncludeAdmin const all = PM::kListIncludeAdmin;
    PM::EListIncludeInvisible const visibleAndNot = PM::kListIncludeInvisible;
    std::unique_ptr<std::vector<PM::RoleDef>> warmUp(
        Manager().GetAvailableRoles(all, visibleAndNot));
    if (warmUp == nullptr || warmUp->size() != 10) {
        state.SkipWithError("the company should list ten roles");
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

// Ids drawn at random from the catalogue and the accounts, so that neither
// lookup is answered from one hot cache line; a power of two, for a cheap
// wrap. The mask asked about is View.
const std::size_t kIdCount = 4096;
const long kAskedMask = 1;

// The masks the user of three roles holds, as a dense array by entitlement
// id: the OR of the roles' stored masks, which is what EstablishUser puts in
// the action table.
std::vector<long> DenseMasks(int user) {
    std::vector<long> dense;
    std::unique_ptr<std::vector<int>> roles(Manager().GetUserRoleIds(user));
    for (std::size_t r = 0; roles != nullptr && r < roles->size(); ++r) {
        std::unique_ptr<std::vector<PM::EntitlementDef>> masks(
            Manager().GetEntitlements((*roles)[r], -1, false));
        for (std::size_t e = 0; masks != nullptr && e < masks->size(); ++e) {
            PM::EntitlementDef const& def = (*masks)[e];
            std::size_t id = static_cast<std::size_t>(def.GetId());
            if (id >= dense.size()) {
                dense.resize(id + 1, 0);
            }
            dense[id] |= def.GetAction();
        }
    }
    return dense;
}

// Who answers in AskInTurn: the manager, or the dense array of the same masks,
// read inline in the loop or behind an exported call as the manager is.
enum class Asked { kManager, kDenseInline, kDenseCall };

// IsAccessAllowed for the established user of three roles, or the same
// question put to the dense array of that user's masks, over the same ids.
// Every answer of the manager is checked against the dense array once before
// the timing and the count of yeses after it, so that no loop is optimised
// away or wrong.
void AskInTurn(benchmark::State& state, Case on, Asked asked) {
    Bench::Users users;
    if (!Open(state, on, &users)) {
        return;
    }
    PM::PermissionManager& manager = Manager();
    std::vector<long> const masks = DenseMasks(users.threeRoles);
    Bench::DenseDecision const dense(masks);
    std::vector<int> const ids = Bench::RandomEntitlementIds(kIdCount);
    std::size_t expected = 0;
    bool agrees = manager.EstablishUser(users.threeRoles) == PM_OK && !ids.empty();
    for (std::size_t i = 0; agrees && i < kIdCount; ++i) {
        bool const allowed = (masks[static_cast<std::size_t>(ids[i])] & kAskedMask) != 0;
        expected += allowed;
        agrees = manager.IsAccessAllowed(ids[i], kAskedMask) == allowed &&
                 dense.IsAllowed(ids[i], kAskedMask) == allowed;
    }
    if (!agrees) {
        state.SkipWithError("IsAccessAllowed differs from the masks of the user's roles");
        Bench::CloseCompany();
        return;
    }
    std::size_t i = 0;
    std::size_t allowed = 0;
    std::size_t passes = 0;
    for (auto _ : state) {
        bool answer = false;
        switch (asked) {
        case Asked::kManager:
            answer = manager.IsAccessAllowed(ids[i], kAskedMask);
            break;
        case Asked::kDenseInline:
            answer = (masks[static_cast<std::size_t>(ids[i])] & kAskedMask) != 0;
            break;
        case Asked::kDenseCall:
            answer = dense.IsAllowed(ids[i], kAskedMask);
            break;
        }
        benchmark::DoNotOptimize(answer);
        allowed += answer;
        i = (i + 1) & (kIdCount - 1);
        passes += i == 0;
    }
    // The answers of the last, unfinished pass are not counted against it.
    std::size_t lastPass = 0;
    for (std::size_t k = 0; k < i; ++k) {
        lastPass += (masks[static_cast<std::size_t>(ids[k])] & kAskedMask) != 0;
    }
    if (allowed != passes * expected + lastPass) {
        state.SkipWithError("an answer changed during the run");
    }
    Bench::CloseCompany();
}

// One more account per iteration, with the user established as a host has
// it: the store row, the lists, every role's mask and the user's table.
void AddDynamicEntitlement(benchmark::State& state, Case on) {
    Bench::Users users;
    if (!Open(state, on, &users)) {
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
        bool found = Manager().FindEntitlementDefByName(name.c_str()).GetId() != PM_ERR_NOENT;
        state.ResumeTiming();
        if (!found) {
            state.SkipWithError("AddDynamicEntitlement added nothing");
            break;
        }
    }
    // The accounts added here stay in that company; this case runs last for
    // its count, so only later runs of the program see a slightly larger one.
    Bench::CloseCompany();
}

// Registers the cases of one engine, grouped by count, so that the server's
// one database is filled once per count.
void RegisterOn(Engine engine) {
    std::string const prefix = std::string("/") + Bench::EngineName(engine) + "/accounts:";
    for (int accounts : {0, 1000, 5000}) {
        Case const on = {engine, accounts};
        std::string const suffix = prefix + std::to_string(accounts);
        auto name = [&suffix](char const* what) { return std::string(what) + suffix; };
        benchmark::RegisterBenchmark(name("BM_Init").c_str(), Init, on)
            ->ArgName("bracketed")
            ->Arg(0)
            ->Arg(1)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(name("BM_EstablishUser_ThreeRoles").c_str(), EstablishUser, on)
            ->ArgName("bracketed")
            ->Arg(0)
            ->Arg(1)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(name("BM_GetSortedEntitlements").c_str(),
                                     GetSortedEntitlements, on)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(name("BM_GetAvailableRoles").c_str(), GetAvailableRoles, on)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(name("BM_IsAccessAllowed").c_str(), AskInTurn, on,
                                     Asked::kManager);
        benchmark::RegisterBenchmark(name("BM_DenseArrayCall").c_str(), AskInTurn, on,
                                     Asked::kDenseCall);
        benchmark::RegisterBenchmark(name("BM_DenseArrayInline").c_str(), AskInTurn, on,
                                     Asked::kDenseInline);
        benchmark::RegisterBenchmark(name("BM_AddDynamicEntitlement").c_str(),
                                     AddDynamicEntitlement, on)
            ->Unit(benchmark::kMillisecond);
    }
}

// Takes --engine=sqlite|server|both out of argv; false when its value is
// none of them.
bool TakeEngines(int* argc, char** argv, std::vector<Engine>* engines) {
    char const kFlag[] = "--engine=";
    std::string chosen = "sqlite";
    int kept = 1;
    for (int i = 1; i < *argc; ++i) {
        if (std::strncmp(argv[i], kFlag, sizeof kFlag - 1) == 0) {
            chosen = argv[i] + sizeof kFlag - 1;
        } else {
            argv[kept++] = argv[i];
        }
    }
    *argc = kept;
    if (chosen == "sqlite" || chosen == "both") {
        engines->push_back(Engine::kSqlite);
    }
    if (chosen == "server" || chosen == "both") {
        engines->push_back(Engine::kServer);
    }
    return !engines->empty();
}

} // namespace

int main(int argc, char** argv) {
    std::vector<Engine> engines;
    if (!TakeEngines(&argc, argv, &engines)) {
        std::fprintf(stderr, "scale_bench: --engine takes sqlite, server or both\n");
        return 2;
    }
    bool const server = engines.back() == Engine::kServer;
    if (server && Bench::ServerUri().empty()) {
        std::fprintf(stderr, "scale_bench: the server engine needs PM_TEST_POSTGRES_URI "
                             "(bench/run-scale-bench.sh starts a server and sets it)\n");
        return 2;
    }
    for (Engine engine : engines) {
        RegisterOn(engine);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    Bench::ScaleSummary summary;
    benchmark::RunSpecifiedBenchmarks(&summary);
    benchmark::Shutdown();
    Bench::RemoveCompanyFiles();
    return 0;
}
