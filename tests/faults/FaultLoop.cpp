// The fault-loop driver, the renderings its checks compare, and the company
// files the loops start from.
#include "FaultLoop.h"

#include "support/PermissionManagerTestAccess.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>
#include <host/util/OpsHooks.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <unistd.h>

namespace PMFault {

namespace {

const unsigned kWatchdogSeconds = 300;

// Every record operation by its fault-plan name.
std::vector<std::string> const& RecordOperations() {
    static std::vector<std::string> const names = [] {
        std::pair<char const*, std::vector<char const*>> const classes[] = {
            {"DMUSRRole", {"Load", "Add", "Delete", "DeleteAll", "GetCount"}},
            {"DMUSREntitlement", {"Load", "Add", "Update", "Delete", "DeleteAll", "GetCount"}},
            {"DMUSRUserRole",
             {"Load", "Add", "DeleteByRoleId", "DeleteByUserId", "DeleteAll",
              "GetUserRoleCountByUserId", "GetUserRoleCountByRoleId"}},
            {"DMUSRRoleAction",
             {"Load", "Add", "Update", "Delete", "DeleteByEntitlementId", "DeleteAll",
              "GetRoleActionCountByRoleId"}},
        };
        std::vector<std::string> all;
        for (auto const& [record, operations] : classes) {
            for (char const* operation : operations) {
                all.push_back(std::string(record) + "::" + operation);
            }
        }
        return all;
    }();
    return names;
}

// While a run is under way: answers Verify as the loop says and records the
// expressions and log lines into the run. Outside the runs log lines are
// dropped (the default sink would print every warning of every set-up).
class RunRecorder {
public:
    explicit RunRecorder(bool accept) {
        m_PreviousVerify = Host::SetVerifyHandler([this, accept](Host::VerifyReport const& report) {
            if (m_Run != nullptr) {
                m_Run->raised.push_back(report.expression);
            }
            return accept;
        });
        m_PreviousLog = Host::SetLogSink([this](Host::LogRecord const& record) {
            if (m_Run != nullptr) {
                m_Run->logged.push_back(record.text);
            }
        });
    }
    ~RunRecorder() {
        Host::SetVerifyHandler(m_PreviousVerify);
        Host::SetLogSink(m_PreviousLog);
    }
    RunRecorder(RunRecorder const&) = delete;
    RunRecorder& operator=(RunRecorder const&) = delete;
    void Record(FaultRun* run) { m_Run = run; }

private:
    FaultRun* m_Run = nullptr;
    Host::VerifyHandler m_PreviousVerify;
    Host::LogSink m_PreviousLog;
};

std::string Row(sqlite3_stmt* statement) {
    std::string row;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        char const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, i));
        row += (i > 0 ? "|" : "") + std::string(text != nullptr ? text : "NULL");
    }
    return row;
}

bool Copy(sqlite3* from, sqlite3* to) {
    sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
    if (backup == nullptr) {
        return false;
    }
    sqlite3_backup_step(backup, -1);
    return sqlite3_backup_finish(backup) == SQLITE_OK;
}

} // namespace

long FaultRun::Done(std::string const& name) const {
    auto found = calls.find(name);
    long count = found == calls.end() ? 0 : found->second;
    return Hit(name) ? count - 1 : count;
}

std::string FaultRun::Describe() const {
    std::ostringstream text;
    text << "point " << point << " (";
    if (fired) {
        text << operation << " #" << ordinal;
    } else {
        text << "no fault fired";
    }
    text << ") gave " << result;
    return text.str();
}

int FailedParts() {
    ::testing::TestResult const* result =
        ::testing::UnitTest::GetInstance()->current_test_info()->result();
    int failed = 0;
    for (int i = 0; i < result->total_part_count(); ++i) {
        failed += result->GetTestPartResult(i).failed() ? 1 : 0;
    }
    return failed;
}

bool IsRead(std::string const& operation) {
    std::string::size_type colon = operation.rfind(':');
    std::string name = colon == std::string::npos ? operation : operation.substr(colon + 1);
    return name == "Load" || name.compare(0, 3, "Get") == 0;
}

