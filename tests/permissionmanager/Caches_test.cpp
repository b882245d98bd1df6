// The entitlement and role lists, their finds and patches, role deletion and
// the role view, on a company file made from the shipped catalogue.
#include "support/CompanyFixture.h"
#include "support/VerifyProbe.h"

#include <memory>
#include <string>
#include <vector>

namespace {

using PM::EntitlementDef;
using Defs = std::unique_ptr<std::vector<EntitlementDef>>;
using Ids = std::unique_ptr<std::vector<int>>;

std::string Show(EntitlementDef const& e) {
    return std::to_string(e.GetId()) + "/" + std::to_string(e.GetCategory()) + "/" +
           e.GetName().c_str() + "/" + std::to_string(e.GetAction()) + "/" +
           std::to_string(e.GetAttrs()) + "/" + (e.IsEnabled() ? "E" : "-") +
           (e.IsVisible() ? "V" : "-") + (e.IsMixed() ? "M" : "-");
}
char const kMissed[] = "-5/-1//0/0/EV-";

class CachesTest : public PMTest::CompanyFixture {
protected:
    // The entitlement cache as "id:name," rows, "|", the sorted list.
    std::string Lists() {
        std::string out;
        for (PM::EntitlementObject const& row : *Manager().GetEntitlementCache()) {
            out += std::to_string(row.m_Id) + ":" + row.m_Name.c_str() + ",";
        }
        out += "|";
        for (EntitlementDef const& row : Access().SortedEntitlements()) {
            out += std::to_string(row.GetId()) + ":" + row.GetName().c_str() + ",";
        }
        return out;
    }
    // The role list in its order, as "name:id," rows.
    std::string Roles() {
        std::string out;
        for (PM::RoleObject const& role : *Manager().GetRoleCache()) {
            out += std::string(role.GetName().c_str()) + ":" + std::to_string(role.GetId()) + ",";
        }
        return out;
    }
    void Rename(int id, char const* name) { // in the role list only
        std::unique_ptr<PM::RoleDef> role(Manager().GetRoleDef(id));
        ASSERT_NE(nullptr, role);
        role->SetName(name);
        ASSERT_EQ(PM_OK, Access().ModifyRoleCacheEntry(*role));
    }
};

TEST_F(CachesTest, FindsByNameIgnoreCaseAndMissWithTheNoEntRecord) {
    char const* const cases[][2] = {{"Bank Registers", "81/100012/Bank Registers/0/253/EV-"},
                                    {"bank REGISTERS", "81/100012/Bank Registers/0/253/EV-"},
                                    {"Rebuild Data", "129/100010/Rebuild Data/0/2/E--"},
                                    {"Bank Register", kMissed},
                                    {"", kMissed}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c[0]);
        EXPECT_EQ(c[1], Show(Manager().FindEntitlementDefByName(c[0])));
    }
}

TEST_F(CachesTest, AddAppendsAndSortsModifyOverwritesInPlace) {
    EntitlementDef checking;
    checking.SetId(300000);
    checking.SetCategory(100012);
    checking.SetName("Checking");
    checking.SetAttrs(253);
    std::string before = Lists();
    ASSERT_EQ(PM_OK, Access().AddEntitlementCacheEntry(checking));
    // Last in the cache; in name order, by its full name, in the sorted list.
    std::string expected = before;
    expected.insert(expected.find('|'), "300000:Checking,");
    expected.insert(expected.rfind("194:Bank Rules,"), "300000:Bank Registers:Checking,");
    EXPECT_EQ(expected, Lists());
    EXPECT_EQ("300000/100012/Bank Registers:Checking/0/253/EV-",
              Show(Manager().FindEntitlementDefByName("bank registers:checking")));
    EXPECT_EQ("Checking", std::string(Manager().FindEntitlementDefById(300000).GetName().c_str()));
    std::unique_ptr<EntitlementDef> stored(Manager().GetEntitlementDef(300000));
    EXPECT_EQ("300000/100012/Checking/0/253/EV-", Show(*stored));

    checking.SetId(299999); // in neither list
    EXPECT_EQ(PM_OK, Access().ModifyEntitlementCacheEntry(checking));
    EXPECT_EQ(expected, Lists());
    // A rename stays in place in the cache and moves in the sorted list.
    EntitlementDef registers = Manager().FindEntitlementDefById(81);
    registers.SetName("Zz Registers");
    registers.SetMixed(true);
    ASSERT_EQ(PM_OK, Access().ModifyEntitlementCacheEntry(registers));
    expected.replace(expected.find("81:Bank Registers,"), 18, "81:Zz Registers,");
    expected.erase(expected.find("81:Bank Registers,"), 18);
    EXPECT_EQ(expected + "81:Zz Registers,", Lists());
    EXPECT_EQ("81/100012/Zz Registers/0/253/EVM", Show(Access().SortedEntitlements().back()));
}

