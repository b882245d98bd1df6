// Role deletion, role saving and the repair of the Admin role with each record
// operation failing in turn: the result, the raised checks, which of the
// role's rows are in the store, and the role list against a fresh Init. Each
// operation stops where it fails and undoes nothing.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>

namespace {

using namespace PMFault;

char const kRaised[] = "rcode == PM_OK";

// A role's lines of a rendering: "role 3 ..." and "masks of 3: ...".
std::string RoleLines(std::string const& text, int role) {
    return Only(text, "role " + std::to_string(role) + " ") +
           Only(text, "masks of " + std::to_string(role) + ":");
}

std::string OtherLines(std::string const& text, int role) {
    return Missing(text, RoleLines(text, role));
}

// A role's rows of the store: its record, and its masks by entitlement.
std::string RoleRecord(int role) {
    return Only(StoreRows("roles"), "roles: " + std::to_string(role) + "|");
}

std::map<int, std::string> MaskRows(int role) {
    std::map<int, std::string> rows;
    for (std::string const& line :
         Lines(Only(StoreRows("role_actions"), "role_actions: " + std::to_string(role) + "|"))) {
        rows[std::stoi(line.substr(line.find('|') + 1))] = line;
    }
    return rows;
}

std::string Join(std::map<int, std::string> const& rows) {
    std::string text;
    for (auto const& row : rows) {
        text += row.second + "\n";
    }
    return text;
}

class RolesFaultTest : public SavedCompanyTest {};

// Assignments go first, then masks, then the role record, then the role
// list: a failure leaves the earlier deletes done, the later ones not, and
// the role in the list.
TEST_F(RolesFaultTest, DeleteRoleStopsAtTheFailedDelete) {
    int const clerk = 2;
    Fresh();
    std::string const rows = StoreRows();
    ASSERT_NE("", Only(rows, "user_roles: 3|2"));
    std::pair<char const*, std::string> const deletes[] = {
        {"DMUSRUserRole::DeleteByRoleId",
         Only(rows, "user_roles: 2|2") + Only(rows, "user_roles: 3|2")},
        {"DMUSRRoleAction::Delete", Only(rows, "role_actions: 2|")},
        {"DMUSRRole::Delete", Only(rows, "roles: 2|")},
    };

    FaultLoop loop = LoopOnFreshCopies("DeleteRole", [&] { return Manager().DeleteRole(clerk); });
    loop.check = [&](FaultRun const& run) {
        EXPECT_EQ(run.fired ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ(run.raised, std::vector<std::string>());
        // The rows of each delete up to the failed one are gone, in that order.
        std::string expected = rows;
        bool done = true;
        for (auto const& [operation, gone] : deletes) {
            done = done && run.Done(operation) == 1;
            expected = done ? Missing(expected, gone) : expected;
        }
        EXPECT_EQ(Lines(expected), Lines(StoreRows()));
        std::unique_ptr<PM::RoleDef> cached(Manager().GetRoleDef(clerk));
        EXPECT_EQ(run.result != PM_OK, cached != nullptr);
        ExpectCachesAsAFreshInitLoads();
    };
    EXPECT_EQ(3, RunFaultLoop(loop));
}

// A new role: its record, then a mask for every catalogue entitlement, then
// the slave of master 9, then the role list. A failed record add or mask add
// is raised; only a refused record add stops the operation there. A failed
// slave write stops it with the role in the store and not in the list, so
// that the next new role is given the same id.
TEST_F(RolesFaultTest, ANewRoleStopsWhereItFails) {
    int const id = 3;
    auto save = [] {
        PM::RoleDef role;
        role.SetName("Auditor");
        role.SetDescription("Reads the books");
        role.SetCategory(0);
        std::vector<PM::EntitlementDef> grants = Grants({{1, 5}, {9, 3}, {7, 1}, {42, 63}});
        return Manager().SetRoleEntitlements(role, grants);
    };
    Fresh();
    std::string const before = StoreRows();
    ASSERT_EQ(id, save());
    std::string const record = RoleRecord(id);
    std::map<int, std::string> const masks = MaskRows(id);
    ASSERT_EQ(29u, masks.size());
    ASSERT_EQ("role_actions: 3|15|3", masks.at(15)) << "the slave of 9";

    for (bool accept : {false, true}) {
        FaultLoop loop = LoopOnFreshCopies(std::string("SetRoleEntitlements, new role") +
                                               (accept ? ", checks accepted" : ""),
                                           save, accept);
        loop.check = [&](FaultRun const& run) {
            // Every mask add belongs to the catalogue pass; the slave write is
            // an update, as the pass has written the slave's mask when the
            // fault comes after it.
            bool const recordAdd = run.Hit("DMUSRRole::Add");
            bool const slaveWrite = run.Hit("DMUSRRoleAction::Update");
            bool const stopped = (recordAdd && !accept) || slaveWrite;
            EXPECT_EQ(stopped ? PM_ERROR : id, run.result);
            EXPECT_EQ(recordAdd || run.Hit("DMUSRRoleAction::Add")
                          ? std::vector<std::string>{kRaised}
                          : std::vector<std::string>(),
                      run.raised);

            // The record as its add went; one mask row for each add that went
            // through, each the one a clean save writes, but for the slave,
            // which keeps the catalogue pass's 0 when its own write failed;
            // nothing else touched.
            bool const stored = run.Done("DMUSRRole::Add") == 1;
            EXPECT_EQ(stored ? record : "", RoleRecord(id));
            std::map<int, std::string> const written = MaskRows(id);
            EXPECT_EQ(run.Done("DMUSRRoleAction::Add"), static_cast<long>(written.size()));
            std::map<int, std::string> expected = masks;
            if (slaveWrite) {
                expected[15] = "role_actions: 3|15|0";
            }
            EXPECT_EQ("", Missing(Join(written), Join(expected)));
            EXPECT_EQ(before, Without(StoreRows(), {"roles: 3|", "role_actions: 3|"}));

            bool const listed = run.result == id;
            std::unique_ptr<PM::RoleDef> cached(Manager().GetRoleDef(id));
            EXPECT_EQ(listed, cached != nullptr);
            if (stored && !listed && !accept) {
                // The list does not know the stored role, so the next new
                // role is given its id, and that record's add collides.
                PM::RoleDef next;
                next.SetName("Second");
                std::vector<PM::EntitlementDef> none;
                EXPECT_EQ(PM_ERROR, Manager().SetRoleEntitlements(next, none));
                EXPECT_EQ(id, next.GetId());
                EXPECT_EQ(record, RoleRecord(id));
            }
            AgainstFreshInit both = RenderAgainstFreshInit();
            EXPECT_EQ(OtherLines(both.fresh, id), OtherLines(both.current, id));
            EXPECT_EQ(listed, RoleLines(both.current, id) != "");
            EXPECT_EQ(stored, RoleLines(both.fresh, id) != "");
            if (listed && stored) {
                EXPECT_EQ(RoleLines(both.fresh, id), RoleLines(both.current, id));
            }
        };
        EXPECT_GT(RunFaultLoop(loop), 31); // the record, 29 masks, the slave, reads
    }
}

// An existing role: its record removed and added again, then each handed-in
// mask updated in order (a missing one is added), then the slave of master 9,
// then the list. A failed update falls back to adding mask 0: on an
// entitlement that had a mask the add collides and the save stops; on one
// that had none it leaves mask 0 and the save goes on and succeeds.
TEST_F(RolesFaultTest, AnExistingRoleStopsWhereItFails) {
    int const clerk = 2;
    std::vector<int> const order = {1, 9, 5, 12, 15}; // 12 has no mask yet; 15 is 9's slave
    auto save = [] {
        PM::RoleDef role;
        role.SetId(2);
        role.SetName("Clerk II");
        role.SetDescription("Edited");
        role.SetCategory(0);
        std::vector<PM::EntitlementDef> grants = Grants({{1, 63}, {9, 0}, {5, 1}, {12, 7}});
        return Manager().SetRoleEntitlements(role, grants);
    };
    Fresh();
    std::string const oldRecord = RoleRecord(clerk);
    std::map<int, std::string> oldMasks = MaskRows(clerk);
    std::string const others = Without(StoreRows(), {"roles: 2|", "role_actions: 2|"});
    ASSERT_EQ(0u, oldMasks.count(12));
    ASSERT_EQ(clerk, save());
    std::string const newRecord = RoleRecord(clerk);
    std::map<int, std::string> const newMasks = MaskRows(clerk);
    ASSERT_EQ("role_actions: 2|15|0", newMasks.at(15));

    for (bool accept : {false, true}) {
        FaultLoop loop = LoopOnFreshCopies(std::string("SetRoleEntitlements, existing role") +
                                               (accept ? ", checks accepted" : ""),
                                           save, accept);
        loop.check = [&](FaultRun const& run) {
            bool const recordDelete = run.Hit("DMUSRRole::Delete");
            bool const recordAdd = run.Hit("DMUSRRole::Add");
            // With the record still there after a failed delete, its add collides.
            std::size_t const raised = (recordDelete || recordAdd) + (recordDelete && accept);
            EXPECT_EQ(std::vector<std::string>(raised, kRaised), run.raised);

            // Which mask write failed, in write order: an update, or the add
            // that the update of 12 makes, having found no mask.
            int failed = -1;
            if (run.Hit("DMUSRRoleAction::Update")) {
                failed = static_cast<int>(run.ordinal) - 1;
            } else if (run.Hit("DMUSRRoleAction::Add")) {
                failed = 3;
            }
            bool stopped = (recordDelete || recordAdd) && !accept;
            std::map<int, std::string> expected = oldMasks;
            for (int i = 0; i < static_cast<int>(order.size()) && !stopped; ++i) {
                int const e = order[i];
                if (i != failed) {
                    expected[e] = newMasks.at(e);
                } else if (oldMasks.count(e) == 0) {
                    expected[e] = "role_actions: 2|" + std::to_string(e) + "|0";
                } else {
                    stopped = true;
                }
            }
            EXPECT_EQ(stopped ? PM_ERROR : clerk, run.result);
            EXPECT_EQ(Join(expected), Join(MaskRows(clerk)));
            EXPECT_EQ(recordDelete ? oldRecord : recordAdd ? "" : newRecord, RoleRecord(clerk));
            EXPECT_EQ(others, Without(StoreRows(), {"roles: 2|", "role_actions: 2|"}));

            // The list takes the new name only when the save succeeded.
            std::unique_ptr<PM::RoleDef> cached(Manager().GetRoleDef(clerk));
            ASSERT_NE(nullptr, cached);
            EXPECT_STREQ(run.result == clerk ? "Clerk II" : "Clerk", cached->GetName().c_str());
            AgainstFreshInit both = RenderAgainstFreshInit();
            EXPECT_EQ(OtherLines(both.fresh, clerk), OtherLines(both.current, clerk));
            std::string const freshMasks = Only(both.fresh, "masks of 2:");
            EXPECT_EQ(recordAdd, freshMasks == "") << "the role vanishes with its record";
            if (freshMasks != "") {
                EXPECT_EQ(freshMasks, Only(both.current, "masks of 2:"));
            }
        };
        EXPECT_GT(RunFaultLoop(loop), 30);
    }
}

// The repair of the Admin role. The role is short on three entitlements: two
// with a mask below 63 and one with no mask at all; a disabled one at 0 is
// exempt. A failed write is logged and the repair goes on with the next; a
// failed read makes that entitlement look short, and the repair writes 63
// there too.
class VerificationFaultTest : public SavedCompanyTest {
protected:
    void Prepare() override {
        Execute("UPDATE role_actions SET action_type = 5 WHERE role_id = 0 AND entitlement_id = 1");
        Execute("UPDATE role_actions SET action_type = 1 WHERE role_id = 0 AND entitlement_id = 7");
        Execute(
            "UPDATE role_actions SET action_type = 0 WHERE role_id = 0 AND entitlement_id = 10");
        Execute("DELETE FROM role_actions WHERE role_id = 0 AND entitlement_id = 12");
    }
};

TEST_F(VerificationFaultTest, VerifyAdminRoleAccessRepairsAllButTheFailedWrite) {
    // The order of the walk, the names, and which entitlements are enabled.
    Fresh();
    std::unique_ptr<std::vector<PM::EntitlementDef>> list(Manager().GetEntitlements(0, -1, false));
    ASSERT_NE(nullptr, list);
    std::string const before = StoreRows();
    std::set<int> const shortIds = {1, 7, 12};

    FaultLoop loop = LoopOnFreshCopies("VerifyAdminRoleAccess(true)", [] {
        return Manager().VerifyAdminRoleAccess(true) ? 1 : 0;
    });
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
        std::string expected = before;
        long update = 0;
        for (PM::EntitlementDef const& entry : *list) {
            int const id = entry.GetId();
            if (!entry.IsEnabled() || (shortIds.count(id) == 0 && id != unread)) {
                continue;
            }
            bool const failed = run.Hit("DMUSRRoleAction::Update", ++update) ||
                                (id == 12 && run.Hit("DMUSRRoleAction::Add", 1));
            std::string const name = entry.GetName().c_str();
            if (failed && id != 12) {
                expectedLog += "Permissions:  ERROR, failed to correct admin's access for "
                               "entitlement:  " +
                               name + "\n";
                continue;
            }
            if (!failed) {
                expectedLog +=
                    "Permissions:  Corrected admin entitlement permissions on " + name + "\n";
            }
            std::string const prefix = "role_actions: 0|" + std::to_string(id) + "|";
            expected = Without(expected, {prefix.c_str()}) + prefix + "63\n";
        }
        std::string log;
        for (std::string const& line : run.logged) {
            log += line + "\n";
        }
        EXPECT_EQ(expectedLog, log);
        EXPECT_EQ(Lines(expected), Lines(StoreRows()));
        ExpectCachesAsAFreshInitLoads();
    };
    EXPECT_GT(RunFaultLoop(loop), 30);
}

} // namespace
