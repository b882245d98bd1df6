// Init and Term: what each leaves of the store, the caches, the contexts and
// the established user.
#include "support/CompanyFixture.h"

namespace {

class LifecycleTest : public PMTest::CompanyFixture {};

TEST_F(LifecycleTest, InitReloadsEverythingAndTermLetsGoOfAllButTheSortedRows) {
    std::string const loaded = "init=1 user=-1 store=yes entitlements=232 sorted=232 roles=8 ";
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    EXPECT_EQ("init=1 user=" + std::to_string(adminUser) +
                  " store=yes entitlements=232 sorted=232 roles=8 contexts=1 current=Tallyframe",
              Access().State());
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ(loaded + "contexts=0 current=none", Access().State());
    Manager().Term();
    EXPECT_EQ("init=0 user=-1 store=no entitlements=0 sorted=232 roles=0 contexts=0 current=none",
              Access().State());
    EXPECT_EQ(-1, Manager().EstablishUser(adminUser));
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ(loaded + "contexts=0 current=none", Access().State());
    // An empty store is no failure: empty lists, no roles.
    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ("init=1 user=-1 store=yes entitlements=0 sorted=0 roles=0 contexts=0 current=none",
              Access().State());
}

} // namespace
