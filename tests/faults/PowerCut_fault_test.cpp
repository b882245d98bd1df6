// Faults below the record layer, with the settings a company file uses (a
// write-ahead log synced at every commit): a power cut after any record
// operation keeps every commit that was reported; a failed read, write or
// sync leaves the record whole or absent; the file passes integrity_check
// afterwards and opens again.
#include "FaultLoop.h"
#include "FaultVfs.h"

#include "support/RecordTesting.h"

#include <host/records/CompanyFile.h>
#include <host/records/CompanyFileJournal.h>

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>

namespace {

using namespace PMFault;
using PMTest::Tables;
using PMTest::TempPath;

struct Step {
    char const* name;
    std::function<Util::Status()> run;
};

// Record operations of every kind on the sample of the record tests: adds,
// updates, deletes of one row and of several.
std::vector<Step> Steps() {
    auto role = [](long id, char const* name) {
        DMUSRRole record;
        record.SetRoleId(id);
        record.SetCategoryType(0);
        record.SetIsVisible(1);
        record.SetName(name);
        record.SetDescription("added");
        return record.Add(nullptr);
    };
    auto mask = [](long roleId, long entitlementId, long action, bool add) {
        DMUSRRoleAction record;
        record.SetRoleId(roleId);
        record.SetEntitlementId(entitlementId);
        record.SetActionType(action);
        return add ? record.Add(nullptr) : record.Update(nullptr);
    };
    return {
        {"add a role", [=] { return role(7, "Auditor"); }},
        {"add a mask", [=] { return mask(7, 10, 5, true); }},
        {"update a mask", [=] { return mask(1, 10, 63, false); }},
        {"rename an entitlement",
         [] {
             DMUSREntitlement record;
             record.SetEntitlementId(10);
             record.SetCategoryType(2);
             record.SetAttributesId(65536);
             record.SetIsVisible(1);
             record.SetIsEnabled(1);
             record.SetName("Cheques");
             return record.Update(nullptr);
         }},
        {"delete a role's masks", [] { return DMUSRRoleAction().Delete(1, nullptr); }},
        {"delete assignments by role", [] { return DMUSRUserRole().DeleteByRoleId(1, nullptr); }},
        {"delete a role",
         [] {
             DMUSRRole record;
             record.SetRoleId(1);
             return record.Delete(nullptr);
         }},
    };
}

// What the tables hold after the first n steps, from a file in memory.
std::vector<std::string> DumpsAfterEachStep() {
    std::vector<std::string> dumps;
    EXPECT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    PMTest::AddSample();
    dumps.push_back(Tables());
    for (Step const& step : Steps()) {
        EXPECT_TRUE(step.run().Succeeded()) << step.name;
        dumps.push_back(Tables());
    }
    Host::CloseCompanyFile();
    return dumps;
}

class PowerCutFaultTest : public ::testing::Test {
protected:
    void SetUp() override { Host::CloseCompanyFile(); }
    void TearDown() override { Host::CloseCompanyFile(); }

    // The power goes with the company file open and comes back; then the file
    // is opened again as a host would. Every other cut also lets every other
    // unsynced write through.
    void CutPowerAndReopen(std::string const& path) {
        vfs.CutPower();
        Host::CloseCompanyFile();
        vfs.RestorePower(++cuts % 2 == 0 ? FaultVfs::kEveryOtherUnsyncedWrite
                                         : FaultVfs::kEveryUnsyncedWrite);
        Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
        ASSERT_TRUE(opened.ok) << opened.message;
        EXPECT_EQ("ok", IntegrityCheck());
    }

    // A new file on disk holding the sample, open, with the first n steps taken.
    void OpenSample(std::string const& path, std::size_t n) {
        ::unlink(path.c_str());
        ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
        PMTest::AddSample();
        Host::CloseCompanyFile();
        ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
        // The checks on opening read the file into the connection's cache;
        // the steps are to meet the disk, as after a long pause.
        sqlite3_db_release_memory(Host::CurrentCompanyFileHandle());
        for (std::size_t i = 0; i < n; ++i) {
            ASSERT_TRUE(steps[i].run().Succeeded()) << steps[i].name;
        }
    }

