// Bank-account entitlements on a real company file: creation with inherited
// masks and table rows, moves and renames, the soft delete, the wipe, the
// rapid path with its batch follow-up, and recovery from a stale cache.
#include "support/CompanyFixture.h"
#include "support/VerifyProbe.h"

#include <PM/Constants.h>
#include <Records/DMUSREntitlement.h>
#include <host/records/FaultPlan.h>

#include <climits>
#include <string>
#include <vector>

namespace {

int const kBank = PM::BankAccountsEntitlementId;
std::vector<int> const kAllRoles = {0, 1, 2, 3, 4, 5, 6, 7};

class DynamicEntitlementsTest : public PMTest::CompanyFixture {
protected:
    std::map<int, long>& Table() { return *Access().GetCurrentActionCache(); }
    std::string TableRows(std::vector<int> const& ids) {
        std::string text;
        for (int id : ids) {
            bool found = Table().count(id) != 0;
            text += (text.empty() ? "" : ",") + (found ? std::to_string(Table()[id]) : "-");
        }
        return text;
    }
    std::string Describe(int id) { // name|category|attrs|enabled visible
        PM::EntitlementDef d = Manager().FindEntitlementDefById(id);
        return std::string(d.GetName()) + "|" + std::to_string(d.GetCategory()) + "|" +
               std::to_string(d.GetAttrs()) + "|" + std::to_string(d.IsEnabled()) +
               std::to_string(d.IsVisible());
    }
    int Add(std::string const& name, std::string const& parent) {
        return Manager().AddDynamicEntitlement(name.c_str(), parent.c_str());
    }
};

TEST_F(DynamicEntitlementsTest, AccountsGetFullNamesNewIdsTheParentsMasksAndTableRows) {
    int clerk = AddUser("clerk");
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(clerk, 4)); // Sales: no mask on Bank Accounts
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(clerk, 6)); // View Only: 1
    ASSERT_EQ(0, Manager().EstablishUser(clerk));
    Table()[kBank] = 17; // the parent's table entry wins over the roles' masks
    // Roles 3, 4, 5 and 7 hold no mask on the parent: the failed read is the
    // result, and every other role is written.
    EXPECT_EQ(PM_ERROR, Add("Bank Registers:Checking", "Bank Accounts"));
    EXPECT_EQ(300000, EntitlementId("Bank Registers:Checking"));
    EXPECT_EQ("Checking|100012|253|11", Describe(300000));
    EXPECT_EQ("63,63,63,-,-,-,1,-", Masks(kAllRoles, {300000}));
    EXPECT_EQ("17", TableRows({300000}));
    // A parent missing from the table: the OR over the user's roles, 4 | 2.
    SetMasks({4}, {300000}, {4});
    SetMasks({6}, {300000}, {2});
    Table().erase(300000);
    EXPECT_EQ(PM_ERROR, Add("Bank Registers:Checking:Petty Cash", "Bank Registers:Checking"));
    EXPECT_EQ(300001, EntitlementId("Bank Registers:Checking:Petty Cash"));
    EXPECT_EQ("Petty Cash|300000|253|11", Describe(300001));
    EXPECT_EQ("63,63,63,-,4,-,2,-", Masks(kAllRoles, {300001}));
    // A taken name gives a second entitlement; an id already in the table keeps its entry.
    Table()[300002] = 3;
    EXPECT_EQ(PM_ERROR, Add("Bank Registers:Checking:Petty Cash", "Bank Registers:Checking"));
    EXPECT_EQ("-,6,3", TableRows({300000, 300001, 300002}));
}

