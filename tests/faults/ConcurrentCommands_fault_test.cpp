// Eight desktops at once on one company, a file or a server database: each
// process runs pmctl commands in a loop for a few seconds: assignments taken
// and given back, users added and removed, bank accounts added, its own role
// edited, and logins with a check of what the role it just edited grants. A
// write either waits its turn and is kept (exit 0) or is refused as busy, in
// words, and leaves nothing; none hangs. Afterwards the company holds exactly
// what the acknowledged writes say, in the order each process made them:
// nothing acknowledged is lost and nothing taken away comes back.
#include "support/EngineTesting.h"
#include "support/PmctlChild.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <sstream>

namespace {

using namespace PMTest;

int const kWorkSeconds = 8;
int const kCommandLimit = 15; // three times the busy timeout
// Busy, in the words of either engine ("company file", "company database").
std::string const kBusy = "another program is writing this company ";

// What each process toggles: in each group of four, processes 0 and 1 two
// roles each of one shared user, so that each one's unassign (which takes
// all of the user's roles and gives the others back) must see the other's
// latest assignment; 2 and 3 two roles of a user of their own. 2 and 3 also
// add one same bank account, in two spellings.
struct Worker {
    char const *user, *roles[2], *same;
} const kWorkers[] = {{"shared", {"Sales", "Purchasing"}, nullptr},
                      {"shared", {"Payroll Clerk", "View Only"}, nullptr},
                      {"own2", {"Sales", "Bookkeeper"}, "Same"},
                      {"own3", {"Purchasing", "Payroll Manager"}, "SAME"},
                      {"shared4", {"Sales", "Purchasing"}, nullptr},
                      {"shared4", {"Payroll Clerk", "View Only"}, nullptr},
                      {"own6", {"Sales", "Bookkeeper"}, "Other"},
                      {"own7", {"Purchasing", "Payroll Manager"}, "OTHER"}};
int const kProcesses = sizeof kWorkers / sizeof kWorkers[0];
char const* const kRoles[] = {"Sales", "Purchasing", "Payroll Clerk", "View Only"};

// Each process's own role, which only it edits, and the user who holds it.
std::string DeskRole(int w) {
    return "Desk " + std::to_string(w);
}
std::string DeskUser(int w) {
    return "desk" + std::to_string(w);
}

// One process's loop until the deadline. It runs in a forked process: no test
// assertions here. Into prefix.log it writes "fail ..." for each command that
// failed otherwise than busy (a write), denied (a read) or the shared account
// there already, and for each check whose answer is not what the role it
// last edited grants; at the end what its acknowledged writes, in its order,
// leave in the company ("user NAME", "assignment USER|ROLE", "account NAME",
// "mask ROLE|INVOICES-MASK"), and "counts ACKNOWLEDGED BUSY ADDED TAKEN
// LONGEST" (ADDED, TAKEN: the shared account added, or refused as there
// already).
void Work(int w, std::string const& location, Clock::time_point deadline,
          std::string const& prefix) {
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
    bool grants = false;                      // whether its role grants view on Invoices
    std::map<std::string, std::string> users; // its users, each with its role or ""
    std::string accounts;
    for (int i = 0; Clock::now() < deadline; ++i) {
        held[i % 2] ^=
            pmctl({held[i % 2] ? "unassign" : "assign", location, me.user, me.roles[i % 2]});
        // A user of its own, given a role; every other one removed again.
        std::string const user = "w" + std::to_string(w) + "u" + std::to_string(i);
        std::string const last = "w" + std::to_string(w) + "u" + std::to_string(i - 1);
        if (i % 2 == 1 && users.count(last) &&
            pmctl({"users", "remove", location, last, "--yes"})) {
            users.erase(last);
        }
        if (pmctl({"users", "add", location, user})) {
            users[user] = pmctl({"assign", location, user, kRoles[i % 4]}) ? kRoles[i % 4] : "";
        }
        std::string const account = "W" + std::to_string(w) + " " + std::to_string(i);
        accounts += pmctl({"bank", "add", location, account}) ? "account " + account + "\n" : "";
        // The shared account: asked again while busy, until one process has
        // it and the other is told it is there.
        if (i == 1 && me.same != nullptr && pmctl({"bank", "add", location, me.same}, true)) {
            accounts += "account " + std::string(me.same) + "\n";
            ++added;
        }
        // Its role edited, then a login that must see the edit.
        bool const grant = i % 2 == 0;
        if (pmctl({"roles", "edit", location, DeskRole(w), "--grant",
                   grant ? "Invoices=view" : "Invoices=none"})) {
            grants = grant;
        }
        if (pmctl({"check", location, DeskUser(w), "Invoices", "view"}) != grants) {
            log << "fail check " << DeskUser(w) << " answered otherwise than its role grants ("
                << (grants ? "view" : "none") << ")\n";
        }
        if (i % 2 == 1) {
            pmctl({"info", location});
        }
    }
    for (int r = 0; r < 2; ++r) {
        log << (held[r] ? "assignment " + std::string(me.user) + "|" + me.roles[r] + "\n" : "");
    }
    for (auto const& [user, role] : users) {
        log << "user " << user << "\n"
            << (role.empty() ? "" : "assignment " + user + "|" + role + "\n");
    }
    log << accounts << "mask " << DeskRole(w) << "|" << (grants ? 1 : 0) << "\n"
        << "counts " << acknowledged << " " << busy << " " << added << " " << taken << " "
        << longest << "\n";
}

class ConcurrentCommandsTest : public EngineTest {};

TEST_P(ConcurrentCommandsTest, EightProcessesKeepEveryAcknowledgedWriteAndNothingRevoked) {
    ScratchDir dir;
    std::string const location = Location();
    PmctlSetUp({"create", location}, dir / "setup");
    std::string expected = "user admin\nassignment admin|Admin\n";
    for (char const* user : {"shared", "own2", "own3", "shared4", "own6", "own7"}) {
        PmctlSetUp({"users", "add", location, user}, dir / "setup");
        expected += "user " + std::string(user) + "\n";
    }
    for (int w = 0; w < kProcesses; ++w) {
        PmctlSetUp({"roles", "create", location, DeskRole(w)}, dir / "setup");
        PmctlSetUp({"users", "add", location, DeskUser(w)}, dir / "setup");
        PmctlSetUp({"assign", location, DeskUser(w), DeskRole(w)}, dir / "setup");
        expected +=
            "user " + DeskUser(w) + "\nassignment " + DeskUser(w) + "|" + DeskRole(w) + "\n";
    }
    ASSERT_FALSE(::testing::Test::HasFailure());

    Clock::time_point const start = Clock::now();
    Clock::time_point const deadline = start + std::chrono::seconds(kWorkSeconds);
    pid_t workers[kProcesses];
    for (int w = 0; w < kProcesses; ++w) {
        workers[w] = ::fork();
        if (workers[w] == 0) {
            Work(w, location, deadline, dir / ("worker" + std::to_string(w)));
            std::_Exit(0);
        }
        ASSERT_NE(-1, workers[w]);
    }
    int acknowledged = 0, busy = 0, added = 0, taken = 0;
    double longest = 0;
    for (int w = 0; w < kProcesses; ++w) {
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

    // What pmctl finds first, before anything else reads the company.
    PmctlRun verified = RunPmctlChild({"verify", location}, dir / "verify");
    EXPECT_EQ(0, verified.code) << verified.out << verified.err;
    // An assignment whose user is gone shows as "no user KEY".
    std::string const state = SortLines(
        QueryLines(location, "SELECT 'user ' || name FROM users") +
        QueryLines(
            location,
            "SELECT 'assignment ' || coalesce(u.name, 'no user ' || a.user_key) || '|' || "
            "r.name FROM user_roles a LEFT JOIN users u ON u.record_key = a.user_key LEFT JOIN "
            "roles r ON r.role_id = a.role_id") +
        QueryLines(location, "SELECT 'account ' || name FROM entitlements WHERE entitlement_id >= "
                             "300000 AND is_enabled = 1") +
        QueryLines(
            location,
            "SELECT 'mask ' || r.name || '|' || coalesce((SELECT a.action_type FROM "
            "role_actions a JOIN entitlements e ON e.entitlement_id = a.entitlement_id WHERE "
            "a.role_id = r.role_id AND e.name = 'Invoices'), 0) FROM roles r WHERE r.name "
            "LIKE 'Desk %'"));
    // "-": acknowledged but lost; "+": never acknowledged, or taken away and back.
    EXPECT_EQ(SortLines(expected), state);
    if (!OnServer()) {
        EXPECT_EQ("ok", QueryElsewhere(location, "PRAGMA integrity_check"));
    }
    // One spelling of each shared account was added, the other refused as
    // there already; so the company has exactly one of each.
    EXPECT_EQ("added=2 taken=2",
              "added=" + std::to_string(added) + " taken=" + std::to_string(taken));
    std::cout << "[concurrent] " << kProcesses << " processes on "
              << (OnServer() ? "the server" : "a file") << " for " << SecondsSince(start)
              << " s: " << acknowledged << " writes acknowledged, " << busy
              << " refused as busy; longest command " << longest << " s\n";
}

INSTANTIATE_ON_BOTH_ENGINES(ConcurrentCommandsTest);

} // namespace
