// Bank-account entitlements with each record operation failing in turn: the
// add, the move to another parent, and the wipe of all of them. The company
// file holds three of them: Checking and Savings under "Bank Accounts"
// (100012), and Petty Cash under Checking, with masks that make a move
// reconcile roles.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include "support/PermissionManagerTestAccess.h"

#include <gtest/gtest.h>

namespace {

using namespace PMFault;

std::vector<std::string> Split(std::string const& text) {
    std::vector<std::string> parts;
    std::string::size_type start = 0;
    for (std::string::size_type end; (end = text.find(';', start)) != std::string::npos;
         start = end + 1) {
        parts.push_back(text.substr(start, end - start));
    }
    return parts;
}

std::string Join(std::vector<std::string> const& parts) {
    std::string text;
    for (std::string const& part : parts) {
        text += part + "\n";
    }
    return text;
}

int const kChecking = 300000;
int const kSavings = 300001;
int const kPettyCash = 300002;

class DynamicEntitlementsFaultTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoadCatalogue(kSmallCatalogue);
        OpenDefaultCompany();
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
        company.Take();
    }
    // The saved file, Init, and the clerk established, so that the current
    // context has an action table.
    void Fresh() {
        company.Restore();
        NewManager();
        ASSERT_EQ(PM_OK, Manager().Init());
        ASSERT_EQ(PM_OK, Manager().EstablishUser(UserId("clerk")));
    }
    static std::map<int, long> Table() {
        std::map<int, long>* table =
            PM::PermissionManagerTestAccess(Manager()).GetCurrentActionCache();
        return table != nullptr ? *table : std::map<int, long>();
    }
    static long Entry(int id) {
        std::map<int, long> table = Table();
        return table.count(id) != 0 ? table.at(id) : -99;
    }
    // "role|action;" for each role with a mask on the entitlement.
    static std::string Masks(int entitlement) {
        return RowsByFirstColumn("SELECT entitlement_id, role_id, action_type FROM role_actions "
                                 "ORDER BY entitlement_id, role_id")[entitlement];
    }
    Snapshot company;
};

