// Fault loops over library operations, and the renderings their checks
// compare. A loop runs one library operation again and again on a fresh copy
// of a saved in-memory company (no write bracket: each record operation
// commits by itself), with the Nth record operation failing, for N = 1, 2, ...
// until a run in which the fault no longer fired; each run is checked against
// what the operation promises to leave behind at that point.
#pragma once

#include <PM/PermissionManager.h>
#include <host/company/Company.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>

namespace PMTest {

// The rows of sql on db (by default the open company file), each row's
// columns joined by "|", one row a line, each line after prefix.
std::string QueryRows(std::string const& sql, sqlite3* db = nullptr,
                      std::string const& prefix = "");
// The four permission tables, "table: a|b|c" a line, in key order.
std::string StoreRows(sqlite3* db = nullptr);

// Renderings as multisets of lines: the lines of part that whole lacks; the
// lines that start with prefix; the lines that start with none of prefixes;
// the lines sorted; how many.
std::string Missing(std::string const& part, std::string const& whole);
std::string Only(std::string const& text, std::string const& prefix);
std::string Without(std::string const& text, std::initializer_list<std::string> prefixes);
std::string SortLines(std::string const& text);
inline long CountLines(std::string const& text) {
    return static_cast<long>(std::count(text.begin(), text.end(), '\n'));
}

// One run of a loop. Record operations are named without their class's
// "DMUSR": "Role::Add".
struct FaultRun {
    bool fired = false;
    std::string operation;             // the record operation that failed
    long ordinal = 0;                  // which call of it failed, from 1
    int result = 0;                    // what the library operation returned
    std::map<std::string, long> calls; // adds, updates and deletes of the run, the failed one too
    std::string raised;                // expressions raised through Verify, one a line
    std::string logged;                // log lines' texts, one a line

    // Calls of the record operation that went through.
    long Done(std::string const& name) const { return calls.at(name) - (Hit(name) ? 1 : 0); }
    bool Hit(std::string const& name, long call = 0) const {
        return fired && operation == name && (call == 0 || ordinal == call);
    }
    // A failed load or count, which some operations pass over.
    bool HitRead() const {
        std::string const name = operation.substr(operation.rfind(':') + 1);
        return fired && (name == "Load" || name.rfind("Get", 0) == 0);
    }
};

class FaultLoopTest : public ::testing::Test {
protected:
    // An in-memory company of tests/faults/faults.json with the user "admin"
    // through Host::Company: 29 entitlements and three default roles (Admin
    // 0, External Accountant 1, Clerk 2) with the shapes the operations treat
    // apart: the version record, a disabled (10) and an invisible entitlement,
    // master 9 with slave 15, and "Bank Registers" (7) under "Bank Accounts"
    // (100012), no gaps in either id band. With defaults, SetDefaultRoles and
    // the users "clerk" (role 2) and "accountant" (1, 2). With a path: a
    // company file created there (with the defaults always, the users with
    // defaults) and opened live.
    void Start(bool defaults = true, std::string const& path = "");
    // Copies the open company file; Fresh starts from the copy.
    void Save();
    // The saved file in place of the open one, a new manager, Init if asked.
    void Fresh(bool init = true);
    // For N = 1, 2, ...: setUp (Fresh() when empty), the Nth record operation
    // of operation fails, check; until the fault no longer fires (that clean
    // run is checked too) or a check fails. Verify refuses. Prints
    // the number of fault points, expects more than atLeast, and returns it.
    long Loop(std::string const& name, long atLeast, std::function<int()> const& operation,
              std::function<void(FaultRun const&)> const& check);
    void TearDown() override {
        company.reset();
        sqlite3_close(saved);
    }

    static PM::PermissionManager& Manager() {
        return PM::PermissionManager::GetThePermissionManager();
    }
    // The manager's role list and entitlement cache, (withMasks) every role's
    // mask on every cached entitlement ("masks of ROLE: ID=MASK"), sorted,
    // and then its name-sorted list.
    static std::string Render(bool withMasks = true);
    // Render(), then a new manager's Render() after its Init of the same file;
    // the manager under test is gone afterwards.
    struct Both {
        std::string current, fresh;
        int freshResult;
    };
    static Both AgainstFreshInit();
    // The same, expected equal, or (partial: a load ended early) the first,
    // masks aside, a part of the second.
    static Both ExpectAsFreshInit(bool partial = false);

    std::function<void()> setUp;
    std::unique_ptr<Host::Company> company;
    sqlite3* saved = nullptr;
};

} // namespace PMTest
