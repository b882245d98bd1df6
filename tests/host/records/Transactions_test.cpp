// The brackets over the open company file: reads that share one snapshot,
// and changes that reach the file whole or not at all.
#include <support/RecordTesting.h>

#include <host/records/CompanyFile.h>
#include <host/records/Transactions.h>

#include <Records/DMUSRRole.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>
#include <string>

namespace {

class TransactionsTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(Host::CreateCompanyFile(path).ok); }
    PMTest::TempPath path{"brackets"};
};

bool InTransaction() {
    return sqlite3_get_autocommit(Host::CurrentCompanyFileHandle()) == 0;
}

// "ok 0" for a role that is there, "ok 6042" for one that is not.
std::string LoadRole(long id) {
    return PMTest::StatusText(DMUSRRole().Load(id, nullptr));
}

Util::Status AddRole(long id) {
    DMUSRRole role;
    role.SetRoleId(id);
    return role.Add(nullptr);
}

// The roles another connection sees in the file, as "1,2".
std::string RolesSeenByAnother(std::string const& path) {
    return PMTest::QueryFile(path, "SELECT coalesce(group_concat(role_id), '') FROM roles");
}

// Reads bracketed share the snapshot of the first read; a write still
// commits by itself, at once visible to another process, and the next read
// takes a new snapshot. Brackets nest; the outermost ends the read.
TEST_F(TransactionsTest, ReadBracketsShareASnapshotAndEachWriteStillCommitsAlone) {
    ASSERT_TRUE(AddRole(1).Succeeded());
    {
        Host::ReadTransaction reads;
        EXPECT_FALSE(InTransaction()); // nothing read yet
        {
            Host::ReadTransaction inner;
            EXPECT_EQ(LoadRole(1), "ok 0");
        }
        EXPECT_TRUE(InTransaction());
        PMTest::QueryFile(path, "INSERT INTO roles VALUES (2, 0, 1, 'B', '')");
        EXPECT_EQ(LoadRole(2), "ok 6042");
        ASSERT_TRUE(AddRole(3).Succeeded());
        EXPECT_FALSE(InTransaction());
        EXPECT_EQ(RolesSeenByAnother(path), "1,2,3");
        EXPECT_EQ(LoadRole(2), "ok 0");
        EXPECT_TRUE(InTransaction());
        // A close lets the read go; the reopened file's reads join a new one.
        Host::CloseCompanyFile();
        ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
        EXPECT_FALSE(InTransaction());
        EXPECT_EQ(LoadRole(1), "ok 0");
        EXPECT_TRUE(InTransaction());
    }
    EXPECT_FALSE(InTransaction());
}

// A failed operation fails alone and is counted; the others wait for Commit,
// and an abandoned bracket takes them back. An inner bracket takes back only
// its own writes.
TEST_F(TransactionsTest, AWriteBracketReachesTheFileWholeAtCommitAndNotAtAllWithout) {
    {
        Host::WriteTransaction change;
        ASSERT_TRUE(AddRole(1).Succeeded());
        EXPECT_EQ(AddRole(1).GetStatusCode(), SQLITE_CONSTRAINT_PRIMARYKEY);
        EXPECT_EQ(change.FailedOperations(), 1);
        {
            Host::WriteTransaction kept;
            ASSERT_TRUE(AddRole(2).Succeeded());
            EXPECT_EQ(kept.Commit(), SQLITE_OK);
        }
        {
            Host::WriteTransaction dropped;
            ASSERT_TRUE(AddRole(3).Succeeded());
            EXPECT_EQ(LoadRole(3), "ok 0"); // a bracket reads its own writes
        }
        EXPECT_EQ(RolesSeenByAnother(path), "");
        EXPECT_EQ(change.Commit(), SQLITE_OK);
    }
    EXPECT_EQ(RolesSeenByAnother(path), "1,2");
    {
        Host::WriteTransaction abandoned;
        ASSERT_TRUE(AddRole(4).Succeeded());
    }
    EXPECT_EQ(LoadRole(4) + " " + RolesSeenByAnother(path), "ok 6042 1,2");
}

// SQLite rolls a transaction back by itself after some errors (a full disk, an
// I/O error); a bracket whose transaction is gone, or whose file was closed,
// writes nothing more.
TEST_F(TransactionsTest, ABracketWhoseTransactionIsGoneWritesNothingMore) {
    std::function<void()> const losses[] = {
        [] { PMTest::Query("ROLLBACK"); },
        [this] {
            Host::CloseCompanyFile();
            ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
        },
    };
    for (auto const& lose : losses) {
        Host::WriteTransaction change;
        ASSERT_TRUE(AddRole(10).Succeeded());
        lose();
        EXPECT_EQ(AddRole(11).GetStatusCode(), SQLITE_ABORT);
        EXPECT_EQ(change.Commit(), SQLITE_ABORT);
        EXPECT_EQ(RolesSeenByAnother(path), "");
    }
}

} // namespace
