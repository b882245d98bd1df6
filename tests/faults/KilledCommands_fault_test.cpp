// pmctl's write commands killed outright (SIGKILL) at moments spread from
// before the command starts to past its end, on a company file and on a
// company database. Each command is one change: a kill leaves the company
// exactly as it was before or exactly as an uninterrupted run leaves it, with
// the change's history record exactly when the change is there (and a file of
// schema version 1 upgraded only with it), sound, and accepted by pmctl
// verify; a create killed leaves no file (an empty database) or a whole
// company, and the next create clears what the killed one left beside a file.
#include "support/EngineTesting.h"
#include "support/PmctlChild.h"
#include "support/ServerDatabases.h"

#include <pqxx/pqxx>

#include <algorithm>
#include <iostream>

namespace {

using namespace PMTest;

std::string const kCatalogue = PM_CATALOGUE_DIR "/catalogue.json";
std::string const kPrevious = PM_CATALOGUE_DIR "/catalogue-previous.json";

// Kills per round, the last one kSpan times the command's normal duration
// after its start; at most kRounds rounds.
int const kKills = 20, kRounds = 3;
double const kSpan = 1.3;

// A command killed in turn, on a copy of one of the companies the test
// starts with ("" for none), and the catalogue that verify reads that copy
// with.
struct KillCase {
    char const* name;
    char const* start;
    std::vector<std::string> args;
    std::string beforeCatalogue = kCatalogue;
};

// The databases on the server: pm_killed_NAME for each company the test
// starts with, and the one the commands run on.
std::string Database(std::string const& name) {
    return "pm_killed_" + name;
}
std::string const kRunDatabase = Database("run");

// The files of the directory whose names hold part.
std::vector<std::string> Named(std::string const& directory, std::string const& part) {
    std::vector<std::string> found;
    for (auto const& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().filename().string().find(part) != std::string::npos) {
            found.push_back(entry.path().string());
        }
    }
    return found;
}

// A state of the file after its integrity check: its four permission tables,
// its schema version and its change history but the times, which differ from
// run to run.
std::string CompanyRows(sqlite3* db) {
    bool const history =
        !QueryRows("SELECT 1 FROM sqlite_master WHERE name = 'change_history'", db).empty();
    return StoreRows(db) + QueryRows("PRAGMA user_version", db, "user_version: ") +
           (history ? QueryRows("SELECT id, os_user, command, details FROM change_history "
                                "ORDER BY id",
                                db, "change_history: ")
                    : "");
}

// The same of a company database: "ok" and the rows when it holds a
// company, "" when it holds no table.
std::string ServerCompanyRows(std::string const& uri) {
    if (ServerRows(uri, "SELECT 1 FROM pg_tables WHERE schemaname = current_schema()").empty()) {
        return "";
    }
    std::string rows = "ok\n";
    for (std::string table : {"roles", "entitlements", "user_roles", "role_actions"}) {
        rows += ServerRows(uri, "SELECT * FROM " + table + " ORDER BY 1, 2", table + ": ");
    }
    return rows +
           ServerRows(uri, "SELECT value FROM company_metadata WHERE name = 'schema_version'",
                      "schema_version: ") +
           ServerRows(uri, "SELECT id, os_user, command, details FROM change_history ORDER BY id",
                      "change_history: ");
}

// A count on the monitoring connection to the server.
int Count(pqxx::connection& monitor, std::string const& sql) {
    pqxx::nontransaction work(monitor);
    return work.exec(sql)[0][0].as<int>();
}

