// Saving roles: name checks, new and existing paths, slave copies, the mask-0
// fallback and the connected-edit flag. What stays behind when each record
// operation fails in turn is the fault tests' part.
#include "support/CompanyFixture.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

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
};

TEST_F(RoleEditingTest, NamesAreCheckedBeforeAnythingIsWritten) {
    std::string name29(29, 'x');
    // name, role id, result; unknown ids are new, names may repeat
    const std::tuple<std::string, int, int> cases[] = {{"Admin", -1, PM_ERR_ADMINROLE},
                                                       {"aDMIN", 3, PM_ERR_ADMINROLE},
                                                       {"", 4, PM_ERR_BADROLENAME},
                                                       {name29 + "y", -1, PM_ERR_BADROLENAME},
                                                       {name29, -1, 8},
                                                       {"Sales", 42, 9}};
    for (auto const& [name, id, result] : cases) {
        SCOPED_TRACE(name);
        Access().ConnectedEntitlementsEdited() = true;
        PM::RoleDef role = Role(id);
        role.SetName(name.c_str());
        EXPECT_EQ(result, Save(role, {Def(109, 63)}));
        EXPECT_EQ(result < 0 ? id : result, role.GetId());
        EXPECT_EQ(result < 0, Manager().IsConnectedEntitlementsEdited()); // refusals keep it
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
        {-1, {}, {109, 180}, "0,0 1,0," + all + ",0,0"}, // cached actions, every row
        {4, {}, {109, 180}, "1,63 1,1,0,0,1"},           // the record only
        {4, {Def(109, 63), Def(34, 0)}, {109, 34, 31}, "63,63,63 1,1,0,4,1"},
        {3, {Def(110, 1), Def(34, 5)}, {34, 31, 33, 35}, "5,63,1,1 1,1,0,4,1"},
        {-1, {Def(109, 7), Def(109, 9), Def(34, 0)}, {109, 34, 31}, "9,7,7 1,0," + all + ",2,0"},
        {7, {Def(109, 7), Def(109, 9), Def(34, 0)}, {109, 34, 31}, "9,7,7 1,1,0,5,1"},
        // Rows outside the catalogue: dropped for a new role, written for an
        // existing one, heading rows of a merged listing (id -1) included.
        {-1, {Def(-1, 0), Def(999999, 5)}, {-1, 999999}, "-,- 1,0," + all + ",0,0"},
        {4, {Def(-1, 0), Def(999999, 5)}, {-1, 999999}, "0,5 1,1,2,2,1"},
        {-1,
         {Def(20, 13), Def(28, 12), Def(161, 11), Def(160, 10), Def(113, 9), Def(112, 8),
          Def(111, 7), Def(110, 6), Def(109, 5), Def(9, 4), Def(118, 3), Def(117, 2),
          Def(132, 127)},
         {68, 70, 71, 26, 104, 107, 15, 34, 31,  33,  35, 41,
          76, 75, 36, 37, 42,  39,  40, 32, 167, 168, 58, 30},
         "127,127,127,2,3,3,4,5,5,6,6,7,7,7,8,8,"
         "8,9,9,9,10,11,12,13 1,0," +
             all + ",24,0"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << c.roleId << " " << c.masks);
        PM::RoleDef role = Role(c.roleId);
        Host::FaultPlan::Get().ResetCounts();
        int id = Save(role, c.list);
        std::string state = Masks({id}, c.ids);
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
    EXPECT_EQ("0,5,5", Masks({4}, {5000, 110, 33}));
    // On a pair that exists the fallback's add fails too, and the pass stops.
    Host::ScopedFault fault("DMUSRRoleAction::Update", 2);
    EXPECT_EQ(PM_ERROR, Save(sales, {Def(112, 7), Def(110, 1), Def(111, 9)}));
    EXPECT_EQ("7,5,-,17", Masks({4}, {112, 110, 111, 36}));
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
