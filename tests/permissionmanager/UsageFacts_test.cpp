// Usage facts: roles classified by their rights on the five tracked
// entitlements (109 to 113), and the counts and custom combinations the sphere
// module is sent.
#include "support/CompanyFixture.h"
#include "support/SphereProbe.h"

namespace {

using PMTest::SphereProbe;

class UsageFactsTest : public PMTest::CompanyFixture {};

// The defaults: Admin, External Accountant and Payroll Manager hold all five
// in full, Payroll Clerk 109 to 111; Bookkeeper, Sales and View Only hold 109,
// 110 and 112 and are exempt as default roles; Purchasing holds none.
TEST_F(UsageFactsTest, CountsAndCombinationsAreSentAsFarAsTheModuleTakesThem) {
    auto counts = [](char const* others) {
        return std::string("UM_NUM_ROLES_PP_COMBI=1@0\nUM_NUM_ROLES_PM_COMBI=3@0\n") +
               "UM_NUM_ROLES_NOT_PM_PP_COMBI=" + others + "@0\n";
    };
    std::string const custom = "UM_CUSTOM_ROLE_ENTITLEMENT=";
    int const facts = SphereProbe::kFacts, both = SphereProbe::kFacts | SphereProbe::kLimit;
    struct Case {
        std::vector<long> purchasing; // on 109 to 113
        int exports;
        unsigned limit;
        std::string facts;
    } const cases[] = {
        // Without a custom role the limit is not asked for: 3, padded to one below.
        {{0, 0, 0, 0, 0}, facts, 1, counts("3") + custom + "00000@0\n" + custom + "00000@1\n"},
        // One character per id, in the order 109, 112, 110, 111, 113.
        {{1, 1, 0, 0, 0}, both, 3, counts("4") + custom + "10100@0\n" + custom + "00000@1\n"},
        {{0, 0, 63, 1, 1}, both, 1, counts("4") + custom + "01011@0\n"},
        {{1, 1, 0, 0, 0}, facts, 3, counts("4")}, // no limit: no combination
        {{1, 1, 0, 0, 0}, SphereProbe::kLimit, 3, ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.facts);
        SetMasks({RoleId("Purchasing")}, {109, 110, 111, 112, 113}, c.purchasing);
        SphereProbe sphere(c.exports, c.limit);
        Manager().AnalyzeAvailRoleForTracking();
        EXPECT_EQ(c.facts, SphereProbe::Facts());
    }
}

} // namespace
