// The first whole pass on a real company file: defaults from the shipped
// catalogue, Init, EstablishUser and the access decision.
#include "support/CompanyFixture.h"

#include <PM/PermissionManager.h>

#include <gtest/gtest.h>

namespace {

class WholePassTest : public PMTest::CompanyFixture {};

TEST_F(WholePassTest, TheAdministratorHoldsTheAdminRoleAndFullAccess) {
    std::unique_ptr<std::vector<int>> roles(Manager().GetUserRoleIds(adminUser));
    ASSERT_NE(nullptr, roles);
    EXPECT_EQ(std::vector<int>{0}, *roles);
    EXPECT_TRUE(Manager().DoesUserHaveAdmin(adminUser));
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    int bankRegisters = EntitlementId("Bank Registers");
    EXPECT_TRUE(Manager().IsFullAccess(bankRegisters));
    EXPECT_TRUE(Manager().IsAccessAllowed(bankRegisters, 8));
}

} // namespace
