// The import from the definition catalogue: the entitlement lists from the
// catalogue and from the table, the fill of an empty table, and the default
// roles with their masks.
#include "CatalogueStoreFixture.h"

#include <support/CompanyFixture.h>
#include <support/VerifyProbe.h>

using Host::FaultPlan;
using PMTest::Entitlements;
using PMTest::Masks;
using PMTest::Query;
using PMTest::Render;

namespace {

// A grants 17 (types 0, 2, 5) on 1 and 2 and 46 (types 1, 3, 4, 6, 7, 8) on 3,
// B a mask of 0. A is private, B invisible: the two role paths read different
// flags. C has no grant, D a grant without features.
char const kRoles[] =
    R"({"id": "A", "name": "A", "description": "All of A", "private": true, "grants": [{"actions": [0, 2, 5],
        "features": ["1", "2"]}, {"actions": [1, 3, 4, 6, 7, 8], "features": ["3"]}]},
       {"id": "B", "name": "B", "visible": false, "grants": [{"actions": [], "features": ["1"]}]},
       {"id": "base_role", "name": "Lower", "grants": [{"actions": [0], "features": ["1"]}]},
       {"id": "C", "name": "C"},
       {"id": "D", "name": "D", "grants": [{"actions": [0], "features": []}]})";
char const kFeatures[] = "V1/4, 1 A1, 2 A2, 3 A3";
char const kRoleRows[] = "SELECT role_id, name || description, is_visible FROM roles ORDER BY 1";

class CatalogueImportTest : public PMTest::CatalogueStoreFixture {};

} // namespace

