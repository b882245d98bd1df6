// The store's walks by id: the assignment lookups, the grant of a new
// entitlement to every role and the bulk read of a role's masks.
#include <support/LogProbe.h>
#include <support/StoreTesting.h>

#include <utility>
#include <vector>

namespace {

using PMTest::Calls;

class URPStoreScansTest : public PMTest::StoreFixture {};

// Role ids are probed from 0 until the user's assignments are found; the
// role's users come back in record-key order as host ids, -1 for a key no
// user has.
TEST_F(URPStoreScansTest, AssignmentsAreProbedByIdAndUsersComeBackAsHostIds) {
    AddUsers();
    for (auto pair : std::vector<std::pair<int, int>>{{2, 0}, {2, 4}, {9, 4}, {3, 4}, {1, 4}}) {
        ASSERT_EQ(store.URPSAddUserRoleAssociation(pair.first, pair.second), PM_OK);
    }
    Host::FaultPlan::Get().ResetCounts();
    std::vector<int> roles, usersOf4;
    EXPECT_EQ(store.URPSGetRoleIdsForUser(2, &roles), PM_OK);
    EXPECT_EQ(Calls("DMUSRUserRole::Load"), 5); // 0 to 4 and no further
    EXPECT_EQ(store.URPSGetUserIdsForRole(4, &usersOf4), PM_OK);
    EXPECT_EQ(roles, (std::vector<int>{0, 4}));
    EXPECT_EQ(usersOf4, (std::vector<int>{101, 102, 103, -1}));
}

// A new entitlement gets the given mask in every role, but full in role 0;
// 180 is full in every role, and 185 in the External Accountant and the
// application role as well (named in any case).
TEST_F(URPStoreScansTest, NewEntitlementGoesToEveryRoleWithFixedExceptions) {
    AddRole(0, "Admin");
    AddRole(1, "Clerk");
    AddRole(2, "external accountant");
    AddRole(3, "ORVANEAPP");
    EXPECT_EQ(store.URPSAddRoleActionAssociationByEntitlement(185, 0) +
                  store.URPSAddRoleActionAssociationByEntitlement(180, 0) +
                  store.URPSAddRoleActionAssociationByEntitlement(77, 5),
              PM_OK);
    EXPECT_EQ(PMTest::Masks("77, 180, 185"),
              "Admin{77:63,180:63,185:63}; Clerk{77:5,180:63,185:0}; external "
              "accountant{77:5,180:63,185:63}; ORVANEAPP{77:5,180:63,185:63}");
}

// Role 7 has masks at 5, 300000 and, beyond a gap, 300002: the walk takes the
// first band to the limit, the categories from 100000 and stops at the first
// miss past 300000; it logs the shortfall and still succeeds.
TEST_F(URPStoreScansTest, BulkReadOfARoleStopsAtTheFirstGapInTheDynamicBand) {
    store.m_StaticEntitlementLimit = 200;
    for (auto mask : std::vector<std::pair<int, int>>{{5, 1}, {300000, 2}, {300002, 4}}) {
        ASSERT_EQ(store.URPSAddRoleActionAssociation(7, mask.first, mask.second), PM_OK);
    }
    std::vector<PM::EntitlementObject> list{{"E", 5}, {"E", 300000}, {"E", 300002}, {"E", 6}};
    PMTest::LogProbe log;
    Host::FaultPlan::Get().ResetCounts();
    EXPECT_EQ(store.URPSReadRoleActionAssociations(7, &list, nullptr), PM_OK);
    // Loads of 0..201, 100000, 100001, 300000 and 300001.
    EXPECT_EQ(Calls("DMUSRRoleAction::Load"), 206);
    std::vector<int> actions;
    for (PM::EntitlementObject const& entitlement : list) {
        actions.push_back(entitlement.m_Action);
    }
    EXPECT_EQ(actions, (std::vector<int>{1, 2, 0, 0}));
    EXPECT_EQ(log.Lines(), "4/5 Permissions Engine:  Number of entitlements does not match "
                           "expected entitlements\n");
}

} // namespace
