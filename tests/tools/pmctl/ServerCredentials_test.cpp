// A company database named by a URI that holds its password: no command
// prints the password, whether it succeeds or fails, nor writes it into a
// page, the library's log or the change history; where a location is shown,
// it is the URI with its password masked. A URI without a password takes one
// from a password file it names, PGPASSFILE or PGPASSWORD, and the server and
// database from PGHOST and the rest.
#include "support/PmctlTesting.h"

#include <cstdlib>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using PMTest::Result;

// Environment variables set or unset for a scope, and put back after.
class ScopedEnvironment {
public:
    ~ScopedEnvironment() {
        for (auto const& [name, value] : m_Saved) {
            if (value.second) {
                ::setenv(name.c_str(), value.first.c_str(), 1);
            } else {
                ::unsetenv(name.c_str());
            }
        }
    }
    // value null: unset.
    void Set(std::string const& name, char const* value) {
        if (m_Saved.count(name) == 0) {
            char const* old = std::getenv(name.c_str());
            m_Saved[name] = {old != nullptr ? old : "", old != nullptr};
        }
        value != nullptr ? ::setenv(name.c_str(), value, 1) : ::unsetenv(name.c_str());
    }

private:
    std::map<std::string, std::pair<std::string, bool>> m_Saved;
};

std::string Environment(char const* name) {
    char const* value = std::getenv(name);
    return value != nullptr ? value : "";
}

class CredentialsOnServerTest : public PMTest::CommandTest {
protected:
    PMTest::EngineKind Engine() const override { return PMTest::EngineKind::kServer; }
    // The case's URI ("postgresql://USER@/DATABASE?host=...") with a password.
    std::string WithPassword(std::string const& password) const {
        std::size_t const at = m_File.find('@');
        return m_File.substr(0, at) + ":" + password + m_File.substr(at);
    }
};

TEST_F(CredentialsOnServerTest, NoCommandPrintsOrWritesThePassword) {
    // The cluster's password (scripts/with-postgres.sh), in the URI itself.
    std::string const password = Environment("PGPASSWORD");
    ASSERT_GE(password.size(), 8u) << "PGPASSWORD names the server's password";
    std::string const uri = WithPassword(password), shown = WithPassword("***");
    std::string const wrong = WithPassword("wr0ng-s3cret");
    // No server there; the password also in the socket path that the client
    // library's words name.
    std::string const nowhere = m_File.substr(0, m_File.find('@')) + ":" + password +
                                "@/pm_test?host=/nonexistent/" + password + "&port=1";
    std::string const page = Scratch("page.html"), csv = Scratch("roles.csv"),
                      log = Scratch("pm.log");
    struct Case {
        std::string line;
        std::string const& location;
        int code;
        std::string shows; // what standard output and error hold, among the rest
    } const cases[] = {
        {"info F", uri, 0, "database        " + shown + "\n"},
        {"info F --json", uri, 0, "\"file\": \"" + shown + "\""},
        {"users add F erin", uri, 0, "added user erin (id 104)"},
        {"users add F erin", uri, 2,
         "pmctl: " + shown + ": there is a user named \"erin\" already"},
        {"assign F erin Sales --dry-run", uri, 0,
         "(dry run: nothing was written to " + shown + ")\n"},
        {"reset F", uri, 2, "pmctl: " + shown + ": Reset " + shown + " to the factory defaults"},
        {"reset F --yes", uri, 0, "no copy of the database as it was is kept"},
        {"upgrade F --catalogue " + PMTest::ShippedCatalogue(), uri, 0,
         shown + " is at version 27"},
        {"--log " + log + " check F carol Invoices view --as OrvaneConnect", uri, 0,
         "allowed: OrvaneConnect for carol may view Invoices"},
        {"matrix F --html " + page + " --csv " + csv + " --json", uri, 0,
         "\"file\": \"" + shown + "\""},
        {"log F", uri, 0, "  users add erin\n"},
        {"create F", uri, 2,
         "pmctl: Cannot create company database '" + shown + "': the database is not empty"},
        {"demo F", uri, 2, "pmctl: " + shown + ": the demo makes a company file"},
        {"info F F", uri, 2, "pmctl: The following argument was not expected: " + shown},
        {"users list F", wrong, 2,
         "pmctl: Cannot open company database '" + shown +
             "': the server refused the connection (SQLSTATE 08004: "},
        {"users list F", nowhere, 1,
         "it cannot be reached: the connection to the server failed (SQLSTATE 08001: "},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.line + " on " + (&c.location == &uri ? "the URI" : c.location));
        Result const result = Pmctl(c.line, c.location);
        std::string const said = result.out + result.err;
        EXPECT_EQ(c.code, result.code) << said;
        EXPECT_NE(std::string::npos, said.find(c.shows)) << said;
        EXPECT_EQ(std::string::npos, said.find(password)) << said;
        EXPECT_EQ(std::string::npos, said.find("wr0ng-s3cret")) << said;
    }
    // What was written: the page (which shows the masked URI), the CSV, the
    // library's log lines, and every row of the database.
    std::string const written =
        PMTest::ReadBytes(page) + PMTest::ReadBytes(csv) + PMTest::ReadBytes(log) + Contents();
    EXPECT_NE(std::string::npos, PMTest::ReadBytes(page).find("<code>postgresql://"));
    EXPECT_NE(std::string::npos, PMTest::ReadBytes(log).find("level "));
    EXPECT_EQ(std::string::npos, written.find(password));
}