// The tree views are checked row by row on a small catalogue with the
// listings; here the flat views of the whole catalogue.
TEST_F(CachesTest, TheRoleViewOfNoRoleListsTheCacheFlat) {
    std::size_t const all = Manager().GetEntitlementCache()->size();
    EXPECT_EQ(nullptr, Defs(Manager().GetEntitlements(-2, -1, false)));
    EXPECT_EQ(all, Defs(Manager().GetEntitlements(-1, 5, true))->size());
    PM::RoleObject noRole; // id -1: the cache's own actions, four rows invisible
    Defs view(noRole.EntitlementDefFactory(-1, true));
    ASSERT_NE(nullptr, view);
    EXPECT_EQ(all - 4, view->size());
    std::string faults;
    for (EntitlementDef const& row : *view) {
        faults += row.GetAction() != 0 || !row.IsVisible() ? std::to_string(row.GetId()) : "";
    }
    EXPECT_EQ("", faults);
}

TEST_F(CachesTest, RolesLoadInNameOrderARenameStaysAndDeleteProtectsTheAdminByName) {
    std::string const loaded = "Admin:0,Bookkeeper:1,External Accountant:2,Payroll Clerk:7,"
                               "Payroll Manager:3,Purchasing:5,Sales:4,View Only:6,";
    EXPECT_EQ(loaded, Roles());
    ASSERT_NO_FATAL_FAILURE(Rename(5, "aDMIN"));
    std::string all = loaded;
    all.replace(all.find("Purchasing"), 10, "aDMIN");
    EXPECT_EQ(all, Roles());
    std::unique_ptr<PM::RoleDef> blank(Manager().GetRoleDef(-1));
    EXPECT_EQ("-1//-1", std::to_string(blank->GetId()) + "/" + blank->GetName().c_str() + "/" +
                            std::to_string(blank->GetCategory()));
    EXPECT_EQ(nullptr, std::unique_ptr<PM::RoleDef>(Manager().GetRoleDef(99)));

    int const clerk = AddUser("clerk");
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(clerk, 7));
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(clerk, 4));
    for (int id : {-1, 99, 0, 5}) {
        SCOPED_TRACE(id);
        EXPECT_EQ(id == 99 ? PM_ERR_NORECORD : PM_ERR_PROTECTEDROLE, Manager().DeleteRole(id));
    }
    EXPECT_EQ(all, Roles());
    ASSERT_EQ(PM_OK, Manager().DeleteRole(7)); // with its assignments and masks
    EXPECT_EQ(std::vector<int>{4}, *Ids(Manager().GetUserRoleIds(clerk)));
    EXPECT_EQ("-", Masks({7}, {31}));
    all.erase(all.find("Payroll Clerk:7,"), 16);
    EXPECT_EQ(all, Roles());
    EXPECT_EQ(7, Access().GetNextRoleId()); // the highest id comes free again

    PMTest::VerifyProbe verify;
    PM::RoleDef ghost;
    ghost.SetId(99);
    EXPECT_EQ(PM_ERROR, Access().ModifyRoleCacheEntry(ghost));
    EXPECT_EQ(std::vector<std::string>{"roleobj != NULL"}, verify.Expressions());
}

TEST_F(CachesTest, DoesUserHaveAdminLooksForTheNameAmongAllRoles) {
    ASSERT_NO_FATAL_FAILURE(Rename(0, "Owner"));
    ASSERT_NO_FATAL_FAILURE(Rename(6, "admin"));
    std::vector<int> const cases[] = {{}, {0}, {4}, {1, 4, 6}, {6, 7}, {42}};
    std::string answers;
    PMTest::VerifyProbe verify;
    for (std::vector<int> const& roles : cases) {
        int const user = AddUser(("user" + std::to_string(&roles - cases)).c_str());
        for (int role : roles) {
            ASSERT_EQ(PM_OK, Manager().SetRoleForUser(user, role));
        }
        answers += Manager().DoesUserHaveAdmin(user) ? "yes," : "no,";
    }
    EXPECT_EQ("no,no,no,yes,yes,no,", answers);
    EXPECT_EQ(std::vector<std::string>{"role != NULL"}, verify.Expressions()); // role 42
}

// Edits of lists never loaded: the handler decides between leaving with
// PM_ERROR and going on as though the list were there.
TEST_F(CachesTest, CacheEditsWithoutALoadedListFollowTheHandler) {
    PM_UninitComponent();
    PM::RoleDef role;
    EntitlementDef entitlement;
    std::vector<EntitlementDef> grants = {entitlement};
    for (bool accept : {false, true}) {
        SCOPED_TRACE(accept);
        PMTest::VerifyProbe verify(accept);
        int const result = accept ? PM_OK : PM_ERROR;
        EXPECT_EQ(result, Access().AddRoleCacheEntry(role, grants));
        EXPECT_EQ(result, Access().AddEntitlementCacheEntry(entitlement));
        EXPECT_EQ(result, Access().ModifyEntitlementCacheEntry(entitlement));
        EXPECT_EQ(
            std::vector<std::string>({"rolelist != NULL", "entlist != NULL", "entlist != NULL"}),
            verify.Expressions());
        EXPECT_EQ(accept ? 1u : 0u, Access().SortedEntitlements().size()); // the one list there
    }
}

} // namespace
