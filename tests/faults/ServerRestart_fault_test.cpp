// The server restarted under desktops that keep the company open and under
// pmctl commands: the operation in flight fails, in words, and leaves
// nothing; the next one connects again and succeeds; nothing acknowledged is
// lost. Only the throwaway cluster of scripts/with-postgres.sh is restarted.
#include "support/EngineTesting.h"
#include "support/PmctlChild.h"

#include <host/company/Company.h>
#include <host/records/Transactions.h>

#include <PM/Constants.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>

namespace {

using namespace PMTest;

int const kCarol = 102;
// What every failure of a lost or unreachable server says.
std::string const kLostWords = "the connection to the server failed";
int const kPurchasing = 5;
int const kInvoices = 6;
int const kBills = 28;
long const kView = 1;

// The command that restarts the cluster of scripts/with-postgres.sh
// (pg_virtualenv's: its clusters are those under PG_CLUSTER_CONF_ROOT), as
// the cluster's owner; empty, with the reason in *why, where there is none.
std::string RestartCommand(std::string* why) {
    if (std::getenv("PG_CLUSTER_CONF_ROOT") == nullptr) {
        *why = "the server is not a throwaway cluster of scripts/with-postgres.sh; it is not "
               "restarted";
        return "";
    }
    FILE* clusters = ::popen("pg_lsclusters -h", "r");
    char line[4096] = {};
    bool const listed = clusters != nullptr && std::fgets(line, sizeof line, clusters) != nullptr;
    if (clusters != nullptr) {
        ::pclose(clusters);
    }
    std::istringstream fields(line);
    std::string version, name, port, status, owner, data, log;
    if (!listed || !(fields >> version >> name >> port >> status >> owner >> data >> log)) {
        *why = "pg_lsclusters names no cluster";
        return "";
    }
    std::string const runAs =
        ::geteuid() == 0 && owner != "root" ? "runuser -u " + owner + " -- " : "";
    return runAs + "/usr/lib/postgresql/" + version + "/bin/pg_ctl restart -D '" + data +
           "' -m fast -w -s -l '" + log + "'";
}

class ServerRestartTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        std::string why;
        m_Restart = IsSkipped() ? "" : RestartCommand(&why);
        if (!IsSkipped() && m_Restart.empty()) {
            GTEST_SKIP() << why;
        }
    }
    void Restart() { ASSERT_EQ(0, std::system(m_Restart.c_str())) << m_Restart; }
    // What carol may view after a login that must succeed.
    std::string Login() {
        EXPECT_EQ(0, m_Desktop->Manager().EstablishUser(kCarol));
        PM::PermissionManager& manager = m_Desktop->Manager();
        return std::string("Invoices=") +
               (manager.IsAccessAllowed(kInvoices, kView) ? "yes" : "no") +
               " Bills=" + (manager.IsAccessAllowed(kBills, kView) ? "yes" : "no");
    }

    std::string m_Restart;
    std::unique_ptr<Host::Company> m_Desktop;
};

// A desktop's change open across the restart fails at its commit, in words,
// and leaves nothing; the next change connects again and succeeds. A login
// or an Init, in a read bracket or not, reads on a new connection and sees
// what is stored.
TEST_P(ServerRestartTest, ADesktopsOperationInFlightFailsAndTheNextReconnects) {
    ScratchDir dir;
    std::string const location = Location();
    PmctlSetUp({"create", location}, dir / "setup");
    PmctlSetUp({"users", "add", location, "carol"}, dir / "setup");
    PmctlSetUp({"assign", location, "carol", "Sales"}, dir / "setup");
    Host::CompanyOptions options;
    options.catalogue = PM_CATALOGUE_DIR "/catalogue.json";
    options.access = Host::CompanyAccess::kLive;
    Host::CompanyProblem problem;
    m_Desktop = Host::Company::Open(location, options, &problem);
    ASSERT_NE(nullptr, m_Desktop) << problem.message;
    EXPECT_EQ("Invoices=yes Bills=no", Login());

    {
        Host::WriteTransaction change;
        ASSERT_EQ(PM_OK, m_Desktop->Manager().SetRoleForUser(kCarol, kPurchasing));
        Restart();
        EXPECT_EQ("the connection to the server failed (SQLSTATE 08007: the connection was lost "
                  "while committing, so the change may or may not be in the database (the server "
                  "closed the connection))",
                  Host::DescribeWriteFailure(change.Commit()));
    }
    EXPECT_EQ("", QueryElsewhere(location, "SELECT role_id FROM user_roles WHERE role_id = 5"));
    EXPECT_EQ("Invoices=yes Bills=no", Login());

    Restart();
    EXPECT_EQ("Invoices=yes Bills=no", Login());
    {
        Host::ReadTransaction reads;
        EXPECT_EQ("Invoices=yes Bills=no", Login());
        Restart();
        EXPECT_EQ("Invoices=yes Bills=no", Login());
    }

    // The first read of an Init, the version record's count, fails; the
    // library goes on without it, and the next reads connect again.
    Restart();
    EXPECT_EQ(0, m_Desktop->Manager().Init());
    EXPECT_EQ("Invoices=yes Bills=no", Login());
    {
        Host::WriteTransaction change;
        ASSERT_EQ(PM_OK, m_Desktop->Manager().SetRoleForUser(kCarol, kPurchasing));
        EXPECT_EQ(Host::kBracketOk, change.Commit());
    }
    EXPECT_EQ("Invoices=yes Bills=yes", Login());
    EXPECT_EQ("5", QueryElsewhere(location, "SELECT role_id FROM user_roles WHERE role_id = 5"));
    m_Desktop.reset();
}

