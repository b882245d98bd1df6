// Reads bracketed in one read transaction: one snapshot for the reads, and
// every write still committed by itself, at once visible to another process.
#include "RecordsTesting.h"

#include <host/records/CompanyFile.h>

#include <Records/DMUSRRole.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace {

using namespace RecordsTest;

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

class ReadTransactionTest : public ::testing::Test {
protected:
    void SetUp() override { Host::CloseCompanyFile(); }
    void TearDown() override { Host::CloseCompanyFile(); }
};

TEST_F(ReadTransactionTest, ReadsShareASnapshotAndEachWriteStillCommitsAlone) {
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

TEST_F(ReadTransactionTest, TheOutermostBracketEndsItAndAClosedFileEndsNothing) {
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
