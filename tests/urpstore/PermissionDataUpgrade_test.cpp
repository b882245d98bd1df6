// The version record and the upgrade of stored permission data: the check of
// the stored version against the catalogue's, and the merge of the lists.
#include "CatalogueStoreFixture.h"

#include <support/CompanyFixture.h>
#include <support/LogProbe.h>
#include <support/VerifyProbe.h>

#include <Records/DMUSREntitlement.h>

using Host::FaultPlan;
using PMTest::Calls;
using PMTest::Entitlements;
using PMTest::Features;
using PMTest::Masks;
using PMTest::Query;
using PMTest::Render;

namespace {

// Admin (role 0) holds 63 on everything, Clerk (role 1) view.
char const kRoles[] =
    R"({"id": "ADMIN", "name": "Admin", "grants": [{"actions": [0, 1, 2, 3, 4, 8],
        "features": "*"}]},
       {"id": "CLERK", "name": "Clerk", "grants": [{"actions": [0], "features": "*"}]})";
char const kDefaults[] = R"("ADMIN", "CLERK")";

class PermissionDataUpgradeTest : public PMTest::CatalogueStoreFixture {};

} // namespace

// Runs of hyphens count as one; three fields give version and count, any other
// number -1 for both.
TEST_F(PermissionDataUpgradeTest, VersionRecordNameGivesVersionAndCount) {
    const struct {
        char const* name;
        int version, count;
    } cases[] = {{"PermissionData-31-240", 31, 240},
                 {"Permission-Data-31-240", -1, -1},
                 {"Name--240", -1, -1},
                 {"-Name---31-240-", 31, 240},
                 {"PermissionData", -1, -1},
                 {"Name-x-7", 0, 7}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.name);
        Reopen();
        DMUSREntitlement record;
        record.SetEntitlementId(0);
        ASSERT_TRUE(record.SetName(c.name).Succeeded() && record.Add(nullptr).Succeeded());
        int version = 99, count = 99;
        EXPECT_EQ(store.URPSGetURPVersionFromCompanyFile(&version), PM_OK);
        EXPECT_EQ(store.URPSGetEntitlementCountFromCompanyFile(&count), PM_OK);
        EXPECT_EQ(std::make_pair(version, count), std::make_pair(c.version, c.count));
        EXPECT_EQ(store.URPSGetVersionFromEntitlementName(c.name), c.version);
    }
}

// An empty table has nothing to upgrade; rows without a version record count
// as the legacy 173; a table that cannot be read gives PM_ERROR.
TEST_F(PermissionDataUpgradeTest, EmptyUnversionedAndUnreadableTables) {
    int version = 99, count = 99;
    EXPECT_EQ(store.URPSGetURPVersionFromCompanyFile(&version), PM_ERR_EMPTYSTORE);
    EXPECT_EQ(store.URPSGetEntitlementCountFromCompanyFile(&count), PM_ERR_EMPTYSTORE);
    FaultPlan::Get().ResetCounts();
    EXPECT_EQ(store.URPSCheckURPVersionDoUpdateIfNeeded(), PM_OK);
    EXPECT_EQ(Calls("*"), 1); // the count alone
    AddEntitlement(5);
    EXPECT_EQ(store.URPSGetURPVersionFromCompanyFile(&version), PM_ERR_NOVERSION);
    EXPECT_EQ(store.URPSGetEntitlementCountFromCompanyFile(&count), PM_ERR_NOVERSION);
    EXPECT_EQ(std::make_pair(version, count), std::make_pair(99, 173));
    for (char const* fault : {"DMUSREntitlement::GetCount", "DMUSREntitlement::Load"}) {
        SCOPED_TRACE(fault);
        Host::ScopedFault failing(fault, 1, FaultPlan::kFail, true);
        EXPECT_EQ(store.URPSGetURPVersionFromCompanyFile(&version), PM_ERROR);
        EXPECT_EQ(store.URPSGetEntitlementCountFromCompanyFile(&count), PM_ERROR);
        EXPECT_EQ(store.URPSCheckURPVersionDoUpdateIfNeeded(), PM_ERROR);
    }
}

