// The version record and the upgrade of stored permission data: the check of
// the stored version against the catalogue's, and the merge of the lists.
#include <support/LogProbe.h>
#include <support/StoreTesting.h>
#include <support/VerifyProbe.h>

#include <utility>

namespace {

using Host::FaultPlan;
using PMTest::Calls;
using PMTest::Features;
using PMTest::Query;

// Admin (role 0) holds 63 on everything, Clerk (role 1) view.
char const kRoles[] =
    R"({"id": "ADMIN", "name": "Admin", "grants": [{"actions": [0, 1, 2, 3, 4, 8],
        "features": "*"}]},
       {"id": "CLERK", "name": "Clerk", "grants": [{"actions": [0], "features": "*"}]})";
char const kDefaults[] = R"("ADMIN", "CLERK")";

class PermissionDataUpgradeTest : public PMTest::StoreFixture {};

// Runs of hyphens count as one; three fields give version and count, any other
// number -1 for both. Rows without a version record are the legacy 173.
TEST_F(PermissionDataUpgradeTest, VersionRecordGivesVersionAndCount) {
    // The name of entitlement 0 ("": only entitlement 5 is stored), then the
    // results of reading the version and the count (-8: no version record), and
    // the two.
    std::pair<char const*, char const*> const cases[] = {{"PermissionData-31-240", "0/0 31 240"},
                                                         {"-Name---31-240-", "0/0 31 240"},
                                                         {"Permission-Data-31-240", "0/0 -1 -1"},
                                                         {"Name-x-7", "0/0 0 7"},
                                                         {"", "-8/-8 99 173"}};
    for (auto const& [name, expected] : cases) {
        SCOPED_TRACE(name);
        Reopen();
        Query(std::string("INSERT INTO entitlements VALUES (") + (*name != 0 ? "0" : "5") +
              ", 0, 0, 1, 1, '" + name + "')");
        int version = 99, count = 99;
        int const versionResult = store.URPSGetURPVersionFromCompanyFile(&version);
        int const countResult = store.URPSGetEntitlementCountFromCompanyFile(&count);
        EXPECT_EQ(std::to_string(versionResult) + "/" + std::to_string(countResult) + " " +
                      std::to_string(version) + " " + std::to_string(count),
                  expected);
    }
}

