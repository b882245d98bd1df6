// Saving roles: name checks, new and existing paths, slave copies, the mask-0
// fallback and what stays behind after each failure.
#include "support/CompanyFixture.h"
#include "support/PermissionManagerTestAccess.h"
#include "support/VerifyProbe.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using PM::EntitlementDef;
using Defs = std::vector<EntitlementDef>;

EntitlementDef Def(int id, int action) {
    EntitlementDef def;
    def.SetId(id);
    def.SetAction(action);
    return def;
}

class RoleEditingTest : public PMTest::CompanyFixture {
protected:
    PM::PermissionManagerTestAccess Access() { return PM::PermissionManagerTestAccess(Manager()); }
    // A cached role (id 0 or above) or a new one named Temp with that id.
    PM::RoleDef Role(int id) {
        std::unique_ptr<PM::RoleDef> cached(Manager().GetRoleDef(id));
        if (id >= 0 && cached != nullptr) {
            return *cached;
        }
        PM::RoleDef role;
        role.SetName("Temp");
        role.SetId(id);
        return role;
    }
    int Save(PM::RoleDef& role, Defs list) { return Manager().SetRoleEntitlements(role, list); }
    // "id:mask" per id, "-" where the role has no association.
    std::string Masks(int role, std::vector<int> const& ids) {
        std::string out;
        for (int id : ids) {
            long mask = 0;
            bool found = Manager().GetRoleActionAssociation(role, id, &mask) == PM_OK;
            out += (out.empty() ? "" : ",") + std::to_string(id) + ":" +
                   (found ? std::to_string(mask) : "-");
        }
        return out;
    }
    // The ids that LookupRole finds for Temp, Sales and Sales Team.
    std::string Lookups() {
        return std::to_string(Manager().LookupRole("Temp")) + "," +
               std::to_string(Manager().LookupRole("Sales")) + "," +
               std::to_string(Manager().LookupRole("Sales Team"));
    }
};

TEST_F(RoleEditingTest, NamesAreCheckedBeforeAnythingIsWritten) {
    std::string name29(29, 'x');
    struct Case {
        std::string name;
        int id, result;
    } const cases[] = {{"Admin", -1, PM_ERR_ADMINROLE},
                       {"aDMIN", 3, PM_ERR_ADMINROLE},
                       {"", 4, PM_ERR_BADROLENAME},
                       {name29 + "y", -1, PM_ERR_BADROLENAME},
                       {name29, -1, 8},
                       {"Sales", 42, 9}}; // unknown ids are new, names may repeat
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Access().ConnectedEntitlementsEdited() = true;
        PM::RoleDef role = Role(c.id);
        role.SetName(c.name.c_str());
        EXPECT_EQ(c.result, Save(role, {Def(109, 63)}));
        EXPECT_EQ(c.result < 0 ? c.id : c.result, role.GetId());
        EXPECT_EQ(c.result < 0, Manager().IsConnectedEntitlementsEdited()); // refusals keep it
    }
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSRemoveAllRoleFromDB());
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSDeleteAllRoleActionAssociations());
    ASSERT_EQ(PM_OK, Manager().Init());
    PM::RoleDef first = Role(5);
    EXPECT_EQ(PM_OK, Save(first, {})); // id 0, the same value as PM_OK
    EXPECT_EQ(0, Manager().LookupRole("Temp"));
}

TEST_F(RoleEditingTest, WritesOfNewAndExistingRoles) {
    std::string all = std::to_string(Manager().GetEntitlementCache()->size());
    struct Case {
        int roleId;
        Defs list;
        std::vector<int> ids;
        std::string masks; // then counts: role add, role delete, mask add, mask update, scans
    } const cases[] = {
        {-1, {}, {109, 180}, "109:0,180:0 1,0," + all + ",0,0"}, // cached actions, every row
        {4, {}, {109, 180}, "109:1,180:63 1,1,0,0,1"},           // the record only
        {4, {Def(109, 63), Def(34, 0)}, {109, 34, 31}, "109:63,34:63,31:63 1,1,0,4,1"},
        {3, {Def(110, 1), Def(34, 5)}, {34, 31, 33, 35}, "34:5,31:63,33:1,35:1 1,1,0,4,1"},
        {-1,
         {Def(109, 7), Def(109, 9), Def(34, 0)},
         {109, 34, 31},
         "109:9,34:7,31:7 1,0," + all + ",2,0"},
        {7, {Def(109, 7), Def(109, 9), Def(34, 0)}, {109, 34, 31}, "109:9,34:7,31:7 1,1,0,5,1"},
        // Rows outside the catalogue: dropped for a new role, written for an
        // existing one, heading rows of a merged listing (id -1) included.
        {-1, {Def(-1, 0), Def(999999, 5)}, {-1, 999999}, "-1:-,999999:- 1,0," + all + ",0,0"},
        {4, {Def(-1, 0), Def(999999, 5)}, {-1, 999999}, "-1:0,999999:5 1,1,2,2,1"},
        {-1,
         {Def(20, 13), Def(28, 12), Def(161, 11), Def(160, 10), Def(113, 9), Def(112, 8),
          Def(111, 7), Def(110, 6), Def(109, 5), Def(9, 4), Def(118, 3), Def(117, 2),
          Def(132, 127)},
         {68, 70, 71, 26, 104, 107, 15, 34, 31,  33,  35, 41,
          76, 75, 36, 37, 42,  39,  40, 32, 167, 168, 58, 30},
         "68:127,70:127,71:127,26:2,104:3,107:3,15:4,34:5,31:5,33:6,35:6,41:7,76:7,75:7,36:8,37:8,"
         "42:8,39:9,40:9,32:9,167:10,168:11,58:12,30:13 1,0," +
             all + ",24,0"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << c.roleId << " " << c.masks);
        PM::RoleDef role = Role(c.roleId);
        Host::FaultPlan::Get().ResetCounts();
        int id = Save(role, c.list);
        std::string state = Masks(id, c.ids);
        char const* separator = " ";
        for (char const* op : {"DMUSRRole::Add", "DMUSRRole::Delete", "DMUSRRoleAction::Add",
                               "DMUSRRoleAction::Update", "DMUSREntitlement::GetCount"}) {
            state += separator + std::to_string(Host::FaultPlan::Get().Calls(op));
            separator = ",";
        }
        EXPECT_EQ(c.masks, state);
    }
}

