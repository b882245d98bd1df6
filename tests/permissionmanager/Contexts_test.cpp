// Permission contexts and the user's table: the chain that SetContext and
// RestoreContext walk, the tables of integrated applications, and the table
// EstablishUser builds from the user's roles.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"

#include <set>

namespace {

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
    // "R": RestoreContext, "S name": SetContext), one line each: the outcome,
    // the chain, the established user and the log lines.
    std::string Run(std::vector<std::string> const& steps) {
        std::string out;
        for (std::string const& step : steps) {
            PMTest::LogProbe log;
            bool ok = step == "E"   ? Manager().EstablishUser(adminUser) == 0
                      : step == "T" ? Manager().SetContextToTallyframe().Succeeded()
                      : step == "R" ? Manager().RestoreContext().Succeeded()
                                    : Manager().SetContext(step.substr(2).c_str()).Succeeded();
            out += step + (ok ? " ok" : " failed") + " chain=" + Chain() +
                   " user=" + (Manager().GetEstablishedUser() == adminUser ? "admin" : "none") +
                   PMTest::Join(log.Records(), "", [](auto const& r) { return " | " + r.text; }) +
                   "\n";
        }
        return out;
    }
    // The user's table against the union of the stored masks of roles:
    // "granted=N", the rows where the union grants something, then each id
    // whose row differs from the union.
    std::string TableAgainstMasks(std::vector<int> const& roles) {
        std::string out;
        int granted = 0;
        for (auto const& [id, action] : *Access().GetCurrentActionCache()) {
            long stored = 0;
            for (int role : roles) {
                long mask = 0;
                stored |= Manager().GetRoleActionAssociation(role, id, &mask) == PM_OK ? mask : 0;
            }
            granted += stored != 0;
            out += stored == action ? "" : " " + std::to_string(id);
        }
        return "granted=" + std::to_string(granted) + out;
    }
};

TEST_F(ContextsTest, TheChainNestsRefusesDoubleSetsAndUnwindsWithoutALoop) {
    EXPECT_EQ(
        "R failed chain= user=none | Missing current permission context.\n"
        "T failed chain= user=none | Missing current permission context. | Failed to set "
        "permission context to Tallyframe\n"
        "E ok chain=Tallyframe user=admin | A new permission context is added for Tallyframe\n"
        "T failed chain=Tallyframe user=admin | The permission context Tallyframe has been double "
        "set.\n"
        "E ok chain=Tallyframe user=admin | permission table has been reset for TF permission "
        "context.\n"
        "S TimeClockBridge ok chain=TimeClockBridge<Tallyframe user=admin | A new permission "
        "context is added for TimeClockBridge | Set permission context to TimeClockBridge\n"
        "S TimeClockBridge failed chain=TimeClockBridge<Tallyframe user=admin | The permission "
        "context TimeClockBridge has been double set.\n"
        // names compare with case
        "S TIMECLOCKBRIDGE failed chain=TimeClockBridge<Tallyframe user=admin | Failed to set "
        "permission context to TIMECLOCKBRIDGE\n"
        "T ok chain=Tallyframe<TimeClockBridge<(Tallyframe) user=admin | Set permission context "
        "to Tallyframe\n"
        "R ok chain=TimeClockBridge<Tallyframe user=admin | Restore permission context from "
        "Tallyframe to TimeClockBridge\n"
        "R ok chain=Tallyframe user=admin | Restore permission context from TimeClockBridge to "
        "Tallyframe\n"
        "R failed chain=Tallyframe user=admin | Failed to restore permission context.\n"
        "S TimeClockBridge ok chain=TimeClockBridge<Tallyframe user=admin | Set permission "
        "context to TimeClockBridge\n"
        // a failed EstablishUser leaves no user
        "E failed chain=TimeClockBridge<Tallyframe user=none | Wrong context to reset permission "
        "table.\n",
        Run({"R", "T", "E", "T", "E", "S TimeClockBridge", "S TimeClockBridge", "S TIMECLOCKBRIDGE",
             "T", "R", "R", "R", "S TimeClockBridge", "E"}));
    EXPECT_EQ(2u, Manager().GetContextCache()->size());
}

TEST_F(ContextsTest, AnApplicationsMissingRoleIsAddedAndItsMasksAloneMakeItsTable) {
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    ASSERT_EQ(PM_ERROR, Manager().LookupRole("OrvaneApp"));
    ASSERT_TRUE(Manager().SetContext("OrvaneConnect").Succeeded());
    EXPECT_EQ(8, Manager().LookupRole("OrvaneApp"));
    EXPECT_EQ("granted=10", TableAgainstMasks({8}));
    EXPECT_FALSE(Manager().IsAccessAllowed(81, 0)); // the user's Admin rights don't count here
}

// Roles combine by OR; a user without roles gets a table that grants nothing.
TEST_F(ContextsTest, TheUsersTableIsTheUnionOfTheStoredMasksOfTheUsersRoles) {
    struct Case {
        char const* name;
        std::vector<int> roles; // Admin 0, Bookkeeper 1, Sales 4, Purchasing 5
        char const* table;      // then whether DoesUserHaveAdmin
    } const cases[] = {{"clerk", {1}, "granted=191 admin=0"},
                       {"sales-and-purchasing", {4, 5}, "granted=99 admin=0"},
                       {"owner", {0, 4}, "granted=232 admin=1"},
                       {"nobody", {}, "granted=0 admin=0"}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        int const user = AddUser(c.name, c.roles);
        ASSERT_EQ(0, Manager().EstablishUser(user));
        EXPECT_EQ(c.table, TableAgainstMasks(c.roles) +
                               " admin=" + std::to_string(Manager().DoesUserHaveAdmin(user)));
    }
}

} // namespace
