// Permission contexts: the chain that SetContext and RestoreContext walk, the
// tables of integrated applications, and every line they log.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"
#include "support/VerifyProbe.h"

#include <host/records/FaultPlan.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

using Table = std::unique_ptr<std::map<int, long>>;

class ContextsTest : public PMTest::CompanyFixture {
protected:
    // The chain from the current context down, "App<Tallyframe"; a context
    // met again is shown in brackets and ends the walk.
    std::string Chain() {
        std::string out;
        std::set<PM::PermissionContextObject*> seen;
        for (PM::PermissionContextObject* c = Manager().GetCurrentContext(); c != nullptr;
             c = c->PreviousContext) {
            bool again = !seen.insert(c).second;
            out += std::string(out.empty() ? "" : "<") + (again ? "(" : "") + c->AppName.c_str() +
                   (again ? ")" : "");
            if (again) {
                break;
            }
        }
        return out;
    }
    // Runs steps ("E": EstablishUser(admin), "T": SetContextToTallyframe,
    // "R": RestoreContext, "S name": SetContext) and gives a transcript: per
    // step its outcome and chain, then its log lines indented.
    std::string Run(std::vector<std::string> const& steps) {
        std::string out;
        for (std::string const& step : steps) {
            PMTest::LogProbe log;
            bool ok = step == "E"   ? Manager().EstablishUser(adminUser) == 0
                      : step == "T" ? Manager().SetContextToTallyframe().Succeeded()
                      : step == "R" ? Manager().RestoreContext().Succeeded()
                                    : Manager().SetContext(step.substr(2).c_str()).Succeeded();
            out += step + (ok ? " ok [" : " failed [") + Chain() + "]\n";
            for (Host::LogRecord const& r : log.Records()) {
                out += "  " + std::to_string(r.level) + "/" + std::to_string(r.eventType) + " " +
                       r.text + "\n";
            }
        }
        return out;
    }
};

TEST_F(ContextsTest, AnApplicationSetBeforeTheUserBlocksEstablishUser) {
    EXPECT_EQ("R failed []\n"
              "  6/5 Missing current permission context.\n"
              "S OrvaneConnect ok [OrvaneConnect]\n"
              "  6/5 Missing current permission context.\n"
              "  0/6 A new permission context is added for OrvaneConnect\n"
              "  0/6 Set permission context to OrvaneConnect\n"
              "E failed [OrvaneConnect]\n"
              "  5/5 Wrong context to reset permission table.\n"
              "T failed [OrvaneConnect]\n"
              "  5/5 Failed to set permission context to Tallyframe\n"
              "R failed [OrvaneConnect]\n"
              "  5/5 Failed to restore permission context.\n",
              Run({"R", "S OrvaneConnect", "E", "T", "R"}));
    EXPECT_EQ(-1, Manager().GetEstablishedUser());
}

TEST_F(ContextsTest, TheChainNestsRefusesDoubleSetsAndUnwindsWithoutALoop) {
    EXPECT_EQ("T failed []\n"
              "  6/5 Missing current permission context.\n"
              "  5/5 Failed to set permission context to Tallyframe\n"
              "E ok [Tallyframe]\n"
              "  0/6 A new permission context is added for Tallyframe\n"
              "T failed [Tallyframe]\n"
              "  5/5 The permission context Tallyframe has been double set.\n"
              "E ok [Tallyframe]\n"
              "  0/6 permission table has been reset for TF permission context.\n"
              "S TimeClockBridge ok [TimeClockBridge<Tallyframe]\n"
              "  0/6 A new permission context is added for TimeClockBridge\n"
              "  0/6 Set permission context to TimeClockBridge\n"
              "S TimeClockBridge failed [TimeClockBridge<Tallyframe]\n"
              "  5/5 The permission context TimeClockBridge has been double set.\n"
              "S TIMECLOCKBRIDGE failed [TimeClockBridge<Tallyframe]\n" // case counts
              "  5/5 Failed to set permission context to TIMECLOCKBRIDGE\n"
              "T ok [Tallyframe<TimeClockBridge<(Tallyframe)]\n"
              "  0/6 Set permission context to Tallyframe\n"
              "R ok [TimeClockBridge<Tallyframe]\n"
              "  0/6 Restore permission context from Tallyframe to TimeClockBridge\n"
              "R ok [Tallyframe]\n"
              "  0/6 Restore permission context from TimeClockBridge to Tallyframe\n"
              "R failed [Tallyframe]\n"
              "  5/5 Failed to restore permission context.\n"
              "S TimeClockBridge ok [TimeClockBridge<Tallyframe]\n"
              "  0/6 Set permission context to TimeClockBridge\n",
              Run({"T", "E", "T", "E", "S TimeClockBridge", "S TimeClockBridge",
                   "S TIMECLOCKBRIDGE", "T", "R", "R", "R", "S TimeClockBridge"}));
    EXPECT_EQ(2u, Manager().GetContextCache()->size());
}

TEST_F(ContextsTest, AnApplicationsMissingRoleIsAddedAndItsMasksMakeTheTable) {
    ASSERT_EQ(PM_ERROR, Manager().LookupRole("OrvaneApp"));
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    ASSERT_TRUE(Manager().SetContext("OrvaneConnect").Succeeded());
    EXPECT_EQ(8, Manager().LookupRole("OrvaneApp"));
    std::string granted;
    for (auto const& row : *Access().GetCurrentActionCache()) {
        granted += row.second == 0
                       ? ""
                       : std::to_string(row.first) + ":" + std::to_string(row.second) + " ";
    }
    EXPECT_EQ("2:23 6:23 7:23 8:23 13:23 59:1 83:23 150:23 180:63 185:63 ", granted);
    EXPECT_EQ(Manager().GetEntitlementCache()->size(), Access().GetCurrentActionCache()->size());
    EXPECT_FALSE(Manager().IsAccessAllowed(81, 0)); // the user's Admin rights don't count here
}

TEST_F(ContextsTest, FailuresLeaveTheChainAsItWas) {
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    PMTest::VerifyProbe verify;
    // An empty name; then a role that cannot be written: its new id stays in
    // hand, and the table fails for a role that is nowhere.
    std::string transcript = Run({"S "});
    {
        Host::ScopedFault fault("DMUSRRole::Add", 1);
        transcript += Run({"S OrvaneConnect"});
    }
    EXPECT_EQ("S  failed [Tallyframe]\n"
              "  5/5 Failed to set permission context to \n"
              "S OrvaneConnect failed [Tallyframe]\n"
              "  5/5 Failed to set default role OrvaneApp.\n"
              "  5/5 Failed to build permission table for role OrvaneApp.\n"
              "  5/5 Failed to set permission context to OrvaneConnect\n",
              transcript);
    EXPECT_EQ(
        std::vector<std::string>({"(pCache != NULL) && !appName.IsEmpty()", "pEntList != NULL"}),
        verify.Expressions());

    // With no entitlements loaded there is no table, so a user without roles
    // cannot be established.
    verify.Clear();
    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ(nullptr, Table(Access().CreateNewActionCache()));
    EXPECT_EQ(-1, Manager().EstablishUser(adminUser));
    EXPECT_EQ(std::vector<std::string>{"pActionList != NULL && pCache != NULL"},
              verify.Expressions());
}

} // namespace
