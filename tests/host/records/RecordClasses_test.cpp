#include "CompanyFileTesting.h"
#include "RecordOperations.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

namespace {

using RecordsTest::Dump;
using RecordsTest::kSampleDump;
using RecordsTest::TempPath;

// Each test runs on a company file in memory and on one on disk.
struct Kind {
    char const* name;
    bool inMemory;
};
const Kind kKinds[] = {{"in memory", true}, {"on disk", false}};

void OpenWithSample(Kind const& kind, TempPath const& path) {
    Host::CompanyFileResult opened =
        kind.inMemory ? Host::OpenInMemoryCompanyFile() : Host::CreateCompanyFile(path);
    ASSERT_TRUE(opened.ok) << opened.message;
    RecordsTest::AddSample();
}

std::string StatusText(Util::Status const& status) {
    return (status.Succeeded() ? "ok " : "failed ") + std::to_string(status.GetStatusCode());
}

class RecordClassesTest : public ::testing::Test {
protected:
    void SetUp() override {
        Host::FaultPlan::Get().Disarm();
        Host::CloseCompanyFile();
    }
    void TearDown() override { Host::CloseCompanyFile(); }
};

TEST_F(RecordClassesTest, MissingKeysAndDuplicatesChangeNothing) {
    std::string const duplicate = "failed " + std::to_string(SQLITE_CONSTRAINT_PRIMARYKEY);
    for (Kind const& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        TempPath path("missing");
        OpenWithSample(kind, path);

        DMUSRRole role;
        role.SetRoleId(5);
        DMUSRRole clerk;
        clerk.SetRoleId(1);
        DMUSREntitlement entitlement;
        entitlement.SetEntitlementId(11);
        DMUSREntitlement checks;
        checks.SetEntitlementId(10);
        DMUSRUserRole assignment;
        assignment.SetUserId(100);
        assignment.SetRoleId(1);
        DMUSRRoleAction mask;
        mask.SetRoleId(1);
        mask.SetEntitlementId(11);
        DMUSRRoleAction present;
        present.SetRoleId(1);
        present.SetEntitlementId(10);
        struct Case {
            char const* name;
            Util::Status status;
            std::string expected;
        } const cases[] = {
            {"role load", role.Load(5, nullptr), "ok 6042"},
            {"role delete", role.Delete(nullptr), "ok 6042"},
            {"role add twice", clerk.Add(nullptr), duplicate},
            {"entitlement load", entitlement.Load(11, nullptr), "ok 6042"},
            {"entitlement update", entitlement.Update(nullptr), "ok 6042"},
            {"entitlement delete", entitlement.Delete(nullptr), "ok 6042"},
            {"entitlement add twice", checks.Add(nullptr), duplicate},
            {"assignment load", assignment.Load(200, 0, nullptr), "ok 6042"},
            {"assignment add twice", assignment.Add(nullptr), duplicate},
            {"assignments of no role", assignment.DeleteByRoleId(9, nullptr), "ok 0"},
            {"assignments of no user", assignment.DeleteByUserId(9, nullptr), "ok 0"},
            {"mask load", mask.Load(1, 11, nullptr), "ok 6042"},
            {"mask update", mask.Update(nullptr), "ok 6042"},
            {"mask add twice", present.Add(nullptr), duplicate},
            {"masks of no role", mask.Delete(9, nullptr), "ok 0"},
            {"masks of no entitlement", mask.DeleteByEntitlementId(11, nullptr), "ok 0"},
        };
        for (Case const& c : cases) {
            SCOPED_TRACE(c.name);
            EXPECT_EQ(StatusText(c.status), c.expected);
        }
        EXPECT_EQ(Dump(), kSampleDump);
        Host::CloseCompanyFile();
    }
}

TEST_F(RecordClassesTest, LoadOfAMissingKeyLeavesTheFields) {
    for (Kind const& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        TempPath path("fields");
        OpenWithSample(kind, path);
        char text[kRecordTextBufferSize];

        DMUSRRole role;
        ASSERT_TRUE(role.Load(1, nullptr).Succeeded());
        EXPECT_EQ(role.Load(7, nullptr).GetStatusCode(), Util::kRecordNotFound);
        EXPECT_EQ(role.GetName(text), 0);
        EXPECT_EQ(std::to_string(role.GetRoleId()) + " " + std::to_string(role.GetCategoryType()) +
                      " " + std::to_string(role.GetIsVisible()) + " " + text,
                  "1 3 2 Clerk's desk");

        DMUSREntitlement entitlement;
        ASSERT_TRUE(entitlement.Load(100012, nullptr).Succeeded());
        EXPECT_EQ(entitlement.Load(7, nullptr).GetStatusCode(), Util::kRecordNotFound);
        EXPECT_EQ(entitlement.GetName(text), 0);
        EXPECT_EQ(std::to_string(entitlement.GetEntitlementId()) + " " +
                      std::to_string(entitlement.GetCategoryType()) + " " +
                      std::to_string(entitlement.GetAttributesId()) + " " +
                      std::to_string(entitlement.GetIsVisible()) + " " +
                      std::to_string(entitlement.GetIsEnabled()) + " " + text,
                  "100012 4 -1 1 1 Banking");

        DMUSRUserRole assignment;
        ASSERT_EQ(StatusText(assignment.Load(200, 1, nullptr)), "ok 0");
        EXPECT_EQ(assignment.Load(200, 0, nullptr).GetStatusCode(), Util::kRecordNotFound);
        EXPECT_EQ(assignment.GetUserId(), 200);
        EXPECT_EQ(assignment.GetRoleId(), 1);

        DMUSRRoleAction mask;
        ASSERT_TRUE(mask.Load(0, 10, nullptr).Succeeded());
        EXPECT_EQ(mask.Load(0, 100012, nullptr).GetStatusCode(), Util::kRecordNotFound);
        EXPECT_EQ(mask.GetRoleId(), 0);
        EXPECT_EQ(mask.GetEntitlementId(), 10);
        EXPECT_EQ(mask.GetActionType(), -1);
        Host::CloseCompanyFile();
    }
}

TEST_F(RecordClassesTest, TextFitsTheBufferOrIsRefused) {
    std::string const longest(kRecordTextBufferSize - 1, 'n');
    std::string const tooLong(kRecordTextBufferSize, 'x');
    DMUSRRole role;
    DMUSREntitlement entitlement;
    char buffer[kRecordTextBufferSize];
    struct Case {
        char const* name;
        std::function<Util::Status(char const*)> set;
        std::function<long(char*)> get;
    } const cases[] = {
        {"role name", [&](char const* t) { return role.SetName(t); },
         [&](char* b) { return role.GetName(b); }},
        {"role description", [&](char const* t) { return role.SetDescription(t); },
         [&](char* b) { return role.GetDescription(b); }},
        {"entitlement name", [&](char const* t) { return entitlement.SetName(t); },
         [&](char* b) { return entitlement.GetName(b); }},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(c.set(longest.c_str()).Succeeded());
        EXPECT_TRUE(c.set(tooLong.c_str()).Failed());
        EXPECT_TRUE(c.set(nullptr).Failed());
        EXPECT_EQ(c.get(buffer), 0);
        EXPECT_EQ(std::string(buffer), longest);
        EXPECT_EQ(c.get(nullptr), -1);
    }

    // 511 bytes go into the file and come back whole.
    TempPath path("text");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    role.SetRoleId(3);
    entitlement.SetEntitlementId(3);
    ASSERT_TRUE(role.Add(nullptr).Succeeded());
    ASSERT_TRUE(entitlement.Add(nullptr).Succeeded());
    DMUSRRole loadedRole;
    DMUSREntitlement loadedEntitlement;
    ASSERT_TRUE(loadedRole.Load(3, nullptr).Succeeded());
    ASSERT_TRUE(loadedEntitlement.Load(3, nullptr).Succeeded());
    for (auto get : {&DMUSRRole::GetName, &DMUSRRole::GetDescription}) {
        EXPECT_EQ((loadedRole.*get)(buffer), 0);
        EXPECT_EQ(std::string(buffer), longest);
    }
    EXPECT_EQ(loadedEntitlement.GetName(buffer), 0);
    EXPECT_EQ(std::string(buffer), longest);

    // A longer text written behind the host's back fails the load and leaves
    // the record object as it was.
    sqlite3_exec(Host::CurrentCompanyFileHandle(),
                 ("UPDATE roles SET name = '" + tooLong + "'").c_str(), nullptr, nullptr, nullptr);
    EXPECT_EQ(StatusText(loadedRole.Load(3, nullptr)), "failed " + std::to_string(SQLITE_TOOBIG));
    EXPECT_EQ(loadedRole.GetName(buffer), 0);
    EXPECT_EQ(std::string(buffer), longest);
}

TEST_F(RecordClassesTest, UpdatesCountsAndDeletesTouchExactlyTheirRows) {
    for (Kind const& kind : kKinds) {
        SCOPED_TRACE(kind.name);
        TempPath path("writes");
        OpenWithSample(kind, path);
        DMUSRRole role;
        DMUSREntitlement entitlement;
        DMUSRUserRole assignment;
        DMUSRRoleAction mask;
        long count = -5;
        auto counted = [&count](Util::Status const& status) {
            return StatusText(status) + " count " + std::to_string(count);
        };
        EXPECT_EQ(counted(role.GetCount(&count, nullptr)), "ok 0 count 2");
        EXPECT_EQ(counted(entitlement.GetCount(&count, nullptr)), "ok 0 count 3");
        EXPECT_EQ(counted(assignment.GetUserRoleCountByUserId(&count, 100, nullptr)),
                  "ok 0 count 2");
        EXPECT_EQ(counted(assignment.GetUserRoleCountByRoleId(&count, 0, nullptr)), "ok 0 count 1");
        EXPECT_EQ(counted(mask.GetRoleActionCountByRoleId(&count, 1, nullptr)), "ok 0 count 2");
        EXPECT_EQ(counted(mask.GetRoleActionCountByRoleId(&count, 9, nullptr)), "ok 0 count 0");
        EXPECT_TRUE(role.GetCount(nullptr, nullptr).Failed());

        entitlement.SetEntitlementId(10);
        entitlement.SetCategoryType(5);
        entitlement.SetAttributesId(8);
        entitlement.SetIsVisible(0);
        entitlement.SetIsEnabled(2);
        ASSERT_TRUE(entitlement.SetName("Cheques").Succeeded());
        mask.SetRoleId(1);
        mask.SetEntitlementId(100012);
        mask.SetActionType(63);
        role.SetRoleId(0);
        struct Step {
            char const* name;
            std::function<Util::Status()> call;
            char const* table;
            char const* rows; // the table's rows afterwards
        } const steps[] = {
            {"update entitlement", [&] { return entitlement.Update(nullptr); }, "entitlements",
             "entitlements: 0|0|0|0|0|3\n"
             "entitlements: 10|5|8|0|2|Cheques\n"
             "entitlements: 100012|4|-1|1|1|Banking\n"},
            {"update mask", [&] { return mask.Update(nullptr); }, "role_actions",
             "role_actions: 0|10|-1\nrole_actions: 1|10|7\nrole_actions: 1|100012|63\n"},
            {"delete role", [&] { return role.Delete(nullptr); }, "roles",
             "roles: 1|3|2|Clerk's desk|\n"},
            {"delete masks of entitlement", [&] { return mask.DeleteByEntitlementId(10, nullptr); },
             "role_actions", "role_actions: 1|100012|63\n"},
            {"delete assignments of role", [&] { return assignment.DeleteByRoleId(1, nullptr); },
             "user_roles", "user_roles: 100|0\n"},
            {"delete masks of role", [&] { return mask.Delete(1, nullptr); }, "role_actions", ""},
            {"delete assignments of user", [&] { return assignment.DeleteByUserId(100, nullptr); },
             "user_roles", ""},
        };
        for (Step const& step : steps) {
            SCOPED_TRACE(step.name);
            EXPECT_EQ(StatusText(step.call()), "ok 0");
            EXPECT_EQ(RecordsTest::Dump(step.table), step.rows);
        }
        EXPECT_EQ(Dump(), "roles: 1|3|2|Clerk's desk|\n"
                          "entitlements: 0|0|0|0|0|3\n"
                          "entitlements: 10|5|8|0|2|Cheques\n"
                          "entitlements: 100012|4|-1|1|1|Banking\n");

        EXPECT_EQ(StatusText(role.DeleteAll(nullptr)), "ok 0");
        EXPECT_EQ(StatusText(entitlement.DeleteAll(nullptr)), "ok 0");
        EXPECT_EQ(Dump(), "");
        RecordsTest::AddSample();
        EXPECT_EQ(StatusText(assignment.DeleteAll(nullptr)), "ok 0");
        EXPECT_EQ(StatusText(mask.DeleteAll(nullptr)), "ok 0");
        EXPECT_EQ(Dump(),
                  std::string(kSampleDump).substr(0, std::string(kSampleDump).find("user_roles")));
        Host::CloseCompanyFile();
    }
}

TEST_F(RecordClassesTest, EveryOperationFailsWithoutACompanyFile) {
    for (RecordsTest::RecordOperation const& operation : RecordsTest::AllRecordOperations()) {
        SCOPED_TRACE(operation.name);
        EXPECT_EQ(StatusText(operation.call()), "failed " + std::to_string(SQLITE_MISUSE));
    }
    long count = -5;
    EXPECT_TRUE(DMUSRRole().GetCount(&count, nullptr).Failed());
    EXPECT_EQ(count, -5);
}

} // namespace
