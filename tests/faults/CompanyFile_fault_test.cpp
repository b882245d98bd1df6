// A company file on disk, opened as a desktop keeps it, against another
// connection to it: the journal settings that keep every commit through a
// power cut, and the busy timeout that a writer waits for the other's write
// lock.
#include "support/FaultLoop.h"
#include "support/RecordTesting.h"

#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>

#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace {

using namespace PMTest;

class CompanyFileFaultTest : public FaultLoopTest {
protected:
    void TearDown() override {
        sqlite3_close(other);
        FaultLoopTest::TearDown();
    }
    TempPath const path{"company_file_fault"};
    sqlite3* other = nullptr;
};

// Every commit syncs the write-ahead log before it returns (synchronous =
// FULL, 2): a power cut or a crash of the system keeps what was committed.
// A write that finds the other connection's write lock waits the busy
// timeout, then fails (PM_ERROR) and writes nothing; once the lock is free the
// same write goes through, and both writes stand.
TEST_F(CompanyFileFaultTest, EveryCommitIsSyncedAndAWriterWaitsForTheBusyTimeout) {
    EXPECT_EQ(5000, Host::GetCompanyFileBusyTimeout()) << "the host's own";
    Host::SetCompanyFileBusyTimeout(300);
    Start(false, path);
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.str().c_str(), &other));
    Host::SetCompanyFileBusyTimeout(5000);
    EXPECT_EQ("journal_mode=wal\nsynchronous=2\n",
              QueryRows("PRAGMA journal_mode", nullptr, "journal_mode=") +
                  QueryRows("PRAGMA synchronous", nullptr, "synchronous="));
    QueryRows("BEGIN IMMEDIATE", other);
    QueryRows("UPDATE roles SET description = 'busy' WHERE role_id = 1", other);
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(PM_ERROR, Manager().SetRoleForUser(Host::FindCompanyUser("admin"), 2));
    auto const waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(300));
    EXPECT_LT(waited, std::chrono::milliseconds(3000));
    QueryRows("COMMIT", other);
    EXPECT_EQ(PM_OK, Manager().SetRoleForUser(Host::FindCompanyUser("admin"), 2));
    EXPECT_EQ("1|busy\n", QueryRows("SELECT role_id, description FROM roles WHERE role_id = 1"));
    EXPECT_EQ("0\n2\n", QueryRows("SELECT role_id FROM user_roles ORDER BY role_id"));
    EXPECT_EQ("ok\n", QueryRows("PRAGMA integrity_check"));
}

} // namespace
