// Bank-account entitlements (DynamicEntitlements, DynamicEntitlementUpdate):
// creation with the parent's masks and table row, moves and renames, the soft
// delete, the wipe, and the rapid path with its batch follow-up.
#include "support/CompanyFixture.h"

#include <PM/Constants.h>
#include <host/records/FaultPlan.h>

namespace {

int const kBank = PM::BankAccountsEntitlementId;
std::vector<int> const kAllRoles = {0, 1, 2, 3, 4, 5, 6, 7};

class DynamicEntitlementsTest : public PMTest::CompanyFixture {
protected:
    std::map<int, long>& Table() { return *Access().GetCurrentActionCache(); }
    // The user's table on ids, "-" where it has no row.
    std::string TableRows(std::vector<int> const& ids) {
        return PMTest::Join(ids, ",", [&](int id) {
            return Table().count(id) != 0 ? std::to_string(Table()[id]) : "-";
        });
    }
    // name|category|attrs|enabled visible
    std::string Describe(int id) {
        PM::EntitlementDef d = Manager().FindEntitlementDefById(id);
        return std::string(d.GetName()) + "|" + std::to_string(d.GetCategory()) + "|" +
               std::to_string(d.GetAttrs()) + "|" + std::to_string(d.IsEnabled()) +
               std::to_string(d.IsVisible());
    }
    int Add(std::string const& name, std::string const& parent) {
        return Manager().AddDynamicEntitlement(("Bank Registers:" + name).c_str(), parent.c_str());
    }
    // The dynamic ids in name order.
    std::string SortedIds() {
        return PMTest::Join(Access().SortedEntitlements(), "", [](PM::EntitlementDef const& row) {
            return row.GetId() >= 300000 ? std::to_string(row.GetId()) + " " : "";
        });
    }
};

TEST_F(DynamicEntitlementsTest, AnAccountGetsTheNextIdItsParentsMasksAndTableRow) {
    int const clerk = AddUser("clerk", {4, 6}); // Sales: no mask on Bank Accounts; View Only: 1
    ASSERT_EQ(0, Manager().EstablishUser(clerk));
    Table()[kBank] = 17; // the parent's table entry wins over the roles' masks
    // Roles 3, 4, 5 and 7 hold no mask on the parent: the failed read is the result.
    EXPECT_EQ(PM_ERROR, Add("Checking", "Bank Accounts"));
    EXPECT_EQ(300000, EntitlementId("Bank Registers:Checking"));
    EXPECT_EQ("Checking|100012|253|11", Describe(300000));
    EXPECT_EQ("63,63,63,-,-,-,1,-", Masks(kAllRoles, {300000}));
    // A parent missing from the table: the OR over the user's roles, 4 | 2.
    SetMasks({4}, {300000}, {4});
    SetMasks({6}, {300000}, {2});
    Table().erase(300000);
    Add("Checking:Petty Cash", "Bank Registers:Checking");
    EXPECT_EQ("Petty Cash|300000|253|11",
              Describe(EntitlementId("Bank Registers:Checking:Petty Cash")));
    EXPECT_EQ("-,6", TableRows({300000, 300001}));
}

TEST_F(DynamicEntitlementsTest, AMoveReconcilesTheMasksNumericallyAndARenameLeavesThemAlone) {
    // Tree: A under Bank Accounts, B and X under A. Columns: X, B, A, Bank Accounts.
    struct Case {
        char const *from, *to;
        std::vector<long> masks; // every role's, and the user's table
        char const *after, *tableAfter, *sorted;
    } const cases[] = {
        {"A:X", "A:B:X", {63, 5, 63, 63}, "5,5,63,63", "5,5,63,63", "300000 300001 300002 "},
        // Each ancestor met is compared, the grandparent alone is written; the
        // table lowers the parent only.
        {"A:X", "A:B:X", {5, 63, 63, 63}, "5,5,5,63", "5,5,63,63", "300000 300001 300002 "},
        // Renames, one by a change of case in the path: nothing is reconciled.
        {"A:X", "A:Aa", {63, 5, 5, 63}, "63,5,5,63", "63,5,5,63", "300000 300002 300001 "},
        {"a:X", "A:Z", {63, 5, 5, 63}, "63,5,5,63", "63,5,5,63", "300000 300001 300002 "},
    };
    std::vector<int> const ids = {300002, 300001, 300000, kBank};
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.from) + " to " + c.to);
        SetUpCompany();
        // The add reads every role's mask on the parent, the move's walk every ancestor's.
        SetMasks(kAllRoles, {kBank, PM::kEntitlementRootId}, {63, 63});
        ASSERT_EQ(PM_OK, Add("A", "Bank Accounts"));
        ASSERT_EQ(PM_OK, Add("A:B", "Bank Registers:A"));
        ASSERT_EQ(PM_OK, Add("A:X", "Bank Registers:A"));
        SetMasks(kAllRoles, ids, c.masks);
        ASSERT_EQ(0, Manager().EstablishUser(adminUser));
        for (std::size_t i = 0; i < ids.size(); ++i) {
            Table()[ids[i]] = c.masks[i];
        }
        std::string const from = "Bank Registers:" + std::string(c.from),
                          to = "Bank Registers:" + std::string(c.to);
        EXPECT_EQ(PM_OK, Manager().UpdateDynamicEntitlement(from.c_str(), to.c_str()));
        EXPECT_EQ(300002, EntitlementId(to.c_str()));
        EXPECT_EQ(std::string(c.after) + "," + c.after, Masks({1, 6}, ids));
        EXPECT_EQ(c.tableAfter, TableRows(ids));
        EXPECT_EQ(c.sorted, SortedIds());
    }
}

