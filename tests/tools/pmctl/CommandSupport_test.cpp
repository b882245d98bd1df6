// What every command shares: reads work on a snapshot and never write; a
// change is one write bracket, in the file whole or not at all; names and
// output paths are checked; what is printed survives any stored text.
#include "CommandSupport.h"
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

#include <host/records/FaultPlan.h>

#include <PM/Constants.h>

#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Pmctl;
using PMTest::ReadBytes;
namespace fs = std::filesystem;

using PMTest::QueryFile;

class CommandSupportTest : public PMTest::CommandTest {
protected:
    // A company made with the previous release's catalogue.
    std::string OlderFile() {
        std::string path = NewCompany("older");
        EXPECT_EQ(
            0,
            Pmctl("create F --catalogue " PM_CATALOGUE_DIR "/catalogue-previous.json", path).code);
        return path;
    }
};

TEST_P(CommandSupportTest, ReadsNeverWriteTheFile) {
    std::string const older = OlderFile();
    std::string const before = Contents(older);
    std::pair<std::string, int> const reads[] = {
        {"info F", 0},
        {"check F admin Invoices view --as OrvaneConnect", 0}, // makes the application's role
        {"explain F admin Invoices", 0},
        {"users list F", 0},
        {"roles list F --all", 0},
        {"roles show F Admin", 0},
        {"bank list F", 0},
        {"verify F", 1}, // the upgrade, in the snapshot, leaves a predefined role short
        {"matrix F --html " + Scratch("page.html"), 0},
    };
    for (auto const& [line, code] : reads) {
        SCOPED_TRACE(line);
        PMTest::Result result = Pmctl(line, older);
        EXPECT_EQ(code, result.code) << result.err;
        EXPECT_TRUE(Contents(older) == before) << "the file changed";
        EXPECT_EQ("pmctl: " + older + ": note: this " + (OnServer() ? "database" : "file") +
                      " will be upgraded from version 24 to 27 on the next "
                      "change\n",
                  result.err);
    }
    EXPECT_FALSE(fs::exists(older + "-wal"));
    EXPECT_NE(std::string::npos,
              Pmctl("info F", older).out.find("upgrade         to version 27 on the next change"));

    // A catalogue of a higher version that lacks most entitlements: read with
    // it, the file would lose them; as a snapshot, it loses nothing.
    std::string const current = Contents();
    Pmctl("info F --catalogue " + Catalogue(28, 120));
    EXPECT_TRUE(Contents() == current) << "a read with another catalogue wrote the file";
}

// What concerns the file and its neighbours, or the SQLite connection.
class CommandSupportFileTest : public CommandSupportTest {};

TEST_F(CommandSupportFileTest, AReadOnlyFileInAReadOnlyDirectoryCanBeRead) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root to become another user";
    }
    std::string const dir = Scratch("auditor");
    fs::create_directories(dir);
    std::string const copy = dir + "/copy.pmco";
    fs::copy_file(m_File, copy);
    fs::permissions(copy, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    fs::permissions(dir, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                             fs::perms::others_read | fs::perms::others_exec);
    pid_t child = ::fork();
    if (child == 0) {
        // An auditor: someone who may read the file and nothing else.
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(99);
        }
        PMTest::Result users = Pmctl("users list F", copy);
        PMTest::Result change = Pmctl("users add F eve", copy);
        bool ok = users.code == 0 && users.out.find("carol") != std::string::npos &&
                  change.code == kExitBadInput &&
                  change.err.find("it is read-only") != std::string::npos;
        ::_exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    EXPECT_EQ(ReadBytes(m_File), ReadBytes(copy));
    EXPECT_EQ(std::vector<fs::path>{copy}, std::vector<fs::path>(fs::directory_iterator(dir), {}));
}

// A record operation that fails half-way through a change, as a full disk or
// a crash would stop it: the command fails and the company is as it was.
TEST_P(CommandSupportTest, AChangeThatFailsHalfWayLeavesTheFileAsItWas) {
    std::string const older = OlderFile();
    std::string const list = Scratch("accounts.txt");
    std::ofstream(list) << "Checking\nChecking:Payroll\nSavings\n";
    std::string const grants = Scratch("grants.json");
    std::ofstream(grants) << R"({"Invoices": "full", "Bills": ["view"], "Employees": 3})";
    std::pair<std::string, std::string> const changes[] = {
        {older, "upgrade F --catalogue " + PMTest::ShippedCatalogue()},
        {older, "assign F admin Sales"}, // upgrades on the way
        {m_File, "reset F --yes"},
        {m_File, "bank import F " + list},
        {m_File, "unassign F dave Purchasing"},
        {m_File, "roles edit F Sales --from-json " + grants},
        {m_File, "users remove F dave --yes"},
        {m_File, "roles copy F Sales \"Sales East\""},
    };
    for (auto const& [file, line] : changes) {
        SCOPED_TRACE(line);
        std::string const before = Contents(file);
        // Every record operation of a clean run, counted on a copy.
        std::string const copy = CopyOfCompany(file, "clean");
        Host::FaultPlan::Get().ResetCounts();
        ASSERT_EQ(0, Pmctl(line, copy).code);
        long const calls = Host::FaultPlan::Get().Calls("*");
        for (long nth : {calls / 2, calls - 2}) {
            Host::ScopedFault fault("*", nth, Host::FaultPlan::kFail, true);
            EXPECT_NE(0, Pmctl(line, file).code) << "fault at " << nth << " of " << calls;
            EXPECT_TRUE(Contents(file) == before) << "fault at " << nth << " of " << calls;
        }
        // No copy of a change that was not made (the clean run's are its own).
        for (fs::directory_entry const& entry : fs::directory_iterator(m_Dir)) {
            std::string const name = entry.path().filename().string();
            EXPECT_TRUE(name.rfind("clean.", 0) == 0 || name.find(".bak") == std::string::npos)
                << name;
        }
    }
}