TEST_F(RoleEditingTest, AFailedUpdateFallsBackToMaskZeroNotTheMaskAskedFor) {
    PM::RoleDef sales = Role(4);
    {
        Host::ScopedFault fault("DMUSRRoleAction::Update", 1);
        EXPECT_EQ(4, Save(sales, {Def(5000, 63), Def(110, 5)}));
    }
    EXPECT_EQ("5000:0,110:5,33:5", Masks(4, {5000, 110, 33}));
    // On a pair that exists the fallback's add fails too, and the pass stops.
    Host::ScopedFault fault("DMUSRRoleAction::Update", 2);
    EXPECT_EQ(PM_ERROR, Save(sales, {Def(112, 7), Def(110, 1), Def(111, 9)}));
    EXPECT_EQ("112:7,110:5,111:-,36:17", Masks(4, {112, 110, 111, 36}));
}

TEST_F(RoleEditingTest, WhatRemainsAfterEachFailure) {
    struct Case {
        int roleId;
        char const* operation;
        long nth;
        bool accept;
        char const* state; // result id [raised] cache next | store masks
    } const cases[] = {
        {-1, "DMUSRRole::Add", 1, false, "-1 8 [rcode == PM_OK] -1,4,-1 8 | -1,4,-1 109:-,34:-"},
        {-1, "DMUSRRole::Add", 1, true, "8 8 [rcode == PM_OK] 8,4,-1 9 | -1,4,-1 109:63,34:63"},
        {-1, "DMUSRRoleAction::Add", 1, false,
         "8 8 [rcode == PM_OK] 8,4,-1 9 | 8,4,-1 109:-,34:63"},
        {-1, "DMUSRRoleAction::Update", 1, false, "-1 8 [] -1,4,-1 8 | 8,4,-1 109:63,34:0"},
        {4, "DMUSRRole::Delete", 1, false, "-1 4 [rcode == PM_OK] -1,4,-1 8 | -1,4,-1 109:1,34:1"},
        {4, "DMUSRRole::Add", 1, false, "-1 4 [rcode == PM_OK] -1,4,-1 8 | -1,-1,-1 109:1,34:1"},
        {4, "DMUSRRoleAction::Update", 2, false, "-1 4 [] -1,4,-1 8 | -1,-1,4 109:63,34:1"},
        {4, "none", 1, false, "4 4 [] -1,-1,4 8 | -1,-1,4 109:63,34:63"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << c.roleId << " " << c.operation << " " << c.nth);
        SetUpCompany();
        PM::RoleDef role = Role(c.roleId);
        role.SetName(c.roleId < 0 ? "Temp" : "Sales Team");
        PMTest::VerifyProbe probe(c.accept);
        std::string state;
        {
            Host::ScopedFault fault(c.operation, c.nth);
            state = std::to_string(Save(role, {Def(109, 63)}));
        }
        std::string raised;
        for (std::string const& expression : probe.Expressions()) {
            raised += expression;
        }
        state += " " + std::to_string(role.GetId()) + " [" + raised + "] " + Lookups() + " " +
                 std::to_string(Access().GetNextRoleId());
        ASSERT_EQ(PM_OK, Manager().Init());
        EXPECT_EQ(c.state, state + " | " + Lookups() + " " + Masks(role.GetId(), {109, 34}));
    }
}

TEST_F(RoleEditingTest, OnlyAChangedConnectedEntitlementOfAnExistingRoleIsNoted) {
    struct Case {
        int roleId, id, action;
        char const* noted; // the flag, then the role's connected state
    } const cases[] = {
        {4, 109, 1, "00"},  // Sales holds 1 already
        {4, 109, 63, "11"}, // judged on the masks before the write
        {-1, 109, 63, "00"},
        {4, 129, 63, "00"}, // invisible: not among the role's current rows
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << c.roleId << " " << c.id << " " << c.action);
        Access().ConnectedEntitlementSets() = {{{std::to_string(c.id), "1"}}};
        PM::RoleDef role = Role(c.roleId);
        std::string description = role.GetDescription().c_str();
        ASSERT_LE(0, Save(role, {Def(c.id, c.action)}));
        EXPECT_EQ(c.noted, std::to_string(Manager().IsConnectedEntitlementsEdited()) +
                               std::to_string(role.GetIsConnectedRole()));
        EXPECT_EQ(description, role.GetDescription().c_str()); // no suffix here
    }
    std::vector<std::vector<int>> const same = {{112, 109, 110}, {109, 109, 109}},
                                        differ = {
                                            {109, 110}, {109, 110, 112, 109}, {109, 110, 111}};
    for (std::vector<int> const& ids : same) {
        EXPECT_TRUE(Manager().isEntitlementsSameAsDefault(ids)) << ids.size();
    }
    for (std::vector<int> const& ids : differ) {
        EXPECT_FALSE(Manager().isEntitlementsSameAsDefault(ids)) << ids.size() << ids.back();
    }
}

} // namespace