// A file made from one catalogue, checked (or merged directly) against
// another. The writes end with the number of table counts: 1 when only the
// version record was read, not the list. Afterwards a second check finds equal
// versions and writes nothing: a merge that failed half-way is not taken up.
TEST_F(PermissionDataUpgradeTest, MergeBringsTheTableToTheCatalogue) {
    char const kSame[] = "Admin{0:63,1:63}; Clerk{0:1,1:1}";
    const struct {
        char const *stored, *running;
        bool roles, direct;
        char const* fault;
        int result;
        char const *table, *masks, *writes, *log;
    } cases[] = {
        {"V29/3, 1 Invoices, 2 Bills", "V29/3, 1 Invoices, 3 Checks", true, false, nullptr, PM_OK,
         "0|V-29-3; 1|Invoices; 2|Bills", "Admin{0:63,1:63,2:63}; Clerk{0:1,1:1,2:1}",
         "0/0/0 0/0 1", ""},
        {"V30/3, 1 Invoices@61", "V29/3, 1 Invoices", true, false, nullptr, PM_OK,
         "0|V-29-3; 1|Invoices", kSame, "0/2/0 0/0 2", "29"},
        {"V30/3, 1 invoices", "V29/3, 1 Invoices", true, false, nullptr, PM_OK,
         "0|V-29-3; 1|invoices", kSame, "0/1/0 0/0 2", "29"},
        {"V29/3, 1 Invoices", "V29/3, 1 Invoices", true, true, nullptr, PM_ERROR,
         "0|V-29-3; 1|Invoices", kSame, "0/0/0 0/0 1", ""},
        {"1 Invoices, 2 Bills", "V29/3, 1 Invoices, 2 Bills", true, false, nullptr, PM_OK,
         "0|V-29-3; 1|Invoices; 2|Bills", "Admin{0:63,1:63,2:63}; Clerk{0:0,1:1,2:1}",
         "1/0/0 2/0 2", "29"},
        {"V28/101, 1 Invoices, 2 Bills, 100 Old, 100000 Root", "V29/3, 1 Sales, 3 Checks", true,
         false, nullptr, PM_OK, "0|V-29-3; 1|Sales; 3|Checks",
         "Admin{0:63,1:63,3:63}; Clerk{0:1,1:1,3:0}", "1/2/3 2/3 2", "29"},
        {"V28/3, 1 Invoices, 2 Bills", "V29/3, 1 Sales", true, false, "DMUSREntitlement::Delete",
         PM_ERROR, "0|V-29-3; 1|Sales; 2|Bills", "Admin{0:63,1:63,2:63}; Clerk{0:1,1:1,2:1}",
         "0/2/1 0/0 2", "29"},
        {"1 Invoices", "V29/3, 1 Invoices", false, false, nullptr, PM_ERROR, "0|V-29-3; 1|Invoices",
         "", "1/0/0 0/0 2", ""}, // no role to give 0 to
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.stored) + " -> " + c.running);
        Reopen();
        PM::URPStore s;
        LoadInline(Features(c.stored), kRoles, kDefaults);
        ASSERT_EQ(s.URPSSetDefaultEntitlements(), PM_OK);
        ASSERT_EQ(c.roles ? s.URPSSetDefaultRoles() : PM_OK, PM_OK);
        // As the manager opens a file: the stored count bounds the scan's first band.
        s.URPSGetEntitlementCountFromCompanyFile(&s.m_StaticEntitlementLimit);
        LoadInline(Features(c.running), kRoles, kDefaults);
        FaultPlan::Get().ResetCounts();
        // The case's fault, or one that ends a runaway scan instead of hanging.
        if (c.fault != nullptr) {
            FaultPlan::Get().Arm(c.fault, 1);
        } else {
            FaultPlan::Get().Arm("DMUSREntitlement::Load", 1000, FaultPlan::kFail, true);
        }
        PMTest::LogProbe log;
        EXPECT_EQ(c.direct ? s.URPSUpdatePermissionData() : s.URPSCheckURPVersionDoUpdateIfNeeded(),
                  c.result);
        EXPECT_EQ(FaultPlan::Get().Fired(), c.fault != nullptr);
        FaultPlan::Get().Disarm();
        EXPECT_EQ(Entitlements(), c.table);
        EXPECT_EQ(Masks("0, 1, 2, 3, 100, 100000"), c.masks);
        EXPECT_EQ(Writes() + " " + std::to_string(Calls("DMUSREntitlement::GetCount")), c.writes);
        EXPECT_EQ(log.Lines(), *c.log == '\0' ? ""
                                              : "0/6 Update Permission Data to Version " +
                                                    std::string(c.log) + "\n");
        FaultPlan::Get().ResetCounts();
        EXPECT_EQ(s.URPSCheckURPVersionDoUpdateIfNeeded(), PM_OK);
        EXPECT_EQ(Writes(), "0/0/0 0/0");
    }
}

