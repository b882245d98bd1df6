// pmctl copy: a company moved to the location of the case's engine (a file,
// or the test server's database) and back, whole or not at all.
#include "support/EngineTesting.h"
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

using PMTest::QueryElsewhere;
using PMTest::RunPmctl;

// What the four tables and the users render as, by the commands an
// administrator reads them with.
std::string Rendered(std::string const& location) {
    std::string text;
    for (char const* line :
         {"matrix F --all --csv -", "users list F", "bank list F", "roles list F --all"}) {
        text += PMTest::Out(line, location);
    }
    return text;
}

class CopyCommandTest : public PMTest::EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        std::filesystem::create_directories(m_Dir);
        // Users with ids given up, a removed account, a name with a quote, an
        // edited role: what a copy must keep exactly.
        PMTest::RunAll(
            {"create F --admin alice", "users add F carol", "users add F dave",
             "users add F O'Brien", "assign F carol Sales", "assign F O'Brien Purchasing",
             "bank add F Checking", "bank add F Checking:Wages", "bank add F Savings",
             "bank remove F Savings --yes", "roles edit F Sales --grant Checking=view,print",
             "users remove F dave --yes"},
            m_Source);
    }
    void TearDown() override {
        EngineTest::TearDown();
        std::filesystem::remove_all(m_Dir);
    }
    PMTest::Result Copy(std::string const& from, std::string const& to,
                        std::string const& flags = "") {
        return RunPmctl("copy " + from + " " + to + flags, "");
    }
    // A second company, smaller, for the destination to hold.
    std::string Other() {
        std::string const other = m_Dir + "/other.pmco";
        EXPECT_EQ(0, RunPmctl("create F --admin zoe", other).code);
        return other;
    }

    std::string const m_Dir = ::testing::TempDir() + "pm_copy_" + std::to_string(::getpid());
    std::string const m_Source = m_Dir + "/books.pmco";
};

// To the engine's location and back: the copy renders as the original, and
// each table reads back with the rows and checksum it was read with, on
// either engine.
TEST_P(CopyCommandTest, ThereAndBackRendersAsTheOriginal) {
    std::string const back = m_Dir + "/back.pmco";
    PMTest::Result there = Copy(m_Source, Location(), " --json");
    ASSERT_EQ(0, there.code) << there.err;
    nlohmann::json const figures = nlohmann::json::parse(there.out)["tables"];
    PMTest::Result again = Copy(Location(), back);
    ASSERT_EQ(0, again.code) << again.err;
    EXPECT_EQ("", again.err);
    // The text names both locations, then each table with the source's
    // figures, which the first copy read from the original.
    // The text names both locations, then each table with the source's
    // figures, which the first copy read from the original.
    std::string expected = "copied " + Location() + " to " + back + " in ";
    EXPECT_EQ(expected, again.out.substr(0, expected.size()));
    expected = " s; each table read back from the copy:\n  table               rows  checksum   "
               "       in the copy\n";
    std::string names;
    for (nlohmann::json const& table : figures) {
        EXPECT_EQ(table["sourceChecksum"], table["destinationChecksum"]);
        char line[80];
        std::snprintf(line, sizeof line, "  %-16s%8ld  %-18sthe same\n",
                      table["table"].get<std::string>().c_str(), table["sourceRows"].get<long>(),
                      table["sourceChecksum"].get<std::string>().c_str());
        expected += line;
        names += table["table"].get<std::string>() + " ";
    }
    EXPECT_EQ(expected, again.out.substr(again.out.find(" s; ")));
    EXPECT_EQ("roles entitlements user_roles role_actions users host_counters change_history ",
              names);
    EXPECT_EQ(Rendered(m_Source), Rendered(back));
    // The counters came along: the next user gets the same id in both.
    EXPECT_EQ(RunPmctl("users add F erin", m_Source).out, RunPmctl("users add F erin", back).out);
}

// A destination that holds a company is refused, and kept, unless --replace.
TEST_P(CopyCommandTest, AnOccupiedDestinationIsReplacedOnlyWhenAsked) {
    ASSERT_EQ(0, Copy(Other(), Location()).code);
    std::string const before = Rendered(Location());
    PMTest::Result refused = Copy(m_Source, Location());
    EXPECT_EQ(Pmctl::kExitBadInput, refused.code);
    EXPECT_EQ("pmctl: " + Location() + ": " +
                  (OnServer() ? "nothing was copied: it holds a company already (1226 rows)"
                              : "the file exists already") +
                  "; pmctl copy --replace replaces it\n",
              refused.err);
    EXPECT_EQ(before, Rendered(Location()));
    EXPECT_EQ(0, Copy(m_Source, Location(), " --replace").code);
    EXPECT_EQ(Rendered(m_Source), Rendered(Location()));
}

