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
    std::string const filled = StoreRows(), loaded = Render();
    setUp = [this] { Fresh(false); };
    auto const check = [&](FaultRun const& run) {
        // A failed write or count gives -1; a failed read while Init loads
        // ends that load, and the fill succeeds with what was read.
        EXPECT_TRUE(run.result == PM_ERROR ||
                    (run.result == PM_OK && (!run.fired || run.HitRead())));
        EXPECT_EQ("", run.raised);
        std::string const rows = StoreRows();
        for (auto [table, add] : {std::pair("entitlements: ", "Entitlement::Add"),
                                  {"roles: ", "Role::Add"},
                                  {"role_actions: ", "RoleAction::Add"},
                                  {"user_roles: ", "UserRole::Add"}}) {
            EXPECT_EQ(run.Done(add), CountLines(Only(rows, table))) << "rows against adds";
        }
        EXPECT_EQ("", Missing(rows, filled)) << "rows that a clean fill does not write";
        bool const initialized = Manager().IsInitialized();
        EXPECT_TRUE(initialized || Render() == kNoCaches);
        Both const both = initialized ? ExpectAsFreshInit(run.HitRead()) : AgainstFreshInit();
        if (run.result == PM_OK) {
            EXPECT_EQ(filled + loaded, rows + both.fresh) << "a fill that succeeded is whole";
        }
        // However little of the first fill got through, a second one refuses.
        NewManager();
        bool const refused = run.Done("Entitlement::Add") > 0;
        EXPECT_EQ(refused ? PM_ERROR : PM_OK, Manager().SetDefaultRoles());
        EXPECT_EQ(refused ? rows : filled, StoreRows());
    };
    Loop(
        "SetDefaultRoles", 100, [] { return Manager().SetDefaultRoles(); }, check);
}

} // namespace