// The command of c killed in turn, on the company at file: run +
// "/company.pmco", or the run database on the server.
void KillInTurn(ScratchDir const& dir, std::string const& run, std::string const& file,
                KillCase const& c, bool server) {
    std::string const outputs = dir / "command";
    std::string const building = ".company.pmco.creating-";
    // The run directory with the command's starting file and nothing else,
    // but what killed creates left: the next create is to clear that. On
    // the server, the run database as a copy of the starting one, or empty.
    auto const fresh = [&] {
        if (server) {
            MakeDatabase(kRunDatabase, *c.start != '\0' ? Database(c.start) : "");
            return;
        }
        for (std::string const& path : Named(run, "")) {
            if (path.find(building) == std::string::npos) {
                std::filesystem::remove(path);
            }
        }
        if (*c.start != '\0') {
            std::filesystem::copy_file(dir / (c.start + std::string(".pmco")), file);
        }
    };
    auto const read = [&] {
        return server ? ServerCompanyRows(file) : ReadCompany(file, CompanyRows);
    };
    std::unique_ptr<pqxx::connection> monitor;
    if (server) {
        monitor.reset(new pqxx::connection(ServerUri()));
    }
    fresh();
    std::string const before = read();
    ASSERT_EQ(*c.start != '\0' ? "ok\n" : "", before.substr(0, 3));
    std::string after;
    // midChange: killed with the file (or the one it builds) open, uncommitted.
    int asBefore = 0, asAfter = 0, midChange = 0, kills = 0;
    double normal = 0;
    // Rounds of kills spread over the command as long as it takes now: a
    // machine that grows busier or idler after the command was timed can
    // leave an outcome unseen in one round.
    for (int round = 0; round < kRounds && (asBefore == 0 || asAfter == 0 || midChange == 0);
         ++round) {
        // Uninterrupted runs: the same file each time, and the slowest time.
        normal = 0;
        for (int i = 0; i < 3; ++i) {
            fresh();
            PmctlRun done = RunPmctlChild(c.args, outputs);
            ASSERT_EQ(0, done.code) << done.err;
            std::string const state = read();
            ASSERT_TRUE(after.empty() || state == after) << "uninterrupted runs left other files";
            after = state;
            normal = std::max(normal, done.seconds);
        }
        ASSERT_NE(before, after) << "the command changes nothing";
        ASSERT_EQ("ok\n", after.substr(0, 3));
        // So a state as after holds the change's record, one as before none.
        ASSERT_EQ(CountLines(Only(before, "change_history: ")) + 1,
                  CountLines(Only(after, "change_history: ")))
            << "the change is not recorded once";

        for (int kill = 0; kill < kKills; ++kill, ++kills) {
            fresh();
            double const delay = normal * kSpan * kill / (kKills - 1);
            SCOPED_TRACE("killed " + std::to_string(delay * 1000) + " ms in");
            Clock::time_point const start = Clock::now();
            pid_t const pid = StartPmctl(c.args, outputs);
            ASSERT_NE(-1, pid);
            // On the server, whether the change is under way (a write
            // bracket's advisory lock held) is asked just before the kill; a
            // file tells by what is beside it after.
            bool bracket = false;
            int const status = WaitFor(pid, start, delay, [&] {
                bracket = server && Count(*monitor, "SELECT count(*) FROM pg_locks l JOIN "
                                                    "pg_database d ON d.oid = l.database WHERE "
                                                    "l.locktype = 'advisory' AND l.granted AND "
                                                    "d.datname = '" +
                                                        kRunDatabase + "'") > 0;
            });
            bool const killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            ASSERT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0))
                << status << ": " << ReadBytes(outputs + ".err");
            // On the server, until the server has ended the killed command's
            // session, committing or taking back what it was doing.
            for (Clock::time_point const since = Clock::now();
                 server && Count(*monitor, "SELECT count(*) FROM pg_stat_activity WHERE "
                                           "datname = '" +
                                               kRunDatabase + "'") > 0;
                 std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
                ASSERT_LT(SecondsSince(since), 10) << "the killed command's session outlived it";
            }
            bool const open =
                server ? bracket
                       : std::filesystem::exists(file + "-wal") ||
                             std::filesystem::exists(run + "/" + building + std::to_string(pid));
            std::string const state = read();
            if (state != after && state != before) {
                ADD_FAILURE() << "neither as before nor as after; not as before:\n"
                              << Missing(state, before) << "not as after:\n"
                              << Missing(state, after);
                continue;
            }
            (state == after ? asAfter : asBefore) += 1;
            midChange += killed && open && state != after;
            if (!state.empty()) {
                PmctlRun verified = RunPmctlChild({"verify", file, "--catalogue",
                                                   state == after ? kCatalogue : c.beforeCatalogue},
                                                  outputs);
                EXPECT_EQ(0, verified.code) << verified.out << verified.err;
            }
            // A copy of the file as it was is whole once it has its name.
            for (std::string const& copy : Named(run, ".bak")) {
                bool const named = copy.compare(copy.size() - 4, 4, ".bak") == 0;
                EXPECT_TRUE(!named || before == ReadCompany(copy, CompanyRows)) << copy;
            }
        }
    }
    // An uninterrupted run clears the files that killed creates built in.
    fresh();
    ASSERT_EQ(0, RunPmctlChild(c.args, outputs).code);
    EXPECT_EQ(std::vector<std::string>(), Named(run, building));

    std::cout << "[  killed  ] " << c.name << (server ? " on the server" : "") << ": " << kills
              << " kills over 0-" << static_cast<int>(normal * kSpan * 1000) << " ms: " << asBefore
              << " as before, " << asAfter << " as after, " << midChange
              << " killed inside the change\n";
    // The kills spanned the command: some landed before the commit, some
    // after, and some inside the change, with the file open.
    EXPECT_GT(asBefore, 0);
    EXPECT_GT(asAfter, 0);
    EXPECT_GT(midChange, 0);
}

