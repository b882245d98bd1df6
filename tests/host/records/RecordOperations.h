// The standard sample of records, and every operation of the record classes
// that reaches the company file, by its fault-plan name.
#pragma once

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace RecordsTest {

// Adds the sample through the record classes: two roles, three entitlements
// (0 is the version record), three assignments and three masks.
inline void AddSample() {
    struct Role {
        long id, category;
        short visible;
        char const *name, *description;
    } const roles[] = {{0, 1, 1, "Admin", "All rights"}, {1, 3, 2, "Clerk's desk", ""}};
    for (Role const& r : roles) {
        DMUSRRole role;
        role.SetRoleId(r.id);
        role.SetCategoryType(r.category);
        role.SetIsVisible(r.visible);
        ASSERT_TRUE(role.SetName(r.name).Succeeded());
        ASSERT_TRUE(role.SetDescription(r.description).Succeeded());
        ASSERT_TRUE(role.Add(nullptr).Succeeded()) << r.name;
    }
    struct Entitlement {
        long id, category, attrs;
        short visible, enabled;
        char const* name;
    } const entitlements[] = {
        {0, 0, 0, 0, 0, "3"}, {10, 2, 65536, 1, 0, "Checks"}, {100012, 4, -1, 1, 1, "Banking"}};
    for (Entitlement const& e : entitlements) {
        DMUSREntitlement entitlement;
        entitlement.SetEntitlementId(e.id);
        entitlement.SetCategoryType(e.category);
        entitlement.SetAttributesId(e.attrs);
        entitlement.SetIsVisible(e.visible);
        entitlement.SetIsEnabled(e.enabled);
        ASSERT_TRUE(entitlement.SetName(e.name).Succeeded());
        ASSERT_TRUE(entitlement.Add(nullptr).Succeeded()) << e.name;
    }
    long const assignments[][2] = {{100, 0}, {100, 1}, {200, 1}};
    for (auto const& a : assignments) {
        DMUSRUserRole userRole;
        userRole.SetUserId(a[0]);
        userRole.SetRoleId(a[1]);
        ASSERT_TRUE(userRole.Add(nullptr).Succeeded());
    }
    long const masks[][3] = {{0, 10, -1}, {1, 10, 7}, {1, 100012, 17}};
    for (auto const& m : masks) {
        DMUSRRoleAction mask;
        mask.SetRoleId(m[0]);
        mask.SetEntitlementId(m[1]);
        mask.SetActionType(m[2]);
        ASSERT_TRUE(mask.Add(nullptr).Succeeded());
    }
}

// Dump() of a company file that holds the sample and nothing else.
const char kSampleDump[] = "roles: 0|1|1|Admin|All rights\n"
                           "roles: 1|3|2|Clerk's desk|\n"
                           "entitlements: 0|0|0|0|0|3\n"
                           "entitlements: 10|2|65536|1|0|Checks\n"
                           "entitlements: 100012|4|-1|1|1|Banking\n"
                           "user_roles: 100|0\n"
                           "user_roles: 100|1\n"
                           "user_roles: 200|1\n"
                           "role_actions: 0|10|-1\n"
                           "role_actions: 1|10|7\n"
                           "role_actions: 1|100012|17\n";

struct RecordOperation {
    char const* name;
    std::function<Util::Status()> call;
};

// Every operation of the record classes that reaches the company file, by its
// fault-plan name. On the sample each one reads a record or changes a table.
inline std::vector<RecordOperation> AllRecordOperations() {
    auto role = [](long id) {
        DMUSRRole r;
        r.SetRoleId(id);
        r.SetName("Extra");
        return r;
    };
    auto entitlement = [](long id) {
        DMUSREntitlement e;
        e.SetEntitlementId(id);
        e.SetName("Extra");
        return e;
    };
    auto userRole = [](long userKey, long roleId) {
        DMUSRUserRole u;
        u.SetUserId(userKey);
        u.SetRoleId(roleId);
        return u;
    };
    auto mask = [](long roleId, long entitlementId) {
        DMUSRRoleAction a;
        a.SetRoleId(roleId);
        a.SetEntitlementId(entitlementId);
        a.SetActionType(99);
        return a;
    };
    static long count = 0;
    return {
        {"DMUSRRole::Load", [=] { return role(0).Load(1, nullptr); }},
        {"DMUSRRole::Add", [=] { return role(40).Add(nullptr); }},
        {"DMUSRRole::Delete", [=] { return role(1).Delete(nullptr); }},
        {"DMUSRRole::DeleteAll", [=] { return role(0).DeleteAll(nullptr); }},
        {"DMUSRRole::GetCount", [=] { return role(0).GetCount(&count, nullptr); }},
        {"DMUSREntitlement::Load", [=] { return entitlement(0).Load(10, nullptr); }},
        {"DMUSREntitlement::Add", [=] { return entitlement(40).Add(nullptr); }},
        {"DMUSREntitlement::Update", [=] { return entitlement(10).Update(nullptr); }},
        {"DMUSREntitlement::Delete", [=] { return entitlement(10).Delete(nullptr); }},
        {"DMUSREntitlement::DeleteAll", [=] { return entitlement(0).DeleteAll(nullptr); }},
        {"DMUSREntitlement::GetCount", [=] { return entitlement(0).GetCount(&count, nullptr); }},
        {"DMUSRUserRole::Load", [=] { return userRole(0, 0).Load(100, 1, nullptr); }},
        {"DMUSRUserRole::Add", [=] { return userRole(40, 1).Add(nullptr); }},
        {"DMUSRUserRole::DeleteByRoleId",
         [=] { return userRole(0, 0).DeleteByRoleId(1, nullptr); }},
        {"DMUSRUserRole::DeleteByUserId",
         [=] { return userRole(0, 0).DeleteByUserId(100, nullptr); }},
        {"DMUSRUserRole::DeleteAll", [=] { return userRole(0, 0).DeleteAll(nullptr); }},
        {"DMUSRUserRole::GetUserRoleCountByUserId",
         [=] { return userRole(0, 0).GetUserRoleCountByUserId(&count, 100, nullptr); }},
        {"DMUSRUserRole::GetUserRoleCountByRoleId",
         [=] { return userRole(0, 0).GetUserRoleCountByRoleId(&count, 1, nullptr); }},
        {"DMUSRRoleAction::Load", [=] { return mask(0, 0).Load(1, 10, nullptr); }},
        {"DMUSRRoleAction::Add", [=] { return mask(40, 10).Add(nullptr); }},
        {"DMUSRRoleAction::Update", [=] { return mask(1, 10).Update(nullptr); }},
        {"DMUSRRoleAction::Delete", [=] { return mask(0, 0).Delete(1, nullptr); }},
        {"DMUSRRoleAction::DeleteByEntitlementId",
         [=] { return mask(0, 0).DeleteByEntitlementId(10, nullptr); }},
        {"DMUSRRoleAction::DeleteAll", [=] { return mask(0, 0).DeleteAll(nullptr); }},
        {"DMUSRRoleAction::GetRoleActionCountByRoleId",
         [=] { return mask(0, 0).GetRoleActionCountByRoleId(&count, 1, nullptr); }},
    };
}

} // namespace RecordsTest
