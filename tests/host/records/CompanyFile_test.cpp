// Creating, opening, checking, copying and renaming the company file.
#include <support/RecordTesting.h>

#include <host/records/ChangeHistory.h>
#include <host/records/CompanyFile.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace PMTest;

// A company file at path holding the sample, closed, then changed by sql; its
// tables before the change.
std::string Sample(std::string const& path, char const* sql = "") {
    EXPECT_TRUE(Host::CreateCompanyFile(path).ok);
    AddSample();
    std::string const tables = Tables();
    Host::CloseCompanyFile();
    QueryFile(path, sql);
    return tables;
}

// Create refuses a name that exists and a second company file, and removes
// what it made when it fails half-way.
TEST(CompanyFileTest, CreateRefusesAnExistingFileOrASecondCompanyFile) {
    TempPath first("first"), second("second");
    WriteBytes(second, "keep me");
    EXPECT_EQ(Host::CreateCompanyFile(second).message,
              "Cannot create company file '" + second.str() + "': the file already exists.");
    EXPECT_EQ(ReadBytes(second), "keep me");
    ::unlink(second.str().c_str());
    // The log cannot be made.
    ASSERT_EQ(::mkdir((second.str() + "-wal").c_str(), 0700), 0);
    EXPECT_FALSE(Host::CreateCompanyFile(second).ok);
    EXPECT_FALSE(std::filesystem::exists(second.str()) || Host::IsCompanyFileOpen());

    ASSERT_TRUE(Host::CreateCompanyFile(first).ok);
    EXPECT_EQ(Host::OpenInMemoryCompanyFile().message,
              "Cannot open company file ':memory:': the company file '" + first.str() +
                  "' is open.");
}

// Each setup writes something at path that is not a company file of this
// host; the open refuses it, saying why, and leaves it and what lies beside
// it as they were.
TEST(CompanyFileTest, OpenRefusesWhatIsNotACompanyFileAndLeavesItAlone) {
    std::string header("SQLite format 3\0\x01\x00", 18);
    header.resize(100);
    // What is made at the path, and why it is refused.
    std::pair<std::function<void(std::string const&)>, std::string> const cases[] = {
        {[](std::string const&) {}, "the file does not exist"},
        {[](std::string const& p) { ::mkdir(p.c_str(), 0700); }, "it is not a regular file"},
        {[](std::string const& p) { WriteBytes(p, "Name,Role\n"); },
         "it is not an SQLite database (its first 16 bytes are not \"SQLite format 3\")"},
        {[](std::string const& p) { WriteBytes(p, ""); }, "the file is empty"},
        {[header](std::string const& p) { WriteBytes(p, header.substr(0, 18)); },
         "it is truncated: its 18 bytes end inside the 100-byte database header"},
        {[header](std::string const& p) { WriteBytes(p, header); },
         "it is damaged: its header gives an invalid page size of 256"},
        {[](std::string const& p) {
             Sample(p);
             ASSERT_EQ(::truncate(p.c_str(), 3 * 4096), 0);
         },
         "it is truncated: its header gives 12 pages of 4096 bytes (49152 bytes), but the file "
         "holds 12288 bytes"},
        {[](std::string const& p) {
             Sample(p);
             std::string bytes = ReadBytes(p);
             WriteBytes(p, bytes.replace(100, 3996, std::string(3996, '\xA5')));
         },
         "it is damaged (database disk image is malformed)"},
        {[](std::string const& p) { QueryFile(p, "PRAGMA application_id = 305419896"); },
         "it is not a company file: its application id is 0x12345678, not 0x504D4346"},
        // A host that knows only this schema refuses the next one, as one
        // that knew only version 1 refuses this one.
        {[](std::string const& p) { Sample(p, "PRAGMA user_version = 3"); },
         "its schema version 3 is newer than the version 2 that this host knows"},
        {[](std::string const& p) { Sample(p, "PRAGMA user_version = 0"); },
         "its schema version 0 is older than the oldest version, 1, that this host knows"},
        {[](std::string const& p) { Sample(p, "DROP TABLE users"); },
         "its tables are not those of a company file: no such table: users"},
        {[](std::string const& p) { Sample(p, "DROP TABLE change_history"); },
         "its tables are not those of a company file: no such table: change_history"},
    };
    for (auto const& [setup, reason] : cases) {
        SCOPED_TRACE(reason);
        TempPath path("refused");
        setup(path);
        auto files = [&path] {
            return std::to_string(std::filesystem::exists(path.str() + "-journal")) +
                   ReadBytes(path);
        };
        std::string const before = files();
        Host::CompanyFileResult result = Host::OpenCompanyFile(path);
        EXPECT_FALSE(result.ok || Host::IsCompanyFileOpen());
        EXPECT_EQ(result.message, "Cannot open company file '" + path.str() + "': " + reason + ".");
        EXPECT_TRUE(files() == before) << "the file or the files beside it changed";
    }
}