// The companies the commands start from: "base" with alice (Bookkeeper) and
// bob (four roles), "edited" with View Only given every grant of Admin, "old"
// made from the previous catalogue, "v1" (files only) the base as schema
// version 1 left it, without a history; and the grants and a list of 2,000
// accounts, every fifth below an earlier one.
class KilledCommandTest : public EngineTest {};

TEST_P(KilledCommandTest, EachKillLeavesTheCompanyAsBeforeOrAsAnUninterruptedRun) {
    ScratchDir dir;
    bool const server = OnServer();
    // A starting company's location: a file, or a database made empty.
    auto const start = [&](std::string const& name) {
        return server ? MakeDatabase(Database(name)) : dir / (name + ".pmco");
    };
    std::string const base = start("base"), old = start("old");
    std::string const grants = dir / "grants.json", accounts = dir / "accounts.txt";
    for (std::vector<std::string> const& step :
         std::vector<std::vector<std::string>>{{"create", base},
                                               {"create", old, "--catalogue", kPrevious},
                                               {"users", "add", base, "alice"},
                                               {"users", "add", base, "bob"},
                                               {"assign", base, "alice", "Bookkeeper"}}) {
        PmctlSetUp(step, dir / "setup");
    }
    for (char const* role : {"Sales", "Purchasing", "Payroll Clerk", "View Only"}) {
        PmctlSetUp({"assign", base, "bob", role}, dir / "setup");
    }
    std::ofstream(grants) << PmctlSetUp({"roles", "show", base, "Admin", "--json"}, dir / "setup");
    std::string edited = dir / "edited.pmco";
    if (server) {
        edited = MakeDatabase(Database("edited"), Database("base"));
    } else {
        std::filesystem::copy_file(base, edited);
        std::filesystem::copy_file(base, dir / "v1.pmco");
        QueryFile(dir / "v1.pmco", "DROP TABLE change_history; PRAGMA user_version = 1");
    }
    PmctlSetUp({"roles", "edit", edited, "View Only", "--from-json", grants}, dir / "setup");
    std::ofstream list(accounts);
    for (int i = 0; i < 2000; ++i) {
        list << "Account " << (i % 5 == 4 ? std::to_string(i - 4) + ":Sub " : "") << i << "\n";
    }
    list.close();
    std::string const run = dir / "run";
    std::string const file =
        server ? WithDatabase(ServerUri(), kRunDatabase) : run + "/company.pmco";
    std::filesystem::create_directory(run);
    ASSERT_FALSE(::testing::Test::HasFailure());

    KillCase const cases[] = {
        {"BankImport", "base", {"bank", "import", file, accounts}},
        {"Upgrade", "old", {"upgrade", file, "--catalogue", kCatalogue}, kPrevious},
        {"Unassign", "base", {"unassign", file, "bob", "Sales"}},
        {"UnassignOnVersion1", "v1", {"unassign", file, "bob", "Sales"}},
        {"RolesEdit", "base", {"roles", "edit", file, "View Only", "--from-json", grants}},
        {"Reset", "edited", {"reset", file, "--yes"}},
        {"Create", "", {"create", file}},
    };
    for (KillCase const& c : cases) {
        if (server && std::string(c.start) == "v1") {
            continue; // a company database has no older schema
        }
        SCOPED_TRACE(Describe(c.args));
        KillInTurn(dir, run, file, c, server);
    }
    if (server) {
        for (char const* name : {"base", "old", "edited", "run"}) {
            DropDatabase(Database(name));
        }
    }
}

INSTANTIATE_ON_BOTH_ENGINES(KilledCommandTest);

} // namespace
