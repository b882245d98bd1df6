// The record-backed store: how record statuses map to result codes, the mask
// cache in front of the mask table, and the walks by id (the assignment
// lookups, the grant of a new entitlement to every role, the bulk read of a
// role's masks).
#include <support/LogProbe.h>
#include <support/StoreTesting.h>
#include <support/VerifyProbe.h>

#include <tuple>
#include <utility>

namespace {

using Host::FaultPlan;
using PMTest::Calls;

class URPStoreTest : public PMTest::StoreFixture {
protected:
    // Role 1's mask on entitlement 10 in the table and in the cache, -1 for none.
    std::string Mask() {
        long const* cached = store.m_RoleEntitlementActionCache.Find(1, 10);
        return "table=" +
               PMTest::Query("SELECT coalesce(max(action_type), -1) FROM role_actions WHERE "
                             "role_id = 1 AND entitlement_id = 10") +
               " cache=" + std::to_string(cached != nullptr ? *cached : -1);
    }
};

// A failed record operation is PM_ERROR; not-found is PM_OK unless the
// operation gives it a code of its own: 6042 itself never comes back.
TEST_F(URPStoreTest, MapsRecordStatusesToResultCodes) {
    PM::RoleDef role;
    PM::RoleObject roleObject;
    PM::EntitlementObject entitlement;
    const FaultPlan::Fault kFail = FaultPlan::kFail, kNotFound = FaultPlan::kNotFound;
    // The record operation and its fault, the store operation, its result.
    std::tuple<char const*, FaultPlan::Fault, PMTest::StoreCall, int> const cases[] = {
        {"DMUSRRole::Delete", kFail, STORE_CALL(URPSRemoveRoleFromDB(3)), PM_ERROR},
        {"DMUSRRole::Delete", kNotFound, STORE_CALL(URPSRemoveRoleFromDB(3)), PM_ERR_NORECORD},
        {"DMUSRRole::Add", kNotFound, STORE_CALL(URPSAddRoleToDB(role)), PM_OK},
        {"DMUSRRole::Load", kNotFound, STORE_CALL(URPSGetRole(roleObject)), PM_ERR_NORECORD},
        {"DMUSREntitlement::Load", kNotFound, STORE_CALL(URPSGetEntitlement(entitlement)),
         PM_ERR_NOENT},
        {"DMUSRUserRole::Add", kFail, STORE_CALL(URPSAddUserRoleAssociation(1, 2)), PM_ERROR},
    };
    for (auto const& [operation, fault, call, expected] : cases) {
        SCOPED_TRACE(std::string(operation) + (fault == kFail ? " failing" : " not found"));
        Host::ScopedFault planned(operation, 1, fault);
        EXPECT_EQ(call(store), expected);
        EXPECT_TRUE(FaultPlan::Get().Fired());
    }
}

// One mask (role 1, entitlement 10) through a run of operations. A miss is not
// remembered; once the table is emptied behind its back the cache answers
// with what it had and refuses a different mask, which the table takes.
TEST_F(URPStoreTest, TheCacheFollowsTheTableAndKeepsWhatItHas) {
    PMTest::VerifyProbe probe(false);
    long mask = 0;
    // The step, its result, then role 1's mask on 10 and the last mask read.
    std::tuple<char const*, PMTest::StoreCall, int, char const*> const steps[] = {
        {"read a miss", STORE_CALL(URPSReadRoleActionAssociation(1, 10, &mask)), PM_ERROR,
         "table=-1 cache=-1 read=-1"},
        {"update adds", STORE_CALL(URPSUpdateRoleActionAssociation(1, 10, 5)), PM_OK,
         "table=5 cache=5 read=-1"},
        {"add again", STORE_CALL(URPSAddRoleActionAssociation(1, 10, 5)), PM_ERROR,
         "table=5 cache=5 read=-1"},
        {"update", STORE_CALL(URPSUpdateRoleActionAssociation(1, 10, 7)), PM_OK,
         "table=7 cache=7 read=-1"},
        {"empty the table", STORE_CALL(URPSDeleteAllRoleActionAssociations()), PM_OK,
         "table=-1 cache=7 read=-1"},
        {"read the cache", STORE_CALL(URPSReadRoleActionAssociation(1, 10, &mask)), PM_OK,
         "table=-1 cache=7 read=7"},
        {"add another mask", STORE_CALL(URPSAddRoleActionAssociation(1, 10, 9)), PM_OK,
         "table=9 cache=7 read=7"},
    };
    for (auto const& [step, call, result, after] : steps) {
        SCOPED_TRACE(step);
        EXPECT_EQ(call(store), result);
        EXPECT_EQ(Mask() + " read=" + std::to_string(mask), after);
    }
    EXPECT_EQ(probe.Expressions(), std::vector<std::string>{"m_RoleEntitlementActionCache.Add("
                                                            "roleId, eId, eAction) == PM_OK"});
}

// Roles 1 and 2 have cached masks on entitlement 10. What stays cached after
// each operation is shown as "12", "2" or "".
TEST_F(URPStoreTest, WhichOperationsDropCachedMasks) {
    PM::EntitlementDef renamed;
    renamed.SetId(10);
    renamed.SetName("Renamed");
    // A record operation made to fail (or null), the store operation, its
    // result and the roles still cached.
    std::tuple<char const*, PMTest::StoreCall, int, char const*> const cases[] = {
        {nullptr, STORE_CALL(URPSRemoveRoleFromDB(1)), PM_OK, "2"},
        {"DMUSRRole::Delete", STORE_CALL(URPSRemoveRoleFromDB(1)), PM_ERROR, "12"},
        {nullptr, STORE_CALL(URPSDeleteRoleActionAssociations(1)), PM_OK, "2"},
        {nullptr, STORE_CALL(URPSUpdateEntitlementToDB(renamed)), PM_OK, ""},
        {"DMUSREntitlement::Update", STORE_CALL(URPSUpdateEntitlementToDB(renamed)), PM_ERROR,
         "12"},
        {nullptr, STORE_CALL(URPSDeleteEntitlementToDB(renamed)), PM_OK, ""},
        // Whatever the table did, the cache can hold no mask it lost.
        {"DMUSRRoleAction::DeleteByEntitlementId",
         STORE_CALL(URPSDeleteRoleActionAssociationsByEntitlement(10)), PM_OK, ""},
        {nullptr, STORE_CALL(URPSDeleteAllRoleActionAssociations()), PM_OK, "12"},
    };
    for (auto const& c : cases) {
        auto const& [failing, call, expected, cachedAfter] = c;
        SCOPED_TRACE(&c - cases);
        Reopen();
        store.m_RoleEntitlementActionCache.Clear();
        AddRole(1, "Clerk");
        AddEntitlement(10);
        ASSERT_EQ(store.URPSAddRoleActionAssociation(1, 10, 7), PM_OK);
        ASSERT_EQ(store.URPSAddRoleActionAssociation(2, 10, 8), PM_OK);
        if (failing != nullptr) {
            FaultPlan::Get().Arm(failing, 1);
        }
        EXPECT_EQ(call(store), expected);
        auto const& cache = store.m_RoleEntitlementActionCache;
        EXPECT_EQ(std::string(cache.HasRole(1) ? "1" : "") + (cache.HasRole(2) ? "2" : ""),
                  cachedAfter);
    }
}

// Role ids are probed from 0 until the user's assignments are found; the
// role's users come back in record-key order as host ids, -1 for a key no
// user has.
TEST_F(URPStoreTest, AssignmentsAreProbedByIdAndUsersComeBackAsHostIds) {
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
TEST_F(URPStoreTest, NewEntitlementGoesToEveryRoleWithFixedExceptions) {
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
TEST_F(URPStoreTest, BulkReadOfARoleStopsAtTheFirstGapInTheDynamicBand) {
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