// The shipped catalogue imported into an empty file, its application roles
// after the defaults, against the ids and facts the library relies on.
TEST_F(CatalogueImportTest, ShippedCatalogueFillsAnEmptyFileAndKeepsItsFixedPoints) {
    ASSERT_TRUE(Host::LoadCatalogueFile(PMTest::CatalogueFile("catalogue.json")).ok);
    EXPECT_EQ(store.URPSSetDefaultEntitlements(), PM_OK);
    EXPECT_EQ(store.URPSSetDefaultRoles(), PM_OK);
    EXPECT_EQ(store.URPSSetSingleDefaultRole("ORVANE_APP", 8), PM_OK);
    EXPECT_EQ(store.URPSSetSingleDefaultRole("TIME_CLOCK_APP", 9), PM_OK);
    // The band from 0 and the categories from 100000, each without a gap.
    EXPECT_EQ(Query("SELECT count(*), min(entitlement_id), max(entitlement_id) FROM entitlements "
                    "GROUP BY entitlement_id >= 100000 ORDER BY 2"),
              "216|0|215; 16|100000|100015");
    EXPECT_EQ(Query("SELECT name, category_type, attributes_id, is_visible, is_enabled "
                    "FROM entitlements WHERE entitlement_id = 0"),
              "PermissionData-27-216|-1|0|0|0");
    // Rows outside the tree (root, categories under it, the rest under a
    // category) and names that repeat in another case.
    EXPECT_EQ(Query("SELECT count(*) FROM entitlements WHERE NOT (entitlement_id = 0 OR "
                    "category_type = (CASE WHEN entitlement_id = 100000 THEN -1 WHEN entitlement_id"
                    " > 100000 THEN 100000 END) OR (entitlement_id < 100000 AND category_type IN "
                    "(SELECT entitlement_id FROM entitlements WHERE entitlement_id > 100000)))") +
                  " " + Query("SELECT count(*) - count(DISTINCT lower(name)) FROM entitlements"),
              "0 0");
    // The slave table, the tracked ids, 180, 185 and 100012: all present, enabled
    // and with attribute bit 1; and a slave's mask follows its master's.
    std::string const fixed =
        "WITH p(m, s) AS (VALUES (132, 68), (132, 70), (132, 71), (117, 26), (118, 104), "
        "(118, 107), (9, 15), (109, 34), (109, 31), (110, 33), (110, 35), (111, 41), (111, 76), "
        "(111, 75), (112, 36), (112, 37), (112, 42), (113, 39), (113, 40), (113, 32), (160, 167), "
        "(161, 168), (28, 58), (20, 30)), ids(id) AS (SELECT m FROM p UNION SELECT s FROM p "
        "UNION VALUES (111), (112), (113), (180), (185), (100012)) ";
    auto mask = [](char const* id) {
        return std::string("coalesce((SELECT action_type FROM role_actions a WHERE a.role_id = "
                           "r.role_id AND a.entitlement_id = ") +
               id + "), -1)";
    };
    EXPECT_EQ(Query(fixed + "SELECT count(*) FROM entitlements WHERE is_enabled = 1 AND "
                            "attributes_id % 2 = 1 AND entitlement_id IN ids") +
                  " " +
                  Query(fixed + "SELECT count(*) FROM roles r, p WHERE " + mask("p.m") +
                        " != " + mask("p.s")),
              "40 0");
    EXPECT_EQ(Query("SELECT entitlement_id, name, category_type FROM entitlements WHERE name IN "
                    "('Bank Registers', 'Find All Transactions', 'Accountant & Taxes Detail', "
                    "'Company & Financial Detail', 'Custom Transaction Detail', 'Accountant & "
                    "Taxes', 'Company & Financial', 'Custom Transaction') OR entitlement_id = "
                    "100012 ORDER BY 1"),
              "54|Find All Transactions|100008; 81|Bank Registers|100012; 114|Accountant & "
              "Taxes|100009; 115|Accountant & Taxes Detail|100009; 116|Company & Financial|100009; "
              "119|Company & Financial Detail|100009; 120|Custom Transaction|100009; 121|Custom "
              "Transaction Detail|100009; 100012|Bank Accounts|100000");
    // Per role: id, name, visible, masks, full masks; then what External
    // Accountant lacks of 63 on the bank category and its children.
    EXPECT_EQ(Query("SELECT r.role_id, r.name, r.is_visible, count(*), sum(a.action_type = 63) "
                    "FROM roles r JOIN role_actions a USING (role_id) GROUP BY 1 ORDER BY 1"),
              "0|Admin|1|232|232; 1|Bookkeeper|1|191|129; 2|External Accountant|1|212|111; "
              "3|Payroll Manager|1|34|31; 4|Sales|1|58|40; 5|Purchasing|1|49|24; "
              "6|View Only|1|185|1; 7|Payroll Clerk|1|20|12; 8|OrvaneApp|0|10|2; "
              "9|Time Clock App|0|8|1");
    EXPECT_EQ(Query("SELECT count(*) FROM entitlements e WHERE 100012 IN (e.entitlement_id, "
                    "e.category_type) AND 63 != coalesce((SELECT action_type FROM role_actions "
                    "WHERE role_id = 2 AND entitlement_id = e.entitlement_id), 0)") +
                  " " +
                  Query("SELECT count(*) FROM role_actions WHERE entitlement_id NOT IN "
                        "(SELECT entitlement_id FROM entitlements)"),
              "0 0");
    // The tracked ids each role holds, and 180 and 185.
    EXPECT_EQ(Masks("109, 110, 111, 112, 113"),
              "Admin{109:63,110:63,111:63,112:63,113:63}; Bookkeeper{109:1,110:63,112:17}; "
              "External Accountant{109:63,110:63,111:63,112:63,113:63}; "
              "Payroll Manager{109:63,110:63,111:63,112:63,113:63}; Sales{109:1,110:63,112:17}; "
              "Purchasing{}; View Only{109:1,110:1,112:1}; Payroll Clerk{109:63,110:63,111:63}; "
              "OrvaneApp{}; Time Clock App{109:1,110:23}");
    EXPECT_EQ(Masks("180, 185"),
              "Admin{180:63,185:63}; Bookkeeper{180:63}; External Accountant{180:63,185:63}; "
              "Payroll Manager{180:63}; Sales{180:63}; Purchasing{180:63}; View Only{180:63}; "
              "Payroll Clerk{180:63}; OrvaneApp{180:63,185:63}; Time Clock App{180:63}");
}

TEST_F(CatalogueImportTest, FeaturesMapToEntitlementsAndTheVersionName) {
    LoadInline(PMTest::Features("V31/240") +
                   R"(, {"id": "1", "name": "Six", "parameters": ["100000", "6"]}, {"id": "2",
                   "name": "Seven", "enabled": false, "parameters": ["100001", "7", "extra"]})",
               "", "");
    char const kList[] =
        "0|V-31-240|-1|0|0|0|0|0; 1|Six|100000|6|0|1|0|0; 2|Seven|100001|7|1|0|0|0";
    EXPECT_EQ(Render(store.URPSGetEntitlementListFromADR()), kList);
    EXPECT_EQ(store.URPSSetDefaultEntitlements(), PM_OK);
    EXPECT_EQ(Render(store.URPSGetEntitlementListFromTable()), kList);
}

// Only an empty table is filled; rows added before a failed write stay.
TEST_F(CatalogueImportTest, DefaultEntitlementsFillOnlyAnEmptyTable) {
    LoadInline(PMTest::Features(kFeatures), "", "");
    AddEntitlement(5);
    FaultPlan::Get().ResetCounts();
    EXPECT_EQ(store.URPSSetDefaultEntitlements(), PM_ERROR);
    EXPECT_EQ(Entitlements() + " " + Writes(), "5| 0/0/0 0/0");
    Reopen();
    FaultPlan::Get().Arm("DMUSREntitlement::Add", 3);
    EXPECT_EQ(PM::URPStore().URPSSetDefaultEntitlements(), PM_ERROR);
    EXPECT_EQ(Entitlements() + " " + Writes(), "0|V-1-4; 1|A1 3/0/0 0/0");
}

