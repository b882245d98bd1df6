// The mask cache in front of the mask table: reads and writes through it, and
// the operations that drop it.
#include "StoreFixture.h"

#include <support/VerifyProbe.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

using Host::FaultPlan;
using PMTest::Calls;

namespace {

class URPStoreMasksTest : public PMTest::StoreFixture {};

} // namespace

TEST_F(URPStoreMasksTest, ReadsThroughTheCacheAndRemembersOnlyHits) {
    long mask = 5;
    for (int read = 0; read < 2; ++read) { // a miss is asked again
        EXPECT_EQ(store.URPSReadRoleActionAssociation(2, 10, &mask), PM_ERROR);
        EXPECT_EQ(mask, -1);
    }
    EXPECT_FALSE(store.m_RoleEntitlementActionCache.HasRole(2));
    AddRawMask(2, 10, 17);
    for (int read = 0; read < 2; ++read) {
        EXPECT_EQ(store.URPSReadRoleActionAssociation(2, 10, &mask), PM_OK);
        EXPECT_EQ(mask, 17);
    }
    EXPECT_EQ(Calls("DMUSRRoleAction::Load"), 3);
    AddRawMask(2, 11, 3);
    Host::ScopedFault fault("DMUSRRoleAction::Load", 1);
    EXPECT_EQ(store.URPSReadRoleActionAssociation(2, 11, &mask), PM_ERROR);
    EXPECT_EQ(std::make_pair(mask, Cached(2, 11)), std::make_pair(-1L, -1L));
}

// After the table is emptied behind its back the cache answers with what it
// had and refuses a different mask: the table takes it, the check is raised,
// the result is still PM_OK and the cache keeps the old mask.
TEST_F(URPStoreMasksTest, AddReportsTheTableAndTheCacheRefusesToOverwrite) {
    PMTest::VerifyProbe probe(false); // a refusal must change nothing
    ASSERT_EQ(store.URPSAddRoleActionAssociation(1, 10, 7), PM_OK);
    EXPECT_EQ(store.URPSAddRoleActionAssociation(1, 10, 7), PM_ERROR); // the table refuses
    ASSERT_EQ(store.URPSDeleteAllRoleActionAssociations(), PM_OK);
    long mask = 0;
    EXPECT_EQ(store.URPSReadRoleActionAssociation(1, 10, &mask), PM_OK);
    EXPECT_EQ(mask, 7);
    EXPECT_EQ(Calls("DMUSRRoleAction::Load"), 0);
    EXPECT_EQ(store.URPSAddRoleActionAssociation(1, 10, 7), PM_OK); // same mask: no conflict
    EXPECT_TRUE(probe.Expressions().empty());
    ASSERT_EQ(store.URPSDeleteAllRoleActionAssociations(), PM_OK);
    EXPECT_EQ(store.URPSAddRoleActionAssociation(1, 10, 9), PM_OK);
    EXPECT_EQ(probe.Expressions(), std::vector<std::string>{"m_RoleEntitlementActionCache.Add("
                                                            "roleId, eId, eAction) == PM_OK"});
    EXPECT_EQ(std::make_pair(StoredMask(1, 10), Cached(1, 10)), std::make_pair(9L, 7L));
    Host::ScopedFault fault("DMUSRRoleAction::Add", 1);
    EXPECT_EQ(store.URPSAddRoleActionAssociation(1, 12, 4), PM_ERROR);
    EXPECT_EQ(Cached(1, 12), -1);
}

TEST_F(URPStoreMasksTest, UpdateIsAnUpsertThatReplacesTheCachedMask) {
    EXPECT_EQ(store.URPSUpdateRoleActionAssociation(4, 20, 5), PM_OK); // in neither
    EXPECT_EQ(std::make_pair(StoredMask(4, 20), Cached(4, 20)), std::make_pair(5L, 5L));
    EXPECT_EQ(store.URPSUpdateRoleActionAssociation(4, 20, 6), PM_OK);
    EXPECT_EQ(std::make_pair(StoredMask(4, 20), Cached(4, 20)), std::make_pair(6L, 6L));
    EXPECT_EQ(Calls("DMUSRRoleAction::Add"), 1);
    Host::ScopedFault fault("DMUSRRoleAction::Update", 1);
    EXPECT_EQ(store.URPSUpdateRoleActionAssociation(4, 20, 7), PM_ERROR);
    EXPECT_EQ(Cached(4, 20), 6);
}