// A destination that refuses one row, or keeps another than it was given,
// is left as it was: nothing of the copy is in it.
TEST_P(CopyCommandTest, AFailureHalfWayLeavesTheDestinationAsItWas) {
    struct Case {
        char const* file;   // what makes the destination file fail
        char const* server; // and the destination database
        char const* server_reason;
        char const* file_reason;
    } const cases[] = {
        {"CREATE TRIGGER refuse BEFORE INSERT ON entitlements WHEN NEW.name = 'Wages' BEGIN "
         "SELECT RAISE(ABORT, 'no wages here'); END",
         "ALTER TABLE entitlements ADD CONSTRAINT no_wages CHECK (name <> 'Wages')",
         "table entitlements refused a row: the server reported SQLSTATE 23514: new row for "
         "relation \"entitlements\" violates check constraint \"no_wages\"",
         "table entitlements refused a row: no wages here"},
        {"CREATE TRIGGER rename_wages AFTER INSERT ON entitlements WHEN NEW.name = 'Wages' BEGIN "
         "UPDATE entitlements SET name = 'Pay' WHERE entitlement_id = NEW.entitlement_id; END",
         "CREATE FUNCTION pay() RETURNS trigger AS $$ BEGIN NEW.name := 'Pay'; RETURN NEW; END "
         "$$ LANGUAGE plpgsql; CREATE TRIGGER rename_wages BEFORE INSERT ON entitlements FOR EACH "
         "ROW "
         "WHEN (NEW.name = 'Wages') EXECUTE FUNCTION pay()",
         "table entitlements does not read back as the source's rows",
         "table entitlements does not read back as the source's rows"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.file);
        if (OnServer()) {
            PMTest::EmptyServerDatabase(Location());
        } else {
            std::filesystem::remove(Location());
        }
        ASSERT_EQ(0, Copy(Other(), Location()).code);
        QueryElsewhere(Location(), OnServer() ? c.server : c.file);
        std::string const before = Rendered(Location());
        PMTest::Result failed = Copy(m_Source, Location(), " --replace");
        EXPECT_EQ(Pmctl::kExitFailed, failed.code);
        EXPECT_EQ("pmctl: " + Location() + ": nothing was copied: " +
                      (OnServer() ? c.server_reason : c.file_reason) + "\n",
                  failed.err);
        EXPECT_EQ(before, Rendered(Location()));
        std::filesystem::remove(m_Dir + "/other.pmco");
    }
    if (OnServer()) {
        // Into an empty database: not even the tables stay.
        PMTest::EmptyServerDatabase(Location());
        PMTest::QueryFile(m_Source, "UPDATE users SET name = 'caro' || x'ff' WHERE name = 'carol'");
        PMTest::Result failed = Copy(m_Source, Location());
        EXPECT_EQ(Pmctl::kExitFailed, failed.code);
        EXPECT_EQ("pmctl: " + Location() +
                      ": nothing was copied: table users refused a row: the server reported "
                      "SQLSTATE 22021: invalid byte sequence for encoding \"UTF8\": 0xff\n",
                  failed.err);
        EXPECT_EQ("", QueryElsewhere(Location(), "SELECT relname FROM pg_class WHERE "
                                                 "relnamespace = 'public'::regnamespace"));
    }
}

INSTANTIATE_ON_BOTH_ENGINES(CopyCommandTest);

// What is refused before anything is read or written.
TEST(CopyCommandRefusalsTest, ALocationThatCannotBeCopiedFromOrToIsRefused) {
    std::string const dir = ::testing::TempDir() + "pm_copy_refusals_" + std::to_string(::getpid());
    std::filesystem::create_directories(dir);
    std::string const source = dir + "/books.pmco";
    std::string const text = dir + "/notes.txt";
    ASSERT_EQ(0, RunPmctl("create F", source).code);
    std::ofstream(text) << "not a company\n";
    std::string const kNotSqlite =
        ": it is not an SQLite database (its first 16 bytes are not \"SQLite format 3\")\n";
    std::string const nowhere = "postgresql://nobody@/books?port=1&host=" + dir; // no server there
    std::string const kUnreachable =
        ": it cannot be reached: the connection to the server failed (SQLSTATE 08001: connection "
        "to server on socket \"" +
        dir + "/.s.PGSQL.1\" failed: No such file or directory)\n";
    struct Case {
        std::string line;
        int code;
        std::string err;
    } const cases[] = {
        {"copy " + source + " " + source, 2, "pmctl: " + source + ": it is the source itself\n"},
        {"copy " + text + " " + dir + "/new.pmco", 2, "pmctl: " + text + kNotSqlite},
        {"copy " + source + " " + text + " --replace", 2, "pmctl: " + text + kNotSqlite},
        {"copy " + source + " " + dir + "/missing/new.pmco", 1,
         "pmctl: " + dir + "/missing/new.pmco: No such file or directory\n"},
        // A server that does not answer is "try again", either way.
        {"copy " + source + " " + nowhere, 1, "pmctl: " + nowhere + kUnreachable},
        {"copy " + nowhere + " " + dir + "/new.pmco", 1, "pmctl: " + nowhere + kUnreachable},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.line);
        PMTest::Result result = RunPmctl(c.line, "");
        EXPECT_EQ(c.code, result.code);
        EXPECT_EQ(c.err, result.err);
        EXPECT_EQ("", result.out);
    }
    EXPECT_EQ("not a company\n", PMTest::ReadBytes(text));
    std::filesystem::remove_all(dir);
}

} // namespace
