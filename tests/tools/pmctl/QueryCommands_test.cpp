// pmctl who-can, rights, and explain's account of what is denied: the
// library's decision, and the roles that grant what it denies.
#include "support/PmctlTesting.h"

#include <sstream>

namespace {

class QueryCommandsTest : public PMTest::CommandTest {
protected:
    // The lines of a tree whose row is one of names, in order.
    static std::string Rows(std::string const& tree, std::vector<std::string> const& names) {
        std::istringstream in(tree);
        std::string line, rows;
        while (std::getline(in, line)) {
            for (std::string const& name : names) {
                rows += line.find("\u2500\u2500 " + name + "  ") != std::string::npos ? line + "\n"
                                                                                      : "";
            }
        }
        return rows;
    }
    // "name:mask" for each element, with its "roles" (or "grantedBy") in
    // brackets and " held" for a granting role the user holds.
    static std::string Summary(nlohmann::json const& list) {
        std::string text;
        for (nlohmann::json const& item : list) {
            text += (text.empty() ? "" : " ") + item["name"].get<std::string>() + ":" +
                    std::to_string(item["mask"].get<long>());
            text += item.value("held", false) ? " held" : "";
            if (item.contains("roles")) {
                text += "[" + Summary(item["roles"]) + "]";
            }
        }
        return text;
    }
};

TEST_P(QueryCommandsTest, EachCommandLineAnswersAsPinned) {
    Expect({
        {"who-can F \"Stock Status\" modify", 0,
         "who may modify Stock Status (entitlement 65):\n"
         "  admin  full                      through Admin\n"
         "  dave   view,create,modify,print  through Purchasing\n",
         ""},
        {"who-can F \"stock status\"", 0,
         "who may do anything on Stock Status (entitlement 65):\n"
         "  admin  full                      through Admin\n"
         "  carol  view,print                through Sales\n"
         "  dave   view,create,modify,print  through Purchasing\n",
         ""},
        {"who-can F \"Pay Employees\"", 0,
         "who may do anything on Pay Employees (entitlement 111):\n"
         "  admin  full  through Admin\n"
         "  dave   full  through Payroll Clerk\n",
         ""},
        {"who-can F Invoices custom", 0, "who may custom Invoices (entitlement 6):\n  nobody\n",
         ""},
        // While an application acts, every user's session may what its role may.
        {"who-can F \"Data Exchange\" delete --as OrvaneConnect", 0,
         "who may delete Data Exchange (entitlement 185) while OrvaneConnect acts:\n"
         "  admin  full  through OrvaneApp\n"
         "  carol  full  through OrvaneApp\n"
         "  dave   full  through OrvaneApp\n",
         ""},
        {"who-can F Invoices create --as TimeClockBridge", 0,
         "who may create Invoices (entitlement 6) while TimeClockBridge acts:\n  nobody\n", ""},
        {"explain F carol Bills create", 0,
         "carol on Bills (entitlement 28):\n"
         "  Sales     none\n"
         "  together  none\n"
         "denied: carol may not create Bills; the roles that grant it:\n"
         "  Admin       full  not held\n"
         "  Bookkeeper  full  not held\n"
         "  Purchasing  full  not held\n",
         ""},
        {"explain F dave \"Stock Status\"", 0,
         "dave on Stock Status (entitlement 65):\n"
         "  Purchasing     view,create,modify,print\n"
         "  Payroll Clerk  none\n"
         "  together       view,create,modify,print\n"
         "denied: dave may not delete,viewbal Stock Status; the roles that grant any of them:\n"
         "  Admin                full                not held\n"
         "  External Accountant  view,print,viewbal  not held\n",
         ""},
        {"explain F carol Invoices print", 0,
         "carol on Invoices (entitlement 6):\n"
         "  Sales     full\n"
         "  together  full\n"
         "allowed: carol may print Invoices\n",
         ""},
        {"explain F carol Invoices create --as TimeClockBridge", 0,
         "carol on Invoices (entitlement 6):\n"
         "  Sales     full\n"
         "  together  full\n"
         "while TimeClockBridge acts, only its role Time Clock App counts: none\n"
         "denied: TimeClockBridge for carol may not create Invoices; the roles that grant it:\n"
         "  Admin       full  not held\n"
         "  Bookkeeper  full  not held\n"
         "  Sales       full  held\n",
         ""},
        {"explain F carol \"Data Exchange\" delete --as OrvaneConnect", 0,
         "carol on Data Exchange (entitlement 185):\n"
         "  Sales     none\n"
         "  together  none\n"
         "while OrvaneConnect acts, only its role OrvaneApp counts: full\n"
         "allowed: OrvaneConnect for carol may delete Data Exchange\n",
         ""},
        {"who-can F Nowhere view", 2, "", "no entitlement named \"Nowhere\""},
        {"who-can F Invoices view,print", 2, "",
         "who-can asks about one action, not \"view,print\""},
        {"rights F zoe", 2, "", "no user named \"zoe\""},
        {"who-can F Invoices --as Nope", 2, "",
         "no integrated application named \"Nope\" in the catalogue (applications: "
         "OrvaneConnect, TimeClockBridge)"},
        {"rights F carol --as Nope", 2, "",
         "no integrated application named \"Nope\" in the catalogue (applications: "
         "OrvaneConnect, TimeClockBridge)"},
        {"explain F carol Invoices fly", 2, "",
         "unknown action \"fly\" (actions: view, create, modify, delete, print, viewbal, custom, "
         "none, full)"},
    });
}

TEST_P(QueryCommandsTest, JsonCarriesTheDecisionAndTheRolesBehindIt) {
    nlohmann::json who = Json("who-can F \"Stock Status\"");
    EXPECT_EQ("", who["action"]);
    EXPECT_EQ("admin:63[Admin:63] carol:17[Sales:17] dave:23[Purchasing:23]",
              Summary(who["users"]));
    EXPECT_EQ("admin:63[Admin:63] dave:23[Purchasing:23]",
              Summary(Json("who-can F \"Stock Status\" create")["users"]));

    nlohmann::json why = Json("explain F carol Invoices create --as TimeClockBridge");
    EXPECT_EQ("Time Clock App:0", Summary(nlohmann::json::array({why["applicationRole"]})));
    EXPECT_EQ("[]", why["allowedActions"].dump());
    EXPECT_EQ(R"(["create"])", why["deniedActions"].dump());
    EXPECT_EQ("Admin:63 Bookkeeper:63 Sales:63 held", Summary(why["grantedBy"]));
}

TEST_P(QueryCommandsTest, RightsShowTheLibrarysAnswerOnEveryRowOfTheTree) {
    std::string const own = Out("rights F carol");
    EXPECT_EQ(0u, own.find("carol (user 102; roles: Sales)\n"));
    EXPECT_EQ("│   ├── Data Exchange                    -\n"
              "│   ├── Stock Status                     view,print\n"
              "│   ├── Invoices                         full\n",
              Rows(own, {"Data Exchange", "Invoices", "Stock Status"}));
    std::string const app = Out("rights F carol --as OrvaneConnect");
    EXPECT_EQ(0u, app.find("OrvaneConnect for carol (its role OrvaneApp)\n"));
    EXPECT_EQ("│   ├── Data Exchange                    full\n"
              "│   ├── Stock Status                     -\n"
              "│   ├── Invoices                         view,create,modify,print\n",
              Rows(app, {"Data Exchange", "Invoices", "Stock Status"}));

    RunAll({"roles edit F Purchasing --grant \"Bank Accounts=view\"", "bank add F Checking",
            "bank add F Checking:Payroll"});
    nlohmann::json rows = Json("rights F dave")["entitlements"];
    EXPECT_EQ(Json("roles show F Sales")["entitlements"].size(), rows.size());
    std::string accounts;
    for (nlohmann::json const& row : rows) {
        accounts += row["id"].get<int>() >= 300000 ? row.dump() + "\n" : "";
    }
    EXPECT_EQ(R"({"actions":["view"],"depth":1,"fullName":"Bank Registers:Checking","id":300000,)"
              R"("mask":1,"name":"Checking"})"
              "\n"
              R"({"actions":["view"],"depth":2,"fullName":"Bank Registers:Checking:Payroll",)"
              R"("id":300001,"mask":1,"name":"Payroll"})"
              "\n",
              accounts);
}

INSTANTIATE_ON_BOTH_ENGINES(QueryCommandsTest);

} // namespace
