// pmctl roles: the tree drawing, show and delete.
#include "EntitlementTree.h"
#include "PmctlTesting.h"

#include <nlohmann/json.hpp>

#include <map>

namespace {

using PmctlTesting::Capture;

TEST(TreePrefixesTest, EachRowHangsFromItsParentAndTheLastChildClosesTheBranch) {
    // depths: A, A1, A1a, A2, B, B1
    std::vector<Pmctl::TreeRow> rows;
    for (int depth : {0, 1, 2, 1, 0, 1}) {
        rows.push_back({0, 0, depth, "", 0});
    }
    std::vector<std::string> expected = {
        "├── ", "│   ├── ", "│   │   └── ", "│   └── ", "└── ", "    └── ",
    };
    EXPECT_EQ(expected, Pmctl::TreePrefixes(rows));
}

class RoleCommandsTest : public PmctlTesting::CommandTest {};

TEST_F(RoleCommandsTest, ShowListsTheVisibleTreeParentsFirstWithTheRolesActions) {
    PmctlTesting::Result show =
        Capture([&](Pmctl::Io io) { return Pmctl::RolesShowCommand(File(true), "Sales", io); });
    ASSERT_EQ(0, show.code) << show.err;
    nlohmann::json json = nlohmann::json::parse(show.out);
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

    PmctlTesting::Result text =
        Capture([&](Pmctl::Io io) { return Pmctl::RolesShowCommand(File(), "4", io); });
    ASSERT_EQ(0, text.code) << text.err;
    EXPECT_EQ(0u, text.out.find("Sales (role 4)\n├── Accounting "));
    EXPECT_EQ(json["entitlements"].size() + 1, std::count(text.out.begin(), text.out.end(), '\n'));
}

TEST_F(RoleCommandsTest, DeleteTakesTheRoleFromItsUsers) {
    PmctlTesting::Result deleted =
        Capture([&](Pmctl::Io io) { return Pmctl::RolesDeleteCommand(File(), "Purchasing", io); });
    EXPECT_EQ(0, deleted.code) << deleted.err;
    EXPECT_EQ("deleted the role Purchasing (role 5); it was taken from dave\n", deleted.out);
    PmctlTesting::Result explain = Capture(
        [&](Pmctl::Io io) { return Pmctl::ExplainCommand(File(true), "dave", "Bills", io); });
    nlohmann::json roles = nlohmann::json::parse(explain.out)["roles"];
    ASSERT_EQ(1u, roles.size());
    EXPECT_EQ("Payroll Clerk", roles[0]["name"]);
}

} // namespace
