// The preference-index adaptor: fixed answers where the index store has no
// counterpart, and forwards whose effect shows in the index store's own lists.
#include "StoreFixture.h"

#include <PM/URPStoreCIndexAdaptor.h>
#include <URPStoreCIndex.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

// The index store's roles, entitlements, masks and role 3's users, e.g.
// "R3:Clerk E10:Cheques M3:10=9 U1 ".
std::string IndexText(URPStoreCIndex& index) {
    std::vector<PM::RoleObject> roles;
    std::vector<PM::EntitlementObject> entitlements;
    std::vector<RoleEntActionAssocCacheEntry> masks;
    std::vector<int> users;
    EXPECT_EQ(index.URPSGetRoleList(&roles) + index.URPSGetEntitlementList(&entitlements) +
                  index.URPSBuildRoleActionAssociationsCache(&masks) +
                  index.URPSGetUserIdsForRole(3, &users),
              0);
    std::string text;
    for (PM::RoleObject const& role : roles) {
        text += "R" + std::to_string(role.GetId()) + ":" + role.GetName().c_str() + " ";
    }
    for (PM::EntitlementObject const& entitlement : entitlements) {
        text += "E" + std::to_string(entitlement.m_Id) + ":" + entitlement.m_Name.c_str() + " ";
    }
    for (RoleEntActionAssocCacheEntry const& mask : masks) {
        text += "M" + std::to_string(mask.GetRoleId()) + ":" + std::to_string(mask.GetEntId()) +
                "=" + std::to_string(mask.GetAction()) + " ";
    }
    for (int user : users) {
        text += "U" + std::to_string(user) + " ";
    }
    return text;
}

} // namespace

TEST(URPStoreCIndexAdaptor, CursorOperationsProduceNothingAndUnofferedOnesFail) {
    PM::URPStoreCIndexAdaptor adaptor;
    PM::RoleDef clerk;
    clerk.SetId(3);
    ASSERT_EQ(adaptor.URPSAddRoleToDB(clerk), 0);
    PM::RoleObject role;
    PM::EntitlementObject entitlement{"Kept", 9};
    long mask = 5;
    // Cursor reads answer PM_OK and produce nothing; the rest has no counterpart.
    EXPECT_EQ(
        (std::vector<int>{adaptor.URPSGetFirstRole(role), adaptor.URPSGetNextRole(role),
                          adaptor.URPSGetRole(role), adaptor.URPSGetFirstEntitlement(entitlement),
                          adaptor.URPSGetNextEntitlement(entitlement),
                          adaptor.URPSGetEntitlement(entitlement),
                          adaptor.URPSDeleteRoleActionAssociationsByEntitlement(9),
                          adaptor.URPSAddRoleActionAssociationByEntitlement(9, 1),
                          adaptor.URPSReadRoleActionAssociation(3, 9, &mask),
                          adaptor.URPSCountrySpecificUpdate()}),
        (std::vector<int>{PM_OK, PM_OK, PM_OK, PM_OK, PM_OK, PM_OK, PM_ERROR, PM_ERROR, PM_ERROR,
                          PM_ERROR}));
    EXPECT_EQ(role.GetId(), -1);
    EXPECT_EQ(std::string(entitlement.m_Name) + std::to_string(entitlement.m_Id), "Kept9");
    EXPECT_EQ(mask, 5);
    EXPECT_EQ(IndexText(*adaptor.m_CIndexStore), "R3: ");
}

