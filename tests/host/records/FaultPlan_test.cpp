// The fault plan that tests arm on the record layer.
#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Host::FaultPlan;

// What the plan answers to each call: '-' nothing, 'F' fail, 'N' not found.
std::string Answers(FaultPlan& plan, std::vector<char const*> const& calls) {
    std::string answers;
    for (char const* operation : calls) {
        FaultPlan::Fault fault = FaultPlan::kFail;
        bool inject = plan.ShouldInject(operation, &fault);
        answers += !inject ? '-' : fault == FaultPlan::kFail ? 'F' : 'N';
    }
    return answers;
}

// A fault fires at the nth call of its operation counted from arming, once or
// persistently; "*" counts every operation together and names the one it hit.
TEST(FaultPlanTest, FiresAtTheNthCallOfItsOperation) {
    char const* const L = "DMUSRRole::Load";
    char const* const A = "DMUSRRole::Add";
    struct Case {
        std::vector<char const*> before; // calls made before arming
        char const* operation;
        long nth;
        FaultPlan::Fault fault;
        bool persistent;
        std::vector<char const*> calls;
        char const* answers;
    } const cases[] = {
        {{}, L, 3, FaultPlan::kFail, false, {L, L, A, L, L}, "---F- DMUSRRole::Load 3"},
        {{L, L}, L, 1, FaultPlan::kNotFound, false, {A, L, L}, "-N- DMUSRRole::Load 3"},
        {{}, L, 2, FaultPlan::kNotFound, true, {L, A, L, L}, "--NN DMUSRRole::Load 2"},
        {{L}, "*", 2, FaultPlan::kFail, true, {A, L, A}, "-FF DMUSRRole::Load 2"},
        {{}, A, 3, FaultPlan::kFail, false, {A, L, A}, "--- 0"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.answers);
        FaultPlan plan;
        Answers(plan, c.before);
        plan.Arm(c.operation, c.nth, c.fault, c.persistent);
        std::string const answers = Answers(plan, c.calls);
        EXPECT_EQ(answers + " " + plan.FiredOperation() + (plan.Fired() ? " " : "") +
                      std::to_string(plan.FiredCall()),
                  c.answers);
        plan.Disarm();
        EXPECT_EQ(Answers(plan, c.calls), std::string(c.calls.size(), '-'));
        EXPECT_EQ(plan.Calls(L) + plan.Calls(A), plan.Calls("*"));
    }
}

} // namespace
