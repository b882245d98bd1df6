// What one write bracket saves an administrator: creating a company file and
// importing 5,000 bank accounts, each as one change (the write bracket pmctl
// uses) and, for comparison, as record operations that commit one by one,
// as they did before. Files on disk, under the default journal setting (a
// synced commit each).
//
// Run: build/bin/change_bench [--benchmark_repetitions=3]
// Files go to $TMPDIR (default /tmp), which should be on the disk under test.
#include "BankAccounts.h"
#include "Session.h"

#include <host/company/Company.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

const int kAccounts = 5000;

std::string BenchPath(std::string const& name) {
    char const* directory = std::getenv("TMPDIR");
    return std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") +
           "/pm_change_bench_" + std::to_string(::getpid()) + "_" + name;
}

void Remove(std::string const& path) {
    for (char const* suffix : {"", "-wal", "-shm"}) {
        fs::remove(path + suffix);
    }
}

bool Create(std::string const& path, Host::CompanyAccess access) {
    Host::CompanyOptions options;
    options.catalogue = Pmctl::DefaultCataloguePath();
    options.access = access;
    Host::CompanyProblem problem;
    std::unique_ptr<Host::Company> company =
        Host::Company::Create(path, options, "admin", &problem);
    std::string error;
    return company != nullptr && company->Commit(&error);
}

// Arg 1: one change; 0: one commit per record operation.
void BM_CreateCompanyFile(benchmark::State& state) {
    Host::CompanyAccess access =
        state.range(0) == 1 ? Host::CompanyAccess::kOneChange : Host::CompanyAccess::kLive;
    std::string const path = BenchPath("create.pmco");
    for (auto _ : state) {
        state.PauseTiming();
        Remove(path);
        state.ResumeTiming();
        if (!Create(path, access)) {
            state.SkipWithError("create failed");
            break;
        }
    }
    Remove(path);
    state.SetLabel(state.range(0) == 1 ? "one change" : "a commit per record operation");
}

void BM_ImportBankAccounts(benchmark::State& state) {
    std::string const base = BenchPath("base.pmco");
    std::string const path = BenchPath("import.pmco");
    std::string const list = BenchPath("accounts.txt");
    Remove(base);
    if (!Create(base, Host::CompanyAccess::kOneChange)) {
        state.SkipWithError("create failed");
        return;
    }
    {
        std::ofstream out(list);
        for (int i = 0; i < kAccounts; ++i) {
            out << (i % 10 == 9 ? "Account " + std::to_string(i - 1) + ":Sub " : "Account ") << i
                << "\n";
        }
    }
    std::string const catalogue = Pmctl::DefaultCataloguePath();
    for (auto _ : state) {
        state.PauseTiming();
        Remove(path);
        fs::copy_file(base, path);
        state.ResumeTiming();
        Pmctl::OpenFailure failure;
        std::unique_ptr<Pmctl::Session> session =
            state.range(0) == 1
                ? Pmctl::Session::Open(path, catalogue, Pmctl::Access::kChange, &failure)
                : Pmctl::Session::OpenLive(path, catalogue, &failure);
        std::ostringstream out;
        std::string error;
        Pmctl::Progress quiet(out, false);
        if (session == nullptr ||
            Pmctl::ImportAccountList(*session, list, quiet, Pmctl::Io{out, out}) != 0 ||
            !session->Commit(&error)) {
            state.SkipWithError(("import failed: " + failure.message + out.str()).c_str());
            break;
        }
    }
    Remove(base);
    Remove(path);
    fs::remove(list);
    state.SetLabel(state.range(0) == 1 ? "one change" : "a commit per record operation");
}

BENCHMARK(BM_CreateCompanyFile)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImportBankAccounts)->Arg(1)->Arg(0)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
