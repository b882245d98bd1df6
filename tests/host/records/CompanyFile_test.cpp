#include "CompanyFileTesting.h"
#include "RecordOperations.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using RecordsTest::Dump;
using RecordsTest::Exists;
using RecordsTest::kSampleDump;
using RecordsTest::TempPath;

class CompanyFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        Host::FaultPlan::Get().Disarm();
        Host::CloseCompanyFile();
    }
    void TearDown() override { Host::CloseCompanyFile(); }
};

TEST_F(CompanyFileTest, RecordsSurviveCloseAndReopen) {
    TempPath path("reopen");
    Host::CompanyFileResult created = Host::CreateCompanyFile(path);
    ASSERT_TRUE(created.ok) << created.message;
    EXPECT_EQ(created.message, "");
    EXPECT_EQ(Host::CurrentCompanyFilePath(), path.str());
    RecordsTest::AddSample();
    Host::CloseCompanyFile();
    EXPECT_FALSE(Host::IsCompanyFileOpen());
    EXPECT_EQ(Host::CurrentCompanyFilePath(), "");
    EXPECT_EQ(Host::CurrentCompanyFileHandle(), nullptr);
    // Closing folds the write-ahead log into the file.
    EXPECT_FALSE(Exists(path.str() + "-wal"));

    Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
    ASSERT_TRUE(opened.ok) << opened.message;
    EXPECT_EQ(Dump(), kSampleDump);
    DMUSRRole role;
    ASSERT_EQ(role.Load(1, nullptr).GetStatusCode(), 0);
    char name[kRecordTextBufferSize];
    ASSERT_EQ(role.GetName(name), 0);
    EXPECT_EQ(std::string(name) + " " + std::to_string(role.GetIsVisible()), "Clerk's desk 2");
    DMUSRRoleAction mask;
    ASSERT_EQ(mask.Load(1, 100012, nullptr).GetStatusCode(), 0);
    EXPECT_EQ(mask.GetActionType(), 17);
}

TEST_F(CompanyFileTest, OneCompanyFileAtATime) {
    TempPath first("first");
    TempPath second("second");
    ASSERT_TRUE(Host::CreateCompanyFile(first).ok);
    Host::CompanyFileResult refused = Host::CreateCompanyFile(second);
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.message, "Cannot create company file '" + second.str() +
                                   "': the company file '" + first.str() + "' is open.");
    EXPECT_FALSE(Exists(second));
    EXPECT_EQ(Host::OpenInMemoryCompanyFile().message,
              "Cannot open company file ':memory:': the company file '" + first.str() +
                  "' is open.");
    EXPECT_EQ(Host::CurrentCompanyFilePath(), first.str());

    Host::CloseCompanyFile();
    ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    EXPECT_EQ(Host::CurrentCompanyFilePath(), ":memory:");
    EXPECT_EQ(Dump(), "");
}

// A company file holding the sample, closed; Setup steps then spoil it.
void CreateSample(std::string const& path) {
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    RecordsTest::AddSample();
    Host::CloseCompanyFile();
}

void OverwritePage(std::string const& path, long page) {
    std::string bytes = RecordsTest::ReadBytes(path);
    bytes.replace((page - 1) * 4096, 4096, std::string(4096, '\xA5'));
    RecordsTest::WriteBytes(path, bytes);
}

