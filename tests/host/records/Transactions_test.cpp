// The brackets over the open company file: reads that share one snapshot,
// and changes that reach the file whole or not at all.
#include "RecordsTesting.h"

#include <host/records/CompanyFile.h>
#include <host/records/Transactions.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

namespace {

using namespace RecordsTest;

class TransactionsTest : public ::testing::Test {
protected:
    void SetUp() override {
        Host::CloseCompanyFile();
        ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    }
    void TearDown() override { Host::CloseCompanyFile(); }
    TempPath path{"brackets"};
};

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

TEST_F(TransactionsTest, ReadBracketsShareASnapshotAndEachWriteStillCommitsAlone) {
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

TEST_F(TransactionsTest, ReadBracketsEndAtTheOutermostAndSurviveAClose) {
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

// The roles another connection sees, as "1,2".
std::string RoleIdsSeenByAnother(std::string const& path) {
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_stmt* ids = nullptr;
    sqlite3_prepare_v2(db, "SELECT group_concat(role_id) FROM roles", -1, &ids, nullptr);
    std::string seen;
    if (sqlite3_step(ids) == SQLITE_ROW && sqlite3_column_text(ids, 0) != nullptr) {
        seen = reinterpret_cast<char const*>(sqlite3_column_text(ids, 0));
    }
    sqlite3_finalize(ids);
    sqlite3_close(db);
    return seen;
}

TEST_F(TransactionsTest, AWriteBracketReachesTheFileWholeAtCommitAndNotAtAllWithout) {
    {
        Host::WriteTransaction change;
        ASSERT_EQ(SQLITE_OK, change.BeginResult());
        ASSERT_TRUE(AddRole(1).Succeeded());
        ASSERT_TRUE(AddRole(2).Succeeded());
        EXPECT_EQ("ok 0", LoadRole(2)); // the bracket reads its own writes
        // A failed operation fails alone; the others stay in the bracket.
        EXPECT_EQ(SQLITE_CONSTRAINT_PRIMARYKEY, AddRole(1).GetStatusCode());
        EXPECT_EQ(1, change.FailedOperations());
        EXPECT_EQ("", RoleIdsSeenByAnother(path));
        EXPECT_EQ(SQLITE_OK, change.Commit());
        EXPECT_EQ(SQLITE_OK, change.Commit()) << "a second call gives the first's result";
    }
    EXPECT_EQ("1,2", RoleIdsSeenByAnother(path));
    {
        Host::WriteTransaction abandoned;
        ASSERT_TRUE(AddRole(3).Succeeded());
    }
    EXPECT_EQ("ok 6042", LoadRole(3));
    EXPECT_EQ("1,2", RoleIdsSeenByAnother(path));
    ASSERT_TRUE(AddRole(4).Succeeded()); // without a bracket: at once, by itself
    EXPECT_EQ("1,2,4", RoleIdsSeenByAnother(path));
}

TEST_F(TransactionsTest, AnInnerBracketTakesBackOnlyItsOwnWrites) {
    Host::WriteTransaction outer;
    ASSERT_TRUE(AddRole(1).Succeeded());
    {
        Host::WriteTransaction kept;
        ASSERT_TRUE(AddRole(2).Succeeded());
        EXPECT_EQ(SQLITE_OK, kept.Commit());
    }
    {
        Host::WriteTransaction dropped;
        ASSERT_EQ(SQLITE_OK, dropped.BeginResult());
        ASSERT_TRUE(AddRole(3).Succeeded());
        Host::ReadTransaction reads; // joins the write
        EXPECT_EQ("ok 0", LoadRole(3));
    }
    EXPECT_EQ("", RoleIdsSeenByAnother(path));
    EXPECT_EQ(SQLITE_OK, outer.Commit());
    EXPECT_EQ("1,2", RoleIdsSeenByAnother(path));
}

TEST_F(TransactionsTest, ABracketWhoseTransactionIsGoneWritesNothingMore) {
    struct Case {
        char const* what;
        std::function<void()> lose;
        int code;
    } const cases[] = {
        // What SQLite does by itself after some errors (a full disk, an I/O
        // error): the transaction rolled back under the bracket.
        {"rolled back",
         [] {
             sqlite3_exec(Host::CurrentCompanyFileHandle(), "ROLLBACK", nullptr, nullptr, nullptr);
         },
         SQLITE_ABORT},
        {"closed", [] { Host::CloseCompanyFile(); }, SQLITE_ABORT},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        if (!Host::IsCompanyFileOpen()) {
            ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
        }
        Host::WriteTransaction change;
        ASSERT_TRUE(AddRole(10).Succeeded());
        c.lose();
        if (!Host::IsCompanyFileOpen()) {
            ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
        }
        EXPECT_EQ(c.code, AddRole(11).GetStatusCode()) << "a write outside the transaction";
        EXPECT_EQ(c.code, change.Commit());
        EXPECT_EQ("", RoleIdsSeenByAnother(path));
    }
}

TEST_F(TransactionsTest, ABracketWaitsForAnotherWriterThenRefusesItsWrites) {
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.str().c_str(), &other));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
    Host::CloseCompanyFile();
    int const timeout = Host::GetCompanyFileBusyTimeout();
    Host::SetCompanyFileBusyTimeout(50);
    ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
    Host::SetCompanyFileBusyTimeout(timeout);
    {
        Host::WriteTransaction change;
        EXPECT_EQ(SQLITE_BUSY, change.BeginResult());
        EXPECT_EQ(SQLITE_BUSY, AddRole(1).GetStatusCode());
        EXPECT_EQ(SQLITE_BUSY, change.Commit());
    }
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    EXPECT_EQ("", RoleIdsSeenByAnother(path));
    Host::WriteTransaction again;
    EXPECT_EQ(SQLITE_OK, again.BeginResult());
}

TEST_F(TransactionsTest, FailuresAreToldInAnAdministratorsWords) {
    EXPECT_EQ("the disk is full", Host::DescribeWriteFailure(SQLITE_FULL));
    EXPECT_EQ("another program is writing this company file; try again",
              Host::DescribeWriteFailure(SQLITE_BUSY));
    EXPECT_EQ("the disk reported an error (disk I/O error)",
              Host::DescribeWriteFailure(SQLITE_IOERR_WRITE));
    EXPECT_EQ("the file cannot be written", Host::DescribeWriteFailure(SQLITE_READONLY));
}

} // namespace
