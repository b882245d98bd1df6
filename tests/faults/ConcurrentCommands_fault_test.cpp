// Four processes at once on one company file, each running pmctl commands in
// a loop for a few seconds: assignments taken and given back, users added and
// removed, bank accounts added, and reads. A write either waits its turn and
// is kept (exit 0) or is refused as busy and leaves nothing; none hangs.
// Afterwards the file holds exactly what the acknowledged writes say, in the
// order each process made them: nothing acknowledged is lost and nothing
// taken away comes back.
#include "support/PmctlChild.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <sstream>

namespace {

using namespace PMTest;

int const kWorkSeconds = 8;
int const kCommandLimit = 15; // three times the busy timeout
std::string const kBusy = "another program is writing this company file; try again";

// What each process toggles: processes 0 and 1 two roles each of one shared
// user, so that each one's unassign (which takes all of the user's roles and
// gives the others back) must see the other's latest assignment; 2 and 3 two
// roles of a user of their own. 2 and 3 also add one same bank account, in
// two spellings.
struct Worker {
    char const *user, *roles[2], *same;
} const kWorkers[] = {{"shared", {"Sales", "Purchasing"}, nullptr},
                      {"shared", {"Payroll Clerk", "View Only"}, nullptr},
                      {"own2", {"Sales", "Bookkeeper"}, "Same"},
                      {"own3", {"Purchasing", "Payroll Manager"}, "SAME"}};
char const* const kRoles[] = {"Sales", "Purchasing", "Payroll Clerk", "View Only"};

// One process's loop until the deadline. It runs in a forked process: no test
// assertions here. Into prefix.log it writes "fail ..." for each command that
// failed otherwise than busy (a write), denied (a read) or the shared account
// there already, and at the end what its
// acknowledged writes, in its order, leave in the file ("user NAME",
// "assignment USER|ROLE", "account NAME"), and "counts ACKNOWLEDGED BUSY
// ADDED TAKEN LONGEST" (ADDED, TAKEN: the shared account added, or refused as
// there already).
void Work(int w, std::string const& file, Clock::time_point deadline, std::string const& prefix) {
    std::ofstream log(prefix + ".log");
    Worker const& me = kWorkers[w];
    int acknowledged = 0, busy = 0, added = 0, taken = 0;
    double longest = 0;
    // Runs pmctl (a write again while busy, if asked); whether it was acknowledged.
    auto pmctl = [&](std::vector<std::string> args, bool again = false) {
        bool const read = args[0] == "check" || args[0] == "info";
        for (;;) {
            PmctlRun run = RunPmctlChild(args, prefix, kCommandLimit);
            longest = std::max(longest, run.seconds);
            bool const denied = read && run.code == 1 && run.out.rfind("denied: ", 0) == 0;
            bool const refused = !read && run.code == 1 && run.err.find(kBusy) != std::string::npos;
            bool const there = me.same != nullptr && args.back() == me.same && run.code == 2 &&
                               run.err.find("already") != std::string::npos;
            if (run.code != 0 && !denied && !refused && !there) {
                std::replace(run.err.begin(), run.err.end(), '\n', ' ');
                log << "fail " << Describe(args) << " exited " << run.code << " after "
                    << run.seconds << " s: " << run.err << "\n";
                return false;
            }
            acknowledged += !read && run.code == 0;
            busy += refused;
            taken += there;
            if (!refused || !again || Clock::now() >= deadline) {
                return run.code == 0;
            }
        }
    };
    bool held[2] = {false, false};
    std::map<std::string, std::string> users; // its users, each with its role or ""
    std::string accounts;
    for (int i = 0; Clock::now() < deadline; ++i) {
        held[i % 2] ^= pmctl({held[i % 2] ? "unassign" : "assign", file, me.user, me.roles[i % 2]});
        // A user of its own, given a role; every other one removed again.
        std::string const user = "w" + std::to_string(w) + "u" + std::to_string(i);
        std::string const last = "w" + std::to_string(w) + "u" + std::to_string(i - 1);
        if (i % 2 == 1 && users.count(last) && pmctl({"users", "remove", file, last, "--yes"})) {
            users.erase(last);
        }
        if (pmctl({"users", "add", file, user})) {
            users[user] = pmctl({"assign", file, user, kRoles[i % 4]}) ? kRoles[i % 4] : "";
        }
        std::string const account = "W" + std::to_string(w) + " " + std::to_string(i);
        accounts += pmctl({"bank", "add", file, account}) ? "account " + account + "\n" : "";
        // The shared account: asked again while busy, until one process has
        // it and the other is told it is there.
        if (i == 1 && me.same != nullptr && pmctl({"bank", "add", file, me.same}, true)) {
            accounts += "account " + std::string(me.same) + "\n";
            ++added;
        }
        pmctl(i % 2 == 1 ? std::vector<std::string>{"check", file, me.user, "Customers", "view"}
                         : std::vector<std::string>{"info", file});
    }
    for (int r = 0; r < 2; ++r) {
        log << (held[r] ? "assignment " + std::string(me.user) + "|" + me.roles[r] + "\n" : "");
    }
    for (auto const& [user, role] : users) {
        log << "user " << user << "\n"
            << (role.empty() ? "" : "assignment " + user + "|" + role + "\n");
    }
    log << accounts << "counts " << acknowledged << " " << busy << " " << added << " " << taken
        << " " << longest << "\n";
}

TEST(ConcurrentCommandsTest, FourProcessesKeepEveryAcknowledgedWriteAndNothingRevoked) {
    ScratchDir dir;
    std::string const file = dir / "company.pmco";
    PmctlSetUp({"create", file}, dir / "setup");
    for (char const* user : {"shared", "own2", "own3"}) {
        PmctlSetUp({"users", "add", file, user}, dir / "setup");
    }
    ASSERT_FALSE(::testing::Test::HasFailure());

    Clock::time_point const start = Clock::now();
    Clock::time_point const deadline = start + std::chrono::seconds(kWorkSeconds);
    pid_t workers[4];
    for (int w = 0; w < 4; ++w) {
        workers[w] = ::fork();
        if (workers[w] == 0) {
            Work(w, file, deadline, dir / ("worker" + std::to_string(w)));
            std::_Exit(0);
        }
        ASSERT_NE(-1, workers[w]);
    }
    std::string expected =
        "user admin\nuser shared\nuser own2\nuser own3\nassignment admin|Admin\n";
    int acknowledged = 0, busy = 0, added = 0, taken = 0;
    double longest = 0;
    for (int w = 0; w < 4; ++w) {
        int const status = WaitFor(workers[w], start, kWorkSeconds + kCommandLimit + 5);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << w << ": status " << status;
        std::istringstream log(ReadBytes(dir / ("worker" + std::to_string(w) + ".log")));
        for (std::string line; std::getline(log, line);) {
            std::istringstream counts(line.rfind("counts ", 0) == 0 ? line.substr(7) : "");
            int a = 0, b = 0, c = 0, d = 0;
            double l = 0;
            if (counts >> a >> b >> c >> d >> l) {
                // Every process really wrote, all through the same few seconds.
                EXPECT_GE(a, 10) << "writes acknowledged to process " << w;
                acknowledged += a, busy += b, added += c, taken += d;
                longest = std::max(longest, l);
            } else {
                EXPECT_NE(0u, line.rfind("fail ", 0)) << line;
                expected += line + "\n";
            }
        }
    }

    // An assignment whose user is gone shows as "no user KEY".
    std::string const state = ReadCompany(file, [](sqlite3* db) {
        return SortLines(
            QueryRows("SELECT name FROM users", db, "user ") +
            QueryRows("SELECT coalesce(u.name, 'no user ' || a.user_key) || '|' || r.name FROM "
                      "user_roles a LEFT JOIN users u ON u.record_key = a.user_key LEFT JOIN "
                      "roles r ON r.role_id = a.role_id",
                      db, "assignment ") +
            QueryRows("SELECT name FROM entitlements WHERE entitlement_id >= 300000 AND "
                      "is_enabled = 1",
                      db, "account "));
    });
    // "-": acknowledged but lost; "+": never acknowledged, or taken away and back.
    EXPECT_EQ("ok\n" + SortLines(expected), state);
    // One spelling of the shared account was added, the other refused as
    // there already; so the file has exactly one.
    EXPECT_EQ("added=1 taken=1",
              "added=" + std::to_string(added) + " taken=" + std::to_string(taken));
    PmctlRun verified = RunPmctlChild({"verify", file}, dir / "verify");
    EXPECT_EQ(0, verified.code) << verified.out << verified.err;
    std::cout << "[concurrent] 4 processes for " << SecondsSince(start) << " s: " << acknowledged
              << " writes acknowledged, " << busy << " refused as busy; longest command " << longest
              << " s\n";
}

} // namespace