TEST_F(DynamicEntitlementsTest, MovesReconcileNumericallyAndRenamesLeaveMasksAlone) {
    // Tree: A under Bank Accounts, B and X under A. Columns: X, B, A, Bank Accounts.
    struct Case {
        char const *from, *to;
        std::vector<long> store, table; // every role's masks; the user's table (-9: no entry)
        int result;
        char const *masks, *tableAfter;
        int recordAction; // B's record holds 9, X's 4
    } const cases[] = {
        {"A:X", "A:B:X", {63, 5, 63, 63}, {63, 5, 63, 63}, PM_OK, "5,5,63,63", "5,5,63,63", 9},
        {"A:X", "A:B:X", {6, 5, 63, 63}, {6, 5, 63, 63}, PM_OK, "5,5,63,63", "5,5,63,63", 9},
        // Bank Accounts is compared, never written; the table lowers the parent only.
        {"A:X", "A:B:X", {5, 63, 63, 63}, {5, 63, 63, 63}, PM_OK, "5,5,5,63", "5,5,63,63", 9},
        // 5 counts as less than 6 though 6 lacks one of its bits.
        {"A:X", "A:B:X", {5, 6, 3, 63}, {5, 6, 3, 63}, PM_OK, "5,5,3,63", "5,5,3,63", 9},
        {"A:X", "A:B:X", {5, 5, 63, 63}, {5, 5, 63, 63}, PM_OK, "5,5,63,63", "5,5,63,63", 9},
        // The table's ancestor walk runs only for a parent at 0 or less.
        {"A:X", "A:B:X", {5, 5, 63, 63}, {-1, 0, 63, 63}, PM_OK, "5,5,63,63", "-1,-1,0,0", 9},
        {"A:X", "A:B:X", {63, 5, 63, 63}, {-9, 5, 63, 63}, PM_ERROR, "5,5,63,63", "-,5,63,63", 9},
        // Renames, the second by a change of case in the path: nothing is reconciled.
        {"A:X", "A:Y", {63, 5, 5, 63}, {63, 5, 5, 63}, PM_OK, "63,5,5,63", "63,5,5,63", 4},
        {"a:X", "A:Z", {63, 5, 5, 63}, {63, 5, 5, 63}, PM_OK, "63,5,5,63", "63,5,5,63", 4},
    };
    std::vector<int> const ids = {300002, 300001, 300000, kBank};
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.from) + " to " + c.to + " table " + std::to_string(c.table[0]));
        SetUpCompany();
        SetMasks(kAllRoles, {kBank, PM::kEntitlementRootId}, {63, 63});
        ASSERT_EQ(PM_OK, Add("Bank Registers:A", "Bank Accounts"));
        ASSERT_EQ(PM_OK, Add("Bank Registers:A:B", "Bank Registers:A"));
        ASSERT_EQ(PM_OK, Add("Bank Registers:A:X", "Bank Registers:A"));
        SetMasks(kAllRoles, ids, c.store);
        ASSERT_EQ(0, Manager().EstablishUser(adminUser));
        for (size_t i = 0; i < ids.size(); ++i) {
            if (c.table[i] == -9) {
                Table().erase(ids[i]);
            } else {
                Table()[ids[i]] = c.table[i];
            }
        }
        for (PM::EntitlementDef& row : Access().SortedEntitlements()) {
            row.SetAction(row.GetId() == 300001 ? 9 : row.GetId() == 300002 ? 4 : row.GetAction());
        }
        EXPECT_EQ(c.result, Manager().UpdateDynamicEntitlement(
                                (std::string("Bank Registers:") + c.from).c_str(),
                                (std::string("Bank Registers:") + c.to).c_str()));
        EXPECT_EQ(300002, EntitlementId((std::string("Bank Registers:") + c.to).c_str()));
        // The record store keeps no action: the cached record is the one it was handed.
        EXPECT_EQ(c.recordAction, Manager().FindEntitlementDefById(300002).GetAction());
        EXPECT_EQ(std::string(c.masks) + "," + c.masks, Masks({1, 6}, ids));
        EXPECT_EQ(c.tableAfter, TableRows(ids));
    }
}

