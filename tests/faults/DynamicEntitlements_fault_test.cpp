// Bank-account entitlements with each record operation failing in turn: the
// add, the move to another parent, and the wipe of all of them. The company
// file holds three of them: Checking and Savings under "Bank Accounts"
// (100012), and Petty Cash under Checking, with masks that make a move
// reconcile roles.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include "support/PermissionManagerTestAccess.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace PMFault;

int const kChecking = 300000;
int const kSavings = 300001;
int const kPettyCash = 300002;

class DynamicEntitlementsFaultTest : public SavedCompanyTest {
protected:
    void Prepare() override {
        ASSERT_EQ(PM_OK, Manager().Init());
        ASSERT_EQ(PM_OK,
                  Manager().AddDynamicEntitlement("Bank Registers:Checking", "Bank Accounts"));
        ASSERT_EQ(PM_OK,
                  Manager().AddDynamicEntitlement("Bank Registers:Savings", "Bank Accounts"));
        ASSERT_EQ(PM_OK, Manager().AddDynamicEntitlement("Bank Registers:Checking:Petty Cash",
                                                         "Bank Registers:Checking"));
        // Admin: equal on Savings and Petty Cash. External Accountant: the
        // child above its new parent. Clerk: the child below it, and nothing
        // on "Bank Accounts", where the walk upward stops.
        Execute("UPDATE role_actions SET action_type = CASE "
                "WHEN role_id = 1 AND entitlement_id = 300001 THEN 5 "
                "WHEN role_id = 2 AND entitlement_id = 300001 THEN 23 "
                "WHEN role_id = 2 AND entitlement_id = 300002 THEN 1 "
                "WHEN role_id = 2 AND entitlement_id = 100012 THEN 0 "
                "ELSE action_type END");
    }
    // The saved file, Init, and the clerk established, so that the current
    // context has an action table (no user without Init).
    void Fresh(bool init = true) override {
        SavedCompanyTest::Fresh(init);
        if (init) {
            ASSERT_EQ(PM_OK, Manager().EstablishUser(UserId("clerk")));
        }
    }
    // The clerk's table entry for the entitlement; -99 when it has none.
    static long Entry(int id) {
        std::map<int, long>* table =
            PM::PermissionManagerTestAccess(Manager()).GetCurrentActionCache();
        return table != nullptr && table->count(id) != 0 ? table->at(id) : -99;
    }
    // "role|action" lines, one for each role with a mask on the entitlement.
    static std::string Masks(int entitlement) {
        std::string masks =
            RowsByFirstColumn("SELECT entitlement_id, role_id, action_type FROM "
                              "role_actions ORDER BY entitlement_id, role_id")[entitlement];
        std::replace(masks.begin(), masks.end(), ';', '\n');
        return masks;
    }
};

