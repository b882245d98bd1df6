// pmctl verify: the report and the repair of the two predefined roles.
#include "PmctlTesting.h"

namespace {

using namespace Pmctl;

class VerifyCommandTest : public PmctlTesting::CommandTest {};

TEST_F(VerifyCommandTest, VerifyReportsInOrderThenAfterARepairWritesTheFullMask) {
    auto verify = [](bool repair) {
        return [repair](auto& f, Io io) { return VerifyCommand(f, repair, false, io); };
    };
    PmctlTesting::Result clean = Run(verify(false));
    EXPECT_EQ(0, clean.code) << clean.err;
    EXPECT_EQ("Admin: in order\nExternal Accountant: in order\nbank accounts and assignments: in "
              "order\n",
              clean.out);
    // External Accountant is not protected like Admin: take a right away.
    ASSERT_EQ(0, Run([](auto& f, Io io) {
                     return RolesEditCommand(f, "External Accountant", {"Bank Registers=view"}, "",
                                             io);
                 }).code);
    PmctlTesting::Result report = Run(verify(false));
    EXPECT_EQ(1, report.code);
    EXPECT_EQ(
        "Admin: in order\nExternal Accountant: short\n  Permissions: The external "
        "accountant role is lacking permissions to one or more entitlements.\nbank accounts and "
        "assignments: in order\n",
        report.out);
    PmctlTesting::Result repair = Run(verify(true));
    EXPECT_EQ(0, repair.code) << repair.out;
    EXPECT_EQ(
        "Admin: in order\nExternal Accountant: repaired\n  Permissions: Corrected external "
        "accountant entitlement permissions on Bank Registers\nbank accounts and assignments: in "
        "order\n",
        repair.out);
    EXPECT_EQ(63, RoleMask("External Accountant", "Bank Registers"));
}

} // namespace
