// Role listings with their full-access and connected flags; connected roles:
// the sets read from the sphere module's document and the connected-role flag
// with its running count of hits; usage facts: the classification of roles by
// their rights on 109 to 113 and what the sphere module is sent.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"
#include "support/SphereProbe.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

using PMTest::SphereProbe;

char const kSuffix[] = " This role needs Orvane account.";

// Names joined by "|"; "+" full access, "~" connected, "$" the description
// carries the connected-role suffix.
std::string Render(std::vector<PM::RoleDef>* list) {
    std::unique_ptr<std::vector<PM::RoleDef>> owned(list);
    if (owned == nullptr) {
        return "null";
    }
    std::string out;
    for (PM::RoleDef const& role : *owned) {
        out += std::string(out.empty() ? "" : "|") + role.GetName().c_str() +
               (role.GetIsFullAccess() ? "+" : "") + (role.GetIsConnectedRole() ? "~" : "") +
               (std::strstr(role.GetDescription(), kSuffix) ? "$" : "");
    }
    return out;
}

// Admin and Ghost are invisible; entitlement 1 is a full-access one.
char const kRoles[] = R"({"format": 1, "features": [
  {"id": "0", "name": "V", "enabled": false, "parameters": ["-1", "0", "1", "2"]},
  {"id": "1", "name": "Find All Transactions", "parameters": ["100000", "5"]},
  {"id": "100000", "name": "All Areas", "parameters": ["-1", "1"]}],
 "roles": [{"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": "*"}]},
  {"id": "ADMIN", "name": "Admin", "visible": false, "grants": [{"actions": [0], "features": "*"}]},
  {"id": "GHOST", "name": "Ghost", "visible": false, "grants": [{"actions": [0], "features": ["1"]}]},
  {"id": "CLERK", "name": "Clerk", "grants": [{"actions": [], "features": ["1"]}]},
  {"id": "AUDITOR", "name": "Auditor", "grants": [{"actions": [0], "features": ["1"]}]}],
 "flavors": [{"id": "F", "defaultRoles": ["ADMIN", "GHOST", "CLERK", "AUDITOR"]}],
 "currentFlavor": "F"})";

class ConnectedRolesTest : public PMTest::CompanyFixture {
protected:
    std::string Available(int admin, int invisible) {
        return Render(Manager().GetAvailableRoles(PM::EListIncludeAdmin(admin),
                                                  PM::EListIncludeInvisible(invisible)));
    }
    // The sets as "{id:min,...}" in set order.
    std::string Sets() {
        std::string text;
        for (PM::ConnectedEntitlementSet const& set : Access().ConnectedEntitlementSets()) {
            std::string pairs;
            for (auto const& [id, min] : set) {
                pairs += (pairs.empty() ? "" : ",") + id + ":" + min;
            }
            text += "{" + pairs + "}";
        }
        return text;
    }
    // Masks of the role on 109, 110, 111, 112, 113, in that order.
    void Track(char const* role, std::vector<long> const& masks) {
        SetMasks({RoleId(role)}, {109, 110, 111, 112, 113}, masks);
    }
};

TEST_F(ConnectedRolesTest, OnlyTheValueOneExcludes) {
    SetUpCompanyFromText(kRoles);
    // Admin goes by its own switch alone, also when invisible.
    // admin switch, invisible switch, listing
    const std::tuple<int, int, char const*> cases[] = {{1, 1, "Auditor+|Clerk"},
                                                       {0, 1, "Admin+|Auditor+|Clerk"},
                                                       {1, 0, "Auditor+|Clerk|Ghost+"},
                                                       {0, 0, "Admin+|Auditor+|Clerk|Ghost+"},
                                                       {2, -1, "Admin+|Auditor+|Clerk|Ghost+"}};
    for (auto const& [admin, invisible, listing] : cases) {
        EXPECT_EQ(listing, Available(admin, invisible)) << admin << "," << invisible;
    }
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSRemoveAllRoleFromDB());
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ("", Available(0, 0)); // an empty list, not null
}

