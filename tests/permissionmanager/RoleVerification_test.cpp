// The checks of the roles "Admin" and "External Accountant" on a real company
// file: report and repair, exemptions, failed corrections and the messages.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"

#include <host/records/FaultPlan.h>

#include <algorithm>
#include <string>

namespace {

long const kBlanked = -2; // the entitlement is soft-deleted: not enabled, every mask 0
long const kNoRow = -3;   // no role has a mask row for the entitlement

class RoleVerificationTest : public PMTest::CompanyFixture {};

TEST_F(RoleVerificationTest, ShortfallsAreReportedOrRepairedOnceAndExemptionsHold) {
    std::string const admin = "0/6 Permissions:  ", accountant = "0/6 Permissions: ";
    struct Case {
        bool externalAccountant, repair;
        char const* entitlement; // its mask in the role checked, set before the check
        long mask;
        int failUpdates; // 1: the next update of a mask fails, 2: every one
        bool result;
        std::string log;
        bool secondReport; // what a report run says afterwards
    } const cases[] = {
        {false, false, "Invoices", 63, 0, false, "", false},
        {false, true, "Invoices", 63, 0, false, "", false},
        {true, false, "Write Checks", 63, 0, false, "", false},
        {true, true, "Write Checks", 63, 0, false, "", false},
        {false, false, "Write Checks", 127, 0, true,
         admin + "The admin role is lacking permissions to one or more entitlements.\n", true},
        {false, true, "Invoices", 0, 0, true,
         admin + "Corrected admin entitlement permissions on Invoices\n", false},
        {false, true, "Write Checks", 127, 2, true,
         admin + "ERROR, failed to correct admin's access for entitlement:  Write Checks\n", true},
        {false, true, "Invoices", kNoRow, 1, true, "", false}, // the add corrects without a word
        {false, false, "Bank Registers:Checking", kBlanked, 0, false, "", false},
        {true, false, "Bank Registers:Checking", kBlanked, 0, false, "", false},
        {true, false, "Invoices", 1, 0, false, "", false}, // outside the accountant's share
        {true, false, "Write Checks", 5, 0, true,
         accountant + "The external accountant role is lacking permissions to one or more "
                      "entitlements.\n",
         true},
        {true, true, "Bank Registers:Checking:Petty Cash", 5, 0, true,
         accountant + "Corrected external accountant entitlement permissions on Petty Cash\n",
         false},
        {true, true, "Write Checks", 5, 2, true,
         accountant + "ERROR, failed to correct external accountant's access for entitlement: "
                      "Write Checks\n",
         true},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.entitlement) + " " + std::to_string(c.mask) +
                     (c.repair ? " repair" : " report"));
        SetUpCompany();
        Manager().AddDynamicEntitlement("Bank Registers:Checking", "Bank Accounts");
        Manager().AddDynamicEntitlement("Bank Registers:Checking:Petty Cash",
                                        "Bank Registers:Checking");
        int const role = c.externalAccountant ? RoleId("External Accountant") : 0;
        int const id = EntitlementId(c.entitlement);
        if (c.mask == kBlanked) {
            ASSERT_EQ(PM_OK, Manager().DeleteDynamicEntitlement(c.entitlement));
        } else if (c.mask == kNoRow) {
            Manager().GetURPStore()->URPSDeleteRoleActionAssociationsByEntitlement(id);
        } else {
            Manager().GetURPStore()->URPSUpdateRoleActionAssociation(role, id, c.mask);
        }
        Host::FaultPlan& plan = Host::FaultPlan::Get();
        if (c.failUpdates != 0) {
            plan.Arm("DMUSRRoleAction::Update", 1, Host::FaultPlan::kFail, c.failUpdates == 2);
        }
        plan.ResetCounts();
        PMTest::LogProbe log;
        auto verify = [&](bool repair) {
            return c.externalAccountant ? Manager().VerifyExternalAccountantRoleAccess(repair)
                                        : Manager().VerifyAdminRoleAccess(repair);
        };
        EXPECT_EQ(c.result, verify(c.repair));
        plan.Disarm();
        EXPECT_EQ(c.log, log.Lines());
        if (!c.repair) { // a report writes nothing
            EXPECT_EQ(0,
                      plan.Calls("DMUSRRoleAction::Update") + plan.Calls("DMUSRRoleAction::Add"));
        }
        EXPECT_EQ(c.secondReport, verify(false));
    }
}

TEST_F(RoleVerificationTest, AMissingRoleBankRegistersOrStoreIsReportedAndGivesTrue) {
    PMTest::LogProbe log;
    std::vector<PM::RoleObject>& roles = *Manager().GetRoleCache();
    PM::RoleObject& accountant = *std::find_if(roles.begin(), roles.end(), [](auto& role) {
        return role.GetId() == 2; // External Accountant
    });
    accountant.SetName("Outside Accountant");
    std::string results = std::to_string(Manager().VerifyExternalAccountantRoleAccess(false));
    accountant.SetName("External Accountant");
    PM::URPStoreBase* store = Manager().GetURPStore();
    Manager().SetURPStore(nullptr);
    results += std::to_string(Manager().VerifyAdminRoleAccess(true));
    results += std::to_string(Manager().VerifyExternalAccountantRoleAccess(true));
    Manager().SetURPStore(store);
    // The soft delete blanks a catalogue entitlement as well.
    ASSERT_EQ(PM_OK, Manager().DeleteDynamicEntitlement("Bank Registers"));
    results += std::to_string(Manager().VerifyExternalAccountantRoleAccess(false));
    EXPECT_EQ("1111", results);
    EXPECT_EQ("0/6 Permissions: Failed to find the the External Accoutant role\n"
              "0/6 Permissions:  ERROR, cannot get the admin's permission records or the "
              "database adapter\n"
              "0/6 Permissions: ERROR, cannot get the external accountant's entitlement records "
              "or pURPStore pointer\n"
              "0/6 Permissions: \"Bank Registers\" does not have an associated entitlement.\n",
              log.Lines());
}

} // namespace
