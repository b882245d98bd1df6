// Filling a company file with each record operation failing in turn:
// SetDefaultRoles on an empty file, and the upgrade at Init of a file made
// from the previous shipped catalogue, opened with the current one. Neither
// undoes a step: what went through stays, and nothing else is written.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include "support/CompanyFixture.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <set>

namespace {

using namespace PMFault;

// The caches, when a run's operation ended with the manager initialised: what
// a fresh Init loads, or part of it when a read of the load failed.
void ExpectCachesAgainstFreshInit(FaultRun const& run, AgainstFreshInit const& both) {
    if (run.fired && IsRead(run.operation)) {
        EXPECT_EQ("", Missing(Without(both.current, {"masks of "}), both.fresh));
    } else {
        EXPECT_EQ(both.fresh, both.current);
    }
}

// A failed write or a failed count ends the operation with PM_ERROR; a failed
// read while Init loads the lists ends that load, and the operation succeeds
// with what was read. Every add that reported success left its row, and
// nothing else is there: no step is undone and none is half done.
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
        EXPECT_TRUE(run.result == PM_ERROR ||
                    (run.result == PM_OK && (!run.fired || IsRead(run.operation))));
        EXPECT_EQ(run.raised, std::vector<std::string>());
        std::string const rows = StoreRows();
        EXPECT_EQ(RowCount("entitlements"), run.Done("DMUSREntitlement::Add"));
        EXPECT_EQ(RowCount("roles"), run.Done("DMUSRRole::Add"));
        EXPECT_EQ(RowCount("role_actions"), run.Done("DMUSRRoleAction::Add"));
        EXPECT_EQ(RowCount("user_roles"), run.Done("DMUSRUserRole::Add"));
        EXPECT_EQ("", Missing(rows, filled)) << "rows that a clean fill does not write";

        // Caches: none before Init has run through.
        bool const initialized = Manager().IsInitialized();
        if (!initialized) {
            EXPECT_EQ(nullptr, Manager().GetRoleCache());
            EXPECT_EQ(nullptr, Manager().GetEntitlementCache());
        }
        AgainstFreshInit both = RenderAgainstFreshInit();
        if (initialized) {
            ExpectCachesAgainstFreshInit(run, both);
        }
        if (run.result == PM_OK) {
            EXPECT_EQ(filled, rows);
            EXPECT_EQ(loaded, both.fresh);
        }

        // A second fill refuses a file that holds any entitlement, however
        // little of the first fill got through, and writes nothing.
        NewManager();
        bool const refused = run.Done("DMUSREntitlement::Add") > 0;
        EXPECT_EQ(refused ? PM_ERROR : PM_OK, Manager().SetDefaultRoles());
        EXPECT_EQ(refused ? rows : filled, StoreRows());
    };
    EXPECT_GT(RunFaultLoop(loop), 100);
}

// Each entitlement id with its row and its masks in all roles.
struct MergeState {
    std::map<long, std::string> rows;
    std::map<long, std::string> masks;

    static MergeState Read() {
        return {RowsByFirstColumn("SELECT entitlement_id, category_type, attributes_id, "
                                  "is_visible, is_enabled, name FROM entitlements"),
                RowsByFirstColumn("SELECT entitlement_id, group_concat(role_id || '=' || "
                                  "action_type, ' ') FROM (SELECT * FROM role_actions ORDER BY "
                                  "entitlement_id, role_id) GROUP BY entitlement_id")};
    }
    bool Same(MergeState const& other, long id) const {
        return Find(rows, id) == Find(other.rows, id) && Find(masks, id) == Find(other.masks, id);
    }
    static std::string Find(std::map<long, std::string> const& map, long id) {
        auto found = map.find(id);
        return found == map.end() ? "absent" : found->second;
    }
};

void LoadShipped(char const* name) {
    Host::CatalogueResult loaded = Host::LoadCatalogueFile(PMTest::CatalogueFile(name));
    ASSERT_TRUE(loaded.ok) << loaded.message;
}

