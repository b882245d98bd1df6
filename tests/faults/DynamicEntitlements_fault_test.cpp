// Bank-account entitlements with each record operation failing in turn: the
// move to another parent, and the wipe of all of them. The company
// holds three: Checking and Savings under "Bank Accounts" (100012), and
// Petty Cash under Checking, with masks that make a move reconcile roles.
#include "support/FaultLoop.h"
#include "support/PermissionManagerTestAccess.h"

#include <host/users/CompanyUsers.h>

namespace {

using namespace PMTest;

class DynamicEntitlementsFaultTest : public FaultLoopTest {
protected:
    void SetUp() override {
        Start();
        for (auto [name, parent] : {std::pair("Checking", "Bank Accounts"),
                                    {"Savings", "Bank Accounts"},
                                    {"Checking:Petty Cash", "Bank Registers:Checking"}}) {
            ASSERT_EQ(PM_OK, Manager().AddDynamicEntitlement(
                                 (std::string("Bank Registers:") + name).c_str(), parent));
        }
        // Admin: equal on Savings and Petty Cash. External Accountant: the
        // child above its new parent. Clerk: the child below it, and nothing
        // on "Bank Accounts", where the walk upward stops.
        QueryRows("UPDATE role_actions SET action_type = CASE "
                  "WHEN role_id = 1 AND entitlement_id = 300001 THEN 5 "
                  "WHEN role_id = 2 AND entitlement_id = 300001 THEN 23 "
                  "WHEN role_id = 2 AND entitlement_id = 300002 THEN 1 "
                  "WHEN role_id = 2 AND entitlement_id = 100012 THEN 0 ELSE action_type END");
        Save();
        // Each run from the saved company, Init, and the clerk established,
        // so that the current context has an action table.
        setUp = [this] {
            Fresh();
            ASSERT_EQ(PM_OK, Manager().EstablishUser(Host::FindCompanyUser("clerk")));
        };
        setUp();
        before = StoreRows();
    }
    // The clerk's table entry for the entitlement; "none" when it has none.
    static std::string Entry(int id) {
        std::map<int, long>* table =
            PM::PermissionManagerTestAccess(Manager()).GetCurrentActionCache();
        return table != nullptr && table->count(id) ? std::to_string(table->at(id)) : "none";
    }
    std::string before;
};

// Petty Cash moves from Checking to Savings: its record, its cache row, then
// each role in list order reconciled: the External Accountant's child lowered
// to the parent, the Clerk's parent to the child. The first failure ends the
// move; the roles before it stay reconciled. Only a move that went through
// lowers the clerk's table.
TEST_F(DynamicEntitlementsFaultTest, UpdateDynamicEntitlementReconcilesRolesUpToTheFailure) {
    auto const move = [] {
        return Manager().UpdateDynamicEntitlement("Bank Registers:Checking:Petty Cash",
                                                  "Bank Registers:Savings:Petty Cash");
    };
    auto const entries = [] { return Entry(300001) + " " + Entry(300002); };
    std::string const unmoved = entries();
    ASSERT_EQ(PM_OK, move());
    ASSERT_EQ("1 1", entries());
    // The row moved, then the Clerk (second in the list, first to write),
    // then the External Accountant.
    std::string const moved = "entitlements: 300002|300001|253|1|1|Petty Cash\n";
    std::pair<std::string, std::string> const writes[] = {
        {"role_actions: 2|300001|23\n", "role_actions: 2|300001|1\n"},
        {"role_actions: 1|300002|63\n", "role_actions: 1|300002|5\n"},
    };
    ASSERT_EQ(moved + writes[1].second + writes[0].second, Missing(StoreRows(), before));

    auto const check = [&](FaultRun const& run) {
        EXPECT_EQ(run.fired ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ("", run.raised);
        std::string expected = before;
        if (run.Done("Entitlement::Update") == 1) {
            expected = Without(expected, {"entitlements: 300002|"}) + moved;
        }
        for (long i = 0; i < run.Done("RoleAction::Update"); ++i) {
            expected = Missing(expected, writes[i].first) + writes[i].second;
        }
        EXPECT_EQ(SortLines(expected), SortLines(StoreRows()));
        EXPECT_EQ(run.fired ? unmoved : "1 1", entries());
        ExpectAsFreshInit();
    };
    Loop("UpdateDynamicEntitlement", 6, move, check);
}

// The wipe deletes the dynamic rows one by one in cache order (by name:
// Checking, Petty Cash, Savings) and then runs Init. A failed delete leaves the
// earlier ones deleted and the caches as they were; a failed Init leaves them
// deleted and the manager uninitialised. The masks of the deleted rows stay.
TEST_F(DynamicEntitlementsFaultTest,
       DeleteAllDynamicBankAccntEntitlementsLeavesDeletedRowsDeleted) {
    std::string const cached = Render(false);
    ASSERT_EQ(PM_OK, Manager().DeleteAllDynamicBankAccntEntitlements());
    ASSERT_EQ(Without(before, {"entitlements: 3000"}), StoreRows());
    // The next account is given the first dynamic id again: its masks collide
    // with the wiped account's, the add reports the failure, and the account
    // carries the wiped account's masks, not its parent's (the Clerk's 0).
    EXPECT_EQ(PM_ERROR, Manager().AddDynamicEntitlement("Bank Registers:Payroll", "Bank Accounts"));
    EXPECT_EQ(300000, Manager().FindEntitlementDefByName("Bank Registers:Payroll").GetId());
    EXPECT_EQ(
        "0|63\n1|63\n2|1\n",
        QueryRows("SELECT role_id, action_type FROM role_actions WHERE entitlement_id = 300000"));
    char const* const order[] = {"entitlements: 300000|", "entitlements: 300002|",
                                 "entitlements: 300001|"};

    auto const check = [&](FaultRun const& run) {
        bool const deleteFailed = run.Hit("Entitlement::Delete");
        bool const quiet = run.HitRead() && Manager().IsInitialized();
        EXPECT_EQ(run.fired && !quiet ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ("", run.raised);
        std::string expected = before;
        for (long i = 0; i < run.Done("Entitlement::Delete"); ++i) {
            expected = Without(expected, {order[i]});
        }
        EXPECT_EQ(SortLines(expected), SortLines(StoreRows()));
        EXPECT_TRUE(!deleteFailed || cached == Render(false)) << "stale until the next Init";
        EXPECT_EQ(deleteFailed || run.result == PM_OK, Manager().IsInitialized());
        if (quiet || run.result == PM_OK) {
            ExpectAsFreshInit(quiet);
        }
    };
    auto const wipe = [] { return Manager().DeleteAllDynamicBankAccntEntitlements(); };
    Loop("DeleteAllDynamicBankAccntEntitlements", 30, wipe, check);
}

} // namespace
