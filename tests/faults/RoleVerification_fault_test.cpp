// The repair of the Admin role with each record operation failing in turn.
// Admin is short on three entitlements: two with a mask below 63 (1 and 7)
// and one with no mask at all (12); disabled 10 at 0 is exempt. A failed
// write is logged and the repair goes on with the next; a failed read makes
// that entitlement look short, and the repair writes 63 there too.
#include "support/FaultLoop.h"

namespace {

using namespace PMTest;
using RoleVerificationFaultTest = FaultLoopTest;

TEST_F(RoleVerificationFaultTest, VerifyAdminRoleAccessRepairsAllButTheFailedWrite) {
    Start();
    QueryRows("UPDATE role_actions SET action_type = CASE entitlement_id WHEN 1 THEN 5 WHEN 7 "
              "THEN 1 WHEN 10 THEN 0 ELSE action_type END WHERE role_id = 0");
    QueryRows("DELETE FROM role_actions WHERE role_id = 0 AND entitlement_id = 12");
    Save();
    Fresh();
    // The walk's order, the names, and which entitlements are enabled.
    std::unique_ptr<std::vector<PM::EntitlementDef>> list(Manager().GetEntitlements(0, -1, false));
    ASSERT_NE(nullptr, list);
    std::string const before = StoreRows();

    auto const check = [&](FaultRun const& run) {
        EXPECT_EQ(1, run.result) << "three entitlements were short";
        EXPECT_EQ("", run.raised);
        // The masks are read in list order, one load each: a failed load
        // leaves the row's action 0.
        int const unread = run.Hit("RoleAction::Load") ? list->at(run.ordinal - 1).GetId() : -1;
        // The writes go in list order, an update each (an add behind it for
        // 12); a failed update falls back to an add, which collides where a
        // mask exists and fills in where none does.
        std::string log, expected = before;
        long update = 0;
        for (PM::EntitlementDef const& entry : *list) {
            int const id = entry.GetId();
            if (!entry.IsEnabled() || (id != 1 && id != 7 && id != 12 && id != unread)) {
                continue;
            }
            bool const failed = run.Hit("RoleAction::Update", ++update) ||
                                (id == 12 && run.Hit("RoleAction::Add", 1));
            std::string const name = entry.GetName().c_str();
            if (failed && id != 12) {
                log += "Permissions:  ERROR, failed to correct admin's access for entitlement:  " +
                       name + "\n";
                continue;
            }
            log += failed
                       ? ""
                       : "Permissions:  Corrected admin entitlement permissions on " + name + "\n";
            std::string const prefix = "role_actions: 0|" + std::to_string(id) + "|";
            expected = Without(expected, {prefix}) + prefix + "63\n";
        }
        EXPECT_EQ(log, run.logged);
        EXPECT_EQ(SortLines(expected), SortLines(StoreRows()));
        ExpectAsFreshInit();
    };
    Loop(
        "VerifyAdminRoleAccess(true)", 30,
        [] { return Manager().VerifyAdminRoleAccess(true) ? 1 : 0; }, check);
}

} // namespace
