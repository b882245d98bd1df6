// The store's walks by id: the cursor scans with their band jumps, the
// assignment lookups, the grant of a new entitlement to every role and the
// bulk read of a role's masks.
#include "StoreFixture.h"

#include <support/LogProbe.h>

#include <functional>
#include <utility>
#include <vector>

using Host::FaultPlan;
using PMTest::Calls;

namespace {

class URPStoreScansTest : public PMTest::StoreFixture {};

} // namespace

// Each delivery is paired with the entitlement loads it cost.
TEST_F(URPStoreScansTest, EntitlementScanJumpsBetweenBandsOnlyOnAMiss) {
    std::vector<int> stored;
    for (int id = 0; id <= 190; ++id) {
        stored.push_back(id);
    }
    stored.insert(stored.end(), {100000, 300000, 300001, 300002});
    for (int id : stored) {
        AddEntitlement(id);
    }
    store.m_StaticEntitlementLimit = 200;
    FaultPlan::Get().ResetCounts();
    std::vector<int> delivered;
    std::vector<long> loads;
    PM::EntitlementObject entitlement;
    int result = store.URPSGetFirstEntitlement(entitlement);
    for (; result == PM_OK; result = store.URPSGetNextEntitlement(entitlement)) {
        delivered.push_back(entitlement.m_Id);
        loads.push_back(Calls("DMUSREntitlement::Load"));
        FaultPlan::Get().ResetCounts();
    }
    EXPECT_EQ(result, PM_ERROR);
    EXPECT_EQ(Calls("DMUSREntitlement::Load"), 0);
    EXPECT_EQ(delivered, stored);
    std::vector<long> expectedLoads(191, 1);
    expectedLoads.insert(expectedLoads.end(), {12, 2, 1, 1}); // 191..201 one by one; 100001
    EXPECT_EQ(loads, expectedLoads);
}

TEST_F(URPStoreScansTest, RoleScanSkipsHolesAndKeepsTheCursorOnAFailure) {
    AddRole(0, "Admin");
    AddRole(2, "Clerk");
    AddRole(5, "Payroll");
    PM::RoleObject role;
    ASSERT_EQ(store.URPSGetFirstRole(role), PM_OK);
    {
        Host::ScopedFault fault("DMUSRRole::Load", 2); // id 2, after the miss at 1
        EXPECT_EQ(store.URPSGetNextRole(role), PM_ERROR);
    }
    EXPECT_EQ(store.m_RoleCursor.CurrentId, 2);
    std::vector<int> ids{role.GetId()};
    while (store.URPSGetNextRole(role) == PM_OK) {
        ids.push_back(role.GetId());
    }
    EXPECT_EQ(ids, (std::vector<int>{0, 2, 5}));
}

TEST_F(URPStoreScansTest, FirstOfAnEmptyOrUncountableTable) {
    PM::RoleObject role;
    PM::EntitlementObject entitlement;
    const struct {
        char const* failing;
        std::function<int(PM::URPStore&)> call;
        int expected;
    } cases[] = {
        {nullptr, STORE_CALL(URPSGetFirstRole(role)), PM_ERROR},
        {nullptr, STORE_CALL(URPSGetFirstEntitlement(entitlement)), PM_ERR_EMPTYSTORE},
        {"DMUSRRole::GetCount", STORE_CALL(URPSGetFirstRole(role)), PM_ERROR},
        {"DMUSREntitlement::GetCount", STORE_CALL(URPSGetFirstEntitlement(entitlement)), PM_ERROR},
        {nullptr, STORE_CALL(URPSAddRoleActionAssociationByEntitlement(185, 0)), PM_ERROR},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.expected);
        PM::URPStore fresh;
        if (c.failing != nullptr) {
            FaultPlan::Get().Arm(c.failing, 1);
        }
        EXPECT_EQ(c.call(fresh), c.expected);
        FaultPlan::Get().Disarm();
        EXPECT_EQ(fresh.m_RoleCursor.Count + fresh.m_EntitlementCursor.Count, 0);
    }
}

