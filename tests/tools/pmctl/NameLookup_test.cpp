// How pmctl resolves what people type: names without regard to case, ids only
// as #N, entitlements by full name or a unique last part of one, and the
// closest name when none fits.
#include "support/PmctlTesting.h"

#include <sstream>

namespace {

class NameLookupTest : public PMTest::CommandTest {
protected:
    // Beside the fixture's admin (101), carol (102, Sales) and dave (103): a
    // user named "101" (104), a role named "4" (8, a copy of View Only), and
    // bank accounts 300000-300003, two of them named Payroll, and 300004
    // removed.
    void SetUp() override {
        CommandTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        RunAll({"users add F 101", "roles copy F \"View Only\" 4", "bank add F Checking",
                "bank add F Checking:Payroll", "bank add F Savings", "bank add F Savings:Payroll",
                "bank add F Petty", "bank remove F Petty --yes"});
    }
};

TEST_P(NameLookupTest, IdsOnlyAsHashAndNamesWithoutCase) {
    Expect({
        {"check F #101 Invoices view", 0, "allowed: admin may view Invoices\n", ""},
        {"check F 101 Invoices view", 1, "denied: 101 may not view Invoices\n", ""},
        {"check F 102 Invoices view", 2, "",
         "no user named \"102\" (did you mean #102, which is carol?)"},
        {"check F #999 Invoices view", 2, "", "no user #999"},
        {"check F CAROL Invoices create", 0, "allowed: carol may create Invoices\n", ""},
        {"check F carl Invoices view", 2, "", "no user named \"carl\" (did you mean \"carol\"?)"},
        {"assign F carol #4", 0, "carol holds Sales already\n", ""},
        {"unassign F carol 4", 2, "", "carol does not hold the role 4"},
        {"roles show F 5", 2, "", "no role named \"5\" (did you mean #5, which is Purchasing?)"},
        {"roles show F #99", 2, "", "no role #99"},
        {"roles show F Sale", 2, "", "no role named \"Sale\" (did you mean \"Sales\"?)"},
        {"check F admin 6 view", 2, "",
         "no entitlement named \"6\" (did you mean #6, which is Invoices?)"},
        {"check F admin #6 view", 0, "allowed: admin may view Invoices\n", ""},
    });
}

TEST_P(NameLookupTest, EntitlementsByFullNameOrAUniqueLastPart) {
    char const* const payroll = "allowed: admin may view Bank Registers:Checking:Payroll\n";
    Expect({
        {"check F admin \"Bank Registers:Checking:Payroll\" view", 0, payroll, ""},
        {"check F admin \"bank registers:CHECKING:payroll\" view", 0, payroll, ""},
        {"check F admin #300001 view", 0, payroll, ""},
        {"check F admin Checking:Payroll view", 0, payroll,
         "note: \"Checking:Payroll\" is Bank Registers:Checking:Payroll"},
        {"check F admin checking view", 0, "allowed: admin may view Bank Registers:Checking\n",
         "note: \"checking\" is Bank Registers:Checking"},
        {"check F admin Payroll view", 2, "",
         "\"Payroll\" names more than one entitlement: Bank Registers:Checking:Payroll, Bank "
         "Registers:Savings:Payroll; give the full name"},
        {"check F admin Petty view", 2, "", "no entitlement named \"Petty\""},
        {"check F admin #300004 view", 2, "", "no entitlement #300004"},
        {"check F admin Chekcing view", 2, "",
         "no entitlement named \"Chekcing\" (did you mean \"Bank Registers:Checking\"?)"},
        {"check F admin \"Bank Registers:Savngs\" view", 2, "",
         "no entitlement named \"Bank Registers:Savngs\" (did you mean \"Bank "
         "Registers:Savings\"?)"},
        {"bank remove F \"Bank Registers:Savngs\" --yes", 2, "",
         "no bank account \"Bank Registers:Savngs\" (did you mean \"Bank Registers:Savings\"?)"},
        {"bank rename F \"Bank Registers:Savings:Payroll\" Savings:Wages", 0,
         "renamed the bank account Bank Registers:Savings:Payroll to Bank Registers:Savings:Wages "
         "(entitlement 300003)\n",
         ""},
        {"check F admin Payroll view", 0, payroll,
         "note: \"Payroll\" is Bank Registers:Checking:Payroll"},
    });
}

TEST_P(NameLookupTest, BankListPrintsTheNamesThatCheckTakes) {
    std::string const list = Out("bank list F");
    EXPECT_EQ("300000  Bank Registers:Checking\n300001  Bank Registers:Checking:Payroll\n300002  "
              "Bank Registers:Savings\n300003  Bank Registers:Savings:Payroll\n",
              list);
    std::istringstream lines(list);
    for (std::string line; std::getline(lines, line);) {
        std::string name = line.substr(line.find("  ") + 2);
        Expect({{"check F carol \"" + name + "\" view", 1,
                 "denied: carol may not view " + name + "\n", ""}});
    }
}

TEST_P(NameLookupTest, UsersAddComparesWithoutCaseAndAdminHoldsAdmin) {
    Expect({
        {"users add F Carol", 2, "",
         "there is a user named \"carol\" already (user names are compared without regard to "
         "case)"},
        {"users add F #7", 2, "", "a user name cannot be \"#7\": #N names the user whose id is N"},
        {"users add F frank --admin", 0,
         "added user frank (id 105, administrator); the user holds Admin\n", ""},
        {"check F frank Invoices delete", 0, "allowed: frank may delete Invoices\n", ""},
        {"roles list F", 0,
         "id   role                           users  notes\n"
         "8    4                              0      \n"
         "0    Admin                          2      full-access\n"
         "1    Bookkeeper                     0      \n"
         "2    External Accountant            0      \n"
         "7    Payroll Clerk                  1      \n"
         "3    Payroll Manager                0      \n"
         "5    Purchasing                     1      \n"
         "4    Sales                          1      \n"
         "6    View Only                      0      \n",
         ""},
    });
}

INSTANTIATE_ON_BOTH_ENGINES(NameLookupTest);

} // namespace
