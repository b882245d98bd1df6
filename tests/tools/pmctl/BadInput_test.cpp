// Every kind of bad input: exit code 2, a message that names the fault and
// the company, and the company as it was (a file byte for byte, a database
// table for table). A file or database that holds no company is refused
// before any of them is looked at, untouched.
#include "support/PmctlTesting.h"

#include <filesystem>
#include <fstream>

namespace {

using Pmctl::kExitBadInput;

// A command line, and what follows "pmctl: FILE: " in its one line on
// standard error.
struct Case {
    char const* line;
    char const* message;
};

Case const kCases[] = {
    {"assign F zoe Sales", "no user named \"zoe\""},
    {"assign F carol Clerk", "no role named \"Clerk\""},
    {"assign F carol 99", "no role named \"99\""},
    {"unassign F carol Admin", "carol does not hold the role Admin"},
    {"check F carol Invoicez view",
     "no entitlement named \"Invoicez\" (did you mean \"Invoices\"?)"},
    {"explain F carol 299999", "no entitlement named \"299999\""},
    {"check F carol Invoices viw",
     "unknown action \"viw\" (actions: view, create, modify, delete, print, viewbal, custom, "
     "none, full)"},
    {"check F carol Invoices view,create", "check asks about one action, not \"view,create\""},
    {"check F carol Invoices view --as Nope",
     "no integrated application named \"Nope\" in the catalogue (applications: OrvaneConnect, "
     "TimeClockBridge)"},
    {"roles show F Nope", "no role named \"Nope\""},
    {"roles delete F admin --yes",
     "the role Admin is one of the two predefined roles that the office needs; --force deletes "
     "it anyway"},
    {"roles delete F \"External Accountant\" --yes",
     "the role External Accountant is one of the two predefined roles that the office needs; "
     "--force deletes it anyway"},
    {"users add F dave", "there is a user named \"dave\" already"},
    {"users add F \"\"", "a user name cannot be empty"},
    {"users add F ab\x01", "the user name has a control character (U+0001) at character 3"},
    {"users add F Zo\xC3\xAB\x7F", "the user name has a control character (U+007F) at character 4"},
    {"users add F \xC0\xAF", "the user name has a byte that is not UTF-8 (0xC0) at character 1"},
    {"users add F a\xED\xA0\x80",
     "the user name has a byte that is not UTF-8 (0xED) at character 2"},
    {"users add F \xC3", "the user name has a byte that is not UTF-8 (0xC3) at character 1"},
    {"roles copy F Sales Caf\xE9",
     "the role name has a byte that is not UTF-8 (0xE9) at character 4"},
    {"bank add F \"Checking :Payroll\"", "the account name \"Checking \" has a blank at its end"},
    {"roles edit F Admin --grant Invoices=view",
     "the role Admin holds every action on everything and cannot be edited"},
    {"roles edit F Sales --grant Invoices", "a grant is ENTITLEMENT=ACTIONS, not \"Invoices\""},
    {"roles edit F Sales --grant Bills=view,fly",
     "in \"Bills=view,fly\": unknown action \"fly\" (actions: view, create, modify, delete, "
     "print, viewbal, custom, none, full)"},
    {"roles edit F Sales --grant Bills=view --grant Billz=view",
     "no entitlement named \"Billz\" (did you mean \"Bills\"?)"},
    {"roles edit F Sales --grant Invoices=view --grant #6=none", "Invoices is granted twice"},
    {"roles edit F Sales --grant #0=view", "\"#0\" is the version record, not an entitlement"},
    {"roles copy F Sales purchasing", "there is a role named \"purchasing\" already"},
    {"roles copy F Sales xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx",
     "a role name has 1 to 29 characters: \"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxx\""},
    {"unassign F admin", "admin is the last holder of Admin, and without one nobody can manage "
                         "the rights; --force does it anyway"},
    {"users remove F admin --yes", "admin is the only administrator and cannot be removed"},
    {"bank add F Nope:Sub", "no bank account \"Nope\" to hold \"Sub\""},
    {"bank remove F Nope --yes", "no bank account \"Nope\""},
    {"bank rename F Nope:A Nope:B", "no bank account \"Nope:A\""},
};

class BadInputTest : public PMTest::CommandTest {
protected:
    // A location that holds something else than a company, and the message
    // that refuses it.
    std::pair<std::string, std::string> NotACompany() {
        if (!OnServer()) {
            std::string const notes = Scratch("notes.pmco");
            std::ofstream(notes) << "not a company file\n";
            return {notes, "Cannot open company file '" + notes +
                               "': it is not an SQLite database (its first 16 bytes are not "
                               "\"SQLite format 3\")."};
        }
        std::string const notes = NewCompany("notes");
        PMTest::QueryElsewhere(notes, "CREATE TABLE notes (line TEXT)");
        return {notes, "Cannot open company database '" + notes +
                           "': it is not a company database: it holds notes but no "
                           "company_metadata table."};
    }
};

TEST_P(BadInputTest, ExitsWithTwoAndLeavesTheCompanyAsItWas) {
    std::string const before = Contents();
    auto const [notes, refused] = NotACompany();
    std::string const notesBefore = Contents(notes);
    for (Case const& c : kCases) {
        SCOPED_TRACE(c.line);
        PMTest::Result result = Pmctl(c.line);
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ("pmctl: " + m_File + ": " + c.message + "\n", result.err);
        EXPECT_EQ("", result.out);
        EXPECT_FALSE(std::filesystem::exists(m_File + "-wal"));
        EXPECT_TRUE(before == Contents());

        result = Pmctl(c.line, notes);
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ("pmctl: " + refused + "\n", result.err);
        EXPECT_EQ(notesBefore, Contents(notes));
    }
}

INSTANTIATE_ON_BOTH_ENGINES(BadInputTest);

} // namespace
