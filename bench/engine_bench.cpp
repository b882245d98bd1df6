// The record layer's engines side by side: a key lookup (one mask, outside any
// bracket) on an SQLite company file and on a PostgreSQL company, and a
// login's worth of reads (every mask of 3 roles over 5,234 entitlements:
// 15,702 masks) key by key and inside one read bracket. The server is the one
// PM_TEST_POSTGRES_URI names: run as scripts/with-postgres.sh
// build/bin/engine_bench; without it the server cases are skipped.
#include <host/records/CompanyFile.h>
#include <host/records/Engine.h>
#include <host/records/Transactions.h>
#include <host/records/postgres/ServerLocation.h>

#include <Records/DMUSRRoleAction.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

const long kRoles = 3;
const long kEntitlements = 5234;

enum Engine { kSqlite = 0, kServer = 1 };

std::string Location(int engine) {
    if (engine == kServer) {
        char const* uri = std::getenv("PM_TEST_POSTGRES_URI");
        return uri != nullptr ? uri : "";
    }
    return "/tmp/pm_engine_bench_" + std::to_string(::getpid()) + ".pmco";
}

// The masks, written in one statement.
std::string FillSql(int engine) {
    std::string const n = std::to_string(kEntitlements);
    std::string const roles = std::to_string(kRoles);
    if (engine == kServer) {
        return "INSERT INTO role_actions SELECT r, e, 7 FROM generate_series(1, " + roles +
               ") r, generate_series(1, " + n + ") e";
    }
    return "WITH RECURSIVE e(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM e WHERE x < " + n +
           "), r(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM r WHERE x < " + roles +
           ") INSERT INTO role_actions SELECT r.x, e.x, 7 FROM r, e";
}

// Opens the engine's company, made and filled on first use; false (with the
// benchmark skipped) when there is no server.
bool Open(benchmark::State& state, int engine) {
    static bool filled[2] = {false, false};
    std::string const location = Location(engine);
    if (location.empty()) {
        state.SkipWithError("PM_TEST_POSTGRES_URI is not set (scripts/with-postgres.sh sets it)");
        return false;
    }
    Host::CloseCompanyFile();
    if (filled[engine] ? !Host::OpenCompanyFile(location).ok
                       : !Host::CreateCompanyFile(location).ok) {
        state.SkipWithError(("cannot open " + Host::MaskedLocation(location)).c_str());
        return false;
    }
    if (!filled[engine]) {
        Host::detail::TextRows rows;
        std::string error;
        if (engine == kServer) {
            Host::detail::CurrentEngine()->Execute("DELETE FROM role_actions", &rows, &error);
        }
        if (!Host::detail::CurrentEngine()->Execute(FillSql(engine), &rows, &error)) {
            state.SkipWithError(error.c_str());
            return false;
        }
        filled[engine] = true;
    }
    return true;
}

void BM_KeyLookup(benchmark::State& state) {
    if (!Open(state, static_cast<int>(state.range(0)))) {
        return;
    }
    DMUSRRoleAction mask;
    long key = 0;
    for (auto _ : state) {
        key = key % (kRoles * kEntitlements) + 1;
        Util::Status status = mask.Load(1 + (key - 1) % kRoles, 1 + (key - 1) / kRoles, nullptr);
        benchmark::DoNotOptimize(status);
    }
    Host::CloseCompanyFile();
}
BENCHMARK(BM_KeyLookup)
    ->ArgName("server")
    ->Arg(kSqlite)
    ->Arg(kServer)
    ->Unit(benchmark::kMicrosecond);

// Every mask of the three roles, as a login reads them.
void BM_LoadAllMasks(benchmark::State& state) {
    if (!Open(state, static_cast<int>(state.range(0)))) {
        return;
    }
    bool const bracketed = state.range(1) != 0;
    DMUSRRoleAction mask;
    for (auto _ : state) {
        std::unique_ptr<Host::ReadTransaction> reads(bracketed ? new Host::ReadTransaction
                                                               : nullptr);
        long found = 0;
        for (long role = 1; role <= kRoles; ++role) {
            for (long entitlement = 1; entitlement <= kEntitlements; ++entitlement) {
                found += mask.Load(role, entitlement, nullptr).GetStatusCode() == 0;
            }
        }
        if (found != kRoles * kEntitlements) {
            state.SkipWithError("a mask was not found");
            break;
        }
    }
    state.counters["masks"] = static_cast<double>(kRoles * kEntitlements);
    Host::CloseCompanyFile();
}
BENCHMARK(BM_LoadAllMasks)
    ->ArgNames({"server", "bracketed"})
    ->Args({kSqlite, 0})
    ->Args({kSqlite, 1})
    ->Args({kServer, 0})
    ->Args({kServer, 1})
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    Host::CloseCompanyFile();
    std::string const file = Location(kSqlite);
    for (char const* suffix : {"", "-wal", "-shm"}) {
        ::unlink((file + suffix).c_str());
    }
    return 0;
}
