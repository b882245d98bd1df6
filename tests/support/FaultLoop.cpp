// The fault-loop driver, the renderings its checks compare, and the company
// the loops start from.
#include "support/FaultLoop.h"

#include "support/LogProbe.h"
#include "support/PermissionManagerTestAccess.h"
#include "support/VerifyProbe.h"

#include <host/records/CompanyFile.h>
#include <host/records/FaultPlan.h>
#include <host/users/CompanyUsers.h>

#include <sqlite3.h>

#include <iostream>
#include <set>
#include <sstream>
#include <unistd.h>

namespace PMTest {

std::string QueryRows(std::string const& sql, sqlite3* db, std::string const& prefix) {
    db = db != nullptr ? db : Host::CurrentCompanyFileHandle();
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr))
        << sql << ": " << sqlite3_errmsg(db);
    std::string rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        rows += prefix;
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            char const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, i));
            rows += (i > 0 ? "|" : "") + std::string(text != nullptr ? text : "NULL");
        }
        rows += "\n";
    }
    sqlite3_finalize(statement);
    return rows;
}

std::string StoreRows(sqlite3* db) {
    std::string rows;
    for (std::string table : {"roles", "entitlements", "user_roles", "role_actions"}) {
        rows += QueryRows("SELECT * FROM " + table + " ORDER BY 1, 2", db, table + ": ");
    }
    return rows;
}

namespace {

std::multiset<std::string> Lines(std::string const& text) {
    std::multiset<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.insert(line);
    }
    return lines;
}

bool Copy(sqlite3* from, sqlite3* to) {
    sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
    return backup != nullptr && sqlite3_backup_step(backup, -1) == SQLITE_DONE &&
           sqlite3_backup_finish(backup) == SQLITE_OK;
}

} // namespace

std::string Missing(std::string const& part, std::string const& whole) {
    std::multiset<std::string> have = Lines(whole);
    std::string missing;
    std::istringstream in(part);
    for (std::string line; std::getline(in, line);) {
        auto found = have.find(line);
        missing += found == have.end() ? line + "\n" : "";
        if (found != have.end()) {
            have.erase(found);
        }
    }
    return missing;
}

std::string Only(std::string const& text, std::string const& prefix) {
    std::istringstream in(text);
    std::string kept;
    for (std::string line; std::getline(in, line);) {
        kept += line.compare(0, prefix.size(), prefix) == 0 ? line + "\n" : "";
    }
    return kept;
}

std::string Without(std::string const& text, std::initializer_list<std::string> prefixes) {
    std::string kept = text;
    for (std::string const& prefix : prefixes) {
        kept = Missing(kept, Only(kept, prefix));
    }
    return kept;
}

std::string SortLines(std::string const& text) {
    std::string sorted;
    for (std::string const& line : Lines(text)) {
        sorted += line + "\n";
    }
    return sorted;
}

long FaultRun::Done(std::string const& name) const {
    auto found = calls.find(name);
    return (found == calls.end() ? 0 : found->second) - (Hit(name) ? 1 : 0);
}

bool FaultRun::HitRead() const {
    std::string const name = operation.substr(operation.rfind(':') + 1);
    return fired && (name == "Load" || name.compare(0, 3, "Get") == 0);
}

// ---------------------------------------------------------------------------

void FaultLoopTest::Start(bool defaults, char const* shipped) {
    Host::CompanyOptions options;
    options.catalogue = shipped ? std::string(PM_CATALOGUE_DIR "/") + shipped : "faults.json";
    options.catalogueText = shipped ? "" : kFaultCatalogue;
    Host::CompanyProblem problem;
    company.reset(); // one company at a time
    company = Host::Company::CreateInMemory(options, "admin", &problem, defaults);
    ASSERT_NE(nullptr, company) << problem.message;
    if (defaults) {
        std::string error;
        int const clerk = Host::AddCompanyUser("clerk", false, &error);
        int const accountant = Host::AddCompanyUser("accountant", false, &error);
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(clerk, 2)) << error;
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(accountant, 1));
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(accountant, 2));
    }
}

void FaultLoopTest::Save() {
    if (saved == nullptr) {
        sqlite3_open(":memory:", &saved);
    }
    ASSERT_TRUE(Copy(Host::CurrentCompanyFileHandle(), saved)) << sqlite3_errmsg(saved);
}

void FaultLoopTest::Fresh(bool init) {
    PM_UninitComponent();
    ASSERT_TRUE(Copy(saved, Host::CurrentCompanyFileHandle()));
    PM_InitComponent();
    if (init) {
        ASSERT_EQ(PM_OK, Manager().Init());
    }
}