// Roles 1 and 2 have cached masks on entitlement 10; role 3 has one in the
// table only. What stays cached is shown as "12", "2" or "".
TEST_F(URPStoreMasksTest, WhichOperationsDropCachedMasks) {
    PM::EntitlementDef renamed;
    renamed.SetId(10);
    renamed.SetName("Renamed");
    PM::EntitlementDef added;
    added.SetId(11);
    std::vector<PM::EntitlementObject> list(1, PM::EntitlementObject{"E", 10});
    const struct {
        char const* failing; // a record operation made to fail, or null
        std::function<int(PM::URPStore&)> call;
        int expected;
        char const* cachedAfter;
    } cases[] = {
        {nullptr, STORE_CALL(URPSRemoveRoleFromDB(1)), PM_OK, "2"},
        {nullptr, STORE_CALL(URPSRemoveRoleFromDB(3)), PM_ERR_NORECORD, "12"},
        {"DMUSRRole::Delete", STORE_CALL(URPSRemoveRoleFromDB(1)), PM_ERROR, "12"},
        {nullptr, STORE_CALL(URPSDeleteRoleActionAssociations(1)), PM_OK, "2"},
        {"DMUSRRoleAction::Delete", STORE_CALL(URPSDeleteRoleActionAssociations(1)), PM_ERROR,
         "12"},
        {nullptr, STORE_CALL(URPSUpdateEntitlementToDB(renamed)), PM_OK, ""},
        {"DMUSREntitlement::Update", STORE_CALL(URPSUpdateEntitlementToDB(renamed)), PM_ERROR,
         "12"},
        {nullptr, STORE_CALL(URPSDeleteEntitlementToDB(renamed)), PM_OK, ""},
        {"DMUSREntitlement::Delete", STORE_CALL(URPSDeleteEntitlementToDB(renamed)), PM_ERROR,
         "12"},
        {"DMUSRRoleAction::DeleteByEntitlementId",
         STORE_CALL(URPSDeleteRoleActionAssociationsByEntitlement(10)), PM_OK, ""},
        {nullptr, STORE_CALL(URPSAddEntitlementToDB(added)), PM_OK, "12"},
        {nullptr, STORE_CALL(URPSRemoveAllRoleFromDB()), PM_OK, "12"},
        {nullptr, STORE_CALL(URPSDeleteAllEntitlementToDB()), PM_OK, "12"},
        {nullptr, STORE_CALL(URPSDeleteAllUserRoleAssoc()), PM_OK, "12"},
        {nullptr, STORE_CALL(URPSDeleteAllRoleActionAssociations()), PM_OK, "12"},
        {nullptr, STORE_CALL(URPSReadRoleActionAssociations(3, &list, nullptr)), PM_OK, "12"},
    };
    for (std::size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        SCOPED_TRACE(i);
        Reopen();
        store.m_RoleEntitlementActionCache.Clear();
        AddRole(1, "Clerk");
        AddEntitlement(10);
        ASSERT_EQ(store.URPSAddRoleActionAssociation(1, 10, 7), PM_OK);
        ASSERT_EQ(store.URPSAddRoleActionAssociation(2, 10, 8), PM_OK);
        AddRawMask(3, 10, 1);
        if (cases[i].failing != nullptr) {
            FaultPlan::Get().Arm(cases[i].failing, 1);
        }
        EXPECT_EQ(cases[i].call(store), cases[i].expected);
        EXPECT_TRUE(cases[i].failing == nullptr || FaultPlan::Get().Fired());
        std::string cached;
        for (int roleId = 1; roleId <= 3; ++roleId) {
            cached +=
                store.m_RoleEntitlementActionCache.HasRole(roleId) ? std::to_string(roleId) : "";
        }
        EXPECT_EQ(cached, cases[i].cachedAfter);
    }
}