// One pmctl process after another for the given time: a bank account added,
// then a check. Into prefix.log: "ok START" or "lost START" for each command
// (START: seconds from start) that succeeded or failed because of the
// connection, in words; "account NAME" for each account acknowledged, "maybe
// NAME" for one whose command failed so; "fail ..." for anything else.
void Work(int w, std::string const& location, Clock::time_point start, Clock::time_point deadline,
          std::string const& prefix) {
    std::ofstream log(prefix + ".log");
    for (int i = 0; Clock::now() < deadline; ++i) {
        std::string const account = "R" + std::to_string(w) + " " + std::to_string(i);
        for (std::vector<std::string> const& args :
             {std::vector<std::string>{"bank", "add", location, account},
              {"check", location, "carol", "Invoices", "view"}}) {
            double const begun = SecondsSince(start);
            PmctlRun run = RunPmctlChild(args, prefix, 15);
            bool const lost = run.code == 1 && run.err.find(kLostWords) != std::string::npos;
            if (run.code != 0 && !lost) {
                std::replace(run.err.begin(), run.err.end(), '\n', ' ');
                log << "fail " << Describe(args) << " exited " << run.code << ": " << run.err
                    << "\n";
            }
            log << (lost ? "lost " : "ok ") << begun << "\n";
            if (args[0] == "bank") {
                log << (lost            ? "maybe "
                        : run.code == 0 ? "account "
                                        : "failed ")
                    << account << "\n";
            }
        }
    }
}

// pmctl commands running while the server restarts twice: each fails
// because of the connection, in words (exit 1), or succeeds; after the
// restarts each process's next command succeeds; every account acknowledged
// is there, and every account there was acknowledged or failed in words.
TEST_P(ServerRestartTest, CommandsThroughARestartFailInWordsAndTheNextSucceeds) {
    ScratchDir dir;
    std::string const location = Location();
    PmctlSetUp({"create", location}, dir / "setup");
    PmctlSetUp({"users", "add", location, "carol"}, dir / "setup");
    PmctlSetUp({"assign", location, "carol", "Sales"}, dir / "setup");
    ASSERT_FALSE(HasFailure());

    int const kProcesses = 3;
    Clock::time_point const start = Clock::now();
    pid_t workers[kProcesses];
    for (int w = 0; w < kProcesses; ++w) {
        workers[w] = ::fork();
        if (workers[w] == 0) {
            Work(w, location, start, start + std::chrono::seconds(4),
                 dir / ("worker" + std::to_string(w)));
            std::_Exit(0);
        }
        ASSERT_NE(-1, workers[w]);
    }
    for (int restart = 0; restart < 2; ++restart) {
        std::this_thread::sleep_for(std::chrono::milliseconds(800));
        Restart();
    }
    double const restarted = SecondsSince(start);
    std::string acknowledged, maybe;
    int lost = 0;
    for (int w = 0; w < kProcesses; ++w) {
        int const status = WaitFor(workers[w], start, 40);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << w << ": status " << status;
        std::istringstream log(ReadBytes(dir / ("worker" + std::to_string(w) + ".log")));
        bool okAfter = false;
        for (std::string line; std::getline(log, line);) {
            std::istringstream fields(line);
            std::string word, rest;
            fields >> word;
            std::getline(fields, rest);
            EXPECT_NE("fail", word) << line;
            lost += word == "lost";
            okAfter = okAfter || (word == "ok" && std::stod(rest) > restarted);
            acknowledged += word == "account" ? line + "\n" : "";
            maybe += word == "maybe" ? "account" + rest + "\n" : "";
        }
        EXPECT_TRUE(okAfter) << "process " << w << ": no command succeeded after the restarts";
    }
    EXPECT_GE(lost, 1) << "no command was in flight at a restart";
    std::string stored = QueryElsewhere(
        location, "SELECT 'account ' || name FROM entitlements WHERE entitlement_id >= 300000");
    for (std::size_t at = 0; (at = stored.find("; ", at)) != std::string::npos;) {
        stored.replace(at, 2, "\n");
    }
    stored = SortLines(stored.empty() ? stored : stored + "\n");
    EXPECT_EQ("", Missing(acknowledged, stored)) << "acknowledged but lost";
    EXPECT_EQ("", Missing(stored, acknowledged + maybe)) << "there but never acknowledged";
    PmctlRun verified = RunPmctlChild({"verify", location}, dir / "verify");
    EXPECT_EQ(0, verified.code) << verified.out << verified.err;
    std::cout << "[restart] " << kProcesses << " processes through 2 restarts: " << lost
              << " commands failed in words, "
              << std::count(acknowledged.begin(), acknowledged.end(), '\n')
              << " accounts acknowledged\n";
}

INSTANTIATE_TEST_SUITE_P(Server, ServerRestartTest, ::testing::Values(EngineKind::kServer),
                         EngineName);

} // namespace