void FaultLoopTest::TearDown() {
    company.reset();
    sqlite3_close(saved);
}

void FaultLoopTest::NewManager() {
    PM_UninitComponent();
    PM_InitComponent();
}

int FaultLoopTest::UserId(char const* name) {
    int const id = Host::FindCompanyUser(name);
    EXPECT_NE(-1, id) << "no user " << name;
    return id;
}

long FaultLoopTest::Loop(std::string const& name, std::function<int()> const& operation,
                         std::function<void(FaultRun const&)> const& check, bool accept,
                         std::function<void()> setUp) {
    ::alarm(300); // a run that never returns ends the program here
    Host::FaultPlan& plan = Host::FaultPlan::Get();
    VerifyProbe probe(accept);
    LogProbe log;
    std::map<int, long> results; // result -> runs in which the fault fired
    long points = 0;
    for (long n = 1; n < 20000 && !HasFailure(); ++n) {
        plan.Disarm();
        setUp ? setUp() : Fresh();
        if (HasFatalFailure()) {
            break;
        }
        probe.Clear();
        log.Clear();
        plan.ResetCounts();
        plan.Arm("*", n);
        FaultRun run;
        run.result = operation();
        plan.Disarm();
        run.fired = plan.Fired();
        run.operation = plan.FiredOperation();
        run.ordinal = plan.FiredCall();
        for (std::string record : {"Role", "Entitlement", "UserRole", "RoleAction"}) {
            for (char const* op : {"Load", "Add", "Update", "Delete", "DeleteByRoleId",
                                   "DeleteByEntitlementId", "DeleteAll"}) {
                if (long count = plan.Calls("DMUSR" + record + "::" + op)) {
                    run.calls["DMUSR" + record + "::" + op] = count;
                }
            }
        }
        for (std::string const& expression : probe.Expressions()) {
            run.raised += expression + "\n";
        }
        run.logged = log.Texts();
        SCOPED_TRACE(name + ", point " + std::to_string(n) + ": " +
                     (run.fired ? run.operation + " #" + std::to_string(run.ordinal) : "clean") +
                     " gave " + std::to_string(run.result));
        check(run);
        if (!run.fired) {
            break;
        }
        ++points;
        ++results[run.result];
    }
    EXPECT_LT(points, 19999) << name << ": still firing";
    ::alarm(0);
    std::cout << "[ fault loop ] " << name << ": " << points << " fault points; results:";
    for (auto const& [result, runs] : results) {
        std::cout << " " << result << " x" << runs;
    }
    std::cout << "\n";
    return points;
}

std::string FaultLoopTest::Render(bool withMasks) {
    PM::PermissionManager& manager = Manager();
    std::vector<PM::RoleObject>* roleList = manager.GetRoleCache();
    std::vector<PM::EntitlementObject>* entitlementList = manager.GetEntitlementCache();
    // By id: rows added at run time are appended, where a load sorts them in.
    std::multimap<int, std::string> roles, entitlements;
    for (PM::RoleObject const& r : roleList ? *roleList : std::vector<PM::RoleObject>()) {
        std::ostringstream row;
        row << "role " << r.GetId() << " " << r.GetName().c_str() << "|"
            << r.GetDescription().c_str() << "|" << r.GetCategory() << "|" << r.IsVisible() << "\n";
        roles.emplace(r.GetId(), row.str());
    }
    for (PM::EntitlementObject const& e :
         entitlementList ? *entitlementList : std::vector<PM::EntitlementObject>()) {
        std::ostringstream row;
        row << "entitlement " << e.m_Id << " " << e.m_Name.c_str() << "|" << e.m_Category << "|"
            << e.m_Attrs << "|" << e.m_Enabled << e.m_Visible << "\n";
        entitlements.emplace(e.m_Id, row.str());
    }
    std::ostringstream out;
    out << (roleList ? "" : "no role list\n") << (entitlementList ? "" : "no entitlement list\n");
    for (auto const& row : roles) {
        out << row.second;
    }
    for (auto const& row : entitlements) {
        out << row.second;
    }
    for (PM::EntitlementDef const& e :
         PM::PermissionManagerTestAccess(manager).SortedEntitlements()) {
        out << "sorted " << e.GetId() << " " << e.GetName().c_str() << "\n";
    }
    for (auto const& role : withMasks ? roles : decltype(roles)()) {
        out << "masks of " << role.first << ":";
        for (auto const& e : entitlements) {
            long action = 0;
            int const result = manager.GetRoleActionAssociation(role.first, e.first, &action);
            out << " " << e.first << "="
                << (result == PM_OK ? std::to_string(action) : "(" + std::to_string(result) + ")");
        }
        out << "\n";
    }
    return out.str();
}