    FaultVfs vfs;
    int cuts = 0;
    std::vector<Step> const steps = Steps();
};

TEST_F(PowerCutFaultTest, EveryReportedCommitSurvivesAPowerCut) {
    std::vector<std::string> const expected = DumpsAfterEachStep();
    for (std::size_t cutAfter = 0; cutAfter <= steps.size(); ++cutAfter) {
        SCOPED_TRACE("power cut after " + std::to_string(cutAfter) + " steps");
        TempPath path("cut");
        OpenSample(path, cutAfter);
        EXPECT_EQ(0, vfs.UnsyncedBytes()) << "a commit returned before its log was synced";
        CutPowerAndReopen(path);
        EXPECT_EQ(expected[cutAfter], Tables());
    }
}

// The same power cut under synchronous = NORMAL takes back every commit
// since the last checkpoint: what the default setting is there to prevent,
// and the proof that the cut discards what was not synced.
TEST_F(PowerCutFaultTest, WithoutASyncPerCommitAPowerCutTakesCommitsBack) {
    std::vector<std::string> const expected = DumpsAfterEachStep();
    TempPath path("normal");
    Host::SetCompanyFileJournal(Host::CompanyFileJournal::kWalNormal);
    OpenSample(path, steps.size());
    EXPECT_GT(vfs.UnsyncedBytes(), 0);
    CutPowerAndReopen(path);
    Host::SetCompanyFileJournal(Host::CompanyFileJournal::kWalFull);
    EXPECT_EQ(expected.front(), Tables());
}

char const* const kKindNames[] = {"read", "write", "sync"};

// For each step and each kind of I/O: the Nth call of that kind fails, for N
// = 1, 2, ... until the step makes fewer calls. A failure is reported with
// SQLite's code for it and changes nothing, also after a power cut; the file
// opened again takes the step.
TEST_F(PowerCutFaultTest, AFailedReadWriteOrSyncLeavesTheRecordWholeOrAbsent) {
    std::vector<std::string> const expected = DumpsAfterEachStep();
    int const codes[] = {SQLITE_IOERR_READ, SQLITE_IOERR_WRITE, SQLITE_IOERR_FSYNC};
    TempPath path("io");
    int const failedBefore = FailedParts();
    for (int kind = FaultVfs::kRead; kind < FaultVfs::kKinds; ++kind) {
        long points = 0;
        for (std::size_t s = 0; s < steps.size(); ++s) {
            for (long n = 1;; ++n) {
                SCOPED_TRACE(std::string(steps[s].name) + ", " + kKindNames[kind] + " " +
                             std::to_string(n) + " fails");
                OpenSample(path, s);
                vfs.ResetCounts();
                vfs.Arm(static_cast<FaultVfs::Kind>(kind), n);
                Util::Status status = steps[s].run();
                vfs.Disarm();
                bool const fired = vfs.Fired();
                EXPECT_EQ(fired, status.Failed());
                if (fired) {
                    ++points;
                    EXPECT_EQ(codes[kind], status.GetStatusCode());
                }
                // The tables as the open file shows them, and as the disk
                // keeps them: the step whole, or nothing of it.
                std::string const outcome = expected[status.Succeeded() ? s + 1 : s];
                EXPECT_EQ(outcome, Tables());
                CutPowerAndReopen(path);
                EXPECT_EQ(outcome, Tables());
                if (status.Failed()) {
                    EXPECT_TRUE(steps[s].run().Succeeded()) << "the file does not take it again";
                    EXPECT_EQ(expected[s + 1], Tables());
                }
                Host::CloseCompanyFile();
                if (!fired || FailedParts() > failedBefore) {
                    break;
                }
            }
        }
        ReportFaultPoints(std::string("failed ") + kKindNames[kind], points,
                          " over " + std::to_string(steps.size()) + " record operations");
        // Reads mostly hit SQLite's own cache; a commit writes a frame or more.
        long const least[] = {static_cast<long>(steps.size()) - 1,
                              2 * static_cast<long>(steps.size()), static_cast<long>(steps.size())};
        EXPECT_GE(points, least[kind]);
    }
}

// The power goes at the Nth sync while SetDefaultRoles fills a new company
// file, for N = 1, 2, ...: after the restart the file opens, passes
// integrity_check, holds exactly what a second connection saw committed at
// the moment of the cut, and the manager's Init takes it.
TEST_F(PowerCutFaultTest, APowerCutDuringSetDefaultRolesKeepsWhatWasCommitted) {
    LoadCatalogue(kSmallCatalogue);
    TempPath path("defaults");
    long points = 0;
    for (long n = 1;; ++n) {
        SCOPED_TRACE("power cut at sync " + std::to_string(n));
        ::unlink(path.str().c_str());
        OpenEmptyCompany(path);
        vfs.ResetCounts();
        vfs.Arm(FaultVfs::kSync, n, false, true);
        int result = Manager().SetDefaultRoles();
        vfs.Disarm();
        bool const cut = vfs.PowerIsCut();
        EXPECT_EQ(cut ? PM_ERROR : PM_OK, result);

        // What was committed when the power went, seen from a second
        // connection, which knows only what the log's index holds.
        sqlite3* reader = nullptr;
        ASSERT_EQ(SQLITE_OK,
                  sqlite3_open_v2(path.str().c_str(), &reader, SQLITE_OPEN_READONLY, nullptr));
        std::string const committed = StoreRows(nullptr, reader);
        sqlite3_close(reader);
        PM_UninitComponent();
        CutPowerAndReopen(path);
        EXPECT_EQ(committed, StoreRows());
        NewManager();
        EXPECT_EQ(PM_OK, Manager().Init());
        PM_UninitComponent();
        Host::CloseCompanyFile();
        if (!cut || FailedParts() > 0) {
            break;
        }
        ++points;
    }
    ReportFaultPoints("power cut in SetDefaultRoles", points);
    EXPECT_GT(points, 50);
}

} // namespace
