// What the company file costs under each journal setting: creating a file of
// 200 entitlements, 10 roles and 2,000 masks one record operation at a time
// (each commits by itself), and opening it and loading every record by key.
//
// And what one record read costs the record layer.
//
// Run: build/bin/company_file_bench [--benchmark_repetitions=5]
// Files go to $TMPDIR (default /tmp), which should be on the disk under test.
#include <host/records/CompanyFile.h>
#include <host/records/CompanyFileJournal.h>

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

const long kEntitlements = 200;
const long kRoles = 10;
const long kFirstEntitlementId = 100001;

struct Setting {
    Host::CompanyFileJournal journal;
    char const* label;
};
const Setting kSettings[] = {
    {Host::CompanyFileJournal::kWalFull, "WAL, synchronous=FULL"},
    {Host::CompanyFileJournal::kWalNormal, "WAL, synchronous=NORMAL"},
    {Host::CompanyFileJournal::kRollbackFull, "rollback journal, synchronous=FULL"},
};

std::string BenchPath(char const* name) {
    char const* directory = std::getenv("TMPDIR");
    return std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") +
           "/pm_bench_" + std::to_string(::getpid()) + "_" + name + ".pmco";
}

void Remove(std::string const& path) {
    for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
        ::unlink((path + suffix).c_str());
    }
}

// Creates the file at path and fills it; false with the reason in *error.
bool CreateAndFill(std::string const& path, std::string* error) {
    Host::CompanyFileResult created = Host::CreateCompanyFile(path);
    if (!created.ok) {
        *error = created.message;
        return false;
    }
    bool ok = true;
    for (long i = 0; i < kEntitlements && ok; ++i) {
        DMUSREntitlement entitlement;
        entitlement.SetEntitlementId(kFirstEntitlementId + i);
        entitlement.SetCategoryType(i % 7);
        entitlement.SetAttributesId(0);
        entitlement.SetIsVisible(1);
        entitlement.SetIsEnabled(1);
        entitlement.SetName(("Entitlement " + std::to_string(i)).c_str());
        ok = entitlement.Add(nullptr).Succeeded();
    }
    for (long role = 0; role < kRoles && ok; ++role) {
        DMUSRRole record;
        record.SetRoleId(role);
        record.SetCategoryType(1);
        record.SetIsVisible(1);
        record.SetName(("Role " + std::to_string(role)).c_str());
        record.SetDescription("A role of the benchmark");
        ok = record.Add(nullptr).Succeeded();
    }
    for (long role = 0; role < kRoles && ok; ++role) {
        for (long i = 0; i < kEntitlements && ok; ++i) {
            DMUSRRoleAction mask;
            mask.SetRoleId(role);
            mask.SetEntitlementId(kFirstEntitlementId + i);
            mask.SetActionType((role * 31 + i) & 127);
            ok = mask.Add(nullptr).Succeeded();
        }
    }
    Host::CloseCompanyFile();
    if (!ok) {
        *error = "a record operation failed";
    }
    return ok;
}

void BM_CreateAndFill(benchmark::State& state) {
    Setting const& setting = kSettings[state.range(0)];
    Host::SetCompanyFileJournal(setting.journal);
    std::string const path = BenchPath("create");
    std::string error;
    for (auto _ : state) {
        state.PauseTiming();
        Remove(path);
        state.ResumeTiming();
        if (!CreateAndFill(path, &error)) {
            state.SkipWithError(error.c_str());
            break;
        }
    }
    Remove(path);
    state.SetLabel(setting.label);
}

void BM_OpenAndScan(benchmark::State& state) {
    Setting const& setting = kSettings[state.range(0)];
    Host::SetCompanyFileJournal(setting.journal);
    std::string const path = BenchPath("scan");
    std::string error;
    Remove(path);
    if (!CreateAndFill(path, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    for (auto _ : state) {
        Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
        if (!opened.ok) {
            state.SkipWithError(opened.message.c_str());
            break;
        }
        long found = 0;
        long actions = 0;
        for (long i = 0; i < kEntitlements; ++i) {
            DMUSREntitlement entitlement;
            found += entitlement.Load(kFirstEntitlementId + i, nullptr).GetStatusCode() == 0;
        }
        for (long role = 0; role < kRoles; ++role) {
            DMUSRRole record;
            found += record.Load(role, nullptr).GetStatusCode() == 0;
            for (long i = 0; i < kEntitlements; ++i) {
                DMUSRRoleAction mask;
                found += mask.Load(role, kFirstEntitlementId + i, nullptr).GetStatusCode() == 0;
                actions += mask.GetActionType();
            }
        }
        benchmark::DoNotOptimize(actions);
        Host::CloseCompanyFile();
        if (found != kEntitlements + kRoles + kRoles * kEntitlements) {
            state.SkipWithError("a record was missing");
            break;
        }
    }
    Remove(path);
    state.SetLabel(setting.label);
}

// One record read by key inside a read bracket, so that what is measured is
// the record layer's own work (the fault plan's hook, the statement cache,
// binding and stepping), not SQLite's file locks.
void BM_RecordRead(benchmark::State& state) {
    std::string const path = BenchPath("read");
    std::string error;
    Remove(path);
    if (!CreateAndFill(path, &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
    if (!opened.ok) {
        state.SkipWithError(opened.message.c_str());
        return;
    }
    long failed = 0;
    {
        Host::ReadTransaction reads;
        long i = 0;
        for (auto _ : state) {
            DMUSRRoleAction mask;
            Util::Status status =
                mask.Load(i % kRoles, kFirstEntitlementId + i % kEntitlements, nullptr);
            benchmark::DoNotOptimize(status);
            failed += status.Failed() || status.GetStatusCode() == Util::kRecordNotFound;
            ++i;
        }
    }
    Host::CloseCompanyFile();
    Remove(path);
    // A read that found nothing would time another path than the one meant.
    if (failed > 0) {
        state.SkipWithError((std::to_string(failed) + " reads found no record").c_str());
    }
}

BENCHMARK(BM_RecordRead);
BENCHMARK(BM_CreateAndFill)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenAndScan)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
