// The upgrade at Init of a file made from the previous shipped catalogue,
// opened with the current one, with each record operation failing in turn.
// The merge walks the ids upward and undoes nothing, so a failed upgrade
// leaves the ids below the failure merged and those above it as they were;
// and once the version record (id 0, first) is rewritten, no later Init
// merges again.
#include "support/FaultLoop.h"

#include <host/records/CompanyFile.h>

#include <sqlite3.h>

#include <set>
#include <sstream>

namespace {

using namespace PMTest;
using UpgradeFaultTest = FaultLoopTest;

// Each entitlement id with its row and every role's mask on it.
using MergeState = std::map<long, std::string>;

MergeState ReadMergeState() {
    std::istringstream rows(QueryRows(
        "SELECT id, (SELECT category_type || ',' || attributes_id || ',' || is_visible || ',' || "
        "is_enabled || ',' || name FROM entitlements WHERE entitlement_id = id), (SELECT "
        "group_concat(role_id || '=' || action_type, ' ') FROM role_actions WHERE entitlement_id "
        "= id) FROM (SELECT entitlement_id AS id FROM entitlements UNION SELECT entitlement_id "
        "FROM role_actions)"));
    MergeState state;
    for (std::string line; std::getline(rows, line);) {
        state[std::stol(line)] = line;
    }
    return state;
}

// The ids, upward, whose rows or masks differ between a and b.
std::vector<long> Differ(MergeState const& a, MergeState const& b) {
    std::set<long> ids;
    for (MergeState const* state : {&a, &b}) {
        for (auto const& row : *state) {
            ids.insert(row.first);
        }
    }
    std::vector<long> found;
    for (long id : ids) {
        if ((a.count(id) ? a.at(id) : "") != (b.count(id) ? b.at(id) : "")) {
            found.push_back(id);
        }
    }
    return found;
}

TEST_F(UpgradeFaultTest, AFailedMergeLeavesTheLowerIdsMergedAndTheHigherAsTheyWere) {
    Start(true, "catalogue-previous.json");
    Save();
    Start(false, "catalogue.json");
    Fresh(false);
    auto const people = [] {
        return QueryRows("SELECT * FROM roles") + QueryRows("SELECT * FROM user_roles");
    };
    MergeState const before = ReadMergeState();
    std::string const roles = people();
    ASSERT_EQ(PM_OK, Manager().Init());
    MergeState const after = ReadMergeState();
    std::string const loaded = Render(false);
    ASSERT_NE(before.at(0), after.at(0)) << "the version record must change";

    auto const check = [&](FaultRun const& run) {
        // Passed over: a read that ends a scan early, and the delete of a
        // dropped entitlement's masks, whose outcome nobody looks at.
        bool const quiet = run.HitRead() || run.Hit("RoleAction::DeleteByEntitlementId");
        EXPECT_TRUE(run.result == PM_ERROR || (run.result == PM_OK && (!run.fired || quiet)));
        // A stored list that cannot be read at all is reported, and refused.
        EXPECT_EQ(run.raised.empty() ? "" : "pDBEntitlementList.get() != NULL\n", run.raised);
        EXPECT_TRUE(run.raised.empty() || run.result == PM_ERROR);
        EXPECT_EQ(roles, people()) << "roles are not merged";
        // Below the first id not merged everything is; after a failure,
        // nothing above it is. A quiet failure costs at most that one id.
        MergeState const now = ReadMergeState();
        std::vector<long> const notMerged = Differ(now, after), changed = Differ(now, before);
        if (run.result == PM_OK) {
            EXPECT_LE(notMerged.size(), run.fired ? 1u : 0u) << "first " << notMerged.front();
        } else if (!notMerged.empty() && !changed.empty()) {
            EXPECT_LE(changed.back(), notMerged.front()) << "merged above the failure";
        }
        // A failed Init caches nothing.
        EXPECT_TRUE(run.result == PM_OK || (!Manager().IsInitialized() && Render() == kNoCaches));
        int const changes = sqlite3_total_changes(Host::CurrentCompanyFileHandle());
        Both const both =
            run.result == PM_OK ? ExpectAsFreshInit(run.HitRead(), false) : AgainstFreshInit(false);
        EXPECT_EQ(PM_OK, both.freshResult);
        // The next Init merges again only while the version record is old.
        if (!notMerged.empty() && notMerged.front() == 0) {
            EXPECT_EQ(std::vector<long>(), changed) << "merged before id 0";
            EXPECT_EQ(after, ReadMergeState());
            EXPECT_EQ(loaded, both.fresh);
        } else {
            EXPECT_EQ(changes, sqlite3_total_changes(Host::CurrentCompanyFileHandle()))
                << "an Init after the version record wrote";
        }
    };
    setUp = [this] { Fresh(false); };
    Loop(
        "Init upgrade", 1000, [] { return Manager().Init(); }, check);
}

} // namespace
