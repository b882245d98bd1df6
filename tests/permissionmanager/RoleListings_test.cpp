// The role listings: which roles, in what order, with which flags.
#include "support/CompanyFixture.h"
#include "support/PermissionManagerTestAccess.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {

// Names joined by "|"; "+" full access, "~" connected, "$" the description
// carries the connected-role suffix.
std::string Render(std::vector<PM::RoleDef>* list) {
    std::unique_ptr<std::vector<PM::RoleDef>> owned(list);
    if (owned == nullptr) {
        return "null";
    }
    std::string out;
    for (PM::RoleDef const& role : *owned) {
        out += std::string(out.empty() ? "" : "|") + role.GetName().c_str() +
               (role.GetIsFullAccess() ? "+" : "") + (role.GetIsConnectedRole() ? "~" : "") +
               (std::strstr(role.GetDescription(), " This role needs Orvane account.") ? "$" : "");
    }
    return out;
}

// Admin and Ghost are invisible; entitlement 1 is a full-access one.
char const kRoles[] = R"({"format": 1, "features": [
  {"id": "0", "name": "V", "enabled": false, "parameters": ["-1", "0", "1", "2"]},
  {"id": "1", "name": "Find All Transactions", "parameters": ["100000", "5"]},
  {"id": "100000", "name": "All Areas", "parameters": ["-1", "1"]}],
 "roles": [{"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": "*"}]},
  {"id": "ADMIN", "name": "Admin", "visible": false, "grants": [{"actions": [0], "features": "*"}]},
  {"id": "GHOST", "name": "Ghost", "visible": false, "grants": [{"actions": [0], "features": ["1"]}]},
  {"id": "CLERK", "name": "Clerk", "grants": [{"actions": [], "features": ["1"]}]},
  {"id": "AUDITOR", "name": "Auditor", "grants": [{"actions": [0], "features": ["1"]}]}],
 "flavors": [{"id": "F", "defaultRoles": ["ADMIN", "GHOST", "CLERK", "AUDITOR"]}],
 "currentFlavor": "F"})";

class RoleListingsTest : public PMTest::CompanyFixture {
protected:
    std::string Available(int admin, int invisible) {
        return Render(Manager().GetAvailableRoles(PM::EListIncludeAdmin(admin),
                                                  PM::EListIncludeInvisible(invisible)));
    }
};

TEST_F(RoleListingsTest, OnlyTheValueOneExcludes) {
    SetUpCompanyFromText(kRoles);
    // Admin goes by its own switch alone, also when invisible.
    struct Case {
        int admin, invisible;
        char const* listing;
    } const cases[] = {{1, 1, "Auditor+|Clerk"},
                       {0, 1, "Admin+|Auditor+|Clerk"},
                       {1, 0, "Auditor+|Clerk|Ghost+"},
                       {0, 0, "Admin+|Auditor+|Clerk|Ghost+"},
                       {2, -1, "Admin+|Auditor+|Clerk|Ghost+"}};
    for (Case const& c : cases) {
        EXPECT_EQ(c.listing, Available(c.admin, c.invisible)) << c.admin << "," << c.invisible;
    }
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSRemoveAllRoleFromDB());
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ("", Available(0, 0)); // an empty list, not null
}

TEST_F(RoleListingsTest, ShippedRolesInCacheOrderWithTheirFlags) {
    PM::PermissionManagerTestAccess(Manager()).ConnectedEntitlementSets() = {{{"109", "63"}}};
    EXPECT_EQ("Admin+~$|Bookkeeper+|External Accountant+~$|Payroll Clerk~$|Payroll Manager~$|"
              "Purchasing|Sales|View Only",
              Available(0, 0));
    PM::PermissionManagerTestAccess(Manager()).ConnectedEntitlementSets().clear();
    PM::RoleDef bookkeeper = *std::unique_ptr<PM::RoleDef>(Manager().GetRoleDef(1));
    bookkeeper.SetName("Zebra");
    std::vector<PM::EntitlementDef> none;
    ASSERT_EQ(1, Manager().SetRoleEntitlements(bookkeeper, none));
    // A rename keeps the role's place until the next load.
    EXPECT_EQ("Admin+|Zebra+|External", Available(0, 0).substr(0, 22));
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ("Admin+|External", Available(0, 0).substr(0, 15));
}

TEST_F(RoleListingsTest, UserRolesAreSortedByName) {
    int user = AddUser("clerk");
    EXPECT_EQ("", Render(Manager().GetUserRoles(user)));
    EXPECT_EQ("", Render(Manager().GetUserRoles(-1)));
    for (int role : {7, 5, 2}) {
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(user, role));
    }
    EXPECT_EQ("External Accountant+|Payroll Clerk|Purchasing",
              Render(Manager().GetUserRoles(user)));
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(user, 42)); // no such role in the cache
    EXPECT_EQ("null", Render(Manager().GetUserRoles(user)));
}

} // namespace
