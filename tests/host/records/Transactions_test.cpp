// The brackets over the open company, on both engines: reads that share one
// snapshot, and changes that reach the company whole or not at all.
#include <support/EngineTesting.h>
#include <support/RecordTesting.h>

#include <host/records/ChangeHistory.h>
#include <host/records/CompanyFile.h>
#include <host/records/Engine.h>
#include <host/records/Transactions.h>
#include <host/records/postgres/ServerCodes.h>

#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>
#include <string>

namespace {

class TransactionsTest : public PMTest::EngineTest {
protected:
    void SetUp() override {
        PMTest::EngineTest::SetUp();
        if (!IsSkipped()) {
            ASSERT_TRUE(Host::CreateCompanyFile(Location()).ok);
            // On a server the first operation makes the tables.
            ASSERT_TRUE(DMUSRRole().Load(0, nullptr).Succeeded());
        }
    }

    // The roles another connection sees, as "1; 2".
    std::string RolesSeenByAnother() const {
        return PMTest::QueryElsewhere(Location(), "SELECT role_id FROM roles ORDER BY 1");
    }
};

bool InTransaction() {
    return Host::detail::CurrentEngine()->InTransaction();
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

// Reads bracketed share the snapshot of the first read; a write still
// commits by itself, at once visible to another process, and the next read
// takes a new snapshot. Brackets nest; the outermost ends the read.
TEST_P(TransactionsTest, ReadBracketsShareASnapshotAndEachWriteStillCommitsAlone) {
    ASSERT_TRUE(AddRole(1).Succeeded());
    {
        Host::ReadTransaction reads;
        EXPECT_FALSE(InTransaction()); // nothing read yet
        {
            Host::ReadTransaction inner;
            EXPECT_EQ(LoadRole(1), "ok 0");
        }
        EXPECT_TRUE(InTransaction());
        PMTest::QueryElsewhere(Location(), "INSERT INTO roles VALUES (2, 0, 1, 'B', '')");
        EXPECT_EQ(LoadRole(2), "ok 6042");
        ASSERT_TRUE(AddRole(3).Succeeded());
        EXPECT_FALSE(InTransaction());
        EXPECT_EQ(RolesSeenByAnother(), "1; 2; 3");
        EXPECT_EQ(LoadRole(2), "ok 0");
        EXPECT_TRUE(InTransaction());
        // A close lets the read go; the reopened file's reads join a new one.
        Host::CloseCompanyFile();
        ASSERT_TRUE(Host::OpenCompanyFile(Location()).ok);
        EXPECT_FALSE(InTransaction());
        EXPECT_EQ(LoadRole(1), "ok 0");
        EXPECT_TRUE(InTransaction());
    }
    EXPECT_FALSE(InTransaction());
}

// The masks of (role, entitlement) pairs, "-" where there is none: what a
// login reads, key by key.
std::string Masks(std::initializer_list<std::pair<long, long>> keys) {
    std::string out;
    for (auto const& key : keys) {
        DMUSRRoleAction mask;
        Util::Status status = mask.Load(key.first, key.second, nullptr);
        out += (out.empty() ? "" : " ") + (status.Failed() ? "error " + PMTest::StatusText(status)
                                           : status.GetStatusCode() == 0
                                               ? std::to_string(mask.GetActionType())
                                               : std::string("-"));
    }
    return out;
}

// Both engines answer a bracket's mask loads from a fetch of all masks of the
// role: the answers are still the snapshot's, a role fetched later included,
// until a write ends the snapshot; then they see the write and another
// program's changes.
TEST_P(TransactionsTest, MasksReadInABracketAreTheSnapshotsUntilAWrite) {
    PMTest::QueryElsewhere(Location(),
                           "INSERT INTO role_actions VALUES (1, 10, 1), (1, 11, 3), (2, 10, 7)");
    auto const keys = {std::make_pair(1L, 10L), std::make_pair(1L, 11L), std::make_pair(1L, 12L),
                       std::make_pair(2L, 10L), std::make_pair(3L, 10L)};
    {
        Host::ReadTransaction reads;
        EXPECT_EQ(Masks({{1, 10}}), "1");
        PMTest::QueryElsewhere(Location(), "UPDATE role_actions SET action_type = 63 WHERE "
                                           "role_id = 1; INSERT INTO role_actions VALUES (1, 12, "
                                           "5), (3, 10, 9)");
        EXPECT_EQ(Masks(keys), "1 3 - 7 -");
        DMUSRRoleAction written;
        written.SetRoleId(2);
        written.SetEntitlementId(10);
        written.SetActionType(15);
        ASSERT_TRUE(written.Update(nullptr).Succeeded());
        EXPECT_EQ(Masks(keys), "63 63 5 15 9");
    }
    EXPECT_EQ(Masks(keys), "63 63 5 15 9");
}

// A failed operation fails alone and is counted; the others wait for Commit,
// and an abandoned bracket takes them back. An inner bracket takes back only
// its own writes.
TEST_P(TransactionsTest, AWriteBracketReachesTheFileWholeAtCommitAndNotAtAllWithout) {
    {
        Host::WriteTransaction change;
        ASSERT_TRUE(AddRole(1).Succeeded());
        EXPECT_EQ(AddRole(1).GetStatusCode(), DuplicateKeyCode());
        EXPECT_EQ(change.FailedOperations(), 1);
        {
            Host::WriteTransaction kept;
            ASSERT_TRUE(AddRole(2).Succeeded());
            EXPECT_EQ(kept.Commit(), Host::kBracketOk);
        }
        {
            Host::WriteTransaction dropped;
            ASSERT_TRUE(AddRole(3).Succeeded());
            EXPECT_EQ(LoadRole(3), "ok 0"); // a bracket reads its own writes
        }
        EXPECT_EQ(RolesSeenByAnother(), "");
        EXPECT_EQ(change.Commit(), Host::kBracketOk);
    }
    EXPECT_EQ(RolesSeenByAnother(), "1; 2");
    {
        Host::WriteTransaction abandoned;
        ASSERT_TRUE(AddRole(4).Succeeded());
    }
    EXPECT_EQ(LoadRole(4) + " " + RolesSeenByAnother(), "ok 6042 1; 2");
}

// A bracket whose transaction is gone writes nothing more: SQLite rolls one
// back by itself after some errors (a full disk, an I/O error), a server's
// connection may be cut; and the company may be closed under the bracket.
TEST_P(TransactionsTest, ABracketWhoseTransactionIsGoneWritesNothingMore) {
    // How the transaction is lost, and the code the bracket fails with.
    std::pair<std::function<void()>, long> const losses[] = {
        {[this] {
             if (OnServer()) {
                 PMTest::QueryElsewhere(Location(),
                                        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
                                        "WHERE application_name = 'pm_host'");
             } else {
                 PMTest::Query("ROLLBACK");
             }
         },
         OnServer() ? Host::detail::ServerCode("08006") : SQLITE_ABORT},
        {[this] {
             Host::CloseCompanyFile();
             ASSERT_TRUE(Host::OpenCompanyFile(Location()).ok);
         },
         SQLITE_ABORT},
    };
    for (auto const& loss : losses) {
        Host::WriteTransaction change;
        ASSERT_TRUE(AddRole(10).Succeeded());
        loss.first();
        EXPECT_EQ(AddRole(11).GetStatusCode(), loss.second);
        // Nor does the history take a record of the change by itself.
        Host::ChangeRecord record{0, "2026-11-25T00:00:00Z", "ann", "users add x", "{}"};
        std::string error;
        EXPECT_FALSE(Host::AppendChangeRecord(&record, &error));
        EXPECT_EQ(change.Commit(), loss.second);
        EXPECT_EQ(RolesSeenByAnother() +
                      PMTest::QueryElsewhere(Location(), "SELECT id FROM change_history"),
                  "");
    }
    // Outside the bracket the next operation connects again.
    EXPECT_EQ(LoadRole(10), "ok 6042");
}

INSTANTIATE_ON_BOTH_ENGINES(TransactionsTest);

} // namespace