// The merge walks the ids upward and undoes nothing, so a failed upgrade
// leaves the ids below the failure merged and those above it as they were;
// and once the version record (id 0, first) is rewritten, no later Init
// retries.
TEST(UpgradeFaultTest, AFailedMergeLeavesTheLowerIdsMergedAndTheHigherAsTheyWere) {
    LoadShipped("catalogue-previous.json");
    OpenDefaultCompany();
    Snapshot previous;
    previous.Take();
    LoadShipped("catalogue.json");

    MergeState const before = MergeState::Read();
    std::string const people = StoreRows("roles") + StoreRows("user_roles");
    NewManager();
    ASSERT_EQ(PM_OK, Manager().Init());
    MergeState const after = MergeState::Read();
    std::string const loaded = RenderManager(false);
    ASSERT_NE(before.rows.at(0), after.rows.at(0)) << "the version record must change";

    // The merge's order: every id of either list, upward.
    std::set<long> order;
    for (auto const* state : {&before, &after}) {
        for (auto const& row : state->rows) {
            order.insert(row.first);
        }
    }

    FaultLoop loop;
    loop.name = "Init upgrade";
    loop.setUp = [&] {
        previous.Restore();
        NewManager();
    };
    loop.operation = [] { return Manager().Init(); };
    loop.check = [&](FaultRun const& run) {
        // Two failures let the upgrade go on: a read that ends a scan early,
        // and the delete of a dropped entitlement's masks, whose outcome
        // nobody looks at.
        bool const quiet = run.fired && (IsRead(run.operation) ||
                                         run.operation == "DMUSRRoleAction::DeleteByEntitlementId");
        EXPECT_TRUE(run.result == PM_ERROR || (run.result == PM_OK && (!run.fired || quiet)));
        // A stored list that cannot be read at all is reported, and refused.
        if (!run.raised.empty()) {
            EXPECT_EQ(run.raised, std::vector<std::string>{"pDBEntitlementList.get() != NULL"});
            EXPECT_EQ(PM_ERROR, run.result);
        }
        EXPECT_EQ(people, StoreRows("roles") + StoreRows("user_roles")) << "roles are not merged";

        // Below the first id that is not merged everything is; above it,
        // after a failure, nothing is. A quiet failure costs at most that one
        // id: a role scan that ended early leaves the new entitlement without
        // the later roles' masks, a scan of the stored list that ended early
        // leaves the last id undeleted, a failed delete of masks leaves the
        // dropped entitlement's masks behind.
        MergeState const now = MergeState::Read();
        std::vector<long> notMerged;
        for (long id : order) {
            if (!now.Same(after, id)) {
                notMerged.push_back(id);
            }
        }
        if (run.result == PM_OK) {
            EXPECT_LE(notMerged.size(), run.fired ? 1u : 0u) << "first: " << notMerged.front();
        } else if (!notMerged.empty()) {
            for (auto id = order.upper_bound(notMerged[0]); id != order.end(); ++id) {
                EXPECT_TRUE(now.Same(before, *id)) << "id " << *id << " above " << notMerged[0];
            }
        }

        // A failed Init caches nothing.
        if (run.result != PM_OK) {
            EXPECT_FALSE(Manager().IsInitialized());
            EXPECT_EQ(nullptr, Manager().GetRoleCache());
            EXPECT_EQ(nullptr, Manager().GetEntitlementCache());
        }
        int const changesBefore = sqlite3_total_changes(Host::CurrentCompanyFileHandle());
        AgainstFreshInit both = RenderAgainstFreshInit(false);
        int const changes = sqlite3_total_changes(Host::CurrentCompanyFileHandle()) - changesBefore;
        EXPECT_EQ(PM_OK, both.freshResult);
        if (run.result == PM_OK) {
            ExpectCachesAgainstFreshInit(run, both);
        }

        // That next Init merges again only while the version record is old;
        // after that the file stays as the failure left it.
        if (!now.Same(after, 0)) {
            for (long id : order) {
                EXPECT_TRUE(now.Same(before, id)) << "id " << id << " merged before id 0";
            }
            MergeState const next = MergeState::Read();
            EXPECT_EQ(after.rows, next.rows);
            EXPECT_EQ(after.masks, next.masks);
            EXPECT_EQ(loaded, both.fresh);
        } else {
            EXPECT_EQ(0, changes) << "an Init after the version record wrote";
        }
    };
    EXPECT_GT(RunFaultLoop(loop), 1000);
}

// catalogue-previous.json once held 100016 but no 100015. The entitlement
// scan leaves the band from 100000 at its first hole and then counts upward
// from 300000 until it has delivered as many rows as the table holds, which
// it never did: Init on a file made from that catalogue did not return. A
// persistent failure of entitlement loads after ten times the rows turns such
// a scan into a failure of this test rather than a hang.
TEST(UpgradeFaultTest, AFileOfThePreviousCatalogueLoadsWhole) {
    LoadShipped("catalogue-previous.json");
    OpenEmptyCompany();
    Host::FaultPlan& plan = Host::FaultPlan::Get();
    plan.ResetCounts();
    {
        Host::ScopedFault bound("DMUSREntitlement::Load", 2000, Host::FaultPlan::kFail, true);
        EXPECT_EQ(PM_OK, Manager().SetDefaultRoles());
    }
    EXPECT_FALSE(plan.Fired()) << "the scan did not end by itself";
    EXPECT_EQ(197, RowCount("entitlements"));
    EXPECT_EQ(197u, Manager().GetEntitlementCache()->size());
    EXPECT_EQ(100016, Manager().FindEntitlementDefById(100016).GetId());
}

} // namespace
