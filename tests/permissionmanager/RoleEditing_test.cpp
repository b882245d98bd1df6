// Saving roles: the name checks, the new and existing paths, slave copies, the
// mask-0 fallback and the note of an edited connected entitlement.
#include "support/CompanyFixture.h"

#include <host/records/FaultPlan.h>

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
    // A cached role, or a new one named Temp with that id.
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
    std::string const name29(29, 'x');
    // name, role id, result; unknown ids are new, names may repeat
    std::tuple<std::string, int, int> const cases[] = {{"Admin", -1, PM_ERR_ADMINROLE},
                                                       {"aDMIN", 3, PM_ERR_ADMINROLE},
                                                       {"", 4, PM_ERR_BADROLENAME},
                                                       {name29 + "y", -1, PM_ERR_BADROLENAME},
                                                       {name29, -1, 8},
                                                       {"Sales", 42, 9}};
    for (auto const& [name, id, result] : cases) {
        SCOPED_TRACE(name);
        PM::RoleDef role = Role(id);
        role.SetName(name.c_str());
        EXPECT_EQ(result, Save(role, {Def(109, 63)}));
        EXPECT_EQ(result < 0 ? id : result, role.GetId());
    }
}

TEST_F(RoleEditingTest, ANewRoleGetsEveryCatalogueRowAndAnExistingOneTheRowsGiven) {
    struct Case {
        int roleId;
        Defs list;
        std::vector<int> ids;
        char const* masks;
    } const cases[] = {
        {-1, {}, {109, 180, 999999}, "0,0,-"}, // the cached actions, every catalogue row
        {-1, {Def(109, 7), Def(999999, 5)}, {109, 34, 31, 999999}, "7,7,7,-"},
        // Masters' masks go to their slaves.
        {4, {Def(109, 63), Def(111, 9)}, {109, 34, 31, 111, 41, 76, 75}, "63,63,63,9,9,9,9"},
        // An existing role's rows are written as given; the others keep theirs.
        {4, {Def(999999, 5)}, {999999, 109}, "5,63"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.masks);
        PM::RoleDef role = Role(c.roleId);
        EXPECT_EQ(c.masks, Masks({Save(role, c.list)}, c.ids));
    }
    // A failed update falls back to adding mask 0, not the mask asked for.
    PM::RoleDef sales = Role(4);
    Host::ScopedFault fault("DMUSRRoleAction::Update", 1);
    EXPECT_EQ(4, Save(sales, {Def(5000, 63), Def(110, 5)}));
    EXPECT_EQ("0,5,5", Masks({4}, {5000, 110, 33}));
}

TEST_F(RoleEditingTest, OnlyAChangedConnectedEntitlementOfAnExistingRoleIsNoted) {
    struct Case {
        int roleId, id, action;
        char const* noted; // the note, then the role's connected flag
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
        std::string const description = role.GetDescription().c_str();
        ASSERT_LE(0, Save(role, {Def(c.id, c.action)}));
        EXPECT_EQ(c.noted, std::to_string(Manager().IsConnectedEntitlementsEdited()) +
                               std::to_string(role.GetIsConnectedRole()));
        EXPECT_EQ(description, role.GetDescription().c_str()); // no suffix on a save
    }
}

} // namespace
