// SetRoleEntitlements with each record operation failing in turn, for a new
// role and for an existing one, under a refusing and an accepting check
// handler: the result, the raised checks, the role's record and masks in the
// store, and the role list against a fresh Init. The operation stops where it
// fails and undoes nothing.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace {

using namespace PMFault;

char const kRaised[] = "rcode == PM_OK";

class RoleSavingFaultTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoadCatalogue(kSmallCatalogue);
        OpenDefaultCompany();
        company.Take();
    }
    void Fresh() {
        company.Restore();
        NewManager();
        ASSERT_EQ(PM_OK, Manager().Init());
    }
    Snapshot company;
};

// A role's lines of a rendering: "role 3 ..." and "masks of 3: ...".
std::string RoleLines(std::string const& text, int role) {
    return Only(text, "role " + std::to_string(role) + " ") +
           Only(text, "masks of " + std::to_string(role) + ":");
}

std::string OtherLines(std::string const& text, int role) {
    return Missing(text, RoleLines(text, role));
}

// A role's rows of the store: its record and its masks.
std::string RoleRecord(int role) {
    return Only(StoreRows("roles"), "roles: " + std::to_string(role) + "|");
}

std::map<int, std::string> MaskRows(int role) {
    std::map<int, std::string> rows;
    for (std::string const& line :
         Lines(Only(StoreRows("role_actions"), "role_actions: " + std::to_string(role) + "|"))) {
        std::string::size_type first = line.find('|');
        rows[std::stoi(line.substr(first + 1))] = line;
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

std::vector<PM::EntitlementDef> Grants(std::vector<std::pair<int, int>> const& rows) {
    std::vector<PM::EntitlementDef> list;
    for (auto const& row : rows) {
        PM::EntitlementDef def;
        def.SetId(row.first);
        def.SetAction(row.second);
        list.push_back(def);
    }
    return list;
}

// A new role: its record, then a mask for every catalogue entitlement, then
// the slave of master 9, then the role list. A failed record add or mask add
// is raised; only a refused record add stops the operation there. A failed
// slave write stops it with the role in the store and not in the list, so
// that the next new role is given the same id.
TEST_F(RoleSavingFaultTest, ANewRoleStopsWhereItFails) {
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
        FaultLoop loop;
        loop.name =
            std::string("SetRoleEntitlements, new role") + (accept ? ", checks accepted" : "");
        loop.acceptChecks = accept;
        loop.setUp = [&] { Fresh(); };
        loop.operation = save;
        loop.check = [&](FaultRun const& run) {
            // Every mask add belongs to the catalogue pass; the slave write is
            // an update, as the pass has written the slave's mask when the
            // fault comes after it.
            bool const recordAdd = run.Hit("DMUSRRole::Add");
            bool const slaveWrite = run.Hit("DMUSRRoleAction::Update");
            bool const maskAdd = run.Hit("DMUSRRoleAction::Add");
            bool const stopped = (recordAdd && !accept) || slaveWrite;
            EXPECT_EQ(stopped ? PM_ERROR : id, run.result);
            EXPECT_EQ(recordAdd || maskAdd ? std::vector<std::string>{kRaised}
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
TEST_F(RoleSavingFaultTest, AnExistingRoleStopsWhereItFails) {
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
        FaultLoop loop;
        loop.name =
            std::string("SetRoleEntitlements, existing role") + (accept ? ", checks accepted" : "");
        loop.acceptChecks = accept;
        loop.setUp = [&] { Fresh(); };
        loop.operation = save;
        loop.check = [&](FaultRun const& run) {
            bool const recordDelete = run.Hit("DMUSRRole::Delete");
            bool const recordAdd = run.Hit("DMUSRRole::Add");
            std::vector<std::string> raised;
            if (recordDelete || recordAdd) {
                raised.push_back(kRaised);
            }
            if (recordDelete && accept) {
                raised.push_back(kRaised); // the record is still there: its add collides
            }
            EXPECT_EQ(raised, run.raised);

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

} // namespace