TEST_F(ConnectedRolesTest, UserRolesAreSortedByName) {
    int user = AddUser("clerk");
    EXPECT_EQ("", Render(Manager().GetUserRoles(user)));
    EXPECT_EQ("", Render(Manager().GetUserRoles(-1)));
    for (int role : {7, 5, 2}) {
        ASSERT_EQ(PM_OK, Manager().SetRoleForUser(user, role));
    }
    EXPECT_EQ("External Accountant+|Payroll Clerk|Purchasing",
              Render(Manager().GetUserRoles(user)));
    ASSERT_EQ(PM_OK, Manager().SetRoleForUser(user, 42)); // no such role in the cache
    EXPECT_EQ("null", Render(Manager().GetUserRoles(user)));
}

// JSON with ' for ", and E(n, id, min) for the member Ent_n of a group.
std::string J(std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    return text;
}
std::string E(int n, char const* id, char const* min) {
    return "'Ent_" + std::to_string(n) + "':{'entitlementId':'" + id + "','minAction':'" + min +
           "'}";
}
std::string const kNames = "'Entitlement':{'EntitlementNames':'A,B'},";

TEST_F(ConnectedRolesTest, DocumentsGiveTheirSets) {
    struct Case {
        std::string document;
        char const* sets;
        bool fails;
    } const cases[] = {
        // clang-format off
        {"{'EntitlementNames':'A','A':{" + E(1, "8", "1") + "}}", "", false}, // path "" lacks "Entitlement"
        {"{'C':{" + kNames + "'A':{" + E(1, "8", "63") + "," + E(2, "83", "1") + "},'B':{" + E(1, "185", "63") + "}}}",
         "{185:63}{8:63,83:1}", false},
        {"{'C':{" + kNames + "'A':{" + E(1, "8", "63") + "}},'D':{'A':{" + E(1, "8", "63") + "}},'F':{'B':{" +
         E(1, "9", "1") + "}}}", "{8:63}{9:1}", false}, // equal maps collapse
        {"{'C':{" + kNames + "'A':{" + E(1, "8", "63") + "," + E(3, "9", "1") + "}}}", "{8:63}", false},
        {"{'C':{" + kNames + "'A':{" + E(1, "8", "63") + "," + E(2, "8", "1") + "}}}", "{8:63}", false},
        {"{'Connected Entitlement':{'EntitlementNames':',A,, B,'},'T':{'A':{'Ent_1':{'ENTITLEMENTID':8,"
         "'minaction':63}},'B':{" + E(1, "9", "1") + "}}}", "{8:63}", false}, // blanks kept
        {"{'C':{" + kNames + "'XA':{" + E(1, "9", "1") + "},'A':{" + E(1, "8", "63") + "}}}", "{9:1}", false},
        {"{'':{'A':{" + E(1, "8", "63") + "}},'C':{" + kNames + "'B':{}}}", "", false}, // a member without a key is no group holder
        {"{'C':{" + kNames + "'A':{'Ent_1':{'entitlementId':'8'}},'B':{" + E(1, "", "1") + "}}}", "", false},
        {"{'C':{'Entitlement':[{'EntitlementNames':'A'}],'A':{" + E(1, "8", "63") + "}}}", "", false},
        {"{'C':{" + kNames, "", true},
        {"", "", true},
        // clang-format on
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.document);
        Access().ConnectedEntitlementSets().clear();
        SphereProbe sphere;
        std::string document = J(c.document);
        SphereProbe::State().document = document.c_str();
        PMTest::LogProbe log;
        Manager().FetchConnectedEntitlementIDList();
        EXPECT_EQ(c.sets, Sets());
        EXPECT_EQ(c.fails ? "3/5 UserMgmt: Error reading Connected roles from config.\n" : "",
                  log.Lines());
        EXPECT_EQ(1, SphereProbe::State().textCalls);
        if (c.fails) {
            free(SphereProbe::State().block); // a text that failed to parse is left to us
        }
    }
}