TEST_F(CompanyFileTest, OpenRefusesWhatIsNotACompanyFileAndLeavesItAlone) {
    struct Case {
        char const* name;
        std::function<void(std::string const&)> setup;
        char const* reason;
    } const cases[] = {
        {"missing", [](std::string const&) {}, "the file does not exist"},
        {"text",
         [](std::string const& p) { RecordsTest::WriteBytes(p, "Name,Role\nAnna,Clerk\n"); },
         "it is not an SQLite database (its first 16 bytes are not \"SQLite format 3\")"},
        {"empty", [](std::string const& p) { RecordsTest::WriteBytes(p, ""); },
         "the file is empty"},
        {"header cut short",
         [](std::string const& p) {
             RecordsTest::WriteBytes(p, std::string("SQLite format 3\0\x10", 18));
         },
         "it is truncated: its 18 bytes end inside the 100-byte database header"},
        {"truncated",
         [](std::string const& p) {
             CreateSample(p);
             RecordsTest::WriteBytes(p, RecordsTest::ReadBytes(p).substr(0, 3 * 4096));
         },
         "it is truncated: its header gives 10 pages of 4096 bytes (40960 bytes), but the file "
         "holds 12288 bytes"},
        {"page of the roles overwritten",
         [](std::string const& p) {
             CreateSample(p);
             OverwritePage(p, 2);
         },
         "it is damaged (Page 2: btreeInitPage() returns error code 11)"},
        {"schema page overwritten",
         [](std::string const& p) {
             CreateSample(p);
             std::string bytes = RecordsTest::ReadBytes(p);
             bytes.replace(100, 3996, std::string(3996, '\xA5'));
             RecordsTest::WriteBytes(p, bytes);
         },
         "it is damaged (database disk image is malformed)"},
        {"another application's database",
         [](std::string const& p) {
             RecordsTest::ExecOnFile(p, "PRAGMA application_id = 305419896; CREATE TABLE t(x)");
         },
         "it is not a company file: its application id is 0x12345678, not 0x504D4346"},
        {"another application's database, left mid-write",
         [](std::string const& p) {
             TempPath live("foreign_live");
             sqlite3* db = nullptr;
             ASSERT_EQ(sqlite3_open(live.str().c_str(), &db), SQLITE_OK);
             sqlite3_exec(db, "PRAGMA journal_mode = WAL; CREATE TABLE t(x)", nullptr, nullptr,
                          nullptr);
             RecordsTest::WriteBytes(p, RecordsTest::ReadBytes(live));
             RecordsTest::WriteBytes(p + "-wal", RecordsTest::ReadBytes(live.str() + "-wal"));
             sqlite3_close(db);
         },
         "it is not a company file: its application id is 0x00000000, not 0x504D4346"},
        {"plain SQLite database",
         [](std::string const& p) { RecordsTest::ExecOnFile(p, "CREATE TABLE roles(x)"); },
         "it is not a company file: its application id is 0x00000000, not 0x504D4346"},
        {"newer schema",
         [](std::string const& p) {
             CreateSample(p);
             RecordsTest::ExecOnFile(p, "PRAGMA user_version = 2");
         },
         "its schema version 2 is newer than the version 1 that this host knows"},
        {"older schema",
         [](std::string const& p) {
             CreateSample(p);
             RecordsTest::ExecOnFile(p, "PRAGMA user_version = 0");
         },
         "its schema version 0 is older than the version 1 that this host knows"},
        {"table missing",
         [](std::string const& p) {
             CreateSample(p);
             RecordsTest::ExecOnFile(p, "DROP TABLE users");
         },
         "its tables are not those of a company file: no such table: users"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        TempPath path("refused");
        c.setup(path);
        std::string const before = RecordsTest::ReadBytes(path);
        auto existing = [&path] {
            std::string found;
            for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
                found += Exists(path.str() + suffix) ? std::string(suffix) + " " : "";
            }
            return found;
        };
        std::string const existed = existing();

        Host::CompanyFileResult result = Host::OpenCompanyFile(path);
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message,
                  "Cannot open company file '" + path.str() + "': " + c.reason + ".");
        EXPECT_FALSE(Host::IsCompanyFileOpen());
        EXPECT_TRUE(RecordsTest::ReadBytes(path) == before) << "the file changed";
        EXPECT_EQ(existing(), existed) << "files beside it came or went";
    }
}

TEST_F(CompanyFileTest, CreateRefusesAnExistingFileAndOpenRefusesADirectory) {
    TempPath path("exists");
    RecordsTest::WriteBytes(path, "keep me");
    Host::CompanyFileResult result = Host::CreateCompanyFile(path);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.message,
              "Cannot create company file '" + path.str() + "': the file already exists.");
    EXPECT_EQ(RecordsTest::ReadBytes(path), "keep me");

    std::string const directory = ::testing::TempDir();
    EXPECT_EQ(Host::OpenCompanyFile(directory).message,
              "Cannot open company file '" + directory + "': it is not a regular file.");
}

// A crash leaves the file and its write-ahead log: opening it brings back every
// committed record.
TEST_F(CompanyFileTest, CommittedRecordsOutliveACrash) {
    TempPath path("live");
    TempPath copy("crashed");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    RecordsTest::AddSample();
    ASSERT_TRUE(Exists(path.str() + "-wal"));
    // What a power cut would leave, taken while the file is still open.
    RecordsTest::WriteBytes(copy, RecordsTest::ReadBytes(path));
    RecordsTest::WriteBytes(copy.str() + "-wal", RecordsTest::ReadBytes(path.str() + "-wal"));
    Host::CloseCompanyFile();

    Host::CompanyFileResult opened = Host::OpenCompanyFile(copy);
    ASSERT_TRUE(opened.ok) << opened.message;
    EXPECT_EQ(Dump(), kSampleDump);
}

} // namespace
