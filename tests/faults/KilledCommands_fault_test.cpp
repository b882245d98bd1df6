// pmctl's write commands killed outright (SIGKILL) at moments spread from
// before the command starts to past its end. Each command is one change: a
// kill leaves the company file exactly as it was before or exactly as an
// uninterrupted run leaves it, sound, and accepted by pmctl verify; a create
// killed leaves no file or a whole one, and the next create clears what the
// killed one left beside it.
#include "support/PmctlChild.h"

#include <algorithm>
#include <iostream>
#include <map>

namespace {

using namespace PMTest;

std::string const kCatalogue = PM_CATALOGUE_DIR "/catalogue.json";
std::string const kPrevious = PM_CATALOGUE_DIR "/catalogue-previous.json";

// Kills per round, the last one kSpan times the command's normal duration
// after its start; at most kRounds rounds.
int const kKills = 20;
double const kSpan = 1.3;
int const kRounds = 3;

// A command killed in turn, on a copy of one of the files MakeStartingFiles
// writes ("" for none).
struct KillCase {
    char const* name;
    char const* start;
    std::vector<std::string> args;
    std::string beforeCatalogue = kCatalogue; // what verify reads the file before with
};

// The company files the commands start from: "base" with alice (Bookkeeper)
// and bob (four roles), "edited" with View Only given every grant of Admin,
// "old" made from the previous catalogue; and the grants and a list of 2,000
// accounts, every fifth below an earlier one.
void MakeStartingFiles(ScratchDir const& dir) {
    std::string const base = dir / "base.pmco", edited = dir / "edited.pmco";
    std::vector<std::vector<std::string>> const steps = {
        {"create", base},
        {"create", dir / "old.pmco", "--catalogue", kPrevious},
        {"users", "add", base, "alice"},
        {"users", "add", base, "bob"},
        {"assign", base, "alice", "Bookkeeper"},
        {"assign", base, "bob", "Sales"},
        {"assign", base, "bob", "Purchasing"},
        {"assign", base, "bob", "Payroll Clerk"},
        {"assign", base, "bob", "View Only"},
    };
    for (std::vector<std::string> const& step : steps) {
        PmctlSetUp(step, dir / "setup");
    }
    std::ofstream(dir / "grants.json")
        << PmctlSetUp({"roles", "show", base, "Admin", "--json"}, dir / "setup");
    std::filesystem::copy_file(base, edited);
    PmctlSetUp({"roles", "edit", edited, "View Only", "--from-json", dir / "grants.json"},
               dir / "setup");
    std::ofstream list(dir / "accounts.txt");
    for (int i = 0; i < 2000; ++i) {
        list << "Account " << (i % 5 == 4 ? std::to_string(i - 4) + ":Sub " : "") << i << "\n";
    }
}

// The four permission tables of the file; "" when there is none. The file
// must pass its integrity check.
std::string Render(std::string const& file) {
    std::string rows;
    std::string integrity = ReadCompany(file, [&rows](sqlite3* db) { rows = StoreRows(db); });
    EXPECT_TRUE(integrity == "ok\n" || integrity.empty()) << file << ": " << integrity;
    return rows;
}

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

// The command of c killed in turn, on the company file run + "/company.pmco".
void KillInTurn(ScratchDir const& dir, std::string const& run, KillCase const& c) {
    std::string const file = run + "/company.pmco", outputs = dir / "command";
    std::string const building = ".company.pmco.creating-";
    std::vector<std::string> const& args = c.args;
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
    std::string const before = Render(file);
    std::string after;
    int asBefore = 0, asAfter = 0, kills = 0;
    int midChange = 0; // killed with the file (or the one it builds) open, uncommitted
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
            PmctlRun done = RunPmctl(args, outputs);
            ASSERT_EQ(0, done.code) << Describe(args) << "\n" << done.err;
            std::string const state = Render(file);
            ASSERT_TRUE(after.empty() || state == after) << "uninterrupted runs left other files";
            after = state;
            normal = std::max(normal, done.seconds);
        }
        ASSERT_NE(before, after) << "the command changes nothing";

        for (int kill = 0; kill < kKills; ++kill, ++kills) {
            fresh();
            double const delay = normal * kSpan * kill / (kKills - 1);
            std::string const when =
                "killed " + std::to_string(delay * 1000) + " ms into " + Describe(args);
            Clock::time_point const start = Clock::now();
            pid_t const pid = StartPmctl(args, outputs);
            ASSERT_NE(-1, pid) << when;
            std::this_thread::sleep_until(start + std::chrono::duration<double>(delay));
            ::kill(pid, SIGKILL);
            int status = 0;
            ::waitpid(pid, &status, 0);
            bool const killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            ASSERT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0))
                << when << ": status " << status << "\n"
                << ReadText(outputs + ".err");
            bool const open = std::filesystem::exists(file + "-wal") ||
                              std::filesystem::exists(run + "/" + building + std::to_string(pid));

            std::string const state = Render(file);
            if (state != after && state != before) {
                ADD_FAILURE() << when << ", the file is neither as before nor as after.\n"
                              << "Not as before:\n"
                              << Missing(state, before) << "Not as after:\n"
                              << Missing(state, after);
                continue;
            }
            (state == after ? asAfter : asBefore) += 1;
            midChange += killed && open && state != after;
            if (!state.empty()) {
                PmctlRun verified = RunPmctl({"verify", file, "--catalogue",
                                              state == after ? kCatalogue : c.beforeCatalogue},
                                             outputs);
                EXPECT_EQ(0, verified.code) << when << ":\n" << verified.out << verified.err;
            }
            // A copy of the file as it was is whole once it has its name.
            for (std::string const& copy : Named(run, ".bak")) {
                EXPECT_TRUE(copy.compare(copy.size() - 4, 4, ".bak") != 0 || before == Render(copy))
                    << when << ": " << copy;
            }
        }
    }
    // An uninterrupted run clears the files that killed creates built in.
    fresh();
    ASSERT_EQ(0, RunPmctl(args, outputs).code) << Describe(args);
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

TEST(KilledCommandTest, EachKillLeavesTheFileAsBeforeOrAsAnUninterruptedRun) {
    ScratchDir dir;
    MakeStartingFiles(dir);
    std::string const run = dir / "run", file = run + "/company.pmco";
    std::filesystem::create_directory(run);
    ASSERT_FALSE(::testing::Test::HasFailure());
    KillCase const cases[] = {
        {"BankImport", "base.pmco", {"bank", "import", file, dir / "accounts.txt"}},
        {"Upgrade", "old.pmco", {"upgrade", file, "--catalogue", kCatalogue}, kPrevious},
        {"Unassign", "base.pmco", {"unassign", file, "bob", "Sales"}},
        {"RolesEdit",
         "base.pmco",
         {"roles", "edit", file, "View Only", "--from-json", dir / "grants.json"}},
        {"Reset", "edited.pmco", {"reset", file, "--yes"}},
        {"Create", "", {"create", file}},
    };
    for (KillCase const& c : cases) {
        SCOPED_TRACE(c.name);
        KillInTurn(dir, run, c);
    }
}

} // namespace
