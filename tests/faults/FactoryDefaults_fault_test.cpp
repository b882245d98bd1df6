// SetDefaultRoles on an empty company file with each record operation failing
// in turn. Nothing is undone: every add that went through stays, nothing else
// is written, and a second fill refuses a file that holds any entitlement.
#include "support/FaultLoop.h"

namespace {

using namespace PMTest;
using FactoryDefaultsFaultTest = FaultLoopTest;

TEST_F(FactoryDefaultsFaultTest, SetDefaultRolesKeepsWhatItWroteAndNothingElse) {
    Start(false);
    Save();
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
    std::string const filled = StoreRows();
    std::string const loaded = Render();
    auto const fill = [] { return Manager().SetDefaultRoles(); };
    auto const check = [&](FaultRun const& run) {
        // A failed write or count gives -1; a failed read while Init loads
        // ends that load, and the fill succeeds with what was read.
        EXPECT_TRUE(run.result == PM_ERROR ||
                    (run.result == PM_OK && (!run.fired || run.HitRead())));
        EXPECT_EQ("", run.raised);
        auto adds = [&run](char const* record) {
            return std::to_string(run.Done(std::string("DMUSR") + record + "::Add"));
        };
        EXPECT_EQ("entitlements=" + adds("Entitlement") + " roles=" + adds("Role") +
                      " masks=" + adds("RoleAction") + " assignments=" + adds("UserRole") + "\n",
                  QueryRows("SELECT 'entitlements=' || (SELECT count(*) FROM entitlements) || "
                            "' roles=' || (SELECT count(*) FROM roles) || ' masks=' || (SELECT "
                            "count(*) FROM role_actions) || ' assignments=' || (SELECT count(*) "
                            "FROM user_roles)"));
        std::string const rows = StoreRows();
        EXPECT_EQ("", Missing(rows, filled)) << "rows that a clean fill does not write";
        bool const initialized = Manager().IsInitialized();
        if (!initialized) {
            EXPECT_EQ("no role list\nno entitlement list\n", Render());
        }
        Both const both = initialized ? ExpectAsFreshInit(run.HitRead()) : AgainstFreshInit();
        if (run.result == PM_OK) {
            EXPECT_EQ(filled, rows);
            EXPECT_EQ(loaded, both.fresh);
        }
        // However little of the first fill got through, a second one refuses.
        NewManager();
        bool const refused = run.Done("DMUSREntitlement::Add") > 0;
        EXPECT_EQ(refused ? PM_ERROR : PM_OK, Manager().SetDefaultRoles());
        EXPECT_EQ(refused ? rows : filled, StoreRows());
    };
    EXPECT_GT(Loop("SetDefaultRoles", fill, check, false, [this] { Fresh(false); }), 100);
}

} // namespace