TEST_F(DynamicEntitlementsTest, SoftDeleteBlanksAndKeepsTheIdTheWipeRemovesAllAndInits) {
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    EXPECT_EQ(300000, Manager().GetNextDynamicEntId()); // the largest id is a static one
    EXPECT_EQ(PM_ERROR, Manager().DeleteAllDynamicBankAccntEntitlements());
    EXPECT_EQ(adminUser, Manager().GetEstablishedUser()); // no Init
    Add("Bank Registers:Checking", "Bank Accounts");
    Add("Bank Registers:Savings", "Bank Accounts");
    EXPECT_EQ(PM_OK, Manager().DeleteDynamicEntitlement("Bank Registers:Savings"));
    EXPECT_EQ(PM_ERROR, Manager().DeleteDynamicEntitlement("Bank Registers:Savings"));
    EXPECT_EQ(" |100012|252|00", Describe(300001));
    EXPECT_EQ("0,0,0,0,0,0,0,0", Masks(kAllRoles, {300001}));
    EXPECT_EQ(300002, Manager().GetNextDynamicEntId());

    EXPECT_EQ(PM_OK, Manager().DeleteAllDynamicBankAccntEntitlements());
    EXPECT_EQ(-1, Manager().GetEstablishedUser()); // Init ran
    EXPECT_EQ(PM_ERR_NOENT, Manager().FindEntitlementDefById(300000).GetId());
    EXPECT_EQ(300000, Manager().GetNextDynamicEntId());
    EXPECT_EQ("63,63,63,-,-,-,1,-", Masks(kAllRoles, {300000})); // the mask rows stay

    PM::EntitlementObject highest;
    highest.m_Id = INT_MAX;
    Manager().GetEntitlementCache()->push_back(highest);
    EXPECT_EQ(INT_MIN, Manager().GetNextDynamicEntId());
    Host::FaultPlan::Get().ResetCounts();
    EXPECT_EQ(PM_ERROR, Add("Bank Registers:Checking", "Bank Accounts"));
    EXPECT_EQ(0, Host::FaultPlan::Get().Calls("DMUSREntitlement::Add"));
}

TEST_F(DynamicEntitlementsTest, RapidRowsGetEachRolesBankAccountsMaskInTheBatch) {
    Host::FaultPlan& plan = Host::FaultPlan::Get();
    plan.ResetCounts();
    EXPECT_EQ(PM_ERROR,
              Manager().AddDynamicEntitlementRapidly("Bank Registers:L", 299999, kBank, 1));
    EXPECT_EQ(0, plan.Calls("DMUSREntitlement::Add"));
    for (int id = 300000; id < 301000; ++id) {
        ASSERT_EQ(PM_OK, Manager().AddDynamicEntitlementRapidly("Bank Registers:R", id, kBank, 2));
    }
    EXPECT_EQ(nullptr, Manager().GetEntitlementDef(300000)); // not cached
    EXPECT_EQ(PM_ERROR, Manager().UpdateDynamicEntitlementForRolesInBatch(300000, 0));
    EXPECT_EQ(0, plan.Calls("DMUSRRoleAction::Add"));
    EXPECT_EQ(PM_OK, Manager().UpdateDynamicEntitlementForRolesInBatch(300000, 1000));
    // Roles without a mask on Bank Accounts pass on its cached action, 0.
    EXPECT_EQ("63,63,63,63,63,63,0,0,0,0,0,0,1,1,0,0", Masks(kAllRoles, {300000, 300999}));
    EXPECT_EQ("-,-,-,-,-,-,-,-", Masks(kAllRoles, {301000}));
    ASSERT_EQ(0, Manager().Init());
    std::unique_ptr<PM::EntitlementDef> stored(Manager().GetEntitlementDef(300000));
    ASSERT_NE(nullptr, stored);
    EXPECT_STREQ("Bank Registers:R", stored->GetName()); // as given, ':' included
    // The full name repeats the head; blanking subtracts 1 from the attrs, whatever their bits.
    ASSERT_EQ(PM_OK, Manager().DeleteDynamicEntitlement("Bank Registers:Bank Registers:R"));
    EXPECT_EQ(1, Manager().FindEntitlementDefByName("Bank Registers: ").GetAttrs());
}

