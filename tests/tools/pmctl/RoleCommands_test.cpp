// pmctl roles: show, delete, list, edit and copy.
#include "support/PmctlTesting.h"

#include <fstream>
#include <map>

namespace {

using Pmctl::kExitBadInput;

class RoleCommandsTest : public PMTest::CommandTest {};

TEST_P(RoleCommandsTest, ShowListsTheVisibleTreeParentsFirstWithTheRolesActions) {
    nlohmann::json json = Json("roles show F Sales");
    EXPECT_EQ(4, json["role"]["id"]);
    std::map<int, int> depthOf = {{100000, -1}};
    std::map<std::string, int> maskOf;
    for (nlohmann::json const& row : json["entitlements"]) {
        SCOPED_TRACE(row.dump());
        ASSERT_EQ(1u, depthOf.count(row["parent"].get<int>()));
        EXPECT_EQ(depthOf[row["parent"]] + 1, row["depth"]);
        depthOf[row["id"]] = row["depth"];
        maskOf[row["name"]] = row["mask"];
    }
    EXPECT_EQ(63, maskOf["Invoices"]);
    EXPECT_EQ(0, maskOf["Bills"]);
    EXPECT_EQ(0u, maskOf.count("PermissionData")); // invisible

    std::string const text = Out("roles show F #4");
    EXPECT_EQ(0u, text.find("Sales (role 4)\n├── Accounting "));
    EXPECT_EQ(json["entitlements"].size() + 1, std::count(text.begin(), text.end(), '\n'));
}

TEST_P(RoleCommandsTest, DeleteTakesTheRoleFromItsUsers) {
    EXPECT_EQ("deleted the role Purchasing (role 5); it was taken from dave\n",
              Out("roles delete F Purchasing --yes"));
    nlohmann::json roles = Json("explain F dave Bills")["roles"];
    ASSERT_EQ(1u, roles.size());
    EXPECT_EQ("Payroll Clerk", roles[0]["name"]);
}

TEST_P(RoleCommandsTest, EditSetsTheNamedMasksFromGrantsAndJsonAndSlavesFollowTheirMaster) {
    std::string grants = Scratch("grants.json");
    std::ofstream(grants) << R"({"Bills": ["view", "print"], "Journal Entries": 63, "#9": "none"})";
    EXPECT_EQ(0u, Out("roles edit F Sales --grant Estimates=view,create --grant Invoices=view "
                      "--from-json " +
                      grants)
                      .find("saved the role Sales:\n"));
    std::pair<char const*, long> const expected[] = {
        {"Estimates", 3},        {"Invoices", 1},           {"Bills", 17},
        {"Journal Entries", 63}, {"Reversing Entries", 63}, // slave of Journal Entries
        {"Customer Credits", 0}, {"Customer Refunds", 0},   // by id, with its slave
        {"Sales Receipts", 63},                             // not named: kept
    };
    for (auto const& [entitlement, mask] : expected) {
        SCOPED_TRACE(entitlement);
        EXPECT_EQ(mask, RoleMask("Sales", entitlement));
    }
}

TEST_P(RoleCommandsTest, GrantsThatCannotBeMeantAreRefused) {
    std::string const grants = Scratch("grants.json");
    std::pair<char const*, std::string> const cases[] = {
        // the document, and what follows "pmctl: FILE: "
        {R"({"Bills": "view", "Bills": "none"})", "$: duplicate key \"Bills\""},
        {R"({"entitlements": [{"id": 6, "mask": 1, "mask": 3}]})",
         "$.entitlements[0]: duplicate key \"mask\""},
        {R"({"entitlements": [{"name": "Bills", "mask": 128}]})",
         "$.entitlements[0].mask: mask 128 is not an action (masks are whole numbers from 0 to "
         "127)"},
        {R"({"Journal Entries": 1.5})", "$[\"Journal Entries\"]: mask 1.5 is not an action (masks "
                                        "are whole numbers from 0 to 127)"},
    };
    std::string const before = Contents();
    for (auto const& [json, error] : cases) {
        SCOPED_TRACE(json);
        std::ofstream(grants, std::ios::trunc) << json;
        PMTest::Result result = Pmctl("roles edit F Sales --from-json " + grants);
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ("pmctl: " + grants + ": " + error + "\n", result.err);
    }
    EXPECT_TRUE(Contents() == before);
}

INSTANTIATE_ON_BOTH_ENGINES(RoleCommandsTest);

} // namespace
