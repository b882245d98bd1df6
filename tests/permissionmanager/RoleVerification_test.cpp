// The checks of the roles Admin and External Accountant: a report writes
// nothing, a repair writes the full mask, entitlements not enabled are exempt.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"

#include <host/records/FaultPlan.h>

namespace {

class RoleVerificationTest : public PMTest::CompanyFixture {
protected:
    // Both checks in turn, "A" the admin's and "E" the External Accountant's
    // (1: lacking), their log lines, and how many masks were written.
    std::string Verify(bool repair) {
        PMTest::LogProbe log;
        Host::FaultPlan::Get().ResetCounts();
        std::string out = "A=" + std::to_string(Manager().VerifyAdminRoleAccess(repair));
        out += " E=" + std::to_string(Manager().VerifyExternalAccountantRoleAccess(repair));
        out += PMTest::Join(log.Records(), "", [](auto const& r) { return " | " + r.text; });
        long const writes = Host::FaultPlan::Get().Calls("DMUSRRoleAction::Update") +
                            Host::FaultPlan::Get().Calls("DMUSRRoleAction::Add");
        return out + " writes=" + std::to_string(writes);
    }
};

TEST_F(RoleVerificationTest, ShortfallsAreReportedOrRepairedAndBlankedEntitlementsAreExempt) {
    Manager().AddDynamicEntitlement("Bank Registers:Checking", "Bank Accounts");
    EXPECT_EQ("A=0 E=0 writes=0", Verify(false));
    ASSERT_EQ(PM_OK, Manager().DeleteDynamicEntitlement("Bank Registers:Checking"));
    EXPECT_EQ("A=0 E=0 writes=0", Verify(false)); // blanked: every mask 0, and exempt
    // The accountant's share is the category of Bank Registers: Write Checks.
    SetMasks({RoleId("External Accountant")}, {EntitlementId("Write Checks")}, {5});
    SetMasks({0}, {EntitlementId("Invoices")}, {0});
    EXPECT_EQ("A=1 E=1 | Permissions:  The admin role is lacking permissions to one or more "
              "entitlements. | Permissions: The external accountant role is lacking permissions "
              "to one or more entitlements. writes=0",
              Verify(false));
    EXPECT_EQ("A=1 E=1 | Permissions:  Corrected admin entitlement permissions on Invoices | "
              "Permissions: Corrected external accountant entitlement permissions on Write Checks "
              "writes=2",
              Verify(true));
    EXPECT_EQ("A=0 E=0 writes=0", Verify(false));
}

} // namespace
