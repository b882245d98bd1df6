// A desktop that keeps a company open while pmctl changes it: what it sees of
// those changes at its next login or Init, the same on a file and on a
// server. And the server restarted under a desktop and under pmctl commands
// (only the throwaway cluster of scripts/with-postgres.sh): the operation in
// flight fails, in words, and leaves nothing; the next one connects again
// and succeeds; nothing acknowledged is lost.
#include "support/EngineTesting.h"
#include "support/PmctlChild.h"

#include <host/company/Company.h>
#include <host/records/Transactions.h>

#include <PM/Constants.h>

#include <cstdio>
#include <sstream>

namespace {

using namespace PMTest;

int const kCarol = 102;
int const kPurchasing = 5;
long const kView = 1;
struct Question {
    char const* name;
    int id;
} const kQuestions[] = {{"Invoices", 6}, {"Bills", 28}, {"Checking", 300000}};
// What every failure of a lost or unreachable server says.
std::string const kLost = "the connection to the server failed";

class DesktopTest : public EngineTest {
protected:
    void TearDown() override {
        m_Desktop.reset();
        EngineTest::TearDown();
    }
    // The company as pmctl makes it: carol holding Sales.
    void MakeCompany() {
        for (char const* line : {"create F", "users add F carol", "assign F carol Sales"}) {
            PmctlSetUp(Words(line, Location()), m_Dir / "setup");
        }
    }
    // The company opened here as a desktop keeps it.
    void OpenDesktop() {
        Host::CompanyOptions options;
        options.catalogue = PM_CATALOGUE_DIR "/catalogue.json";
        options.access = Host::CompanyAccess::kLive;
        Host::CompanyProblem problem;
        m_Desktop = Host::Company::Open(Location(), options, &problem);
        ASSERT_NE(nullptr, m_Desktop) << problem.message;
    }
    // What the established user may view, "Invoices=yes Bills=no ...".
    std::string Sees() {
        std::string seen;
        for (Question const& question : kQuestions) {
            seen += std::string(seen.empty() ? "" : " ") + question.name + "=" +
                    (m_Desktop->Manager().IsAccessAllowed(question.id, kView) ? "yes" : "no");
        }
        return seen;
    }
    // A login of carol that must succeed, unbracketed and then in a read
    // bracket: what each saw, once when both saw the same.
    std::string Login() {
        EXPECT_EQ(0, m_Desktop->Manager().EstablishUser(kCarol));
        std::string const plain = Sees();
        Host::ReadTransaction reads;
        EXPECT_EQ(0, m_Desktop->Manager().EstablishUser(kCarol));
        std::string const bracketed = Sees();
        return plain == bracketed ? plain : plain + " but bracketed " + bracketed;
    }

    ScratchDir m_Dir;
    std::unique_ptr<Host::Company> m_Desktop;
};

// The user's roles are read at each login; a role's masks, once read, and
// the entitlements are kept until the next Init.
TEST_P(DesktopTest, AnotherDesktopsChangesShowAtTheNextLoginOrInit) {
    MakeCompany();
    OpenDesktop();
    EXPECT_EQ("Invoices=yes Bills=no Checking=no", Login());
    // What pmctl changes ("" nothing), then what the desktop does ("" nothing,
    // "login", "init" and a login), and what it then sees.
    struct Step {
        char const *change, *then, *sees;
    } const steps[] = {
        {"assign F carol Purchasing", "", "Invoices=yes Bills=no Checking=no"},
        {"", "login", "Invoices=yes Bills=yes Checking=no"},
        {"roles edit F Sales --grant Invoices=none", "login", "Invoices=yes Bills=yes Checking=no"},
        {"", "init", "Invoices=no Bills=yes Checking=no"},
        {"unassign F carol Purchasing", "login", "Invoices=no Bills=no Checking=no"},
        // Bookkeeper's masks are read first at the login after the edit.
        {"roles edit F Bookkeeper --grant Bills=none", "", "Invoices=no Bills=no Checking=no"},
        {"assign F carol Bookkeeper", "login", "Invoices=yes Bills=no Checking=no"},
        {"bank add F Checking", "login", "Invoices=yes Bills=no Checking=no"},
        {"", "init", "Invoices=yes Bills=no Checking=yes"},
    };
    for (Step const& step : steps) {
        SCOPED_TRACE(std::string(step.change) + " " + step.then);
        if (*step.change != '\0') {
            PmctlSetUp(Words(step.change, Location()), m_Dir / "change");
        }
        if (std::string(step.then) == "init") {
            EXPECT_EQ(0, m_Desktop->Manager().Init());
        }
        EXPECT_EQ(step.sees, std::string(step.then).empty() ? Sees() : Login());
    }
}

INSTANTIATE_ON_BOTH_ENGINES(DesktopTest);

// The command that restarts the cluster of scripts/with-postgres.sh
// (pg_virtualenv's: the clusters under PG_CLUSTER_CONF_ROOT), as its owner;
// empty, with the reason in *why, where there is none.
std::string RestartCommand(std::string* why) {
    FILE* clusters =
        std::getenv("PG_CLUSTER_CONF_ROOT") ? ::popen("pg_lsclusters -h", "r") : nullptr;
    char line[4096] = {};
    bool const listed = clusters != nullptr && std::fgets(line, sizeof line, clusters) != nullptr;
    if (clusters != nullptr) {
        ::pclose(clusters);
    }
    std::istringstream fields(line);
    std::string version, name, port, status, owner, data, log;
    if (!listed || !(fields >> version >> name >> port >> status >> owner >> data >> log)) {
        *why = "the server is not a throwaway cluster of scripts/with-postgres.sh; it is not "
               "restarted";
        return "";
    }
    std::string const runAs =
        ::geteuid() == 0 && owner != "root" ? "runuser -u " + owner + " -- " : "";
    return runAs + "/usr/lib/postgresql/" + version + "/bin/pg_ctl restart -D '" + data +
           "' -m fast -w -s -l '" + log + "'";
}

class ServerRestartTest : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        std::string why;
        m_Restart = IsSkipped() ? "" : RestartCommand(&why);
        if (!IsSkipped() && m_Restart.empty()) {
            GTEST_SKIP() << why;
        }
    }
    void Restart() { ASSERT_EQ(0, std::system(m_Restart.c_str())) << m_Restart; }

    std::string m_Restart;
};

