#include "RecordsTesting.h"

#include <gtest/gtest.h>

#include <initializer_list>
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

std::string Fields(DMUSRUserRole const& u) {
    return std::to_string(u.GetUserId()) + "|" + std::to_string(u.GetRoleId());
}

std::string Fields(DMUSRRoleAction const& a) {
    return std::to_string(a.GetRoleId()) + "|" + std::to_string(a.GetEntitlementId()) + "|" +
           std::to_string(a.GetActionType());
}

// The statuses of calls made in order (a braced list is evaluated left to right).
std::string Statuses(std::initializer_list<Util::Status> statuses) {
    std::string text;
    for (Util::Status const& status : statuses) {
        text += (text.empty() ? "" : ", ") + StatusText(status);
    }
    return text;
}

// The statuses, then the tables named (or all) as the calls left them.
std::string After(std::string const& statuses, std::initializer_list<char const*> tables = {}) {
    std::string text = statuses + "\n" + (tables.size() == 0 ? Dump() : "");
    for (char const* table : tables) {
        text += Dump(table);
    }
    return text;
}

// The statuses, then the record's fields as the calls left them.
template <class Record> std::string After(std::string const& statuses, Record const& record) {
    return statuses + " " + Fields(record);
}

// A load fills the object; a load of a missing key answers 6042 and leaves
// it as it was; adding a key again fails.
TEST(RecordClassesTest, LoadsMissingKeysAndDuplicates) {
    ForEachKind([] {
        DMUSRRole role;
        DMUSREntitlement entitlement;
        DMUSRUserRole user;
        DMUSRRoleAction mask;
        std::string const again = "failed " + std::to_string(SQLITE_CONSTRAINT_PRIMARYKEY);
        EXPECT_EQ(After(Statuses({role.Load(1, nullptr), role.Load(5, nullptr), role.Add(nullptr)}),
                        role),
                  "ok 0, ok 6042, " + again + " 1|3|2|Clerk's desk|");
        EXPECT_EQ(After(Statuses({entitlement.Load(100012, nullptr), entitlement.Load(11, nullptr),
                                  entitlement.Add(nullptr)}),
                        entitlement),
                  "ok 0, ok 6042, " + again + " 100012|4|-1|2|1|Banking");
        EXPECT_EQ(After(Statuses({user.Load(200, 1, nullptr), user.Load(200, 0, nullptr),
                                  user.Add(nullptr)}),
                        user),
                  "ok 0, ok 6042, " + again + " 200|1");
        EXPECT_EQ(After(Statuses({mask.Load(0, 10, nullptr), mask.Load(0, 100012, nullptr),
                                  mask.Add(nullptr)}),
                        mask),
                  "ok 0, ok 6042, " + again + " 0|10|-1");
        EXPECT_EQ(Dump(), kSampleDump);
    });
}

// Counts, then writes in groups, each followed by the whole file.
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
        std::string const rest = "roles: 1|3|2|Clerk's desk|\nentitlements: 0|0|0|0|0|3\n"
                                 "entitlements: 10|0|8|0|0|Cheques\n"
                                 "entitlements: 100012|4|-1|2|1|Banking\n";
        EXPECT_EQ(After(Statuses({entitlement.Update(nullptr),
                                  (entitlement.SetEntitlementId(11), entitlement.Update(nullptr)),
                                  entitlement.Delete(nullptr), mask.Update(nullptr),
                                  (mask.SetRoleId(0), mask.Update(nullptr)),
                                  (role.SetRoleId(5), role.Delete(nullptr)),
                                  (role.SetRoleId(0), role.Delete(nullptr))})),
                  "ok 0, ok 6042, ok 6042, ok 0, ok 6042, ok 6042, ok 0\n" + rest +
                      "user_roles: 100|0\nuser_roles: 100|1\nuser_roles: 200|1\n"
                      "role_actions: 0|10|-1\nrole_actions: 1|10|7\nrole_actions: 1|100012|63\n");
        EXPECT_EQ(After(Statuses({mask.DeleteByEntitlementId(10, nullptr), mask.Delete(0, nullptr),
                                  assignment.DeleteByRoleId(1, nullptr),
                                  assignment.DeleteByUserId(200, nullptr)})),
                  "ok 0, ok 0, ok 0, ok 0\n" + rest +
                      "user_roles: 100|0\nrole_actions: 1|100012|63\n");
        EXPECT_EQ(After(Statuses({mask.Delete(1, nullptr), assignment.DeleteByUserId(100, nullptr),
                                  role.DeleteAll(nullptr), entitlement.DeleteAll(nullptr)})),
                  "ok 0, ok 0, ok 0, ok 0\n");
        AddSample();
        EXPECT_EQ(After(Statuses({assignment.DeleteAll(nullptr), mask.DeleteAll(nullptr)}),
                        {"roles", "user_roles", "role_actions"}),
                  "ok 0, ok 0\nroles: 0|1|1|Admin|All rights\nroles: 1|3|2|Clerk's desk|\n");
    });
}

TEST(RecordClassesTest, TextsFitTheBufferOrAreRefused) {
    TempPath path("text");
    ASSERT_TRUE(Host::CreateCompanyFile(path).ok);
    std::string const longest(kRecordTextBufferSize - 1, 'n');
    std::string const tooLong(kRecordTextBufferSize, 'x');
    DMUSRRole role;
    DMUSREntitlement entitlement;
    EXPECT_EQ(
        Statuses({role.SetName(longest.c_str()), role.SetName(tooLong.c_str()),
                  role.SetName(nullptr), role.SetDescription(tooLong.c_str()),
                  role.SetDescription(nullptr), role.SetDescription(longest.c_str()),
                  entitlement.SetName(tooLong.c_str()), entitlement.SetName(longest.c_str()),
                  role.Add(nullptr), entitlement.Add(nullptr)}),
        "ok 0, failed -1, failed -1, failed -1, failed -1, ok 0, failed -1, ok 0, ok 0, ok 0");
    EXPECT_EQ(role.GetName(nullptr), -1);

    DMUSRRole loaded;
    DMUSREntitlement loadedEntitlement;
    std::string const loads =
        Statuses({loaded.Load(0, nullptr), loadedEntitlement.Load(0, nullptr)});
    EXPECT_EQ(loads + " " + Fields(loaded) + " " + Fields(loadedEntitlement),
              "ok 0, ok 0 0|0|0|" + longest + "|" + longest + " 0|0|0|0|0|" + longest);

    // A longer text written by someone else fails the load, which changes nothing.
    ExecOnFile(path, ("UPDATE roles SET description = '" + tooLong + "'").c_str());
    EXPECT_EQ(StatusText(loaded.Load(0, nullptr)), "failed " + std::to_string(SQLITE_TOOBIG));
    EXPECT_EQ(Fields(loaded), "0|0|0|" + longest + "|" + longest);
}

} // namespace
