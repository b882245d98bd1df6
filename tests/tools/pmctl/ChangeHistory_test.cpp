// The change history: what each write command records with its change, what
// pmctl log shows of it and how it filters, and a file of schema version 1,
// which has none until its first change.
#include "ChangeHistory.h"
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

#include <regex>

namespace {

using PMTest::QueryFile;

class ChangeHistoryTest : public PMTest::CommandTest {
protected:
    // What log prints, its times and the user running the test replaced by
    // TIME and USER.
    std::string Log(std::string const& line = "log F") const { return Log(line, m_File); }
    std::string Log(std::string const& line, std::string const& file) const {
        std::regex const stamp("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ  " +
                               Pmctl::OsUserName() + "  ");
        std::string normal;
        std::istringstream lines(PMTest::Out(line, file));
        for (std::string text; std::getline(lines, text);) {
            normal += std::regex_replace(text, stamp, "TIME  USER  ") + "\n";
        }
        return normal;
    }
    // The last change that log shows.
    std::string LastChange() const {
        std::string const log = Log();
        return log.substr(log.rfind("\nTIME") + 1);
    }
};

// Each command's change as log shows it; a command that fails, a dry run and
// a command that changes nothing leave the last change as it was.
TEST_P(ChangeHistoryTest, EachChangeIsRecordedWithTheCommandAndWhatItDid) {
    RunSteps(
        {
            {"users add F erin", 0,
             "TIME  USER  users add erin\n    added the user erin (id 104)\n"},
            {"assign F erin \"View Only\"", 0,
             "TIME  USER  assign erin \"View Only\"\n    gave erin the role View Only\n"},
            {"assign F erin \"View Only\"", 0, nullptr},
            {"assign F nobody Sales", 2, nullptr},
            {"users add F frank --dry-run", 0, nullptr},
            {"roles edit F \"View Only\" --grant \"Bank Registers=view,print\" --grant Bills=none",
             0,
             "TIME  USER  roles edit \"View Only\" --grant \"Bank Registers=view,print\" --grant "
             "Bills=none\n    View Only on Bills: view -> none\n    View Only on Vendor Credits: "
             "view -> none\n    View Only on Bank Registers: view -> view,print\n"},
            {"bank add F Checking:Payroll", 2, nullptr},
            {"bank add F Checking", 0,
             "TIME  USER  bank add Checking\n    added the bank account Bank Registers:Checking "
             "(id 300000)\n"},
            {"bank add F Checking:Payroll", 0,
             "TIME  USER  bank add Checking:Payroll\n    added the bank account Bank "
             "Registers:Checking:Payroll (id 300001)\n"},
            {"bank rename F Checking:Payroll Checking:Wages", 0,
             "TIME  USER  bank rename Checking:Payroll Checking:Wages\n    renamed the bank "
             "account Bank Registers:Checking:Payroll to Bank Registers:Checking:Wages (id "
             "300001)\n"},
            {"bank remove F Checking:Wages --yes", 0,
             "TIME  USER  bank remove Checking:Wages\n    removed the bank account Bank "
             "Registers:Checking:Wages (id 300001)\n"},
            {"roles copy F Purchasing Buyers", 0, ""},
            {"roles delete F Buyers --yes", 0,
             "TIME  USER  roles delete Buyers\n    deleted the role Buyers (id 8)\n"},
            {"users remove F dave --yes --force", 0,
             "TIME  USER  users remove dave --force\n    removed the user dave (id 103)\n    took "
             "the role "
             "Purchasing from dave\n    took the role Payroll Clerk from dave\n"},
        },
        [this] {
            std::string const last = LastChange();
            // A copy lists every mask of the new role: here only how it starts.
            return last.find("roles copy") == std::string::npos ? last : std::string();
        });
    // The copy, in full as JSON: the role and, of its masks, more than log shows.
    nlohmann::json const log = Json("log F --json");
    ASSERT_EQ(16u, log.size()) << "the template's six changes and ten more";
    nlohmann::json const& copied = log[13];
    EXPECT_EQ("roles copy Purchasing Buyers", copied["command"]);
    EXPECT_EQ(R"({"created":[{"description":"Vendors, purchase orders, bills and inventory.",)"
              R"("id":8,"name":"Buyers"}]})",
              copied["details"]["roles"].dump());
    EXPECT_EQ(R"(["Buyers","Purchase Orders",0,63])", copied["details"]["masks"][0].dump());
}

// With --json a write command prints its record alone (what log --json lists);
// what it says in words goes to the error output. A dry run's record has no id
// and is not written.
TEST_P(ChangeHistoryTest, JsonOnAWriteCommandPrintsTheRecordAlone) {
    PMTest::Result dry = Pmctl("roles edit F Sales --grant Bills=view --dry-run --json");
    ASSERT_EQ(0, dry.code) << dry.err;
    nlohmann::json record = nlohmann::json::parse(dry.out);
    EXPECT_FALSE(record.contains("id"));
    EXPECT_EQ(R"({"masks":[["Sales","Bills",0,1],["Sales","Vendor Credits",0,1]]})",
              record["details"].dump());
    EXPECT_EQ("saved the role Sales:\n  Bills: view (was none)\n(dry run: nothing was written to " +
                  m_File + ")\n",
              dry.err);

    PMTest::Result added = Pmctl("users add F erin --json");
    ASSERT_EQ(0, added.code) << added.err;
    EXPECT_EQ("added user erin (id 104); the user holds no role yet\n", added.err);
    record = nlohmann::json::parse(added.out);
    EXPECT_EQ(Pmctl::OsUserName(), record["osUser"]);
    EXPECT_EQ(record, Json("log F --json").back());
    record.erase("changedAt");
    record.erase("osUser");
    EXPECT_EQ(R"({"command":"users add erin",)"
              R"("details":{"users":{"added":[{"admin":false,"id":104,"name":"erin"}]}},"id":7})",
              record.dump());
}

// --since keeps what came from a date or a time on, --user what one
// operating-system user did; a date that is not one is bad input.
TEST_P(ChangeHistoryTest, LogFiltersByTimeAndUser) {
    Query("INSERT INTO change_history (changed_at, os_user, command, details) VALUES "
          "('2026-01-05T10:00:00Z', 'ann', 'users add x', '{}'), "
          "('2026-01-06T00:00:00Z', 'bob', 'assign x Sales', '{\"assignments\":"
          "{\"added\":[{\"user\":\"x\",\"role\":\"Sales\"}]}}'), "
          "('2026-01-07T12:30:00Z', 'ann', 'users remove x', 'not JSON')");
    std::vector<Row> rows = {
        {"log F --user ann", 0,
         "2026-01-05T10:00:00Z  ann  users add x\n    (nothing changed)\n2026-01-07T12:30:00Z  "
         "ann  users remove x\n    (details that pmctl cannot read)\n",
         ""},
        {"log F --user bob --since 2026-01-06", 0,
         "2026-01-06T00:00:00Z  bob  assign x Sales\n    gave x the role Sales\n", ""},
        {"log F --user bob --since 2026-01-06T00:00:00Z", 0,
         "2026-01-06T00:00:00Z  bob  assign x Sales\n    gave x the role Sales\n", ""},
        {"log F --user bob --since \"2026-01-06 00:00:01\"", 0, "no recorded change matches\n", ""},
        {"log F --user ann --since 2026-01-06", 0,
         "2026-01-07T12:30:00Z  ann  users remove x\n    "
         "(details that pmctl cannot read)\n",
         ""},
    };
    for (std::string bad : {"2026-02-29", "yesterday", "2026-01-06T24:00:00Z", "2026-1-6"}) {
        rows.push_back(
            {"log F --since " + bad, 2, "",
             "--since takes a date (2026-11-25) or a time in UTC (2026-11-25T03:34:53Z), "
             "not \"" +
                 bad + "\""});
    }
    Expect(rows);
    nlohmann::json const ann = Json("log F --user ann --json");
    ASSERT_EQ(2u, ann.size());
    EXPECT_EQ("users add x", ann[0]["command"]);
    EXPECT_EQ("not JSON", ann[1]["details"]) << "details that are not JSON are kept as text";
}

// A file of schema version 1 has no history: log says so, and reads, a
// failed change and a dry run leave it byte for byte. Its first change
// upgrades it and is its first record.
class ChangeHistoryFileTest : public ChangeHistoryTest {};

TEST_F(ChangeHistoryFileTest, AVersionOneFileGetsItsHistoryWithItsFirstChange) {
    QueryFile(m_File, "DROP TABLE change_history; PRAGMA user_version = 1");
    std::string const older = PMTest::ReadBytes(m_File);
    EXPECT_EQ(m_File + " has no change history yet: it keeps one from its next change\n", Log());
    EXPECT_EQ("[]\n", Pmctl("log F --json").out);
    for (char const* line : {"info F", "verify F", "users list F", "assign F carol nobody",
                             "users add F erin --dry-run"}) {
        Pmctl(line);
        EXPECT_TRUE(PMTest::ReadBytes(m_File) == older) << line << " changed the file";
    }
    ASSERT_EQ(0, Pmctl("users add F erin").code);
    EXPECT_EQ("2", QueryFile(m_File, "PRAGMA user_version"));
    EXPECT_EQ("TIME  USER  users add erin\n    added the user erin (id 104)\n", Log());
}

// create records what it made the file from and with; upgrade the versions
// and what the new catalogue brought, mended in the same change.
TEST_P(ChangeHistoryTest, CreateAndUpgradeRecordWhatTheyMade) {
    std::string const older = NewCompany("older");
    std::string const previous = PM_CATALOGUE_DIR "/catalogue-previous.json";
    PMTest::Out("create F --admin ann --catalogue " + previous, older);
    nlohmann::json const details =
        Json("upgrade F --catalogue " + PMTest::ShippedCatalogue(), older)["details"];
    EXPECT_EQ(R"({"from":24,"to":27})", details["version"].dump());
    EXPECT_EQ(36u, details["entitlements"]["added"].size());
    EXPECT_EQ(0u, Log("log F", older)
                      .find("TIME  USER  create --catalogue " + previous +
                            " --admin ann\n    created from " + previous +
                            " (version 24): 197 entitlements, 8 roles\n    added the user ann (id "
                            "101), an administrator\n    gave ann the role Admin\nTIME  USER  "
                            "upgrade --catalogue " +
                            PMTest::ShippedCatalogue() +
                            "\n    upgraded the permission data from version 24 to 27\n    added "
                            "the entitlement Reminders (id 180)\n"));
}

INSTANTIATE_ON_BOTH_ENGINES(ChangeHistoryTest);

} // namespace
