// The fault plan that tests arm on the record layer.
#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>
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
// persistently; "*" counts every operation together. The plan names the
// operation it hit and which of its calls (counted from the start) that was.
TEST(FaultPlanTest, FiresAtTheNthCallOfItsOperation) {
    char const* const L = "DMUSRRole::Load";
    char const* const A = "DMUSRRole::Add";
    // What is armed, then the answers to L L A L L and where it fired.
    std::tuple<char const*, long, FaultPlan::Fault, bool, char const*> const cases[] = {
        {L, 3, FaultPlan::kFail, false, "---F- DMUSRRole::Load 4"},
        {L, 2, FaultPlan::kNotFound, true, "-N-NN DMUSRRole::Load 3"},
        {"*", 3, FaultPlan::kFail, true, "--FFF DMUSRRole::Add 1"},
        {A, 2, FaultPlan::kFail, false, "----- 0"},
    };
    for (auto const& [operation, nth, fault, persistent, expected] : cases) {
        SCOPED_TRACE(expected);
        FaultPlan plan;
        Answers(plan, {L}); // counted, but before the fault was armed
        plan.Arm(operation, nth, fault, persistent);
        std::string const answers = Answers(plan, {L, L, A, L, L});
        EXPECT_EQ(answers + " " + plan.FiredOperation() + (plan.Fired() ? " " : "") +
                      std::to_string(plan.FiredCall()),
                  expected);
        plan.Disarm();
        EXPECT_EQ(Answers(plan, {L, A}), "--");
        EXPECT_EQ(std::to_string(plan.Calls(L)) + " " + std::to_string(plan.Calls("*")), "6 8");
    }
}

} // namespace
