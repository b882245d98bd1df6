// Two processes on one company file. A second process that writes while the
// first holds the write lock waits for the host's busy timeout and then gets
// SQLITE_BUSY, and the file stays sound. Role edits made by one desktop reach
// another only at its next Init, masks that it has read included;
// assignments, which are never cached, reach it at once.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include "support/RecordTesting.h"
#include "support/VerifyProbe.h"

#include <host/records/CompanyFile.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

namespace {

using namespace PMFault;
using PMTest::TempPath;

// Runs the writer with arguments; its standard output.
std::string Writer(std::string const& arguments) {
    std::string command = std::string(PM_WRITER_PATH) + " " + arguments;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    std::string output;
    if (pipe == nullptr) {
        return output;
    }
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
        output += buffer;
    }
    EXPECT_EQ(0, ::pclose(pipe)) << command << "\n" << output;
    return output;
}

class TwoProcessesFaultTest : public ::testing::Test {
protected:
    // The default company in a file on disk, open, with the manager
    // initialised.
    void SetUp() override {
        LoadCatalogue(kSmallCatalogue);
        OpenDefaultCompany(path);
        clerk = UserId("clerk");
    }
    void TearDown() override {
        PM_UninitComponent();
        Host::CloseCompanyFile();
    }
    TempPath path{"two_processes"};
    int clerk = -1;
};

TEST_F(TwoProcessesFaultTest, AWriterWaitsForTheBusyTimeoutThenGetsBusy) {
    EXPECT_EQ(5000, Host::GetCompanyFileBusyTimeout()) << "the host's own timeout";
    // This process is in the middle of a write: it holds the write lock.
    Execute("BEGIN IMMEDIATE");
    Execute("UPDATE roles SET description = 'busy' WHERE role_id = 1");
    std::string const output = Writer("add-role " + path.str() + " 300");
    ASSERT_EQ(0u, output.find("open ok\nstatus failed 5\nwaited ")) << output;
    long const waited = std::stol(output.substr(output.rfind(' ') + 1));
    EXPECT_GE(waited, 300);
    EXPECT_LT(waited, 3000);
    Execute("COMMIT");

    // With the lock free the same write goes through, and both writes stand.
    EXPECT_EQ(0u, Writer("add-role " + path.str() + " 300").find("open ok\nstatus ok 0\n"));
    EXPECT_EQ("roles: 1|0|1|External Accountant|busy\n", Only(StoreRows("roles"), "roles: 1|"));
    EXPECT_EQ("roles: 9|0|1|Outsider|\n", Only(StoreRows("roles"), "roles: 9|"));
    EXPECT_EQ("ok", IntegrityCheck());
    // The role list is the one Init loaded, until the next Init.
    EXPECT_EQ(PM_ERROR, Manager().LookupRole("Outsider"));
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ(9, Manager().LookupRole("Outsider"));
}

// A mask that this desktop has read stays as read, across logins, until its
// next Init: a right taken away elsewhere is still granted here until then.
// Role renames and deletions wait for the next Init too; assignments, read
// from the store, do not.
TEST_F(TwoProcessesFaultTest, AnotherDesktopsRoleEditsArriveAtTheNextInit) {
    PMTest::VerifyProbe refuse(false);
    ASSERT_EQ(PM_OK, Manager().EstablishUser(clerk));
    ASSERT_TRUE(Manager().IsAccessAllowed(1, 1)) << "the clerk views customers";
    EXPECT_EQ("result 2\n", Writer("edit-role " + path.str() + " 2 Clerk 1=0"));
    EXPECT_EQ("role_actions: 2|1|0\n", Only(StoreRows("role_actions"), "role_actions: 2|1|"));
    ASSERT_EQ(PM_OK, Manager().EstablishUser(clerk)); // logging in again
    EXPECT_TRUE(Manager().IsAccessAllowed(1, 1)) << "the mask as this desktop read it";
    ASSERT_EQ(PM_OK, Manager().Init());
    ASSERT_EQ(PM_OK, Manager().EstablishUser(clerk));
    EXPECT_FALSE(Manager().IsAccessAllowed(1, 1));
    EXPECT_TRUE(Manager().IsAccessAllowed(2, 1)) << "Customer Jobs, still granted";

    // The other desktop renames the External Accountant and deletes the Clerk.
    EXPECT_EQ("result 1\n", Writer("edit-role " + path.str() + " 1 Auditor"));
    EXPECT_EQ("result 0\n", Writer("delete-role " + path.str() + " 2"));
    // Here the role list and the clerk's table are as Init and EstablishUser
    // left them.
    EXPECT_EQ(1, Manager().LookupRole("External Accountant"));
    EXPECT_EQ(PM_ERROR, Manager().LookupRole("Auditor"));
    EXPECT_EQ(2, Manager().LookupRole("Clerk"));
    EXPECT_TRUE(Manager().IsAccessAllowed(2, 1));
    // Assignments are read from the store: the clerk's table built again is
    // empty, while the list still shows the role.
    ASSERT_EQ(PM_OK, Manager().EstablishUser(clerk));
    EXPECT_FALSE(Manager().IsAccessAllowed(2, 1));
    std::unique_ptr<std::vector<int>> roles(Manager().GetUserRoleIds(clerk));
    ASSERT_NE(nullptr, roles);
    EXPECT_TRUE(roles->empty());
    // Editing or deleting the role the other desktop deleted finds no record.
    PM::RoleDef edit;
    edit.SetId(2);
    edit.SetName("Clerk");
    std::vector<PM::EntitlementDef> none;
    EXPECT_EQ(PM_ERR_NORECORD, Manager().SetRoleEntitlements(edit, none));
    EXPECT_EQ(std::vector<std::string>{"rcode == PM_OK"}, refuse.Expressions());
    EXPECT_EQ(PM_ERR_NORECORD, Manager().DeleteRole(2));
    EXPECT_EQ("", Only(StoreRows("roles"), "roles: 2|"));

    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ(1, Manager().LookupRole("Auditor"));
    EXPECT_EQ(PM_ERROR, Manager().LookupRole("Clerk"));
    EXPECT_EQ("ok", IntegrityCheck());
}

} // namespace
