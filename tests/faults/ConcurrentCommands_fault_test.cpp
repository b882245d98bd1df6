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
#include <set>
#include <sstream>

namespace {

using namespace PMTest;

double const kWorkSeconds = 8;
double const kCommandLimit = 15; // three times the busy timeout
std::string const kBusy = "another program is writing this company file; try again";

// What each process toggles: processes 0 and 1 two roles each of one shared
// user, so that each one's unassign (which takes all of the user's roles and
// gives the others back) must see the other's latest assignment; 2 and 3 two
// roles of a user of their own. 2 and 3 also add one same bank account, in
// two spellings.
struct Worker {
    char const* user;
    char const* roles[2];
    char const* same;
};
Worker const kWorkers[] = {
    {"shared", {"Sales", "Purchasing"}, nullptr},
    {"shared", {"Payroll Clerk", "View Only"}, nullptr},
    {"own2", {"Sales", "Bookkeeper"}, "Same"},
    {"own3", {"Purchasing", "Payroll Manager"}, "SAME"},
};
char const* const kRoles[] = {"Sales", "Purchasing", "Payroll Clerk", "View Only"};

// One process's loop until the deadline, logged to prefix.log, one line a
// write: "ok|ARGS" when pmctl acknowledged it, "busy|ARGS" when another
// process was writing, "taken|ARGS" for the shared account already there
// (ARGS: the arguments but the file); "fail|..." for anything else, a read
// included. It runs in a forked process: no test assertions here.
void Work(int w, std::string const& file, Clock::time_point deadline, std::string const& prefix) {
    std::ofstream log(prefix + ".log");
    Worker const& me = kWorkers[w];
    double longest = 0;
    // Runs pmctl (a write again while busy, if asked); logs a write; whether
    // it was acknowledged.
    auto pmctl = [&](std::vector<std::string> args, bool again = false) {
        bool const read = args[0] == "check" || args[0] == "info";
        std::string what;
        for (std::string const& arg : args) {
            what += arg == file ? "" : "|" + arg;
        }
        for (;;) {
            PmctlRun run = RunPmctl(args, prefix, kCommandLimit);
            longest = std::max(longest, run.seconds);
            bool const denied = read && run.code == 1 && run.out.rfind("denied: ", 0) == 0;
            bool const busy = !read && run.code == 1 && run.err.find(kBusy) != std::string::npos;
            bool const taken = me.same != nullptr && args.back() == me.same && run.code == 2 &&
                               run.err.find("already") != std::string::npos;
            if (run.code != 0 && !denied && !busy && !taken) {
                std::replace(run.err.begin(), run.err.end(), '\n', ' ');
                log << "fail|" << Describe(args) << " exited " << run.code
                    << (run.timedOut ? " (killed at the time limit)" : "") << ": " << run.err
                    << "\n";
                return false;
            }
            log << (read ? "" : (run.code == 0 ? "ok" : busy ? "busy" : "taken") + what + "\n");
            if (!busy || !again || Clock::now() >= deadline) {
                return run.code == 0;
            }
        }
    };
    bool held[2] = {false, false};
    bool added = false;
    for (int i = 0; Clock::now() < deadline; ++i) {
        held[i % 2] ^= pmctl({held[i % 2] ? "unassign" : "assign", file, me.user, me.roles[i % 2]});
        // A user of its own, given a role; every other one removed again.
        std::string const user = "w" + std::to_string(w) + "u" + std::to_string(i);
        if (i % 2 == 1 && added) {
            pmctl({"users", "remove", file, "w" + std::to_string(w) + "u" + std::to_string(i - 1),
                   "--yes"});
        }
        added = pmctl({"users", "add", file, user});
        if (added) {
            pmctl({"assign", file, user, kRoles[i % 4]});
        }
        pmctl({"bank", "add", file, "W" + std::to_string(w) + " " + std::to_string(i)});
        // The shared account: asked again while busy, until one process has
        // it and the other is told it is there.
        if (i == 1 && me.same != nullptr) {
            pmctl({"bank", "add", file, me.same}, true);
        }
        pmctl(i % 2 == 1 ? std::vector<std::string>{"check", file, me.user, "Customers", "view"}
                         : std::vector<std::string>{"info", file});
    }
    log << "longest|" << longest << "\n";
}

// Each process's acknowledged writes, in its order, give the end state.
struct Expected {
    std::set<std::string> users = {"admin", "shared", "own2", "own3"};
    std::set<std::string> assignments = {"admin|Admin"};
    std::set<std::string> accounts;
    int acknowledged = 0, busy = 0, sameAdded = 0, sameTaken = 0;
    double longest = 0;

