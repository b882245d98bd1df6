#include "RecordsTesting.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace RecordsTest;

// Each test runs on a company file in memory and on one on disk.
void ForEachKind(std::function<void()> const& test) {
    for (bool inMemory : {true, false}) {
        SCOPED_TRACE(inMemory ? "in memory" : "on disk");
        TempPath path("records");
        Host::CompanyFileResult opened =
            inMemory ? Host::OpenInMemoryCompanyFile() : Host::CreateCompanyFile(path);
        ASSERT_TRUE(opened.ok) << opened.message;
        AddSample();
        test();
        Host::CloseCompanyFile();
    }
}

std::string Fields(DMUSRRole const& r) {
    char name[kRecordTextBufferSize];
    char description[kRecordTextBufferSize];
    long got = r.GetName(name) + r.GetDescription(description);
    return std::to_string(r.GetRoleId()) + "|" + std::to_string(r.GetCategoryType()) + "|" +
           std::to_string(r.GetIsVisible()) + "|" + name + "|" + description +
           (got == 0 ? "" : " getters failed");
}

std::string Fields(DMUSREntitlement const& e) {
    char name[kRecordTextBufferSize];
    long got = e.GetName(name);
    return std::to_string(e.GetEntitlementId()) + "|" + std::to_string(e.GetCategoryType()) + "|" +
           std::to_string(e.GetAttributesId()) + "|" + std::to_string(e.GetIsVisible()) + "|" +
           std::to_string(e.GetIsEnabled()) + "|" + name + (got == 0 ? "" : " getter failed");
}

// A load fills the object; a load of a missing key answers 6042 and leaves
// it as it was; adding a key again fails.
TEST(RecordClassesTest, LoadsMissingKeysAndDuplicates) {
    ForEachKind([] {
        DMUSRRole role;
        DMUSREntitlement entitlement;
        DMUSRUserRole user;
        DMUSRRoleAction mask;
        struct Case {
            char const* name;
            std::function<Util::Status()> load, loadMissing, addAgain;
            std::function<std::string()> fields;
            std::string expected;
        } const cases[] = {
            {"role", [&] { return role.Load(1, nullptr); }, [&] { return role.Load(5, nullptr); },
             [&] { return role.Add(nullptr); }, [&] { return Fields(role); },
             "1|3|2|Clerk's desk|"},
            {"entitlement", [&] { return entitlement.Load(100012, nullptr); },
             [&] { return entitlement.Load(11, nullptr); },
             [&] { return entitlement.Add(nullptr); }, [&] { return Fields(entitlement); },
             "100012|4|-1|2|1|Banking"},
            {"assignment", [&] { return user.Load(200, 1, nullptr); },
             [&] { return user.Load(200, 0, nullptr); }, [&] { return user.Add(nullptr); },
             [&] {
                 return std::to_string(user.GetUserId()) + "|" + std::to_string(user.GetRoleId());
             },
             "200|1"},
            {"mask", [&] { return mask.Load(0, 10, nullptr); },
             [&] { return mask.Load(0, 100012, nullptr); }, [&] { return mask.Add(nullptr); },
             [&] {
                 return std::to_string(mask.GetRoleId()) + "|" +
                        std::to_string(mask.GetEntitlementId()) + "|" +
                        std::to_string(mask.GetActionType());
             },
             "0|10|-1"},
        };
        for (Case const& c : cases) {
            SCOPED_TRACE(c.name);
            EXPECT_EQ(StatusText(c.load()), "ok 0");
            EXPECT_EQ(c.fields(), c.expected);
            EXPECT_EQ(StatusText(c.loadMissing()), "ok 6042");
            EXPECT_EQ(c.fields(), c.expected);
            EXPECT_EQ(StatusText(c.addAgain()),
                      "failed " + std::to_string(SQLITE_CONSTRAINT_PRIMARYKEY));
        }
        EXPECT_EQ(Dump(), kSampleDump);
    });
}