// A file made from one catalogue, checked (or merged directly) against
// another, after an optional change made straight to the table. The writes
// end with the number of table counts: 1 when only the version record was
// read.
TEST_F(PermissionDataUpgradeTest, MergeBringsTheTableToTheCatalogue) {
    char const kSame[] = "Admin{0:63,1:63}; Clerk{0:1,1:1}";
    const struct {
        char const *stored, *running, *tamper; // tamper: SQL run on the file made
        bool direct;
        char const* fault;
        int result;
        char const *table, *masks, *writes;
    } cases[] = {
        {"V29/3, 1 Invoices, 2 Bills", "V29/3, 1 Invoices, 3 Checks", "", false, nullptr, PM_OK,
         "0|V-29-3; 1|Invoices; 2|Bills", "Admin{0:63,1:63,2:63}; Clerk{0:1,1:1,2:1}",
         "0/0/0 0/0 1"},
        {"V30/3, 1 Invoices@61", "V29/3, 1 Invoices", "", false, nullptr, PM_OK,
         "0|V-29-3; 1|Invoices", kSame, "0/2/0 0/0 2"},
        {"V30/3, 1 invoices", "V29/3, 1 Invoices", "", false, nullptr, PM_OK,
         "0|V-29-3; 1|invoices", kSame, "0/1/0 0/0 2"},
        {"V30/3, 1 Invoices", "V29/3, 1 Invoices",
         "UPDATE entitlements SET is_visible = 0 WHERE entitlement_id = 1", false, nullptr, PM_OK,
         "0|V-29-3; 1|Invoices", kSame, "0/2/0 0/0 2"},
        {"V29/3, 1 Invoices", "V29/3, 1 Invoices", "", true, nullptr, PM_ERROR,
         "0|V-29-3; 1|Invoices", kSame, "0/0/0 0/0 1"},
        {"1 Invoices, 2 Bills", "V29/3, 1 Invoices, 2 Bills", "", false, nullptr, PM_OK,
         "0|V-29-3; 1|Invoices; 2|Bills", "Admin{0:63,1:63,2:63}; Clerk{0:0,1:1,2:1}",
         "1/0/0 2/0 2"},
        {"V28/101, 1 Invoices, 2 Bills, 100 Old, 100000 Root", "V29/3, 1 Sales, 3 Checks", "",
         false, nullptr, PM_OK, "0|V-29-3; 1|Sales; 3|Checks",
         "Admin{0:63,1:63,3:63}; Clerk{0:1,1:1,3:0}", "1/2/3 2/3 2"},
        {"V28/3, 1 Invoices, 2 Bills", "V29/3, 1 Sales", "", false, "DMUSREntitlement::Delete",
         PM_ERROR, "0|V-29-3; 1|Sales; 2|Bills", "Admin{0:63,1:63,2:63}; Clerk{0:1,1:1,2:1}",
         "0/2/1 0/0 2"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.stored) + " -> " + c.running);
        Reopen();
        PM::URPStore s;
        LoadInline(Features(c.stored), kRoles, kDefaults);
        ASSERT_EQ(s.URPSSetDefaultEntitlements() + s.URPSSetDefaultRoles(), PM_OK);
        Query(c.tamper);
        // As the manager opens a file: the stored count bounds the scan's first
        // band.
        s.URPSGetEntitlementCountFromCompanyFile(&s.m_StaticEntitlementLimit);
        LoadInline(Features(c.running), kRoles, kDefaults);
        FaultPlan::Get().ResetCounts();
        // The case's fault, or one that ends a runaway scan instead of hanging.
        FaultPlan::Get().Arm(c.fault != nullptr ? c.fault : "DMUSREntitlement::Load",
                             c.fault != nullptr ? 1 : 1000, FaultPlan::kFail, c.fault == nullptr);
        PMTest::LogProbe log;
        EXPECT_EQ(c.direct ? s.URPSUpdatePermissionData() : s.URPSCheckURPVersionDoUpdateIfNeeded(),
                  c.result);
        EXPECT_EQ(FaultPlan::Get().Fired(), c.fault != nullptr);
        FaultPlan::Get().Disarm();
        EXPECT_EQ(Query("SELECT entitlement_id, name FROM entitlements ORDER BY 1"), c.table);
        EXPECT_EQ(PMTest::Masks("0, 1, 2, 3, 100, 100000"), c.masks);
        EXPECT_EQ(Writes() + " " + std::to_string(Calls("DMUSREntitlement::GetCount")), c.writes);
        // Logged when the version record was written.
        bool const logged = std::string(c.writes).find("0/0/0") != 0;
        EXPECT_EQ(log.Lines(), logged ? "0/6 Update Permission Data to Version 29\n" : "");
    }
}

// Regression: with no catalogue and a handler that let the check go on, the
// catalogue's list was empty rather than null, and the merge of an
// unversioned file deleted every stored entitlement.
TEST_F(PermissionDataUpgradeTest, WithoutACatalogueTheCheckFailsAndWritesNothing) {
    AddEntitlement(1);
    AddEntitlement(2);
    for (bool accept : {false, true}) {
        SCOPED_TRACE(accept);
        PMTest::VerifyProbe probe(accept);
        EXPECT_EQ(store.URPSCheckURPVersionDoUpdateIfNeeded(), PM_ERROR);
        EXPECT_EQ(
            probe.Expressions(),
            (std::vector<std::string>{"pBaseRole != NULL", "pADREntitlementList.get() != NULL"}));
        EXPECT_EQ(Query("SELECT group_concat(entitlement_id) FROM entitlements"), "1,2");
    }
}

} // namespace