long RunFaultLoop(FaultLoop const& loop) {
    // A run that never returns (a scan that finds no end) ends the program
    // here, rather than at the test runner's much later timeout.
    ::alarm(kWatchdogSeconds);
    Host::FaultPlan& plan = Host::FaultPlan::Get();
    RunRecorder recorder(loop.acceptChecks);
    int const failedBefore = FailedParts();
    long points = 0;
    std::map<int, long> results; // result code -> runs in which the fault fired
    for (long n = 1;; ++n) {
        if (n > loop.maxPoints) {
            ADD_FAILURE() << loop.name << ": still firing after " << loop.maxPoints << " points";
            break;
        }
        plan.Disarm();
        loop.setUp();
        if (::testing::Test::HasFatalFailure()) {
            break;
        }
        FaultRun run;
        run.point = n;
        plan.ResetCounts();
        recorder.Record(&run);
        plan.Arm("*", n, loop.fault);
        run.result = loop.operation();
        plan.Disarm();
        recorder.Record(nullptr);
        run.fired = plan.Fired();
        run.operation = plan.FiredOperation();
        run.ordinal = plan.FiredCall();
        long total = 0;
        for (std::string const& name : RecordOperations()) {
            if (long count = plan.Calls(name)) {
                run.calls[name] = count;
                total += count;
            }
        }
        {
            SCOPED_TRACE(loop.name + ", " + run.Describe());
            EXPECT_EQ(plan.Calls("*"), total) << "a record operation is missing from the list";
            EXPECT_EQ(run.fired, total >= n);
            loop.check(run);
        }
        if (FailedParts() > failedBefore) {
            std::cout << "[ fault loop ] " << loop.name << ": stopped at the failed check of "
                      << run.Describe() << "\n";
            break;
        }
        if (!run.fired) {
            break;
        }
        ++points;
        ++results[run.result];
    }
    plan.Disarm();
    ::alarm(0);
    std::string detail = "; results:";
    for (auto const& result : results) {
        detail += " " + std::to_string(result.first) + " x" + std::to_string(result.second);
    }
    ReportFaultPoints(loop.name, points, detail);
    return points;
}

void ReportFaultPoints(std::string const& name, long points, std::string const& detail) {
    std::cout << "[ fault loop ] " << name << ": " << points << " fault points" << detail << "\n";
    ::testing::Test::RecordProperty(name + " fault points", static_cast<int>(points));
}

// ---------------------------------------------------------------------------

std::string StoreRows(char const* only, sqlite3* db) {
    std::ostringstream out;
    for (char const* table : {"roles", "entitlements", "user_roles", "role_actions"}) {
        if (only != nullptr && std::string(only) != table) {
            continue;
        }
        sqlite3_stmt* statement = nullptr;
        std::string sql = std::string("SELECT * FROM ") + table + " ORDER BY 1, 2";
        sqlite3* from = db != nullptr ? db : Host::CurrentCompanyFileHandle();
        EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(from, sql.c_str(), -1, &statement, nullptr))
            << sqlite3_errmsg(from);
        while (sqlite3_step(statement) == SQLITE_ROW) {
            out << table << ": " << Row(statement) << "\n";
        }
        sqlite3_finalize(statement);
    }
    return out.str();
}

long RowCount(char const* table) {
    sqlite3_stmt* statement = nullptr;
    std::string sql = std::string("SELECT count(*) FROM ") + table;
    long count = -1;
    if (sqlite3_prepare_v2(Host::CurrentCompanyFileHandle(), sql.c_str(), -1, &statement,
                           nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
        count = static_cast<long>(sqlite3_column_int64(statement, 0));
    }
    sqlite3_finalize(statement);
    EXPECT_NE(-1, count) << "cannot count " << table;
    return count;
}

std::map<long, std::string> RowsByFirstColumn(char const* sql) {
    std::map<long, std::string> rows;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(SQLITE_OK,
              sqlite3_prepare_v2(Host::CurrentCompanyFileHandle(), sql, -1, &statement, nullptr))
        << sql;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        std::string row = Row(statement);
        std::string::size_type bar = row.find('|');
        std::string& group = rows[static_cast<long>(sqlite3_column_int64(statement, 0))];
        group += (bar == std::string::npos ? std::string() : row.substr(bar + 1)) + ";";
    }
    sqlite3_finalize(statement);
    return rows;
}

void Execute(char const* sql) {
    char* error = nullptr;
    EXPECT_EQ(SQLITE_OK,
              sqlite3_exec(Host::CurrentCompanyFileHandle(), sql, nullptr, nullptr, &error))
        << sql << ": " << (error != nullptr ? error : "");
    sqlite3_free(error);
}

std::string IntegrityCheck(sqlite3* db) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db != nullptr ? db : Host::CurrentCompanyFileHandle(),
                       "PRAGMA integrity_check", -1, &statement, nullptr);
    std::string report;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        report += reinterpret_cast<char const*>(sqlite3_column_text(statement, 0));
    }
    sqlite3_finalize(statement);
    return report;
}

Snapshot::Snapshot() : m_Copy(nullptr) {
    sqlite3_open(":memory:", &m_Copy);
}

Snapshot::~Snapshot() {
    sqlite3_close(m_Copy);
}

void Snapshot::Take() {
    ASSERT_TRUE(Host::IsCompanyFileOpen());
    ASSERT_TRUE(Copy(Host::CurrentCompanyFileHandle(), m_Copy)) << sqlite3_errmsg(m_Copy);
}

void Snapshot::Restore() const {
    Host::CloseCompanyFile();
    Host::CompanyFileResult opened = Host::OpenInMemoryCompanyFile();
    ASSERT_TRUE(opened.ok) << opened.message;
    ASSERT_TRUE(Copy(m_Copy, Host::CurrentCompanyFileHandle()))
        << sqlite3_errmsg(Host::CurrentCompanyFileHandle());
    Host::UseCompanyUserManager();
}

