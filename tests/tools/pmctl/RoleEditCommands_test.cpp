// pmctl roles list, edit and copy.
#include "PmctlTesting.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace {

using PmctlTesting::Capture;

class RoleEditCommandsTest : public PmctlTesting::CommandTest {};

TEST_F(RoleEditCommandsTest, EditSetsTheNamedMasksFromGrantsAndJsonAndSlavesFollowTheirMaster) {
    std::string grants = Scratch("grants.json");
    std::ofstream(grants) << R"({"Bills": ["view", "print"], "Journal Entries": 63, "9": "none"})";
    PmctlTesting::Result edit = Capture([&](Pmctl::Io io) {
        return Pmctl::RolesEditCommand(File(), "Sales", {"Estimates=view,create", "Invoices=view"},
                                       grants, io);
    });
    ASSERT_EQ(0, edit.code) << edit.err;
    EXPECT_EQ(0u, edit.out.find("saved the role Sales:\n"));
    struct Expected {
        char const* entitlement;
        long mask;
    } const expected[] = {
        {"Estimates", 3},        {"Invoices", 1},           {"Bills", 17},
        {"Journal Entries", 63}, {"Reversing Entries", 63}, // slave of Journal Entries
        {"Customer Credits", 0}, {"Customer Refunds", 0},   // by id, with its slave
        {"Sales Receipts", 63},                             // not named: kept
    };
    for (Expected const& e : expected) {
        SCOPED_TRACE(e.entitlement);
        EXPECT_EQ(e.mask, RoleMask("Sales", e.entitlement));
    }
}

TEST_F(RoleEditCommandsTest, CopyMakesANewRoleWithTheSameMasksAndListShowsIt) {
    PmctlTesting::Result copy = Capture(
        [&](Pmctl::Io io) { return Pmctl::RolesCopyCommand(File(), "Sales", "Sales East", io); });
    ASSERT_EQ(0, copy.code) << copy.err;
    EXPECT_EQ("copied Sales to Sales East (role 8)\n", copy.out);
    PmctlTesting::Result original =
        Capture([&](Pmctl::Io io) { return Pmctl::RolesShowCommand(File(true), "Sales", io); });
    PmctlTesting::Result copied =
        Capture([&](Pmctl::Io io) { return Pmctl::RolesShowCommand(File(true), "8", io); });
    EXPECT_EQ(nlohmann::json::parse(original.out)["entitlements"],
              nlohmann::json::parse(copied.out)["entitlements"]);

    PmctlTesting::Result list =
        Capture([&](Pmctl::Io io) { return Pmctl::RolesListCommand(File(true), false, io); });
    std::string names;
    for (nlohmann::json const& role : nlohmann::json::parse(list.out)) {
        names +=
            role["name"].get<std::string>() + ":" + std::to_string(role["users"].get<int>()) + " ";
    }
    EXPECT_EQ("Admin:1 Bookkeeper:0 External Accountant:0 Payroll Clerk:1 Payroll Manager:0 "
              "Purchasing:1 Sales:1 Sales East:0 View Only:0 ",
              names);
}

} // namespace
