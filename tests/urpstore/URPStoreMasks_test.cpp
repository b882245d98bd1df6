// The mask cache in front of the mask table: reads and writes through it, and
// the operations that drop it.
#include <support/StoreTesting.h>
#include <support/VerifyProbe.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using Host::FaultPlan;

class URPStoreMasksTest : public PMTest::StoreFixture {
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

// One mask (role 1, entitlement 10) through a run of operations. A miss is not
// remembered; once the table is emptied behind its back the cache answers
// with what it had and refuses a different mask, which the table takes.
TEST_F(URPStoreMasksTest, TheCacheFollowsTheTableAndKeepsWhatItHas) {
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
TEST_F(URPStoreMasksTest, WhichOperationsDropCachedMasks) {
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

} // namespace
