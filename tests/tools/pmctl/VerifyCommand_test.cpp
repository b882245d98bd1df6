// pmctl verify: the predefined roles whole, no bank account on which a role
// holds less than on its parent, no assignment whose user or role is gone;
// found on a snapshot, mended all in one change.
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

#include <nlohmann/json.hpp>

namespace {

using namespace Pmctl;

class VerifyCommandTest : public PMTest::CommandTest {};

TEST_P(VerifyCommandTest, FindsEachFaultAndMendsThemAllInOneChange) {
    EXPECT_EQ(0, Pmctl("verify F").code);
    // External Accountant is not protected like Admin: an edit takes a right away.
    ASSERT_EQ(0,
              Pmctl("roles edit F \"External Accountant\" --grant \"Bank Registers=view\"").code);
    ASSERT_EQ(0, Pmctl("bank add F Checking").code);
    // Written by another program: View Only holds less on Checking than on
    // Bank Accounts, Sales more (no fault), and an assignment of a gone user.
    Query("UPDATE role_actions SET action_type = 0 WHERE role_id = 6 AND entitlement_id = "
          "300000; DELETE FROM role_actions WHERE role_id = 4 AND entitlement_id = 300000; "
          "INSERT INTO role_actions VALUES (4, 300000, 1); INSERT INTO user_roles VALUES (9, 4)");
    PMTest::Result found = Pmctl("verify F");
    EXPECT_EQ(kExitFailed, found.code);
    EXPECT_EQ("Admin: in order\nExternal Accountant: short\n  Permissions: The external accountant "
              "role is lacking permissions to one or more entitlements.\nbank accounts where a "
              "role holds less than on the parent, to mend: 1\n  Checking: View Only holds none, "
              "less than view on Bank Accounts\nassignments whose user or role is gone, to mend: "
              "1\n  an assignment of record key 9 to role 4: no such user (role Sales)\n",
              found.out);
    PMTest::Result repaired = Pmctl("verify F --repair");
    EXPECT_EQ(0, repaired.code) << repaired.out;
    EXPECT_EQ(0u, repaired.out.find("Admin: in order\nExternal Accountant: repaired\n  "
                                    "Permissions: Corrected external accountant entitlement "
                                    "permissions on Bank Registers\n"));
    EXPECT_EQ("63 1 ", Query("SELECT action_type FROM role_actions WHERE role_id = 2 AND "
                             "entitlement_id = 81") +
                           " " +
                           Query("SELECT action_type FROM role_actions WHERE role_id = 6 AND "
                                 "entitlement_id = 300000") +
                           " " + Query("SELECT role_id FROM user_roles WHERE user_key = 9"));
    EXPECT_EQ(0, Pmctl("verify F").code);
}

// A file that the repair upgrades on the way: the repair is verify's own, so
// it reports what it mended, and with --json the standard output is the JSON
// alone, the copy and the upgrade said on the error output.
TEST_P(VerifyCommandTest, ARepairThatUpgradesReportsItsOwnRepairAsJsonAlone) {
    std::string const older = NewCompany("older");
    ASSERT_EQ(
        0, Pmctl("create F --catalogue " PM_CATALOGUE_DIR "/catalogue-previous.json", older).code);
    std::pair<char const*, char const*> const runs[] = {
        {"verify F --repair --json --dry-run", "(dry run: nothing was written"},
        {"verify F --repair --json", "upgraded "},
    };
    for (auto const& [line, said] : runs) {
        SCOPED_TRACE(line);
        PMTest::Result repaired = Pmctl(line, older);
        EXPECT_EQ(0, repaired.code) << repaired.err;
        nlohmann::json report = nlohmann::json::parse(repaired.out, nullptr, false);
        ASSERT_TRUE(report.is_object()) << repaired.out;
        EXPECT_EQ("repaired", report.value("externalAccountant", "")) << repaired.out;
        EXPECT_NE(std::string::npos, repaired.err.find(said)) << repaired.err;
    }
    EXPECT_EQ(0, Pmctl("verify F", older).code);
}

INSTANTIATE_ON_BOTH_ENGINES(VerifyCommandTest);

} // namespace