// Refused or accepted, a failed check writes nothing. Regression: with no
// catalogue and a handler that let the check go on, the catalogue's list was
// empty rather than null, and the merge of an unversioned file deleted every
// stored entitlement.
TEST_F(PermissionDataUpgradeTest, FailedChecksWriteNothing) {
    AddEntitlement(1);
    AddEntitlement(2);
    for (bool accept : {false, true}) {
        SCOPED_TRACE(accept);
        PMTest::VerifyProbe probe(accept);
        int version = 0;
        EXPECT_EQ(store.URPSGetURPVersionFromCompanyFile(nullptr), PM_ERROR);
        EXPECT_EQ(store.URPSGetEntitlementCountFromCompanyFile(nullptr), PM_ERROR);
        EXPECT_EQ(store.URPSGetURPVersionFromADR(nullptr), PM_ERROR);
        EXPECT_EQ(store.URPSGetURPVersionFromADR(&version), PM_ERROR);
        EXPECT_EQ(Render(store.URPSGetEntitlementListFromADR()), "null");
        EXPECT_EQ(store.URPSCheckURPVersionDoUpdateIfNeeded(), PM_ERROR);
        EXPECT_EQ(probe.Expressions(),
                  (std::vector<std::string>{"urpVersion != NULL", "urpEntCount != NULL",
                                            "urpVersion != NULL", "pPermissionVersion != NULL",
                                            "pBaseRole != NULL", "pBaseRole != NULL",
                                            "pADREntitlementList.get() != NULL"}));
        EXPECT_EQ(Entitlements(), "1|; 2|");
    }
}

// A file of the previous release, with two roles beyond the defaults and a
// bank account, checked against the shipped catalogue.
TEST_F(PermissionDataUpgradeTest, PreviousReleaseIsMergedIntoTheShippedCatalogue) {
    ASSERT_TRUE(Host::LoadCatalogueFile(PMTest::CatalogueFile("catalogue-previous.json")).ok);
    ASSERT_EQ(store.URPSSetDefaultEntitlements(), PM_OK);
    ASSERT_EQ(store.URPSSetDefaultRoles(), PM_OK);
    ASSERT_EQ(store.URPSSetSingleDefaultRole("ORVANE_APP", 8), PM_OK);
    AddRole(9, "external ACCOUNTANT");
    PM::EntitlementDef bank;
    bank.SetId(300000);
    bank.SetName("Petty Cash");
    bank.SetCategory(100012);
    ASSERT_EQ(store.URPSAddEntitlementToDB(bank), PM_OK);
    ASSERT_EQ(store.URPSAddRoleActionAssociation(0, 300000, 63), PM_OK);
    ASSERT_EQ(store.URPSAddRoleActionAssociation(3, 300000, 5), PM_OK);
    ASSERT_EQ(store.URPSGetEntitlementCountFromCompanyFile(&store.m_StaticEntitlementLimit), PM_OK);
    Query("CREATE TEMP TABLE before AS SELECT * FROM role_actions");
    ASSERT_TRUE(Host::LoadCatalogueFile(PMTest::CatalogueFile("catalogue.json")).ok);
    PMTest::LogProbe log;
    {
        // Ends a runaway scan instead of hanging the test.
        Host::ScopedFault runaway("DMUSREntitlement::Load", 2000, FaultPlan::kFail, true);
        EXPECT_EQ(store.URPSCheckURPVersionDoUpdateIfNeeded(), PM_OK);
        EXPECT_FALSE(FaultPlan::Get().Fired());
    }
    EXPECT_EQ(log.Lines(), "0/6 Update Permission Data to Version 27\n");
    EXPECT_EQ(log.Records().at(0).sourcePath, "Platform\\SecurityRoles\\PM\\src\\urpstore");
    EXPECT_EQ(Render(store.URPSGetEntitlementListFromTable()),
              Render(store.URPSGetEntitlementListFromADR()));
    EXPECT_EQ(Query("SELECT entitlement_id, name FROM entitlements WHERE entitlement_id IN "
                    "(0, 87, 100016, 300000)"),
              "0|PermissionData-27-216; 87|Bank Feeds; 300000|Petty Cash");
    // Masks lost, by entitlement; masks gained, as the pattern over the roles
    // in id order of each entitlement, with how many entitlements show it.
    EXPECT_EQ(Query("SELECT DISTINCT entitlement_id FROM "
                    "(SELECT * FROM temp.before EXCEPT SELECT * FROM role_actions)"),
              "100016");
    EXPECT_EQ(Query("SELECT count(*), p FROM (SELECT group_concat(action_type) p FROM "
                    "(SELECT * FROM role_actions EXCEPT SELECT * FROM temp.before ORDER BY 2, 1) "
                    "GROUP BY entitlement_id) GROUP BY p ORDER BY 1, 2"),
              "1|63,0,63,0,0,0,0,0,63,63; 1|63,63,63,63,63,63,63,63,63,63; "
              "34|63,0,0,0,0,0,0,0,0,0");
    EXPECT_EQ(Masks("180, 185, 186, 100016, 300000"),
              "Admin{180:63,185:63,186:63,300000:63}; Bookkeeper{180:63,185:0,186:0}; "
              "External Accountant{180:63,185:63,186:0}; "
              "Payroll Manager{180:63,185:0,186:0,300000:5}; Sales{180:63,185:0,186:0}; "
              "Purchasing{180:63,185:0,186:0}; View Only{180:63,185:0,186:0}; "
              "Payroll Clerk{180:63,185:0,186:0}; OrvaneApp{180:63,185:63,186:0}; "
              "external ACCOUNTANT{180:63,185:63,186:0}");
}
