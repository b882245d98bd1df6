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

#include <algorithm>
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
    int rc = SQLITE_ROW;
    while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
        rows += prefix;
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            char const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, i));
            rows += (i > 0 ? "|" : "") + std::string(text != nullptr ? text : "NULL");
        }
        rows += "\n";
    }
    EXPECT_EQ(SQLITE_DONE, rc) << sql << ": " << sqlite3_errmsg(db);
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

std::vector<std::string> Lines(std::string const& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
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
    std::vector<std::string> const lines = Lines(whole);
    std::multiset<std::string> have(lines.begin(), lines.end());
    std::string missing;
    for (std::string const& line : Lines(part)) {
        auto const found = have.find(line);
        if (found == have.end()) {
            missing += line + "\n";
        } else {
            have.erase(found);
        }
    }
    return missing;
}

std::string Only(std::string const& text, std::string const& prefix) {
    return Missing(text, Without(text, {prefix}));
}

std::string Without(std::string const& text, std::initializer_list<std::string> prefixes) {
    std::string kept;
    for (std::string const& line : Lines(text)) {
        auto const starts = [&line](std::string const& prefix) {
            return line.rfind(prefix, 0) == 0;
        };
        kept += std::any_of(prefixes.begin(), prefixes.end(), starts) ? "" : line + "\n";
    }
    return kept;
}

std::string SortLines(std::string const& text) {
    std::vector<std::string> lines = Lines(text);
    std::sort(lines.begin(), lines.end());
    std::string sorted;
    for (std::string const& line : lines) {
        sorted += line + "\n";
    }
    return sorted;
}

void FaultLoopTest::Start(bool defaults, std::string const& path) {
    Host::CompanyOptions options;
    options.catalogue = PM_FAULT_CATALOGUE;
    Host::CompanyProblem problem;
    std::string error;
    company.reset(); // one company at a time
    if (path.empty()) {
        company = Host::Company::CreateInMemory(options, "admin", &problem, defaults);
    } else { // created as one change, then opened as a desktop keeps it
        company = Host::Company::Create(path, options, "admin", &problem);
        ASSERT_TRUE(company && company->Commit(&error)) << problem.message << error;
        company.reset();
        options.access = Host::CompanyAccess::kLive;
        company = Host::Company::Open(path, options, &problem);
    }
    ASSERT_NE(nullptr, company) << problem.message;
    if (defaults) {
        int const clerk = Host::AddCompanyUser("clerk", false, &error);
        int const accountant = Host::AddCompanyUser("accountant", false, &error);
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(clerk, 2)) << error;
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(accountant, 1));
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(accountant, 2));
    }
}

void FaultLoopTest::Save() {
    ASSERT_TRUE((saved != nullptr || sqlite3_open(":memory:", &saved) == SQLITE_OK) &&
                Copy(Host::CurrentCompanyFileHandle(), saved));
}

void FaultLoopTest::Fresh(bool init) {
    PM_UninitComponent();
    ASSERT_TRUE(Copy(saved, Host::CurrentCompanyFileHandle()));
    PM_InitComponent();
    if (init) {
        ASSERT_EQ(PM_OK, Manager().Init());
    }
}

long FaultLoopTest::Loop(std::string const& name, long atLeast,
                         std::function<int()> const& operation,
                         std::function<void(FaultRun const&)> const& check) {
    ::alarm(300); // a run that never returns ends the program here
    Host::FaultPlan& plan = Host::FaultPlan::Get();
    VerifyProbe probe(false);
    LogProbe log;
    long points = 0;
    for (long n = 1; n < 20000; ++n, ++points) {
        plan.Disarm();
        setUp ? setUp() : Fresh();
        if (HasFailure()) {
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
        run.operation = run.fired ? plan.FiredOperation().substr(5) : ""; // without "DMUSR"
        run.ordinal = plan.FiredCall();
        for (std::string record : {"Role", "Entitlement", "UserRole", "RoleAction"}) {
            for (char const* op : {"Add", "Update", "Delete", "DeleteByRoleId"}) {
                run.calls[record + "::" + op] = plan.Calls("DMUSR" + record + "::" + op);
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
    }
    ::alarm(0);
    std::cout << "[ fault loop ] " << name << ": " << points << " fault points\n";
    EXPECT_LT(points, 19999) << name << ": still firing";
    EXPECT_GT(points, atLeast) << name;
    return points;
}

std::string FaultLoopTest::Render(bool withMasks) {
    PM::PermissionManager& manager = Manager();
    std::vector<PM::RoleObject>* roles = manager.GetRoleCache();
    std::vector<PM::EntitlementObject>* entitlements = manager.GetEntitlementCache();
    std::ostringstream rows, sorted;
    rows << (roles ? "" : "no role list\n") << (entitlements ? "" : "no entitlement list\n");
    for (PM::RoleObject const& r : roles ? *roles : std::vector<PM::RoleObject>()) {
        rows << "role " << r.GetId() << " " << r.GetName().c_str() << "|"
             << r.GetDescription().c_str() << "|" << r.GetCategory() << "|" << r.IsVisible()
             << "\n";
    }
    for (PM::EntitlementObject const& e :
         entitlements ? *entitlements : std::vector<PM::EntitlementObject>()) {
        rows << "entitlement " << e.m_Id << " " << e.m_Name.c_str() << "|" << e.m_Category << "|"
             << e.m_Attrs << "|" << e.m_Enabled << e.m_Visible << "\n";
        for (PM::RoleObject const& r : roles&& withMasks ? *roles : std::vector<PM::RoleObject>()) {
            long action = 0;
            int const result = manager.GetRoleActionAssociation(r.GetId(), e.m_Id, &action);
            rows << "masks of " << r.GetId() << ": " << e.m_Id << "="
                 << (result == PM_OK ? std::to_string(action) : "(" + std::to_string(result) + ")")
                 << "\n";
        }
    }
    for (PM::EntitlementDef const& e :
         PM::PermissionManagerTestAccess(manager).SortedEntitlements()) {
        sorted << "sorted " << e.GetId() << " " << e.GetName().c_str() << "\n";
    }
    // The rows as a set (rows added at run time are appended, where a load
    // sorts them in); the name-sorted list in its order.
    return SortLines(rows.str()) + sorted.str();
}

FaultLoopTest::Both FaultLoopTest::AgainstFreshInit() {
    std::string const current = Render();
    PM_UninitComponent(); // a new manager
    PM_InitComponent();
    int const result = Manager().Init();
    return {current, Render(), result};
}

FaultLoopTest::Both FaultLoopTest::ExpectAsFreshInit(bool partial) {
    Both both = AgainstFreshInit();
    // Partial: no line of the current rendering, masks aside, that the fresh one lacks.
    EXPECT_EQ(partial ? "" : both.fresh,
              partial ? Missing(Without(both.current, {"masks of "}), both.fresh) : both.current);
    return both;
}

} // namespace PMTest
