// pmctl bank: accounts one at a time and in bulk, and their rights.
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

#include <fstream>

namespace {

using namespace Pmctl;

class BankCommandsTest : public PMTest::CommandTest {
protected:
    // "id path" of each live account, joined by "; ".
    std::string Accounts() const {
        std::string text;
        for (nlohmann::json const& account : Json("bank list F")) {
            text += (text.empty() ? "" : "; ") + std::to_string(account["id"].get<int>()) + " " +
                    account["path"].get<std::string>();
        }
        return text;
    }
    bool Allowed(char const* user, std::string const& account, char const* action) const {
        return Pmctl(std::string("check F ") + user + " \"Bank Registers:" + account + "\" " +
                     action)
                   .code == 0;
    }
};

TEST_P(BankCommandsTest, AccountsAreAddedRenamedMovedAndRemovedWithTheirParentsRights) {
    RunSteps(
        {
            {"bank add F Checking", 0, "300000 Checking"},
            {"bank add F Checking:Payroll", 0, "300000 Checking; 300001 Checking:Payroll"},
            {"bank add F Savings", 0, "300000 Checking; 300001 Checking:Payroll; 300002 Savings"},
            {"bank rename F Checking:Payroll Checking:Wages", 0,
             "300000 Checking; 300001 Checking:Wages; 300002 Savings"},
            {"bank rename F Checking:Wages Savings:Wages", 0,
             "300000 Checking; 300002 Savings; 300001 Savings:Wages"},
            // A top-level account stays where it is; a parent keeps its sub-accounts.
            {"bank rename F Checking Current", 2, nullptr},
            {"bank remove F Savings --yes", 2, nullptr},
            {"bank remove F Savings:Wages --yes", 0, "300000 Checking; 300002 Savings"},
            {"bank add F Wages", 0,
             "300000 Checking; 300002 Savings; 300003 Wages"}, // ids stay used
        },
        [this] { return Accounts(); });
    // admin (Admin) holds everything on Bank Accounts, carol (Sales) nothing.
    EXPECT_TRUE(Allowed("admin", "Savings", "delete"));
    EXPECT_FALSE(Allowed("carol", "Savings", "view"));
}

TEST_P(BankCommandsTest, ImportChecksTheWholeListFirstThenAddsInBulk) {
    std::string list = Scratch("accounts.txt");
    std::ofstream(list)
        << "# accounts\nChecking\n\nChecking:Sweep\n  Petty Cash  \nchecking:SWEEP\n";
    std::string before = Contents();
    PMTest::Result twice = Pmctl("bank import F --progress " + list);
    EXPECT_EQ(kExitBadInput, twice.code);
    EXPECT_EQ("  checking the list\npmctl: " + list +
                  ":6: \"checking:SWEEP\" is listed on line 4 already\n",
              twice.err);
    EXPECT_TRUE(before == Contents());

    // A name the company file cannot hold, at the first byte too many.
    std::ofstream(list, std::ios::trunc) << "Checking\n" << std::string(512, 'x') << "\n";
    EXPECT_EQ(0u, Pmctl("bank import F " + list)
                      .err.find("pmctl: " + list +
                                ":2: the account name \"xxxxxxxxxxxxxxxxxxxx...\" is "
                                "longer than 511 bytes"));
    std::ofstream(list, std::ios::trunc)
        << "Checking\nChecking:Sweep\n"
        << std::string(511, 'x').replace(0, 10, "Petty Cash") << "\n";
    PMTest::Result imported = Pmctl("bank import F --progress " + list);
    ASSERT_EQ(0, imported.code) << imported.err;
    EXPECT_NE(std::string::npos, imported.err.find("] 3/3\n"));
    EXPECT_EQ(0u, imported.out.find("imported 3 bank accounts (entitlements 300000 to 300002)"));
    EXPECT_EQ("300000 Checking; 300001 Checking:Sweep; 300002 Petty Cash" + std::string(501, 'x'),
              Accounts());
    EXPECT_TRUE(Allowed("admin", "Checking:Sweep", "modify"));
    EXPECT_FALSE(Allowed("dave", "Checking", "view"));
}

// A sub-account, imported or added, starts with what each role holds on its
// parent, not on Bank Accounts.
TEST_P(BankCommandsTest, ASubAccountHoldsWhatItsParentHolds) {
    auto viewOnly = [&](char const* account) {
        return Query("SELECT action_type FROM role_actions JOIN entitlements USING "
                     "(entitlement_id) WHERE role_id = 6 AND name = '" +
                     std::string(account) + "'");
    };
    ASSERT_EQ(0, Pmctl("bank add F Checking").code);
    ASSERT_EQ(0, Pmctl("roles edit F \"View Only\" --grant \"Bank Registers:Checking=none\"").code);
    std::string list = Scratch("accounts.txt");
    std::ofstream(list) << "Checking:Sweep\nSavings\nSavings:Reserve\n";
    ASSERT_EQ(0, Pmctl("bank import F " + list).code);
    EXPECT_EQ("1 0 0 1 1", viewOnly("Bank Accounts") + " " + viewOnly("Checking") + " " +
                               viewOnly("Sweep") + " " + viewOnly("Savings") + " " +
                               viewOnly("Reserve"));
}

INSTANTIATE_ON_BOTH_ENGINES(BankCommandsTest);

} // namespace
