// The import from the definition catalogue: the entitlement lists from the
// catalogue and from the table, and the default roles with their masks.
#include <support/StoreTesting.h>
#include <support/VerifyProbe.h>

#include <host/catalogue/Catalogue.h>

#include <tuple>

namespace {

using Host::FaultPlan;
using PMTest::Masks;
using PMTest::Query;

// A grants 17 (types 0, 2, 5) on 1 and 2 and 46 (types 1, 3, 4, 6, 7, 8) on 3,
// B a mask of 0. A is private, B invisible: the two role paths read different
// flags. C has no grant.
char const kRoles[] =
    R"({"id": "A", "name": "A", "description": "All of A", "private": true, "grants": [{"actions": [0, 2, 5],
        "features": ["1", "2"]}, {"actions": [1, 3, 4, 6, 7, 8], "features": ["3"]}]},
       {"id": "B", "name": "B", "visible": false, "grants": [{"actions": [], "features": ["1"]}]},
       {"id": "base_role", "name": "Lower", "grants": [{"actions": [0], "features": ["1"]}]},
       {"id": "C", "name": "C"})";
char const kFeatures[] = "V1/4, 1 A1, 2 A2, 3 A3";
char const kRoleRows[] = "SELECT role_id, name || description, is_visible FROM roles ORDER BY 1";

class CatalogueImportTest : public PMTest::StoreFixture {};

// The shipped catalogue in an empty file: its version record, and per role
// how many masks it has and how many of them are full.
TEST_F(CatalogueImportTest, ShippedCatalogueFillsAnEmptyFile) {
    ASSERT_TRUE(Host::LoadCatalogueFile(PM_CATALOGUE_DIR "/catalogue.json").ok);
    EXPECT_EQ(store.URPSSetDefaultEntitlements() + store.URPSSetDefaultRoles(), PM_OK);
    EXPECT_EQ(Query("SELECT name FROM entitlements WHERE entitlement_id = 0; SELECT r.role_id, "
                    "r.name, r.is_visible, count(*), sum(a.action_type = 63) FROM roles r JOIN "
                    "role_actions a USING (role_id) GROUP BY 1 ORDER BY 1"),
              "PermissionData-27-216; 0|Admin|1|232|232; 1|Bookkeeper|1|191|129; "
              "2|External Accountant|1|212|111; 3|Payroll Manager|1|34|31; 4|Sales|1|58|40; "
              "5|Purchasing|1|49|24; 6|View Only|1|185|1; 7|Payroll Clerk|1|20|12");
}

TEST_F(CatalogueImportTest, FeaturesMapToEntitlementsAndTheVersionName) {
    LoadInline(PMTest::Features("V31/240") +
               R"(, {"id": "1", "name": "Six", "parameters": ["100000", "6"]}, {"id": "2",
                   "name": "Seven", "enabled": false, "parameters": ["100001", "7", "extra"]})");
    char const kList[] = "0|V-31-240|-1|0|0|0; 1|Six|100000|6|0|1; 2|Seven|100001|7|1|0";
    EXPECT_EQ(PMTest::Render(store.URPSGetEntitlementListFromADR()), kList);
    EXPECT_EQ(store.URPSSetDefaultEntitlements(), PM_OK);
    EXPECT_EQ(PMTest::Render(store.URPSGetEntitlementListFromTable()), kList);
    // Only an empty table is filled.
    EXPECT_EQ(store.URPSSetDefaultEntitlements(), PM_ERROR);
}

// Ids count from 0 in the flavor's order; "BASE_ROLE", in any case and at any
// place, takes none. A failed write stops there, keeping what was written.
TEST_F(CatalogueImportTest, DefaultRolesTakeIdsInFlavorOrder) {
    char const kBoth[] = "0|AAll of A|1; 1|B|0 A{1:17,2:17,3:46}; B{1:0}";
    // The flavor's defaults, a record operation that fails at its second call,
    // the result, then the roles and their masks.
    std::tuple<char const*, char const*, int, char const*> const cases[] = {
        {R"("BASE_ROLE", "A", "B")", nullptr, PM_OK, kBoth},
        {R"("A", "base_role", "B")", nullptr, PM_OK, kBoth},
        {"", nullptr, PM_ERROR, " "},
        {R"("A", "B")", "DMUSRRoleAction::Add", PM_ERROR, "0|AAll of A|1 A{1:17}"},
    };
    for (auto const& [defaults, fault, result, after] : cases) {
        SCOPED_TRACE(defaults);
        Reopen();
        LoadInline(PMTest::Features(kFeatures), kRoles, defaults);
        if (fault != nullptr) {
            FaultPlan::Get().Arm(fault, 2);
        }
        EXPECT_EQ(PM::URPStore().URPSSetDefaultRoles(), result);
        FaultPlan::Get().Disarm();
        EXPECT_EQ(Query(kRoleRows) + " " + Masks("1, 2, 3"), after);
    }
}

// Visible is the negation of the private flag here. A role without grants is
// reported and otherwise accepted.
TEST_F(CatalogueImportTest, SingleDefaultRoleOnRequest) {
    LoadInline(PMTest::Features(kFeatures), kRoles);
    PMTest::VerifyProbe probe(true);
    EXPECT_EQ(store.URPSSetSingleDefaultRole("A", 4) + store.URPSSetSingleDefaultRole("B", 5) +
                  store.URPSSetSingleDefaultRole("C", 6),
              PM_OK);
    EXPECT_EQ(store.URPSSetSingleDefaultRole("NONE", 7), PM_ERROR);
    EXPECT_EQ(probe.Expressions(),
              (std::vector<std::string>{"entitlements.size() > 0", "pRole != NULL"}));
    EXPECT_EQ(Query(kRoleRows) + " " + Masks("1, 2, 3"),
              "4|AAll of A|0; 5|B|1; 6|C|1 A{1:17,2:17,3:46}; B{1:0}; C{}");
}

// Dynamic entitlements are left out unless one is the first record; a failed
// first read gives null.
TEST_F(CatalogueImportTest, TableListLeavesOutDynamicEntitlements) {
    // The ids stored, a record operation that fails, the list.
    std::tuple<std::vector<int>, char const*, char const*> const cases[] = {
        {{}, nullptr, ""},
        {{1, 2, 300000, 300001}, nullptr, "1||-1|0|1|1; 2||-1|0|1|1"},
        {{300000, 300001}, nullptr, "300000||-1|0|1|1"},
        {{1, 2}, "DMUSREntitlement::Load", "null"},
    };
    for (auto const& [ids, fault, listed] : cases) {
        SCOPED_TRACE(listed);
        Reopen();
        for (int id : ids) {
            AddEntitlement(id);
        }
        if (fault != nullptr) {
            FaultPlan::Get().Arm(fault, 1);
        }
        EXPECT_EQ(PMTest::Render(PM::URPStore().URPSGetEntitlementListFromTable()), listed);
    }
}

} // namespace