TEST_F(URPStoreScansTest, AssignmentsAreProbedByIdAndUsersComeBackAsHostIds) {
    PMTest::KeyedUserManager users({{3, 30}, {11, 1}, {12, 2}});
    for (auto pair : std::vector<std::pair<int, int>>{{11, 0}, {11, 4}, {12, 4}, {3, 4}}) {
        ASSERT_EQ(store.URPSAddUserRoleAssociation(pair.first, pair.second), PM_OK);
    }
    FaultPlan::Get().ResetCounts();
    std::vector<int> roles{99};
    EXPECT_EQ(store.URPSGetRoleIdsForUser(11, &roles), PM_OK);
    EXPECT_EQ(store.URPSGetRoleIdsForUser(40, &roles), PM_OK);
    EXPECT_EQ(roles, (std::vector<int>{99, 0, 4}));
    EXPECT_EQ(Calls("DMUSRUserRole::Load"), 5); // 0 to 4 and no further
    std::vector<int> users4;
    EXPECT_EQ(store.URPSGetUserIdsForRole(4, &users4), PM_OK);
    EXPECT_EQ(users4, (std::vector<int>{30, 1, 2}));
    Host::ScopedFault fault("DMUSRUserRole::Load", 1, FaultPlan::kFail, true);
    EXPECT_EQ(store.URPSGetRoleIdsForUser(11, &roles), PM_ERROR);
    EXPECT_EQ(store.URPSGetUserIdsForRole(4, &users4), PM_ERROR);
}

TEST_F(URPStoreScansTest, NewEntitlementGoesToEveryRoleWithFixedExceptions) {
    AddRole(0, "Admin");
    AddRole(1, "Clerk");
    AddRole(2, "external accountant");
    AddRole(3, "ORVANEAPP");
    const struct {
        int eId;
        long eAction;
        std::vector<long> masks; // of roles 0 to 3
    } cases[] = {{185, 0, {63, 0, 63, 63}}, {180, 0, {63, 63, 63, 63}}, {77, 5, {63, 5, 5, 5}}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.eId);
        EXPECT_EQ(store.URPSAddRoleActionAssociationByEntitlement(c.eId, c.eAction), PM_OK);
        std::vector<long> masks;
        for (int roleId = 0; roleId <= 3; ++roleId) {
            masks.push_back(StoredMask(roleId, c.eId));
        }
        EXPECT_EQ(masks, c.masks);
    }
    Host::ScopedFault fault("DMUSRRoleAction::Add", 2);
    EXPECT_EQ(store.URPSAddRoleActionAssociationByEntitlement(90, 1), PM_ERROR);
    EXPECT_EQ(std::make_pair(StoredMask(0, 90), StoredMask(1, 90)), std::make_pair(63L, -1L));
}

// Role 7 has masks at 5 and 300000, then also at 300002 beyond a gap: the walk
// stops at 300001, logs the shortfall and still succeeds.
TEST_F(URPStoreScansTest, BulkReadOfARoleStopsAtTheFirstGapInTheDynamicBand) {
    store.m_StaticEntitlementLimit = 200;
    ASSERT_EQ(store.URPSAddRoleActionAssociation(7, 5, 1), PM_OK);
    ASSERT_EQ(store.URPSAddRoleActionAssociation(7, 300000, 2), PM_OK);
    PMTest::LogProbe log;
    FaultPlan::Get().ResetCounts();
    std::vector<PM::EntitlementObject> list;
    EXPECT_EQ(store.URPSReadRoleActionAssociations(7, &list, nullptr), PM_OK);
    EXPECT_EQ(Calls("DMUSRRoleAction::Load"), 205); // 0..201, 100000, 100001, 300000
    EXPECT_EQ(log.Lines(), "");

    ASSERT_EQ(store.URPSAddRoleActionAssociation(7, 300002, 4), PM_OK);
    for (int id : {5, 300000, 300002, 5}) {
        list.push_back(PM::EntitlementObject{"E", id});
    }
    EXPECT_EQ(store.URPSReadRoleActionAssociations(7, &list, nullptr), PM_OK);
    std::vector<int> actions;
    for (PM::EntitlementObject const& entitlement : list) {
        actions.push_back(entitlement.m_Action);
    }
    EXPECT_EQ(actions, (std::vector<int>{1, 2, 0, 0}));
    ASSERT_EQ(log.Lines(), "4/5 Permissions Engine:  Number of entitlements does not match "
                           "expected entitlements\n");
    EXPECT_EQ(log.Records()[0].sourcePath, "Platform\\SecurityRoles\\PM\\src\\urpstore");
    FaultPlan::Get().ResetCounts();
    EXPECT_EQ(store.URPSReadRoleActionAssociations(8, &list, nullptr), PM_OK); // no masks
    EXPECT_EQ(Calls("DMUSRRoleAction::Load"), 0);
    Host::ScopedFault fault("DMUSRRoleAction::Load", 6);
    EXPECT_EQ(store.URPSReadRoleActionAssociations(7, &list, nullptr), PM_ERROR); // at id 5
}