TEST(RecordClassesTest, WritesTouchExactlyTheirRows) {
    ForEachKind([] {
        DMUSRRole role;
        DMUSREntitlement entitlement;
        DMUSRUserRole assignment;
        DMUSRRoleAction mask;
        long count = -5;
        auto counted = [&count](Util::Status const& s) {
            return StatusText(s) + " " + std::to_string(count);
        };
        EXPECT_EQ(counted(role.GetCount(&count, nullptr)), "ok 0 2");
        EXPECT_EQ(counted(entitlement.GetCount(&count, nullptr)), "ok 0 3");
        EXPECT_EQ(counted(assignment.GetUserRoleCountByUserId(&count, 100, nullptr)), "ok 0 2");
        EXPECT_EQ(counted(assignment.GetUserRoleCountByRoleId(&count, 0, nullptr)), "ok 0 1");
        EXPECT_EQ(counted(mask.GetRoleActionCountByRoleId(&count, 1, nullptr)), "ok 0 2");
        EXPECT_EQ(counted(mask.GetRoleActionCountByRoleId(&count, 9, nullptr)), "ok 0 0");

        entitlement.SetEntitlementId(10);
        entitlement.SetAttributesId(8);
        entitlement.SetName("Cheques");
        mask.SetRoleId(1);
        mask.SetEntitlementId(100012);
        mask.SetActionType(63);
        struct Step {
            char const* name;
            std::function<Util::Status()> call;
            std::string status;
            char const* table;
            char const* rows; // the table afterwards
        };
        char const* const updated = "entitlements: 0|0|0|0|0|3\nentitlements: 10|0|8|0|0|Cheques\n"
                                    "entitlements: 100012|4|-1|2|1|Banking\n";
        Step const steps[] = {
            {"update entitlement", [&] { return entitlement.Update(nullptr); }, "ok 0",
             "entitlements", updated},
            {"update missing entitlement",
             [&] { return entitlement.SetEntitlementId(11), entitlement.Update(nullptr); },
             "ok 6042", "entitlements", updated},
            {"delete missing entitlement", [&] { return entitlement.Delete(nullptr); }, "ok 6042",
             "entitlements", updated},
            {"update mask", [&] { return mask.Update(nullptr); }, "ok 0", "role_actions",
             "role_actions: 0|10|-1\nrole_actions: 1|10|7\nrole_actions: 1|100012|63\n"},
            {"update missing mask", [&] { return mask.SetRoleId(0), mask.Update(nullptr); },
             "ok 6042", "role_actions",
             "role_actions: 0|10|-1\nrole_actions: 1|10|7\nrole_actions: 1|100012|63\n"},
            {"delete missing role", [&] { return role.SetRoleId(5), role.Delete(nullptr); },
             "ok 6042", "roles", "roles: 0|1|1|Admin|All rights\nroles: 1|3|2|Clerk's desk|\n"},
            {"delete role", [&] { return role.SetRoleId(0), role.Delete(nullptr); }, "ok 0",
             "roles", "roles: 1|3|2|Clerk's desk|\n"},
            {"delete masks of entitlement", [&] { return mask.DeleteByEntitlementId(10, nullptr); },
             "ok 0", "role_actions", "role_actions: 1|100012|63\n"},
            {"delete masks of no role", [&] { return mask.Delete(0, nullptr); }, "ok 0",
             "role_actions", "role_actions: 1|100012|63\n"},
            {"delete masks of role", [&] { return mask.Delete(1, nullptr); }, "ok 0",
             "role_actions", ""},
            {"delete assignments of role", [&] { return assignment.DeleteByRoleId(1, nullptr); },
             "ok 0", "user_roles", "user_roles: 100|0\n"},
            {"delete assignments of no user",
             [&] { return assignment.DeleteByUserId(200, nullptr); }, "ok 0", "user_roles",
             "user_roles: 100|0\n"},
            {"delete assignments of user", [&] { return assignment.DeleteByUserId(100, nullptr); },
             "ok 0", "user_roles", ""},
            {"delete all roles", [&] { return role.DeleteAll(nullptr); }, "ok 0", "roles", ""},
            {"delete all entitlements", [&] { return entitlement.DeleteAll(nullptr); }, "ok 0",
             "entitlements", ""},
        };
        for (Step const& step : steps) {
            SCOPED_TRACE(step.name);
            EXPECT_EQ(StatusText(step.call()), step.status);
            EXPECT_EQ(Dump(step.table), step.rows);
        }
        AddSample();
        EXPECT_EQ(StatusText(assignment.DeleteAll(nullptr)), "ok 0");
        EXPECT_EQ(StatusText(mask.DeleteAll(nullptr)), "ok 0");
        EXPECT_EQ(Dump("user_roles") + Dump("role_actions"), "");
        EXPECT_EQ(Dump("roles"), "roles: 0|1|1|Admin|All rights\nroles: 1|3|2|Clerk's desk|\n");
    });
}

TEST(RecordClassesTest, TextsFitTheBufferOrAreRefused) {
    TempPath path("text");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    std::string const longest(kRecordTextBufferSize - 1, 'n');
    std::string const tooLong(kRecordTextBufferSize, 'x');
    DMUSRRole role;
    DMUSREntitlement entitlement;
    for (auto set : {&DMUSRRole::SetName, &DMUSRRole::SetDescription}) {
        EXPECT_TRUE((role.*set)(longest.c_str()).Succeeded());
        EXPECT_TRUE((role.*set)(tooLong.c_str()).Failed());
        EXPECT_TRUE((role.*set)(nullptr).Failed());
    }
    EXPECT_TRUE(entitlement.SetName(longest.c_str()).Succeeded());
    EXPECT_TRUE(entitlement.SetName(tooLong.c_str()).Failed());
    EXPECT_EQ(role.GetName(nullptr), -1);
    ASSERT_TRUE(role.Add(nullptr).Succeeded());
    ASSERT_TRUE(entitlement.Add(nullptr).Succeeded());

    DMUSRRole loaded;
    DMUSREntitlement loadedEntitlement;
    ASSERT_EQ(StatusText(loaded.Load(0, nullptr)), "ok 0");
    ASSERT_EQ(StatusText(loadedEntitlement.Load(0, nullptr)), "ok 0");
    EXPECT_EQ(Fields(loaded), "0|0|0|" + longest + "|" + longest);
    EXPECT_EQ(Fields(loadedEntitlement), "0|0|0|0|0|" + longest);

    // A longer text written by someone else fails the load, which changes nothing.
    ExecOnFile(path, ("UPDATE roles SET description = '" + tooLong + "'").c_str());
    EXPECT_EQ(StatusText(loaded.Load(0, nullptr)), "failed " + std::to_string(SQLITE_TOOBIG));
    EXPECT_EQ(Fields(loaded), "0|0|0|" + longest + "|" + longest);
}

TEST(RecordClassesTest, EveryOperationFailsWithoutACompanyFile) {
    Host::CloseCompanyFile();
    for (RecordOperation const& operation : AllRecordOperations()) {
        SCOPED_TRACE(operation.name);
        EXPECT_EQ(StatusText(operation.call()), "failed " + std::to_string(SQLITE_MISUSE));
    }
}

} // namespace
