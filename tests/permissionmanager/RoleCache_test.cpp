// The role list and role deletion: the list in name order, the Admin role
// protected, a deleted role's assignments and masks gone with it.
#include "support/CompanyFixture.h"

namespace {

class RoleCacheTest : public PMTest::CompanyFixture {
protected:
    // The role list in its order, as "name:id," rows.
    std::string Roles() {
        return PMTest::Join(*Manager().GetRoleCache(), "", [](PM::RoleObject const& role) {
            return std::string(role.GetName().c_str()) + ":" + std::to_string(role.GetId()) + ",";
        });
    }
};

TEST_F(RoleCacheTest, DeleteRoleProtectsAdminAndTakesTheAssignmentsAndMasksAlong) {
    std::string const loaded = "Admin:0,Bookkeeper:1,External Accountant:2,Payroll Clerk:7,"
                               "Payroll Manager:3,Purchasing:5,Sales:4,View Only:6,";
    EXPECT_EQ(loaded, Roles());
    int const clerk = AddUser("clerk", {7, 4});
    // role id, result
    std::pair<int, int> const refused[] = {
        {-1, PM_ERR_PROTECTEDROLE}, {0, PM_ERR_PROTECTEDROLE}, {99, PM_ERR_NORECORD}};
    for (auto const& [id, result] : refused) {
        EXPECT_EQ(result, Manager().DeleteRole(id)) << id;
    }
    EXPECT_EQ(loaded, Roles());
    ASSERT_EQ(PM_OK, Manager().DeleteRole(7));
    EXPECT_EQ(std::vector<int>{4},
              *std::unique_ptr<std::vector<int>>(Manager().GetUserRoleIds(clerk)));
    EXPECT_EQ("-", Masks({7}, {31}));
    EXPECT_EQ("Admin:0,Bookkeeper:1,External Accountant:2,Payroll Manager:3,Purchasing:5,Sales:4,"
              "View Only:6,",
              Roles());
    EXPECT_EQ(7, Access().GetNextRoleId()); // the highest id comes free again
}

} // namespace
