// The fault-loop driver over the record layer's fault plan, and what its checks
// compare: the company file's rows, the manager's caches against a fresh Init
// of the same file, and a small catalogue that keeps the loops short.
//
// A loop runs one library operation again and again on a fresh company file,
// with the Nth record operation failing, for N = 1, 2, ... until a run in which
// the fault no longer fired; each run is checked against what the operation
// promises to leave behind at that point.
#pragma once

#include <PM/PermissionManager.h>
#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

struct sqlite3;

namespace PMFault {

// One run of a library operation with a fault armed at one record operation.
struct FaultRun {
    long point = 0;        // N: the record operation (counted over all kinds) armed to fail
    bool fired = false;    // false: the operation made fewer than N record operations
    std::string operation; // the record operation that failed, "DMUSRRole::Add"; "" if none
    long ordinal = 0;      // which call of that operation failed (1 = its first in the run)
    int result = 0;        // what the library operation returned
    std::map<std::string, long> calls; // record operations of the run by name, the failed one too
    std::vector<std::string> raised;   // expressions raised through Verify, in order
    std::vector<std::string> logged;   // texts of the log lines, in order

    // Calls of operation that went through: the failed call is not counted.
    long Done(std::string const& operation) const;
    // Whether the failed operation was this one (and, with call, that call of it).
    bool Hit(std::string const& name) const { return fired && operation == name; }
    bool Hit(std::string const& name, long call) const { return Hit(name) && ordinal == call; }
    // "point 12 (DMUSRRole::Add) gave -1".
    std::string Describe() const;
};

struct FaultLoop {
    std::string name; // how the loop reports its count
    // Makes a fresh company file and manager; runs with no fault armed.
    std::function<void()> setUp;
    // The library operation; its result is FaultRun::result.
    std::function<int()> operation;
    // Checks one run; it may run further library calls, with no fault armed.
    std::function<void(FaultRun const&)> check;
    Host::FaultPlan::Fault fault = Host::FaultPlan::kFail;
    bool acceptChecks = false; // how Verify answers during the runs
    long maxPoints = 20000;    // a loop that reaches this fails
};

// Runs the loop: for N = 1, 2, ...: setUp, arm the fault at the Nth record
// operation of any kind, run the operation, disarm, check. The first run in
// which the fault did not fire is checked too (as the clean run) and ends the
// loop, and so does the first run whose check failed. Returns the number of
// fault points exercised, prints it and records it as a test property.
long RunFaultLoop(FaultLoop const& loop);

// Prints "[ fault loop ] NAME: POINTS fault points DETAIL" and records the
// count as the test property "NAME fault points".
void ReportFaultPoints(std::string const& name, long points, std::string const& detail = "");

// The failed checks of the running test so far.
int FailedParts();

// Record operations whose failure the library reads as the end of a load.
bool IsRead(std::string const& operation);

// ---------------------------------------------------------------------------
// The company file

// Rows of the four permission tables (or of the one named) of the open company
// file (or of db), "table: a|b|c" per line, in key order.
std::string StoreRows(char const* table = nullptr, sqlite3* db = nullptr);
long RowCount(char const* table);
// The rows of a query on the open company file, grouped by the integer in
// their first column; the other columns joined by "|", rows by ";".
std::map<long, std::string> RowsByFirstColumn(char const* sql);
// Runs sql on the open company file; the test fails when it fails.
void Execute(char const* sql);
// PRAGMA integrity_check of db (by default the open company file): "ok" when sound.
std::string IntegrityCheck(sqlite3* db = nullptr);

// An in-memory copy of the open company file, to start each run from.
class Snapshot {
public:
    Snapshot();
    ~Snapshot();
    Snapshot(Snapshot const&) = delete;
    Snapshot& operator=(Snapshot const&) = delete;
    // Copies the open company file.
    void Take();
    // Closes the open company file and opens a new in-memory one that holds
    // the copy, with the company-file user manager.
    void Restore() const;

private:
    sqlite3* m_Copy;
};

// ---------------------------------------------------------------------------
// The manager

PM::PermissionManager& Manager();
// A new manager, not yet initialised.
void NewManager();

// The manager's view of the company file: the role list and the entitlement
// cache (both by id), the names of the sorted entitlement list, and every role's
// mask on every cached entitlement as the store reads it (unless withMasks is
// false: the masks of a large catalogue cost a record read each).
std::string RenderManager(bool withMasks = true);

// The manager rendered as it stands, and a new manager after Init on the same
// file, rendered the same way. The manager under test is gone afterwards.
struct AgainstFreshInit {
    std::string current;
    std::string fresh;
    int freshResult = 0;
};
AgainstFreshInit RenderAgainstFreshInit(bool withMasks = true);
// The check of an operation that leaves its caches as a fresh Init loads them.
void ExpectCachesAsAFreshInitLoads();

// Grants for SetRoleEntitlements: {entitlement id, mask} each.
std::vector<PM::EntitlementDef> Grants(std::vector<std::pair<int, int>> const& rows);

// ---------------------------------------------------------------------------
// Company files for the loops

// A catalogue of 29 entitlements and three default roles (Admin, External
// Accountant, Clerk) with the shapes the operations treat apart: the version
// record, a disabled and an invisible entitlement, master 9 with slave 15, and
// "Bank Registers" under 100012. Both id bands are without gaps, as the
// entitlement scans need.
extern char const kSmallCatalogue[];

// Loads the catalogue text; the test fails when it is refused.
void LoadCatalogue(char const* json);
// Opens an empty company file, in memory or made at path, with the
// administrator "admin" and a new manager; no Init.
void OpenEmptyCompany(std::string const& path = "");
// OpenEmptyCompany, then SetDefaultRoles, then the user "clerk" with the
// Clerk role (id 2) and "accountant" with roles 1 and 2.
void OpenDefaultCompany(std::string const& path = "");
// The host user id of a user of the open company file.
int UserId(char const* name);

// The default company with the small catalogue, changed by Prepare, then
// saved: each run starts from the saved copy.
class SavedCompanyTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoadCatalogue(kSmallCatalogue);
        OpenDefaultCompany();
        Prepare();
        company.Take();
    }
    virtual void Prepare() {}
    // The saved company file and a new manager, initialised unless told not.
    // A fixture may add to it; the loops below start every run with it.
    virtual void Fresh(bool init = true) {
        company.Restore();
        NewManager();
        if (init) {
            ASSERT_EQ(PM_OK, Manager().Init());
        }
    }
    // A loop whose every run starts from a fresh copy of the saved company.
    FaultLoop LoopOnFreshCopies(std::string name, std::function<int()> operation,
                                bool acceptChecks = false) {
        FaultLoop loop;
        loop.name = std::move(name);
        loop.setUp = [this] { Fresh(); };
        loop.operation = std::move(operation);
        loop.acceptChecks = acceptChecks;
        return loop;
    }
    Snapshot company;
};

} // namespace PMFault
