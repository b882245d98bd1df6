// pmctl's write commands killed outright (SIGKILL) at moments spread from
// before the command starts to past its end. Each command is one change: a
// kill leaves the company file exactly as it was before or exactly as an
// uninterrupted run leaves it, with the change's history record exactly when
// the change is there (and a file of schema version 1 upgraded only with
// it), sound, and accepted by pmctl verify; a create
// killed leaves no file or a whole one, and the next create clears what the
// killed one left beside it.
#include "support/PmctlChild.h"

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

// A command killed in turn, on a copy of one of the files the test starts
// with ("" for none), and the catalogue that verify reads that copy with.
struct KillCase {
    char const* name;
    char const* start;
    std::vector<std::string> args;
    std::string beforeCatalogue = kCatalogue;
};

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

// The command of c killed in turn, on the company file run + "/company.pmco".
void KillInTurn(ScratchDir const& dir, std::string const& run, KillCase const& c) {
    std::string const file = run + "/company.pmco", outputs = dir / "command";
    std::string const building = ".company.pmco.creating-";
    // The run directory with the command's starting file and nothing else,
    // but what killed creates left: the next create is to clear that.
    auto const fresh = [&] {
        for (std::string const& path : Named(run, "")) {
            if (path.find(building) == std::string::npos) {
                std::filesystem::remove(path);
            }
        }
        if (*c.start != '\0') {
            std::filesystem::copy_file(dir / c.start, file);
        }
    };
    fresh();
    std::string const before = ReadCompany(file, CompanyRows);
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
            std::string const state = ReadCompany(file, CompanyRows);
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
            int const status = WaitFor(pid, start, delay);
            bool const killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            ASSERT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0))
                << status << ": " << ReadBytes(outputs + ".err");
            bool const open = std::filesystem::exists(file + "-wal") ||
                              std::filesystem::exists(run + "/" + building + std::to_string(pid));
            std::string const state = ReadCompany(file, CompanyRows);
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

    std::cout << "[  killed  ] " << c.name << ": " << kills << " kills over 0-"
              << static_cast<int>(normal * kSpan * 1000) << " ms: " << asBefore << " as before, "
              << asAfter << " as after, " << midChange << " killed inside the change\n";
    // The kills spanned the command: some landed before the commit, some
    // after, and some inside the change, with the file open.
    EXPECT_GT(asBefore, 0);
    EXPECT_GT(asAfter, 0);
    EXPECT_GT(midChange, 0);
}

// The files the commands start from: "base" with alice (Bookkeeper) and bob
// (four roles), "edited" with View Only given every grant of Admin, "old"
// made from the previous catalogue, "v1" the base as schema version 1 left
// it, without a history; and the grants and a list of 2,000 accounts, every
// fifth below an earlier one.
TEST(KilledCommandTest, EachKillLeavesTheFileAsBeforeOrAsAnUninterruptedRun) {
    ScratchDir dir;
    std::string const base = dir / "base.pmco", edited = dir / "edited.pmco";
    std::string const grants = dir / "grants.json", accounts = dir / "accounts.txt";
    for (std::vector<std::string> const& step : std::vector<std::vector<std::string>>{
             {"create", base},
             {"create", dir / "old.pmco", "--catalogue", kPrevious},
             {"users", "add", base, "alice"},
             {"users", "add", base, "bob"},
             {"assign", base, "alice", "Bookkeeper"}}) {
        PmctlSetUp(step, dir / "setup");
    }
    for (char const* role : {"Sales", "Purchasing", "Payroll Clerk", "View Only"}) {
        PmctlSetUp({"assign", base, "bob", role}, dir / "setup");
    }
    std::ofstream(grants) << PmctlSetUp({"roles", "show", base, "Admin", "--json"}, dir / "setup");
    std::filesystem::copy_file(base, edited);
    std::filesystem::copy_file(base, dir / "v1.pmco");
    QueryFile(dir / "v1.pmco", "DROP TABLE change_history; PRAGMA user_version = 1");
    PmctlSetUp({"roles", "edit", edited, "View Only", "--from-json", grants}, dir / "setup");
    std::ofstream list(accounts);
    for (int i = 0; i < 2000; ++i) {
        list << "Account " << (i % 5 == 4 ? std::to_string(i - 4) + ":Sub " : "") << i << "\n";
    }
    list.close();
    std::string const run = dir / "run", file = run + "/company.pmco";
    std::filesystem::create_directory(run);
    ASSERT_FALSE(::testing::Test::HasFailure());

    KillCase const cases[] = {
        {"BankImport", "base.pmco", {"bank", "import", file, accounts}},
        {"Upgrade", "old.pmco", {"upgrade", file, "--catalogue", kCatalogue}, kPrevious},
        {"Unassign", "base.pmco", {"unassign", file, "bob", "Sales"}},
        {"UnassignOnVersion1", "v1.pmco", {"unassign", file, "bob", "Sales"}},
        {"RolesEdit", "base.pmco", {"roles", "edit", file, "View Only", "--from-json", grants}},
        {"Reset", "edited.pmco", {"reset", file, "--yes"}},
        {"Create", "", {"create", file}},
    };
    for (KillCase const& c : cases) {
        SCOPED_TRACE(Describe(c.args));
        KillInTurn(dir, run, c);
    }
}

} // namespace