// ---------------------------------------------------------------------------

PM::PermissionManager& Manager() {
    return PM::PermissionManager::GetThePermissionManager();
}

void NewManager() {
    PM_UninitComponent();
    PM_InitComponent();
}

std::string RenderManager(bool withMasks) {
    PM::PermissionManager& manager = Manager();
    std::ostringstream out;
    std::vector<int> roleIds;
    if (std::vector<PM::RoleObject>* roles = manager.GetRoleCache()) {
        std::multimap<int, PM::RoleObject const*> byId;
        for (PM::RoleObject const& role : *roles) {
            byId.emplace(role.GetId(), &role);
        }
        for (auto const& [id, role] : byId) {
            out << "role " << id << " " << role->GetName().c_str() << "|"
                << role->GetDescription().c_str() << "|" << role->GetCategory() << "|"
                << role->IsVisible() << "\n";
            roleIds.push_back(id);
        }
    } else {
        out << "no role list\n";
    }
    // The entitlement cache by id: rows added at run time are appended, where
    // a load sorts them in; rows of one id stay in cache order.
    std::vector<int> entitlementIds;
    if (std::vector<PM::EntitlementObject>* entitlements = manager.GetEntitlementCache()) {
        std::multimap<int, PM::EntitlementObject const*> byId;
        for (PM::EntitlementObject const& e : *entitlements) {
            byId.emplace(e.m_Id, &e);
        }
        for (auto const& [id, e] : byId) {
            out << "entitlement " << id << " " << e->m_Name.c_str() << "|" << e->m_Category << "|"
                << e->m_Attrs << "|" << e->m_Enabled << e->m_Visible << "\n";
            entitlementIds.push_back(id);
        }
    } else {
        out << "no entitlement list\n";
    }
    for (PM::EntitlementDef const& e :
         PM::PermissionManagerTestAccess(manager).SortedEntitlements()) {
        out << "sorted " << e.GetId() << " " << e.GetName().c_str() << "\n";
    }
    for (int role : withMasks ? roleIds : std::vector<int>()) {
        out << "masks of " << role << ":";
        for (int id : entitlementIds) {
            long action = 0;
            int result = manager.GetRoleActionAssociation(role, id, &action);
            out << " " << id << "=";
            if (result == PM_OK) {
                out << action;
            } else {
                out << "(" << result << ")";
            }
        }
        out << "\n";
    }
    return out.str();
}

AgainstFreshInit RenderAgainstFreshInit(bool withMasks) {
    AgainstFreshInit both;
    both.current = RenderManager(withMasks);
    NewManager();
    both.freshResult = Manager().Init();
    both.fresh = RenderManager(withMasks);
    return both;
}

void ExpectCachesAsAFreshInitLoads() {
    AgainstFreshInit both = RenderAgainstFreshInit();
    EXPECT_EQ(both.fresh, both.current);
}

std::vector<PM::EntitlementDef> Grants(std::vector<std::pair<int, int>> const& rows) {
    std::vector<PM::EntitlementDef> list(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        list[i].SetId(rows[i].first);
        list[i].SetAction(rows[i].second);
    }
    return list;
}

// ---------------------------------------------------------------------------

char const kSmallCatalogue[] = R"json({
  "format": 1,
  "product": "Fault loops",
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
    {"id": "ADMIN", "name": "Admin",
     "grants": [{"actions": [0, 1, 2, 3, 4, 8], "features": "*"}]},
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

void LoadCatalogue(char const* json) {
    Host::CatalogueResult loaded = Host::LoadCatalogueText(json, "faults.json");
    ASSERT_TRUE(loaded.ok) << loaded.message;
}

void OpenEmptyCompany(std::string const& path) {
    PM_UninitComponent();
    Host::CloseCompanyFile();
    Host::CompanyFileResult opened =
        path.empty() ? Host::OpenInMemoryCompanyFile() : Host::CreateCompanyFile(path);
    ASSERT_TRUE(opened.ok) << opened.message;
    Host::UseCompanyUserManager();
    std::string error;
    ASSERT_NE(-1, Host::AddCompanyUser("admin", true, &error)) << error;
    PM_InitComponent();
}

void OpenDefaultCompany(std::string const& path) {
    OpenEmptyCompany(path);
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
    std::string error;
    int clerk = Host::AddCompanyUser("clerk", false, &error);
    int accountant = Host::AddCompanyUser("accountant", false, &error);
    ASSERT_NE(-1, clerk) << error;
    ASSERT_NE(-1, accountant) << error;
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(clerk, 2));
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(accountant, 1));
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(accountant, 2));
}

int UserId(char const* name) {
    int id = Host::FindCompanyUser(name);
    EXPECT_NE(-1, id) << "no user " << name;
    return id;
}

} // namespace PMFault
