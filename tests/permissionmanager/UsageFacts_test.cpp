// Usage facts: the classification of roles by their rights on 109 to 113,
// the combination texts, and what the sphere module is sent.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"
#include "support/PermissionManagerTestAccess.h"
#include "support/SphereProbe.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using PMTest::SphereProbe;

class UsageFactsTest : public PMTest::CompanyFixture {
protected:
    PM::PermissionManagerTestAccess Access() { return PM::PermissionManagerTestAccess(Manager()); }
    // Masks on 109, 110, 111, 112, 113, in that order.
    void SetMasks(char const* role, std::vector<long> const& masks) {
        for (int i = 0; i < 5; ++i) {
            ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSUpdateRoleActionAssociation(
                                 RoleId(role), 109 + i, masks[i]));
        }
    }
};

TEST_F(UsageFactsTest, RolesAreClassifiedByTheirRightsOnTheTrackedEntitlements) {
    struct Case {
        char const* role; // Bookkeeper 1, Sales 4, Purchasing 5, View Only 6
        std::vector<long> masks;
        int result;
        std::vector<int> custom; // listing order: 109, 111, 113, 112, 110
    } const cases[] = {
        {"Purchasing", {63, 63, 63, 63, 63}, 2, {}},
        {"Purchasing", {63, 63, 63, 0, 0}, 3, {}},
        {"Purchasing", {63, 63, 63, 0, 1}, 1, {109, 111, 113, 110}},
        {"Sales", {1, 1, 0, 1, 0}, 1, {}}, // exempt by its id
        {"Purchasing", {1, 1, 0, 1, 0}, 1, {109, 112, 110}},
        {"Sales", {1, 63, 0, 0, 0}, 1, {109, 110}},
        {"Bookkeeper", {1, 1, 0, 1, 64}, 1, {109, 113, 112, 110}},
        {"View Only", {1, 1, 1, 0, 0}, 1, {109, 111, 110}},
        {"Purchasing", {0, 0, 0, 0, 0}, 0, {}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(&c - cases);
        SetMasks(c.role, c.masks);
        Access().CustomRoleCombinations().clear();
        PMTest::LogProbe log;
        EXPECT_EQ(c.result, Manager().AnalyzeUserRoleForFactTracking(RoleId(c.role), true));
        EXPECT_EQ("", log.Lines()); // only classifies
        EXPECT_TRUE(Access().CustomRoleCombinations().empty());
        EXPECT_EQ(c.result, Manager().AnalyzeUserRoleForFactTracking(RoleId(c.role), false));
        bool custom = !c.custom.empty();
        EXPECT_EQ(custom ? std::string("0/6 Custom role found: ") + c.role + "\n" : "",
                  log.Lines());
        EXPECT_EQ(custom ? std::vector<std::vector<int>>{c.custom}
                         : std::vector<std::vector<int>>{},
                  Access().CustomRoleCombinations());
    }
    EXPECT_EQ(0, Manager().AnalyzeUserRoleForFactTracking(77, false));
    EXPECT_TRUE(Access().PmCombiRoles().empty() && Access().OtherCombiRoles().empty());
}

TEST_F(UsageFactsTest, CombinationsAreFiveFlagsWith112Second) {
    Access().CustomRoleCombinations() = {{109, 113}, {112}, {113, 112, 111, 110, 109}};
    char const* const texts[] = {"10001", "01000", "11111"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_STREQ(texts[i],
                     std::unique_ptr<char[]>(Manager().GetCustomEmpPayrollEntCombination(i)).get());
    }
}

TEST_F(UsageFactsTest, SendingNeedsTheFactsExportAndForCombinationsTheSlotCount) {
    std::string const counts = "UM_NUM_ROLES_PP_COMBI=1@0\nUM_NUM_ROLES_PM_COMBI=2@0\n"
                               "UM_NUM_ROLES_NOT_PM_PP_COMBI=0@0\n";
    struct Case {
        int exports;
        std::string facts;
    } const cases[] = {
        {SphereProbe::kAll, counts + "UM_CUSTOM_ROLE_ENTITLEMENT=10000@0\n"}, // slot count 1
        {SphereProbe::kFacts, counts},
        {SphereProbe::kText | SphereProbe::kLimit, ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.exports);
        SphereProbe sphere(c.exports);
        SphereProbe::State().limit = 1; // no padding at all
        Access().PpCombiRoles() = {7};
        Access().PmCombiRoles() = {3};
        Manager().UpdateRolesInTracking(2, 2); // adds only
        Manager().UpdateRolesInTracking(4, 5); // no such class
        Access().CustomRoleCombinations().assign(2, {109});
        Manager().UpdateUserFactsToDB();
        EXPECT_EQ(c.facts, SphereProbe::State().facts);
    }
    Manager().UpdateUserFactsToDB(); // no module: nothing, and no crash
}

// A line of the built module's facts file.
std::string Fact(char const* name, char const* value, int index = 0) {
    return std::string("{\"name\":\"") + name + "\",\"value\":\"" + value +
           "\",\"index\":" + std::to_string(index) + "}\n";
}

TEST_F(UsageFactsTest, TheBuiltModuleRecordsCountsAndCustomRoles) {
    // Defaults: Admin, External Accountant and Payroll Manager hold all five,
    // Payroll Clerk 109 to 111 in full; Bookkeeper, Sales and View Only hold
    // 109, 110 and 112 and are exempt; Purchasing holds none.
    std::string const pm = Fact("UM_NUM_ROLES_PM_COMBI", "3");
    auto custom = [](char const* text, int i) {
        return Fact("UM_CUSTOM_ROLE_ENTITLEMENT", text, i);
    };
    PMTest::RealSphere sphere;
    setenv("SPHERE_MGMT_MAX_TRACKED", "5", 1); // not asked for without a custom role
    Manager().AnalyzeAvailRoleForTracking();
    EXPECT_EQ(Fact("UM_NUM_ROLES_PP_COMBI", "1") + pm + Fact("UM_NUM_ROLES_NOT_PM_PP_COMBI", "3") +
                  custom("00000", 0) + custom("00000", 1),
              sphere.TakeFacts());
    setenv("SPHERE_MGMT_MAX_TRACKED", "3", 1);
    SetMasks("Purchasing", {1, 0, 0, 0, 1});
    Manager().AnalyzeAvailRoleForTracking();
    EXPECT_EQ(Fact("UM_NUM_ROLES_PP_COMBI", "1") + pm + Fact("UM_NUM_ROLES_NOT_PM_PP_COMBI", "4") +
                  custom("10001", 0) + custom("00000", 1),
              sphere.TakeFacts());
    // Five custom roles in role-list order: Bookkeeper, Payroll Clerk,
    // Purchasing, then Sales and View Only, which don't fit.
    SetMasks("Bookkeeper", {1, 63, 0, 17, 1});
    SetMasks("Payroll Clerk", {63, 63, 63, 1, 0});
    SetMasks("Sales", {1, 63, 0, 0, 0});
    SetMasks("View Only", {1, 1, 1, 1, 0});
    Manager().AnalyzeAvailRoleForTracking();
    EXPECT_EQ(Fact("UM_NUM_ROLES_PP_COMBI", "0") + pm + Fact("UM_NUM_ROLES_NOT_PM_PP_COMBI", "5") +
                  custom("11101", 0) + custom("11110", 1) + custom("10001", 2),
              sphere.TakeFacts());
}

} // namespace
