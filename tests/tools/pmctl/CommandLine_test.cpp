// The command line as a person types it: each command's options reach the
// command, what does not parse exits 2, destructive commands ask first.
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

namespace {

using namespace Pmctl;

class CommandLineTest : public PMTest::CommandTest {
protected:
    // Someone at the terminal who answers every question with answer.
    Prompt Answering(char const* answer) {
        return [this, answer](std::string const& question) {
            asked = question;
            return std::optional<std::string>(answer);
        };
    }
    std::string asked;
};

TEST_P(CommandLineTest, EachOptionReachesItsCommand) {
    // An invisible role, as an integrated application's role is.
    Query("UPDATE roles SET is_visible = 0 WHERE name = 'View Only'");
    EXPECT_EQ(7u, nlohmann::json::parse(Pmctl("roles list F --json").out).size());
    EXPECT_EQ(8u, nlohmann::json::parse(Pmctl("roles list F --all --json").out).size());
    EXPECT_EQ(1, Pmctl("check F carol Bills view").code);
    EXPECT_EQ(0, Pmctl("check F carol Invoices view").code);

    std::string const log = Scratch("pm.log");
    PMTest::Result acting =
        Pmctl("--log " + log + " check F carol Invoices view --as OrvaneConnect");
    EXPECT_EQ(0u, acting.out.find("allowed: OrvaneConnect for carol may view Invoices"));
    EXPECT_EQ("", acting.err) << "the library's log stays off the terminal";
    EXPECT_NE(std::string::npos,
              PMTest::ReadBytes(log).find("Platform\\SecurityRoles\\PM\\src\\permissionmanager"));
    EXPECT_EQ(kExitBadInput, Pmctl("--log " + m_Dir + "/none/pm.log info F").code);

    std::string const before = Contents();
    EXPECT_EQ("added user erin (id 104, administrator); the user holds Admin\n(dry run: "
              "nothing was written to " +
                  m_File + ")\n",
              Pmctl("users add F erin --admin --dry-run").out);
    EXPECT_TRUE(Contents() == before);
}

TEST_P(CommandLineTest, DestructiveCommandsAskFirstAndProtectWhatTheOfficeNeeds) {
    std::string const before = Contents();
    PMTest::Result unasked = Pmctl("reset F");
    EXPECT_EQ(kExitBadInput, unasked.code);
    EXPECT_NE(std::string::npos, unasked.err.find("not on a terminal, it needs --yes"));
    PMTest::Result declined = Pmctl("users remove F carol", m_File, Answering("n"));
    EXPECT_EQ(kExitFailed, declined.code);
    EXPECT_EQ("Remove the user carol from " + m_File + "? [y/N] ", asked);
    EXPECT_EQ("pmctl: nothing was changed\n", declined.err);
    EXPECT_TRUE(Contents() == before);

    EXPECT_EQ(0, Pmctl("users remove F carol", m_File, Answering("y")).code);
    std::pair<char const*, int> const steps[] = {
        {"bank add F Checking", 0},
        {"bank remove F Checking --yes", 0},
        {"unassign F admin Admin", kExitBadInput},
        {"roles delete F Admin --yes", kExitBadInput},
        {"unassign F admin Admin --force", 0},
        {"roles delete F \"External Accountant\" --yes --force", 0},
    };
    for (auto const& [line, code] : steps) {
        SCOPED_TRACE(line);
        PMTest::Result result = Pmctl(line);
        EXPECT_EQ(code, result.code) << result.err;
    }
    EXPECT_EQ("admin; dave", Query("SELECT name FROM users ORDER BY user_id"));
    EXPECT_EQ("3; 3", Query("SELECT user_key FROM user_roles")); // dave's two
    EXPECT_EQ("7", Query("SELECT count(*) FROM roles"));
}

INSTANTIATE_ON_BOTH_ENGINES(CommandLineTest);

} // namespace