TEST_F(DynamicEntitlementsTest, TheSoftDeleteBlanksAndKeepsTheIdTheWipeRemovesEveryAccount) {
    EXPECT_EQ(PM_ERROR, Manager().DeleteAllDynamicBankAccntEntitlements()); // nothing to wipe
    Add("Checking", "Bank Accounts");
    Add("Savings", "Bank Accounts");
    EXPECT_EQ(PM_OK, Manager().DeleteDynamicEntitlement("Bank Registers:Savings"));
    EXPECT_EQ(PM_ERROR, Manager().DeleteDynamicEntitlement("Bank Registers:Savings"));
    EXPECT_EQ(" |100012|252|00", Describe(300001));
    EXPECT_EQ("0,0,0,0,0,0,0,0", Masks(kAllRoles, {300001}));
    EXPECT_EQ(300002, Manager().GetNextDynamicEntId());
    // A catalogue entitlement is blanked too; the attrs lose 1, whatever their bits.
    ASSERT_EQ(PM_OK, Manager().DeleteDynamicEntitlement("Rebuild Data"));
    EXPECT_EQ(" |100010|1|00", Describe(129));

    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    EXPECT_EQ(PM_OK, Manager().DeleteAllDynamicBankAccntEntitlements());
    EXPECT_EQ(-1, Manager().GetEstablishedUser()); // Init ran
    EXPECT_EQ(PM_ERR_NOENT, Manager().FindEntitlementDefById(300000).GetId());
    EXPECT_EQ(300000, Manager().GetNextDynamicEntId());
    EXPECT_EQ("63,63,63,-,-,-,1,-", Masks(kAllRoles, {300000})); // the mask rows stay
}

TEST_F(DynamicEntitlementsTest, RapidRowsGetEachRolesBankAccountsMaskInTheBatch) {
    EXPECT_EQ(PM_ERROR,
              Manager().AddDynamicEntitlementRapidly("Bank Registers:L", 299999, kBank, 1));
    for (int id = 300000; id < 300010; ++id) {
        ASSERT_EQ(PM_OK,
                  Manager().AddDynamicEntitlementRapidly("Bank Registers:R", id, kBank, 253));
    }
    EXPECT_EQ(nullptr, Manager().GetEntitlementDef(300000)); // not cached
    EXPECT_EQ(PM_ERROR, Manager().UpdateDynamicEntitlementForRolesInBatch(300000, 0));
    EXPECT_EQ("-,-,-,-,-,-,-,-", Masks(kAllRoles, {300000}));
    EXPECT_EQ(PM_OK, Manager().UpdateDynamicEntitlementForRolesInBatch(300000, 9));
    // Roles without a mask on Bank Accounts pass on its cached action, 0.
    EXPECT_EQ("63,63,63,63,63,63,0,0,0,0,0,0,1,1,0,0", Masks(kAllRoles, {300000, 300008}));
    EXPECT_EQ("-,-,-,-,-,-,-,-", Masks(kAllRoles, {300009}));
    ASSERT_EQ(0, Manager().Init());
    std::unique_ptr<PM::EntitlementDef> stored(Manager().GetEntitlementDef(300000));
    ASSERT_NE(nullptr, stored);
    EXPECT_STREQ("Bank Registers:R", stored->GetName()); // as given, ':' included
}

} // namespace
