// Every kind of bad input: exit code 2, a message that names the fault and
// the file, and the company file byte for byte as it was. A file that is not
// a company file is refused before any of them is looked at, untouched.
#include "support/PmctlTesting.h"

#include <filesystem>
#include <fstream>

namespace {

using namespace Pmctl;

struct Case {
    char const* what;
    PMTest::Command run;
    char const* message; // after "pmctl: FILE: "
};

Case const kCases[] = {
    {"unknown user", [](auto& f, Io io) { return AssignCommand(f, "zoe", "Sales", io); },
     "no user named \"zoe\""},
    {"unknown role", [](auto& f, Io io) { return AssignCommand(f, "carol", "Clerk", io); },
     "no role named \"Clerk\""},
    {"unknown role id", [](auto& f, Io io) { return AssignCommand(f, "carol", "99", io); },
     "no role named \"99\""},
    {"role not held", [](auto& f, Io io) { return UnassignCommand(f, "carol", "Admin", io); },
     "carol does not hold the role Admin"},
    {"unknown entitlement",
     [](auto& f, Io io) { return CheckCommand(f, "carol", "Invoicez", "view", "", io); },
     "no entitlement named \"Invoicez\""},
    {"unknown entitlement id",
     [](auto& f, Io io) { return ExplainCommand(f, "carol", "299999", io); },
     "no entitlement named \"299999\""},
    {"unknown action",
     [](auto& f, Io io) { return CheckCommand(f, "carol", "Invoices", "viw", "", io); },
     "unknown action \"viw\" (actions: view, create, modify, delete, print, viewbal, custom, "
     "none, full)"},
    {"two actions",
     [](auto& f, Io io) { return CheckCommand(f, "carol", "Invoices", "view,create", "", io); },
     "check asks about one action, not \"view,create\""},
    {"unknown application",
     [](auto& f, Io io) { return CheckCommand(f, "carol", "Invoices", "view", "Nope", io); },
     "no integrated application named \"Nope\" in the catalogue (applications: OrvaneConnect, "
     "TimeClockBridge)"},
    {"unknown role to show", [](auto& f, Io io) { return RolesShowCommand(f, "Nope", io); },
     "no role named \"Nope\""},
    {"protected role", [](auto& f, Io io) { return RolesDeleteCommand(f, "admin", io); },
     "the role Admin is one of the two predefined roles that the office needs; --force deletes "
     "it anyway"},
    {"taken user name", [](auto& f, Io io) { return UsersAddCommand(f, "dave", false, io); },
     "there is a user named \"dave\" already"},
    {"empty user name", [](auto& f, Io io) { return UsersAddCommand(f, "", false, io); },
     "a user name cannot be empty"},
    {"Admin is not edited",
     [](auto& f, Io io) { return RolesEditCommand(f, "Admin", {"Invoices=view"}, "", io); },
     "the role Admin holds every action on everything and cannot be edited"},
    {"grant without actions",
     [](auto& f, Io io) { return RolesEditCommand(f, "Sales", {"Invoices"}, "", io); },
     "a grant is ENTITLEMENT=ACTIONS, not \"Invoices\""},
    {"unknown action in a grant",
     [](auto& f, Io io) { return RolesEditCommand(f, "Sales", {"Bills=view,fly"}, "", io); },
     "in \"Bills=view,fly\": unknown action \"fly\" (actions: view, create, modify, delete, "
     "print, viewbal, custom, none, full)"},
    {"grant on an unknown entitlement",
     [](auto& f, Io io) {
         return RolesEditCommand(f, "Sales", {"Bills=view", "Billz=view"}, "", io);
     },
     "no entitlement named \"Billz\""},
    {"granted twice",
     [](auto& f, Io io) {
         return RolesEditCommand(f, "Sales", {"Invoices=view", "6=none"}, "", io);
     },
     "Invoices is granted twice"},
    {"copy to a taken name",
     [](auto& f, Io io) { return RolesCopyCommand(f, "Sales", "purchasing", io); },
     "there is a role named \"purchasing\" already"},
    {"copy to a long name",
     [](auto& f, Io io) { return RolesCopyCommand(f, "Sales", std::string(30, 'x'), io); },
     "a role name has 1 to 29 characters: \"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\""},
    {"a control character in a name",
     [](auto& f, Io io) { return UsersAddCommand(f, "ab\x01", false, io); },
     "the user name has a control character (U+0001) at character 3"},
    {"a role name that is not UTF-8",
     [](auto& f, Io io) { return RolesCopyCommand(f, "Sales", "Caf\xE9", io); },
     "the role name has a byte that is not UTF-8 (0xE9) at character 4"},
    {"a blank around an account's name",
     [](auto& f, Io io) { return BankAddCommand(f, "Checking :Payroll", io); },
     "the account name \"Checking \" has a blank at its end"},
    {"the version record granted",
     [](auto& f, Io io) { return RolesEditCommand(f, "Sales", {"0=view"}, "", io); },
     "\"0\" is the version record, not an entitlement"},
    {"the last holder of Admin", [](auto& f, Io io) { return UnassignCommand(f, "admin", "", io); },
     "admin is the last holder of Admin, and without one nobody can manage the rights; --force "
     "does it anyway"},
    {"a predefined role",
     [](auto& f, Io io) { return RolesDeleteCommand(f, "External Accountant", io); },
     "the role External Accountant is one of the two predefined roles that the office needs; "
     "--force deletes it anyway"},
    {"only administrator", [](auto& f, Io io) { return UsersRemoveCommand(f, "admin", io); },
     "admin is the only administrator and cannot be removed"},
    {"account under an unknown one",
     [](auto& f, Io io) { return BankAddCommand(f, "Nope:Sub", io); },
     "no bank account \"Nope\" to hold \"Sub\""},
    {"unknown account to remove", [](auto& f, Io io) { return BankRemoveCommand(f, "Nope", io); },
     "no bank account \"Nope\""},
    {"unknown account to rename",
     [](auto& f, Io io) { return BankRenameCommand(f, "Nope:A", "Nope:B", io); },
     "no bank account \"Nope:A\""},
};

class BadInputTest : public PMTest::CommandTest {};

TEST_F(BadInputTest, ExitsWithTwoAndLeavesTheFileAsItWas) {
    std::string const before = PMTest::ReadBytes(m_File);
    std::string const notes = Scratch("notes.pmco");
    std::ofstream(notes) << "not a company file\n";
    for (Case const& c : kCases) {
        SCOPED_TRACE(c.what);
        PMTest::Result result = Run(c.run);
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ("pmctl: " + m_File + ": " + c.message + "\n", result.err);
        EXPECT_EQ("", result.out);
        EXPECT_FALSE(std::filesystem::exists(m_File + "-wal"));
        EXPECT_TRUE(before == PMTest::ReadBytes(m_File));

        result = PMTest::Capture([&](Io io) { return c.run({notes, "", false}, io); });
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ("pmctl: Cannot open company file '" + notes +
                      "': it is not an SQLite database (its first 16 bytes are not \"SQLite "
                      "format 3\").\n",
                  result.err);
        EXPECT_EQ("not a company file\n", PMTest::ReadBytes(notes));
    }
}

} // namespace
