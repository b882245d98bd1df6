// pmctl users, assign, unassign, check and explain.
#include "support/PmctlTesting.h"

namespace {

using namespace Pmctl;

class UserCommandsTest : public PMTest::CommandTest {
protected:
    // "name:Role,Role" for each user, in id order, joined by "; ".
    std::string Holdings() const {
        std::string text;
        for (nlohmann::json const& user : Json(UsersListCommand)) {
            text += (text.empty() ? "" : "; ") + user["name"].get<std::string>() + ":";
            char const* separator = "";
            for (nlohmann::json const& role : user["roles"]) {
                text += separator + role["name"].get<std::string>();
                separator = ",";
            }
        }
        return text;
    }
};

TEST_F(UserCommandsTest, EachStepChangesTheHoldingsAsTold) {
    RunSteps(
        {
            {"users add F erin", 0,
             "admin:Admin; carol:Sales; dave:Purchasing,Payroll Clerk; erin:"},
            {"assign F 104 6", 0,
             "admin:Admin; carol:Sales; dave:Purchasing,Payroll Clerk; erin:View Only"},
            {"assign F erin \"view only\"", 0,
             "admin:Admin; carol:Sales; dave:Purchasing,Payroll Clerk; erin:View Only"},
            {"unassign F dave Purchasing", 0,
             "admin:Admin; carol:Sales; dave:Payroll Clerk; erin:View Only"},
            {"unassign F erin", 0, "admin:Admin; carol:Sales; dave:Payroll Clerk; erin:"},
            {"users remove F carol --yes", 0, "admin:Admin; dave:Payroll Clerk; erin:"},
            {"users add F root --admin", 0, "admin:Admin; dave:Payroll Clerk; erin:; root:"},
            {"users remove F admin --yes", 2, "admin:Admin; dave:Payroll Clerk; erin:; root:"},
            {"assign F root 0", 0, "admin:Admin; dave:Payroll Clerk; erin:; root:Admin"},
            {"users remove F admin --yes", 0, "dave:Payroll Clerk; erin:; root:Admin"},
        },
        [this] { return Holdings(); });
}

TEST_F(UserCommandsTest, CheckAnswersAsTheHostDoesAndExplainShowsWhichRoleGrants) {
    struct Case {
        char const* user;
        char const* entitlement;
        char const* action;
        char const* application;
        int code;
        char const* out;
    } const cases[] = {
        {"carol", "Invoices", "create", "", 0, "allowed: carol may create Invoices\n"},
        {"carol", "bills", "VIEW", "", 1, "denied: carol may not view Bills\n"},
        {"dave", "Pay Employees", "modify", "", 0, "allowed: dave may modify Pay Employees\n"},
        {"dave", "Employees", "delete", "", 0, "allowed: dave may delete Employees\n"},
        {"admin", "Data Exchange", "modify", "", 0, "allowed: admin may modify Data Exchange\n"},
        {"carol", "Data Exchange", "modify", "", 1, "denied: carol may not modify Data Exchange\n"},
        {"carol", "Data Exchange", "modify", "OrvaneConnect", 0,
         "allowed: OrvaneConnect for carol may modify Data Exchange\n"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.user) + " " + c.entitlement + " " + c.action);
        PMTest::Result result = Run([&](auto& f, Io io) {
            return CheckCommand(f, c.user, c.entitlement, c.action, c.application, io);
        });
        EXPECT_EQ(c.code, result.code) << result.err;
        EXPECT_EQ(c.out, result.out);
    }

    nlohmann::json json =
        Json([](auto& f, Io io) { return ExplainCommand(f, "dave", "Pay Employees", io); });
    EXPECT_EQ(R"([{"actions":[],"id":5,"mask":0,"name":"Purchasing"},)"
              R"({"actions":["view","create","modify","delete","print","viewbal"],"id":7,)"
              R"("mask":63,"name":"Payroll Clerk"}])",
              json["roles"].dump());
    EXPECT_EQ(63, json["mask"]);
}

} // namespace
