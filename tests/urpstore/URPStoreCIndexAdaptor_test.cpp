// The preference-index adaptor: forwards whose effect shows in the index
// store's own lists, and the operations it cannot offer.
#include <support/StoreTesting.h>

#include <PM/URPStoreCIndexAdaptor.h>
#include <URPStoreCIndex.h>

#include <string>
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

TEST(URPStoreCIndexAdaptor, ForwardsReachTheIndexStoreAndPassItsResultsThrough) {
    PMTest::KeyedUserManager users({{11, 1}, {12, 2}});
    PM::URPStoreCIndexAdaptor adaptor;
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
                       adaptor.URPSAddUserRoleAssociation(11, 3),
                       adaptor.URPSAddUserRoleAssociation(12, 3)}),
              (Results{0, -1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(IndexText(*adaptor.m_CIndexStore), "R3:Clerk E10:Cheques M3:10=9 U1 U2 ");
    std::vector<int> ids;
    long mask = 5;
    EXPECT_EQ(
        (Results{adaptor.URPSGetRoleIdsForUser(11, &ids), adaptor.URPSDeleteUserRoleAssoc(11, -1),
                 adaptor.URPSRemoveRoleFromDB(3), adaptor.URPSRemoveRoleFromDB(3),
                 adaptor.URPSReadRoleActionAssociation(3, 10, &mask)}),
        (Results{0, 0, 0, -1, PM_ERROR}));
    EXPECT_EQ(ids, std::vector<int>{3});
    // A removed role's masks and assignments stay: the caller deletes them.
    EXPECT_EQ(IndexText(*adaptor.m_CIndexStore), "E10:Cheques M3:10=9 U2 ");
}

} // namespace
