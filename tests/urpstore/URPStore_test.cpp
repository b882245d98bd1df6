// The record-backed store's single-record operations, status mapping,
// assignment deletes and stubs.
#include "StoreFixture.h"

#include <functional>
#include <string>
#include <tuple>
#include <vector>

using Host::FaultPlan;

namespace {

class URPStoreTest : public PMTest::StoreFixture {};

} // namespace

TEST_F(URPStoreTest, WholeListStubsLeaveTheVectorAndTouchNoRecord) {
    EXPECT_EQ(store.m_RoleCursor.CurrentId + store.m_EntitlementCursor.CurrentId, -2);
    std::vector<PM::RoleObject> roles(1);
    std::vector<PM::EntitlementObject> entitlements(1);
    std::vector<RoleEntActionAssocCacheEntry> entries(1);
    EXPECT_EQ(store.URPSGetRoleList(&roles), PM_ERROR);
    EXPECT_EQ(store.URPSGetEntitlementList(&entitlements), PM_ERROR);
    EXPECT_EQ(store.URPSBuildRoleActionAssociationsCache(&entries), PM_ERROR);
    EXPECT_EQ(store.URPSCountrySpecificUpdate(), PM_OK);
    EXPECT_EQ(roles.size() + entitlements.size() + entries.size(), 3u);
    EXPECT_EQ(PMTest::Calls("*"), 0);
}

// A failed record operation is PM_ERROR; not-found is PM_OK unless the
// operation gives it a code of its own: 6042 itself never comes back.
TEST_F(URPStoreTest, MapsRecordStatusesToResultCodes) {
    PM::EntitlementDef entitlement;
    PM::RoleDef role;
    PM::RoleObject roleObject;
    PM::EntitlementObject entitlementObject;
    const FaultPlan::Fault kFail = FaultPlan::kFail, kNotFound = FaultPlan::kNotFound;
    const struct {
        char const* operation;
        FaultPlan::Fault fault;
        std::function<int(PM::URPStore&)> call;
        int expected;
    } cases[] = {
        {"DMUSRRole::Delete", kFail, STORE_CALL(URPSRemoveRoleFromDB(3)), PM_ERROR},
        {"DMUSRRole::Delete", kNotFound, STORE_CALL(URPSRemoveRoleFromDB(3)), PM_ERR_NORECORD},
        {"DMUSRRole::Add", kNotFound, STORE_CALL(URPSAddRoleToDB(role)), PM_OK},
        {"DMUSRRole::Load", kFail, STORE_CALL(URPSGetRole(roleObject)), PM_ERROR},
        {"DMUSRRole::Load", kNotFound, STORE_CALL(URPSGetRole(roleObject)), PM_ERR_NORECORD},
        {"DMUSREntitlement::Load", kNotFound, STORE_CALL(URPSGetEntitlement(entitlementObject)),
         PM_ERR_NOENT},
        {"DMUSREntitlement::Add", kFail, STORE_CALL(URPSAddEntitlementToDB(entitlement)), PM_ERROR},
        {"DMUSRUserRole::Add", kFail, STORE_CALL(URPSAddUserRoleAssociation(1, 2)), PM_ERROR},
        {"DMUSRUserRole::Add", kNotFound, STORE_CALL(URPSAddUserRoleAssociation(1, 2)), PM_OK},
        {"DMUSRRole::DeleteAll", kFail, STORE_CALL(URPSRemoveAllRoleFromDB()), PM_ERROR},
        {"DMUSREntitlement::DeleteAll", kFail, STORE_CALL(URPSDeleteAllEntitlementToDB()),
         PM_ERROR},
        {"DMUSRUserRole::DeleteAll", kFail, STORE_CALL(URPSDeleteAllUserRoleAssoc()), PM_ERROR},
        {"DMUSRRoleAction::DeleteAll", kFail, STORE_CALL(URPSDeleteAllRoleActionAssociations()),
         PM_ERROR},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.operation) + (c.fault == kFail ? " failing" : " not found"));
        Host::ScopedFault fault(c.operation, 1, c.fault);
        EXPECT_EQ(c.call(store), c.expected);
        EXPECT_TRUE(FaultPlan::Get().Fired());
    }
}

