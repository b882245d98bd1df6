// Connected roles: the sets read from the sphere module's document, the
// connected-role flag with its running count of hits, and the role listings
// that carry it with the full-access flag (RoleListings).
#include "support/CompanyFixture.h"
#include "support/SphereProbe.h"

#include <cstring>
#include <tuple>

namespace {

char const kSuffix[] = " This role needs Orvane account.";

class ConnectedRolesTest : public PMTest::CompanyFixture {
protected:
    // Names joined by "|"; "+" full access, "~" connected, "$" the description
    // carries the connected-role suffix.
    std::string Available(PM::EListIncludeAdmin admin, PM::EListIncludeInvisible invisible) {
        std::unique_ptr<std::vector<PM::RoleDef>> list(
            Manager().GetAvailableRoles(admin, invisible));
        return PMTest::Join(*list, "|", [](PM::RoleDef const& role) {
            return role.GetName().c_str() + std::string(role.GetIsFullAccess() ? "+" : "") +
                   (role.GetIsConnectedRole() ? "~" : "") +
                   (std::strstr(role.GetDescription(), kSuffix) ? "$" : "");
        });
    }
    // The sets as "{id:min,...}" in set order.
    std::string Sets() {
        return PMTest::Join(Access().ConnectedEntitlementSets(), "", [](auto const& set) {
            return "{" +
                   PMTest::Join(set, ",", [](auto const& p) { return p.first + ":" + p.second; }) +
                   "}";
        });
    }
};

TEST_F(ConnectedRolesTest, ARoleIsConnectedWhenTheRunningCountOfHitsEqualsASetsSize) {
    int const sales = RoleId("Sales");
    struct Case {
        std::vector<PM::ConnectedEntitlementSet> sets;
        std::vector<long> masks; // on the entitlements 8, 9, 10, 11
        bool connected;
    } const cases[] = {
        {{}, {63, 63, 63, 63}, false},
        {{{{"8", "63"}}}, {63, 0, 0, 0}, true},
        {{{{"8", "63"}}}, {31, 0, 0, 0}, false},
        {{{{"8", "63"}}}, {64, 0, 0, 0}, true}, // numbers, not bits
        // {10,11} sorts before {9}: the one hit in the first set makes the
        // count equal the second set's size; a hit in the second overshoots.
        {{{{"10", "1"}, {"11", "1"}}, {{"9", "63"}}}, {0, 0, 1, 0}, true},
        {{{{"10", "1"}, {"11", "1"}}, {{"9", "63"}}}, {0, 63, 1, 0}, false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(&c - cases);
        Access().ConnectedEntitlementSets() = {c.sets.begin(), c.sets.end()};
        SetMasks({sales}, {8, 9, 10, 11}, c.masks);
        for (bool suffix : {true, false}) {
            std::unique_ptr<PM::RoleDef> role(Manager().GetRoleDef(sales));
            role->SetUserRoleNameForConnectedRole("Clerk");
            std::string const description = role->GetDescription().c_str();
            // The role's own id counts, not the one passed along.
            EXPECT_EQ(c.connected, Manager().CheckAndSetConnectedRoleFlag(role.get(), -3, suffix));
            EXPECT_EQ(std::to_string(c.connected) + (c.connected ? "" : "Clerk") + description +
                          (c.connected && suffix ? kSuffix : ""),
                      std::to_string(role->GetIsConnectedRole()) +
                          role->GetUserRoleNameForConnectedRole().c_str() +
                          role->GetDescription().c_str());
        }
    }
}

// The sample document: Data Exchange in full, or both Receive Payments and
// Make Deposits. Only the value 1 excludes Admin or invisible roles; Admin
// goes by its own switch alone.
TEST_F(ConnectedRolesTest, TheBuiltModulesDocumentMarksListedRolesAndASaveNotesTheEdit) {
    PMTest::RealSphere sphere(PM_SPHERE_SAMPLE);
    EXPECT_EQ("Bookkeeper+~$|External Accountant+~$|Payroll Clerk|Payroll Manager|Purchasing|"
              "Sales|View Only",
              Available(PM::kListExcludeAdmin, PM::kListExcludeInvisible));
    EXPECT_EQ("{185:63}{8:63,83:63}", Sets());
    PM::RoleDef sales = *std::unique_ptr<PM::RoleDef>(Manager().GetRoleDef(4));
    sales.SetName("Aardvark");
    sales.SetVisible(false);
    PM::EntitlementDef dataExchange;
    dataExchange.SetId(185);
    dataExchange.SetAction(63);
    std::vector<PM::EntitlementDef> grants = {dataExchange};
    ASSERT_EQ(4, Manager().SetRoleEntitlements(sales, grants));
    EXPECT_TRUE(Manager().IsConnectedEntitlementsEdited());
    // A rename keeps the role's place until the next load.
    std::string const all = "Admin+~$|Bookkeeper+~$|External Accountant+~$|Payroll Clerk|"
                            "Payroll Manager|Purchasing|Aardvark~$|View Only";
    std::tuple<int, int, std::string> const cases[] = {
        {PM::kListIncludeAdmin, PM::kListIncludeInvisible, all},
        {2, -1, all},
        {PM::kListExcludeAdmin, PM::kListIncludeInvisible, all.substr(all.find('|') + 1)},
        {PM::kListIncludeAdmin, PM::kListExcludeInvisible,
         "Admin+~$|Bookkeeper+~$|External Accountant+~$|Payroll Clerk|Payroll Manager|"
         "Purchasing|View Only"}};
    for (auto const& [admin, invisible, listing] : cases) {
        EXPECT_EQ(listing,
                  Available(PM::EListIncludeAdmin(admin), PM::EListIncludeInvisible(invisible)))
            << admin << "," << invisible;
    }
}

} // namespace