// A change open across the restart fails at its commit, in words, and leaves
// nothing; the next change connects again. A login or an Init, bracketed or
// not, reads on a new connection and sees what is stored.
TEST_P(ServerRestartTest, ADesktopsOperationInFlightFailsAndTheNextReconnects) {
    MakeCompany();
    OpenDesktop();
    std::string const sales = "Invoices=yes Bills=no Checking=no";
    EXPECT_EQ(sales, Login());
    {
        Host::WriteTransaction change;
        ASSERT_EQ(PM_OK, m_Desktop->Manager().SetRoleForUser(kCarol, kPurchasing));
        Restart();
        EXPECT_EQ(kLost + " (SQLSTATE 08007: the connection was lost while committing, so the "
                          "change may or may not be in the database (the server closed the "
                          "connection))",
                  Host::DescribeWriteFailure(change.Commit()));
    }
    EXPECT_EQ("", QueryElsewhere(Location(), "SELECT role_id FROM user_roles WHERE role_id = 5"));
    EXPECT_EQ(sales, Login());
    Restart();
    EXPECT_EQ(sales, Login());
    {
        Host::ReadTransaction reads;
        EXPECT_EQ(sales, Login());
        Restart();
        EXPECT_EQ(sales, Login());
    }
    // Init goes on without the read that failed (the version record's
    // count), and reads the rest on a new connection.
    Restart();
    EXPECT_EQ(0, m_Desktop->Manager().Init());
    EXPECT_EQ(sales, Login());
    {
        Host::WriteTransaction change;
        ASSERT_EQ(PM_OK, m_Desktop->Manager().SetRoleForUser(kCarol, kPurchasing));
        EXPECT_EQ(Host::kBracketOk, change.Commit());
    }
    EXPECT_EQ("Invoices=yes Bills=yes Checking=no", Login());
}

// pmctl commands one after another while the server restarts twice: each
// succeeds, or fails because of the connection, in words (exit 1); the last
// ones succeed; every account acknowledged is there, and every account there
// was acknowledged or failed in words.
TEST_P(ServerRestartTest, CommandsThroughRestartsFailInWordsAndTheNextSucceeds) {
    MakeCompany();
    pid_t const restarter = ::fork();
    if (restarter == 0) {
        for (int restart = 0; restart < 2; ++restart) {
            std::this_thread::sleep_for(std::chrono::milliseconds(800));
            if (std::system(m_Restart.c_str()) != 0) {
                std::_Exit(1);
            }
        }
        std::_Exit(0);
    }
    Clock::time_point const start = Clock::now();
    std::string acknowledged, maybe;
    int lost = 0;
    bool lastSucceeded = false;
    for (int i = 0; SecondsSince(start) < 3.5; ++i) {
        std::string const account = "R" + std::to_string(i);
        for (std::vector<std::string> const& args :
             {std::vector<std::string>{"bank", "add", Location(), account},
              {"check", Location(), "carol", "Invoices", "view"}}) {
            PmctlRun run = RunPmctlChild(args, m_Dir / "run");
            bool const inWords = run.code == 1 && run.err.find(kLost) != std::string::npos;
            EXPECT_TRUE(run.code == 0 || inWords)
                << Describe(args) << ": " << run.code << " " << run.err;
            lost += inWords;
            lastSucceeded = run.code == 0;
            (run.code == 0 ? acknowledged : maybe) +=
                args[0] == "bank" ? "account " + account + "\n" : "";
        }
    }
    int const status = WaitFor(restarter, start, 30);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "restarts: " << status;
    EXPECT_GE(lost, 1) << "no command was in flight at a restart";
    EXPECT_TRUE(lastSucceeded);
    std::string const stored = QueryLines(
        Location(), "SELECT 'account ' || name FROM entitlements WHERE entitlement_id >= 300000");
    EXPECT_EQ("", Missing(acknowledged, stored)) << "acknowledged but lost";
    EXPECT_EQ("", Missing(stored, acknowledged + maybe)) << "there but never acknowledged";
    EXPECT_EQ(0, RunPmctlChild({"verify", Location()}, m_Dir / "verify").code);
}

INSTANTIATE_TEST_SUITE_P(Server, ServerRestartTest, ::testing::Values(EngineKind::kServer),
                         EngineName);

} // namespace