TEST_F(DynamicEntitlementsTest, ChecksRaiseTheirExpressionsAndAnUnknownModeDoesNothing) {
    Add("Bank Registers:Checking", "Bank Accounts");
    PM::PermissionManagerTestAccess access = Access();
    PMTest::VerifyProbe probe(false);
    EXPECT_EQ(PM_ERROR, access.SetDynamicEntitlement("Bank Registers:Checking", "Nope",
                                                     PM::EActionSettingReconcile));
    probe.SetAccept(true); // the checks go on with the missing records
    Host::FaultPlan::Get().ResetCounts();
    EXPECT_EQ(PM_OK, access.SetDynamicEntitlement("Nope", "Nope", PM::ActionSettingMode(2)));
    EXPECT_EQ(0, Host::FaultPlan::Get().Calls("*")); // the unknown mode touched nothing
    delete Manager().GetURPStore();
    Manager().SetURPStore(nullptr);
    // Accepted, a missing store fails every role's read, and only that.
    EXPECT_EQ(PM_ERROR, access.SetDynamicEntitlement("Bank Registers:Checking", "Bank Accounts",
                                                     PM::EActionSettingInherit));
    EXPECT_EQ(PM_OK, access.SetDynamicEntitlement("Bank Registers:Checking", "Bank Accounts",
                                                  PM::ActionSettingMode(2)));
    EXPECT_EQ(PM_ERROR, Manager().UpdateDynamicEntitlementForRolesInBatch(300000, 1));
    EXPECT_EQ((std::vector<std::string>{
                  "parentEDef.GetId() != PM_ERR_NOENT", "parentEDef.GetId() != PM_ERR_NOENT",
                  "childEDef.GetId() != PM_ERR_NOENT", "db != NULL", "db != NULL", "db != NULL"}),
              probe.Expressions());
}

TEST_F(DynamicEntitlementsTest, ReloadCuresAParentMissingFromTheCacheAndACollidingId) {
    struct Case {
        char const* behindTheCache; // a row at 300000 that a second writer added
        bool failAdds;
        char const *name, *parent;
        int result;
        char const* state; // the new name's id; the dynamic ids in the table
    } const cases[] = {
        {"Savings", false, "Bank Registers:Savings:Sub", "Bank Registers:Savings", PM_OK,
         "300001;300001"},
        {"Hidden", false, "Bank Registers:Checking", "Bank Accounts", PM_OK, "300001;300001"},
        // Refused twice: no entitlement, yet the table has the id.
        {nullptr, true, "Bank Registers:Checking", "Bank Accounts", PM_ERROR, "-5;300000"},
        {nullptr, false, "Bank Registers:Checking", "Bank Registers:Nowhere", PM_ERROR, "-5;"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        SetUpCompany();
        SetMasks(kAllRoles, {kBank, 300000}, {63, 63});
        ASSERT_EQ(0, Manager().EstablishUser(adminUser));
        DMUSREntitlement row;
        row.SetEntitlementId(300000);
        row.SetCategoryType(kBank);
        row.SetIsEnabled(1);
        row.SetName(c.behindTheCache != nullptr ? c.behindTheCache : "");
        ASSERT_TRUE(c.behindTheCache == nullptr || row.Add(nullptr).Succeeded());
        if (c.failAdds) {
            Host::FaultPlan::Get().Arm("DMUSREntitlement::Add", 1, Host::FaultPlan::kFail, true);
        }
        EXPECT_EQ(c.result, Add(c.name, c.parent));
        Host::FaultPlan::Get().Disarm();
        std::string state =
            std::to_string(Manager().FindEntitlementDefByName(c.name).GetId()) + ";";
        for (auto const& entry : Table()) {
            state += entry.first >= 300000 ? std::to_string(entry.first) : "";
        }
        EXPECT_EQ(c.state, state);
    }
}

} // namespace