// A copy holds what was committed before the bracket it is taken in; a rename
// gives the file its new name whole and never replaces a file there.
TEST(CompanyFileTest, ACopyHoldsWhatWasCommittedAndARenameNeverReplacesAFile) {
    TempPath built("built"), copy("copy"), placed("placed");
    ASSERT_TRUE(Host::CreateCompanyFile(built).ok);
    AddSample();
    std::string const tables = Tables();
    {
        Host::WriteTransaction change;
        Query("DELETE FROM roles");
        ASSERT_TRUE(Host::BackupCompanyFile(copy).ok);
        EXPECT_FALSE(Host::BackupCompanyFile(copy).ok) << "a copy over a copy";
        ASSERT_EQ(change.Commit(), SQLITE_OK);
    }
    WriteBytes(placed, "taken");
    EXPECT_EQ(Host::CloseAndRenameCompanyFile(placed).message,
              "Cannot create company file '" + placed.str() + "': the file already exists.");
    EXPECT_EQ(ReadBytes(placed), "taken");
    ::unlink(placed.str().c_str());
    ASSERT_TRUE(Host::OpenCompanyFile(built).ok);
    ASSERT_TRUE(Host::CloseAndRenameCompanyFile(placed).ok);
    EXPECT_FALSE(std::filesystem::exists(built.str()));
    ASSERT_TRUE(Host::OpenCompanyFile(placed).ok);
    EXPECT_EQ(Query("SELECT count(*) FROM roles"), "0");
    Host::CloseCompanyFile();
    ASSERT_TRUE(Host::OpenCompanyFile(copy).ok);
    EXPECT_EQ(Tables(), tables);
}

// A file of schema version 1 (no change history) is opened as it is. Only a
// write bracket that commits brings it to version 2, with the table that a
// new file has. A snapshot is the file in memory: what is written to it, even
// in a bracket that commits and upgrades it, never reaches the file, nor does
// an abandoned bracket; both leave it byte for byte.
TEST(CompanyFileTest, AVersionOneFileIsUpgradedByItsFirstCommittedWriteBracketOnly) {
    TempPath path("version1"), fresh("version2");
    ASSERT_TRUE(Host::CreateCompanyFile(fresh).ok);
    Host::CloseCompanyFile();
    std::string const tables = Sample(path, "DROP TABLE change_history; PRAGMA user_version = 1");
    std::string const older = ReadBytes(path);
    auto schema = [](std::string const& file) {
        return QueryFile(file, "PRAGMA user_version") + " " +
               QueryFile(file, "SELECT sql FROM sqlite_master WHERE name = 'change_history'");
    };
    ASSERT_TRUE(Host::OpenCompanyFileSnapshot(path).ok);
    EXPECT_TRUE(Host::IsCompanyFileSnapshot());
    EXPECT_EQ(Tables(), tables);
    {
        Host::WriteTransaction change;
        Query("DELETE FROM roles");
        EXPECT_EQ(Host::CompanyFileSchemaVersion(), 2);
        EXPECT_EQ(change.Commit(), SQLITE_OK);
    }
    EXPECT_FALSE(Host::CloseAndRenameCompanyFile(path.str() + ".x").ok);
    Host::CloseCompanyFile();
    EXPECT_FALSE(std::filesystem::exists(path.str() + "-wal"));
    ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
    EXPECT_EQ(Host::CompanyFileSchemaVersion(), 1);
    {
        Host::WriteTransaction change;
        Query("DELETE FROM roles");
    }
    EXPECT_EQ(Host::CompanyFileSchemaVersion(), 1);
    Host::CloseCompanyFile();
    EXPECT_TRUE(ReadBytes(path) == older);

    ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
    {
        Host::WriteTransaction change;
        ASSERT_EQ(change.Commit(), SQLITE_OK);
    }
    Host::CloseCompanyFile();
    EXPECT_EQ(schema(path), schema(fresh));
    EXPECT_EQ(schema(path).substr(0, 2), "2 ");
}

} // namespace
