// The repair of the Admin role with each record operation failing in turn.
// The role is short on three entitlements: two with a mask below 63 and one
// with no mask at all; a disabled one at 0 is exempt. A failed write is
// logged and the repair goes on with the next; a failed read makes that
// entitlement look short, and the repair writes 63 there too.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

namespace {

using namespace PMFault;

std::string Corrected(std::string const& name) {
    return "Permissions:  Corrected admin entitlement permissions on " + name;
}

std::string NotCorrected(std::string const& name) {
    return "Permissions:  ERROR, failed to correct admin's access for entitlement:  " + name;
}

TEST(VerificationFaultTest, VerifyAdminRoleAccessRepairsAllButTheFailedWrite) {
    LoadCatalogue(kSmallCatalogue);
    OpenDefaultCompany();
    Execute("UPDATE role_actions SET action_type = 5 WHERE role_id = 0 AND entitlement_id = 1");
    Execute("UPDATE role_actions SET action_type = 1 WHERE role_id = 0 AND entitlement_id = 7");
    Execute("UPDATE role_actions SET action_type = 0 WHERE role_id = 0 AND entitlement_id = 10");
    Execute("DELETE FROM role_actions WHERE role_id = 0 AND entitlement_id = 12");
    Snapshot company;
    company.Take();
    auto fresh = [&] {
        company.Restore();
        NewManager();
        ASSERT_EQ(PM_OK, Manager().Init());
    };

    // The order of the walk, the names, and which entitlements are enabled.
    fresh();
    std::unique_ptr<std::vector<PM::EntitlementDef>> list(Manager().GetEntitlements(0, -1, false));
    ASSERT_NE(nullptr, list);
    std::string const before = StoreRows();
    std::string const others = Without(before, {"role_actions: 0|"});
    std::set<int> const shortIds = {1, 7, 12};

    FaultLoop loop;
    loop.name = "VerifyAdminRoleAccess(true)";
    loop.setUp = fresh;
    loop.operation = [] { return Manager().VerifyAdminRoleAccess(true) ? 1 : 0; };
    loop.check = [&](FaultRun const& run) {
        EXPECT_EQ(1, run.result) << "three entitlements were short";
        EXPECT_EQ(run.raised, std::vector<std::string>());
        // The masks are read in list order, one load each: a failed load
        // leaves the row's action 0.
        int unread = run.Hit("DMUSRRoleAction::Load") ? list->at(run.ordinal - 1).GetId() : -1;
        // The writes go in list order, an update each (an add behind it for
        // 12); a failed update falls back to an add, which collides where a
        // mask exists and fills in where none does.
        std::string expectedLog;
        std::string expectedMasks = Only(before, "role_actions: 0|");
        long update = 0;
        for (PM::EntitlementDef const& entry : *list) {
            int const id = entry.GetId();
            if (!entry.IsEnabled() || (shortIds.count(id) == 0 && id != unread)) {
                continue;
            }
            ++update;
            bool const hasMask = id != 12;
            bool const failed = run.Hit("DMUSRRoleAction::Update", update) ||
                                (id == 12 && run.Hit("DMUSRRoleAction::Add", 1));
            if (failed && hasMask) {
                expectedLog += NotCorrected(entry.GetName().c_str()) + "\n";
                continue;
            }
            if (!failed) {
                expectedLog += Corrected(entry.GetName().c_str()) + "\n";
            }
            std::string const prefix = "role_actions: 0|" + std::to_string(id) + "|";
            expectedMasks = Without(expectedMasks, {prefix.c_str()}) + prefix + "63\n";
        }
        std::string log;
        for (std::string const& line : run.logged) {
            log += line + "\n";
        }
        EXPECT_EQ(expectedLog, log);
        std::string const now = StoreRows();
        EXPECT_EQ(Lines(expectedMasks), Lines(Only(now, "role_actions: 0|")));
        EXPECT_EQ(others, Without(now, {"role_actions: 0|"}));
        AgainstFreshInit both = RenderAgainstFreshInit();
        EXPECT_EQ(both.fresh, both.current);
    };
    EXPECT_GT(RunFaultLoop(loop), 30);
}

} // namespace
