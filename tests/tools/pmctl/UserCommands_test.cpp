// pmctl users, assign, unassign, check and explain.
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

namespace {

class UserCommandsTest : public PMTest::CommandTest {
protected:
    // "name:Role" for each user and role held, in id order, joined by "; ".
    std::string Holdings() const {
        return Query("SELECT u.name || ':' || coalesce(r.name, '') FROM users u LEFT JOIN "
                     "user_roles a ON a.user_key = u.record_key LEFT JOIN roles r ON r.role_id "
                     "= a.role_id ORDER BY u.user_id, a.role_id");
    }
};

TEST_P(UserCommandsTest, EachStepChangesTheHoldingsAsTold) {
    RunSteps(
        {
            {"users add F erin", 0,
             "admin:Admin; carol:Sales; dave:Purchasing; dave:Payroll Clerk; erin:"},
            {"assign F #104 #6", 0,
             "admin:Admin; carol:Sales; dave:Purchasing; dave:Payroll Clerk; erin:View Only"},
            {"assign F erin \"view only\"", 0,
             "admin:Admin; carol:Sales; dave:Purchasing; dave:Payroll Clerk; erin:View Only"},
            {"unassign F dave Purchasing", 0,
             "admin:Admin; carol:Sales; dave:Payroll Clerk; erin:View Only"},
            {"unassign F erin", 0, "admin:Admin; carol:Sales; dave:Payroll Clerk; erin:"},
            {"users remove F carol --yes", 0, "admin:Admin; dave:Payroll Clerk; erin:"},
            {"users add F root --admin", 0, "admin:Admin; dave:Payroll Clerk; erin:; root:Admin"},
            {"assign F root #0", 0, "admin:Admin; dave:Payroll Clerk; erin:; root:Admin"},
            {"users remove F ADMIN --yes", 0, "dave:Payroll Clerk; erin:; root:Admin"},
        },
        [this] { return Holdings(); });
}

TEST_P(UserCommandsTest, CheckAnswersAsTheHostDoesAndExplainShowsWhichRoleGrants) {
    Expect({
        {"check F carol Invoices create", 0, "allowed: carol may create Invoices\n", ""},
        {"check F carol bills VIEW", 1, "denied: carol may not view Bills\n", ""},
        {"check F dave \"Pay Employees\" modify", 0, "allowed: dave may modify Pay Employees\n",
         ""},
        {"check F dave Employees delete", 0, "allowed: dave may delete Employees\n", ""},
        {"check F admin \"Data Exchange\" modify", 0, "allowed: admin may modify Data Exchange\n",
         ""},
        {"check F carol \"Data Exchange\" modify", 1,
         "denied: carol may not modify Data Exchange\n", ""},
        {"check F carol \"Data Exchange\" modify --as OrvaneConnect", 0,
         "allowed: OrvaneConnect for carol may modify Data Exchange\n", ""},
    });

    nlohmann::json json = Json("explain F dave \"Pay Employees\"");
    EXPECT_EQ(R"([{"actions":[],"id":5,"mask":0,"name":"Purchasing"},)"
              R"({"actions":["view","create","modify","delete","print","viewbal"],"id":7,)"
              R"("mask":63,"name":"Payroll Clerk"}])",
              json["roles"].dump());
    EXPECT_EQ(63, json["mask"]);
}

INSTANTIATE_ON_BOTH_ENGINES(UserCommandsTest);

} // namespace