TEST_F(ConnectedRolesTest, WithoutATextNothingIsReadAndTheReadIsTriedAgain) {
    PMTest::LogProbe log;
    Manager().FetchConnectedEntitlementIDList(); // no module
    {
        SphereProbe sphere(SphereProbe::kFacts); // no such export
        Manager().FetchConnectedEntitlementIDList();
    }
    SphereProbe sphere;
    Manager().FetchConnectedEntitlementIDList(); // the export returns null
    EXPECT_EQ("", Sets() + log.Lines());
    std::string document = J("{'C':{" + kNames + "'A':{" + E(1, "8", "63") + "}}}");
    SphereProbe::State().document = document.c_str();
    Manager().FetchConnectedEntitlementIDList();
    Manager().FetchConnectedEntitlementIDList(); // sets once read are kept
    EXPECT_EQ(2, SphereProbe::State().textCalls);
    EXPECT_EQ("{8:63}", Sets());
}

TEST_F(ConnectedRolesTest, ARoleIsConnectedWhenTheRunningCountOfHitsEqualsASetsSize) {
    int const sales = RoleId("Sales");
    struct Case {
        std::vector<PM::ConnectedEntitlementSet> sets;
        long masks[4]; // on the entitlements 8, 9, 10, 11
        bool connected;
    } const cases[] = {
        // clang-format off
        {{}, {63, 63, 63, 63}, false},
        {{{{"8", "63"}}}, {63}, true},
        {{{{"8", "63"}}}, {31}, false},
        {{{{"8", "63"}}}, {64}, true}, // numbers, not bits
        // {10,11} sorts before {9}: the one hit in the first set makes the
        // count equal the second set's size; a hit in the second overshoots.
        {{{{"10", "1"}, {"11", "1"}}, {{"9", "63"}}}, {0, 0, 1}, true},
        {{{{"10", "1"}, {"11", "1"}}, {{"9", "63"}}}, {0, 63, 1}, false},
        {{{{"999", "0"}}, {{"abc", "0"}}}, {}, false}, // unknown; id 0 isn't listed
        {{{{"8", "x"}}}, {}, true},                      // a minimum of 0
        // clang-format on
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(&c - cases);
        Access().ConnectedEntitlementSets() = {c.sets.begin(), c.sets.end()};
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSUpdateRoleActionAssociation(sales, 8 + i,
                                                                                      c.masks[i]));
        }
        for (bool suffix : {true, false}) {
            std::unique_ptr<PM::RoleDef> role(Manager().GetRoleDef(sales));
            role->SetUserRoleNameForConnectedRole("Clerk");
            std::string description = role->GetDescription().c_str();
            // The role's own id counts, not the one passed along.
            EXPECT_EQ(c.connected, Manager().CheckAndSetConnectedRoleFlag(role.get(), -3, suffix));
            EXPECT_EQ(c.connected, role->GetIsConnectedRole());
            EXPECT_STREQ(c.connected ? "" : "Clerk", role->GetUserRoleNameForConnectedRole());
            EXPECT_EQ(description + (c.connected && suffix ? kSuffix : ""),
                      role->GetDescription().c_str());
        }
        EXPECT_EQ(c.connected, Manager().CheckAndSetConnectedRoleFlag(nullptr, sales, true));
    }
    EXPECT_FALSE(Manager().CheckAndSetConnectedRoleFlag(nullptr, 77, true)); // no such role
}

