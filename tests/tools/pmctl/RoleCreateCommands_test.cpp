// pmctl roles create, rename and describe; roles edit with "*=", --recursive
// and the JSON that roles show --json prints.
#include "support/PmctlTesting.h"

#include <fstream>
#include <map>
#include <regex>

namespace {

class RoleCreateTest : public PMTest::CommandTest {
protected:
    // "FULLNAME=MASK" of each row of the role's tree in file, joined by " ".
    std::string Tree(std::string const& role, std::string const& file) const {
        std::string text;
        nlohmann::json const shown = Json("roles show F \"" + role + "\"", file);
        for (nlohmann::json const& row : shown["entitlements"]) {
            text += row["fullName"].get<std::string>() + "=" + row["mask"].dump() + " ";
        }
        return text;
    }
    // Each role's name and description.
    std::map<std::string, std::string> Descriptions() const {
        std::map<std::string, std::string> roles;
        for (nlohmann::json const& role : Json("roles list F")) {
            roles[role["name"]] = role["description"];
        }
        return roles;
    }
    // The role's masks on a few rows that tell headings, items and accounts
    // apart, in tree order: Bank Feeds, Bank Registers:Checking, its
    // sub-account Payroll, the heading Sales, Estimates, Invoices, Bills.
    std::string Masks(std::string const& role) const {
        std::string text;
        nlohmann::json const shown = Json("roles show F \"" + role + "\"");
        for (nlohmann::json const& row : shown["entitlements"]) {
            for (char const* name :
                 {"Bank Feeds", "Bank Registers:Checking", "Bank Registers:Checking:Payroll",
                  "Sales", "Estimates", "Invoices", "Bills"}) {
                if (row["fullName"] == name) {
                    text += (text.empty() ? "" : " ") + row["mask"].dump();
                }
            }
        }
        return text;
    }
};

TEST_P(RoleCreateTest, CreateRenameAndDescribeChangeTheRecordAndKeepTheGrants) {
    std::string const sales = Tree("Sales", m_File);
    std::map<std::string, std::string> const before = Descriptions();
    Expect({
        {"roles create F Temp", 0, "created the role Temp (role 8), with no action anywhere\n", ""},
        {"roles create F Clerks --like \"view only\"", 0,
         "created the role Clerks (role 9), with the actions of View Only\n", ""},
        {"roles create F Desk --like Sales --description \"Front desk\"", 0,
         "created the role Desk (role 10), with the actions of Sales\n", ""},
        {"roles create F temp", 2, "", "there is a role named \"temp\" already"},
        {"roles create F X --like Nope", 2, "", "no role named \"Nope\""},
        {"roles copy F Sales #12", 2, "",
         "a role name cannot be \"#12\": #N names the role whose id is N"},
        {"roles rename F Temp Clerks", 2, "", "there is a role named \"Clerks\" already"},
        {"roles rename F temp TEMP", 0, "renamed the role Temp to TEMP (role 8)\n", ""},
        {"roles rename F Sales \"Sales Team\"", 0,
         "renamed the role Sales to Sales Team (role 4)\n", ""},
        {"roles rename F TEMP xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", 2, "",
         "a role name has 1 to 29 characters: \"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\""},
        {"roles rename F admin Boss --force", 2, "",
         "the role Admin holds every action on everything and cannot be edited, nor renamed: it "
         "is known by that name"},
        {"roles rename F \"External Accountant\" Auditor", 2, "",
         "the role External Accountant is one of the two predefined roles that the office needs, "
         "known by its name; --force renames it anyway"},
        {"roles rename F \"External Accountant\" Auditor --force", 0,
         "renamed the role External Accountant to Auditor (role 2)\n", ""},
        {"roles describe F TEMP \"Temporary staff\"", 0,
         "described the role TEMP (role 8): Temporary staff\n", ""},
        {"roles describe F Desk \"\"", 0, "cleared the description of the role Desk (role 10)\n",
         ""},
        {"roles describe F Admin x", 2, "",
         "the role Admin holds every action on everything and cannot be edited, nor described "
         "anew"},
        {"roles describe F TEMP \" x\"", 2, "", "the description \" x\" has a blank at its start"},
        {"roles create F Y --description " + std::string(512, 'x'), 2, "",
         "a description has at most 511 bytes; this one has 512"},
        {"roles create F OrvaneApp", 0,
         "created the role OrvaneApp (role 11), with no action anywhere\n", ""},
        {"roles rename F orvaneapp Bridge", 2, "",
         "the role OrvaneApp is the one that OrvaneConnect acts under, found by its name; renamed, "
         "OrvaneConnect would get a new role with the catalogue's defaults; --force renames it "
         "anyway"},
        {"roles copy F \"Sales Team\" East", 0, "copied Sales Team to East (role 12)\n", ""},
    });
    std::map<std::string, std::string> const after = Descriptions();
    EXPECT_EQ(before.size() + 5, after.size());
    EXPECT_EQ(before.at("View Only"), after.at("Clerks"));
    EXPECT_EQ(before.at("External Accountant"), after.at("Auditor"));
    EXPECT_EQ("", after.at("Desk"));
    EXPECT_EQ("Temporary staff", after.at("TEMP"));
    EXPECT_FALSE(std::regex_search(Tree("TEMP", m_File), std::regex("=[1-9]")));
    EXPECT_EQ(Tree("View Only", m_File), Tree("Clerks", m_File));
    EXPECT_EQ(sales, Tree("Desk", m_File));
    EXPECT_EQ(sales, Tree("Sales Team", m_File));
    EXPECT_EQ(sales, Tree("East", m_File));
    EXPECT_EQ("Sales Team", Json("explain F carol Invoices")["roles"][0]["name"]);
}

// Each case on a new role, empty or like Sales (full on Sales and the items
// below it, none on Bank Feeds, the accounts and Bills). Masks: view 1,
// create 2, print 16, full 63.
TEST_P(RoleCreateTest, TheGrantOnTheEntitlementWinsThenItsNearestHeadingThenStar) {
    RunAll({"bank add F Checking", "bank add F Checking:Payroll"});
    struct {
        char const* like;
        char const* grants;
        char const* out; // after "saved the role R:\n"; nullptr: not compared
        char const* masks;
    } const cases[] = {
        {"", "--grant *=view", "  229 entitlements changed (roles show lists them)\n",
         "1 1 1 1 1 1 1"},
        {"", "--recursive --grant \"Bank Registers:Checking=view\"",
         "  Bank Registers:Checking: view (was none)\n"
         "  Bank Registers:Checking:Payroll: view (was none)\n",
         "0 1 1 0 0 0 0"},
        {"", "--recursive --grant \"Bank Registers:Checking=none\"",
         "  Bank Registers:Checking: none\n  1 more entitlement held that already\n",
         "0 0 0 0 0 0 0"},
        {"Sales", "--grant Sales=view", "  Sales: view (was full)\n", "0 0 0 1 63 63 0"},
        {"Sales", "--grant Invoices=print --grant \"*=none\" --grant Sales=view --recursive",
         nullptr, "0 0 0 1 1 16 0"},
        {"Sales", "--grant \"*=none\" --grant Invoices=view,create", nullptr, "0 0 0 0 0 3 0"},
        {"", "--recursive --grant \"Bank Accounts=view\" --grant \"Bank Registers:Checking=none\"",
         nullptr, "1 0 0 0 0 0 0"},
        {"Sales", "--grant \"*=none\" --recursive --grant Sales=full",
         "  41 entitlements changed (roles show lists them)\n"
         "  188 entitlements held that already\n",
         nullptr},
    };
    int n = 0;
    for (auto const& c : cases) {
        std::string const role = "R" + std::to_string(++n);
        SCOPED_TRACE(role + " " + c.grants);
        Out("roles create F " + role + (*c.like ? " --like " : "") + c.like);
        std::string const edit = Out("roles edit F " + role + " " + c.grants);
        EXPECT_EQ(0u, edit.find("saved the role " + role + ":\n"));
        if (c.out != nullptr) {
            EXPECT_EQ("saved the role " + role + ":\n" + c.out, edit);
        }
        if (c.masks != nullptr) {
            EXPECT_EQ(c.masks, Masks(role));
        }
    }
    Expect(
        {{"roles edit F R1 --grant *=view --grant \"*=none\"", 2, "", "\"*\" is granted twice"}});
}

// roles show --json of a role with bank accounts, fed back into a role of
// another file whose accounts have other ids, as it is and as {"NAME": ACTIONS}.
TEST_P(RoleCreateTest, WhatRolesShowPrintsFeedsBackByFullName) {
    std::string const other = CopyOfCompany(m_File, "other");
    RunAll({"bank add F Checking", "bank add F Checking:Payroll", "bank add F Savings",
            "roles create F Banker",
            "roles edit F Banker --recursive --grant *=view --grant "
            "\"Bank Registers:Checking=full\" --grant Invoices=create"});
    PMTest::RunAll({"bank add F Savings", "bank add F Checking", "bank add F Checking:Payroll",
                    "roles create F Shown", "roles create F Named"},
                   other);
    nlohmann::json const shown = Json("roles show F Banker");
    nlohmann::json named = nlohmann::json::object();
    for (nlohmann::json const& row : shown["entitlements"]) {
        named[row["fullName"].get<std::string>()] = row["actions"];
    }
    std::string const banker = Tree("Banker", m_File);
    EXPECT_NE(std::string::npos, banker.find(" Bank Registers:Checking:Payroll=63 "));
    for (auto const& [role, grants] : {std::pair{"Shown", shown}, std::pair{"Named", named}}) {
        std::ofstream(Scratch("grants.json"), std::ios::trunc) << grants.dump();
        PMTest::Out("roles edit F " + std::string(role) + " --from-json " + Scratch("grants.json"),
                    other);
        EXPECT_EQ(banker, Tree(role, other)) << role;
    }
}

INSTANTIATE_ON_BOTH_ENGINES(RoleCreateTest);

} // namespace
