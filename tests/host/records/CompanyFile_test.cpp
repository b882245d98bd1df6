#include "RecordsTesting.h"

#include <host/records/CompanyFile.h>
#include <host/records/CompanyFileJournal.h>

#include <Records/DMUSRRole.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <sys/stat.h>

namespace {

using namespace RecordsTest;

// A copy of the file and the file beside it, taken while a write is under way:
// what a crash leaves.
void CopyMidWrite(std::string const& to, std::string const& from, char const* beside) {
    WriteBytes(to, ReadBytes(from));
    WriteBytes(to + beside, ReadBytes(from + beside));
}

class CompanyFileTest : public ::testing::Test {
protected:
    void SetUp() override { Host::CloseCompanyFile(); }
    void TearDown() override { Host::CloseCompanyFile(); }
};

// A close folds the write-ahead log into the file; a crash leaves the log
// beside it, and the next open brings back every committed record.
TEST_F(CompanyFileTest, RecordsSurviveCloseAndCrash) {
    TempPath path("reopen");
    TempPath crashed("crashed");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    EXPECT_EQ(Host::CurrentCompanyFilePath(), path.str());
    AddSample();
    CopyMidWrite(crashed, path, "-wal");
    Host::CloseCompanyFile();
    EXPECT_EQ(Host::CurrentCompanyFilePath() + (Host::IsCompanyFileOpen() ? "open" : ""), "");
    EXPECT_EQ(Host::CurrentCompanyFileHandle(), nullptr);
    EXPECT_FALSE(Exists(path.str() + "-wal"));

    for (TempPath const* file : {&path, &crashed}) {
        Host::CompanyFileResult opened = Host::OpenCompanyFile(*file);
        ASSERT_TRUE(opened.ok) << opened.message;
        EXPECT_EQ(opened.message, "");
        EXPECT_EQ(Dump(), kSampleDump);
        Host::CloseCompanyFile();
    }
}

TEST_F(CompanyFileTest, CreateRefusesAnExistingFileOrASecondCompanyFile) {
    TempPath first("first");
    TempPath second("second");
    WriteBytes(second, "keep me");
    EXPECT_EQ(Host::CreateCompanyFile(second).message,
              "Cannot create company file '" + second.str() + "': the file already exists.");
    EXPECT_EQ(ReadBytes(second), "keep me");
    ::unlink(second.str().c_str());

    ASSERT_TRUE(Host::CreateCompanyFile(first).ok);
    std::string const reason = "': the company file '" + first.str() + "' is open.";
    EXPECT_EQ(Host::CreateCompanyFile(second).message,
              "Cannot create company file '" + second.str() + reason);
    EXPECT_FALSE(Exists(second));
    EXPECT_EQ(Host::OpenInMemoryCompanyFile().message,
              "Cannot open company file ':memory:" + reason);
    Host::CloseCompanyFile();
    ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    EXPECT_EQ(Host::CurrentCompanyFilePath(), ":memory:");
    EXPECT_EQ(Dump(), "");
}

// Setups of files that are not company files. Each writes the file at path.
void Sample(std::string const& path, char const* sql) {
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    AddSample();
    Host::CloseCompanyFile();
    if (sql != nullptr) {
        ExecOnFile(path, sql);
    }
}

void Damage(std::string const& path, std::size_t offset, std::size_t count) {
    Sample(path, nullptr);
    std::string bytes = ReadBytes(path);
    WriteBytes(path, bytes.replace(offset, count, std::string(count, '\xA5')));
}

void RollbackJournalLeftByACrash(std::string const& path) {
    TempPath live("journal_live");
    Host::SetCompanyFileJournal(Host::CompanyFileJournal::kRollbackFull);
    ASSERT_TRUE(Host::CreateCompanyFile(live).ok);
    Host::SetCompanyFileJournal(Host::CompanyFileJournal::kWalFull);
    // A transaction too big for the page cache writes its journal.
    sqlite3_exec(Host::CurrentCompanyFileHandle(),
                 "PRAGMA cache_size = 1; BEGIN; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL "
                 "SELECT i + 1 FROM n WHERE i < 2000) INSERT INTO roles SELECT i, 0, 1, "
                 "hex(randomblob(50)), '' FROM n",
                 nullptr, nullptr, nullptr);
    CopyMidWrite(path, live, "-journal");
}

void ForeignDatabaseLeftByACrash(std::string const& path) {
    TempPath live("foreign_live");
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(live.str().c_str(), &db), SQLITE_OK);
    sqlite3_exec(db, "PRAGMA journal_mode = WAL; CREATE TABLE t(x)", nullptr, nullptr, nullptr);
    CopyMidWrite(path, live, "-wal");
    sqlite3_close(db);
}