TEST_F(ConnectedRolesTest, TheBuiltModuleMarksListingsAndSavesLeaveDescriptionsAlone) {
    PMTest::RealSphere sphere;
    setenv("SPHERE_MGMT_CONNECTED_ROLES", PM_SPHERE_SAMPLE, 1);
    // Data Exchange in full, or both Receive Payments and Make Deposits.
    EXPECT_EQ("Admin+~$|Bookkeeper+~$|External Accountant+~$|Payroll Clerk|Payroll Manager|"
              "Purchasing|Sales|View Only",
              Available(0, 0));
    EXPECT_EQ("{185:63}{8:63,83:63}", Sets());
    PM::RoleDef sales = *std::unique_ptr<PM::RoleDef>(Manager().GetRoleDef(4));
    std::string const description = sales.GetDescription().c_str();
    sales.SetName("Aardvark");
    PM::EntitlementDef dataExchange;
    dataExchange.SetId(185);
    dataExchange.SetAction(63);
    std::vector<PM::EntitlementDef> grants = {dataExchange};
    ASSERT_EQ(4, Manager().SetRoleEntitlements(sales, grants));
    EXPECT_TRUE(Manager().IsConnectedEntitlementsEdited());
    EXPECT_FALSE(sales.GetIsConnectedRole());               // judged on the masks before the write
    EXPECT_EQ(description, sales.GetDescription().c_str()); // no suffix on a save
    // A rename keeps the role's place until the next load.
    EXPECT_EQ("Admin+~$|Bookkeeper+~$|External Accountant+~$|Payroll Clerk|Payroll Manager|"
              "Purchasing|Aardvark~$|View Only",
              Available(0, 0));
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ("Aardvark~$|Admin+~$|Bookkeeper+~$", Available(0, 0).substr(0, 33));
}

TEST_F(ConnectedRolesTest, RolesAreClassifiedByTheirRightsOnTheTrackedEntitlements) {
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
        Track(c.role, c.masks);
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

TEST_F(ConnectedRolesTest, SendingNeedsTheFactsExportAndForCombinationsTheSlotCount) {
    std::string const counts = "UM_NUM_ROLES_PP_COMBI=1@0\nUM_NUM_ROLES_PM_COMBI=2@0\n"
                               "UM_NUM_ROLES_NOT_PM_PP_COMBI=0@0\n";
    struct Case {
        int exports;
        std::string facts;
    } const cases[] = {
        {SphereProbe::kAll, counts + "UM_CUSTOM_ROLE_ENTITLEMENT=10000@0\n"}, // slot count 1
        {SphereProbe::kFacts, counts},
        {SphereProbe::kText | SphereProbe::kLimit, ""},
        {0, ""}, // a module without exports
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
}

// A line of the built module's facts file.
std::string Fact(char const* name, char const* value, int index = 0) {
    return std::string("{\"name\":\"") + name + "\",\"value\":\"" + value +
           "\",\"index\":" + std::to_string(index) + "}\n";
}

TEST_F(ConnectedRolesTest, TheBuiltModuleRecordsCountsAndCustomRoles) {
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
    Track("Purchasing", {1, 0, 0, 0, 1});
    Manager().AnalyzeAvailRoleForTracking();
    EXPECT_EQ(Fact("UM_NUM_ROLES_PP_COMBI", "1") + pm + Fact("UM_NUM_ROLES_NOT_PM_PP_COMBI", "4") +
                  custom("10001", 0) + custom("00000", 1),
              sphere.TakeFacts());
    // Five custom roles in role-list order: Bookkeeper, Payroll Clerk,
    // Purchasing, then Sales and View Only, which don't fit.
    Track("Bookkeeper", {1, 63, 0, 17, 1});
    Track("Payroll Clerk", {63, 63, 63, 1, 0});
    Track("Sales", {1, 63, 0, 0, 0});
    Track("View Only", {1, 1, 1, 1, 0});
    Manager().AnalyzeAvailRoleForTracking();
    EXPECT_EQ(Fact("UM_NUM_ROLES_PP_COMBI", "0") + pm + Fact("UM_NUM_ROLES_NOT_PM_PP_COMBI", "5") +
                  custom("11101", 0) + custom("11110", 1) + custom("10001", 2),
              sphere.TakeFacts());
}

} // namespace
