// The command line as a person types it: each command's options reach the
// command, what does not parse exits 2, destructive commands ask first.
#include "CommandLine.h"
#include "support/PmctlTesting.h"

#include <sqlite3.h>

namespace {

using namespace Pmctl;
using PMTest::Capture;

class CommandLineTest : public PMTest::CommandTest {
protected:
    // Runs pmctl with the arguments; "F" stands for the company file. The
    // prompt answers with answer; without one, there is no terminal.
    PMTest::Result Pmctl(std::vector<std::string> args, char const* answer = nullptr) {
        args.insert(args.begin(), "pmctl");
        for (std::string& arg : args) {
            arg = arg == "F" ? m_File : arg;
        }
        Prompt prompt;
        if (answer != nullptr) {
            prompt = [this, answer](std::string const& question) {
                asked = question;
                return std::optional<std::string>(answer);
            };
        }
        return Capture([&](Io io) { return RunCommandLine(args, io, prompt); });
    }
    std::string asked;
};

TEST_F(CommandLineTest, WhatDoesNotParseExitsTwoWithAHint) {
    for (std::vector<std::string> const& args : {std::vector<std::string>{},
                                                 {"nope"},
                                                 {"info"},
                                                 {"info", "F", "--dry-run"},
                                                 {"assign", "F", "carol"},
                                                 {"roles", "list", "F", "--grant", "x"},
                                                 {"users", "remove", "F", "--force"}}) {
        SCOPED_TRACE(::testing::PrintToString(args));
        PMTest::Result result = Pmctl(args);
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ(0u, result.err.find("pmctl: "));
        EXPECT_EQ("(pmctl --help lists the commands)\n",
                  result.err.substr(result.err.find('\n') + 1));
    }
    PMTest::Result help = Pmctl({"--help"});
    EXPECT_EQ(0, help.code);
    EXPECT_NE(std::string::npos, help.out.find("unassign"));
}

TEST_F(CommandLineTest, EachOptionReachesItsCommand) {
    auto roles = [](std::string const& out) { return nlohmann::json::parse(out).size(); };
    // An invisible role, as an integrated application's role is.
    sqlite3* db = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(m_File.c_str(), &db));
    sqlite3_exec(db, "UPDATE roles SET is_visible = 0 WHERE name = 'View Only'", nullptr, nullptr,
                 nullptr);
    sqlite3_close(db);
    EXPECT_EQ(7u, roles(Pmctl({"roles", "list", "F", "--json"}).out));
    EXPECT_EQ(8u, roles(Pmctl({"roles", "list", "F", "--all", "--json"}).out));
    EXPECT_EQ(1, Pmctl({"check", "F", "carol", "Bills", "view"}).code);
    EXPECT_EQ(0, Pmctl({"check", "F", "carol", "Invoices", "view"}).code);

    std::string const log = Scratch("pm.log");
    PMTest::Result acting =
        Pmctl({"--log", log, "check", "F", "carol", "Invoices", "view", "--as", "OrvaneConnect"});
    EXPECT_EQ(0u, acting.out.find("allowed: OrvaneConnect for carol may view Invoices"));
    EXPECT_EQ("", acting.err) << "the library's log stays off the terminal";
    EXPECT_NE(std::string::npos,
              PMTest::ReadBytes(log).find("Platform\\SecurityRoles\\PM\\src\\permissionmanager"));
    EXPECT_EQ(kExitBadInput, Pmctl({"--log", m_Dir + "/none/pm.log", "info", "F"}).code);

    std::string const before = PMTest::ReadBytes(m_File);
    PMTest::Result dry = Pmctl({"users", "add", "F", "erin", "--admin", "--dry-run"});
    EXPECT_EQ("added user erin (id 104, administrator); the user holds no role yet\n(dry run: "
              "nothing was written to " +
                  m_File + ")\n",
              dry.out);
    EXPECT_TRUE(PMTest::ReadBytes(m_File) == before);
}

TEST_F(CommandLineTest, DestructiveCommandsAskFirstAndProtectWhatTheOfficeNeeds) {
    std::string const before = PMTest::ReadBytes(m_File);
    PMTest::Result unasked = Pmctl({"reset", "F"});
    EXPECT_EQ(kExitBadInput, unasked.code);
    EXPECT_NE(std::string::npos, unasked.err.find("not on a terminal, it needs --yes"));
    PMTest::Result declined = Pmctl({"users", "remove", "F", "carol"}, "n");
    EXPECT_EQ(kExitFailed, declined.code);
    EXPECT_EQ("Remove the user carol from " + m_File + "? [y/N] ", asked);
    EXPECT_EQ("pmctl: nothing was changed\n", declined.err);
    EXPECT_TRUE(PMTest::ReadBytes(m_File) == before);

    struct Step {
        std::vector<std::string> args;
        char const* answer;
        int code;
    } const steps[] = {
        {{"users", "remove", "F", "carol"}, "y", 0},
        {{"bank", "add", "F", "Checking"}, nullptr, 0},
        {{"bank", "remove", "F", "Checking", "--yes"}, nullptr, 0},
        {{"unassign", "F", "admin", "Admin"}, nullptr, kExitBadInput},
        {{"roles", "delete", "F", "Admin", "--yes"}, nullptr, kExitBadInput},
        {{"unassign", "F", "admin", "Admin", "--force"}, nullptr, 0},
        {{"roles", "delete", "F", "External Accountant", "--yes", "--force"}, nullptr, 0},
    };
    for (Step const& step : steps) {
        SCOPED_TRACE(::testing::PrintToString(step.args));
        PMTest::Result result = Pmctl(step.args, step.answer);
        EXPECT_EQ(step.code, result.code) << result.err;
    }
    nlohmann::json users = Json(UsersListCommand);
    EXPECT_EQ("admin:0 dave:2", users[0]["name"].get<std::string>() + ":" +
                                    std::to_string(users[0]["roles"].size()) + " " +
                                    users[1]["name"].get<std::string>() + ":" +
                                    std::to_string(users[1]["roles"].size()));
    EXPECT_EQ(7u, Json([](auto& f, Io io) { return RolesListCommand(f, true, io); }).size());
}

} // namespace