TEST_F(CompanyFileTest, OpenRefusesWhatIsNotACompanyFileAndLeavesItAlone) {
    std::string const notCompany = "it is not a company file: its application id is ";
    struct Case {
        char const* name;
        std::function<void(std::string const&)> setup;
        std::string reason;
    } const cases[] = {
        {"missing", [](std::string const&) {}, "the file does not exist"},
        {"directory", [](std::string const& p) { ::mkdir(p.c_str(), 0700); },
         "it is not a regular file"},
        {"text", [](std::string const& p) { WriteBytes(p, "Name,Role\nAnna,Clerk\n"); },
         "it is not an SQLite database (its first 16 bytes are not \"SQLite format 3\")"},
        {"empty", [](std::string const& p) { WriteBytes(p, ""); }, "the file is empty"},
        {"header cut",
         [](std::string const& p) {
             WriteBytes(p, {"SQLite format 3\0\x10", 18});
         },
         "it is truncated: its 18 bytes end inside the 100-byte database header"},
        {"truncated",
         [](std::string const& p) {
             Sample(p, nullptr);
             ASSERT_EQ(::truncate(p.c_str(), 3 * 4096), 0);
         },
         "it is truncated: its header gives 11 pages of 4096 bytes (45056 bytes), but the file "
         "holds 12288 bytes"},
        {"roles page overwritten", [](std::string const& p) { Damage(p, 4096, 4096); },
         "it is damaged (Page 2: btreeInitPage() returns error code 11)"},
        {"schema overwritten", [](std::string const& p) { Damage(p, 100, 3996); },
         "it is damaged (database disk image is malformed)"},
        {"other application",
         [](std::string const& p) { ExecOnFile(p, "PRAGMA application_id = 305419896"); },
         notCompany + "0x12345678, not 0x504D4346"},
        {"plain SQLite", [](std::string const& p) { ExecOnFile(p, "CREATE TABLE roles(x)"); },
         notCompany + "0x00000000, not 0x504D4346"},
        {"plain SQLite left by a crash", ForeignDatabaseLeftByACrash,
         notCompany + "0x00000000, not 0x504D4346"},
        {"newer schema", [](std::string const& p) { Sample(p, "PRAGMA user_version = 2"); },
         "its schema version 2 is newer than the version 1 that this host knows"},
        {"older schema", [](std::string const& p) { Sample(p, "PRAGMA user_version = 0"); },
         "its schema version 0 is older than the version 1 that this host knows"},
        {"table missing", [](std::string const& p) { Sample(p, "DROP TABLE users"); },
         "its tables are not those of a company file: no such table: users"},
        {"rollback journal left by a crash", RollbackJournalLeftByACrash,
         "it holds an interrupted write that its journal must roll back first"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        TempPath path("refused");
        c.setup(path);
        // SQLite's shared-memory index holds no data, and another program
        // may be using it: it may stay beside a file left by a crash.
        auto files = [&path] {
            std::string found;
            for (char const* suffix : {"", "-wal", "-journal"}) {
                found += Exists(path.str() + suffix) ? std::string(suffix) + "+" : "";
            }
            return found + ReadBytes(path);
        };
        std::string const before = files();

        Host::CompanyFileResult result = Host::OpenCompanyFile(path);
        EXPECT_FALSE(result.ok || Host::IsCompanyFileOpen());
        EXPECT_EQ(result.message,
                  "Cannot open company file '" + path.str() + "': " + c.reason + ".");
        EXPECT_TRUE(files() == before) << "the file or the files beside it changed";
    }
}

// Reads bracketed in one read transaction: one snapshot for the reads, and
// every write still committed by itself, at once visible to another process.
bool InTransaction() {
    return sqlite3_get_autocommit(Host::CurrentCompanyFileHandle()) == 0;
}

// "ok 0" for a role that is there, "ok 6042" for one that is not.
std::string LoadRole(long id) {
    DMUSRRole role;
    return StatusText(role.Load(id, nullptr));
}

Util::Status AddRole(long id) {
    DMUSRRole role;
    role.SetRoleId(id);
    role.SetName(("Role " + std::to_string(id)).c_str());
    role.SetDescription("");
    return role.Add(nullptr);
}

// The number of roles another connection sees in the file.
long RolesSeenByAnother(std::string const& path) {
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_stmt* count = nullptr;
    sqlite3_prepare_v2(db, "SELECT count(*) FROM roles", -1, &count, nullptr);
    long roles = sqlite3_step(count) == SQLITE_ROW ? sqlite3_column_int64(count, 0) : -1;
    sqlite3_finalize(count);
    sqlite3_close(db);
    return roles;
}

TEST_F(CompanyFileTest, ReadBracketsShareASnapshotAndEachWriteStillCommitsAlone) {
    TempPath path("bracket");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    ASSERT_TRUE(AddRole(1).Succeeded());
    {
        Host::ReadTransaction reads;
        EXPECT_FALSE(InTransaction()); // nothing read yet
        EXPECT_EQ(LoadRole(1), "ok 0");
        EXPECT_TRUE(InTransaction());
        ExecOnFile(path, "INSERT INTO roles (role_id, category_type, is_visible, name, "
                         "description) VALUES (2, 0, 1, 'B', '')");
        EXPECT_EQ(LoadRole(2), "ok 6042"); // the snapshot of the first read

        ASSERT_TRUE(AddRole(3).Succeeded());
        EXPECT_FALSE(InTransaction());
        EXPECT_EQ(RolesSeenByAnother(path), 3); // committed at once, by itself
        EXPECT_EQ(LoadRole(2), "ok 0");         // a new snapshot after the write
        EXPECT_TRUE(InTransaction());
    }
    EXPECT_FALSE(InTransaction());
    EXPECT_EQ(LoadRole(2) + " " + LoadRole(3), "ok 0 ok 0");
}

TEST_F(CompanyFileTest, ReadBracketsEndAtTheOutermostAndSurviveAClose) {
    TempPath path("nested");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    {
        Host::ReadTransaction outer;
        {
            Host::ReadTransaction inner;
            EXPECT_EQ(LoadRole(1), "ok 6042");
        }
        EXPECT_TRUE(InTransaction());
        // Closing inside a bracket lets its read go; the reopened file's reads
        // join a new one, which the bracket ends.
        Host::CloseCompanyFile();
        ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
        EXPECT_FALSE(InTransaction());
        EXPECT_EQ(LoadRole(1), "ok 6042");
        EXPECT_TRUE(InTransaction());
    }
    EXPECT_FALSE(InTransaction());
    Host::CloseCompanyFile();
    Host::ReadTransaction withoutAFile; // nothing to bracket, nothing to end
}

} // namespace
