// A company file that another program holds locked: every command says it is
// busy and exits 1 (try again), never 2 (bad input), and writes nothing.
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

#include <host/records/CompanyFile.h>

#include <sqlite3.h>

namespace {

using namespace Pmctl;

class BusyTest : public PMTest::CommandTest {};

TEST_F(BusyTest, ACommandOnALockedFileExitsOneAndWritesNothing) {
    std::string const openBusy = "pmctl: Cannot open company file '" + m_File +
                                 "': another program is writing this company file; try again.\n";
    std::string const changeBusy = "pmctl: Cannot change company file '" + m_File +
                                   "': another program is writing this company file; try again.\n";
    struct Case {
        char const* held; // what the other connection runs and then keeps
        int readCode;
        std::string readErr;
        std::string writeErr;
    };
    Case const cases[] = {
        // Its write lock: reads go on from the log, changes wait and give up.
        {"BEGIN IMMEDIATE; UPDATE roles SET description = 'x' WHERE role_id = 1", 0, "",
         changeBusy},
        // The file to itself: no one may read it.
        {"PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; SELECT * FROM roles", 1, openBusy,
         openBusy},
        // The same, in the middle of a write with a rollback journal beside the file.
        {"PRAGMA journal_mode = DELETE; PRAGMA locking_mode = EXCLUSIVE; BEGIN IMMEDIATE; "
         "UPDATE roles SET description = 'x' WHERE role_id = 1; COMMIT; BEGIN IMMEDIATE; "
         "UPDATE roles SET description = 'y' WHERE role_id = 1",
         1, openBusy, openBusy},
    };
    int const timeout = Host::GetCompanyFileBusyTimeout();
    Host::SetCompanyFileBusyTimeout(100);
    for (Case const& c : cases) {
        SCOPED_TRACE(c.held);
        std::string const users = PMTest::QueryFile(m_File, "SELECT group_concat(name) FROM users");
        sqlite3* other = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(m_File.c_str(), &other));
        ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, c.held, nullptr, nullptr, nullptr))
            << sqlite3_errmsg(other);

        PMTest::Result read = Pmctl("users list F");
        EXPECT_EQ(c.readCode, read.code);
        EXPECT_EQ(c.readErr, read.err);
        for (char const* line : {"users add F erin", "bank import F " __FILE__, "verify F --repair",
                                 "reset F --yes", "roles edit F Sales --grant Invoices=full"}) {
            PMTest::Result write = Pmctl(line);
            EXPECT_EQ(kExitFailed, write.code) << line;
            EXPECT_EQ(c.writeErr, write.err) << line;
            EXPECT_EQ("", write.out) << line;
        }
        sqlite3_close(other);
        EXPECT_EQ(users, PMTest::QueryFile(m_File, "SELECT group_concat(name) FROM users"));
    }
    Host::SetCompanyFileBusyTimeout(timeout);
}

} // namespace