    void Apply(std::vector<std::string> const& line) {
        std::string const& kind = line[0];
        if (kind == "fail" || kind == "longest") {
            EXPECT_NE("fail", kind) << line[1];
            longest = std::max(longest, kind == "longest" ? std::stod(line[1]) : 0);
            return;
        }
        busy += kind == "busy"; // nothing written
        sameTaken += kind == "taken";
        if (kind != "ok") {
            return;
        }
        ++acknowledged;
        std::string const& verb = line[1];
        if (verb == "assign") {
            assignments.insert(line[2] + "|" + line[3]);
        } else if (verb == "unassign") {
            assignments.erase(line[2] + "|" + line[3]);
        } else if (verb == "users" && line[2] == "add") {
            users.insert(line[3]);
        } else if (verb == "users") { // removed, with its assignments
            users.erase(line[3]);
            assignments.erase(assignments.lower_bound(line[3] + "|"),
                              assignments.lower_bound(line[3] + "}")); // '}' follows '|'
        } else {
            accounts.insert(line[3]);
            sameAdded += line[3] == "Same" || line[3] == "SAME";
        }
    }
    // The file as they leave it: "user NAME", "assignment USER|ROLE", "account NAME".
    std::string Render() const {
        std::string text;
        for (auto const& [kind, lines] :
             {std::pair("user ", &users), {"assignment ", &assignments}, {"account ", &accounts}}) {
            for (std::string const& line : *lines) {
                text += kind + line + "\n";
            }
        }
        return text;
    }
};

TEST(ConcurrentCommandsTest, FourProcessesKeepEveryAcknowledgedWriteAndNothingRevoked) {
    ScratchDir dir;
    std::string const file = dir / "company.pmco";
    for (std::string const user : {"", "shared", "own2", "own3"}) {
        PmctlSetUp(user.empty() ? std::vector<std::string>{"create", file}
                                : std::vector<std::string>{"users", "add", file, user},
                   dir / "setup");
    }
    ASSERT_FALSE(HasFailure());

    Clock::time_point const start = Clock::now();
    Clock::time_point const deadline = start + std::chrono::duration_cast<Clock::duration>(
                                                   std::chrono::duration<double>(kWorkSeconds));
    std::vector<Child> workers(4);
    for (int w = 0; w < 4; ++w) {
        workers[w].started = start;
        workers[w].pid = ::fork();
        if (workers[w].pid == 0) {
            Work(w, file, deadline, dir / ("worker" + std::to_string(w)));
            std::_Exit(0);
        }
        ASSERT_NE(-1, workers[w].pid);
    }
    Expected expected;
    for (int w = 0; w < 4; ++w) {
        Ended ended = WaitFor(workers[w], kWorkSeconds + kCommandLimit + 5);
        EXPECT_FALSE(ended.timedOut) << "process " << w << " was still running";
        EXPECT_TRUE(WIFEXITED(ended.status) && WEXITSTATUS(ended.status) == 0) << ended.status;
        std::istringstream log(ReadText(dir / ("worker" + std::to_string(w) + ".log")));
        int const acknowledged = expected.acknowledged;
        for (std::string text; std::getline(log, text);) {
            std::vector<std::string> line;
            std::istringstream fields(text);
            for (std::string field; std::getline(fields, field, '|');) {
                line.push_back(field);
            }
            expected.Apply(line);
        }
        // Every process really wrote, all through the same few seconds.
        EXPECT_GE(expected.acknowledged - acknowledged, 10) << "process " << w;
    }

    std::string state;
    std::string const integrity = ReadCompany(file, [&state](sqlite3* db) {
        // An assignment whose user is gone shows as "no user KEY".
        state = QueryRows("SELECT name FROM users ORDER BY 1", db, "user ") +
                QueryRows("SELECT coalesce(u.name, 'no user ' || a.user_key) || '|' || r.name AS "
                          "row FROM user_roles a LEFT JOIN users u ON u.record_key = a.user_key "
                          "LEFT JOIN roles r ON r.role_id = a.role_id ORDER BY row",
                          db, "assignment ") +
                QueryRows("SELECT name FROM entitlements WHERE entitlement_id >= 300000 AND "
                          "is_enabled = 1 ORDER BY 1",
                          db, "account ");
    });
    EXPECT_EQ("ok\n", integrity);
    // "-": acknowledged but lost; "+": never acknowledged, or taken away and back.
    EXPECT_EQ(expected.Render(), state);
    // One spelling of the shared account was added, the other refused as
    // there already; so the file has exactly one.
    EXPECT_EQ("added=1 taken=1", "added=" + std::to_string(expected.sameAdded) +
                                     " taken=" + std::to_string(expected.sameTaken));
    PmctlRun verified = RunPmctl({"verify", file}, dir / "verify");
    EXPECT_EQ(0, verified.code) << verified.out << verified.err;
    std::cout << "[concurrent] 4 processes for " << Seconds(Clock::now() - start)
              << " s: " << expected.acknowledged << " writes acknowledged, " << expected.busy
              << " refused as busy; longest command " << expected.longest << " s\n";
}

} // namespace