TEST_F(CredentialsOnServerTest, APasswordFileOrTheEnvironmentStandsInForThePassword) {
    std::string const password = Environment("PGPASSWORD");
    ASSERT_FALSE(password.empty());
    std::string const users = Pmctl("users list F").out;
    std::string const passfile = Scratch("pgpass");
    std::ofstream(passfile) << "*:*:*:*:" << password << "\n";
    ASSERT_EQ(0, ::chmod(passfile.c_str(), 0600)); // libpq ignores a file others may read

    ScopedEnvironment environment;
    environment.Set("PGPASSWORD", nullptr);
    Result const none = Pmctl("users list F");
    EXPECT_EQ(Pmctl::kExitBadInput, none.code);
    EXPECT_EQ(0u, none.err.find("pmctl: Cannot open company database '" + m_File +
                                "': the server refused the connection (SQLSTATE 08004: "))
        << none.err;
    EXPECT_NE(std::string::npos, none.err.find("fe_sendauth: no password supplied")) << none.err;

    EXPECT_EQ(users, PMTest::Out("users list F", m_File + "&passfile=" + passfile));
    environment.Set("PGPASSFILE", passfile.c_str());
    EXPECT_EQ(users, Out("users list F"));

    // The server, port and user from the environment too: the URI names the
    // database alone.
    environment.Set("PGHOST", Environment("PM_POSTGRES_SOCKET_DIR").c_str());
    std::string const database = m_File.substr(m_File.find("@/") + 2);
    EXPECT_EQ(users, PMTest::Out("users list F",
                                 "postgresql:///" + database.substr(0, database.find('?'))));
}

} // namespace

// A desktop whose server role may read but not write (the office's pm_desk)
// reads as any desktop does; a change is refused by the server, in its words
// and with its SQLSTATE, and nothing of it is written.
TEST_F(CredentialsOnServerTest, ARoleThatMayOnlyReadChangesNothingAndSaysWhy) {
    std::string const reader = "pm_reader_" + std::to_string(::getpid());
    Query("CREATE ROLE " + reader + " LOGIN PASSWORD 'r3ader'; GRANT SELECT ON ALL TABLES IN " +
          "SCHEMA public TO " + reader);
    std::string const uri = "postgresql://" + reader + ":r3ader" + m_File.substr(m_File.find('@'));
    std::string const shown =
        "pmctl: postgresql://" + reader + ":***" + m_File.substr(m_File.find('@')) + ": ";
    std::string const before = Contents();
    EXPECT_EQ(Out("users list F"), PMTest::Out("users list F", uri));
    Result const add = Pmctl("users add F bob", uri);
    EXPECT_EQ(Pmctl::kExitFailed, add.code);
    EXPECT_EQ(shown + "cannot add the user \"bob\": the server reported SQLSTATE 42501: "
                      "permission denied for table users\n",
              add.err);
    Result const edit = Pmctl("roles edit F Sales --grant Invoices=view", uri);
    EXPECT_EQ(Pmctl::kExitFailed, edit.code);
    EXPECT_EQ(shown + "the role Sales could not be saved (result -1: the server reported "
                      "SQLSTATE 42501: permission denied for table roles)\n",
              edit.err);
    EXPECT_EQ(before, Contents());
}