TEST_F(URPStoreTest, LoadsUnderTheCursorAndReadsOnlyAStoredOneAsTrue) {
    // Written directly: the store itself writes only 0 and 1.
    PMTest::Query("INSERT INTO roles VALUES (4, 9, 2, 'Clerk', 'Desk'); "
                  "INSERT INTO entitlements VALUES (6, 100001, 124, 1, 2, 'Checks')");
    PM::RoleObject r;
    r.SetId(99); // not the key: the cursor is
    r.GetEntitlementObjList()->resize(1);
    store.m_RoleCursor.CurrentId = 4;
    ASSERT_EQ(store.URPSGetRole(r), PM_OK);
    EXPECT_EQ(
        std::make_tuple(r.GetId(), r.GetCategory(), r.IsVisible(), std::string(r.GetName()),
                        std::string(r.GetDescription()), r.GetEntitlementObjList()->size()),
        std::make_tuple(4, 9, false, std::string("Clerk"), std::string("Desk"), std::size_t(1)));
    PM::EntitlementObject e;
    e.m_Action = 17; // the table holds no action: it stays
    store.m_EntitlementCursor.CurrentId = 6;
    ASSERT_EQ(store.URPSGetEntitlement(e), PM_OK);
    EXPECT_EQ(std::make_tuple(e.m_Id, e.m_Category, e.m_Attrs, e.m_Enabled, e.m_Visible,
                              std::string(e.m_Name), e.m_Action),
              std::make_tuple(6, 100001, 124, false, true, std::string("Checks"), 17));
    AddRole(5, "Visible"); // what the store writes reads back as written
    store.m_RoleCursor.CurrentId = 5;
    ASSERT_EQ(store.URPSGetRole(r), PM_OK);
    EXPECT_TRUE(r.IsVisible());
}

// -1 on one side deletes every assignment of the other; -1 on both runs both
// deletes with -1 as their key, and only the last one decides the result.
TEST_F(URPStoreTest, DeleteUserRoleAssocTakesMinusOneAsAWildcardForOneSide) {
    for (auto pair : std::vector<std::pair<int, int>>{{5, 7}, {5, 8}, {6, 7}, {-1, 3}, {4, -1}}) {
        ASSERT_EQ(store.URPSAddUserRoleAssociation(pair.first, pair.second), PM_OK);
    }
    auto rows = [] { return PMTest::Query("SELECT * FROM user_roles ORDER BY 1, 2"); };
    FaultPlan::Get().ResetCounts();
    EXPECT_EQ(store.URPSDeleteUserRoleAssoc(5, 7), PM_OK); // there is no single-pair delete
    EXPECT_EQ(PMTest::Calls("*"), 0);
    EXPECT_EQ(store.URPSDeleteUserRoleAssoc(-1, 7), PM_OK);
    EXPECT_EQ(rows(), "-1|3; 4|-1; 5|8");
    EXPECT_EQ(store.URPSDeleteUserRoleAssoc(5, -1), PM_OK);
    EXPECT_EQ(rows(), "-1|3; 4|-1");
    {
        Host::ScopedFault fault("DMUSRUserRole::DeleteByRoleId", 1);
        EXPECT_EQ(store.URPSDeleteUserRoleAssoc(-1, -1), PM_OK);
    }
    EXPECT_EQ(rows(), "4|-1");
    Host::ScopedFault fault("DMUSRUserRole::DeleteByUserId", 1);
    EXPECT_EQ(store.URPSDeleteUserRoleAssoc(-1, -1), PM_ERROR);
    EXPECT_EQ(rows(), "");
}