TEST(URPStoreCIndexAdaptor, ForwardsReachTheIndexStoreAndPassItsResultsThrough) {
    PMTest::KeyedUserManager users({{11, 1}, {12, 2}});
    PM::URPStoreCIndexAdaptor adaptor;
    URPStoreCIndex& index = *adaptor.m_CIndexStore;
    PM::RoleDef clerk;
    clerk.SetId(3);
    clerk.SetName("Clerk");
    PM::EntitlementDef checks;
    checks.SetId(10);
    checks.SetName("Checks");
    // Results in call order (a braced list is evaluated left to right).
    using Results = std::vector<int>;
    EXPECT_EQ((Results{adaptor.URPSAddRoleToDB(clerk), adaptor.URPSAddRoleToDB(clerk),
                       adaptor.URPSAddEntitlementToDB(checks),
                       (checks.SetName("Cheques"), adaptor.URPSUpdateEntitlementToDB(checks)),
                       adaptor.URPSAddRoleActionAssociation(3, 10, 7),
                       adaptor.URPSUpdateRoleActionAssociation(3, 10, 9),
                       adaptor.URPSAddRoleActionAssociation(4, 10, 1),
                       adaptor.URPSAddUserRoleAssociation(11, 3),
                       adaptor.URPSAddUserRoleAssociation(12, 3)}),
              (Results{0, -1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(IndexText(index), "R3:Clerk E10:Cheques M3:10=9 M4:10=1 U1 U2 ");

    std::vector<PM::RoleObject> roles;
    std::vector<PM::EntitlementObject> list;
    std::vector<RoleEntActionAssocCacheEntry> entries;
    std::vector<int> ids;
    EXPECT_EQ(adaptor.URPSGetRoleList(&roles) + adaptor.URPSGetEntitlementList(&list) +
                  adaptor.URPSBuildRoleActionAssociationsCache(&entries) +
                  adaptor.URPSGetRoleIdsForUser(11, &ids) + adaptor.URPSGetUserIdsForRole(3, &ids),
              0);
    EXPECT_EQ(std::make_pair(roles.size(), entries.size()), std::make_pair(1ul, 2ul));
    EXPECT_EQ(ids, (std::vector<int>{3, 1, 2}));
    EXPECT_EQ(adaptor.URPSReadRoleActionAssociations(3, &list, &entries), 0);
    EXPECT_EQ(std::make_pair(list[0].m_Action, entries.size()), std::make_pair(9, 3ul));

    EXPECT_EQ((Results{adaptor.URPSDeleteUserRoleAssoc(11, -1),
                       adaptor.URPSDeleteRoleActionAssociations(3),
                       adaptor.URPSDeleteEntitlementToDB(checks),
                       adaptor.URPSDeleteEntitlementToDB(checks), adaptor.URPSRemoveRoleFromDB(3),
                       adaptor.URPSRemoveRoleFromDB(3)}),
              (Results{0, 0, 0, -1, 0, -1}));
    EXPECT_EQ(IndexText(index), "M4:10=1 U2 ");
    EXPECT_EQ(adaptor.URPSAddRoleToDB(clerk) + adaptor.URPSAddEntitlementToDB(checks), 0);
    EXPECT_EQ(adaptor.URPSRemoveAllRoleFromDB() + adaptor.URPSDeleteAllEntitlementToDB() +
                  adaptor.URPSDeleteAllUserRoleAssoc() +
                  adaptor.URPSDeleteAllRoleActionAssociations(),
              0);
    EXPECT_EQ(IndexText(index), "");

    // Without an index store the forwards fail instead of reaching null.
    delete adaptor.m_CIndexStore;
    adaptor.m_CIndexStore = nullptr;
    EXPECT_EQ(adaptor.URPSAddRoleToDB(clerk), PM_ERROR);
}

// The library exports the assignment; afterwards both objects see one index.
TEST(URPStoreCIndexAssign, SharesTheIndexOfTheSource) {
    URPStoreCIndex source;
    URPStoreCIndex target;
    PM::RoleDef clerk;
    clerk.SetId(3);
    ASSERT_EQ(source.URPSAddRole(clerk), 0);
    // Both objects would free a shared index: the target gets its own pointer
    // back before it is destroyed.
    unsigned char own[sizeof(URPStoreCIndex)];
    std::memcpy(own, static_cast<void*>(&target), sizeof own);
    target = source;
    EXPECT_EQ(IndexText(target), "R3: ");
    std::memcpy(static_cast<void*>(&target), own, sizeof own);
    EXPECT_EQ(IndexText(target), "");
}
