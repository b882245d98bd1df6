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
// write: "ok|WHAT" when pmctl acknowledged it, "busy|WHAT" when another
// process was writing, "taken|WHAT" for the shared account already there;
// "fail|..." for anything else, a read included. It runs in a forked
// process: no test assertions here.
void Work(int w, std::string const& file, Clock::time_point deadline, std::string const& prefix) {
    std::ofstream log(prefix + ".log");
    Worker const& me = kWorkers[w];
    double longest = 0;
    // Runs pmctl: "ok" (a read answered), "busy" (a write), "taken" (the
    // shared account is there) or "fail".
    auto pmctl = [&](std::vector<std::string> const& args) {
        PmctlRun run = RunPmctl(args, prefix, kCommandLimit);
        longest = std::max(longest, run.seconds);
        bool const read = args[0] == "check" || args[0] == "info";
        bool const denied = read && run.code == 1 && run.out.rfind("denied: ", 0) == 0;
        bool const busy = !read && run.code == 1 && run.err.find(kBusy) != std::string::npos;
        bool const taken = me.same != nullptr && args.back() == me.same && run.code == 2 &&
                           run.err.find("already") != std::string::npos;
        if (run.code != 0 && !denied && !busy && !taken) {
            std::replace(run.err.begin(), run.err.end(), '\n', ' ');
            log << "fail|" << Describe(args) << " exited " << run.code
                << (run.timedOut ? " (killed at the time limit)" : "") << ": " << run.err << "\n";
            return std::string("fail");
        }
        return std::string(run.code == 0 || denied ? "ok" : busy ? "busy" : "taken");
    };
    // The write as what, logged; whether it was acknowledged.
    auto write = [&](std::vector<std::string> const& args, std::string const& what) {
        std::string const outcome = pmctl(args);
        log << (outcome == "fail" ? "" : outcome + "|" + what + "\n");
        return outcome == "ok";
    };
    bool held[2] = {false, false};
    bool added = false;
    for (int i = 0; Clock::now() < deadline; ++i) {
        std::string const role = me.roles[i % 2];
        std::string const verb = held[i % 2] ? "unassign" : "assign";
        held[i % 2] ^= write({verb, file, me.user, role}, verb + "|" + me.user + "|" + role);
        // A user of its own, given a role; every other one removed again.
        std::string const previous = "w" + std::to_string(w) + "u" + std::to_string(i - 1);
        if (i % 2 == 1 && added) {
            write({"users", "remove", file, previous, "--yes"}, "remove|" + previous);
        }
        std::string const user = "w" + std::to_string(w) + "u" + std::to_string(i);
        added = write({"users", "add", file, user}, "add|" + user);
        if (added) {
            write({"assign", file, user, kRoles[i % 4]}, "assign|" + user + "|" + kRoles[i % 4]);
        }
        std::string const account = "W" + std::to_string(w) + " " + std::to_string(i);
        write({"bank", "add", file, account}, "bank|" + account);
        // The shared account: asked again while busy, until one process has
        // it and the other is told it is there.
        std::string outcome = i == 1 && me.same != nullptr ? "busy" : "";
        while (outcome == "busy" && Clock::now() < deadline) {
            outcome = pmctl({"bank", "add", file, me.same});
        }
        log << (outcome == "ok" || outcome == "taken" ? outcome + "|bank|" + me.same + "\n" : "");
        pmctl(i % 2 == 1 ? std::vector<std::string>{"check", file, me.user, "Customers", "view"}
                         : std::vector<std::string>{"info", file});
    }
    log << "longest|" << longest << "\n";
}

// Each process's acknowledged writes, in its order, give the end state.
struct Expected {
    std::map<std::string, bool> users; // the processes' own users: present at the end?
    std::map<std::string, std::set<std::string>> roles;
    std::string accounts;
    int acknowledged = 0, busy = 0, sameAdded = 0, sameTaken = 0;
    double longest = 0;

    void Apply(std::vector<std::string> const& line) {
        std::string const& kind = line[0];
        std::string const verb = line.size() > 2 ? line[1] : "";
        if (kind == "longest") {
            longest = std::max(longest, std::stod(line[1]));
        } else if (kind == "fail") {
            ADD_FAILURE() << line[1];
        } else if (kind != "ok") {
            sameTaken += kind == "taken";
            busy += kind == "busy"; // nothing written
        } else if (verb == "add") {
            users[line[2]] = true;
        } else if (verb == "remove") {
            users[line[2]] = false;
            roles.erase(line[2]);
        } else if (verb == "assign") {
            roles[line[2]].insert(line[3]);
        } else if (verb == "unassign") {
            roles[line[2]].erase(line[3]);
        } else if (verb == "bank") {
            accounts += line[2] + "\n";
            sameAdded += line[2] == "Same" || line[2] == "SAME";
        }
        acknowledged += kind == "ok";
    }
    std::string UserNames() const {
        std::string names = "admin\nshared\nown2\nown3\n";
        for (auto const& [name, present] : users) {
            names += present ? name + "\n" : "";
        }
        return names;
    }
    std::string Assignments() const {
        std::string rows = "admin|Admin\n";
        for (auto const& [user, held] : roles) {
            for (std::string const& role : held) {
                rows += user + "|" + role + "\n";
            }
        }
        return rows;
    }
};

TEST(ConcurrentCommandsTest, FourProcessesKeepEveryAcknowledgedWriteAndNothingRevoked) {
    ScratchDir dir;
    std::string const file = dir / "company.pmco";
    for (std::vector<std::string> const& step :
         std::vector<std::vector<std::string>>{{"create", file},
                                               {"users", "add", file, "shared"},
                                               {"users", "add", file, "own2"},
                                               {"users", "add", file, "own3"}}) {
        PmctlRun run = RunPmctl(step, dir / "setup");
        ASSERT_EQ(0, run.code) << Describe(step) << "\n" << run.err;
    }

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

    std::string users, assignments, accounts;
    std::string const integrity = ReadCompany(file, [&](sqlite3* db) {
        users = QueryRows("SELECT name FROM users", db);
        // An assignment whose user is gone shows as "no user KEY".
        assignments = QueryRows("SELECT coalesce(u.name, 'no user ' || a.user_key), r.name FROM "
                                "user_roles a LEFT JOIN users u ON u.record_key = a.user_key "
                                "LEFT JOIN roles r ON r.role_id = a.role_id",
                                db);
        accounts = QueryRows("SELECT name FROM entitlements WHERE entitlement_id >= 300000 AND "
                             "is_enabled = 1",
                             db);
    });
    EXPECT_EQ("ok\n", integrity);
    EXPECT_EQ("", Missing(expected.UserNames(), users)) << "acknowledged users missing";
    EXPECT_EQ("", Missing(users, expected.UserNames())) << "users that should not be there";
    EXPECT_EQ("", Missing(expected.Assignments(), assignments)) << "acknowledged roles missing";
    EXPECT_EQ("", Missing(assignments, expected.Assignments())) << "roles that came back";
    EXPECT_EQ("", Missing(expected.accounts, accounts)) << "acknowledged accounts missing";
    EXPECT_EQ("", Missing(accounts, expected.accounts)) << "accounts never acknowledged";
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
