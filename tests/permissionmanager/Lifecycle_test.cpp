// Start and stop of the manager, user establishment and the factory defaults,
// on a company file made from the shipped catalogue.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"
#include "support/PermissionManagerTestAccess.h"
#include "support/VerifyProbe.h"

#include <host/records/FaultPlan.h>
#include <host/users/CompanyUsers.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Ids = std::unique_ptr<std::vector<int>>;

class LifecycleTest : public PMTest::CompanyFixture {
protected:
    PM::PermissionManagerTestAccess Access() { return PM::PermissionManagerTestAccess(Manager()); }
    // "initialised/user/store and class/cache rows/sorted rows/roles/contexts",
    // "-" for a null list, "+" for a current context.
    std::string State() {
        PM::PermissionManager& m = Manager();
        auto rows = [](auto* list) { return list ? std::to_string(list->size()) : "-"; };
        return std::to_string(m.IsInitialized()) + "/" + std::to_string(m.GetEstablishedUser()) +
               "/" + (m.GetURPStore() ? "store" : "none") + std::to_string(m.GetDSAccessType()) +
               "/" + rows(m.GetEntitlementCache()) + "/" + rows(&Access().SortedEntitlements()) +
               "/" + rows(m.GetRoleCache()) + "/" + rows(m.GetContextCache()) +
               (m.GetCurrentContext() ? "+" : "");
    }
};

TEST_F(LifecycleTest, InitReplacesEverythingAndTermKeepsEmptyListsAndTheSortedRows) {
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    EXPECT_EQ("1/" + std::to_string(adminUser) + "/store1/232/232/8/1+", State());
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ("1/-1/store1/232/232/8/0", State());
    EXPECT_TRUE(Manager().IsAccessAllowed(81, 0));
    Manager().Term();
    EXPECT_EQ("0/-1/none0/0/232/0/0", State());
    EXPECT_EQ(81, Manager().FindEntitlementDefByName("Bank Registers").GetId());
    EXPECT_EQ(nullptr, std::unique_ptr<PM::EntitlementDef>(Manager().GetEntitlementDef(81)));
    EXPECT_EQ(-1, Manager().EstablishUser(adminUser));

    PM_UninitComponent(); // Term on a manager that never ran Init, then Init
    Manager().Term();
    EXPECT_EQ("0/-1/none0/-/0/-/-", State());
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ("1/-1/store1/232/232/8/0", State());
}

TEST_F(LifecycleTest, TheStoreIsMadeByClassAndReadsItsCatalogueBand) {
    EXPECT_EQ(-1, Access().SetDataStorageAccessClass(PM::DataStorageClass(3)));
    EXPECT_EQ("1/-1/none0/232/232/8/0", State());
    ASSERT_EQ(0, Access().InitializeURPStore());
    EXPECT_EQ(216, Manager().GetURPStore()->m_StaticEntitlementLimit);
    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_EQ(0, Access().InitializeURPStore()); // an empty store is no failure
    EXPECT_EQ(0, Manager().GetURPStore()->m_StaticEntitlementLimit);
}

TEST_F(LifecycleTest, EstablishUserUnitesTheRolesAndAFailureLeavesNoUser) {
    // View Only grants View on Sales Orders (5); Sales is made to grant Print.
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSUpdateRoleActionAssociation(4, 5, 16));
    int const both = AddUser("both"), none = AddUser("none");
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(both, 6));
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(both, 4));
    ASSERT_EQ(0, Manager().EstablishUser(both));
    EXPECT_EQ(17, (*Access().GetCurrentActionCache())[5]);
    ASSERT_EQ(0, Manager().EstablishUser(none)); // replaces the table and the user
    EXPECT_EQ(none, Manager().GetEstablishedUser());
    EXPECT_FALSE(Manager().IsAccessAllowed(5, 0));
    {
        Host::ScopedFault fault("DMUSRUserRole::GetUserRoleCountByUserId", 1);
        EXPECT_EQ(-1, Manager().EstablishUser(both));
    }
    EXPECT_EQ(-1, Manager().GetEstablishedUser());
    EXPECT_TRUE(Manager().IsAccessAllowed(5, 0));

    ASSERT_EQ(0, Manager().EstablishUser(both));
    ASSERT_TRUE(Manager().SetContext("TimeClockBridge").Succeeded());
    PMTest::LogProbe log;
    EXPECT_EQ(-1, Manager().EstablishUser(both));
    EXPECT_EQ("5/5 Wrong context to reset permission table.\n", log.Lines());
    EXPECT_EQ(-1, Manager().GetEstablishedUser());
}

TEST_F(LifecycleTest, ResetToFactoryDefaultsDeletesInOrderAndStopsAtTheFirstFailure) {
    char const* const deletes[] = {"DMUSRUserRole::DeleteAll", "DMUSRRoleAction::DeleteAll",
                                   "DMUSRRole::DeleteAll", "DMUSREntitlement::DeleteAll"};
    std::string calls;
    for (int failing = 0; failing <= 4; ++failing) {
        Host::FaultPlan::Get().ResetCounts();
        Host::FaultPlan::Get().Arm(failing < 4 ? deletes[failing] : "none", 1);
        calls += std::to_string(Manager().ResetToFactoryDefaults()) + ":";
        Host::FaultPlan::Get().Disarm();
        for (char const* op : deletes) {
            calls += std::to_string(Host::FaultPlan::Get().Calls(op));
        }
        calls += " ";
    }
    EXPECT_EQ("-1:1000 -1:1100 -1:1110 -1:1111 0:1111 ", calls);
    Manager().Term();
    EXPECT_EQ(PM_OK, Manager().ResetToFactoryDefaults()); // no store: nothing to delete
}

TEST_F(LifecycleTest, DefaultsWithoutAnAdministratorAssignNobody) {
    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_TRUE(Host::RemoveCompanyUser(adminUser));
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
    EXPECT_EQ("1/-1/store1/232/232/8/0", State());
    EXPECT_EQ(0u, Ids(Manager().GetUsersUsingRole(0))->size());
    EXPECT_EQ(PM_ERROR, Manager().SetDefaultRoles()); // a populated file is not filled twice
}

TEST_F(LifecycleTest, ACatalogueRoleIsBroughtInOnlyWhenMissing) {
    Host::FaultPlan::Get().ResetCounts();
    EXPECT_EQ(4, Manager().AddRoleEntitlementsFromADR("SALES"));
    EXPECT_EQ(0, Host::FaultPlan::Get().Calls("*")); // found by name: nothing written
    EXPECT_EQ(PM_ERROR, Manager().AddRoleEntitlementsFromADR("NO_SUCH_ROLE"));
    EXPECT_EQ(8, Manager().AddRoleEntitlementsFromADR("ORVANE_APP"));
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ(8, Manager().LookupRole("OrvaneApp"));

    Manager().Term();
    PMTest::VerifyProbe verify;
    PMTest::LogProbe log;
    EXPECT_EQ(PM_ERROR, Manager().AddRoleEntitlementsFromADR("TIME_CLOCK_APP"));
    EXPECT_EQ(std::vector<std::string>{"pDb != NULL"}, verify.Expressions());
    EXPECT_EQ("6/5 pDb is NULL\n", log.Lines());
}

} // namespace
