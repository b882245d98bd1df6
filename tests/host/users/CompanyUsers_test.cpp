// The users table of the company file and the user manager over it.
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

namespace {

// Ids count from 101 and record keys from 1, and neither is issued twice,
// not even after the user who had the highest is removed. The administrator
// is the admin user with the lowest id.
TEST(CompanyUsersTest, IdsAndKeysAreNeverIssuedTwice) {
    ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    std::string error;
    for (auto const& user : std::initializer_list<std::pair<char const*, bool>>{
             {"clerk", false}, {"boss", true}, {"owner", false}}) {
        EXPECT_NE(Host::AddCompanyUser(user.first, user.second, &error), -1) << error;
    }
    EXPECT_EQ(Host::AddCompanyUser("boss", false, &error), -1);
    EXPECT_EQ(error, "a user named 'boss' exists already");
    std::string removed;
    for (int userId : {103, 103, 999}) {
        removed += Host::RemoveCompanyUser(userId) ? "yes " : "no ";
    }
    EXPECT_EQ(removed, "yes no no ");
    EXPECT_EQ(Host::AddCompanyUser("chief", true, &error), 104);
    std::string users;
    for (Host::CompanyUser const& user : Host::ListCompanyUsers()) {
        users += std::to_string(user.userId) + "/" + std::to_string(user.recordKey) + "/" +
                 user.name + (user.isAdmin ? "/admin " : " ");
    }
    Host::CompanyUserManager manager;
    EXPECT_EQ(
        users + "admin=" + std::to_string(manager.GetAdminUserId()) +
            " key of 104=" + std::to_string(manager.GetDBRecKeyForUser(104)) +
            " user of 2=" + std::to_string(manager.GetUserForDBRecKey(2)),
        "101/1/clerk 102/2/boss/admin 104/4/chief/admin admin=102 key of 104=4 user of 2=102");
    Host::CloseCompanyFile();
}

} // namespace