// The store row, the entitlement cache, every role's mask (each role as its
// parent mask), then the clerk's table. A refused first add is retried once
// after a reload, with the id asked again; a role whose read or add fails
// gets no mask, the others do, and the result is that failure. The table
// gets the new entry whatever happened.
TEST_F(DynamicEntitlementsFaultTest, AddDynamicEntitlementGivesEveryOtherRoleItsMask) {
    int const id = 300003;
    Fresh();
    std::string const before = StoreRows();
    auto add = [] {
        return Manager().AddDynamicEntitlement("Bank Registers:Cash", "Bank Accounts");
    };
    ASSERT_EQ(PM_OK, add());
    std::string const masks = Masks(id);
    ASSERT_EQ("0|63;1|63;2|0;", masks);
    std::string const row = Only(StoreRows("entitlements"), "entitlements: 300003|");
    ASSERT_EQ("entitlements: 300003|100012|253|1|1|Cash\n", row);

    FaultLoop loop;
    loop.name = "AddDynamicEntitlement";
    loop.setUp = [&] { Fresh(); };
    loop.operation = add;
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
        EXPECT_EQ(roleFailed ? 2u : 3u, Split(now).size());
        EXPECT_EQ("", Missing(Join(Split(now)), Join(Split(masks))));
        EXPECT_EQ(before,
                  Without(StoreRows(), {"entitlements: 300003|", "role_actions: 0|300003|",
                                        "role_actions: 1|300003|", "role_actions: 2|300003|"}));
        // The clerk's table: the parent's entry, whatever the roles got.
        EXPECT_EQ(Entry(100012), Entry(id));
        AgainstFreshInit both = RenderAgainstFreshInit();
        EXPECT_EQ(both.fresh, both.current);
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
    std::map<int, long> const tableBefore = Table();
    ASSERT_EQ(PM_OK, move());
    std::string const after = StoreRows();
    ASSERT_EQ("entitlements: 300002|300001|253|1|1|Petty Cash\n",
              Only(after, "entitlements: 300002|"));
    ASSERT_EQ(Missing(after, before), "entitlements: 300002|300001|253|1|1|Petty Cash\n"
                                      "role_actions: 1|300002|5\nrole_actions: 2|300001|1\n");
    ASSERT_EQ(1, Entry(kSavings));

    FaultLoop loop;
    loop.name = "UpdateDynamicEntitlement";
    loop.setUp = [&] { Fresh(); };
    loop.operation = move;
    loop.check = [&](FaultRun const& run) {
        EXPECT_EQ(run.fired ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ(run.raised, std::vector<std::string>());
        // The record moved unless its own update failed; each role's write
        // in order, as far as the failure let them.
        std::string const now = StoreRows();
        bool const recordMoved = run.Done("DMUSREntitlement::Update") == 1;
        EXPECT_EQ(Only(recordMoved ? after : before, "entitlements: "),
                  Only(now, "entitlements: "));
        std::string expected = Only(before, "role_actions: ");
        long const writes = run.Done("DMUSRRoleAction::Update");
        if (writes >= 1) { // the Clerk, second in the list, writes first
            expected =
                Missing(expected, "role_actions: 2|300001|23\n") + "role_actions: 2|300001|1\n";
        }
        if (writes >= 2) {
            expected =
                Missing(expected, "role_actions: 1|300002|63\n") + "role_actions: 1|300002|5\n";
        }
        EXPECT_EQ(Lines(expected), Lines(Only(now, "role_actions: ")));
        EXPECT_EQ(run.result == PM_OK ? 1 : tableBefore.at(kSavings), Entry(kSavings));
        EXPECT_EQ(tableBefore.at(kPettyCash), Entry(kPettyCash));
        AgainstFreshInit both = RenderAgainstFreshInit();
        EXPECT_EQ(both.fresh, both.current);
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
    std::string const wiped = StoreRows();
    ASSERT_EQ(Lines(Only(before, "role_actions: ")), Lines(Only(wiped, "role_actions: ")));
    ASSERT_EQ("", Only(wiped, "entitlements: 3000"));
    // The cache order: by name, so Checking, Petty Cash, Savings.
    std::vector<std::string> const order = {"entitlements: 300000|", "entitlements: 300002|",
                                            "entitlements: 300001|"};

    FaultLoop loop;
    loop.name = "DeleteAllDynamicBankAccntEntitlements";
    loop.setUp = [&] { Fresh(); };
    loop.operation = [] { return Manager().DeleteAllDynamicBankAccntEntitlements(); };
    loop.check = [&](FaultRun const& run) {
        bool const deleteFailed = run.Hit("DMUSREntitlement::Delete");
        bool const quiet = run.fired && IsRead(run.operation) && Manager().IsInitialized();
        EXPECT_EQ(run.fired && !quiet ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ(run.raised, std::vector<std::string>());
        std::string const now = StoreRows();
        EXPECT_EQ(Only(before, "role_actions: "), Only(now, "role_actions: "));
        std::string left = Only(before, "entitlements: 3000");
        for (long i = 0; i < run.Done("DMUSREntitlement::Delete"); ++i) {
            left = Missing(left, Only(before, order[i]));
        }
        EXPECT_EQ(Lines(left), Lines(Only(now, "entitlements: 3000")));
        if (deleteFailed) {
            // Deleted rows still cached: the caches are stale until an Init.
            EXPECT_EQ(cached, RenderManager(false));
        }
        EXPECT_EQ(deleteFailed || run.result == PM_OK, Manager().IsInitialized());
        AgainstFreshInit both = RenderAgainstFreshInit();
        if (run.result == PM_OK && !quiet) {
            EXPECT_EQ(both.fresh, both.current);
        } else if (quiet) {
            EXPECT_EQ("", Missing(Without(both.current, {"masks of "}), both.fresh));
        }
    };
    EXPECT_GT(RunFaultLoop(loop), 30);
}

// A wipe leaves the masks of the deleted rows behind, and the next account is
// given the first dynamic id again: its masks collide with the old ones, the
// add reports the failure, and the new account carries the wiped account's
// masks instead of its parent's.
TEST_F(DynamicEntitlementsFaultTest, AfterAWipeANewAccountKeepsTheWipedAccountsMasks) {
    Fresh();
    ASSERT_EQ("0|63;1|63;2|1;", Masks(kChecking));
    ASSERT_EQ(PM_OK, Manager().DeleteAllDynamicBankAccntEntitlements());
    EXPECT_EQ(PM_ERROR, Manager().AddDynamicEntitlement("Bank Registers:Payroll", "Bank Accounts"));
    EXPECT_EQ(kChecking, Manager().FindEntitlementDefByName("Bank Registers:Payroll").GetId());
    EXPECT_EQ("0|63;1|63;2|1;", Masks(kChecking)) << "the parent, Bank Accounts, gives the Clerk 0";
}

} // namespace