FaultLoopTest::Both FaultLoopTest::AgainstFreshInit(bool withMasks) {
    Both both;
    both.current = Render(withMasks);
    NewManager();
    both.freshResult = Manager().Init();
    both.fresh = Render(withMasks);
    return both;
}

FaultLoopTest::Both FaultLoopTest::ExpectAsFreshInit(bool partial, bool withMasks) {
    Both both = AgainstFreshInit(withMasks);
    if (partial) {
        EXPECT_EQ("", Missing(Without(both.current, {"masks of "}), both.fresh));
    } else {
        EXPECT_EQ(both.fresh, both.current);
    }
    return both;
}

char const kFaultCatalogue[] = R"json({
  "format": 1, "product": "Fault loops",
  "features": [
    {"id": "0", "name": "PermissionData", "enabled": false, "parameters": ["-1", "0", "3", "16"]},
    {"id": "1", "name": "Customers", "parameters": ["100001", "381"]},
    {"id": "2", "name": "Customer Jobs", "parameters": ["100001", "381"]},
    {"id": "3", "name": "Statements", "parameters": ["100001", "125"]},
    {"id": "4", "name": "Estimates", "parameters": ["100002", "637"]},
    {"id": "5", "name": "Invoices", "parameters": ["100002", "637"]},
    {"id": "6", "name": "Sales Receipts", "parameters": ["100002", "637"]},
    {"id": "7", "name": "Bank Registers", "parameters": ["100012", "253"]},
    {"id": "8", "name": "Bank Reconciliation", "parameters": ["100012", "93"]},
    {"id": "9", "name": "Customer Credits", "parameters": ["100002", "125"]},
    {"id": "10", "name": "Company Info", "enabled": false, "parameters": ["100010", "125"]},
    {"id": "11", "name": "Audit Trail", "parameters": ["100010", "124"]},
    {"id": "12", "name": "Users & Roles", "parameters": ["100010", "125"]},
    {"id": "13", "name": "Bank Feeds", "parameters": ["100012", "125"]},
    {"id": "14", "name": "Deposits", "parameters": ["100012", "125"]},
    {"id": "15", "name": "Customer Refunds", "parameters": ["100002", "125"]},
    {"id": "100000", "name": "All Areas", "parameters": ["-1", "1"]},
    {"id": "100001", "name": "Customers & Receivables", "parameters": ["100000", "125"]},
    {"id": "100002", "name": "Sales", "parameters": ["100000", "125"]},
    {"id": "100003", "name": "Vendors & Payables", "parameters": ["100000", "125"]},
    {"id": "100004", "name": "Purchasing", "parameters": ["100000", "125"]},
    {"id": "100005", "name": "Inventory", "parameters": ["100000", "125"]},
    {"id": "100006", "name": "Employees & Payroll", "parameters": ["100000", "125"]},
    {"id": "100007", "name": "Time & Projects", "parameters": ["100000", "125"]},
    {"id": "100008", "name": "Accounting", "parameters": ["100000", "125"]},
    {"id": "100009", "name": "Reports", "parameters": ["100000", "125"]},
    {"id": "100010", "name": "Company", "parameters": ["100000", "125"]},
    {"id": "100011", "name": "Sales Tax", "parameters": ["100000", "125"]},
    {"id": "100012", "name": "Bank Accounts", "parameters": ["100000", "253"]}
  ],
  "roles": [
    {"id": "BASE_ROLE", "name": "Base", "visible": false, "private": true,
     "grants": [{"actions": [], "features": "*"}]},
    {"id": "ADMIN", "name": "Admin", "grants": [{"actions": [0, 1, 2, 3, 4, 8], "features": "*"}]},
    {"id": "EXTERNAL_ACCOUNTANT", "name": "External Accountant", "description": "Books",
     "grants": [{"actions": [0, 1, 2, 3, 4, 8], "features": ["7", "8", "13", "14", "100012"]},
                {"actions": [0, 1, 2], "features": ["1", "2", "3", "4", "5", "6", "9", "15"]}]},
    {"id": "CLERK", "name": "Clerk", "description": "Front desk",
     "grants": [{"actions": [0, 2, 3, 4], "features": ["1", "2", "4", "5", "6"]},
                {"actions": [0], "features": ["7", "9", "15", "100012"]}]}
  ],
  "flavors": [{"id": "Standard", "defaultRoles": ["ADMIN", "EXTERNAL_ACCOUNTANT", "CLERK"]}],
  "currentFlavor": "Standard"
})json";

} // namespace PMTest
