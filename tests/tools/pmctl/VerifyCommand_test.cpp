// pmctl verify: the report and the repair of the two predefined roles.
#include "PmctlTesting.h"

namespace {

using PmctlTesting::Capture;

class VerifyCommandTest : public PmctlTesting::CommandTest {};

TEST_F(VerifyCommandTest, VerifyReportsInOrderThenAfterARepairWritesTheFullMask) {
    PmctlTesting::Result clean =
        Capture([&](Pmctl::Io io) { return Pmctl::VerifyCommand(File(), false, io); });
    EXPECT_EQ(0, clean.code) << clean.err;
    EXPECT_EQ("Admin: in order\nExternal Accountant: in order\n", clean.out);
    // External Accountant is not protected like Admin: take a right away.
    ASSERT_EQ(0, Capture([&](Pmctl::Io io) {
                     return Pmctl::RolesEditCommand(File(), "External Accountant",
                                                    {"Bank Registers=view"}, "", io);
                 }).code);
    PmctlTesting::Result report =
        Capture([&](Pmctl::Io io) { return Pmctl::VerifyCommand(File(), false, io); });
    EXPECT_EQ(1, report.code);
    EXPECT_EQ("Admin: in order\nExternal Accountant: short\n  Permissions: The external "
              "accountant role is lacking permissions to one or more entitlements.\n",
              report.out);
    PmctlTesting::Result repair =
        Capture([&](Pmctl::Io io) { return Pmctl::VerifyCommand(File(), true, io); });
    EXPECT_EQ(0, repair.code) << repair.out;
    EXPECT_EQ("Admin: in order\nExternal Accountant: repaired\n  Permissions: Corrected external "
              "accountant entitlement permissions on Bank Registers\n",
              repair.out);
    EXPECT_EQ(63, RoleMask("External Accountant", "Bank Registers"));
}

} // namespace
