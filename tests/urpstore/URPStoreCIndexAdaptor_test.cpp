// The preference-index adaptor: forwards that reach the index store and pass
// its results through, and the operations it cannot offer.
#include <support/StoreTesting.h>

#include <PM/URPStoreCIndexAdaptor.h>
#include <URPStoreCIndex.h>

namespace {

class URPStoreCIndexAdaptorTest : public PMTest::StoreFixture {};

TEST_F(URPStoreCIndexAdaptorTest, ForwardsReachTheIndexStoreAndPassItsResultsThrough) {
    AddUsers();
    PM::URPStoreCIndexAdaptor adaptor;
    PM::RoleDef clerk;
    clerk.SetId(3);
    PM::EntitlementDef checks;
    checks.SetId(10);
    checks.SetName("Checks");
    std::vector<PM::EntitlementObject> list;
    std::vector<RoleEntActionAssocCacheEntry> masks;
    std::vector<int> ids;
    long mask = 5;
    // Results in call order (a braced list is evaluated left to right).
    using Results = std::vector<int>;
    EXPECT_EQ(
        (Results{adaptor.URPSAddRoleToDB(clerk), adaptor.URPSAddRoleToDB(clerk),
                 adaptor.URPSAddEntitlementToDB(checks),
                 (checks.SetName("Cheques"), adaptor.URPSUpdateEntitlementToDB(checks)),
                 adaptor.URPSAddRoleActionAssociation(3, 10, 7),
                 adaptor.URPSUpdateRoleActionAssociation(3, 10, 9),
                 adaptor.URPSAddUserRoleAssociation(1, 3), adaptor.URPSAddUserRoleAssociation(2, 3),
                 adaptor.URPSDeleteUserRoleAssoc(1, -1), adaptor.URPSRemoveRoleFromDB(3),
                 adaptor.URPSRemoveRoleFromDB(3), adaptor.URPSGetEntitlementList(&list),
                 adaptor.URPSBuildRoleActionAssociationsCache(&masks),
                 adaptor.m_CIndexStore->URPSGetUserIdsForRole(3, &ids),
                 adaptor.URPSReadRoleActionAssociation(3, 10, &mask)}),
        (Results{0, -1, 0, 0, 0, 0, 0, 0, 0, 0, -1, 0, 0, 0, PM_ERROR}));
    // A removed role's masks and assignments stay: the caller deletes them.
    ASSERT_EQ(list.size() + masks.size(), 2u);
    EXPECT_EQ(std::string(list[0].m_Name.c_str()) + " " + std::to_string(masks[0].GetAction()),
              "Cheques 9");
    EXPECT_EQ(ids, std::vector<int>{102});
}

} // namespace
