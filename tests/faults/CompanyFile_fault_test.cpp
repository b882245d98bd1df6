// A company file on disk, opened as a desktop keeps it, against another
// connection to it: the journal settings that keep every commit through a
// power cut, the busy timeout that a writer waits for the other's write lock,
// and the other's role edits, which this manager sees at its next Init.
#include "support/FaultLoop.h"
#include "support/RecordTesting.h"
#include "support/VerifyProbe.h"

#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>

#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace {

using namespace PMTest;

class CompanyFileFaultTest : public FaultLoopTest {
protected:
    // The company file, with the clerk and the accountant if asked, and a
    // second connection to it.
    void Open(bool users) {
        Start(users, path);
        ASSERT_EQ(SQLITE_OK, sqlite3_open(path.str().c_str(), &other));
    }
    void OnOther(char const* sql) {
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(other, sql, nullptr, nullptr, nullptr)) << sql;
    }
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
    Open(false);
    Host::SetCompanyFileBusyTimeout(5000);
    EXPECT_EQ("journal_mode=wal\nsynchronous=2\n",
              QueryRows("PRAGMA journal_mode", nullptr, "journal_mode=") +
                  QueryRows("PRAGMA synchronous", nullptr, "synchronous="));
    OnOther("BEGIN IMMEDIATE; UPDATE roles SET description = 'busy' WHERE role_id = 1");
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(PM_ERROR, Manager().SetRoleForUser(Host::FindCompanyUser("admin"), 2));
    auto const waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(300));
    EXPECT_LT(waited, std::chrono::milliseconds(3000));
    OnOther("COMMIT");
    EXPECT_EQ(PM_OK, Manager().SetRoleForUser(Host::FindCompanyUser("admin"), 2));
    EXPECT_EQ("1|busy\n", QueryRows("SELECT role_id, description FROM roles WHERE role_id = 1"));
    EXPECT_EQ("0\n2\n", QueryRows("SELECT role_id FROM user_roles ORDER BY role_id"));
    EXPECT_EQ("ok\n", QueryRows("PRAGMA integrity_check"));
}

// Roles, entitlements and the masks read are cached until the next Init, also
// across logins: a right taken away elsewhere is still granted here until
// then. Assignments are read from the file at each login. A role the other
// deletes stays listed here, but its users lose its rights at their next
// login, and editing or deleting it finds no record.
TEST_F(CompanyFileFaultTest, AnotherConnectionsRoleEditsArriveAtTheNextInit) {
    Open(true);
    auto const login = [] {
        EXPECT_EQ(PM_OK, Manager().EstablishUser(Host::FindCompanyUser("clerk")));
        return "customers=" + std::to_string(Manager().IsAccessAllowed(1, 1)) +
               " jobs=" + std::to_string(Manager().IsAccessAllowed(2, 1)) +
               " Clerk=" + std::to_string(Manager().LookupRole("Clerk")) +
               " Auditor=" + std::to_string(Manager().LookupRole("Auditor"));
    };
    EXPECT_EQ("customers=1 jobs=1 Clerk=2 Auditor=-1", login());
    OnOther("UPDATE role_actions SET action_type = 0 WHERE role_id = 2 AND entitlement_id = 1;"
            "UPDATE roles SET name = 'Auditor' WHERE role_id = 1");
    EXPECT_EQ("customers=1 jobs=1 Clerk=2 Auditor=-1", login());
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ("customers=0 jobs=1 Clerk=2 Auditor=1", login());
    OnOther("DELETE FROM user_roles WHERE role_id = 2; DELETE FROM role_actions WHERE role_id = 2;"
            "DELETE FROM roles WHERE role_id = 2");
    EXPECT_EQ("customers=0 jobs=0 Clerk=2 Auditor=1", login());
    PM::RoleDef edit;
    edit.SetId(2);
    edit.SetName("Clerk");
    std::vector<PM::EntitlementDef> none;
    VerifyProbe refuse(false);
    EXPECT_EQ(PM_ERR_NORECORD, Manager().SetRoleEntitlements(edit, none));
    EXPECT_EQ(PM_ERR_NORECORD, Manager().DeleteRole(2));
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ("customers=0 jobs=0 Clerk=-1 Auditor=1", login());
    EXPECT_EQ("ok\n", QueryRows("PRAGMA integrity_check"));
}

} // namespace
