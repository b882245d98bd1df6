// The four record classes over the company file, on both engines: each field
// through its column, the not-found and duplicate answers, and which rows a
// write touches.
#include <support/EngineTesting.h>
#include <support/RecordTesting.h>

#include <host/records/CompanyFile.h>

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace {

using PMTest::Query;

class RecordClassesTest : public PMTest::EngineTest {
protected:
    void SetUp() override {
        PMTest::EngineTest::SetUp();
        if (!IsSkipped()) {
            ASSERT_TRUE(Host::CreateCompanyFile(Location()).ok);
            PMTest::AddSample();
        }
    }

    DMUSRRole role;
    DMUSREntitlement entitlement;
    DMUSRRoleAction mask;
    DMUSRUserRole assignment;
};

// The statuses of calls made in order (a braced list is evaluated left to
// right).
std::string Statuses(std::initializer_list<Util::Status> statuses) {
    std::string text;
    for (Util::Status const& status : statuses) {
        text += (text.empty() ? "" : ", ") + PMTest::StatusText(status);
    }
    return text;
}

// A load fills the record from its row and leaves it as it was for a missing
// key; an add of what was loaded, under a new key, writes every field back to
// its column, and a second add of that key fails.
TEST_P(RecordClassesTest, LoadAndAddCarryEveryFieldThroughItsColumn) {
    EXPECT_EQ(Statuses({role.Load(1, nullptr), role.Load(5, nullptr), entitlement.Load(10, nullptr),
                        entitlement.Load(11, nullptr), mask.Load(1, 100012, nullptr),
                        mask.Load(0, 100012, nullptr), assignment.Load(200, 1, nullptr),
                        assignment.Load(200, 0, nullptr)}),
              "ok 0, ok 6042, ok 0, ok 6042, ok 0, ok 6042, ok 0, ok 6042");
    role.SetRoleId(7);
    entitlement.SetEntitlementId(7);
    mask.SetRoleId(7);
    assignment.SetUserId(7);
    assignment.SetRoleId(6);
    std::string const stored = "failed " + std::to_string(DuplicateKeyCode());
    EXPECT_EQ(Statuses({role.Add(nullptr), entitlement.Add(nullptr), mask.Add(nullptr),
                        assignment.Add(nullptr), role.Add(nullptr), entitlement.Add(nullptr),
                        mask.Add(nullptr), assignment.Add(nullptr)}),
              "ok 0, ok 0, ok 0, ok 0, " + stored + ", " + stored + ", " + stored + ", " + stored);
    EXPECT_EQ(Query("SELECT * FROM roles WHERE role_id = 7; SELECT * FROM entitlements WHERE "
                    "entitlement_id = 7; SELECT * FROM role_actions WHERE role_id = 7; SELECT * "
                    "FROM user_roles WHERE user_key = 7"),
              "7|3|2|Clerk's desk|; 7|2|65536|1|0|Checks; 7|100012|17; 7|6");
}

// Counts, then writes in groups, each followed by the tables they touch. An
// update or delete that finds no row answers 6042.
TEST_P(RecordClassesTest, WritesTouchExactlyTheirRows) {
    long n[6] = {-1, -1, -1, -1, -1, -1};
    EXPECT_EQ(Statuses({role.GetCount(&n[0], nullptr), entitlement.GetCount(&n[1], nullptr),
                        assignment.GetUserRoleCountByUserId(&n[2], 100, nullptr),
                        assignment.GetUserRoleCountByRoleId(&n[3], 0, nullptr),
                        mask.GetRoleActionCountByRoleId(&n[4], 1, nullptr),
                        mask.GetRoleActionCountByRoleId(&n[5], 9, nullptr)}),
              "ok 0, ok 0, ok 0, ok 0, ok 0, ok 0");
    EXPECT_EQ(std::vector<long>(n, n + 6), (std::vector<long>{2, 3, 2, 1, 2, 0}));

    entitlement.SetEntitlementId(10);
    entitlement.SetAttributesId(8);
    entitlement.SetName("Cheques");
    mask.SetRoleId(1);
    mask.SetEntitlementId(100012);
    mask.SetActionType(63);
    EXPECT_EQ(Statuses({entitlement.Update(nullptr),
                        (entitlement.SetEntitlementId(11), entitlement.Update(nullptr)),
                        entitlement.Delete(nullptr), mask.Update(nullptr),
                        (mask.SetRoleId(0), mask.Update(nullptr)),
                        (role.SetRoleId(5), role.Delete(nullptr)),
                        (role.SetRoleId(0), role.Delete(nullptr))}),
              "ok 0, ok 6042, ok 6042, ok 0, ok 6042, ok 6042, ok 0");
    EXPECT_EQ(Query("SELECT * FROM roles; SELECT * FROM entitlements WHERE entitlement_id = 10; "
                    "SELECT * FROM role_actions WHERE role_id = 1 ORDER BY 2"),
              "1|3|2|Clerk's desk|; 10|0|8|0|0|Cheques; 1|10|7; 1|100012|63");
    EXPECT_EQ(
        Statuses({mask.DeleteByEntitlementId(10, nullptr), mask.Delete(0, nullptr),
                  assignment.DeleteByRoleId(1, nullptr), assignment.DeleteByUserId(200, nullptr)}),
        "ok 0, ok 0, ok 0, ok 0");
    EXPECT_EQ(Query("SELECT * FROM role_actions; SELECT * FROM user_roles"), "1|100012|63; 100|0");
    EXPECT_EQ(Statuses({assignment.DeleteByUserId(100, nullptr), mask.DeleteAll(nullptr),
                        role.DeleteAll(nullptr), entitlement.DeleteAll(nullptr)}),
              "ok 0, ok 0, ok 0, ok 0");
    EXPECT_EQ(PMTest::Tables(), "roles=\nentitlements=\nuser_roles=\nrole_actions=\nusers=\n");
}

// Texts up to the buffer less its terminator are taken, and come back whole
// from a load; a longer one is refused by the setter, and a longer one written
// by someone else fails the load.
TEST_P(RecordClassesTest, TextsFitTheBufferOrAreRefused) {
    std::string const longest(kRecordTextBufferSize - 1, 'n'), tooLong(kRecordTextBufferSize, 'x');
    DMUSRRole loaded;
    role.SetRoleId(9);
    EXPECT_EQ(Statuses({role.SetName(longest.c_str()), role.SetName(tooLong.c_str()),
                        role.SetName(nullptr), role.SetDescription(tooLong.c_str()),
                        role.SetDescription(longest.c_str()), role.Add(nullptr),
                        loaded.Load(9, nullptr), (loaded.SetRoleId(8), loaded.Add(nullptr))}),
              "ok 0, failed -1, failed -1, failed -1, ok 0, ok 0, ok 0, ok 0");
    EXPECT_EQ(Query("SELECT role_id, length(name) FROM roles WHERE role_id > 7 AND name = "
                    "description ORDER BY role_id"),
              "8|" + std::to_string(longest.size()) + "; 9|" + std::to_string(longest.size()));
    Query("UPDATE roles SET description = '" + tooLong + "' WHERE role_id = 9");
    EXPECT_EQ(PMTest::StatusText(role.Load(9, nullptr)), "failed " + std::to_string(SQLITE_TOOBIG));
}

INSTANTIATE_ON_BOTH_ENGINES(RecordClassesTest);

} // namespace
