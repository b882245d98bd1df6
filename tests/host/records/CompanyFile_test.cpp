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

TEST_F(CompanyFileTest, ASnapshotIsTheFileInMemoryAndNothingReachesTheFile) {
    TempPath path("snapshot");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    AddSample();
    Host::CloseCompanyFile();
    std::string const before = ReadBytes(path);
    Host::CompanyFileResult opened = Host::OpenCompanyFileSnapshot(path);
    ASSERT_TRUE(opened.ok) << opened.message;
    EXPECT_TRUE(Host::IsCompanyFileSnapshot());
    EXPECT_EQ(path.str(), Host::CurrentCompanyFilePath());
    EXPECT_EQ(kSampleDump, Dump());
    DMUSRRole role = With(&DMUSRRole::SetRoleId, 7);
    EXPECT_TRUE(role.Add(nullptr).Succeeded());
    EXPECT_FALSE(Host::CloseAndRenameCompanyFile(path.str() + ".x").ok);
    Host::CloseCompanyFile();
    EXPECT_FALSE(Host::IsCompanyFileSnapshot());
    EXPECT_TRUE(ReadBytes(path) == before);
    EXPECT_FALSE(Exists(path.str() + "-wal") || Exists(path.str() + "-shm"));
}

TEST_F(CompanyFileTest, ACopyHoldsWhatWasCommittedAndARenameNeverReplacesAFile) {
    TempPath built("built");
    TempPath copy("copy");
    TempPath placed("placed");
    ASSERT_TRUE(Host::CreateCompanyFile(built).ok);
    AddSample();
    {
        Host::WriteTransaction change;
        ASSERT_TRUE(With(&DMUSRRole::SetRoleId, 7).Add(nullptr).Succeeded());
        ASSERT_TRUE(Host::BackupCompanyFile(copy).ok);
        EXPECT_FALSE(Host::BackupCompanyFile(copy).ok) << "a copy over a copy";
        ASSERT_EQ(SQLITE_OK, change.Commit());
    }
    std::string const withRole = Dump();
    WriteBytes(placed, "taken");
    Host::CompanyFileResult refused = Host::CloseAndRenameCompanyFile(placed);
    EXPECT_EQ("Cannot create company file '" + placed.str() + "': the file already exists.",
              refused.message);
    EXPECT_EQ("taken", ReadBytes(placed));
    ::unlink(placed.str().c_str());
    ASSERT_TRUE(Host::OpenCompanyFile(built).ok);
    ASSERT_TRUE(Host::CloseAndRenameCompanyFile(placed).ok);
    EXPECT_FALSE(Exists(built));
    ASSERT_TRUE(Host::OpenCompanyFile(placed).ok);
    EXPECT_EQ(withRole, Dump());
    Host::CloseCompanyFile();
    ASSERT_TRUE(Host::OpenCompanyFile(copy).ok);
    EXPECT_EQ(kSampleDump, Dump());
}

} // namespace
