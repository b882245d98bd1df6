// The users table of the company file and the user manager over it.
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>
#include <support/TextJoin.h>

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
    EXPECT_EQ(
        PMTest::Join(std::initializer_list<int>{103, 103, 999}, " ",
                     [](int userId) { return Host::RemoveCompanyUser(userId) ? "yes" : "no"; }),
        "yes no no");
    EXPECT_EQ(Host::AddCompanyUser("chief", true, &error), 104);
    std::string const users = PMTest::Join(Host::ListCompanyUsers(), "", [](auto const& user) {
        return std::to_string(user.userId) + "/" + std::to_string(user.recordKey) + "/" +
               user.name + (user.isAdmin ? "/admin " : " ");
    });
    Host::CompanyUserManager manager;
    EXPECT_EQ(
        users + "admin=" + std::to_string(manager.GetAdminUserId()) +
            " key of 104=" + std::to_string(manager.GetDBRecKeyForUser(104)) +
            " user of 2=" + std::to_string(manager.GetUserForDBRecKey(2)),
        "101/1/clerk 102/2/boss/admin 104/4/chief/admin admin=102 key of 104=4 user of 2=102");
    Host::CloseCompanyFile();
}

} // namespace