// Ids count from 0 in the flavor's order; "BASE_ROLE", in any case and at any
// place, takes none. A failed write stops there, keeping what was written.
TEST_F(CatalogueImportTest, DefaultRolesTakeIdsInFlavorOrder) {
    char const kBoth[] = "A{1:17,2:17,3:46}; B{1:0}";
    const struct {
        char const* defaults;
        char const* fault;
        int result;
        char const* roles;
        char const* masks;
    } cases[] = {
        {R"("BASE_ROLE", "A", "B")", nullptr, PM_OK, "0|AAll of A|1; 1|B|0", kBoth},
        {R"("A", "BASE_ROLE", "B")", nullptr, PM_OK, "0|AAll of A|1; 1|B|0", kBoth},
        {R"("A", "base_role", "B")", nullptr, PM_OK, "0|AAll of A|1; 1|B|0", kBoth},
        {"", nullptr, PM_ERROR, "", ""},
        {R"("A", "B")", "DMUSRRoleAction::Add", PM_ERROR, "0|AAll of A|1", "A{1:17}"},
        {R"("A", "B")", "DMUSRRole::Add", PM_ERROR, "0|AAll of A|1", "A{1:17,2:17,3:46}"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.defaults) + (c.fault != nullptr ? c.fault : ""));
        Reopen();
        LoadInline(PMTest::Features(kFeatures), kRoles, c.defaults);
        if (c.fault != nullptr) {
            FaultPlan::Get().Arm(c.fault, 2);
        }
        EXPECT_EQ(PM::URPStore().URPSSetDefaultRoles(), c.result);
        FaultPlan::Get().Disarm();
        EXPECT_EQ(Query(kRoleRows) + " " + Masks("1, 2, 3"), std::string(c.roles) + " " + c.masks);
    }
}

// Visible is the negation of the private flag here. No grants, or a grant
// without features, is reported and otherwise accepted.
TEST_F(CatalogueImportTest, SingleDefaultRoleOnRequest) {
    LoadInline(PMTest::Features(kFeatures), kRoles, "");
    PMTest::VerifyProbe probe(true);
    std::vector<int> results;
    for (char const* id : {"A", "B", "C", "D", "NONE"}) {
        results.push_back(store.URPSSetSingleDefaultRole(id, 4 + int(results.size())));
    }
    EXPECT_EQ(results, (std::vector<int>{PM_OK, PM_OK, PM_OK, PM_OK, PM_ERROR}));
    EXPECT_EQ(probe.Expressions(),
              (std::vector<std::string>{"entitlements.size() > 0", "features.size() > 0",
                                        "pRole != NULL"}));
    EXPECT_EQ(Query(kRoleRows), "4|AAll of A|0; 5|B|1; 6|C|1; 7|D|1");
    EXPECT_EQ(Masks("1, 2, 3"), "A{1:17,2:17,3:46}; B{1:0}; C{}; D{}");
}

// Dynamic entitlements are left out unless one is the first record; a failed
// first read gives null, a later one ends the list.
TEST_F(CatalogueImportTest, TableListLeavesOutDynamicEntitlements) {
    const struct {
        std::vector<int> ids;
        char const* fault;
        long nth;
        char const* listed;
    } cases[] = {
        {{}, nullptr, 0, ""},
        {{1, 2, 300000, 300001}, nullptr, 0, "1 2"},
        {{300000, 300001}, nullptr, 0, "300000"},
        {{1, 2}, "DMUSREntitlement::Load", 1, "null"},
        {{1, 2, 3}, "DMUSREntitlement::Load", 3, "1"}, // 0 misses, 1 hits, 2 fails
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.listed);
        Reopen();
        for (int id : c.ids) {
            AddEntitlement(id);
        }
        if (c.fault != nullptr) {
            FaultPlan::Get().Arm(c.fault, c.nth);
        }
        std::unique_ptr<std::vector<PM::EntitlementDef>> list(
            PM::URPStore().URPSGetEntitlementListFromTable());
        FaultPlan::Get().Disarm();
        std::string ids = list == nullptr ? "null" : "";
        for (std::size_t i = 0; list != nullptr && i < list->size(); ++i) {
            ids += (i > 0 ? " " : "") + std::to_string((*list)[i].GetId());
        }
        EXPECT_EQ(ids, c.listed);
    }
}