TEST_P(CommandSupportTest, ADryRunDoesItAllAndWritesNothing) {
    std::string const before = Contents();
    EXPECT_EQ("removed user carol (id 102)\n(dry run: nothing was written to " + m_File + ")\n",
              Pmctl("users remove F carol --dry-run").out);
    EXPECT_EQ(0, Pmctl("reset F --dry-run").code);
    EXPECT_TRUE(Contents() == before);
    EXPECT_EQ(OnServer() ? 0u : 1u, std::distance(fs::directory_iterator(m_Dir), {}))
        << "no copy, no other file";
    std::string const fresh = NewCompany("new");
    PMTest::Result created = Pmctl("create F --dry-run", fresh);
    EXPECT_EQ(0u, created.out.find("would create " + fresh)) << created.err;
    EXPECT_EQ("", Contents(fresh));
}

TEST_F(CommandSupportFileTest, NothingIsWrittenOverTheCompanyFile) {
    std::string const before = ReadBytes(m_File);
    fs::create_symlink(m_File, Scratch("link.html"));
    fs::create_hard_link(m_File, Scratch("hard.html"));
    for (std::string const& out :
         {m_File, m_File + "-wal", m_File + "-journal", Scratch("link.html"), Scratch("hard.html"),
          m_Dir + "/./company.pmco",
          m_Dir + "/../" + fs::path(m_Dir).filename().string() + "/company.pmco-wal"}) {
        SCOPED_TRACE(out);
        PMTest::Result result = Pmctl("matrix F --csv " + out);
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ(0u, result.err.find("pmctl: " + m_File + ": will not write " + out +
                                      ": it is the company file"));
    }
    EXPECT_TRUE(ReadBytes(m_File) == before);
    // Through a second name, SQLite can lose writes: refused for changes.
    PMTest::Result linked = Pmctl("assign F carol Sales");
    EXPECT_EQ(kExitBadInput, linked.code);
    EXPECT_NE(std::string::npos, linked.err.find("it has 2 hard links"));
    EXPECT_EQ(0, Pmctl("info F").code);
}

TEST_F(CommandSupportFileTest, JsonAndCsvCarryAnyStoredText) {
    // Written by another program: pmctl itself refuses such names.
    QueryFile(m_File, "UPDATE users SET name = CAST(X'6361FF726F6C' AS TEXT) WHERE user_id = 102");
    nlohmann::json users = Json("users list F");
    ASSERT_EQ(3u, users.size());
    EXPECT_EQ("ca\xEF\xBF\xBDrol", users[1]["name"]);

    ASSERT_EQ(0, Pmctl("roles copy F Sales =SUM(A1)").code);
    std::string const csv = Scratch("roles.csv");
    ASSERT_EQ(0, Pmctl("matrix F --csv " + csv).code);
    std::string const header = ReadBytes(csv).substr(0, ReadBytes(csv).find('\n'));
    EXPECT_NE(std::string::npos, header.find(",'=SUM(A1)")) << header;
}

TEST_P(CommandSupportTest, ARemovedUsersRecordKeyIsNeverGivenAgain) {
    std::string const keys = "SELECT record_key FROM users ORDER BY user_id";
    EXPECT_EQ("1; 2; 3", Query(keys));
    ASSERT_EQ(0, Pmctl("users remove F dave --yes").code);
    // An assignment left behind under dave's key, as by an assign that raced
    // the removal: a new user must not inherit it.
    Query("INSERT INTO user_roles (user_key, role_id) VALUES (3, 4)");
    ASSERT_EQ(0, Pmctl("users add F erin").code);
    EXPECT_EQ("1; 2; 4", Query(keys));
    EXPECT_EQ(nlohmann::json::array(), Json("users list F")[2]["roles"]) << "erin holds a role";
}

TEST_F(CommandSupportFileTest, ACreateThatRunsOutOfDiskLeavesNoFile) {
    std::string const target = Scratch("full.pmco");
    pid_t child = ::fork();
    if (child == 0) {
        // Files of this process may not grow past 40 KB: the disk is full
        // half-way through the defaults.
        ::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {40 * 1024, 40 * 1024};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        int code = Pmctl("create F", target).code;
        ::_exit(code);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == kExitFailed) << "status " << status;
    std::vector<fs::path> const left(fs::directory_iterator(m_Dir), {});
    EXPECT_EQ(std::vector<fs::path>{m_File}, left) << "the file, or a part of it, was left";
}

INSTANTIATE_ON_BOTH_ENGINES(CommandSupportTest);

} // namespace