// The store row, the entitlement cache, every role's mask (each role as its
// parent mask), then the clerk's table. A refused first add is retried once
// after a reload, with the id asked again; a role whose read or add fails
// gets no mask, the others do, and the result is that failure. The table
// gets the new entry whatever happened.
TEST_F(DynamicEntitlementsFaultTest, AddDynamicEntitlementGivesEveryOtherRoleItsMask) {
    int const id = 300003;
    Fresh();
    auto add = [] {
        return Manager().AddDynamicEntitlement("Bank Registers:Cash", "Bank Accounts");
    };
    std::string const before = StoreRows();
    ASSERT_EQ(PM_OK, add());
    std::string const masks = Masks(id);
    ASSERT_EQ("0|63\n1|63\n2|0\n", masks);
    std::string const row = Only(StoreRows("entitlements"), "entitlements: 300003|");
    ASSERT_EQ("entitlements: 300003|100012|253|1|1|Cash\n", row);

    FaultLoop loop = LoopOnFreshCopies("AddDynamicEntitlement", add);
    loop.check = [&](FaultRun const& run) {
        bool const roleFailed = run.Hit("DMUSRRoleAction::Load") || run.Hit("DMUSRRoleAction::Add");
        EXPECT_EQ(roleFailed ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ(run.raised, std::vector<std::string>());
        // The store row, after the retry when the first add failed.
        EXPECT_EQ(run.Hit("DMUSREntitlement::Add", 1) ? 2 : 1,
                  run.calls.at("DMUSREntitlement::Add"));
        EXPECT_EQ(row, Only(StoreRows("entitlements"), "entitlements: 300003|"));
        // Every role's mask but the one whose read or add failed; nothing else.
        std::string const now = Masks(id);
        EXPECT_EQ(roleFailed ? 2u : 3u, Lines(now).size());
        EXPECT_EQ("", Missing(now, masks));
        EXPECT_EQ(before,
                  Without(StoreRows(), {"entitlements: 300003|", "role_actions: 0|300003|",
                                        "role_actions: 1|300003|", "role_actions: 2|300003|"}));
        // The clerk's table: the parent's entry, whatever the roles got.
        EXPECT_EQ(Entry(100012), Entry(id));
        ExpectCachesAsAFreshInitLoads();
    };
    EXPECT_GT(RunFaultLoop(loop), 3);
}

// Petty Cash moves from Checking to Savings: its record, its cache row, then
// each role in list order (Admin, Clerk, External Accountant) reconciled: the
// External Accountant's child lowered to the parent, the Clerk's parent to
// the child. The first failure ends the move; the roles before it stay
// reconciled. Only a move that went through lowers the clerk's table.
TEST_F(DynamicEntitlementsFaultTest, UpdateDynamicEntitlementReconcilesRolesUpToTheFailure) {
    auto move = [] {
        return Manager().UpdateDynamicEntitlement("Bank Registers:Checking:Petty Cash",
                                                  "Bank Registers:Savings:Petty Cash");
    };
    Fresh();
    std::string const before = StoreRows();
    long const savingsBefore = Entry(kSavings);
    long const pettyCashBefore = Entry(kPettyCash);
    ASSERT_EQ(PM_OK, move());
    ASSERT_EQ(1, Entry(kSavings));
    // The row moved, then the Clerk (second in the list, first to write),
    // then the External Accountant.
    std::string const moved = "entitlements: 300002|300001|253|1|1|Petty Cash\n";
    std::pair<std::string, std::string> const writes[] = {
        {"role_actions: 2|300001|23\n", "role_actions: 2|300001|1\n"},
        {"role_actions: 1|300002|63\n", "role_actions: 1|300002|5\n"},
    };
    ASSERT_EQ(moved + writes[1].second + writes[0].second, Missing(StoreRows(), before));

    FaultLoop loop = LoopOnFreshCopies("UpdateDynamicEntitlement", move);
    loop.check = [&](FaultRun const& run) {
        EXPECT_EQ(run.fired ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ(run.raised, std::vector<std::string>());
        // The record moved unless its own update failed; each role's write
        // in order, as far as the failure let them.
        std::string expected = before;
        if (run.Done("DMUSREntitlement::Update") == 1) {
            expected = Without(expected, {"entitlements: 300002|"}) + moved;
        }
        for (long i = 0; i < run.Done("DMUSRRoleAction::Update"); ++i) {
            expected = Missing(expected, writes[i].first) + writes[i].second;
        }
        EXPECT_EQ(Lines(expected), Lines(StoreRows()));
        EXPECT_EQ(run.result == PM_OK ? 1 : savingsBefore, Entry(kSavings));
        EXPECT_EQ(pettyCashBefore, Entry(kPettyCash));
        ExpectCachesAsAFreshInitLoads();
    };
    EXPECT_GT(RunFaultLoop(loop), 6);
}

// The wipe deletes the dynamic rows one by one in cache order and then runs
// Init. A failed delete leaves the earlier ones deleted and the caches as they
// were; a failed Init leaves them deleted and the manager uninitialised. The
// masks of the deleted rows stay in every case.
TEST_F(DynamicEntitlementsFaultTest,
       DeleteAllDynamicBankAccntEntitlementsLeavesDeletedRowsDeleted) {
    Fresh();
    std::string const before = StoreRows();
    std::string const cached = RenderManager(false);
    ASSERT_EQ(PM_OK, Manager().DeleteAllDynamicBankAccntEntitlements());
    ASSERT_EQ(Without(before, {"entitlements: 3000"}), StoreRows());
    // The next account is given the first dynamic id again: its masks collide
    // with the wiped account's, the add reports the failure, and the new
    // account carries the wiped account's masks instead of its parent's (Bank
    // Accounts gives the Clerk 0).
    EXPECT_EQ(PM_ERROR, Manager().AddDynamicEntitlement("Bank Registers:Payroll", "Bank Accounts"));
    EXPECT_EQ(kChecking, Manager().FindEntitlementDefByName("Bank Registers:Payroll").GetId());
    EXPECT_EQ("0|63\n1|63\n2|1\n", Masks(kChecking));
    // The cache order: by name, so Checking, Petty Cash, Savings.
    char const* const order[] = {"entitlements: 300000|", "entitlements: 300002|",
                                 "entitlements: 300001|"};

    FaultLoop loop = LoopOnFreshCopies("DeleteAllDynamicBankAccntEntitlements", [] {
        return Manager().DeleteAllDynamicBankAccntEntitlements();
    });
    loop.check = [&](FaultRun const& run) {
        bool const deleteFailed = run.Hit("DMUSREntitlement::Delete");
        bool const quiet = run.fired && IsRead(run.operation) && Manager().IsInitialized();
        EXPECT_EQ(run.fired && !quiet ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ(run.raised, std::vector<std::string>());
        std::string expected = before;
        for (long i = 0; i < run.Done("DMUSREntitlement::Delete"); ++i) {
            expected = Without(expected, {order[i]});
        }
        EXPECT_EQ(Lines(expected), Lines(StoreRows()));
        if (deleteFailed) {
            // Deleted rows still cached: the caches are stale until an Init.
            EXPECT_EQ(cached, RenderManager(false));
        }
        EXPECT_EQ(deleteFailed || run.result == PM_OK, Manager().IsInitialized());
        AgainstFreshInit both = RenderAgainstFreshInit();
        if (quiet) {
            EXPECT_EQ("", Missing(Without(both.current, {"masks of "}), both.fresh));
        } else if (run.result == PM_OK) {
            EXPECT_EQ(both.fresh, both.current);
        }
    };
    EXPECT_GT(RunFaultLoop(loop), 30);
}

} // namespace
