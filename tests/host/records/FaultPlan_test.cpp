#include "RecordsTesting.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Host::FaultPlan;
using namespace RecordsTest;

// What ShouldInject answers to each call: '-' nothing, 'F' fail, 'N' not found.
std::string Answers(FaultPlan& plan, std::vector<char const*> const& calls) {
    std::string answers;
    for (char const* operation : calls) {
        FaultPlan::Fault fault = FaultPlan::kFail;
        bool inject = plan.ShouldInject(operation, &fault);
        answers += !inject ? '-' : fault == FaultPlan::kFail ? 'F' : 'N';
    }
    return answers;
}

TEST(FaultPlanTest, FiresAtTheNthCallOfItsOperation) {
    char const* const L = "DMUSRRole::Load";
    char const* const A = "DMUSRRole::Add";
    struct Case {
        char const* name;
        std::vector<char const*> before; // calls made before arming
        char const* operation;
        long nth;
        FaultPlan::Fault fault;
        bool persistent;
        std::vector<char const*> calls;
        char const* answers;
    } const cases[] = {
        {"third load, once", {}, L, 3, FaultPlan::kFail, false, {L, L, A, L, L}, "---F-"},
        {"counted from arming", {L, L}, L, 1, FaultPlan::kNotFound, false, {A, L, L}, "-N-"},
        {"persistent", {}, L, 2, FaultPlan::kNotFound, true, {L, A, L, L}, "--NN"},
        {"any operation", {L}, "*", 2, FaultPlan::kFail, false, {A, L, A}, "-F-"},
        {"any, persistent", {}, "*", 1, FaultPlan::kFail, true, {A, L}, "FF"},
        {"nth below 1 is the next", {}, A, 0, FaultPlan::kFail, false, {A, A}, "F-"},
        {"not reached", {}, A, 3, FaultPlan::kFail, false, {A, L, A}, "---"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        FaultPlan plan;
        Answers(plan, c.before);
        plan.Arm(c.operation, c.nth, c.fault, c.persistent);
        EXPECT_FALSE(plan.Fired());
        EXPECT_EQ(Answers(plan, c.calls), c.answers);
        bool const fired = std::string(c.answers).find_first_of("FN") != std::string::npos;
        EXPECT_EQ(plan.Fired(), fired);
        plan.Disarm();
        EXPECT_EQ(Answers(plan, c.calls), std::string(c.calls.size(), '-'));
        EXPECT_EQ(plan.Fired(), fired);
    }
}

// A fault armed on "*" names the operation it hit and which call of it: the
// first, when it persists; arming again forgets them.
TEST(FaultPlanTest, NamesTheOperationItFiredAt) {
    FaultPlan plan;
    plan.Arm("*", 2, FaultPlan::kFail, true);
    EXPECT_EQ(Answers(plan, {"DMUSRRole::Load", "DMUSRRole::Add", "DMUSRRole::Delete"}), "-FF");
    EXPECT_EQ(plan.FiredOperation(), "DMUSRRole::Add");
    EXPECT_EQ(plan.FiredCall(), 1);
    plan.Arm("*", 2);
    EXPECT_EQ(plan.FiredOperation(), "");
    EXPECT_EQ(Answers(plan, {"DMUSRRole::Add", "DMUSRRole::Add"}), "-F");
    EXPECT_EQ(plan.FiredOperation(), "DMUSRRole::Add");
    EXPECT_EQ(plan.FiredCall(), 3);
}

TEST(FaultPlanTest, CountsCallsPerOperationAndInAll) {
    FaultPlan plan;
    Answers(plan, {"DMUSRRole::Load", "DMUSRRole::Add", "DMUSRRole::Load"});
    EXPECT_EQ(plan.Calls("DMUSRRole::Load"), 2);
    EXPECT_EQ(plan.Calls("DMUSRRole::Add"), 1);
    EXPECT_EQ(plan.Calls("DMUSRRole::Delete"), 0);
    EXPECT_EQ(plan.Calls("*"), 3);

    // Resetting the counts keeps an armed fault at the same call.
    plan.Arm("DMUSRRole::Load", 2);
    Answers(plan, {"DMUSRRole::Load"});
    plan.ResetCounts();
    EXPECT_EQ(plan.Calls("DMUSRRole::Load") + plan.Calls("*"), 0);
    EXPECT_EQ(Answers(plan, {"DMUSRRole::Load", "DMUSRRole::Load"}), "F-");
}

// Every record operation asks under its own name before it does anything, and
// an injected fault leaves the company file untouched.
TEST(FaultPlanTest, EveryRecordOperationAsksFirst) {
    FaultPlan& plan = FaultPlan::Get();
    ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    AddSample();
    for (RecordOperation const& operation : AllRecordOperations()) {
        SCOPED_TRACE(operation.name);
        plan.ResetCounts();
        {
            Host::ScopedFault fault(operation.name, 1);
            EXPECT_EQ(StatusText(operation.call()), "failed -1");
            EXPECT_TRUE(plan.Fired());
        }
        {
            Host::ScopedFault fault(operation.name, 1, FaultPlan::kNotFound);
            EXPECT_EQ(StatusText(operation.call()), "ok 6042");
        }
        EXPECT_EQ(plan.Calls(operation.name), 2);
        EXPECT_EQ(plan.Calls("*"), 2);
        EXPECT_EQ(Dump(), kSampleDump);
    }

    // The plan answers even with no company file open.
    Host::CloseCompanyFile();
    Host::ScopedFault fault("*", 1, FaultPlan::kNotFound);
    EXPECT_EQ(StatusText(DMUSRRoleAction().Load(1, 10, nullptr)), "ok 6042");
}

} // namespace
