// The factory defaults: an empty company file filled from the catalogue, the
// store emptied, and one catalogue role brought into a company file.
#include "support/CompanyFixture.h"

#include <host/records/FaultPlan.h>
#include <host/users/CompanyUsers.h>

#include <tuple>

namespace {

class FactoryDefaultsTest : public PMTest::CompanyFixture {
protected:
    // The roles and entitlements the caches hold and every role's mask on
    // every entitlement.
    std::string Contents() {
        std::vector<int> roles, ids;
        std::string text = PMTest::Join(*Manager().GetRoleCache(), ",", [&](auto const& role) {
            roles.push_back(role.GetId());
            return std::string(role.GetName().c_str()) + ":" + std::to_string(role.GetId());
        });
        text += "|" + PMTest::Join(*Manager().GetEntitlementCache(), ",", [&](auto const& row) {
                    ids.push_back(row.m_Id);
                    return std::to_string(row.m_Id) + ":" + row.m_Name.c_str();
                });
        return text + "|" + Masks(roles, ids);
    }
    std::string RolesOf(int user) {
        std::unique_ptr<std::vector<int>> ids(Manager().GetUserRoleIds(user));
        return PMTest::Join(*ids, " ", [](int id) { return std::to_string(id); });
    }
};

TEST_F(FactoryDefaultsTest, AnEmptiedFileIsFilledAgainAndOnlyTheAdministratorGetsRoleZero) {
    std::string const fresh = Contents();
    EXPECT_EQ("0", RolesOf(adminUser));
    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    EXPECT_EQ("", RolesOf(adminUser));
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
    EXPECT_EQ(fresh, Contents());
    EXPECT_EQ("0", RolesOf(adminUser));
    EXPECT_EQ(PM_ERROR, Manager().SetDefaultRoles()); // a populated file is not filled twice

    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_TRUE(Host::RemoveCompanyUser(adminUser));
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles()); // without an administrator nobody is assigned
    EXPECT_EQ(fresh, Contents());
    EXPECT_EQ(0u, std::unique_ptr<std::vector<int>>(Manager().GetUsersUsingRole(0))->size());
}

TEST_F(FactoryDefaultsTest, ACatalogueRoleIsAddedOnlyWhenNoRoleHasItsName) {
    // catalogue id, the id of the role by that name or the next free one, records written
    std::tuple<char const*, int, bool> const cases[] = {{"ADMIN", 0, false},
                                                        {"SALES", 4, false},
                                                        {"NO_SUCH_ROLE", PM_ERROR, false},
                                                        {"ORVANE_APP", 8, true}};
    for (auto const& [catalogueId, result, written] : cases) {
        SCOPED_TRACE(catalogueId);
        Host::FaultPlan::Get().ResetCounts();
        EXPECT_EQ(result, Manager().AddRoleEntitlementsFromADR(catalogueId));
        EXPECT_EQ(written, Host::FaultPlan::Get().Calls("*") > 0);
    }
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ(8, Manager().LookupRole("OrvaneApp"));
}

} // namespace
