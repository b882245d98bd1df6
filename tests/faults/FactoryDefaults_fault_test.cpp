// SetDefaultRoles with each of its record operations failing in turn: the
// result, the rows left behind (no step is undone), the caches against a fresh
// Init, and what a second SetDefaultRoles makes of the half-filled file.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include <gtest/gtest.h>

namespace {

using namespace PMFault;

TEST(FactoryDefaultsFaultTest, SetDefaultRolesKeepsWhatItWroteAndNothingElse) {
    LoadCatalogue(kSmallCatalogue);
    OpenEmptyCompany();
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
    std::string const filled = StoreRows();
    std::string const loaded = RenderManager();
    ASSERT_EQ(29, RowCount("entitlements"));
    ASSERT_EQ(3, RowCount("roles"));

    FaultLoop loop;
    loop.name = "SetDefaultRoles";
    loop.setUp = [] { OpenEmptyCompany(); };
    loop.operation = [] { return Manager().SetDefaultRoles(); };
    loop.check = [&](FaultRun const& run) {
        // A failed write or a failed count ends the operation with PM_ERROR;
        // a failed read while Init loads the lists ends that load, and the
        // operation succeeds with what was read.
        if (run.result == PM_OK) {
            EXPECT_TRUE(!run.fired || IsRead(run.operation));
        } else {
            EXPECT_EQ(PM_ERROR, run.result);
        }
        EXPECT_EQ(run.raised, std::vector<std::string>());

        // Every add that reported success left its row, and nothing else is
        // there: no step is undone and none is half done.
        std::string const rows = StoreRows();
        EXPECT_EQ(RowCount("entitlements"), run.Done("DMUSREntitlement::Add"));
        EXPECT_EQ(RowCount("roles"), run.Done("DMUSRRole::Add"));
        EXPECT_EQ(RowCount("role_actions"), run.Done("DMUSRRoleAction::Add"));
        EXPECT_EQ(RowCount("user_roles"), run.Done("DMUSRUserRole::Add"));
        EXPECT_EQ("", Missing(rows, filled)) << "rows that a clean fill does not write";
        if (run.result == PM_OK) {
            EXPECT_EQ(filled, rows);
        }

        // Caches: none before Init has run through; afterwards what a fresh
        // Init loads, or part of it when a read of the load failed.
        bool const initialized = Manager().IsInitialized();
        if (!initialized) {
            EXPECT_EQ(nullptr, Manager().GetRoleCache());
            EXPECT_EQ(nullptr, Manager().GetEntitlementCache());
        }
        AgainstFreshInit both = RenderAgainstFreshInit();
        if (initialized && !(run.fired && IsRead(run.operation))) {
            EXPECT_EQ(both.fresh, both.current);
        } else if (initialized) {
            EXPECT_EQ("", Missing(Without(both.current, {"masks of "}), both.fresh));
        }
        if (run.result == PM_OK) {
            EXPECT_EQ(loaded, both.fresh);
        }

        // A second fill refuses a file that holds any entitlement, however
        // little of the first fill got through, and writes nothing.
        NewManager();
        int again = Manager().SetDefaultRoles();
        if (run.Done("DMUSREntitlement::Add") > 0) {
            EXPECT_EQ(PM_ERROR, again);
            EXPECT_EQ(rows, StoreRows());
        } else {
            EXPECT_EQ(PM_OK, again);
            EXPECT_EQ(filled, StoreRows());
        }
    };
    EXPECT_GT(RunFaultLoop(loop), 100);
}

} // namespace
