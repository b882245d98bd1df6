// Connected roles: the sets read from the sphere module's document, the
// connected-role flag with its running count of hits, and full access.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"
#include "support/PermissionManagerTestAccess.h"
#include "support/SphereProbe.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using PMTest::SphereProbe;

char const kSuffix[] = " This role needs Orvane account.";

class ConnectedRolesTest : public PMTest::CompanyFixture {
protected:
    // Made afresh: the fixture's set-up replaces the singleton.
    PM::PermissionManagerTestAccess Access() { return PM::PermissionManagerTestAccess(Manager()); }
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
};

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

TEST_F(ConnectedRolesTest, FullAccessComesFromTheFlagOrAFullAccessEntitlement) {
    int const sales = RoleId("Sales");
    EXPECT_FALSE(Manager().GetIfFullAccessIsAllowed(nullptr, 77)); // no list for it
    std::unique_ptr<PM::RoleDef> role(Manager().GetRoleDef(sales));
    EXPECT_FALSE(Manager().GetIfFullAccessIsAllowed(role.get(), sales));
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSUpdateRoleActionAssociation(sales, 54, 1));
    EXPECT_TRUE(Manager().GetIfFullAccessIsAllowed(role.get(), sales));
    EXPECT_TRUE(role->GetIsFullAccess());
}

TEST_F(ConnectedRolesTest, TheBuiltModuleServesTheSampleDocument) {
    PMTest::RealSphere sphere;
    setenv("SPHERE_MGMT_CONNECTED_ROLES", PM_SPHERE_SAMPLE, 1);
    std::string connected;
    for (int id = 0; id < 8; ++id) {
        std::unique_ptr<PM::RoleDef> role(Manager().GetRoleDef(id));
        std::string description = role->GetDescription().c_str();
        bool flagged = Manager().CheckAndSetConnectedRoleFlag(role.get(), id, id != 1);
        connected += flagged ? std::string(role->GetName().c_str()) + ";" : "";
        EXPECT_EQ(description + (flagged && id != 1 ? kSuffix : ""),
                  role->GetDescription().c_str());
    }
    EXPECT_EQ("{185:63}{8:63,83:63}", Sets());
    // Data Exchange in full, or both Receive Payments and Make Deposits.
    EXPECT_EQ("Admin;Bookkeeper;External Accountant;", connected);
}

} // namespace
